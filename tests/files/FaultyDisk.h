// The computer's file system with faults on demand: "the next create fails", "writes stop after so many bytes".
#pragma once

#include "files/FileLayer.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <string>
#include <utility>

namespace vurl {

class FaultyDisk final : public FileLayer {
public:
  int64_t bytes_left = INT64_MAX; ///< the disk is full behind this many bytes
  int create_error = 0;           ///< errno of the creates behind the first `creates_left`
  int creates_left = 0;
  int seek_error = 0;                  ///< errno of the next seek
  int close_error = 0;                 ///< errno of the next close
  std::function<void()> while_writing; ///< runs in each write, for example lets time pass
  int open_files = 0;

  int createExclusive(const std::string& path) override {
    if (create_error != 0 && creates_left-- <= 0) return fail(create_error);
    const int descriptor = disk.createExclusive(path);
    open_files += descriptor >= 0;
    return descriptor;
  }

  ssize_t write(int descriptor, const void* bytes, size_t size) override {
    if (while_writing) while_writing();
    if (bytes_left == 0) return fail(ENOSPC);
    const auto fitting = std::min(static_cast<int64_t>(size), bytes_left);
    bytes_left -= bytes_left == INT64_MAX ? 0 : fitting;
    return disk.write(descriptor, bytes, static_cast<size_t>(fitting));
  }

  int64_t seek(int descriptor, int64_t offset) override {
    if (seek_error != 0) return fail(std::exchange(seek_error, 0));
    return disk.seek(descriptor, offset);
  }

  int close(int descriptor) override {
    --open_files;
    const int result = disk.close(descriptor);
    return close_error != 0 ? fail(std::exchange(close_error, 0)) : result;
  }

private:
  static int fail(int error) {
    errno = error;
    return -1;
  }
  PosixFileLayer disk;
};

} // namespace vurl
