#include "timecode/LTCDecoder.h"

#include "timecode/ltc.h"

#include <algorithm>
#include <numeric>

namespace vurl {
namespace {

constexpr std::array<int32_t, 16> kSyncWord{0, 0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 1};
constexpr size_t kSyncTries = 96; ///< a frame and a sync word: no sync word is missed
constexpr size_t kSyncFrames = 4;
static_assert(kSyncTries - 1 + (kSyncFrames - 1) * kLTCFrameBits + kSyncWord.size() <= kLTCBits);

/// Turns runs into bits: a long one is a 0, a pair of short ones is a 1.
class BitReader {
public:
  explicit BitReader(Bits& bits_) noexcept : bits(bits_) {}

  void take(bool is_long, int64_t position) noexcept {
    if (is_long || !prev_one) store(is_long ? 0 : 1, position);
    prev_one = !is_long && !prev_one;
  }
  bool full() const noexcept { return nr_bits == kLTCBits; }

private:
  void store(int32_t value, int64_t position) noexcept {
    bits.values[nr_bits] = value;
    bits.positions[nr_bits++] = position;
  }

  Bits& bits;
  size_t nr_bits = 0;
  bool prev_one = false; ///< the first half of a 1 was the last run
};

bool hasSync(const Bits& bits, size_t first) noexcept {
  for (size_t frame = 0; frame < kSyncFrames; ++frame) {
    const auto* const at = bits.values.data() + first + frame * kLTCFrameBits;
    if (!std::equal(kSyncWord.begin(), kSyncWord.end(), at)) return false;
  }
  return true;
}

} // namespace

bool getRuns(Runs& runs, const float* buffer, int64_t offset, uint32_t mask) noexcept {
  size_t run_nr = kLTCRuns - 1;
  uint32_t count = 1;
  bool prev_high = false; // a guess: a newest sample that is high ends a run of one
  auto position = static_cast<uint64_t>(offset);
  for (uint32_t left = kLTCSearchSpan + 1; left > 0; --left) {
    const bool high = !(buffer[--position & mask] < 0.0F);
    if (high == prev_high) {
      ++count;
      continue;
    }
    runs.counts[run_nr] = count;
    runs.positions[run_nr] = static_cast<int64_t>(position);
    if (run_nr == 0) return true;
    --run_nr;
    count = 1;
    prev_high = high;
  }
  return false;
}

bool getBits(Bits& bits, const float* buffer, int64_t offset, uint32_t mask) noexcept {
  Runs runs;
  if (!getRuns(runs, buffer, offset, mask)) return false;
  // The mean lies between half a cell and a whole one whatever the speed.
  const uint32_t average = std::accumulate(runs.counts.begin(), runs.counts.end(), 0U) / uint32_t{kLTCRuns};
  BitReader reader(bits);
  for (size_t i = 0; i < kLTCRuns && !reader.full(); ++i) reader.take(runs.counts[i] > average, runs.positions[i]);
  return reader.full();
}

int64_t decodeLTCFrame(const std::array<int32_t, kLTCBits>& values, size_t bit_nr, int32_t frame_rate,
                       int32_t sample_rate) noexcept {
  const auto digit = [&](size_t at, size_t nr_bits) { // least significant bit first
    int32_t value = 0;
    for (size_t i = 0; i < nr_bits; ++i) value += values[bit_nr + at + i] << i;
    return value;
  };
  const auto number = [&](size_t units, size_t tens, size_t nr_tens_bits) {
    return static_cast<int16_t>(digit(units, 4) + 10 * digit(tens, nr_tens_bits));
  };
  SMPTETime label;
  label.mSubframeDivisor = 80;
  label.mType = static_cast<uint32_t>(frame_rate);
  label.mFlags = 3;
  label.mFrames = number(0, 8, 2);
  label.mSeconds = number(16, 24, 3);
  label.mMinutes = number(32, 40, 3);
  label.mHours = number(48, 56, 2);
  return smpte_to_spd(label, sample_rate);
}

bool parseLTCTimestamp(int64_t& timestamp, const float* buffer, int64_t offset, uint32_t mask, int32_t frame_rate,
                       int32_t sample_rate) noexcept {
  Bits bits;
  if (!getBits(bits, buffer, offset, mask)) return false;
  for (size_t sync = 0; sync < kSyncTries; ++sync) {
    if (!hasSync(bits, sync)) continue;
    const size_t frame = sync + kSyncWord.size();
    const int64_t time = decodeLTCFrame(bits.values, frame, frame_rate, sample_rate);
    timestamp = static_cast<int64_t>(static_cast<uint64_t>(time) - static_cast<uint64_t>(bits.positions[frame]));
    return true;
  }
  return false;
}

} // namespace vurl
