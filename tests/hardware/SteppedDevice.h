// A device that delivers when a test tells it to, and that is plugged in for as long as it lives.
#pragma once

#include "hardware/HardwareModel.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

namespace vurl {

/// Two inputs and two outputs at 48 kHz; the inputs carry a ramp.
class SteppedDevice final : public AudioService {
public:
  /// With an `error`, it will not start.
  SteppedDevice(HardwareModel& hardware, const std::string& name, OSStatus error = 0)
      : model(hardware), start_error(error) {
    DeviceDescription description;
    description.manufacturer = "Test";
    description.name = name;
    description.inputs = description.outputs = {{"Line", kChannels}};
    description.nominal_sample_rates = {kRate};
    description.nominal_sample_rate = kRate;
    description.buffer_frame_size = kFrames;
    for (size_t i = 0; i < input.size(); ++i) input[i] = static_cast<float>(i) / static_cast<float>(input.size());
    id = model.publish(*this, description);
  }
  ~SteppedDevice() override { model.unpublish(id); }
  SteppedDevice(SteppedDevice&&) = delete;

  /// Delivers the cycles of so many seconds.
  void step(double seconds) {
    for (auto cycles = std::lround(seconds * kRate / kFrames); cycles > 0 && io.proc != nullptr; --cycles) {
      std::fill(output.begin(), output.end(), 0.0F);
      AudioBuffer from{kChannels, sizeof input, input.data()};
      AudioBuffer into{kChannels, sizeof output, output.data()};
      const AudioBufferList inputs{1, &from};
      AudioBufferList outputs{1, &into};
      AudioTimeStamp stamp;
      stamp.mSampleTime = sample_time;
      stamp.mFlags = kAudioTimeStampSampleTimeValid;
      io.proc(io.device, &stamp, &inputs, &stamp, &outputs, &stamp, io.client_data);
      sample_time += kFrames;
    }
  }

  OSStatus start(AudioObjectID, const IOProc& new_io) override {
    if (start_error == 0) io = new_io;
    return start_error;
  }
  void stop(AudioObjectID) override { io = {}; }

private:
  static constexpr uint32_t kChannels = 2;
  static constexpr uint32_t kFrames = 480;
  static constexpr double kRate = 48000;

  HardwareModel& model;
  const OSStatus start_error;
  AudioObjectID id = kAudioObjectUnknown;
  IOProc io;
  double sample_time = 0;
  std::array<float, size_t{kChannels} * kFrames> input{};
  std::array<float, size_t{kChannels} * kFrames> output{};
};

} // namespace vurl
