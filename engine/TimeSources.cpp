// The ring's time: which offset turns a ring position into the time of the chosen source.
#include "engine/AudioRing.h"

namespace vurl {

namespace {

constexpr uint64_t kMicroseconds = 1'000'000;
constexpr uint64_t kMicrosecondsPerDay = 86'400 * kMicroseconds;

/// Samples since local midnight at `rate` Hz (0 below 0). Unsigned throughout: a clock far off the scale wraps.
uint64_t samplesOfDay(const WallTime& time, int32_t rate) noexcept {
  const uint64_t seconds = static_cast<uint64_t>(time.seconds) + static_cast<uint64_t>(time.zone_offset);
  const uint64_t of_day = (seconds * kMicroseconds + static_cast<uint64_t>(time.microseconds)) % kMicrosecondsPerDay;
  return of_day * (rate > 0 ? static_cast<uint64_t>(rate) : 0) / kMicroseconds;
}

} // namespace

void AudioRing::setTimeSource(int8_t source) {
  io.time_source.store(source, std::memory_order_release);
  parseTODTime();
}

int64_t AudioRing::timestampAt(uint64_t position) noexcept {
  switch (timeSource()) {
  case ZERO: io.timestamp.store(-devicePosition(), std::memory_order_release); return 0;
  case SESSION: io.timestamp.store(0, std::memory_order_release); return static_cast<int64_t>(position);
  case TIME_OF_DAY:
  case LTC:
  case COREAUDIO_SMPTE:
  case COREAUDIO_WORD_CLOCK:
    return static_cast<int64_t>(position + static_cast<uint64_t>(io.timestamp.load(std::memory_order_acquire)));
  default: return 0;
  }
}

bool AudioRing::timecodeLock() const noexcept {
  const int8_t source = timeSource();
  if (source < ZERO || source > COREAUDIO_WORD_CLOCK) return false;
  return source <= TIME_OF_DAY || io.timecode_lock.load(std::memory_order_acquire) > 0;
}

void AudioRing::parseTODTime() {
  if (timeSource() != TIME_OF_DAY) return;
  const uint64_t samples = samplesOfDay(clock(), adjustedSampleRate());
  io.timestamp.store(static_cast<int64_t>(samples) - devicePosition(), std::memory_order_release);
}

} // namespace vurl
