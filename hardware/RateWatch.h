// Whether a device runs as fast as it says: one that follows a clock from outside may not.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace vurl {

class RateWatch {
public:
  using Moment = std::chrono::steady_clock::time_point;

  /// `rate` in Hz as the device says.
  explicit RateWatch(uint32_t nominal_rate) : rate(nominal_rate) {}

  /// To be told regularly how far the count of samples is. Returns what the rate is in truth, in Hz, once: when it was
  /// off by more than a hundredth, and steady, for several seconds.
  std::optional<uint32_t> look(uint64_t sample, Moment now);

private:
  uint32_t rate;
  bool is_told = false;
  int nr_off = 0;     ///< stretches on end, at one rate
  Moment begin;       ///< of the present stretch
  uint64_t first = 0; ///< sample of it
  bool has_begun = false;
  double last_measured = 0; ///< Hz, in the stretch before
};

} // namespace vurl
