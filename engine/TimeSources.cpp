// The ring's time: which offset turns a ring position into the time of the chosen source.
#include "engine/AudioRing.h"
#include "timecode/LTCDecoder.h"

#include <algorithm>
#include <utility>

namespace vurl {

namespace {

constexpr uint64_t kMicroseconds = 1'000'000;
constexpr uint64_t kMicrosecondsPerDay = 86'400 * kMicroseconds;
constexpr int32_t kMostConfidence = 5; ///< good readings of LTC that as many bad ones outweigh

/// Samples since local midnight at `rate` Hz (0 below 0). Unsigned throughout: a clock far off the scale wraps.
uint64_t samplesOfDay(const WallTime& time, int32_t rate) noexcept {
  const uint64_t seconds = static_cast<uint64_t>(time.seconds) + static_cast<uint64_t>(time.zone_offset);
  const uint64_t of_day = (seconds * kMicroseconds + static_cast<uint64_t>(time.microseconds)) % kMicrosecondsPerDay;
  return of_day * (rate > 0 ? static_cast<uint64_t>(rate) : 0) / kMicroseconds;
}

/// What a device's time stamp tells for `source`.
struct DeviceTime {
  bool valid = false;
  int64_t samples = 0; ///< since midnight
};

DeviceTime deviceTime(int8_t source, const AudioTimeStamp& stamp, int32_t rate) noexcept {
  if (source == COREAUDIO_SMPTE && (stamp.mFlags & kAudioTimeStampSMPTETimeValid) != 0) {
    return {true, smpte_to_spd(stamp.mSMPTETime, rate)};
  }
  if (source == COREAUDIO_WORD_CLOCK && (stamp.mFlags & kAudioTimeStampWordClockTimeValid) != 0) {
    return {true, static_cast<int64_t>(stamp.mWordClockTime)};
  }
  return {};
}

bool isDeviceSource(int8_t source) noexcept { return source == COREAUDIO_SMPTE || source == COREAUDIO_WORD_CLOCK; }

/// Sum and difference modulo 2^64: a device may tell any time.
int64_t sum(int64_t a, int64_t b) noexcept {
  return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}
int64_t difference(int64_t a, int64_t b) noexcept {
  return static_cast<int64_t>(static_cast<uint64_t>(a) - static_cast<uint64_t>(b));
}

} // namespace

void AudioRing::setTimeSource(int8_t source) {
  if (source != timeSource()) {
    // The new source goes on from the offset of the old one, but not from its lock.
    const int64_t offset = timeOffset();
    io.time_source.store(source, std::memory_order_release);
    timestamp.store(offset, std::memory_order_release);
    timecode_lock.store(0, std::memory_order_release);
    ltc_jumps.restart();
  }
  parseTODTime();
}

/// What the I/O thread last heard from the device for the chosen source; failing that, the main thread's offset.
int64_t AudioRing::timeOffset() const noexcept {
  const int8_t source = timeSource();
  const bool by_device = isDeviceSource(source) && io.device_source.load(std::memory_order_acquire) == source;
  return (by_device ? io.device_timestamp : timestamp).load(std::memory_order_acquire);
}

/// Stores the offset of `source`, unless the main thread has chosen another meanwhile, whose offset then stands.
void AudioRing::renewTimestamp(int8_t source, int64_t offset) noexcept {
  int64_t before = timestamp.load(std::memory_order_acquire);
  if (timeSource() == source) timestamp.compare_exchange_strong(before, offset, std::memory_order_acq_rel);
}

int64_t AudioRing::timestampAt(uint64_t position) noexcept {
  const int8_t source = timeSource();
  switch (source) {
  case ZERO: renewTimestamp(source, -devicePosition()); return 0;
  case SESSION: renewTimestamp(source, 0); return static_cast<int64_t>(position);
  case TIME_OF_DAY:
  case LTC:
  case COREAUDIO_SMPTE:
  case COREAUDIO_WORD_CLOCK: return sum(static_cast<int64_t>(position), timeOffset());
  default: return 0;
  }
}

bool AudioRing::timecodeLock() const noexcept {
  const int8_t source = timeSource();
  if (isDeviceSource(source)) return io.device_lock_source.load(std::memory_order_acquire) == source;
  if (source == LTC) return timecode_lock.load(std::memory_order_acquire) > 0;
  return source >= ZERO && source <= TIME_OF_DAY;
}

void AudioRing::parseTODTime() {
  if (timeSource() != TIME_OF_DAY) return;
  const uint64_t samples = samplesOfDay(clock(), adjustedSampleRate());
  timestamp.store(static_cast<int64_t>(samples) - devicePosition(), std::memory_order_release);
}

/// Thread: I/O, at the start of a cycle.
void AudioRing::parseCATime(const AudioTimeStamp& input_time) noexcept {
  const int8_t source = timeSource();
  const DeviceTime time = deviceTime(source, input_time, adjustedSampleRate());
  if (time.valid) {
    const int64_t position = devicePosition();
    const int64_t offset = difference(time.samples, position);
    if (std::exchange(watched_source, source) != source) device_time_jumps.restart();
    const int64_t jump = device_time_jumps.look(offset, watch.nrLost(), adjustedSampleRate());
    if (jump != 0) watch.queue.add({Incident::Kind::time_jump, position, jump});
    io.device_timestamp.store(offset, std::memory_order_release);
    io.device_source.store(source, std::memory_order_release);
  } else if (io.device_source.load(std::memory_order_acquire) != source) {
    io.device_source.store(ZERO, std::memory_order_release);
  }
  io.device_lock_source.store(time.valid ? source : int8_t{ZERO}, std::memory_order_release);
}

/// What is read began up to half a second ago: behind a loss it is for a while the time before it, which is no jump.
void AudioRing::parseLTCTime() noexcept {
  if (timeSource() != LTC) return;
  const int64_t position = devicePosition();
  const uint32_t nr_channels = nrChannels();
  int32_t lock = timecode_lock.load(std::memory_order_acquire);
  if (position - playbackPosition() < int64_t{kLTCSearchSpan} || nr_channels == 0) {
    timecode_lock.store(0, std::memory_order_release);
    return;
  }
  if (timecode_channel_nr >= nr_channels) lock = 0; // nothing new is written to that channel any more
  if (lock == 0) timecode_channel_nr = (timecode_channel_nr + 1) % nr_channels;
  const float* const ring = channelBuffer(timecode_channel_nr);
  int64_t offset = 0;
  const bool found =
      ring != nullptr && parseLTCTimestamp(offset, ring, position, kRingMask, frameRate(), adjustedSampleRate());
  if (found) {
    const int64_t losses = watch.nrLost();
    if (std::exchange(ltc_losses, losses) != losses) ltc_settles_at = position + adjustedSampleRate();
    const int64_t jump = position < ltc_settles_at ? 0 : ltc_jumps.look(offset, losses, adjustedSampleRate());
    if (jump != 0) noteIncident({Incident::Kind::time_jump, position, jump});
    timestamp.store(offset, std::memory_order_release);
  }
  timecode_lock.store(std::clamp(found ? lock + 1 : lock - 1, 0, kMostConfidence), std::memory_order_release);
}

} // namespace vurl
