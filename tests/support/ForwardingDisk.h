// The computer's file system for tests that put faults into some of its calls.
#pragma once

#include "files/FileLayer.h"
#include "tests/support/Test.h"

#include <map>
#include <mutex>

namespace vurl {

enum Call { kCreate, kOpen, kRead, kWrite, kSeek, kTruncate, kStartWriting, kSync, kSyncFolder, kClose, kNrCalls };

/// Nothing is brought to disk: that would only take time.
struct ForwardingDisk : FileLayer {
  /// Runs before each call, for the file or folder `path`; with the descriptor and the size where the call has them,
  /// and the size may be made smaller. Returns the errno by which the call is to fail, or 0. What fails to close is
  /// closed.
  virtual int before(Call call, const std::string& path, int descriptor, size_t* size) = 0;

  int createExclusive(const std::string& path) override {
    return passOn(kCreate, path, [&] { return opened(disk.createExclusive(path), path); });
  }
  int openForReading(const std::string& path) override {
    return passOn(kOpen, path, [&] { return opened(disk.openForReading(path), path); });
  }
  ssize_t read(int descriptor, void* bytes, size_t size) override {
    const auto read = [&] { return disk.read(descriptor, bytes, size); };
    return passOn(kRead, pathOf(descriptor), read, descriptor, &size);
  }
  ssize_t write(int descriptor, const void* bytes, size_t size) override {
    const auto write = [&] { return disk.write(descriptor, bytes, size); };
    return passOn(kWrite, pathOf(descriptor), write, descriptor, &size);
  }
  int64_t seek(int descriptor, int64_t offset) override {
    return passOn(kSeek, pathOf(descriptor), [&] { return disk.seek(descriptor, offset); });
  }
  int truncate(int descriptor, int64_t size) override {
    return passOn(kTruncate, pathOf(descriptor), [&] { return disk.truncate(descriptor, size); });
  }
  int startWriting(int descriptor) override { return passOn(kStartWriting, pathOf(descriptor), kNothing); }
  int sync(int descriptor) override { return passOn(kSync, pathOf(descriptor), kNothing); }
  int syncFolder(const std::string& path) override { return passOn(kSyncFolder, path, kNothing); }
  int close(int descriptor) override {
    const int result = passOn(kClose, pathOf(descriptor), kNothing), error = errno;
    {
      const std::lock_guard lock(open_mutex);
      EXPECT_EQ(open.erase(descriptor), 1U);
    }
    const int closed = disk.close(descriptor);
    return result == 0 ? closed : (errno = error, -1);
  }

  bool hasOpenFiles() {
    const std::lock_guard lock(open_mutex);
    return !open.empty();
  }

private:
  static constexpr auto kNothing = [] { return 0; };

  template <typename Good>
  auto passOn(Call call, const std::string& path, const Good& good, int descriptor = -1, size_t* size = nullptr)
      -> decltype(good()) {
    const int error = before(call, path, descriptor, size);
    return error == 0 ? good() : (errno = error, -1);
  }
  int opened(int descriptor, const std::string& path) {
    const std::lock_guard lock(open_mutex);
    if (descriptor >= 0) open[descriptor] = path;
    return descriptor;
  }
  std::string pathOf(int descriptor) {
    const std::lock_guard lock(open_mutex);
    return open[descriptor];
  }

  PosixFileLayer disk;
  std::mutex open_mutex;
  std::map<int, std::string> open;
};

} // namespace vurl
