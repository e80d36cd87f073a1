// Notes each message about the hardware by its name.
#pragma once

#include "hardware/InputDeviceObserver.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace vurl {

class NotingObserver final : public InputDeviceObserver {
public:
  void updateDevices() override { messages.emplace_back("updateDevices"); }
  void updateSampleRates() override { messages.emplace_back("updateSampleRates"); }
  void updateSampleRate() override { messages.emplace_back("updateSampleRate"); }
  void updateClockSources() override { messages.emplace_back("updateClockSources"); }
  void updateClockSource() override { messages.emplace_back("updateClockSource"); }
  void updateDataSources() override { messages.emplace_back("updateDataSources"); }
  void updateDataSource() override { messages.emplace_back("updateDataSource"); }
  void updateBufferFrameSizeRange() override { messages.emplace_back("updateBufferFrameSizeRange"); }
  void updateBufferFrameSize() override { messages.emplace_back("updateBufferFrameSize"); }
  void updateChannels() override { messages.emplace_back("updateChannels"); }
  void processorOverload() override { messages.emplace_back("processorOverload"); }

  /// The messages since the last call, in order.
  std::vector<std::string> take() { return std::exchange(messages, {}); }

  bool has(const std::string& message) const { return std::ranges::count(messages, message) > 0; }

private:
  std::vector<std::string> messages;
};

} // namespace vurl
