// The audio device of a terminal command that records or plays: found by the name that the user gave, chosen before
// any device is opened, let go of at the end. Thread: main.
#pragma once

#include "app/Recorder.h"
#include "platform/PollRunLoop.h"

#include <optional>
#include <string>

namespace vurl {

class DeviceSession {
public:
  /// Finds the devices there are. `defaults` and `run_loop` outlive the session.
  DeviceSession(UserDefaults& defaults, PollRunLoop& loop)
      : services(defaults, loop), settings(defaults), run_loop(loop) {}

  /// Finds the device that the user named, the test generator also while it is hidden; without a name it is the stored
  /// one. A JACK server that does not answer yet, as one whose client has just died, is waited for.
  /// False, and the reason for the user, when there is none or more than one.
  bool find(const std::optional<std::string>& name, std::string& reason);

  /// Makes the device that was found the one to select. This comes before any device is opened: the ring must hold
  /// nothing but the sound of that one when a take reaches back into it. The test generator is chosen for the run only,
  /// a real device also for later when `remembers`.
  void choose(Recorder& recorder, bool remembers);

  /// Whether there is a device, it is the one that was found, and it has started; the reason for the user if not.
  bool isSelected(const Recorder& recorder, std::string& reason) const;

  /// Ends the program with `exit_code` in a while, if it has not ended by then: all is done and told, but letting go of
  /// a device waits for its server, which may hang.
  static void endSoon(int exit_code);

  AudioServices services;

private:
  bool findNow(const std::string& name, std::string& reason);

  UserDefaults& settings;
  PollRunLoop& run_loop;
  std::string wanted; ///< display name; empty: whichever is stored
};

/// Tells the user why a command cannot be carried out. Returns `exit_code`.
int refuse(const std::string& reason, int exit_code);

} // namespace vurl
