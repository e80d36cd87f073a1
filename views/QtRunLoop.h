// The main loop of the desktop program: work, timers and descriptors served by Qt's own event loop, which the
// application runs.
#pragma once

#include "platform/RunLoop.h"

#include <QtCore/QObject>

namespace vurl {

class QtRunLoop final : public RunLoop {
public:
  /// Thread: main, with the application object made. Work still posted when the loop goes away is never run.
  QtRunLoop() = default;

  void post(Work work) override;
  Handle every(std::chrono::milliseconds interval, Work work) override;
  Handle watch(int descriptor, Work work) override;

private:
  QObject context; ///< lives on the main thread; owns the timers and notifiers
};

} // namespace vurl
