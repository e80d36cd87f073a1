// What the user's desktop does for the program.
#pragma once

#include <string>

namespace vurl {

/// Has the desktop show the file at `path`, which is full, in the user's own program for it (xdg-open). Returns once
/// that was asked for, without waiting for what comes of it; false, with a log line, when it cannot be asked. No shell
/// sees the path. Any thread but the I/O thread.
bool openWithDesktop(const std::string& path);

} // namespace vurl
