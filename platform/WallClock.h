// The computer's clock and calendar, as one value that tests can replace.
#pragma once

#include <cstdint>
#include <functional>

namespace vurl {

/// One moment of the computer's clock.
struct WallTime {
  int64_t seconds = 0;      ///< since 1970-01-01 00:00:00 UTC
  int64_t microseconds = 0; ///< 0 to 999,999
  int64_t zone_offset = 0;  ///< seconds that local time is ahead of UTC at that moment, daylight saving included
};

/// Tells the present moment. Any thread but the I/O thread.
using WallClock = std::function<WallTime()>;

/// The computer's own clock in the system's time zone.
WallTime systemWallTime();

} // namespace vurl
