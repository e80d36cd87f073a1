// What the ring costs besides its blocks: the I/O cycle with its levels, their reading for the display, a reading of
// LTC.
#include "bench/Figures.h"
#include "bench/RingBed.h"
#include "timecode/LTCDecoder.h"
#include "timecode/LTCEncoder.h"
#include "timecode/ltc.h"

#include <cmath>

namespace {

using namespace vurl;

constexpr double kRate = 48000;
constexpr uint32_t kNrCycles = AudioRing::kRingSamples / RingBed::kBlock;

/// `factor` x the seconds of each repetition.
Figure scaled(std::vector<double> seconds, double factor) {
  for (double& each : seconds) each *= factor;
  return Figure(std::move(seconds));
}

void tellCycles() {
  RingBed bed(AudioRing::kMaxChannels);
  const auto seconds = measureInTurn({[&] {
                                        bed.ring.setMonitoring(false);
                                        bed.runCycles();
                                      },
                                      [&] {
                                        bed.ring.setMonitoring(true);
                                        bed.runCycles();
                                      }});
  const double share = 100 * kRate / RingBed::kBlock / kNrCycles;
  const std::string cycle = "I/O cycle, 64 in with levels, 256 frames";
  tellRow(cycle, "% of the period at 48 kHz", "≤ 0.6", scaled(seconds[0], share));
  tellRow(cycle + ", monitored to 64 out", "% of the period at 48 kHz", "≤ 1.2", scaled(seconds[1], share));
}

void tellLevels() {
  constexpr int kTicks = 1000;
  RingBed bed(AudioRing::kMaxChannels);
  float sum = 0;
  const auto seconds = measureInTurn({[&] {
                                        for (int tick = 0; tick < kTicks; ++tick) {
                                          bed.cycle();
                                          for (uint32_t channel = 0; channel < AudioRing::kMaxChannels; ++channel) {
                                            sum += 20.0F * std::log10(bed.ring.peakForChannel(channel));
                                            sum += 20.0F * std::log10(bed.ring.rmsForChannel(channel) * 1.414F);
                                          }
                                        }
                                      },
                                      [&] {
                                        for (int tick = 0; tick < kTicks; ++tick) bed.cycle();
                                      }});
  if (!std::isfinite(sum)) std::printf("There is no level.\n");
  std::vector<double> readings;
  for (size_t i = 0; i < seconds[0].size(); ++i) readings.push_back(seconds[0][i] - seconds[1][i]);
  tellRow("peak and RMS of 64 channels, read and converted", "µs per tick", "≤ 20", scaled(readings, 1e6 / kTicks));
}

void tellTimecode() {
  constexpr uint32_t kCells = 1U << 18, kSlowness = 11; // the runs that are wanted fill nearly the whole span
  std::vector<float> signal(kCells / kSlowness + 1), ring(kCells);
  encodeLTC(signal.data(), 1, static_cast<uint32_t>(signal.size()), 0, 48000, FRAME_RATE_24, 0.1F);
  for (size_t i = 0; i < ring.size(); ++i) ring[i] = signal[i / kSlowness];
  const std::vector<float> silence(kCells);
  const auto decode = [](const std::vector<float>& cells, bool is_timecode) {
    int64_t time = 0;
    for (int i = 0; i < 100; ++i) {
      if (parseLTCTimestamp(time, cells.data(), kCells - 1 - i, kCells - 1, FRAME_RATE_24, 48000) != is_timecode)
        std::printf("The timecode was not read as it should be.\n");
    }
  };
  const auto seconds = measureInTurn({[&] { decode(ring, true); }, [&] { decode(silence, false); }});
  Runs runs;
  getRuns(runs, ring.data(), kCells - 1, kCells - 1);
  std::printf("LTC: the timecode's reading goes over %lld samples, the silence's over %u\n",
              static_cast<long long>(kCells - 1 - runs.positions[0]), kLTCSearchSpan);
  tellRow("LTC: one decode of the slowest timecode", "µs", "≤ 250", scaled(seconds[0], 1e4));
  tellRow("LTC: one search of 192,000 samples of silence", "µs", "≤ 250", scaled(seconds[1], 1e4));
}

} // namespace

int main() {
  tellCycles();
  tellLevels();
  tellTimecode();
}
