#include "files/FileLayer.h"

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace vurl {
namespace {

/// Has a file system that copies on writing rewrite this empty file where it stands: the header of a take is rewritten
/// when its disk may be full. Others do so anyway, and refuse.
void rewriteInPlace(int descriptor) {
  int flags = 0;
  if (ioctl(descriptor, FS_IOC_GETFLAGS, &flags) != 0) return;
  flags |= FS_NOCOW_FL;
  [[maybe_unused]] const int result = ioctl(descriptor, FS_IOC_SETFLAGS, &flags);
}

} // namespace

int PosixFileLayer::createExclusive(const std::string& path) {
  const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
  if (descriptor < 0) return -1;
  struct flock whole {};
  whole.l_type = F_WRLCK;
  whole.l_whence = SEEK_SET;
  [[maybe_unused]] const int result = fcntl(descriptor, F_OFD_SETLK, &whole); // some file systems know no locks
  rewriteInPlace(descriptor);
  return descriptor;
}

int PosixFileLayer::openForReading(const std::string& path) {
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (descriptor < 0) return -1;
  struct stat status {};
  const bool is_known = fstat(descriptor, &status) == 0;
  if (is_known && S_ISREG(status.st_mode)) return descriptor;
  const int error = !is_known ? errno : S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
  ::close(descriptor);
  errno = error;
  return -1;
}

ssize_t PosixFileLayer::read(int descriptor, void* bytes, size_t size) { return ::read(descriptor, bytes, size); }

ssize_t PosixFileLayer::write(int descriptor, const void* bytes, size_t size) {
  return ::write(descriptor, bytes, size);
}

int64_t PosixFileLayer::seek(int descriptor, int64_t offset) { return ::lseek(descriptor, offset, SEEK_SET); }

int PosixFileLayer::truncate(int descriptor, int64_t size) { return ftruncate(descriptor, size); }

int PosixFileLayer::startWriting(int descriptor) { return sync_file_range(descriptor, 0, 0, SYNC_FILE_RANGE_WRITE); }

int PosixFileLayer::sync(int descriptor) { return fsync(descriptor); }

int PosixFileLayer::syncFolder(const std::string& path) {
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return -1;
  int error = fsync(descriptor) == 0 ? 0 : errno;
  if (error == EINVAL) error = 0; // some file systems sync no folders
  ::close(descriptor);
  errno = error;
  return error == 0 ? 0 : -1;
}

int PosixFileLayer::close(int descriptor) { return ::close(descriptor); }

int writeAll(FileLayer& layer, int descriptor, const uint8_t* bytes, size_t size) {
  while (size > 0) {
    const ssize_t written = layer.write(descriptor, bytes, size);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return errno;
    if (written == 0) return ENOSPC; // a file that takes nothing and gives no reason is full
    bytes += written;
    size -= static_cast<size_t>(written);
  }
  return 0;
}

int readAll(FileLayer& layer, int descriptor, uint8_t* bytes, size_t size) {
  while (size > 0) {
    const ssize_t nr_read = layer.read(descriptor, bytes, size);
    if (nr_read < 0 && errno == EINTR) continue;
    if (nr_read < 0) return errno;
    if (nr_read == 0) return ENODATA;
    bytes += nr_read;
    size -= static_cast<size_t>(nr_read);
  }
  return 0;
}

} // namespace vurl
