// Reading the header of a take file from disk: the entry for the history, for playback and for `vurl info`.
#include "files/BWFUtils.h"
#include "files/OutputFile.h"
#include "files/utils.h"
#include "platform/Log.h"

#include <sys/stat.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <vector>

namespace vurl {
namespace {

/// The beginning of a file, up to a whole header, and when the file was last written.
struct Beginning {
  std::vector<uint8_t> bytes;
  int64_t modified = 0; ///< seconds since 1970
};

/// Reads what there is of `beginning.bytes`, which becomes as long as that is. Returns 0 or the errno.
int readBytes(int descriptor, Beginning& beginning) {
  beginning.bytes.resize(kHeaderSize);
  size_t held = 0;
  ssize_t count = -1;
  while (count != 0 && held < beginning.bytes.size()) {
    count = read(descriptor, beginning.bytes.data() + held, beginning.bytes.size() - held);
    if (count < 0 && errno != EINTR) return errno;
    if (count > 0) held += static_cast<size_t>(count);
  }
  beginning.bytes.resize(held);
  return 0;
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
  const int number = readBytes(descriptor, beginning);
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
