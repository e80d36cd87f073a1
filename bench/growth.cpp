// How the cost of recording grows with what is recorded: processor time for each second of sound, of the I/O cycle and
// of the engine that writes to a RAM disk.
#include "bench/Figures.h"
#include "bench/RecordBed.h"

namespace {

using namespace vurl;

constexpr int kTenths = 5; ///< of a second of sound in a measurement

struct Cost {
  double cycles, files; ///< milliseconds of processor time for a second of sound
};

/// The sound of a tenth of a second arrives, and the engine has its pass.
Cost costOf(const RecordShape& shape) {
  RecordBed bed(shape);
  std::vector<double> cycles, files;
  for (int repetition = -1; repetition < repetitions(); ++repetition) { // the first brings memory into use
    Cost cost{};
    for (int i = 0; i < kTenths; ++i) {
      cost.cycles += secondsOf([&] { bed.runCycles(shape.rate / 10); });
      cost.files += secondsOf([&] { bed.pass(); });
    }
    if (repetition < 0) continue;
    cycles.push_back(cost.cycles * 1e4 / kTenths);
    files.push_back(cost.files * 1e4 / kTenths);
  }
  if (!bed.isRecording()) std::printf("The take has ended.\n");
  return {Figure(cycles).median, Figure(files).median};
}

void tellCosts(const std::string& table, const std::string& x, const RecordShape& shape) {
  const Cost cost = costOf(shape);
  tellGrowth(table, x + ": I/O cycles", cost.cycles, "ms of CPU per second of sound");
  tellGrowth(table, x + ": to files", cost.files, "ms of CPU per second of sound");
}

void tellChannels() {
  const std::string table = "Channels, 48 kHz, one 24-bit file";
  for (const uint32_t nr : {1U, 2U, 4U, 8U, 16U, 32U, 64U}) tellCosts(table, std::to_string(nr), {.nr_channels = nr});
  tellReason(table,
             "The bytes written govern: a quarter of the work for files is the copy out of the ring, the rest is "
             "write(); cycles of many channels wait for the ring's memory.");
}

void tellFiles() {
  const std::string table = "Files of one channel, 64 channels, 48 kHz, 24-bit";
  for (const uint32_t nr : {1U, 2U, 8U, 32U, 64U, 100U, 200U}) {
    RecordShape shape;
    shape.nr_files = nr;
    if (nr == 1) shape.nr_channels = 1;
    const Cost cost = costOf(shape);
    tellGrowth(table, std::to_string(nr), cost.files, "ms of CPU per second of sound");
  }
  tellReason(table, "The number of write() calls governs: one for each file and block of 256 samples, and for up to 16 "
                    "blocks from 16 files on.");
}

void tellRates() {
  const std::string table = "Sample rate, 64 channels, one 24-bit file";
  for (const int32_t rate : {44100, 48000, 88200, 96000, 176400, 192000})
    tellCosts(table, std::to_string(rate) + " Hz", {.rate = rate});
  tellReason(table, "Samples govern: the cost is proportional to the rate.");
}

void tellBuffers() {
  const std::string table = "Frames of an I/O cycle, 64 channels, 48 kHz";
  for (const uint32_t frames : {16U, 32U, 64U, 128U, 256U, 512U, 1024U, 2048U, 4096U}) {
    const Cost cost = costOf({.cycle_length = frames});
    tellGrowth(table, std::to_string(frames), cost.cycles, "ms of CPU per second of sound");
  }
  tellReason(table, "From 32 frames on the ring's memory governs; below, the fixed work for each channel of a cycle.");
}

} // namespace

int main() {
  useRamDisk();
  tellChannels();
  tellFiles();
  tellRates();
  tellBuffers();
}
