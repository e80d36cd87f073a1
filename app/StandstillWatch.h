// Notices that a device has stopped delivering, by a look at its position at each tick of the refresh timer. A main
// loop that is held up sees no ticks, so that its own delay is no standstill.
#pragma once

#include <cstdint>

namespace vurl {

/// Thread: main.
class StandstillWatch {
public:
  static constexpr int64_t kTick = 100;        ///< ms between two looks
  static constexpr int64_t kPatience = 500;    ///< ms for which a device may be silent
  static constexpr int64_t kRepetition = 1000; ///< ms after which a standstill that lasts is news again

  enum class News { none, begins, lasts, ends };

  /// The device is at ring position `now`.
  News look(int64_t now) {
    const bool stood = stands();
    const bool moves = now != last_position;
    if (moves && stood) {
      stood_at = last_position;
      stood_for = ticks * kTick;
    }
    last_position = now;
    ticks = moves ? 0 : ticks + 1;
    if (moves) return stood ? News::ends : News::none;
    if (!stands()) return News::none;
    stood_at = now;
    stood_for = ticks * kTick;
    if (!stood) return News::begins;
    return stood_for % kRepetition == 0 ? News::lasts : News::none;
  }

  bool stands() const { return ticks * kTick > kPatience; }

  /// Of the standstill that was in the news last: the ring position, and how long it has lasted, in ms.
  int64_t position() const { return stood_at; }
  int64_t milliseconds() const { return stood_for; }

private:
  int64_t last_position = 0;
  int64_t ticks = 0; ///< since the position has moved
  int64_t stood_at = 0;
  int64_t stood_for = 0;
};

} // namespace vurl
