// Small files read and written in one piece, where the reader must never meet half of one. Any thread but the I/O
// thread; all block on the file system, but not on a FIFO that stands in a file's place.
#pragma once

#include <optional>
#include <string>

namespace vurl {

/// The bytes of the regular file at `path`. On failure returns nothing and puts the system's words into `reason`.
std::optional<std::string> readWholeFile(const std::string& path, std::string& reason);

/// Writes `bytes` to a new file beside `path` and renames it over what stands there. Returns nothing, or the system's
/// words for the failure; then the old file is as it was.
std::optional<std::string> writeWholeFile(const std::string& path, const std::string& bytes);

} // namespace vurl
