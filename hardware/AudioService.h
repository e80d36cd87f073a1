// What stands behind the devices of the hardware model: a service publishes devices into the model and is asked by it
// to act on them. Thread: main, but for the I/O cycle itself. JackHardware and GeneratorHardware are services.
#pragma once

#include "hardware/AudioHardware.h"

namespace vurl {

/// Where a device's cycles go.
struct IOProc {
  AudioDeviceIOProc proc = nullptr;
  AudioObjectID device = kAudioObjectUnknown;
  void* client_data = nullptr;
};

/// A request that a device cannot follow returns kAudioHardwareIllegalOperationError and changes nothing. A change that
/// came about is told to the model by HardwareModel::update() before the call returns.
class AudioService {
public:
  virtual ~AudioService() = default;

  /// Starts calling `io` from the service's I/O thread, output buffers cleared before each cycle.
  virtual OSStatus start(AudioObjectID device, const IOProc& io) = 0;

  /// Stops that; when this returns no cycle is under way and none follows.
  virtual void stop(AudioObjectID device) = 0;

  virtual OSStatus setNominalSampleRate(AudioObjectID, double) { return kAudioHardwareIllegalOperationError; }
  virtual OSStatus setBufferFrameSize(AudioObjectID, uint32_t) { return kAudioHardwareIllegalOperationError; }
  virtual OSStatus setDataSource(AudioObjectID, uint32_t) { return kAudioHardwareIllegalOperationError; }
  virtual OSStatus setClockSource(AudioObjectID, uint32_t) { return kAudioHardwareIllegalOperationError; }
};

} // namespace vurl
