// Keeps the computer from falling asleep, by an inhibitor of the login service (logind). Thread: main.
#pragma once

#include "platform/RunLoop.h"
#include "platform/SystemBus.h"

#include <chrono>
#include <memory>

namespace vurl {

class SleepInhibitor {
public:
  /// Sleep is allowed at first. `main_loop` outlives this object. `longest` is how long the login service may take.
  explicit SleepInhibitor(RunLoop& main_loop, std::chrono::milliseconds longest = std::chrono::seconds(5))
      : run_loop(main_loop), patience(longest) {}

  /// Forbids sleep, or allows it again. Returns at once; the main loop sees to the rest. When it cannot be forbidden,
  /// a log line says why. The system allows it again by itself when the program ends, however that ends.
  void setSleepingIsAllowed(bool allowed);

  /// Whether the login service has granted it.
  bool isHeld() const { return lock.isOpen(); }

private:
  void step();

  RunLoop& run_loop;
  const std::chrono::milliseconds patience;
  std::unique_ptr<BusCall> call; ///< while it is under way
  std::chrono::steady_clock::time_point deadline;
  RunLoop::Handle timer;
  Descriptor lock; ///< sleep is forbidden while it is open
};

/// The call that asks for it; the reply's descriptor holds it.
BusRequest inhibitSleep();

} // namespace vurl
