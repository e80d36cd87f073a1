#include "app/FolderTroubles.h"

#include "platform/Text.h"

#include <algorithm>

namespace vurl {
namespace {

/// A file is as large as its break, and up to one block larger.
constexpr int64_t kMostBeyondBreak = 65536;

std::string gigabytes(int64_t bytes) {
  return text("%qi.%qi GB", bytes / 1'000'000'000, bytes % 1'000'000'000 / 100'000'000);
}

/// Whether a file would grow beyond what the file system can hold.
bool endsBeforeBreak(const TakeFolder& folder, const DiskRoom& room) {
  if (room.largest_file == INT64_MAX) return false;
  return folder.break_size == 0 || folder.break_size > room.largest_file - kMostBeyondBreak;
}

} // namespace

RoomLevel roomLevel(const std::optional<int64_t>& seconds) {
  if (!seconds || *seconds >= kLowSeconds) return RoomLevel::enough;
  return *seconds < kAlmostNoneSeconds ? RoomLevel::almost_none : RoomLevel::low;
}

std::string whyNothingFits(const std::vector<TakeFolder>& folders, const Rooms& rooms, size_t index) {
  if (folders[index].path.empty()) return "No folder is chosen.";
  if (index >= rooms.size() || !rooms[index]) return "";
  switch (rooms[index]->folder) {
  case FolderState::missing: return "The folder is not there.";
  case FolderState::file: return "It is a file.";
  case FolderState::read_only: return "Its disk is read-only.";
  case FolderState::locked: return "You may not write there.";
  case FolderState::ready: break;
  }
  return rooms[index]->free_bytes < folders[index].nr_files * kLeastBytesOfFile ? "There is no space left." : "";
}

std::vector<Flaw> flawsOf(const std::vector<TakeFolder>& folders, const Rooms& rooms, size_t index) {
  std::vector<Flaw> flaws;
  if (index >= rooms.size() || !rooms[index] || rooms[index]->folder != FolderState::ready) return flaws;
  const DiskRoom& room = *rooms[index];
  if (room.has_lost_disk)
    flaws.push_back(
        {"Its own disk is gone: takes go onto the system's disk.", "Connect it, or choose another folder."});
  if (endsBeforeBreak(folders[index], room)) {
    flaws.push_back({text("No file there can be larger than %@: a take whose file gets there will end.",
                          gigabytes(room.largest_file)),
                     "Set a smaller maximum file size, at which takes go on in new files."});
  }
  for (size_t i = 0; i < std::min(index, rooms.size()); ++i) {
    const bool shares = rooms[i] && rooms[i]->folder == FolderState::ready && rooms[i]->disk == room.disk;
    if (!shares || (folders[i].channels & folders[index].channels) == 0) continue;
    flaws.push_back({text("It is on the same disk as %@, which gets the same channels: both copies would go together.",
                          folders[i].path),
                     "Choose a folder on another disk."});
    break;
  }
  return flaws;
}

std::optional<Flaw> nameTaken(const TakeFolder& folder, const std::optional<DiskRoom>& first_file) {
  if (!first_file || first_file->folder != FolderState::file) return std::nullopt;
  return Flaw{text("%@ is there already.", folder.firstFile()), "Change the take's number, or the names of the files."};
}

std::vector<std::string> FolderNews::look(const std::vector<TakeFolder>& folders, const Rooms& rooms) {
  std::vector<std::string> news;
  for (size_t i = 0; i < folders.size(); ++i) {
    const std::string& path = folders[i].path;
    const auto tell = [&](const std::string& sentence) {
      const std::string whole = text("%@: %@", path, sentence);
      if (told.insert(whole).second) news.push_back(whole);
    };
    const std::string obstacle = whyNothingFits(folders, rooms, i);
    if (!obstacle.empty()) tell(obstacle);
    for (const Flaw& flaw : flawsOf(folders, rooms, i)) tell(flaw.text + " " + flaw.advice);
    const auto seconds = secondsLeft(folders, rooms, i);
    const RoomLevel level = roomLevel(seconds);
    if (level == RoomLevel::enough || !told_levels.emplace(path, level).second) continue;
    const char* const format = level == RoomLevel::low ? "%@: LOW: %@ left." : "%@: ALMOST FULL: only %@ left.";
    news.push_back(text(format, path, durationInWords(*seconds)));
  }
  return news;
}

} // namespace vurl
