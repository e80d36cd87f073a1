// The signals that ask a program to end: SIGINT, SIGTERM and SIGHUP, on the main loop. Thread: main.
#pragma once

#include "platform/RunLoop.h"

#include <functional>

namespace vurl {

/// Takes the signals from its making on. Made before any thread is, so that none of them is interrupted.
class EndSignals {
public:
  explicit EndSignals(RunLoop& run_loop);

  /// Holds the signals back until there is an object to take them: for a program whose toolkit starts threads before it
  /// has a main loop.
  static void hold();

  ~EndSignals();
  EndSignals(const EndSignals&) = delete;
  EndSignals& operator=(const EndSignals&) = delete;

  /// Who is told; at once if a signal has come already.
  void setAsked(std::function<void()> callback);

  /// Takes the signals that have come: for a program that waits without running its loop.
  void look() { readSignals(); }

private:
  void readSignals();

  int descriptor = -1;
  bool came = false;
  std::function<void()> asked;
  RunLoop::Handle watch;
};

} // namespace vurl
