#include "platform/Log.h"

#include <poll.h>
#include <syslog.h>
#include <unistd.h>

#include <mutex>

namespace vurl {
namespace {

struct LogState {
  std::mutex mutex;
  Log::Sink sink;
  Log::Terminal on_terminal = Log::Terminal::nothing;
};

LogState& state() {
  static LogState* const the_state = new LogState; // never destroyed: threads may log while the program ends
  return *the_state;
}

void toTerminal(std::string_view line) {
  pollfd output{STDERR_FILENO, POLLOUT, 0};
  if (poll(&output, 1, 0) != 1) return; // a terminal that takes nothing must not hold up the thread that logs
  const char* const over_a_live_line = isatty(STDERR_FILENO) == 1 ? "\r\x1b[K" : "";
  const std::string whole = over_a_live_line + ("vurl: " + std::string(line)) + "\n";
  [[maybe_unused]] const ssize_t ignored = write(STDERR_FILENO, whole.data(), whole.size());
}

/// Sends `line` to the log, and to the terminal when that shows `kind` of line.
void send(std::string_view line, Log::Terminal kind) noexcept {
  try {
    const std::lock_guard lock(state().mutex);
    if (state().sink) {
      state().sink(line);
    } else {
      const int priority = LOG_USER | (kind == Log::Terminal::warnings ? LOG_WARNING : LOG_INFO);
      syslog(priority, "%.*s", static_cast<int>(line.size()), line.data());
    }
    if (state().on_terminal >= kind) toTerminal(line);
  } catch (...) {
    // A line that cannot be logged has nowhere else to go.
  }
}

} // namespace

void Log::showOnTerminal(Terminal show) {
  const std::lock_guard lock(state().mutex);
  state().on_terminal = show;
}

Log::Sink Log::setSink(Sink sink) {
  const std::lock_guard lock(state().mutex);
  std::swap(state().sink, sink);
  return sink;
}

void Log::line(std::string_view line) noexcept { send(line, Terminal::everything); }

void Log::warning(std::string_view line) noexcept { send(line, Terminal::warnings); }

} // namespace vurl
