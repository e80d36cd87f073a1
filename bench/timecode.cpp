// What a reading of LTC costs: the usual one, and the longest, which goes back over 192,000 samples. And what a cycle
// of LTC costs to write.
#include "timecode/LTCDecoder.h"
#include "timecode/LTCEncoder.h"
#include "timecode/ltc.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace {

using namespace vurl;

constexpr uint32_t kCells = 1U << 20;
constexpr int32_t kRate = 48000;

/// LTC played at a fraction of its speed: every sample stands `slowness` times.
void decode(benchmark::State& state) {
  const auto slowness = static_cast<size_t>(state.range(0));
  std::vector<float> signal(kCells / slowness + 1);
  encodeLTC(signal.data(), 1, static_cast<uint32_t>(signal.size()), 0, kRate, FRAME_RATE_24, 0.1F);
  std::vector<float> ring(kCells);
  for (size_t i = 0; i < kCells; ++i) ring[i] = signal[i / slowness];
  Runs runs;
  getRuns(runs, ring.data(), kCells, kCells - 1);
  int64_t time = 0;
  for (auto _ : state) {
    if (!parseLTCTimestamp(time, ring.data(), kCells, kCells - 1, FRAME_RATE_24, kRate)) {
      state.SkipWithError("no timecode");
      break;
    }
    benchmark::DoNotOptimize(time);
  }
  state.SetItemsProcessed(state.iterations() * (kCells - runs.positions[0]));
}
BENCHMARK(decode)->Name("LTC/slowness")->Arg(1)->Arg(10);

/// No run ends: all 192,000 samples for nothing, as on a silent channel.
void silence(benchmark::State& state) {
  const std::vector<float> ring(kCells);
  int64_t time = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(parseLTCTimestamp(time, ring.data(), kCells, kCells - 1, FRAME_RATE_24, kRate));
  }
  state.SetItemsProcessed(state.iterations() * int64_t{kLTCSearchSpan});
}
BENCHMARK(silence)->Name("LTC/silence");

void encode(benchmark::State& state) {
  constexpr uint32_t kBlock = 256;
  std::vector<float> block(size_t{kBlock} * 8);
  uint64_t time = 0;
  for (auto _ : state) {
    encodeLTC(block.data(), 8, kBlock, time += kBlock, kRate, FRAME_RATE_29_97_DROP, 0.1F);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * int64_t{kBlock});
}
BENCHMARK(encode)->Name("LTC/write");

} // namespace
