#include "platform/WallClock.h"

#include <sys/time.h>

#include <ctime>

namespace vurl {

WallTime systemWallTime() {
  timeval now{};
  gettimeofday(&now, nullptr);
  tm local{};
  localtime_r(&now.tv_sec, &local);
  return {now.tv_sec, now.tv_usec, local.tm_gmtoff};
}

} // namespace vurl
