// Reading the header of a take file from disk: the entry for the history, for playback and for `vurl info`.
#include "files/BWFUtils.h"
#include "files/OutputFile.h"
#include "files/utils.h"
#include "platform/Log.h"

#include <sys/stat.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <vector>

namespace vurl {
namespace {

constexpr size_t kTextsEnd = 16384; ///< the end of what is not filler in most headers, in bytes

/// The beginning of a file, up to a whole header, and when the file was last written.
struct Beginning {
  std::vector<uint8_t> bytes;
  int64_t modified = 0; ///< seconds since 1970
};

/// Where to go on reading a header of which the first `held` bytes are there: behind the filler, when that runs past
/// them. Most of a header is filler, and a history reads thousands.
size_t behindFiller(const std::vector<uint8_t>& bytes, size_t held) {
  constexpr size_t kFirstChunk = 12;
  for (size_t position = kFirstChunk; position + 8 <= held;) {
    uint32_t size = 0;
    get_uint32_le(bytes.data(), static_cast<int32_t>(position + 4), size);
    const size_t end = position + 8 + size;
    const bool is_filler = std::string_view(reinterpret_cast<const char*>(&bytes[position]), 4) == "JUNK";
    if (end > held) return is_filler ? std::min(end, bytes.size()) : held;
    position = end;
  }
  return held;
}

/// Reads bytes `from` to `end`, or to the end of the file, which is then the end of `bytes`. Returns 0 or the errno.
int readStretch(int descriptor, std::vector<uint8_t>& bytes, size_t from, size_t end) {
  ssize_t count = -1;
  while (count != 0 && from < end) {
    count = pread(descriptor, &bytes[from], end - from, static_cast<off_t>(from));
    if (count < 0 && errno != EINTR) return errno;
    if (count > 0) from += static_cast<size_t>(count);
  }
  if (from < end) bytes.resize(from);
  return 0;
}

/// Reads what there is of a header, but for its filler. Returns 0 or the errno.
int readBytes(int descriptor, std::vector<uint8_t>& bytes) {
  bytes.resize(kHeaderSize);
  const int error = readStretch(descriptor, bytes, 0, kTextsEnd);
  if (error != 0 || bytes.size() < static_cast<size_t>(kHeaderSize)) return error;
  return readStretch(descriptor, bytes, behindFiller(bytes, kTextsEnd), kHeaderSize);
}

/// Reads from an open file. Returns the message of what failed, with the reason in `error`, or nullptr.
const char* readBeginning(int descriptor, Beginning& beginning, std::string& error) {
  struct stat status {};
  if (fstat(descriptor, &status) < 0) {
    error = systemError(errno);
    return "Could not stat file to read header: %s";
  }
  beginning.modified = status.st_mtim.tv_sec;
  if (!S_ISREG(status.st_mode)) { // others may never give a byte
    error = S_ISDIR(status.st_mode) ? systemError(EISDIR) : "Not a regular file";
    return "Could not read file to read header: %s";
  }
  const int number = readBytes(descriptor, beginning.bytes);
  error = systemError(number);
  return number == 0 ? nullptr : "Could not read file to read header: %s";
}

} // namespace

int32_t OutputFile::readHeader(const std::string& filename, MetaData& meta_data) {
  const int descriptor = open(filename.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (descriptor < 0) {
    log("Could not open file to read header: %s", systemError(errno));
    return -1;
  }
  Beginning beginning;
  std::string error;
  const char* failed = readBeginning(descriptor, beginning, error);
  if (close(descriptor) < 0 && failed == nullptr) {
    error = systemError(errno);
    failed = "Could not close file to read header: %s";
  }
  if (failed != nullptr) {
    log(failed, error);
    return -1;
  }
  meta_data.setOriginationDate(beginning.modified);
  const std::string_view bytes(reinterpret_cast<const char*>(beginning.bytes.data()), beginning.bytes.size());
  if (bytes.starts_with("RIFF") || bytes.starts_with("RF64")) {
    const int32_t result = get_bwf(beginning.bytes.data(), 0, meta_data, static_cast<int64_t>(bytes.size()));
    meta_data.setFilename(filename, 0);
    return result;
  }
  log(bytes.starts_with("caff") ? "CAF not suported" : "Magic is unknown");
  return -1;
}

} // namespace vurl
