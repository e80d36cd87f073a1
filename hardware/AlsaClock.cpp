#include "hardware/AlsaClock.h"

namespace vurl {
namespace {

constexpr uint64_t kSecond = 1'000'000'000; ///< in nanoseconds

} // namespace

AlsaClock::Time AlsaClock::at(uint64_t sample, uint64_t now, const std::optional<AlsaReading>& reading) noexcept {
  if (!reading) {
    is_set = false;
    return {sample, now};
  }
  const uint64_t part = reading->audio_time % kSecond; // rounded down to nanoseconds by the driver
  const uint64_t counted = reading->audio_time / kSecond * rate + (part * rate + kSecond / 2) / kSecond;
  const uint64_t first = counted - reading->nr_waiting;
  if (!is_set) offset = sample - first;
  is_set = true;
  const uint64_t ago = reading->nr_waiting * kSecond / rate;
  const bool is_plausible = reading->host_time <= now && now - reading->host_time < kSecond && ago < kSecond;
  return {first + offset, is_plausible ? reading->host_time - ago : now};
}

} // namespace vurl
