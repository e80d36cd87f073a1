// Peak and RMS of every ring channel: the I/O thread adds what it has just handled, the main thread reads for the
// display, and each reading begins the next. No thread waits for another. Sum and count change together, so whatever a
// reading finds is sound; when it falls into the very moment of a cycle's store its reset is undone, and the next
// reading covers the same samples again. A NaN counts as silence. An infinite sample, or one whose square would be,
// counts as full scale, which is what an integer file makes of it: the meter shows it, and falls as ever.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

namespace vurl {

class LevelMeter {
public:
  static constexpr uint32_t kChannels = 64;

  /// Adds `n` samples of a channel below kChannels. Thread: I/O. Wait-free: loads and stores only.
  void add(uint32_t channel, const float* samples, uint32_t n) noexcept;

  /// The channel's highest amplitude, full scale at 1.0; each call lets it fall, by 40 % of its power. 0 for a channel
  /// beyond the last. Thread: main.
  float peakForChannel(uint32_t channel) noexcept;

  /// The mean of this and the last three readings, each the root of the mean square of the samples since the one
  /// before, or 0 when there were none. Full scale at 1.0; 0 for a channel beyond the last. Thread: main.
  float rmsForChannel(uint32_t channel) noexcept;

private:
  struct Sums {
    float levels_total = 0;    ///< of the squares of the samples since the last reading
    uint32_t levels_count = 0; ///< of these samples
  };
  static_assert(std::atomic<Sums>::is_always_lock_free && std::atomic<float>::is_always_lock_free);

  // Added to by the I/O thread, reset by the main thread.
  std::array<std::atomic<float>, kChannels> levels_max{}; ///< squares
  std::array<std::atomic<Sums>, kChannels> sums{};

  // Main thread
  std::array<std::array<float, 4>, kChannels> levels_rms{}; ///< the last readings, the oldest first
};

} // namespace vurl
