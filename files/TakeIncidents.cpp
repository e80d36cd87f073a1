#include "files/TakeIncidents.h"

#include "platform/Text.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace vurl {
namespace {

using Kind = Incident::Kind;

size_t numberOf(Kind kind) { return static_cast<size_t>(kind); }

std::string times(uint64_t count) { return count == 1 ? "once" : text("%qu times", count); }

void add(std::string& words, uint64_t count, const std::string& one, const char* many) {
  if (count == 0) return;
  words += words.empty() ? "" : ", ";
  words += count == 1 ? one : text(many, count);
}

} // namespace

uint64_t IncidentList::size() const { return std::accumulate(counts.begin(), counts.end(), unlisted); }

std::string inWords(const Incident& incident) {
  const int64_t amount = incident.amount;
  switch (incident.kind) {
  case Kind::samples_lost:
    return text("At sample %qi: %@ lost", incident.position,
                amount == 0   ? "samples"
                : amount == 1 ? "1 sample"
                              : text("%qi samples", amount));
  case Kind::overload: return text("At sample %qi: an overload without loss", incident.position);
  case Kind::time_jump:
    return text("At sample %qi: the time source has jumped %@ by %qi samples", incident.position,
                amount < 0 ? "back" : "ahead", amount < 0 ? -amount : amount);
  case Kind::standstill:
    return text("At sample %qi: the device delivered nothing for %qi ms", incident.position, amount);
  }
  return "";
}

std::string inWords(const IncidentList& list) {
  const uint64_t size = list.size();
  if (size == 0) return "no incidents";
  const uint64_t losses = list.counts[numberOf(Kind::samples_lost)];
  std::string words;
  add(words, losses > 0 ? 1 : 0, text("samples lost %@ (%qi known of)", times(losses), list.samples_lost), "");
  add(words, list.counts[numberOf(Kind::overload)], "1 overload without loss", "%qu overloads without loss");
  add(words, list.counts[numberOf(Kind::time_jump)], "1 jump of the time source", "%qu jumps of the time source");
  add(words, list.counts[numberOf(Kind::standstill)], "1 standstill of the device", "%qu standstills of the device");
  add(words, list.unlisted, "1 too fast to tell", "%qu too fast to tell");
  return (size == 1 ? "1 incident: " : text("%qu incidents: ", size)) + words;
}

void TakeIncidents::collect() {
  Incident incident;
  while (audio_ring.takeIncident(incident)) keep(incident);
}

/// A standstill is told when it is noticed, and again when it is over.
void TakeIncidents::keep(const Incident& incident) {
  if (incident.kind == Kind::standstill) {
    const auto same = std::find_if(kept.begin(), kept.end(), [&](const Incident& known) {
      return known.kind == incident.kind && known.position == incident.position;
    });
    if (same != kept.end()) {
      same->amount = incident.amount;
      return;
    }
  }
  if (kept.size() < kMostKept) {
    kept.push_back(incident);
  } else {
    ++not_kept[numberOf(incident.kind)];
  }
}

void TakeIncidents::forgetBefore(int64_t first) {
  std::erase_if(kept, [first](const Incident& incident) { return incident.position < first; });
  not_kept = {};
  nr_unlisted_before = audio_ring.nrUnlistedIncidents();
}

/// What happened before the take's first sample arrived is none of its business. A standstill lies where nothing comes,
/// so that it belongs to the samples before it, too.
bool TakeIncidents::isIn(const Incident& incident, int64_t first, int64_t end) {
  if (incident.kind == Kind::standstill) return incident.position >= first && incident.position < end + kUnwritten;
  return incident.position > first && incident.position < end;
}

uint64_t TakeIncidents::sizeFrom(int64_t first) const {
  const auto count = std::count_if(kept.begin(), kept.end(), [first](const Incident& incident) {
    return isIn(incident, first, INT64_MAX - kUnwritten);
  });
  const uint64_t others = audio_ring.nrUnlistedIncidents() - nr_unlisted_before;
  return std::accumulate(not_kept.begin(), not_kept.end(), others) + static_cast<uint64_t>(count);
}

IncidentList TakeIncidents::give(int64_t first, int64_t end, bool goes_on) {
  if (goes_on) ++end; // an incident lies before the sample at its position
  IncidentList list;
  const uint64_t nr_unlisted = audio_ring.nrUnlistedIncidents();
  list.unlisted = nr_unlisted - std::exchange(nr_unlisted_before, nr_unlisted);
  list.counts = std::exchange(not_kept, {});
  std::stable_sort(kept.begin(), kept.end(), [](const auto& a, const auto& b) { return a.position < b.position; });
  for (const Incident& incident : kept) {
    if (!isIn(incident, first, end)) continue;
    ++list.counts[numberOf(incident.kind)];
    if (incident.kind == Kind::samples_lost) list.samples_lost += incident.amount;
    if (list.first.size() < IncidentList::kMostListed)
      list.first.push_back({incident.kind, incident.position - first, incident.amount});
  }
  std::erase_if(kept, [&](const Incident& incident) {
    return incident.position < end || (incident.kind == Kind::standstill && isIn(incident, first, end));
  });
  return list;
}

} // namespace vurl
