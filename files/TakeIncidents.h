// The incidents of a take: taken from the ring as they come, kept as long as a take may still reach back to them, and
// given to the take whose samples they belong to. Thread: processing, unless said otherwise.
#pragma once

#include "engine/AudioRing.h"
#include "engine/Incidents.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vurl {

/// What has happened in a take. Positions count from its first sample.
struct IncidentList {
  static constexpr size_t kMostListed = 100;

  std::vector<Incident> first;                       ///< the first kMostListed, by position
  std::array<uint64_t, Incident::kNrKinds> counts{}; ///< of all, by kind
  uint64_t unlisted = 0;                             ///< that came too fast to be told apart
  int64_t samples_lost = 0;                          ///< of all, as far as it is known how many

  uint64_t size() const;
};

/// "At sample 48000: 512 samples lost". Any thread.
std::string inWords(const Incident& incident);

/// "3 incidents: samples lost once (512), 2 overloads without loss", or "no incidents". Any thread.
std::string inWords(const IncidentList& list);

class TakeIncidents {
public:
  explicit TakeIncidents(AudioRing& ring) : audio_ring(ring) {}

  /// Takes what there is in the ring. In every pass.
  void collect();

  /// Forgets what lies before ring position `first`, where a take to come begins at the earliest.
  void forgetBefore(int64_t first);

  /// How many there are at present behind ring position `first`.
  uint64_t sizeFrom(int64_t first) const;

  /// Gives away the incidents of a take from ring position `first` up to `end`, and those before. What happened between
  /// two pieces of a take, of which the first is told to go on, belongs to the first.
  IncidentList give(int64_t first, int64_t end, bool goes_on);

private:
  static constexpr size_t kMostKept = 4096;
  static constexpr int64_t kUnwritten = 256; ///< samples behind a take's last block that it has seen all the same

  static bool isIn(const Incident& incident, int64_t first, int64_t end);
  void keep(const Incident& incident);

  AudioRing& audio_ring;
  std::vector<Incident> kept;
  std::array<uint64_t, Incident::kNrKinds> not_kept{}; ///< by kind
  uint64_t nr_unlisted_before = 0;
};

} // namespace vurl
