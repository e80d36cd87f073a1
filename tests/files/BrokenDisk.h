// A disk with faults, each at a call that the test names, and folders without room.
#pragma once

#include "files/BWFUtils.h"
#include "tests/support/ForwardingDisk.h"
#include "tests/support/Test.h"

#include <sys/stat.h>

#include <unistd.h>

#include <map>
#include <mutex>

namespace vurl {

enum Call { kCreate, kOpen, kRead, kWrite, kSeek, kTruncate, kStartWriting, kSync, kSyncFolder, kClose, kNrCalls };
enum class Way { fails, takes_the_folder, is_interrupted, does_half, fails_after_half };

/// A disk of which one call, or all from that one on in a folder, goes wrong; and whose folders have no room but so
/// many bytes. Counts the calls and what is open.
struct BrokenDisk final : ForwardingDisk {
  std::mutex mutex;
  std::array<int, kNrCalls> nr_calls{};
  std::map<int, std::string> open;
  std::string broken_file, broken_folder;
  std::optional<Call> call; ///< that goes wrong, the `number`th of them, from 1 on
  int number = 0;
  Way way = Way::fails;
  bool was_header = false; ///< what was written or asked for in the broken call
  std::map<std::string, int64_t> room;

  static std::string folderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }
  void breakCall(Call which, int at, Way how) {
    std::tie(call, number, way) = std::tuple(which, at, how);
    nr_calls = {};
    broken_file = broken_folder = "";
  }
  void mend() { breakCall(kNrCalls, 0, Way::fails); }

  /// What the call does, with a size where it has one: 0 or an errno.
  int errorOf(Call which, const std::string& path, size_t* size = nullptr) {
    if (!broken_folder.empty() && folderOf(path) == broken_folder) return EIO;
    if (++nr_calls[which] == number + 1 && call == which && way == Way::fails_after_half) return ENOSPC;
    if (call != which || nr_calls[which] != number) return 0;
    broken_file = path;
    was_header = size != nullptr && *size == size_t{kHeaderSize};
    if (way == Way::takes_the_folder) broken_folder = folderOf(path);
    if (size != nullptr && (way == Way::does_half || way == Way::fails_after_half)) return *size /= 2, 0;
    return way == Way::is_interrupted ? EINTR : EIO;
  }
  template <typename Good>
  auto result(int error, const Good& good) -> decltype(good()) {
    return error == 0 ? good() : (errno = error, -1);
  }
  int opened(int descriptor, const std::string& path) {
    if (descriptor >= 0) open[descriptor] = path;
    return descriptor;
  }

  int createExclusive(const std::string& path) override {
    const std::lock_guard lock(mutex);
    return result(errorOf(kCreate, path), [&] { return opened(disk.createExclusive(path), path); });
  }
  int openForReading(const std::string& path) override {
    const std::lock_guard lock(mutex);
    return result(errorOf(kOpen, path), [&] { return opened(disk.openForReading(path), path); });
  }
  ssize_t read(int descriptor, void* bytes, size_t size) override {
    const std::lock_guard lock(mutex);
    return result(errorOf(kRead, open[descriptor], &size), [&] { return disk.read(descriptor, bytes, size); });
  }
  ssize_t write(int descriptor, const void* bytes, size_t size) override {
    const std::lock_guard lock(mutex);
    const int error = errorOf(kWrite, open[descriptor], &size);
    struct stat status {};
    fstat(descriptor, &status);
    int64_t& left = room.try_emplace(folderOf(open[descriptor]), INT64_MAX).first->second;
    const int64_t at = lseek(descriptor, 0, SEEK_CUR);
    const int64_t fitting = std::min(static_cast<int64_t>(size), status.st_size - at + std::min(left, INT64_MAX / 2));
    if (error == 0 && fitting <= 0) return was_header = at < kHeaderSize, errno = ENOSPC, -1;
    if (error == 0) left -= std::max(at + fitting - status.st_size, int64_t{0});
    return result(error, [&] { return disk.write(descriptor, bytes, static_cast<size_t>(fitting)); });
  }
  int64_t seek(int descriptor, int64_t offset) override {
    const std::lock_guard lock(mutex);
    return result(errorOf(kSeek, open[descriptor]), [&] { return disk.seek(descriptor, offset); });
  }
  int truncate(int descriptor, int64_t size) override {
    const std::lock_guard lock(mutex);
    return result(errorOf(kTruncate, open[descriptor]), [&] { return disk.truncate(descriptor, size); });
  }
  int startWriting(int descriptor) override {
    const std::lock_guard lock(mutex);
    return result(errorOf(kStartWriting, open[descriptor]), [] { return 0; });
  }
  int sync(int descriptor) override {
    const std::lock_guard lock(mutex);
    return result(errorOf(kSync, open[descriptor]), [] { return 0; });
  }
  int syncFolder(const std::string& path) override {
    const std::lock_guard lock(mutex);
    return result(errorOf(kSyncFolder, path), [] { return 0; });
  }
  int close(int descriptor) override {
    const std::lock_guard lock(mutex);
    const int error = errorOf(kClose, open[descriptor]);
    EXPECT_EQ(open.erase(descriptor), 1U);
    const int closed = disk.close(descriptor);
    return result(error, [&] { return closed; });
  }
};

} // namespace vurl
