// What every program of this system does before it does anything else. Thread: main.
#pragma once

#include "platform/UserDefaults.h"

#include <string>
#include <vector>

namespace vurl {

/// Lets failing writes be told by the write itself rather than by a signal, and raises the limits of open files (a take
/// may hold 512 open), of locked memory and of real-time priority as far as this user may.
void prepareProcess();

/// Sets each "KEY=VALUE" of the command line for the run. Returns false, with a sentence for the user in `reason`, at
/// the first that cannot be.
bool applySettings(UserDefaults& defaults, const std::vector<std::string>& settings, std::string& reason);

} // namespace vurl
