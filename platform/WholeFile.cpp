#include "platform/WholeFile.h"

#include "platform/FileBytes.h"
#include "platform/Text.h"

#include <sys/stat.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace vurl {
namespace {

/// Reads a regular file to its end. Returns 0 or the errno.
int readRegular(int descriptor, std::string& bytes) {
  struct stat status {};
  if (fstat(descriptor, &status) < 0) return errno;
  if (!S_ISREG(status.st_mode)) return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
  return readToEnd(descriptor, bytes);
}

} // namespace

std::optional<std::string> readWholeFile(const std::string& path, std::string& reason) {
  std::string bytes;
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  const int error = descriptor < 0 ? errno : readRegular(descriptor, bytes);
  if (descriptor >= 0) close(descriptor);
  if (error == 0) return bytes;
  reason = systemError(error);
  return std::nullopt;
}

std::optional<std::string> writeWholeFile(const std::string& path, const std::string& bytes) {
  const std::string fresh = text("%@.%i.new", path, getpid());
  unlink(fresh.c_str()); // of a program that died; another one's file would stay that one's
  const int descriptor = open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666);
  if (descriptor < 0) return systemError(errno);
  int error = writeAll(descriptor, bytes);
  if (close(descriptor) < 0 && error == 0) error = errno;
  if (error == 0 && rename(fresh.c_str(), path.c_str()) < 0) error = errno;
  if (error == 0) return std::nullopt;
  unlink(fresh.c_str());
  return systemError(error);
}

} // namespace vurl
