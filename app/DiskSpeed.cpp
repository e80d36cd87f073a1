#include "app/DiskSpeed.h"

#include "platform/Descriptor.h"
#include "platform/Text.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <utility>

namespace vurl {
namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kBlock = 1 << 20;
constexpr size_t kAlignment = 4096;         ///< as writes past the cache want it
constexpr int64_t kUnsynced = 16 * 1 << 20; ///< bytes that the cache may hold where it cannot be passed by

/// A file that is in no folder, or was only for a moment; not open, and `errno`, when there can be none.
Descriptor namelessFile(const std::string& folder) {
  Descriptor file(open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600));
  if (file.isOpen()) return file;
  std::string name = folder + "/.vurl-doctor-XXXXXX";
  file = Descriptor(mkostemp(name.data(), O_CLOEXEC));
  if (file.isOpen()) unlink(name.c_str());
  return file;
}

/// Past the system's cache where the file system can.
void passCache(const Descriptor& file, bool passes) {
  const int flags = fcntl(file.get(), F_GETFL);
  fcntl(file.get(), F_SETFL, passes ? flags | O_DIRECT : flags & ~O_DIRECT);
}

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};
using Block = std::unique_ptr<void, Free>;

/// Noise, which no disk can compress.
Block noise() {
  Block block(std::aligned_alloc(kAlignment, kBlock));
  if (!block) return block;
  std::minstd_rand random;
  for (size_t i = 0; i < kBlock; i += sizeof(uint32_t)) {
    const auto word = static_cast<uint32_t>(random() << 8 ^ random() >> 8);
    std::memcpy(static_cast<char*>(block.get()) + i, &word, sizeof word);
  }
  return block;
}

/// 0, or the error number of the first write that failed.
int fill(const Descriptor& file, const Block& block, Clock::time_point end, int64_t most_bytes, int64_t& written) {
  passCache(file, true);
  bool passes = true;
  int64_t unsynced = 0;
  while (Clock::now() < end && written < most_bytes) {
    const ssize_t size = write(file.get(), block.get(), kBlock);
    if (size < 0 && errno == EINVAL && std::exchange(passes, false)) {
      passCache(file, false);
      continue;
    }
    if (size <= 0) return size < 0 ? errno : ENOSPC;
    written += size;
    unsynced += size;
    if (unsynced < kUnsynced) continue;
    if (fdatasync(file.get()) != 0) return errno;
    unsynced = 0;
  }
  return fdatasync(file.get()) == 0 ? 0 : errno;
}

} // namespace

DiskSpeed measureDiskSpeed(const std::string& folder, std::chrono::milliseconds duration, int64_t most_bytes) {
  const Block block = noise();
  const Descriptor file = namelessFile(folder);
  if (!block || !file.isOpen()) return {0, systemError(block ? errno : ENOMEM)};
  int64_t written = 0;
  const auto start = Clock::now();
  if (const int error = fill(file, block, start + duration, most_bytes, written); error != 0)
    return {0, systemError(error)};
  const std::chrono::duration<double> taken = Clock::now() - start;
  return {static_cast<int64_t>(static_cast<double>(written) / std::max(taken.count(), 1e-6)), ""};
}

} // namespace vurl
