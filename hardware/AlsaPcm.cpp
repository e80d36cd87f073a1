#include "hardware/AlsaPcm.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace vurl {
namespace {

constexpr unsigned kLeastPeriods = 3; ///< in the device's memory

/// Milliseconds that a device may keep waiting which has said that it is ready; behind them it is started anew.
constexpr int kMostWaits = 50;

/// The part of a second that fits into the memory of a device that captures, if it has as much: so long may this
/// program be held up before sound is lost. It delays nothing.
constexpr unsigned kReserve = 2;

uint64_t nanoseconds(const snd_htimestamp_t& time) noexcept {
  return static_cast<uint64_t>(time.tv_sec) * 1'000'000'000 + static_cast<uint64_t>(time.tv_nsec);
}

AlsaSamples samplesAt(const snd_pcm_channel_area_t& area, snd_pcm_uframes_t offset) noexcept {
  const size_t step = area.step / 8;
  return {static_cast<uint8_t*>(area.addr) + area.first / 8 + offset * step, step};
}

} // namespace

std::unique_ptr<AlsaPcm> AlsaPcm::open(const AlsaSetup& setup, snd_pcm_stream_t direction, uint32_t rate,
                                       uint32_t frames, bool keeps_step, int& error) {
  snd_pcm_t* handle = nullptr;
  error = snd_pcm_open(&handle, setup.pcm.c_str(), direction, SND_PCM_NONBLOCK);
  if (error < 0) return nullptr;
  std::unique_ptr<AlsaPcm> result(new AlsaPcm);
  result->pcm.reset(handle);
  result->direction = direction;
  error = result->configure(setup, rate, frames, keeps_step);
  return error < 0 ? nullptr : std::move(result);
}

AlsaPcm::~AlsaPcm() = default;

int AlsaPcm::configure(const AlsaSetup& setup, uint32_t rate, uint32_t frames, bool keeps_step) {
  format = findAlsaFormat(setup.format);
  if (format == nullptr) return -EINVAL;
  access = setup.access;
  nr_channels = setup.nr_channels;
  period = frames;
  snd_pcm_hw_params_t* wishes = nullptr;
  snd_pcm_hw_params_alloca(&wishes);
  int error = snd_pcm_hw_params_any(pcm.get(), wishes);
  if (error >= 0) error = snd_pcm_hw_params_set_rate_resample(pcm.get(), wishes, 0);
  if (error >= 0) error = snd_pcm_hw_params_set_access(pcm.get(), wishes, access);
  if (error >= 0) error = snd_pcm_hw_params_set_format(pcm.get(), wishes, setup.format);
  if (error >= 0) error = snd_pcm_hw_params_set_channels(pcm.get(), wishes, nr_channels);
  if (error >= 0) error = snd_pcm_hw_params_set_rate(pcm.get(), wishes, rate, 0);
  if (error >= 0) error = snd_pcm_hw_params_set_period_size_near(pcm.get(), wishes, &period, nullptr);
  device_period = period;
  if (keeps_step) period = frames;
  if (error >= 0 && period == 0) error = -EINVAL;
  const auto least = std::max(device_period, period) * kLeastPeriods;
  const bool captures = direction == SND_PCM_STREAM_CAPTURE;
  if (error >= 0) error = setMemory(wishes, captures ? std::max(least, rate / kReserve / period * period) : least);
  if (error == -ENOMEM && captures) error = setMemory(wishes, least);
  if (error >= 0 && buffer_size < period) error = -EINVAL;
  if (error >= 0) error = setWakeUp();
  if (error >= 0) makeBuffers();
  return error;
}

int AlsaPcm::setMemory(const snd_pcm_hw_params_t* wishes, snd_pcm_uframes_t frames) {
  snd_pcm_hw_params_t* chosen = nullptr;
  snd_pcm_hw_params_alloca(&chosen);
  snd_pcm_hw_params_copy(chosen, wishes);
  buffer_size = frames;
  const int error = snd_pcm_hw_params_set_buffer_size_near(pcm.get(), chosen, &buffer_size);
  return error < 0 ? error : snd_pcm_hw_params(pcm.get(), chosen);
}

// It neither starts nor stops by itself at any count but a full or an empty buffer: a duplex device has to start both
// sides together.
int AlsaPcm::setWakeUp() {
  snd_pcm_sw_params_t* wishes = nullptr;
  snd_pcm_sw_params_alloca(&wishes);
  snd_pcm_uframes_t boundary = 0;
  int error = snd_pcm_sw_params_current(pcm.get(), wishes);
  if (error >= 0) error = snd_pcm_sw_params_get_boundary(wishes, &boundary);
  if (error >= 0) error = snd_pcm_sw_params_set_avail_min(pcm.get(), wishes, period);
  if (error >= 0) error = snd_pcm_sw_params_set_start_threshold(pcm.get(), wishes, boundary);
  if (error >= 0) error = snd_pcm_sw_params_set_tstamp_mode(pcm.get(), wishes, SND_PCM_TSTAMP_ENABLE);
  if (error >= 0) snd_pcm_sw_params_set_tstamp_type(pcm.get(), wishes, SND_PCM_TSTAMP_TYPE_MONOTONIC);
  if (error >= 0) error = snd_pcm_sw_params(pcm.get(), wishes);
  return error;
}

void AlsaPcm::makeBuffers() {
  samples.assign(size_t{nr_channels} * period, 0.0F);
  const uint32_t per_buffer = isInterleaved() ? nr_channels : 1;
  const size_t length = per_buffer * period;
  for (size_t i = 0; i < nr_channels / per_buffer; i++)
    own.push_back({per_buffer, static_cast<uint32_t>(length * sizeof(float)), &samples[i * length]});
  buffers = own;
  if (isMapped()) return;
  raw.resize(samples.size() * format->nr_bytes);
  for (size_t i = 0; i < nr_channels; i++) raw_channels.push_back(&raw[i * period * format->nr_bytes]);
}

snd_pcm_sframes_t AlsaPcm::available() noexcept { return snd_pcm_avail_update(pcm.get()); }

// Plugins tell the time of what stands behind them, which may run at another rate and lag behind.
std::optional<AlsaReading> AlsaPcm::readClock() noexcept {
  if (snd_pcm_type(pcm.get()) != SND_PCM_TYPE_HW) return std::nullopt;
  snd_pcm_status_t* status = nullptr;
  snd_pcm_status_alloca(&status);
  snd_pcm_audio_tstamp_config_t wish{};
  wish.type_requested = SND_PCM_AUDIO_TSTAMP_TYPE_DEFAULT; // by the samples moved, not by a clock of the link
  snd_pcm_status_set_audio_htstamp_config(status, &wish);
  if (snd_pcm_status(pcm.get(), status) < 0) return std::nullopt;
  snd_htimestamp_t audio{}, host{};
  snd_pcm_status_get_audio_htstamp(status, &audio);
  snd_pcm_status_get_htstamp(status, &host);
  if (nanoseconds(audio) == 0) return std::nullopt;
  return AlsaReading{nanoseconds(audio), nanoseconds(host), snd_pcm_status_get_avail(status)};
}

void AlsaPcm::clearBuffers() noexcept {
  for (const auto& buffer : buffers) std::memset(buffer.mData, 0, buffer.mDataByteSize);
}

bool AlsaPcm::useOwnBuffers() noexcept {
  std::ranges::copy(own, buffers.begin());
  return false;
}

/// Whether the device's memory holds the next period as floats, in one piece; the buffers point there then.
bool AlsaPcm::lendMapped(int& error) noexcept {
  const snd_pcm_channel_area_t* areas = nullptr;
  snd_pcm_uframes_t frames = period;
  if (!isMapped() || format->format != SND_PCM_FORMAT_FLOAT) return useOwnBuffers();
  error = snd_pcm_mmap_begin(pcm.get(), &areas, &lent_offset, &frames);
  if (error < 0 || frames < period) return useOwnBuffers();
  const size_t frame_step = sizeof(float) * (isInterleaved() ? nr_channels : 1);
  for (uint32_t i = 0; i < nr_channels; i++) {
    const AlsaSamples found = samplesAt(areas[i], lent_offset);
    if (found.step != frame_step || reinterpret_cast<uintptr_t>(found.first) % alignof(float) != 0)
      return useOwnBuffers();
    if (!isInterleaved()) {
      buffers[i].mData = found.first;
    } else if (i == 0) {
      buffers[0].mData = found.first;
    } else if (found.first != static_cast<uint8_t*>(buffers[0].mData) + i * sizeof(float)) {
      return useOwnBuffers();
    }
  }
  return true;
}

AudioBufferList AlsaPcm::begin(int& error) noexcept {
  error = 0;
  is_lent = lendMapped(error);
  if (direction == SND_PCM_STREAM_PLAYBACK || error < 0) {
    clearBuffers();
  } else if (!is_lent) {
    error = move();
    if (error < 0) clearBuffers();
  }
  return {static_cast<uint32_t>(buffers.size()), buffers.data()};
}

AudioBufferList AlsaPcm::unheard() noexcept {
  is_lent = useOwnBuffers();
  clearBuffers();
  return {static_cast<uint32_t>(buffers.size()), buffers.data()};
}

int AlsaPcm::end() noexcept {
  if (is_lent) {
    const snd_pcm_sframes_t done = snd_pcm_mmap_commit(pcm.get(), lent_offset, period);
    if (done < 0) return static_cast<int>(done);
    return static_cast<snd_pcm_uframes_t>(done) == period ? 0 : -EPIPE;
  }
  return direction == SND_PCM_STREAM_PLAYBACK ? move() : 0;
}

int AlsaPcm::move() noexcept { return isMapped() ? moveMapped() : moveUnmapped(); }

void AlsaPcm::convert(const AlsaSamples& device, uint32_t channel, size_t at, size_t count) noexcept {
  const size_t step = isInterleaved() ? nr_channels : 1;
  const size_t first = isInterleaved() ? channel : channel * period;
  const FloatSamples floats{&samples[first + at * step], step};
  if (direction == SND_PCM_STREAM_CAPTURE)
    format->toFloats(device, floats, count);
  else
    format->fromFloats(floats, device, count);
}

int AlsaPcm::moveMapped() noexcept {
  for (snd_pcm_uframes_t done = 0; done < period;) {
    const snd_pcm_channel_area_t* areas = nullptr;
    snd_pcm_uframes_t offset = 0;
    snd_pcm_uframes_t frames = period - done;
    if (const int error = snd_pcm_mmap_begin(pcm.get(), &areas, &offset, &frames); error < 0) return error;
    if (frames == 0) return -EPIPE;
    for (uint32_t i = 0; i < nr_channels; i++) convert(samplesAt(areas[i], offset), i, done, frames);
    const snd_pcm_sframes_t moved = snd_pcm_mmap_commit(pcm.get(), offset, frames);
    if (moved < 0) return static_cast<int>(moved);
    if (static_cast<snd_pcm_uframes_t>(moved) != frames) return -EPIPE;
    done += frames;
  }
  return 0;
}

snd_pcm_sframes_t AlsaPcm::transfer(size_t done) noexcept {
  const bool captures = direction == SND_PCM_STREAM_CAPTURE;
  const snd_pcm_uframes_t rest = period - done;
  if (isInterleaved()) {
    uint8_t* const at = &raw[done * nr_channels * format->nr_bytes];
    return captures ? snd_pcm_readi(pcm.get(), at, rest) : snd_pcm_writei(pcm.get(), at, rest);
  }
  for (size_t i = 0; i < nr_channels; i++) raw_channels[i] = &raw[(i * period + done) * format->nr_bytes];
  return captures ? snd_pcm_readn(pcm.get(), raw_channels.data(), rest)
                  : snd_pcm_writen(pcm.get(), raw_channels.data(), rest);
}

int AlsaPcm::moveUnmapped() noexcept {
  const auto convertAll = [this] {
    const size_t step = format->nr_bytes * (isInterleaved() ? nr_channels : 1);
    for (uint32_t i = 0; i < nr_channels; i++)
      convert({&raw[(isInterleaved() ? i : i * period) * format->nr_bytes], step}, i, 0, period);
  };
  if (direction == SND_PCM_STREAM_PLAYBACK) convertAll();
  int nr_waits = 0;
  for (size_t done = 0; done < period;) {
    const snd_pcm_sframes_t moved = transfer(done);
    if (moved == -EAGAIN && nr_waits++ < kMostWaits) {
      ::poll(nullptr, 0, 1);
      continue;
    }
    if (moved <= 0) return moved == 0 || moved == -EAGAIN ? -EPIPE : static_cast<int>(moved);
    done += static_cast<size_t>(moved);
  }
  if (direction == SND_PCM_STREAM_CAPTURE) convertAll();
  return 0;
}

int AlsaPcm::restart() noexcept {
  snd_pcm_drop(pcm.get());
  if (const int error = snd_pcm_prepare(pcm.get()); error < 0) return error;
  if (direction == SND_PCM_STREAM_CAPTURE) return 0;
  for (snd_pcm_uframes_t filled = 0; filled + period <= buffer_size; filled += period) {
    if (available() < static_cast<snd_pcm_sframes_t>(period)) break;
    int error = 0;
    begin(error);
    if (error >= 0) error = end();
    if (error < 0) return error;
  }
  return 0;
}

} // namespace vurl
