// Paces the takes that the timecode's lock starts: one that cannot be made is tried again and again, but neither five
// times a second nor with an alert each time. Thread: main. Used by MainMenuControler.
#pragma once

#include <algorithm>
#include <cstdint>

namespace vurl {

class StartPacer {
public:
  static constexpr int32_t kTicksPerSecond = 5;
  static constexpr int32_t kShortestPause = kTicksPerSecond; ///< the pre-record time makes up for it
  static constexpr int32_t kLongestPause = 64 * kTicksPerSecond;
  /// Seconds after which a take is not one that could not be made. Longer pauses would lose more than the pre-record
  /// time brings back, so no take that ran may lengthen them.
  static constexpr double kSoundTake = 3;

  /// Whether a take may start at this tick; called at each tick that finds the lock and no take.
  bool mayStart() {
    if (ticks_to_wait == 0) return true;
    --ticks_to_wait;
    return false;
  }

  /// A take has ended after `seconds` of sound, for a reason or normally. Each reason doubles the pause that follows.
  /// Returns whether the user should be told: of the attempts that fail in a row the first is.
  bool takeEnded(bool for_a_reason, double seconds) {
    if (!for_a_reason || seconds >= kSoundTake) *this = {};
    if (!for_a_reason) return false;
    const bool is_first = pause == 0;
    pause = is_first ? kShortestPause : std::min(2 * pause, kLongestPause);
    ticks_to_wait = pause;
    return is_first;
  }

private:
  int32_t pause = 0; ///< ticks
  int32_t ticks_to_wait = 0;
};

} // namespace vurl
