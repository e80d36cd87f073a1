// The recorder for scripts: the object /org/vurl/Recorder with the interface org.vurl.Recorder on the session bus. The
// texts of the next take can be read, followed and written as the property "metaData", the transport is worked by
// methods, and what the window shows stands in further properties. It calls the controllers as a window does. All on
// the main thread. Next: platform/SessionBus.h, app/TakeTexts.h.
#pragma once

#include "app/DiskWatch.h"
#include "app/Recorder.h"
#include "platform/SessionBus.h"

#include <chrono>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace vurl {

class RecorderBus {
public:
  /// Has the transport obey, as when its button is pressed; returns whether the state allowed it.
  using Press = std::function<bool(TransportCommand)>;

  /// Offers `recorder`, which has been started. All outlive the object. A program that only plays yields the name.
  RecorderBus(UserDefaults& defaults, RunLoop& run_loop, Recorder& recorder, Press press,
              SessionBus::Claim claim = SessionBus::Claim::keeps);

private:
  BusObject description();
  std::string command(TransportCommand command, const char* name);
  std::string write(const BusEntries& texts);
  std::string state() const;
  BusValue levels() const;
  std::vector<std::string> folders() const;
  void look();
  void lookAtTake();
  void lookAtDisks();

  UserDefaults& defaults;
  Recorder& recorder;
  const Press press;
  DiskWatch disks;
  std::set<std::string> changed; ///< properties to be told of
  std::string told_state;
  bool told_lock = false;
  bool records = false;                             ///< when it was looked at last
  std::vector<std::string> files;                   ///< of the last take
  std::map<std::string, uint64_t> free_space;       ///< bytes by folder
  uint32_t ticks = 0;                               ///< of the timer
  std::chrono::steady_clock::time_point told_until; ///< when nobody wants timecode and levels told any more
  UserDefaults::ObservationHandle settings;
  SessionBus bus;
  RunLoop::Handle timer;
};

} // namespace vurl
