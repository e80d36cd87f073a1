// How fast blocks leave the ring and enter it, beside a plain copy of the same cells.
#include "bench/Figures.h"
#include "bench/RingBed.h"

namespace {

using namespace vurl;

struct Format {
  uint32_t depth;
  const char* name;
  const char* fill_reach; ///< with 64 channels
};
constexpr Format kFormats[] = {
    {INTEGER24, "24-bit", "≥ 0.9"}, {INTEGER16, "16-bit", "≥ 0.9"}, {FLOAT32, "32-bit", "≥ 0.8"}};

/// How often few channels are walked, so that a walk lasts.
uint32_t walks(uint32_t nr_channels) { return nr_channels >= 16 ? 1 : 16 / nr_channels; }

void compareWithCopy(uint32_t nr_channels) {
  RingBed bed(nr_channels);
  bed.runCycles();
  const auto repeated = [n = walks(nr_channels)](auto work) {
    return [=] {
      for (uint32_t i = 0; i < n; ++i) work();
    };
  };
  const auto copy = repeated([&] { bed.copyBlocks(); });
  std::vector<std::function<void()>> works;
  for (const auto& format : kFormats) {
    works.insert(works.end(), {copy, repeated([&] { bed.fillBlocks(format.depth); })});
    works.insert(works.end(), {copy, repeated([&] { bed.readBlocks(format.depth); })});
  }
  const auto seconds = measureInTurn(works);
  const double samples = double{AudioRing::kRingSamples} * nr_channels * walks(nr_channels);
  const std::string channels = std::to_string(nr_channels) + (nr_channels == 1 ? " channel" : " channels");
  size_t i = 0;
  for (const auto& format : kFormats) {
    const auto tellBeside = [&](const std::string& call, const char* reach) {
      const std::string work = call + ", " + channels + ", " + format.name;
      const double speed = Figure(seconds[i + 1]).median;
      std::printf("%s: %.0f million samples/s, copied %.0f\n", work.c_str(), samples / speed / 1e6,
                  samples / Figure(seconds[i]).median / 1e6);
      tellRow(work, "÷ memcpy of the same cells", reach, ratio(seconds[i], seconds[i + 1]));
      i += 2;
    };
    tellBeside("fillBuffer", nr_channels > 2 ? format.fill_reach : "≥ 0.4");
    tellBeside("readBuffer", nr_channels > 2 ? "≥ 0.6" : "");
  }
}

/// Some blocks for a profiler: blocks CALL CHANNELS DEPTH.
void runOnce(const std::string& call, uint32_t nr_channels, uint32_t depth) {
  RingBed bed(nr_channels);
  constexpr uint32_t kSamplesEach = 64 * RingBed::kBlock;
  if (call == "fill") bed.fillBlocks(depth, kSamplesEach);
  if (call == "read") bed.readBlocks(depth, kSamplesEach);
  if (call == "cycle") bed.runCycles(kSamplesEach);
}

} // namespace

int main(int argc, char** argv) {
  if (argc == 4 && *argv[1] != '-') {
    runOnce(argv[1], static_cast<uint32_t>(std::atoi(argv[2])), static_cast<uint32_t>(std::atoi(argv[3])));
    return 0;
  }
  for (const uint32_t nr_channels : {64U, 1U, 2U}) compareWithCopy(nr_channels);
}
