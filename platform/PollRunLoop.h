// A main loop on ppoll(2), for the terminal program and for tests.
#pragma once

#include "platform/RunLoop.h"

#include <cstdint>
#include <list>
#include <mutex>
#include <vector>

namespace vurl {

class PollRunLoop final : public RunLoop {
public:
  PollRunLoop();
  ~PollRunLoop() override;
  PollRunLoop(const PollRunLoop&) = delete;
  PollRunLoop& operator=(const PollRunLoop&) = delete;

  void post(Work work) override;
  Handle every(std::chrono::milliseconds interval, Work work) override;
  Handle watch(int descriptor, Work work) override;

  /// Runs callbacks until quit() is called.
  void run();

  /// Makes run() return after the callback in hand. Any thread.
  void quit();

  /// Waits at most `patience` for something to do, does what there is, and returns whether there was anything.
  bool runOnce(std::chrono::milliseconds patience);

  /// Runs everything posted so far, and what that posts in turn, without waiting. For tests and for start-up.
  void drain();

private:
  struct Timer;
  struct Watch;
  struct Link;

  bool runPosted();
  bool runTimers();
  int millisecondsToNextTimer() const;

  int wake_descriptor;
  std::mutex mutex; ///< guards `posted` and `quitting`
  std::vector<Work> posted;
  bool quitting = false;
  std::shared_ptr<std::list<std::shared_ptr<Timer>>> timers;
  std::shared_ptr<std::list<std::shared_ptr<Watch>>> watches;
};

} // namespace vurl
