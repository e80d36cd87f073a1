// What the application controller shows. The terminal, the desktop window and tests implement it; all of it is called
// on the main thread, and nothing here decides anything.
#pragma once

#include "app/PopupMenu.h"
#include "engine/PullMenu.h"
#include "files/TakeIncidents.h"
#include "metadata/MetaData.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vurl {

/// The segments of the transport control, and the commands that they stand for.
enum TransportCommand : int32_t { REC = 0, STOP = 1, ABORT = 2, PLAY = 3, TOGGLE = 4 };

/// The colour of the take's length: what the transport is doing.
enum class TransportColour { black, red, yellow };

/// Where the ring's positions stand, in samples, and what the engine does with them (OutputFile::State).
struct RingPositions {
  int64_t device = 0;
  int64_t recording = 0;
  int64_t playback = 0;
  int64_t border = 0;
  int32_t state = 0;
  int64_t longest_backlog = 0; ///< of this take, or the last one: OutputFile::longestBacklog()
  uint64_t nr_incidents = 0;   ///< of this take, or the last one
  bool stands_still = false;   ///< no sound has arrived for half a second
};

/// A recording that is complete on disk.
struct FinishedTake {
  std::shared_ptr<const MetaData> meta_data; ///< null when the take never came to have a record
  int32_t nr_files = 0;              ///< files that were made, from the first on; fewer than meant when one failed
  std::optional<std::string> reason; ///< what ended it, if it was not a normal stop
  bool continues = false;            ///< the next piece of it follows at once
  int64_t longest_backlog = 0;       ///< samples: OutputFile::longestBacklog()
  IncidentList incidents;
};

enum class DeviceMenu { device, data_source, sample_rate, clock_source };

class MainWindowView {
public:
  virtual ~MainWindowView() = default;

  virtual void showTransport(TransportCommand segment, TransportColour colour) = 0;
  virtual void showBusy(bool busy) = 0;

  /// Tells the user something that stopped a take or kept it from starting; never waits for an answer.
  virtual void showAlert(const std::string& message, const std::string& informative_text) = 0;

  /// A channel's levels in dBFS since they were last shown, the channel from 0 to 63. Silence is minus infinity.
  virtual void setPeak(float peak_db, float rms_db, uint32_t channel) = 0;

  /// The running timecode, and whether its source is locked.
  virtual void showCurrentTime(const std::string& timecode, bool locked) = 0;
  /// The length of the take in hand, as timecode.
  virtual void showTakeLength(const std::string& timecode) = 0;
  virtual void showRing(const RingPositions& positions) = 0;

  virtual void showMenu(DeviceMenu which, const PopupMenu& menu) = 0;
  virtual void showPullMenu(const std::array<PullMenu::Item, 3>& items) = 0;
  /// Buffer sizes in frames.
  virtual void showBufferSizeRange(double lowest, double highest) = 0;
  virtual void showBufferSize(uint32_t frames) = 0;

  virtual void takeFinished(const FinishedTake& take) = 0;

  /// A file or folder of a take that has finished could not be brought to disk; told after an alert.
  virtual void fileNotSynced(const std::string& /*path*/, const std::string& /*error*/) {}

  /// A playback is over, or never began; `reason` as for a take.
  virtual void playbackFinished(const std::optional<std::string>& reason) = 0;
};

} // namespace vurl
