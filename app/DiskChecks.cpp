#include "app/DiskChecks.h"

#include "app/FolderTroubles.h"
#include "platform/Patience.h"
#include "platform/Text.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <system_error>

namespace vurl {
namespace {

using Mark = Finding::Mark;

constexpr std::chrono::seconds kPatience{5};
constexpr std::chrono::seconds kDuration{1};
constexpr int64_t kMostBytes = 512 << 20;
constexpr int64_t kLeastFree = 64 << 20; ///< a disk as full as that is not written to for a test
constexpr int64_t kShareOfFree = 4;

/// A disk must be this many times as fast as a take: many files grow in turn, and others use it, too.
constexpr int64_t kReserve = 2;
constexpr int64_t kLeastSeconds = 3600;

DiskState lookAt(const TakeFolder& folder, bool measures) {
  const std::string& path = folder.path;
  DiskState disk;
  disk.has_answered = true;
  std::error_code error;
  disk.is_there = std::filesystem::is_directory(path, error);
  if (!disk.is_there) return disk;
  disk.room = diskRoom(path);
  const int64_t free_bytes = disk.room ? disk.room->free_bytes : 0;
  if (measures && free_bytes > kLeastFree)
    disk.speed = measureDiskSpeed(path, kDuration, std::min(kMostBytes, free_bytes / kShareOfFree));
  if (measures) disk.first_file = diskRoom(folder.firstFile());
  return disk;
}

std::string megabytes(int64_t bytes) { return text("%i.%i MB/s", bytes / 1'000'000, bytes / 100'000 % 10); }

/// What all folders on the disk of folder `index` need.
int64_t byteRateOfDisk(const std::vector<TakeFolder>& folders, const std::vector<DiskState>& disks, size_t index) {
  int64_t sum = 0;
  for (size_t i = 0; i < folders.size(); ++i) {
    const bool is_same =
        i == index || (disks[i].room && disks[index].room && disks[i].room->disk == disks[index].room->disk);
    if (is_same) sum += folders[i].byte_rate;
  }
  return sum;
}

void add(Finding& finding, Mark mark, const std::string& sentence, const std::string& advice = "") {
  finding.mark = std::max(finding.mark, mark);
  finding.text += " " + sentence;
  if (!advice.empty()) finding.advice += (finding.advice.empty() ? "" : " ") + advice;
}

void addSpeed(Finding& finding, const DiskSpeed& speed, int64_t needed) {
  if (speed.bytes_per_second == 0) {
    add(finding, Mark::note, text("Its speed was not measured; takes need %s.", megabytes(needed)));
    return;
  }
  const std::string told =
      text("It is written at %s, takes need %s.", megabytes(speed.bytes_per_second), megabytes(needed));
  if (speed.bytes_per_second >= kReserve * needed)
    add(finding, Mark::fine, told);
  else
    add(finding, Mark::change, told,
        "Use a faster disk, or record fewer channels, at a lower rate, or to fewer folders: a disk should be twice as "
        "fast as takes need.");
}

void addRoom(Finding& finding, const DiskState& disk, int64_t needed) {
  if (!disk.room || needed <= 0) return;
  const int64_t seconds = disk.room->free_bytes / needed;
  const bool is_long = seconds >= kLeastSeconds;
  add(finding, is_long ? Mark::fine : Mark::change, text("There is room for %s.", durationInWords(seconds)),
      is_long ? "" : "Make room there, or choose a folder on another disk.");
}

Finding check(const std::vector<TakeFolder>& folders, const std::vector<DiskState>& disks, const Rooms& rooms,
              size_t index) {
  const TakeFolder& folder = folders[index];
  const DiskState& disk = disks[index];
  const int64_t needed = byteRateOfDisk(folders, disks, index);
  Finding finding{"disk", Mark::fine, text("%@:", folder.path), ""};
  if (!disk.has_answered) {
    add(finding, Mark::change, text("Its disk has not answered for %i seconds.", kPatience.count()),
        "Look to its cable, or its network, or choose another folder.");
  } else if (!disk.is_there) {
    add(finding, Mark::change, "The folder is not there.", "Connect its disk, make it, or choose another folder.");
  } else if (!disk.speed.error.empty()) {
    add(finding, Mark::change, text("It cannot be written: %s.", disk.speed.error),
        "Make it writable for you, or choose another folder.");
  } else if (const std::string obstacle = whyNothingFits(folders, rooms, index); !obstacle.empty()) {
    add(finding, Mark::change, obstacle, "Make it writable for you, make room, or choose another folder.");
  } else {
    addSpeed(finding, disk.speed, needed);
    addRoom(finding, disk, needed);
    for (const Flaw& flaw : flawsOf(folders, rooms, index)) add(finding, Mark::change, flaw.text, flaw.advice);
    if (const auto taken = nameTaken(folder, disk.first_file)) add(finding, Mark::change, taken->text, taken->advice);
  }
  return finding;
}

} // namespace

DiskState examineDisk(const TakeFolder& folder, bool measures) {
  const auto answer = withPatience(kPatience, [folder, measures] { return lookAt(folder, measures); });
  return answer.value_or(DiskState{});
}

std::vector<Finding> checkDisks(const std::vector<TakeFolder>& folders, const std::vector<DiskState>& disks) {
  if (folders.empty())
    return {{"disk", Mark::change, "No file goes into any folder.", "Choose a layout: vurl layout --auto 2."}};
  std::vector<Finding> findings;
  Rooms rooms;
  for (const DiskState& disk : disks) rooms.push_back(disk.room);
  for (size_t i = 0; i < std::min(folders.size(), disks.size()); ++i)
    findings.push_back(check(folders, disks, rooms, i));
  return findings;
}

} // namespace vurl
