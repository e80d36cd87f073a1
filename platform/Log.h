// The one log of the program: lines of plain text to the system log, and to the terminal when asked.
#pragma once

#include "platform/Text.h"

#include <functional>
#include <string>
#include <string_view>

namespace vurl {

/// Where log lines go. The log is the only global of the program. Every call may come from any thread but the I/O
/// thread; lines of different threads never mix within a line.
class Log {
public:
  /// Receives each line without its line end, in the order in which they were logged.
  using Sink = std::function<void(std::string_view line)>;

  /// What is also copied to standard error, as "vurl: line".
  enum class Terminal { nothing, warnings, everything };
  static void showOnTerminal(Terminal show);

  /// Sends lines to `sink` in place of the system log; an empty sink goes back to the system log. Returns the sink
  /// that was there before. For tests.
  static Sink setSink(Sink sink);

  /// Logs one line; a line end within it is kept.
  static void line(std::string_view line) noexcept;

  /// Logs one line that the user should see: nothing has failed yet, but it will not turn out as wished.
  static void warning(std::string_view line) noexcept;
};

/// Logs one line built as by text().
template <typename... Arguments>
void log(std::string_view format, const Arguments&... arguments) noexcept {
  Log::line(text(format, arguments...));
}

/// Logs one warning built as by text().
template <typename... Arguments>
void warn(std::string_view format, const Arguments&... arguments) noexcept {
  Log::warning(text(format, arguments...));
}

} // namespace vurl
