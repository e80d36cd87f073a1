// A ring for the benchmarks: filled by cycles of a device, and walked block by block.
#pragma once

#include "engine/AudioRing.h"
#include "engine/SampleFormat.h"
#include "platform/Text.h"

#include <cstring>
#include <random>
#include <vector>

namespace vurl {

/// A silent ring and a device of noise, of as many inputs and outputs as the ring has channels, routed straight
/// through. Its buffers hold one channel each.
class RingBed {
public:
  static constexpr uint32_t kBlock = 256;

  explicit RingBed(uint32_t channels, uint32_t cycle_length = kBlock)
      : nr_channels(channels), length(cycle_length), samples(size_t{channels} * length), sums(samples.size()) {
    defaults.setInteger(channels, "nr_channels");
    std::minstd_rand random(1);
    for (float& sample : samples) sample = static_cast<float>(random()) * 0x1p-30F - 1;
    for (uint32_t i = 0; i < channels; ++i) {
      defaults.setInteger(i, text("input_for_channel%02i", i));
      defaults.setInteger(i, text("output_for_channel%02i", i));
      inputs.push_back({1, length * uint32_t{sizeof(float)}, &samples[size_t{i} * length]});
      outputs.push_back({1, length * uint32_t{sizeof(float)}, &sums[size_t{i} * length]});
    }
    ring.applyWantedChannels();
  }

  void cycle() { ring.ioCycle({nr_channels, inputs.data()}, {}, {nr_channels, outputs.data()}, {}); }

  void runCycles(uint32_t samples_each = AudioRing::kRingSamples) {
    for (uint32_t done = 0; done < samples_each; done += length) cycle();
  }

  /// The ring's cells as blocks of a file, one after the other into the same memory.
  void fillBlocks(uint32_t depth, uint32_t samples_each = AudioRing::kRingSamples) {
    for (uint32_t done = 0; done < samples_each; done += kBlock) {
      ring.fillBuffer(block.data(), kBlock, kAllChannels, depth);
      ring.skipRecordingRingWithLength(kBlock);
    }
  }

  void readBlocks(uint32_t depth, uint32_t samples_each = AudioRing::kRingSamples) {
    for (uint32_t done = 0; done < samples_each; done += kBlock) {
      ring.readBuffer(file_block.data(), kBlock, kAllChannels, depth);
      ring.skipPlaybackRingWithLength(kBlock);
    }
  }

  /// The measure of fillBlocks(): the same cells moved as they are.
  void copyBlocks() {
    for (uint32_t index = 0; index < AudioRing::kRingSamples; index += kBlock) {
      for (uint32_t i = 0; i < nr_channels; ++i)
        std::memcpy(&block[i * kBlockBytes], ring.channelBuffer(i) + index, kBlockBytes);
    }
  }

  static constexpr ChannelMask kAllChannels = -1;
  static constexpr size_t kBlockBytes = kBlock * sizeof(float);

  const uint32_t nr_channels;
  const uint32_t length;
  UserDefaults defaults;
  std::vector<float> samples;
  std::vector<float> sums;
  std::vector<AudioBuffer> inputs;
  std::vector<AudioBuffer> outputs;
  std::vector<uint8_t> block = std::vector<uint8_t>(AudioRing::kMaxChannels * kBlockBytes);
  /// Ordinary numbers in every format: those next to zero cost a processor a hundred times as much.
  std::vector<uint8_t> file_block = std::vector<uint8_t>(block.size(), 0x3D);
  AudioRing ring{defaults, systemWallTime, nullptr};
};

} // namespace vurl
