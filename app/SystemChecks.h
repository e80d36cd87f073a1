// Whether the computer lets the recorder be on time: priority, memory, processors, sleep. Each tries the thing itself
// where that can be undone. Not real-time; any thread but the I/O thread.
#pragma once

#include "app/Finding.h"

#include <cstdint>

namespace vurl {

/// Topic "real_time": whether a thread becomes a real-time one. Waits a second at most.
Finding checkRealTime();

/// Topic "locked_memory": whether this process may lock the ring's memory of `nr_channels` channels.
Finding checkLockedMemory(int64_t nr_channels);

/// Topic "processor": whether all processors run at full speed. `folder` is the kernel's, or a test's.
Finding checkProcessors(const std::string& folder = "/sys/devices/system/cpu");

/// Topic "sleep": whether the login service lets the program keep the computer awake. Waits two seconds at most.
Finding checkSleep();

} // namespace vurl
