// The chunks of a take file, one by one, as they stand on disk: for whoever wants to look into a file. Reads the heads
// of the chunks wherever they are, never the samples. RIFF and RF64 (EBU Tech 3306) in little-endian, CAF in
// big-endian.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vurl {

struct HeaderChunk {
  std::string identifier; ///< four printable characters
  int64_t offset;         ///< of the identifier, in bytes from the start of the file
  int64_t size;           ///< of the body in bytes, as told; the ds64 chunk tells it for the data of an RF64 file. In a
                          ///< CAF file -1 is all that follows.

  bool operator==(const HeaderChunk&) const = default;
};

/// The chunks of the file at `path`, behind the file's own head (12 bytes, in a CAF file 8), in the order of the file.
/// When the file contradicts itself - a chunk that runs past its end, something that is no chunk - the list ends there,
/// what ran too far included, and `reason` says so; otherwise `reason` is empty. A zero byte behind an odd size is
/// taken for RIFF's padding. At most 4096 chunks are listed. Nothing, with a reason, for a file that cannot be read, is
/// no regular file, or is of another format. Any thread but the I/O thread; waits for the disk.
std::optional<std::vector<HeaderChunk>> chunksOfFile(const std::string& path, std::string& reason);

} // namespace vurl
