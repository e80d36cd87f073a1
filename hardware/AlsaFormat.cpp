#include "hardware/AlsaFormat.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace vurl {
namespace {

template <size_t kBytes, bool kBigEndian>
uint32_t load(const uint8_t* bytes) noexcept {
  uint32_t word = 0;
  for (size_t i = 0; i < kBytes; i++) word |= uint32_t{bytes[i]} << 8 * (kBigEndian ? kBytes - 1 - i : i);
  return word;
}

template <size_t kBytes, bool kBigEndian>
void store(uint32_t word, uint8_t* bytes) noexcept {
  for (size_t i = 0; i < kBytes; i++) bytes[i] = static_cast<uint8_t>(word >> 8 * (kBigEndian ? kBytes - 1 - i : i));
}

/// Integers of `kBits` bits in the low bits of `kBytes` bytes.
template <int kBits, size_t kBytes, bool kBigEndian>
struct Integer {
  static constexpr int kUnused = 32 - kBits;
  static constexpr double kScale = static_cast<double>(uint32_t{1} << (kBits - 1));

  /// The highest values of 32 bits would round up to 1.0, which is beyond the scale and turns into the lowest value in
  /// a file of integers.
  static constexpr int32_t kHighest = kBits == 32 ? 0x7FFFFF80 : 0x7FFFFFFF;

  static float toFloat(const uint8_t* bytes) noexcept {
    const auto value = static_cast<int32_t>(load<kBytes, kBigEndian>(bytes) << kUnused) >> kUnused;
    return static_cast<float>(std::min(value, kHighest) / kScale);
  }
  static void fromFloat(float sample, uint8_t* bytes) noexcept {
    const double value = std::clamp(std::nearbyint(sample * kScale), -kScale, kScale - 1);
    store<kBytes, kBigEndian>(static_cast<uint32_t>(static_cast<int32_t>(value)), bytes);
  }
};

template <bool kBigEndian>
struct Float {
  static float toFloat(const uint8_t* bytes) noexcept { return std::bit_cast<float>(load<4, kBigEndian>(bytes)); }
  static void fromFloat(float sample, uint8_t* bytes) noexcept {
    store<4, kBigEndian>(std::bit_cast<uint32_t>(sample), bytes);
  }
};

template <typename Sample>
void toFloats(AlsaSamples from, FloatSamples to, size_t count) noexcept {
  for (; count > 0; count--, from.first += from.step, to.first += to.step) *to.first = Sample::toFloat(from.first);
}

template <typename Sample>
void fromFloats(FloatSamples from, AlsaSamples to, size_t count) noexcept {
  for (; count > 0; count--, from.first += from.step, to.first += to.step) Sample::fromFloat(*from.first, to.first);
}

template <typename Sample>
constexpr AlsaFormat entry(snd_pcm_format_t format, size_t nr_bytes) {
  return {format, nr_bytes, toFloats<Sample>, fromFloats<Sample>};
}

constexpr std::array kFormats = {
    entry<Float<std::endian::native == std::endian::big>>(SND_PCM_FORMAT_FLOAT, 4),
    entry<Integer<32, 4, false>>(SND_PCM_FORMAT_S32_LE, 4),
    entry<Integer<24, 4, false>>(SND_PCM_FORMAT_S24_LE, 4),
    entry<Integer<24, 3, false>>(SND_PCM_FORMAT_S24_3LE, 3),
    entry<Integer<32, 4, true>>(SND_PCM_FORMAT_S32_BE, 4),
    entry<Integer<24, 4, true>>(SND_PCM_FORMAT_S24_BE, 4),
    entry<Integer<24, 3, true>>(SND_PCM_FORMAT_S24_3BE, 3),
    std::endian::native == std::endian::big ? entry<Float<false>>(SND_PCM_FORMAT_FLOAT_LE, 4)
                                            : entry<Float<true>>(SND_PCM_FORMAT_FLOAT_BE, 4),
    entry<Integer<16, 2, false>>(SND_PCM_FORMAT_S16_LE, 2),
    entry<Integer<16, 2, true>>(SND_PCM_FORMAT_S16_BE, 2),
};

} // namespace

const std::array<AlsaFormat, 10>& alsaFormats() { return kFormats; }

const AlsaFormat* findAlsaFormat(snd_pcm_format_t format) {
  const auto* const found = std::ranges::find(kFormats, format, &AlsaFormat::format);
  return found == kFormats.end() ? nullptr : found;
}

} // namespace vurl
