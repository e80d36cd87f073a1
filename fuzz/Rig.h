// What the fuzz targets share: a check that ends the process, so that libFuzzer keeps the input, a file in memory, and
// surroundings that are the same on every machine (time zone UTC, home /home/u, a log that nobody reads).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vurl::fuzz {

/// Ends the process, with `promise` on the terminal, unless it is kept.
void require(bool is_kept, const char* promise);

/// The input, or a part of it, as text.
inline std::string_view characters(const uint8_t* data, size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

/// A file called `name` in a folder of this process in memory; the folder goes when the process ends in peace. Where
/// one does not, fuzz/run takes away what it left: it stands in $VURL_FUZZ_FOLDER, or in /dev/shm without that.
class ScratchFile {
public:
  explicit ScratchFile(const char* name);
  ~ScratchFile();
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;

  const std::string& path() const { return file; }

  /// Replaces what was there by `bytes`, with zeros behind up to `size` bytes where that is more.
  void write(std::string_view bytes, int64_t size = 0) const;

  /// The first `most` bytes, or fewer where the file ends before.
  std::string read(size_t most) const;

  /// In bytes; -1 when the file is gone.
  int64_t size() const;

private:
  std::string folder;
  std::string file;
};

} // namespace vurl::fuzz
