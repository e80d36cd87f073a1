// How fast a disk takes what is written to it, tried out. Any thread but the I/O thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace vurl {

struct DiskSpeed {
  int64_t bytes_per_second = 0; ///< that reached the disk; 0 when it was not measured
  std::string error;            ///< why nothing could be written; empty when it could
};

/// Writes into a file of no name in `folder` for `duration`, or until it has `most_bytes`, past the system's cache, and
/// waits until all is on the disk. The file is gone afterwards, even when the program is killed. Blocks as long as the
/// disk does.
DiskSpeed measureDiskSpeed(const std::string& folder, std::chrono::milliseconds duration, int64_t most_bytes);

} // namespace vurl
