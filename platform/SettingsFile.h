// The settings file on disk: replaced as a whole, never torn, never written over when it cannot be understood, and
// shared with other programs that write it. Thread: main.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vurl {

/// `path` without links in it; a part that does not exist stays as it is.
std::string resolved(const std::string& path);

/// Replaces the file at `name`, or the one that a link there leads to, by one that holds `bytes`: after a power cut the
/// old or the new one is there, whole. Returns 0 or an errno.
int replaceFile(const std::string& name, const std::string& bytes);

/// Moves the file at `path` to "PATH.unreadable", or with a number behind when that is taken. Returns its new path, or
/// nothing when that failed.
std::optional<std::string> setAside(const std::string& path);

/// What tells one state of a file from another; all 0 for no file.
struct FileStamp {
  uint64_t device = 0;
  uint64_t inode = 0;
  int64_t size = 0;
  int64_t seconds = 0;
  int64_t nanoseconds = 0;

  static FileStamp of(const std::string& path);
  bool operator==(const FileStamp&) const = default;
};

/// Keeps other programs from writing the settings file at `path` between our reading and our writing it. Waits for a
/// second at most and goes on then: a program that hangs must not hold up this one.
class WriteTurn {
public:
  explicit WriteTurn(const std::string& path);
  ~WriteTurn();
  WriteTurn(const WriteTurn&) = delete;
  WriteTurn& operator=(const WriteTurn&) = delete;

private:
  const int descriptor; ///< of the file's folder, -1 when it cannot be opened
};

} // namespace vurl
