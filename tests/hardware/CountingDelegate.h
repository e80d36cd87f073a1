// An I/O delegate that counts cycles and looks for faults in what a service hands over.
#pragma once

#include "hardware/AudioIODelegate.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace vurl {

class CountingDelegate final : public AudioIODelegate {
public:
  OSStatus ioCycleForDevice(uint32_t device, const AudioTimeStamp&, const AudioBufferList& input_data,
                            const AudioTimeStamp& input_time, const AudioBufferList& output_data, const AudioTimeStamp&,
                            void*) noexcept override {
    is_inside = true;
    uint32_t frames = 0;
    const uint32_t nr_inputs = look(input_data, frames, false);
    const uint32_t nr_outputs = look(output_data, frames, true);
    if (nr_inputs != nr_outputs) fault = "inputs and outputs differ in number";
    if ((input_time.mFlags & kAudioTimeStampSampleTimeValid) == 0) fault = "no sample time";
    if (device == last_device && input_time.mSampleTime <= last_sample_time) fault = "sample time does not grow";
    last_device = device;
    last_sample_time = input_time.mSampleTime;
    last_input_time = input_time;
    nr_frames = frames;
    nr_channels = nr_inputs;
    nr_cycles = nr_cycles + 1;
    is_inside = false;
    return 0;
  }

  std::atomic<int> nr_cycles = 0;
  std::atomic<bool> is_inside = false;
  std::atomic<uint32_t> nr_frames = 0;   ///< of the last cycle
  std::atomic<uint32_t> nr_channels = 0; ///< of the last cycle
  std::atomic<const char*> fault = nullptr;
  AudioTimeStamp last_input_time; ///< read it while no cycle runs

private:
  /// Counts the channels; writes to outputs, so that one not cleared before the next cycle is seen.
  uint32_t look(const AudioBufferList& list, uint32_t& frames, bool is_output) noexcept {
    uint32_t channels = 0;
    for (uint32_t i = 0; i < list.mNumberBuffers; i++) {
      const auto& buffer = list.mBuffers[i];
      const uint32_t length = buffer.mDataByteSize / sizeof(float);
      channels += buffer.mNumberChannels;
      if (frames != 0 && length / buffer.mNumberChannels != frames) fault = "buffers differ in length";
      frames = length / buffer.mNumberChannels;
      auto* samples = static_cast<float*>(buffer.mData);
      for (uint32_t k = 0; is_output && k < length; k++) {
        if (samples[k] != 0.0F) fault = "output not cleared";
        samples[k] = 0.25F;
      }
    }
    return channels;
  }

  uint32_t last_device = 0;
  double last_sample_time = 0;
};

/// Holds its first cycle up for `delay`.
class SlowDelegate final : public AudioIODelegate {
public:
  explicit SlowDelegate(std::chrono::milliseconds time) : delay(time) {}
  OSStatus ioCycleForDevice(uint32_t, const AudioTimeStamp&, const AudioBufferList&, const AudioTimeStamp& input_time,
                            const AudioBufferList&, const AudioTimeStamp&, void*) noexcept override {
    if (nr_cycles == 0) std::this_thread::sleep_for(delay);
    if (nr_cycles > 0 && input_time.mSampleTime != expected) has_gap = true;
    expected = input_time.mSampleTime + 256;
    nr_cycles = nr_cycles + 1;
    return 0;
  }
  std::atomic<int> nr_cycles = 0;
  std::atomic<bool> has_gap = false;

private:
  const std::chrono::milliseconds delay;
  double expected = 0;
};

} // namespace vurl
