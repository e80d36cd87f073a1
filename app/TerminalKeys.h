// Single keys from a terminal, without Enter and without echo; nothing when standard input is no terminal. Main thread.
#pragma once

#include "platform/RunLoop.h"

#include <functional>
#include <memory>

namespace vurl {

class TerminalKeys {
public:
  /// Calls `pressed` on the main loop for each key. The terminal's own ways come back with the destructor.
  TerminalKeys(RunLoop& run_loop, std::function<void(char key)> pressed);
  ~TerminalKeys();
  TerminalKeys(const TerminalKeys&) = delete;
  TerminalKeys& operator=(const TerminalKeys&) = delete;

  /// Whether there is a terminal to type at.
  bool areRead() const { return watch != nullptr; }

private:
  struct Saved;

  void readKeys();

  std::function<void(char)> pressed;
  std::unique_ptr<Saved> saved;
  RunLoop::Handle watch;
};

} // namespace vurl
