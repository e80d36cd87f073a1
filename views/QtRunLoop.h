// The main loop of the desktop program: work, timers and descriptors served by Qt's own event loop, which the
// application runs.
#pragma once

#include "platform/RunLoop.h"

#include <QtCore/QObject>
#include <vector>

namespace vurl {

class QtRunLoop final : public RunLoop {
public:
  /// Thread: main, with the application object made. Work still posted when the loop goes away is never run.
  QtRunLoop() = default;

  void post(Work work) override;
  Handle every(std::chrono::milliseconds interval, Work work) override;
  Handle watch(int descriptor, Work work) override;

  /// While one lives, posted work waits for its end, and the timers leave their ticks out. Descriptors are watched on.
  class Hold {
  public:
    explicit Hold(QtRunLoop& held_loop) : loop(held_loop) { ++loop.nr_holds; }
    ~Hold();
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

  private:
    QtRunLoop& loop;
  };

private:
  void runHeld();

  int nr_holds = 0;
  std::vector<Work> held_work; ///< in order
  QObject context;             ///< lives on the main thread; owns the timers and notifiers
};

} // namespace vurl
