#include "hardware/AlsaProfile.h"

#include "hardware/AlsaLog.h"
#include "hardware/AlsaOwner.h"
#include "hardware/AlsaProbe.h"
#include "platform/Log.h"
#include "platform/Patience.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <utility>

namespace vurl {
namespace {

constexpr std::chrono::milliseconds kPatience{1900}; ///< with a driver: less than two seconds with the rest
constexpr int kBehindServers = 1;
constexpr uint32_t kUsualRate = 48000;
constexpr double kUsualFrames = 256;

/// Nothing, with the reason in `error`, when there is no such PCM, or it is not to be had.
std::optional<AlsaAbilities> ask(const std::string& pcm, snd_pcm_stream_t direction, uint32_t rate, int& error) {
  error = -ENODEV;
  if (pcm.empty()) return std::nullopt;
  const auto work = [pcm, direction, rate] {
    allowAlsaLogHere();
    int reason = 0;
    auto found = probeAlsa(pcm, direction, rate, reason);
    return std::pair(std::move(found), reason);
  };
  auto answer = withPatience(kPatience, work);
  error = answer ? answer->second : -ETIMEDOUT;
  return answer ? std::move(answer->first) : std::nullopt;
}

std::vector<StreamDescription> describeStreams(const AlsaSetup& setup) {
  if (setup.pcm.empty()) return {};
  const bool is_interleaved =
      setup.access == SND_PCM_ACCESS_MMAP_INTERLEAVED || setup.access == SND_PCM_ACCESS_RW_INTERLEAVED;
  const StreamDescription stream{setup.pcm, is_interleaved ? setup.nr_channels : 1};
  return std::vector<StreamDescription>(is_interleaved ? 1 : setup.nr_channels, stream);
}

std::vector<double> common(const std::vector<double>& a, const std::vector<double>& b) {
  std::vector<double> both;
  std::ranges::set_intersection(a, b, std::back_inserter(both));
  return both;
}

AudioValueRange common(const AudioValueRange& a, const AudioValueRange& b) {
  return {std::max(a.mMinimum, b.mMinimum), std::min(a.mMaximum, b.mMaximum)};
}

} // namespace

int AlsaProfile::probe() {
  const uint32_t rate = setup.rate == 0 ? kUsualRate : setup.rate;
  const int error = probeAtRate(rate);
  return error < 0 || setup.rate == rate ? error : probeAtRate(setup.rate);
}

int AlsaProfile::probeAtRate(uint32_t rate) {
  int capture_error = 0, playback_error = 0;
  const auto capture = ask(name.capture, SND_PCM_STREAM_CAPTURE, rate, capture_error);
  if (capture_error == -ETIMEDOUT) return capture_error;
  auto playback = ask(name.playback, SND_PCM_STREAM_PLAYBACK, rate, playback_error);
  if (capture_error == -EBUSY || playback_error == -EBUSY) return -EBUSY;
  if (!capture && !playback) return name.capture.empty() ? playback_error : capture_error;
  if (capture && playback && common(capture->rates, playback->rates).empty()) playback.reset();
  setup.capture = capture ? capture->setup : AlsaSetup();
  setup.playback = playback ? playback->setup : AlsaSetup();
  const AlsaAbilities& one = capture ? *capture : *playback;
  const AlsaAbilities& other = playback ? *playback : *capture;
  rates = common(one.rates, other.rates);
  period_frames = common(one.period_frames, other.period_frames);
  auto& [lowest, highest] = period_frames;
  if (lowest > highest) period_frames = one.period_frames;
  const auto has = [this](uint32_t wished) { return std::ranges::count(rates, wished) > 0; };
  setup.rate = has(rate) ? rate : has(kUsualRate) ? kUsualRate : static_cast<uint32_t>(rates.back());
  const double frames = setup.frames == 0 ? kUsualFrames : setup.frames;
  setup.frames = static_cast<uint32_t>(std::clamp(frames, lowest, highest));
  return 0;
}

DeviceDescription AlsaProfile::describe() const {
  DeviceDescription description;
  description.manufacturer = "ALSA";
  description.name = name.name;
  description.sort_order = kBehindServers;
  description.inputs = describeStreams(setup.capture);
  description.outputs = describeStreams(setup.playback);
  description.nominal_sample_rates = rates;
  description.nominal_sample_rate = setup.rate;
  description.buffer_frame_size_range = period_frames;
  description.buffer_frame_size = setup.frames;
  return description;
}

void AlsaProfile::tellFailure(int error) const {
  if (error == -ENOTSUP) {
    warn("The ALSA device %@ has no sample format or rate that this program knows.", name.name);
  } else if (error == -EBUSY) {
    auto owner = alsaOwner(name.capture, true);
    if (owner.empty()) owner = alsaOwner(name.playback, false);
    warn("The ALSA device %@ is in use by %@.", name.name, owner.empty() ? "another program" : owner);
  } else if (error == -ETIMEDOUT) {
    warn("The ALSA device %@ does not answer.", name.name);
  } else {
    warn("The ALSA device %@ cannot be used: %@.", name.name, snd_strerror(error));
  }
}

} // namespace vurl
