// Cards as udev reports them, when it has set up their files for us. Thread: main.
#pragma once

#include "hardware/PlugMonitor.h"

namespace vurl {

/// Nullptr where udev does not run: then nobody tells, and one has to look.
std::unique_ptr<PlugMonitor> openUdevMonitor();

} // namespace vurl
