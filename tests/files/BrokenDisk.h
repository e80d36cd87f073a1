// A disk with faults, each at a call that the test names, and folders without room.
#pragma once

#include "files/BWFUtils.h"
#include "tests/support/ForwardingDisk.h"

#include <sys/stat.h>

#include <unistd.h>

namespace vurl {

enum class Way { fails, takes_the_folder, is_interrupted, does_half, fails_after_half };

/// A disk of which one call, or all from that one on in a folder, goes wrong; and whose folders have no room but so
/// many bytes. Many reads and writes are short. Counts the calls.
struct BrokenDisk final : ForwardingDisk {
  std::mutex mutex;
  std::array<int, kNrCalls> nr_calls{};
  std::string broken_file, broken_folder, last_folder;
  std::optional<Call> call; ///< that goes wrong, the `number`th of them, from 1 on
  int number = 0;
  Way way = Way::fails;
  bool was_header = false;             ///< what was written or asked for in the broken call
  std::map<std::string, int64_t> room; ///< of folders; others have enough
  std::map<Call, size_t> longest = {{kRead, 700}, {kWrite, 50000}};
  std::function<void(Call call, const std::string& path)> meanwhile = [](Call, const std::string&) {}; ///< in each call

  static std::string folderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }
  void breakCall(Call which, int at, Way how) {
    std::tie(call, number, way) = std::tuple(which, at, how);
    nr_calls = {};
    broken_file = broken_folder = "";
  }
  void mend() { breakCall(kNrCalls, 0, Way::fails); }

  /// What the call does, with a size where it has one: 0 or an errno.
  int errorOf(Call which, const std::string& path, size_t* size) {
    if (!broken_folder.empty() && folderOf(path) == broken_folder) return EIO;
    if (++nr_calls[which] == number + 1 && call == which && way == Way::fails_after_half) return ENOSPC;
    if (call != which || nr_calls[which] != number) return 0;
    broken_file = path;
    was_header = size != nullptr && *size == size_t{kHeaderSize};
    if (way == Way::takes_the_folder) broken_folder = folderOf(path);
    if (size != nullptr && (way == Way::does_half || way == Way::fails_after_half)) return *size /= 2, 0;
    return way == Way::is_interrupted ? EINTR : EIO;
  }
  /// Takes the room for as much of a write as there is room for.
  int takeRoom(const std::string& path, int descriptor, size_t& size) {
    const auto left = room.find(folderOf(path));
    if (left == room.end()) return 0;
    struct stat status {};
    fstat(descriptor, &status);
    const int64_t at = lseek(descriptor, 0, SEEK_CUR);
    const int64_t fitting = std::min(static_cast<int64_t>(size), status.st_size - at + left->second);
    if (fitting <= 0) return was_header = at < kHeaderSize, ENOSPC;
    left->second -= std::max(at + fitting - status.st_size, int64_t{0});
    size = static_cast<size_t>(fitting);
    return 0;
  }
  int before(Call which, const std::string& path, int descriptor, size_t* size) override {
    meanwhile(which, path);
    const std::lock_guard lock(mutex);
    last_folder = folderOf(path);
    if (longest.contains(which)) *size = std::min(*size, longest.at(which));
    const int error = errorOf(which, path, size);
    return error == 0 && which == kWrite ? takeRoom(path, descriptor, *size) : error;
  }
  int truncate(int descriptor, int64_t size) override { // gives its room back
    struct stat status {};
    fstat(descriptor, &status);
    const int result = ForwardingDisk::truncate(descriptor, size);
    if (const auto left = room.find(last_folder); left != room.end()) left->second += status.st_size - size;
    return result;
  }
};

} // namespace vurl
