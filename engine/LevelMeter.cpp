#include "engine/LevelMeter.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>

namespace vurl {
namespace {

constexpr float kLargest = std::numeric_limits<float>::max();
constexpr double kDecay = -0.4; ///< of the peak's power, at each reading

/// Sum and maximum of the squares of some samples.
struct Squares {
  float total = 0;
  float max = 0;
};

using Floats = float __attribute__((vector_size(16)));
constexpr uint32_t kLanes = sizeof(Floats) / sizeof(float);

Floats greater(Floats a, Floats b) noexcept { return a > b ? a : b; }

/// Four times four samples a step: the compiler may not reorder sums of floats, so the partial sums are written out.
Squares measure(const float* samples, uint32_t n) noexcept {
  Floats totals[4]{};
  Floats maxima[4]{};
  uint32_t k = 0;
  for (; k + 4 * kLanes <= n; k += 4 * kLanes) {
#pragma GCC unroll 4 // so that the partial sums stay in registers
    for (uint32_t i = 0; i < 4; ++i) {
      Floats value;
      std::memcpy(&value, samples + k + size_t{i} * kLanes, sizeof value);
      const Floats square = value * value;
      totals[i] += square;
      maxima[i] = greater(square, maxima[i]);
    }
  }
  const Floats total = (totals[0] + totals[1]) + (totals[2] + totals[3]);
  const Floats max = greater(greater(maxima[0], maxima[1]), greater(maxima[2], maxima[3]));
  Squares squares{(total[0] + total[1]) + (total[2] + total[3]),
                  std::max(std::max(max[0], max[1]), std::max(max[2], max[3]))};
  for (; k < n; ++k) {
    const float square = samples[k] * samples[k];
    squares.total += square;
    squares.max = std::max(squares.max, square);
  }
  return squares;
}

/// The same, one by one, for samples among which there is one that is not a number or too large.
Squares measureUnsound(const float* samples, uint32_t n) noexcept {
  Squares squares;
  for (uint32_t k = 0; k < n; ++k) {
    const float square = samples[k] * samples[k];
    const float heard = square <= kLargest ? square : std::isnan(square) ? 0.0F : 1.0F;
    squares.total = std::min(squares.total + heard, kLargest);
    squares.max = std::max(squares.max, heard);
  }
  return squares;
}

} // namespace

void LevelMeter::add(uint32_t channel, const float* samples, uint32_t n) noexcept {
  Squares squares = measure(samples, n);
  if (!(squares.total <= kLargest)) squares = measureUnsound(samples, n);

  const Sums before = sums[channel].load(std::memory_order_acquire);
  Sums after{std::min(before.levels_total + squares.total, kLargest), before.levels_count + n};
  if (after.levels_count < n) after = {squares.total, n}; // unread for a day: begun anew
  sums[channel].store(after, std::memory_order_release);
  if (squares.max > levels_max[channel].load(std::memory_order_acquire)) {
    levels_max[channel].store(squares.max, std::memory_order_release);
  }
}

float LevelMeter::peakForChannel(uint32_t channel) noexcept {
  if (channel >= kChannels) return 0;
  float square = levels_max[channel].load(std::memory_order_acquire);
  const auto fallen = [&square] { return static_cast<float>(square + square * kDecay); };
  while (!levels_max[channel].compare_exchange_weak(square, fallen(), std::memory_order_acq_rel)) {
  }
  return std::sqrt(square);
}

float LevelMeter::rmsForChannel(uint32_t channel) noexcept {
  if (channel >= kChannels) return 0;
  const Sums read = sums[channel].exchange({}, std::memory_order_acq_rel);
  auto& history = levels_rms[channel];
  std::shift_left(history.begin(), history.end(), 1);
  history.back() = read.levels_count == 0 ? 0 : std::sqrt(read.levels_total / static_cast<float>(read.levels_count));
  return std::accumulate(history.begin(), history.end(), 0.0F) / static_cast<float>(history.size());
}

} // namespace vurl
