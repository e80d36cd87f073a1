// Saves takes whose program died while it recorded them: their samples are on disk, but their headers say that there
// are none, or are a mixture of the first one and the last. A header is completed in place from the whole frames of its
// file (files/CutHeader.h); everything else stays, the file's time of change included, but for a last frame of which
// only a part is there, which goes. A second death does no harm: the old and the new header are written to a file of
// their own first, ".NAME.repair" beside the take, and what is found there later is carried to its end.
// Any thread but the I/O thread; waits for the disk.
#pragma once

#include "platform/UserDefaults.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vurl {

/// What has become of one file.
struct Salvage {
  enum class Outcome {
    none,      ///< nothing to do: it is complete, or has no samples, or is no file of this program
    in_use,    ///< a recorder has it open
    cut,       ///< can be completed; nothing was written
    completed, ///< tells of all its samples now
    failed     ///< is as it was, or is finished by the next try; `reason` says why. Without frames it could not be
               ///< looked at, and may be complete.
  };

  Outcome outcome = Outcome::none;
  std::string path;
  std::string reason;         ///< in the system's words, of a failure
  std::string take_reference; ///< what the files of one take share; may be empty
  std::string duration;       ///< as timecode
  int64_t nr_frames = 0;
  int32_t sample_rate = 0; ///< in Hz
  int64_t lost_bytes = 0;  ///< of the last frame, which did not come to disk as a whole
};

/// Looks at the file at `path` and completes its header when it was cut off; with `dry_run` it only says so. Links are
/// not followed. On file systems that know no locks, or that other computers may write to, a file that changed within
/// the last minute counts as in use.
Salvage salvageFile(const std::string& path, const UserDefaults& defaults, bool dry_run);

/// A take that was cut off: its files, as salvageFile() told of them. A file without a reference is a take by itself.
struct SalvagedTake {
  std::vector<Salvage> files;

  const Salvage& longest() const;
  const Salvage& shortest() const;
};

/// Joins files to takes, both in the order of `files`. Those with nothing to do are left out.
std::vector<SalvagedTake> takesOf(const std::vector<Salvage>& files);

} // namespace vurl
