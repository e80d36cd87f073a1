// Whether there is something to record from, and it has what the settings want. Thread: main.
#pragma once

#include "app/Finding.h"
#include "hardware/DeviceList.h"
#include "platform/UserDefaults.h"

#include <vector>

namespace vurl {

/// The device of `rows` that a recorder would select by the settings; nothing when there is none.
const DeviceRow* deviceInUse(const std::vector<DeviceRow>& rows, const UserDefaults& defaults);

/// Topics "servers", "devices" and, with a device in use, "selected_device".
std::vector<Finding> checkDevices(const std::vector<DeviceRow>& rows, const UserDefaults& defaults);

} // namespace vurl
