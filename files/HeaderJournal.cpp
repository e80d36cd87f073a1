#include "files/HeaderJournal.h"

#include "files/BWFUtils.h"
#include "files/FileLayer.h"
#include "files/utils.h"
#include "platform/FileBytes.h"
#include "platform/Text.h"

#include <sys/stat.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <string_view>

namespace vurl {
namespace {

// The file: magic, the take file's size, both headers, the sum.
constexpr std::string_view kMagic = "VURLHDR1";
constexpr size_t kBlock = kHeaderSize;
constexpr size_t kOld = 16;
constexpr size_t kNew = kOld + kBlock;
constexpr size_t kSum = kNew + kBlock;
constexpr size_t kLength = kSum + 8;
constexpr size_t kSector = 512; ///< bytes that a disk writes as a whole

/// FNV-1a in 64 bits: tells a file that was cut short, not a forged one.
template <typename Bytes>
uint64_t fnv(const Bytes& bytes, size_t size) {
  uint64_t sum = 0xCBF29CE484222325;
  for (size_t i = 0; i < size; i++) sum = (sum ^ static_cast<uint8_t>(bytes[i])) * 0x100000001B3;
  return sum;
}

uint64_t sumOf(const std::vector<uint8_t>& bytes) { return fnv(bytes, kSum); }

} // namespace

bool HeaderJournal::Entry::isBetween(const std::vector<uint8_t>& block) const {
  for (size_t i = 0; i < kBlock; i += kSector) {
    const auto begin = block.begin() + static_cast<std::ptrdiff_t>(i);
    const auto same = [&](const std::vector<uint8_t>& other) {
      return std::equal(begin, begin + kSector, other.begin() + static_cast<std::ptrdiff_t>(i));
    };
    if (!same(old_block) && !same(new_block)) return false;
  }
  return true;
}

HeaderJournal::HeaderJournal(const std::string& path) {
  const size_t name = path.find_last_of('/') + 1;
  folder = name == 0 ? "." : path.substr(0, name);
  std::string own = '.' + path.substr(name) + ".repair";
  if (own.size() > NAME_MAX) own = '.' + text("%qu", fnv(own, own.size())) + ".repair";
  file = path.substr(0, name) + own;
}

bool HeaderJournal::exists() const {
  const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
  if (descriptor < 0) return false;
  struct stat status {};
  const bool is_file = fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
  std::array<char, kMagic.size()> bytes{};
  const std::string_view head(bytes.data(), std::min(static_cast<size_t>(status.st_size), bytes.size()));
  const bool is_read = is_file && readAt(descriptor, reinterpret_cast<uint8_t*>(bytes.data()), head.size(), 0) == 0;
  close(descriptor);
  if (!is_read || status.st_size > static_cast<int64_t>(kLength)) return false;
  return kMagic.starts_with(head) ||
         head.find_first_not_of('\0') == std::string_view::npos; // as a power failure leaves
}

int HeaderJournal::write(const Entry& entry) const {
  std::vector<uint8_t> bytes(kLength);
  std::copy(kMagic.begin(), kMagic.end(), bytes.begin());
  add_uint64_le(bytes.data(), 8, static_cast<uint64_t>(entry.whole_size));
  std::copy(entry.old_block.begin(), entry.old_block.end(), bytes.begin() + kOld);
  std::copy(entry.new_block.begin(), entry.new_block.end(), bytes.begin() + kNew);
  add_uint64_le(bytes.data(), kSum, sumOf(bytes));
  remove();
  const int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666);
  if (descriptor < 0) return errno;
  int error = writeAt(descriptor, bytes.data(), bytes.size(), 0);
  if (error == 0 && fsync(descriptor) != 0) error = errno;
  if (close(descriptor) != 0 && error == 0) error = errno;
  if (error != 0) remove();
  PosixFileLayer layer;
  if (error == 0) [[maybe_unused]]
    const int result = layer.syncFolder(folder); // as far as the disk can
  return error;
}

std::optional<HeaderJournal::Entry> HeaderJournal::read() const {
  const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
  if (descriptor < 0) return std::nullopt;
  std::vector<uint8_t> bytes(kLength);
  const int error = readAt(descriptor, bytes.data(), bytes.size(), 0);
  close(descriptor);
  uint64_t sum = 0;
  get_uint64_le(bytes.data(), kSum, sum);
  if (error != 0 || !std::equal(kMagic.begin(), kMagic.end(), bytes.begin()) || sum != sumOf(bytes)) return {};
  uint64_t size = 0;
  get_uint64_le(bytes.data(), 8, size);
  return Entry{{bytes.begin() + kOld, bytes.begin() + kNew},
               {bytes.begin() + kNew, bytes.begin() + kSum},
               static_cast<int64_t>(size)};
}

void HeaderJournal::remove() const {
  if (exists()) unlink(file.c_str());
}

} // namespace vurl
