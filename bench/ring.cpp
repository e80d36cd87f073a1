// How fast blocks leave the ring, beside a plain copy of the same cells, and what one I/O cycle costs.
#include "engine/AudioRing.h"
#include "engine/SampleFormat.h"
#include "platform/Text.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <vector>

namespace {

using namespace vurl;

constexpr uint32_t kChannels = AudioRing::kMaxChannels;
constexpr uint32_t kBlock = 256;
constexpr ChannelMask kAllChannels = -1;

/// A device of 64 inputs and 64 outputs, one buffer each, and a ring of 64 channels routed straight through.
struct Rig {
  Rig() : samples(size_t{kChannels} * kBlock, 0.25F), sums(samples.size()) {
    defaults.setInteger(kChannels, "nr_channels");
    defaults.setBool(true, "monitoring");
    for (uint32_t i = 0; i < kChannels; ++i) {
      defaults.setInteger(i, text("input_for_channel%02i", i));
      defaults.setInteger(i, text("output_for_channel%02i", i));
      inputs.push_back({1, kBlock * sizeof(float), &samples[size_t{i} * kBlock]});
      outputs.push_back({1, kBlock * sizeof(float), &sums[size_t{i} * kBlock]});
    }
    ring = std::make_unique<AudioRing>(defaults, systemWallTime, nullptr);
    for (uint32_t done = 0; done < AudioRing::kRingSamples; done += kBlock) cycle();
  }

  void cycle() { ring->ioCycle({kChannels, inputs.data()}, {}, {kChannels, outputs.data()}, {}); }

  UserDefaults defaults;
  std::vector<float> samples;
  std::vector<float> sums;
  std::vector<AudioBuffer> inputs;
  std::vector<AudioBuffer> outputs;
  std::unique_ptr<AudioRing> ring;
};

Rig& rig() {
  static Rig the_rig;
  return the_rig;
}

void countSamples(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * int64_t{kChannels} * kBlock);
}

void fillBlock(benchmark::State& state) {
  AudioRing& ring = *rig().ring;
  std::vector<uint8_t> block(size_t{kChannels} * kBlock * 4);
  for (auto _ : state) {
    ring.fillBuffer(block.data(), kBlock, kAllChannels, static_cast<uint32_t>(state.range(0)));
    ring.skipRecordingRingWithLength(kBlock);
    benchmark::ClobberMemory();
  }
  countSamples(state);
}
BENCHMARK(fillBlock)->Name("fillBuffer/depth")->Arg(INTEGER16)->Arg(INTEGER24)->Arg(FLOAT32);

/// The measure of the above: the same cells moved as they are.
void copyBlock(benchmark::State& state) {
  const AudioRing& ring = *rig().ring;
  std::vector<float> block(size_t{kChannels} * kBlock);
  uint32_t index = 0;
  for (auto _ : state) {
    for (uint32_t i = 0; i < kChannels; ++i) {
      std::memcpy(&block[size_t{i} * kBlock], ring.channelBuffer(i) + index, kBlock * sizeof(float));
    }
    index = (index + kBlock) & AudioRing::kRingMask;
    benchmark::ClobberMemory();
  }
  countSamples(state);
}
BENCHMARK(copyBlock)->Name("memcpy");

void ioCycle(benchmark::State& state) {
  for (auto _ : state) {
    rig().cycle();
    benchmark::ClobberMemory();
  }
  countSamples(state);
}
BENCHMARK(ioCycle)->Name("ioCycle/64in64out");

/// What the cycle spends on the meters, on cells that it has at hand.
void levels(benchmark::State& state) {
  static LevelMeter meter;
  const AudioRing& ring = *rig().ring;
  for (auto _ : state) {
    for (uint32_t i = 0; i < kChannels; ++i) meter.add(i, ring.channelBuffer(i), kBlock);
    benchmark::ClobberMemory();
  }
  countSamples(state);
}
BENCHMARK(levels)->Name("levels/64");

} // namespace
