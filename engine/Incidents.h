// What goes wrong with the sound on its way to a take, and how it is handed from the thread that notices it to the
// processing thread, which adds it to the take (files/TakeIncidents.h).
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

namespace vurl {

struct Incident {
  enum class Kind : int32_t {
    samples_lost, ///< right before `position`; `amount` samples, 0 when nobody can tell how many
    overload,     ///< something was late at `position`, but no captured sample was lost
    time_jump,    ///< of the time source, noticed at `position`, by `amount` samples; negative: back
    standstill,   ///< the device has delivered nothing behind `position`, for `amount` ms as far as is known
  };
  static constexpr int kNrKinds = 4;

  Kind kind = Kind::samples_lost;
  int64_t position = 0; ///< in the ring; in a take's own list from its first sample
  int64_t amount = 0;

  bool operator==(const Incident&) const = default;
};

/// A queue of incidents from one thread to another. When it is full the new ones are counted only.
class IncidentQueue {
public:
  static constexpr uint64_t kSize = 256;

  /// Thread: the one that writes. Wait-free.
  void add(const Incident& incident) noexcept {
    const uint64_t end = nr_added.load(std::memory_order_relaxed);
    if (end - nr_taken.load(std::memory_order_acquire) == kSize) {
      nr_dropped.store(nr_dropped.load(std::memory_order_relaxed) + 1, std::memory_order_release);
      return;
    }
    incidents[end % kSize] = incident;
    nr_added.store(end + 1, std::memory_order_release);
  }

  /// Takes the oldest; false when there is none. Thread: the one that reads. Wait-free.
  bool take(Incident& incident) noexcept {
    const uint64_t begin = nr_taken.load(std::memory_order_relaxed);
    if (begin == nr_added.load(std::memory_order_acquire)) return false;
    incident = incidents[begin % kSize];
    nr_taken.store(begin + 1, std::memory_order_release);
    return true;
  }

  /// How many have been counted only so far. Any thread.
  uint64_t nrDropped() const noexcept { return nr_dropped.load(std::memory_order_acquire); }

private:
  std::array<Incident, kSize> incidents{};
  alignas(64) std::atomic<uint64_t> nr_added{0}; ///< with `nr_dropped` the writing thread's
  std::atomic<uint64_t> nr_dropped{0};
  alignas(64) std::atomic<uint64_t> nr_taken{0}; ///< the reading thread's
};

} // namespace vurl
