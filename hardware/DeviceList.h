// What the device listing of the terminal program shows. Thread: main.
#pragma once

#include "hardware/AudioHardware.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vurl {

struct DeviceRow {
  uint32_t id = 0;
  std::string name;               ///< "manufacturer - name"
  uint32_t nr_inputs = 0;         ///< channels
  uint32_t nr_outputs = 0;        ///< channels
  double sample_rate = 0;         ///< Hz
  uint32_t buffer_frame_size = 0; ///< frames
};

/// One row for each device there is, in the service's order.
std::vector<DeviceRow> describeDevices(AudioHardware& hardware);

} // namespace vurl
