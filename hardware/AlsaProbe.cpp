#include "hardware/AlsaProbe.h"

#include <algorithm>
#include <array>
#include <cerrno>

namespace vurl {
namespace {

constexpr std::array<unsigned, 14> kRates = {8000,  11025, 16000, 22050,  32000,  44100,  48000,
                                             64000, 88200, 96000, 176400, 192000, 352800, 384000};
constexpr unsigned kMostChannels = 64;
constexpr AudioValueRange kFrames{16, 4096}; ///< as far as the device allows

/// Memory that can be reached comes first, and interleaved samples, which nearly all drivers have.
constexpr std::array kAccesses = {SND_PCM_ACCESS_MMAP_INTERLEAVED, SND_PCM_ACCESS_MMAP_NONINTERLEAVED,
                                  SND_PCM_ACCESS_RW_INTERLEAVED, SND_PCM_ACCESS_RW_NONINTERLEAVED};

bool chooseFormat(snd_pcm_t* pcm, snd_pcm_hw_params_t* wishes, AlsaSetup& setup) {
  const auto& formats = alsaFormats();
  const auto format = std::ranges::find_if(
      formats, [&](const auto& known) { return snd_pcm_hw_params_set_format(pcm, wishes, known.format) == 0; });
  const auto access = std::ranges::find_if(
      kAccesses, [&](auto known) { return snd_pcm_hw_params_set_access(pcm, wishes, known) == 0; });
  if (format == formats.end() || access == kAccesses.end()) return false;
  setup.format = format->format;
  setup.access = *access;
  return true;
}

bool chooseChannels(snd_pcm_t* pcm, snd_pcm_hw_params_t* wishes, AlsaSetup& setup) {
  unsigned least = 0, most = 0;
  if (snd_pcm_hw_params_get_channels_min(wishes, &least) < 0) return false;
  if (snd_pcm_hw_params_get_channels_max(wishes, &most) < 0) return false;
  setup.nr_channels = std::max(least, std::min(most, kMostChannels));
  return snd_pcm_hw_params_set_channels_near(pcm, wishes, &setup.nr_channels) == 0;
}

std::vector<double> acceptedRates(snd_pcm_t* pcm, snd_pcm_hw_params_t* wishes) {
  std::vector<double> rates;
  for (const unsigned rate : kRates)
    if (snd_pcm_hw_params_test_rate(pcm, wishes, rate, 0) == 0) rates.push_back(rate);
  return rates;
}

AudioValueRange periodFrames(const snd_pcm_hw_params_t* wishes) {
  snd_pcm_uframes_t least = 0, most = 0;
  snd_pcm_hw_params_get_period_size_min(wishes, &least, nullptr);
  snd_pcm_hw_params_get_period_size_max(wishes, &most, nullptr);
  const double lowest = std::max(static_cast<double>(least), kFrames.mMinimum);
  return {lowest, std::max(lowest, std::min(static_cast<double>(most), kFrames.mMaximum))};
}

} // namespace

std::optional<AlsaAbilities> probeAlsa(const std::string& pcm, snd_pcm_stream_t direction, uint32_t rate, int& error) {
  snd_pcm_t* opened = nullptr;
  error = snd_pcm_open(&opened, pcm.c_str(), direction, SND_PCM_NONBLOCK);
  if (error < 0) return std::nullopt;
  const std::unique_ptr<snd_pcm_t, int (*)(snd_pcm_t*)> open_pcm(opened, snd_pcm_close);
  snd_pcm_hw_params_t* wishes = nullptr;
  snd_pcm_hw_params_alloca(&wishes);
  error = snd_pcm_hw_params_any(opened, wishes);
  if (error < 0) return std::nullopt;
  AlsaAbilities found;
  found.setup.pcm = pcm;
  error = -ENOTSUP;
  snd_pcm_hw_params_set_rate_resample(opened, wishes, 0);
  if (!chooseFormat(opened, wishes, found.setup)) return std::nullopt;
  found.rates = acceptedRates(opened, wishes);
  if (found.rates.empty()) return std::nullopt;
  if (std::ranges::count(found.rates, rate) > 0) snd_pcm_hw_params_set_rate(opened, wishes, rate, 0);
  if (!chooseChannels(opened, wishes, found.setup)) return std::nullopt;
  found.period_frames = periodFrames(wishes);
  error = 0;
  return found;
}

} // namespace vurl
