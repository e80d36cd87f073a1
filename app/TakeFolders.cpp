#include "app/TakeFolders.h"

#include "platform/Log.h"

#include <linux/magic.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string_view>

namespace vurl {
namespace {

constexpr int64_t kMostFolders = 16;
constexpr int64_t kLargestOnFat = 0xFFFFFFFF;

/// FAT is what cards come with; the other file systems of today end no take. The user's own limit may.
int64_t largestFile(const std::string& path) {
  struct statfs about {};
  const bool is_fat = statfs(path.c_str(), &about) == 0 && about.f_type == MSDOS_SUPER_MAGIC;
  rlimit limit{};
  const bool is_limited = getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
  const auto most = is_limited ? std::min<rlim_t>(limit.rlim_cur, INT64_MAX) : rlim_t{INT64_MAX};
  return std::min(is_fat ? kLargestOnFat : INT64_MAX, static_cast<int64_t>(most));
}

} // namespace

std::vector<TakeFolder> foldersOf(const MetaData& take) {
  std::vector<TakeFolder> folders;
  for (int32_t number = 0; number < take.nrFolders(); ++number) {
    const std::string path = expandTilde(take.pathForFolder(number));
    for (int32_t file = 0; file < take.nrFiles(); ++file) {
      if (take.folderForFile(file) != number) continue;
      auto folder = std::find_if(folders.begin(), folders.end(), [&](const auto& known) { return known.path == path; });
      const std::string name = std::filesystem::path(take.filenameForFile(file)).filename().string();
      if (folder == folders.end())
        folder = folders.insert(folders.end(), TakeFolder{path, 0, 0, name, name, take.maximumFileSize()});
      folder->nr_files += 1;
      folder->byte_rate += take.byteRateForFile(file);
      folder->last_name = name;
      folder->channels |= take.channelMaskForFile(file);
    }
  }
  return folders;
}

std::vector<std::string> destinationFolders(const UserDefaults& defaults) {
  std::vector<std::string> paths;
  const int64_t nr_folders = std::clamp<int64_t>(defaults.integerForKey("nr_folders"), 0, kMostFolders);
  for (int64_t folder = 0; folder < nr_folders; folder++) {
    paths.push_back(defaults.stringForKey(text("path_for_folder%02i", folder)));
  }
  return paths;
}

int addTakeFiles(const std::string& folder, std::vector<std::string>& paths) {
  DIR* const directory = opendir(folder.c_str());
  if (directory == nullptr) return errno;
  const auto first = static_cast<std::ptrdiff_t>(paths.size());
  errno = 0;
  while (const dirent* const entry = readdir(directory)) {
    const std::string_view name = entry->d_name;
    if (name.ends_with(".wav") || name.ends_with(".caf")) paths.push_back(folder + '/' + entry->d_name);
    errno = 0;
  }
  const int error = errno;
  if (closedir(directory) != 0) log("Could not close dir %@: @s", folder);
  std::sort(paths.begin() + first, paths.end());
  return error;
}

std::optional<DiskRoom> diskRoom(const std::string& path) {
  struct statvfs room {};
  struct stat about {};
  const bool found = stat(path.c_str(), &about) == 0;
  if (!found && (errno == ENOENT || errno == ENOTDIR)) return DiskRoom{0, 0, FolderState::missing};
  if (found && !S_ISDIR(about.st_mode)) return DiskRoom{0, 0, FolderState::file};
  if (!found || statvfs(path.c_str(), &room) != 0) return std::nullopt;
  const bool is_writable = access(path.c_str(), W_OK | X_OK) == 0;
  const FolderState state = (room.f_flag & ST_RDONLY) != 0 ? FolderState::read_only
                            : is_writable                  ? FolderState::ready
                                                           : FolderState::locked;
  struct stat root {};
  const bool is_system = stat("/", &root) == 0 && root.st_dev == about.st_dev;
  return DiskRoom{static_cast<int64_t>(room.f_bavail * room.f_frsize), about.st_dev, state, largestFile(path),
                  is_system};
}

std::optional<int64_t> secondsLeft(const std::vector<TakeFolder>& folders,
                                   const std::vector<std::optional<DiskRoom>>& rooms, size_t index) {
  if (index >= rooms.size() || index >= folders.size() || !rooms[index]) return std::nullopt;
  const FolderState state = rooms[index]->folder;
  if (state == FolderState::missing || state == FolderState::file) return std::nullopt;
  int64_t byte_rate = 0;
  for (size_t i = 0; i < std::min(folders.size(), rooms.size()); ++i) {
    if (rooms[i] && rooms[i]->disk == rooms[index]->disk) byte_rate += folders[i].byte_rate;
  }
  if (byte_rate <= 0) return std::nullopt;
  return rooms[index]->free_bytes / byte_rate;
}

std::string durationInWords(int64_t seconds) {
  constexpr int64_t kMinute = 60;
  constexpr int64_t kHour = 3600;
  if (seconds >= 100 * kHour) return "more than 99 h";
  if (seconds >= kHour) return text("%i h %02i min", seconds / kHour, seconds % kHour / kMinute);
  return text("%i min %02i s", seconds / kMinute, seconds % kMinute);
}

} // namespace vurl
