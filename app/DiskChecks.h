// Whether the disks under the destination folders keep up with a take, and for how long. Thread: main.
#pragma once

#include "app/DiskSpeed.h"
#include "app/Finding.h"
#include "app/TakeFolders.h"

#include <optional>
#include <string>
#include <vector>

namespace vurl {

/// What was found out about a folder.
struct DiskState {
  bool has_answered = false;    ///< else nothing else is known
  bool is_there = false;        ///< and is a folder
  std::optional<DiskRoom> room; ///< nothing when the system does not tell
  DiskSpeed speed;
  std::optional<DiskRoom> first_file = {}; ///< what is at the path of the next take's first file
};

/// Looks at `folder`, and when `measures`, at its first file, and measures its disk for a second. A disk that does not
/// answer is waited for five seconds, on a thread that is left behind then.
DiskState examineDisk(const TakeFolder& folder, bool measures);

/// Topic "disk", once for each of `folders`, whose states are `disks`: whether it can be written, fast enough for all
/// that goes onto the same disk, and for how long there is room.
std::vector<Finding> checkDisks(const std::vector<TakeFolder>& folders, const std::vector<DiskState>& disks);

} // namespace vurl
