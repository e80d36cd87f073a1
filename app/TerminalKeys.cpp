#include "app/TerminalKeys.h"

#include <termios.h>
#include <unistd.h>

#include <utility>

namespace vurl {

struct TerminalKeys::Saved {
  termios settings{};
};

TerminalKeys::TerminalKeys(RunLoop& run_loop, std::function<void(char)> callback) : pressed(std::move(callback)) {
  termios settings{};
  const bool in_foreground = isatty(STDIN_FILENO) == 1 && tcgetpgrp(STDIN_FILENO) == getpgrp();
  if (!in_foreground || tcgetattr(STDIN_FILENO, &settings) < 0) return;
  saved = std::make_unique<Saved>(Saved{settings});
  settings.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  settings.c_iflag &= ~static_cast<tcflag_t>(IXON); // Ctrl-S must not hold up a take
  settings.c_cc[VSUSP] = _POSIX_VDISABLE;           // nor Ctrl-Z
  settings.c_cc[VMIN] = 0;
  settings.c_cc[VTIME] = 0;
  tcsetattr(STDIN_FILENO, TCSANOW, &settings);
  watch = run_loop.watch(STDIN_FILENO, [this] { readKeys(); });
}

TerminalKeys::~TerminalKeys() {
  if (saved) tcsetattr(STDIN_FILENO, TCSANOW, &saved->settings);
}

void TerminalKeys::readKeys() {
  char key = 0;
  const ssize_t count = read(STDIN_FILENO, &key, 1);
  if (count == 1) {
    pressed(key);
  } else {
    watch.reset(); // the terminal is gone
  }
}

} // namespace vurl
