// Where the files of a take go, how fast they grow there, and how long the disks beneath will take them.
#pragma once

#include "metadata/MetaData.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vurl {

/// A destination folder of a take: where it is, and what goes there.
struct TakeFolder {
  std::string path;         ///< with its "~" expanded
  int32_t nr_files = 0;     ///< of the take, in this folder
  int64_t byte_rate = 0;    ///< bytes a second that they grow by together
  std::string first_name;   ///< of the first of these files, without the folder
  std::string last_name;    ///< of the last
  int64_t break_size = 0;   ///< bytes at which the take goes on in new files, 0 for never
  ChannelMask channels = 0; ///< that are recorded here

  std::string firstFile() const { return path + '/' + first_name; }
};

/// The folders that receive files of `take`, in the order of their numbers; two numbers with the same path are one.
std::vector<TakeFolder> foldersOf(const MetaData& take);

/// The destination folders as they are stored, a "~" unexpanded.
std::vector<std::string> destinationFolders(const UserDefaults& defaults);

/// Adds the full paths of the take files in `folder` to `paths`, by the order of their names. Returns 0, or the errno
/// when the folder cannot be read, or not to its end. Any thread.
int addTakeFiles(const std::string& folder, std::vector<std::string>& paths);

enum class FolderState {
  ready,
  missing,   ///< no take can be made: nobody makes the folder
  file,      ///< there is a file of that name
  read_only, ///< nobody may write to its file system
  locked     ///< this user may not make files in it
};

/// Each file of a take needs this many bytes at once, for its header.
inline constexpr int64_t kLeastBytesOfFile = 131072;

/// The room on the disk under a folder.
struct DiskRoom {
  int64_t free_bytes = 0; ///< that this user may write
  uint64_t disk = 0;      ///< the same number for folders that share a disk
  FolderState folder = FolderState::ready;
  int64_t largest_file = INT64_MAX; ///< bytes that a file there can have
  bool is_system = false;           ///< the disk is that of the system
  bool has_lost_disk = false;       ///< it is now, and was another before
};

/// Asks the system about the folder at `path`, a missing one and a file have no room. Nothing when that cannot be told.
/// May block as long as a disk does not answer. Any thread.
std::optional<DiskRoom> diskRoom(const std::string& path);

/// How many seconds of the take fit on the disk of folder `index`, all folders on the same disk growing together;
/// nothing while either is unknown. `rooms` are those of `folders`.
std::optional<int64_t> secondsLeft(const std::vector<TakeFolder>& folders,
                                   const std::vector<std::optional<DiskRoom>>& rooms, size_t index);

/// A recording time for people: "3 h 12 min", "9 min 30 s", "more than 99 h".
std::string durationInWords(int64_t seconds);

} // namespace vurl
