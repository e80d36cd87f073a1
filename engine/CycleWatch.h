// Finds incidents in the time stamps of I/O cycles. Thread: I/O, unless said otherwise. Wait-free.
#pragma once

#include "engine/AudioIO.h"
#include "engine/Incidents.h"

#include <cmath>
#include <utility>

namespace vurl {

class CycleWatch {
public:
  /// A larger gap in a device's count of samples is none that was measured: half an hour at 48 kHz.
  static constexpr double kMostLost = 86'400'000;

  /// A cycle begins at ring position `position`.
  void look(const AudioTimeStamp& stamp, int64_t position) noexcept {
    const bool counts = (stamp.mFlags & kAudioTimeStampSampleTimeValid) != 0;
    if ((stamp.mFlags & kAudioTimeStampSamplesLost) != 0) {
      const double gap = counts && is_counting ? stamp.mSampleTime - next_sample : 0;
      const auto lost = gap > 0 && gap <= kMostLost ? static_cast<int64_t>(gap) : 0;
      nr_lost.store(nrLost() + lost, std::memory_order_release);
      queue.add({Incident::Kind::samples_lost, position, lost});
    } else if ((stamp.mFlags & kAudioTimeStampOverload) != 0) {
      queue.add({Incident::Kind::overload, position, 0});
    }
    is_counting = counts;
    next_sample = stamp.mSampleTime;
  }

  /// The cycle has `n` samples.
  void count(uint32_t n) noexcept { next_sample += n; }

  /// All samples whose loss has been counted so far. Any thread.
  int64_t nrLost() const noexcept { return nr_lost.load(std::memory_order_acquire); }

  IncidentQueue queue;

private:
  bool is_counting = false;
  double next_sample = 0; ///< that the device should deliver
  std::atomic<int64_t> nr_lost{0};
};

/// Finds jumps in the readings of a time source. One thread.
class TimeJumps {
public:
  /// Forgets what was read: the source is another one.
  void restart() noexcept { is_known = false; }

  /// A reading says that the time of ring position p is p + `offset`, of which `nr_lost` samples are known to be
  /// missing in the ring. Returns by how much the source has jumped since the last reading, 0 while that is less than
  /// 10 ms or the step of midnight. Rate in Hz.
  int64_t look(int64_t offset, int64_t nr_lost, int32_t rate) noexcept {
    const uint64_t now = static_cast<uint64_t>(offset) - static_cast<uint64_t>(nr_lost);
    const auto jump = static_cast<int64_t>(now - std::exchange(last, now)); // modulo 2^64: a device may tell any time
    const auto step = static_cast<double>(jump);
    const bool jumps = is_known && std::abs(step) * kLeastPart > rate && !isMidnight(step, rate);
    is_known = true;
    return jumps ? jump : 0;
  }

private:
  static constexpr double kLeastPart = 100; ///< of a second: less than a frame of any rate, more than a reading's error

  /// Timecode that counts 30 frames for 29.97 has a longer day.
  static bool isMidnight(double step, int32_t rate) noexcept {
    const auto is_day = [&](double seconds) { return std::abs(std::abs(step) - seconds * rate) * kLeastPart <= rate; };
    return is_day(86400) || is_day(86486.4);
  }

  bool is_known = false;
  uint64_t last = 0;
};

} // namespace vurl
