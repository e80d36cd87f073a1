// The main loop as the rest of the program sees it: work posted to the main thread, timers, watched descriptors.
// PollRunLoop serves the terminal program and tests; the desktop brings its own. Callbacks always run on the thread
// that runs the loop, one after another, never inside post(), every() or watch().
#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace vurl {

class RunLoop {
public:
  /// Keeps a timer or a watch alive; destroying it (on the main thread) ends it, also from within its own callback.
  class Registration {
  public:
    virtual ~Registration() = default;
  };
  using Handle = std::unique_ptr<Registration>;
  using Work = std::function<void()>;

  virtual ~RunLoop() = default;

  /// Runs `work` once on the main thread, after everything posted before. Returns at once: it never waits for the
  /// work. Any thread but the I/O thread.
  virtual void post(Work work) = 0;

  /// Runs `work` every `interval` from now on. Ticks that the loop was too busy for are left out, not made up for.
  [[nodiscard]] virtual Handle every(std::chrono::milliseconds interval, Work work) = 0;

  /// Runs `work` whenever `descriptor` has something to read, has reached its end, or has failed.
  [[nodiscard]] virtual Handle watch(int descriptor, Work work) = 0;
};

} // namespace vurl
