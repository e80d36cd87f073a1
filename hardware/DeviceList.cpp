#include "hardware/DeviceList.h"

#include "hardware/AudioSystemObject.h"
#include "platform/Text.h"

#include <numeric>

namespace vurl {

std::vector<DeviceRow> describeDevices(AudioHardware& hardware) {
  const auto channels = [](const AudioDevice& device, uint32_t scope) {
    const auto configuration = device.streamConfigurationForScope(scope);
    return std::accumulate(configuration.begin(), configuration.end(), 0U);
  };
  std::vector<DeviceRow> rows;
  for (const auto& device : AudioSystemObject(hardware).allDevices()) {
    rows.push_back(
        {device->objectID(), text("%@ - %@", device->manufacturer().value_or(""), device->name().value_or("")),
         channels(*device, kAudioDevicePropertyScopeInput), channels(*device, kAudioDevicePropertyScopeOutput),
         device->nominalSampleRate(), device->bufferFrameSize()});
  }
  return rows;
}

} // namespace vurl
