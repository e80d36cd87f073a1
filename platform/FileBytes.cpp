#include "platform/FileBytes.h"

#include <unistd.h>

#include <cerrno>

namespace vurl {
namespace {

/// Calls `move(done)` for what is left behind the first `done` of `size` bytes until all have been moved. Returns 0,
/// the errno, or `at_nothing` when a call moved none.
template <typename Move>
int moveAll(size_t size, int at_nothing, Move move) noexcept {
  size_t done = 0;
  while (done < size) {
    const ssize_t count = move(done);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    if (count == 0) return at_nothing;
    done += static_cast<size_t>(count);
  }
  return 0;
}

} // namespace

int readToEnd(int descriptor, std::string& bytes) {
  char block[65536];
  ssize_t count = -1;
  while (count != 0) {
    count = read(descriptor, block, sizeof block);
    if (count < 0 && errno != EINTR) return errno;
    if (count > 0) bytes.append(block, static_cast<size_t>(count));
  }
  return 0;
}

int writeAll(int descriptor, std::string_view bytes) noexcept {
  return moveAll(bytes.size(), EIO,
                 [&](size_t done) { return write(descriptor, bytes.data() + done, bytes.size() - done); });
}

int readAt(int descriptor, uint8_t* bytes, size_t size, int64_t offset) noexcept {
  return moveAll(size, ENODATA, [&](size_t done) {
    return pread(descriptor, bytes + done, size - done, offset + static_cast<int64_t>(done));
  });
}

int writeAt(int descriptor, const uint8_t* bytes, size_t size, int64_t offset) noexcept {
  return moveAll(size, ENOSPC, [&](size_t done) {
    return pwrite(descriptor, bytes + done, size - done, offset + static_cast<int64_t>(done));
  });
}

} // namespace vurl
