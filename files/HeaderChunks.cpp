#include "files/HeaderChunks.h"

#include "files/utils.h"
#include "platform/FileBytes.h"
#include "platform/Text.h"

#include <sys/stat.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <string_view>

namespace vurl {
namespace {

constexpr size_t kMostChunks = 4096;
constexpr int64_t kWhatFollows = -1; ///< size of a CAF chunk that ends with the file

/// A file open for reading.
class ReadFile {
public:
  explicit ReadFile(const std::string& path)
      : descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {
    struct stat status {};
    if (descriptor < 0 || fstat(descriptor, &status) < 0) {
      error = systemError(errno);
    } else if (!S_ISREG(status.st_mode)) { // others may never give a byte
      error = S_ISDIR(status.st_mode) ? systemError(EISDIR) : "Not a regular file";
    } else {
      bytes = status.st_size;
    }
  }
  ~ReadFile() {
    if (descriptor >= 0) close(descriptor);
  }
  ReadFile(const ReadFile&) = delete;
  ReadFile& operator=(const ReadFile&) = delete;

  const std::string& whyNot() const { return error; }
  int64_t size() const { return bytes; }

  /// Reads all of `field` from byte `offset`; false, with the reason told by whyNot(), when that fails.
  template <size_t kSize>
  bool read(std::array<uint8_t, kSize>& field, int64_t offset) {
    const int failure = readAt(descriptor, field.data(), kSize, offset);
    if (failure != 0) error = failure == ENODATA ? "The file has become shorter" : systemError(failure);
    return failure == 0;
  }

private:
  int descriptor;
  int64_t bytes = 0;
  std::string error;
};

/// How a format writes its chunks.
struct Layout {
  const char* magic; ///< the file's first four bytes
  int64_t file_head; ///< bytes before the first chunk
  int64_t chunk_head;
  bool is_caf;
};

constexpr std::array<Layout, 3> kLayouts{{{"RIFF", 12, 8, false}, {"RF64", 12, 8, false}, {"caff", 8, 12, true}}};

template <size_t kSize>
std::string_view characters(const std::array<uint8_t, kSize>& field) {
  return {reinterpret_cast<const char*>(field.data()), 4};
}

const Layout* layoutOf(ReadFile& file) {
  std::array<uint8_t, 4> magic{};
  if (file.size() < 12 || !file.read(magic, 0)) return nullptr;
  const auto* const known = std::find_if(kLayouts.begin(), kLayouts.end(),
                                         [&](const Layout& layout) { return characters(magic) == layout.magic; });
  return known == kLayouts.end() ? nullptr : known;
}

bool isPrintable(std::string_view identifier) {
  return std::all_of(identifier.begin(), identifier.end(), [](char each) { return each >= ' ' && each <= '~'; });
}

/// Goes through the chunks of one file.
class Walk {
public:
  Walk(ReadFile& read_file, const Layout& its_layout) : file(read_file), layout(its_layout) {}

  /// Returns why the list ends before the file; an empty text when it does not.
  std::string go() {
    int64_t position = layout.file_head;
    while (position <= file.size() - layout.chunk_head) { // a few bytes at the end are no chunk's
      if (chunks.size() == kMostChunks) return "There are too many chunks to list";
      std::array<uint8_t, 12> head{};
      if (!readHead(head, position)) return file.whyNot();
      if (!isPrintable(characters(head))) return text("No chunk begins at byte %qi", position);
      const HeaderChunk chunk{std::string(characters(head)), position, bodySize(head)};
      chunks.push_back(chunk);
      const int64_t body = position + layout.chunk_head;
      if (layout.is_caf && chunk.size == kWhatFollows) return {};
      if (chunk.size < 0 || chunk.size > file.size() - body) {
        return text("Chunk '%@' at byte %qi runs past the end of the file", chunk.identifier, position);
      }
      if (chunk.identifier == "ds64" && !readLargeSize(body, chunk.size)) return file.whyNot();
      position = body + chunk.size + padding(body, chunk.size);
    }
    return {};
  }

  std::vector<HeaderChunk> chunks;

private:
  bool readHead(std::array<uint8_t, 12>& head, int64_t position) {
    if (layout.is_caf) return file.read(head, position);
    std::array<uint8_t, 8> short_head{};
    if (!file.read(short_head, position)) return false;
    std::copy(short_head.begin(), short_head.end(), head.begin());
    return true;
  }

  int64_t bodySize(const std::array<uint8_t, 12>& head) const {
    uint32_t high = 0;
    uint32_t low = 0;
    if (!layout.is_caf) {
      get_uint32_le(head.data(), 4, low);
      return characters(head) == "data" && large_size >= 0 ? large_size : int64_t{low};
    }
    get_uint32_be(head.data(), get_uint32_be(head.data(), 4, high), low);
    return static_cast<int64_t>(uint64_t{high} << 32 | low);
  }

  /// What a ds64 chunk tells of the samples.
  bool readLargeSize(int64_t body, int64_t size) {
    if (size < 16) return true;
    std::array<uint8_t, 8> field{};
    if (!file.read(field, body + 8)) return false;
    uint64_t told = 0;
    get_uint64_le(field.data(), 0, told);
    large_size = static_cast<int64_t>(std::min<uint64_t>(told, std::numeric_limits<int64_t>::max()));
    return true;
  }

  /// The bytes between a chunk's end and the next one's identifier, which never begins with a zero byte.
  int64_t padding(int64_t body, int64_t size) {
    std::array<uint8_t, 1> next{1};
    const bool may_be_padded = !layout.is_caf && size % 2 != 0 && body + size < file.size();
    return may_be_padded && file.read(next, body + size) && next[0] == 0 ? 1 : 0;
  }

  ReadFile& file;
  const Layout& layout;
  int64_t large_size = -1; ///< of the samples, as the ds64 chunk tells it; negative without one
};

} // namespace

std::optional<std::vector<HeaderChunk>> chunksOfFile(const std::string& path, std::string& reason) {
  ReadFile file(path);
  reason = file.whyNot();
  if (!reason.empty()) return std::nullopt;
  const Layout* const layout = layoutOf(file);
  if (layout == nullptr) {
    reason = file.whyNot().empty() ? "It is no RIFF, RF64 or CAF file" : file.whyNot();
    return std::nullopt;
  }
  Walk walk(file, *layout);
  reason = walk.go();
  return std::move(walk.chunks);
}

} // namespace vurl
