#include "hardware/RateWatch.h"

#include <algorithm>
#include <cmath>

namespace vurl {
namespace {

constexpr std::chrono::seconds kStretch{2};
constexpr int kStretchesOff = 3;
constexpr double kTolerance = 0.01;

} // namespace

// A clock from outside is steady; a device that was held up and catches up is not. One that stands still is told
// elsewhere.
std::optional<uint32_t> RateWatch::look(uint64_t sample, Moment now) {
  if (has_begun && now - begin < kStretch) return std::nullopt;
  const double seconds = std::chrono::duration<double>(now - begin).count();
  const double measured = static_cast<double>(sample - first) / seconds;
  const bool is_off = has_begun && sample != first && std::abs(measured - rate) > kTolerance * rate;
  const bool is_steady = nr_off > 0 && std::abs(measured - last_measured) <= kTolerance * last_measured;
  nr_off = !is_off ? 0 : is_steady ? nr_off + 1 : 1;
  last_measured = measured;
  has_begun = true;
  begin = now;
  first = sample;
  if (nr_off < kStretchesOff || is_told) return std::nullopt;
  is_told = true;
  return static_cast<uint32_t>(std::lround(std::min(measured, 1e9)));
}

} // namespace vurl
