// The subcommands of the terminal program. Each returns the program's exit code: 0 all is well, 1 a take ended with a
// reason or could not be recorded, a report could not be rendered, a file not repaired, or the doctor would change
// something, 2 it was called wrongly. Main thread.
#pragma once

#include "platform/UserDefaults.h"

#include <optional>
#include <string>
#include <vector>

namespace vurl {

constexpr int kExitFine = 0;
constexpr int kExitHarmed = 1;
constexpr int kExitUsage = 2;

/// Lists the audio devices.
int runDevices(UserDefaults& defaults, bool json);

/// Tells what about this computer is fit for a shoot by the settings, and what should change: prints a line a finding,
/// or a JSON object. Returns 1 when something should change. Takes some seconds.
int runDoctor(UserDefaults& defaults, bool json);

struct RecordOptions {
  std::optional<std::string> device;       ///< display name or an unambiguous part of it, or the stored device
  std::optional<std::string> clock_source; ///< name or an unambiguous part of it, or what the device has
  std::optional<double> duration;          ///< seconds, or until a signal or `q` ends the take
  bool auto_start = false;                 ///< sets "auto_start" for the run
  bool json = false;
  /// Texts for the settings of these names, as typed into their fields.
  std::optional<std::string> project, scene, slate, take, roll, note;
};

/// Records one take, with all its pieces; with the setting "auto_start" as many as the timecode's lock brings, and the
/// duration counts from the beginning of the wait; on a terminal keys start and stop as many as the user likes. Refuses
/// when another program is recording with the same settings.
int runRecord(UserDefaults& defaults, const RecordOptions& options);

struct PlayOptions {
  std::optional<std::string> take;   ///< a file of it, or its place in the history from 1 on; or the last one
  std::optional<std::string> device; ///< display name or an unambiguous part of it, or the stored device
};

/// Plays one take through the device's outputs, until it has played out or the user wants no more.
int runPlay(UserDefaults& defaults, const PlayOptions& options);

struct LayoutOptions {
  std::optional<int32_t> auto_configuration; ///< 1 to 5: routes files and folders anew (ChannelLayoutControler)
  bool matrix = false;                       ///< prints the grid, not the summary
};

/// Prints how channels go into files and files into folders.
int runLayout(UserDefaults& defaults, const LayoutOptions& options);

struct InfoOptions {
  std::vector<std::string> files; ///< paths
  bool chunks = false;            ///< lists them, too
  bool json = false;
};

/// Prints what take files say of themselves; what cannot be read is told on standard error, and the rest goes on.
int runInfo(const UserDefaults& defaults, const InfoOptions& options);

/// Lists the takes in the destination folders, as a table or as a JSON array.
int runHistory(UserDefaults& defaults, bool json);

/// Renders the sound report of every destination folder, prints where it is, and shows the last one to the user when
/// `open` is set.
int runReport(UserDefaults& defaults, bool open);

struct RepairOptions {
  std::vector<std::string> paths; ///< take files, or folders of them; or the destination folders
  bool dry_run = false;           ///< only tells
  bool json = false;
};

/// Completes the headers of takes whose program died while it recorded them, and prints each such file.
int runRepair(const UserDefaults& defaults, const RepairOptions& options);

/// Lists all settings, prints the one of `key`, or stores `value` under it.
int runSettings(UserDefaults& defaults, const std::optional<std::string>& key, const std::optional<std::string>& value);

} // namespace vurl
