#include "timecode/LTCEncoder.h"

#include "timecode/LTCDecoder.h"
#include "timecode/ltc.h"

#include <algorithm>
#include <array>

namespace vurl {
namespace {

__extension__ using Wide = unsigned __int128; ///< samples x halves a second: no time overflows

using FrameBits = std::array<bool, kLTCFrameBits>;
constexpr uint32_t kHalves = 2 * kLTCFrameBits; ///< half bit cells of a frame
constexpr int64_t kMostFrames = 30;             ///< in a second: the tens of the frames have two bits
constexpr uint32_t kSyncWord = 0xBFFC;          ///< 0011 1111 1111 1101, as it is sent
constexpr size_t kDropFlag = 10;

/// Least significant bit first.
void put(FrameBits& bits, size_t at, size_t nr_bits, uint32_t value) noexcept {
  for (size_t i = 0; i < nr_bits; ++i) bits[at + i] = ((value >> i) & 1U) != 0;
}

void putNumber(FrameBits& bits, size_t units, size_t tens, size_t nr_tens_bits, int16_t value) noexcept {
  const auto number = static_cast<uint32_t>(value);
  put(bits, units, 4, number % 10);
  put(bits, tens, nr_tens_bits, number / 10);
}

/// The bits of frame `frame` since midnight. The correction bit makes the ones, and so the zero crossings, even:
/// every frame begins with the same edge.
FrameBits frameBits(uint64_t frame, const FrameRateFacts& rate) noexcept {
  const int64_t labels = int64_t{24} * 3600 * rate.frames;
  const auto frames_a_day = static_cast<uint64_t>(rate.drop ? drop_to_nodrop(labels) : labels);
  SMPTETime label;
  label.mType = rate.type;
  label.mSubframeDivisor = 1;
  sfpd_to_smpte(static_cast<int64_t>(frame % frames_a_day), label);
  FrameBits bits{};
  putNumber(bits, 0, 8, 2, label.mFrames);
  putNumber(bits, 16, 24, 3, label.mSeconds);
  putNumber(bits, 32, 40, 3, label.mMinutes);
  putNumber(bits, 48, 56, 2, label.mHours);
  bits[kDropFlag] = rate.drop;
  put(bits, 64, 16, kSyncWord);
  const size_t correction = rate.frames == 25 ? 59 : 27;
  bits[correction] = std::ranges::count(bits, true) % 2 != 0;
  return bits;
}

/// Whether each half cell is high: an edge begins every cell, and a 1 has another in its middle.
std::array<bool, kHalves> frameWave(uint64_t frame, const FrameRateFacts& rate) noexcept {
  const FrameBits bits = frameBits(frame, rate);
  std::array<bool, kHalves> wave;
  bool high = false;
  for (size_t i = 0; i < kLTCFrameBits; ++i) {
    wave[2 * i] = high = !high;
    wave[2 * i + 1] = high = high != bits[i];
  }
  return wave;
}

} // namespace

void encodeLTC(float* samples, size_t stride, uint32_t n, uint64_t time, uint32_t sample_rate, int32_t frame_rate,
               float level) noexcept {
  const FrameRateFacts& rate = frameRateFacts(static_cast<uint32_t>(frame_rate));
  if (rate.frames == 0 || rate.frames > kMostFrames || sample_rate == 0) {
    for (uint32_t k = 0; k < n; ++k) samples[k * stride] = 0;
    return;
  }
  // The time in half cells, as a fraction: `part` / `whole` of the half that is under way is over.
  const auto step = static_cast<uint64_t>(rate.numerator) * kHalves;
  const uint64_t whole = static_cast<uint64_t>(rate.denominator) * sample_rate;
  const Wide halves = Wide{time} * step / whole;
  auto part = static_cast<uint64_t>(Wide{time} * step % whole);
  auto frame = static_cast<uint64_t>(halves / kHalves);
  auto half = static_cast<uint64_t>(halves % kHalves);
  auto wave = frameWave(frame, rate);
  for (uint32_t k = 0; k < n; ++k) {
    samples[k * stride] = wave[half] ? level : -level;
    for (part += step; part >= whole; part -= whole) {
      if (++half < kHalves) continue;
      half = 0;
      wave = frameWave(++frame, rate);
    }
  }
}

} // namespace vurl
