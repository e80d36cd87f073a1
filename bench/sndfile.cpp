// Blocks out of the ring beside libsndfile, the library that other recorders write with: the same samples to the same
// file on a RAM disk. libsndfile gets its frames interleaved already; the ring's channels have that still before them.
#include "bench/Figures.h"
#include "bench/RingBed.h"

#include <fcntl.h>
#include <sndfile.h>
#include <unistd.h>

namespace {

using namespace vurl;

constexpr uint32_t kChannels = AudioRing::kMaxChannels;
constexpr uint32_t kNrBlocks = 256;
const std::string kFile = "/dev/shm/vurl-bench-" + std::to_string(getpid());

struct Format {
  uint32_t depth;
  int code;
  const char* name;
};
constexpr Format kFormats[] = {{INTEGER24, SF_FORMAT_PCM_24, "24-bit"},
                               {INTEGER16, SF_FORMAT_PCM_16, "16-bit"},
                               {FLOAT32, SF_FORMAT_FLOAT, "32-bit"}};

void writeByLibrary(const std::vector<float>& frames, int code) {
  SF_INFO info{};
  info.samplerate = 48000, info.channels = kChannels, info.format = SF_FORMAT_WAV | code;
  SNDFILE* const file = sf_open(kFile.c_str(), SFM_WRITE, &info);
  for (uint32_t i = 0; i < kNrBlocks; ++i) {
    const float* const block = &frames[size_t{i} * RingBed::kBlock * kChannels];
    if (sf_writef_float(file, block, RingBed::kBlock) != RingBed::kBlock) std::printf("libsndfile failed\n");
  }
  sf_close(file);
}

void writeFromRing(RingBed& bed, uint32_t depth) {
  const int file = open(kFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  for (uint32_t i = 0; i < kNrBlocks; ++i) {
    const int32_t size = bed.ring.fillBuffer(bed.block.data(), RingBed::kBlock, RingBed::kAllChannels, depth);
    if (write(file, bed.block.data(), static_cast<size_t>(size)) != size) std::printf("The file failed\n");
    bed.ring.skipRecordingRingWithLength(RingBed::kBlock);
  }
  close(file);
}

} // namespace

int main() {
  RingBed bed(kChannels);
  bed.runCycles();
  std::vector<float> frames(size_t{kNrBlocks} * RingBed::kBlock * kChannels);
  bed.ring.fillBuffer(reinterpret_cast<uint8_t*>(frames.data()), kNrBlocks * RingBed::kBlock, RingBed::kAllChannels,
                      FLOAT32);
  std::vector<std::function<void()>> works;
  for (const auto& format : kFormats) {
    works.push_back([&] { writeByLibrary(frames, format.code); });
    works.push_back([&] { bed.fillBlocks(format.depth, kNrBlocks * RingBed::kBlock); });
    works.push_back([&] { writeFromRing(bed, format.depth); });
  }
  const auto seconds = measureInTurn(works);
  unlink(kFile.c_str());
  const double samples = double{kChannels} * RingBed::kBlock * kNrBlocks / 1e6;
  size_t i = 0;
  for (const auto& format : kFormats) {
    std::printf("%s: libsndfile %.0f million samples/s, fillBuffer %.0f, with write() %.0f\n", format.name,
                samples / Figure(seconds[i]).median, samples / Figure(seconds[i + 1]).median,
                samples / Figure(seconds[i + 2]).median);
    const std::string work = std::string("fillBuffer, 64 channels, ") + format.name;
    tellRow(work, "times as fast as libsndfile to a RAM disk", "≥ 5", ratio(seconds[i], seconds[i + 1]));
    tellRow(work + ", and written to the RAM disk", "times as fast as libsndfile", "",
            ratio(seconds[i], seconds[i + 2]));
    i += 3;
  }
}
