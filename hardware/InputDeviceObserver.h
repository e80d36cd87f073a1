// Who is told of changes at the audio hardware.
#pragma once

namespace vurl {

/// One message for each kind of change; the receiver reads the new value from InputDevice. Thread: main.
class InputDeviceObserver {
public:
  virtual ~InputDeviceObserver() = default;
  virtual void updateDevices() = 0;
  virtual void updateSampleRates() = 0;
  virtual void updateSampleRate() = 0;
  virtual void updateClockSources() = 0;
  virtual void updateClockSource() = 0;
  virtual void updateDataSources() = 0;
  virtual void updateDataSource() = 0;
  virtual void updateBufferFrameSizeRange() = 0;
  virtual void updateBufferFrameSize() = 0;
  virtual void updateChannels() = 0;
  virtual void processorOverload() = 0;
};

} // namespace vurl
