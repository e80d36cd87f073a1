// What the next take will be by the settings as they are: for showing its names before it is recorded.
#pragma once

#include "metadata/MetaData.h"

namespace vurl {

/// A record filled from the settings as the engine fills one when a take starts, that starts now. Only the first
/// `files` files get their channels. `sample_rate` is in Hz and only shows in timecodes. Thread: main.
MetaData nextTake(const UserDefaults& defaults, int32_t files = MetaData::kMaximumFiles, int32_t sample_rate = 48000,
                  const WallClock& clock = systemWallTime);

/// Why `take` could not be recorded, as a sentence for the user; empty when nothing speaks against it. Whether its
/// folders are there is not looked at.
std::string nextTakeWarning(const MetaData& take);

/// Whether two files of `take` have the same path, so that it could not be recorded.
bool namesCollide(const MetaData& take);

} // namespace vurl
