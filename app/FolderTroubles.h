// What will go wrong when a take goes into its folders, as far as their disks tell: for the window, the terminal and
// the doctor alike. Nothing here keeps a take from being made. Thread: main.
#pragma once

#include "app/TakeFolders.h"

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace vurl {

/// How little recording time is left.
enum class RoomLevel { enough, low, almost_none };

inline constexpr int64_t kLowSeconds = 300;       ///< below this a folder is low
inline constexpr int64_t kAlmostNoneSeconds = 60; ///< below this it has almost none left

/// What `seconds` of secondsLeft() mean.
RoomLevel roomLevel(const std::optional<int64_t>& seconds);

using Rooms = std::vector<std::optional<DiskRoom>>;

/// Why folder `index` will take no file at all, as a sentence; empty when nothing is known to speak against it.
std::string whyNothingFits(const std::vector<TakeFolder>& folders, const Rooms& rooms, size_t index);

/// What is wrong with a folder that takes files, in whole sentences.
struct Flaw {
  std::string text;
  std::string advice;
};

/// A disk that is gone, files that end at the file system's limit, and copies that share the disk of a folder before
/// this one.
std::vector<Flaw> flawsOf(const std::vector<TakeFolder>& folders, const Rooms& rooms, size_t index);

/// That no take of these names can go into `folder`, for none is ever written over another. `first_file` is the answer
/// about the path of its first file.
std::optional<Flaw> nameTaken(const TakeFolder& folder, const std::optional<DiskRoom>& first_file);

/// Tells each thing once, and of each take when the room gets low.
class FolderNews {
public:
  /// A take begins.
  void restart() { told_levels.clear(); }

  /// What there is to be told now that has not been yet, as sentences that name their folders. An unanswered question
  /// says nothing.
  std::vector<std::string> look(const std::vector<TakeFolder>& folders, const Rooms& rooms);

private:
  std::set<std::string> told;
  std::set<std::pair<std::string, RoomLevel>> told_levels; ///< by path
};

} // namespace vurl
