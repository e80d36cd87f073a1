// The reader of linear timecode, fed with signals of three kinds by the first byte of the input: samples, lengths of
// runs, and bits as such a signal carries them.
#include "timecode/ltc.h"

#include "fuzz/Rig.h"
#include "timecode/LTCDecoder.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <array>
#include <limits>
#include <vector>

namespace vurl::fuzz {
namespace {

constexpr uint32_t kCells = 1U << 17U;
constexpr uint32_t kMask = kCells - 1;

/// A ring that a signal is written into from position 0.
struct Signal {
  std::vector<float> ring = std::vector<float>(kCells);
  int64_t end = 0;
  float level = 0.5F;

  void put(float value) { ring[static_cast<uint64_t>(end++) & kMask] = value; }
  void run(uint32_t length) {
    level = -level;
    for (uint32_t i = 0; i < length; ++i) put(level);
  }
};

Signal samples(FuzzedDataProvider& input) {
  Signal signal;
  constexpr std::array kOdd{std::numeric_limits<float>::quiet_NaN(), -std::numeric_limits<float>::quiet_NaN(),
                            -std::numeric_limits<float>::infinity(), -0.0F};
  while (input.remaining_bytes() > 0) {
    const auto value = input.ConsumeIntegral<uint8_t>();
    signal.put(value < kOdd.size() ? kOdd[value] : static_cast<float>(value) / 128 - 1);
  }
  return signal;
}

/// The bytes over and over, each a run of one to `longest` samples.
Signal runs(FuzzedDataProvider& input) {
  Signal signal;
  const uint32_t longest = input.ConsumeIntegralInRange<uint32_t>(1, 256);
  const auto lengths = input.ConsumeRemainingBytes<uint8_t>();
  for (size_t i = 0; !lengths.empty() && i < kLTCRuns + lengths.size(); ++i)
    signal.run(1 + lengths[i % lengths.size()] % longest);
  return signal;
}

/// The bytes over and over as the first 64 bits of frames, a sync word behind each.
Signal frames(FuzzedDataProvider& input) {
  Signal signal;
  const uint32_t half = input.ConsumeIntegralInRange<uint32_t>(1, 60);
  const size_t nr_halves = input.ConsumeIntegralInRange<size_t>(1, 1000);
  const auto bytes = input.ConsumeRemainingBytes<uint8_t>();
  constexpr std::array<uint8_t, 2> kSync{0xFC, 0xBF};
  for (size_t i = 0, byte = 0; !bytes.empty() && i < nr_halves; ++byte) {
    const uint8_t value = byte % 10 < 8 ? bytes[(byte - byte / 10 * 2) % bytes.size()] : kSync[byte % 10 - 8];
    for (uint32_t bit = 0; bit < 8; ++bit, ++i) {
      signal.run((value >> bit & 1U) != 0 ? half : 2 * half);
      if ((value >> bit & 1U) != 0) signal.run(half);
    }
  }
  return signal;
}

void checkRuns(const Runs& found, int64_t offset) {
  int64_t end = offset;
  for (size_t i = kLTCRuns; i-- > 0;) {
    require(found.counts[i] > 0 && end - found.counts[i] == found.positions[i], "runs follow each other without a gap");
    end = found.positions[i];
  }
  require(offset - end <= int64_t{kLTCSearchSpan} + 1, "runs lie within the span");
}

void checkSignal(const Signal& signal, int64_t shift, int32_t frame_rate, int32_t sample_rate) {
  const int64_t offset = signal.end + shift * int64_t{kCells}; // the same cells
  Runs found;
  const bool has_runs = getRuns(found, signal.ring.data(), offset, kMask);
  if (has_runs) checkRuns(found, offset);
  Bits bits;
  const bool has_bits = has_runs && getBits(bits, signal.ring.data(), offset, kMask);
  for (size_t i = 0; has_bits && i < kLTCBits; ++i)
    require((bits.values[i] | 1) == 1 && (i == 0 || bits.positions[i] > bits.positions[i - 1]),
            "bits are 0 or 1, in order");
  constexpr int64_t kUntouched = 0x123456789;
  int64_t timestamp = kUntouched;
  const bool is_read = parseLTCTimestamp(timestamp, signal.ring.data(), offset, kMask, frame_rate, sample_rate);
  require(is_read ? has_bits : timestamp == kUntouched, "what is not read changes nothing");
}

} // namespace
} // namespace vurl::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vurl;
  if (size == 0) return 0;
  FuzzedDataProvider input(data + 1, size - 1);
  const auto shift = input.ConsumeIntegralInRange<int64_t>(-4, 4);
  const auto frame_rate = input.ConsumeIntegral<int32_t>();
  const auto sample_rate = input.ConsumeIntegral<int32_t>();
  constexpr std::array kSignals{fuzz::samples, fuzz::runs, fuzz::frames};
  fuzz::checkSignal(kSignals[data[0] % kSignals.size()](input), shift, frame_rate, sample_rate);
  return 0;
}
