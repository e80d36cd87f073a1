#include "files/FileLayer.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace vurl {

int PosixFileLayer::createExclusive(const std::string& path) {
  return ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
}

ssize_t PosixFileLayer::write(int descriptor, const void* bytes, size_t size) {
  return ::write(descriptor, bytes, size);
}

int64_t PosixFileLayer::seek(int descriptor, int64_t offset) { return ::lseek(descriptor, offset, SEEK_SET); }

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

} // namespace vurl
