// The test generator's I/O cycle: the buffers it hands out, the tones and the timecode it fills them with, and the
// clocks it stamps them with. configure() belongs to the main thread while no cycle runs; run() and skip() to the
// thread that paces the cycles; the atomics are set from the main thread at any time. GeneratorHardware owns one.
#pragma once

#include "hardware/AudioService.h"
#include "hardware/GeneratorHardware.h"
#include "hardware/OutputLimiter.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <vector>

namespace vurl {

class GeneratorCycle {
public:
  /// Makes the buffers for `frames` frames and the tones for `rate` Hz; what was in the buffers is forgotten.
  void configure(uint32_t rate, uint32_t frames);

  /// One cycle: fills the inputs, clears the outputs, calls `io`, limits what it left there and moves the clocks on.
  /// Wait-free.
  void run(const IOProc& io) noexcept;

  /// Moves the clocks on by `frames` frames that nobody gets.
  void skip(uint64_t frames) noexcept {
    sample_time += frames;
    incident = kAudioTimeStampSamplesLost;
  }

  uint32_t rate() const { return sample_rate; }
  uint32_t frames() const { return nr_frames; }

  std::atomic<uint32_t> data_source = GeneratorHardware::kTones;
  std::atomic<uint32_t> clock_source = GeneratorHardware::kInternal;
  std::atomic<int32_t> frame_rate = FRAME_RATE_25;
  OutputLimiter limiter;

private:
  using Buffers = std::array<AudioBuffer, GeneratorHardware::kNrStreams>;

  float* firstInputSample(uint32_t channel) const noexcept;
  void fillTones() noexcept;
  void fillTimecode() noexcept;
  AudioTimeStamp timeStamp(uint64_t sample) const noexcept;

  uint32_t sample_rate = 0;
  uint32_t nr_frames = 0;
  uint64_t sample_time = 0;
  uint32_t incident = 0;   ///< what the next cycle's time stamp tells: AudioTimeStampFlags
  std::vector<float> sine; ///< one second of 1 Hz, so that every whole pitch is a walk through it
  std::vector<float> input_samples;
  std::vector<float> output_samples;
  Buffers inputs;
  Buffers outputs;
};

} // namespace vurl
