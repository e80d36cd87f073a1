// How a destination folder stands: whether it is there, and how much goes into it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vurl {

/// Bytes that the user may still write into the folder at `path`, which may begin with "~"; nothing when it is not
/// there or is no folder. Asks the file system: a network's may take its time. Any thread but the I/O thread.
std::optional<uint64_t> freeSpaceOfFolder(const std::string& path);

} // namespace vurl
