// The hardware's own count of samples made into word clock. A driver tells that count as a time since the start, with
// the moment at which it stood there; it begins anew whenever the device is started. Thread: the device's own.
#pragma once

#include <cstdint>
#include <optional>

namespace vurl {

/// What a driver that captures says of its count, all at one moment.
struct AlsaReading {
  uint64_t audio_time = 0; ///< ns that its samples take at the nominal rate, since the start
  uint64_t host_time = 0;  ///< ns of CLOCK_MONOTONIC
  uint64_t nr_waiting = 0; ///< frames counted and not fetched yet
};

class AlsaClock {
public:
  struct Time {
    uint64_t word_clock = 0; ///< samples
    uint64_t host_time = 0;  ///< ns of CLOCK_MONOTONIC
  };

  /// `rate` in Hz, not 0.
  explicit AlsaClock(uint32_t nominal_rate) : rate(nominal_rate) {}

  /// The hardware's count begins anew.
  void restart() noexcept { is_set = false; }

  /// The time of the next sample to be fetched, `sample` by our count. From a start on, word clock follows the
  /// hardware's count from where ours stands then; without a reading it is ours. `now` stands in for a moment that the
  /// driver does not tell. Wait-free.
  Time at(uint64_t sample, uint64_t now, const std::optional<AlsaReading>& reading) noexcept;

private:
  const uint32_t rate;
  bool is_set = false;
  uint64_t offset = 0; ///< from the hardware's count to word clock; wraps
};

} // namespace vurl
