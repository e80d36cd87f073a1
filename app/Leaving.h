// The end of a program that waits for a disk: told after a while, and left without the disk when the user says so.
#pragma once

#include "app/Recorder.h"

#include <chrono>
#include <optional>
#include <string>

namespace vurl {

/// What the engine is waiting for, for the user: the folder of the file that it is at, or the take's end in words. Any
/// thread but the I/O thread.
std::string awaited(const OutputFile& output_file);

/// Ends the program with `exit_code` although the engine stands in a call to a disk: gives the take's files their
/// headers where that can be done, tells what was left, and writes the settings, all within some seconds. Nothing else
/// is done with the recorder any more. Thread: main.
[[noreturn]] void leaveAtOnce(Recorder& recorder, UserDefaults& defaults, int exit_code);

/// Ends what runs and completes it on disk, waiting for the engine as long as it takes, and for the reports for half a
/// minute: then the program ends with `exit_code`. Thread: main.
void endOf(Recorder& recorder, int exit_code);

/// The wait of a terminal command for its end, which is told on stderr when it gets long. Thread: main.
class LongWait {
public:
  /// To be called again and again from the moment on that the user wants the end.
  void look(const OutputFile& output_file);

  /// The user knows that the program waits: asking once more means to leave.
  bool isTold() const { return is_told; }

private:
  std::optional<std::chrono::steady_clock::time_point> since;
  bool is_told = false;
};

} // namespace vurl
