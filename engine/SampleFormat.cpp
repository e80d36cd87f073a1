#include "engine/SampleFormat.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstring>

// Blocks of eight or more channels go through the vector loop: eight channels x four frames are turned in registers,
// so that the file's bytes leave in whole words. The types are those of the compiler, not of one processor; the loops
// are compiled a second time for AVX2, whose byte shuffle packs 24-bit samples three times as fast.

namespace vurl {

namespace {

static_assert(std::endian::native == std::endian::little, "interleaveEight() stores words as file bytes");

using Floats = float __attribute__((vector_size(16)));
using Ints = int32_t __attribute__((vector_size(16)));
using Shorts = int16_t __attribute__((vector_size(16)));
using Bytes = uint8_t __attribute__((vector_size(16)));
using Words = uint64_t __attribute__((vector_size(16)));

constexpr uint32_t kTileChannels = 8;
constexpr uint32_t kTileFrames = 4;
constexpr uint32_t kLineFrames = 16; ///< samples of one channel in a cache line
constexpr float kFullScale = 0x1p31F;

/// The value at 32-bit resolution. What does not fit is taken as -1.0, whose result is the lowest integer: a select
/// ahead of the conversion, which is thereby defined for every float.
int32_t quantize(float value) noexcept {
  return static_cast<int32_t>((std::fabs(value) < 1.0F ? value : -1.0F) * kFullScale);
}

Ints quantize(Floats values) noexcept {
  const Floats inside = ((values < 1.0F) & (values > -1.0F)) ? values : Floats{-1, -1, -1, -1};
  return __builtin_convertvector(inside * kFullScale, Ints);
}

template <typename Vector>
void put(uint8_t* at, const Vector& vector) noexcept {
  std::memcpy(at, &vector, sizeof vector);
}

struct Format16 {
  static constexpr uint32_t kSize = 2;
  static void write(uint8_t* at, float value) noexcept {
    const auto bits = static_cast<uint32_t>(quantize(value));
    at[0] = static_cast<uint8_t>(bits >> 16);
    at[1] = static_cast<uint8_t>(bits >> 24);
  }
  static float read(const uint8_t* at) noexcept {
    const uint32_t bits = (uint32_t{at[1]} << 24) | (uint32_t{at[0]} << 16);
    return static_cast<float>(static_cast<int32_t>(bits)) / kFullScale;
  }
  static void writeEight(uint8_t* at, Floats low, Floats high) noexcept {
    const auto a = std::bit_cast<Shorts>(quantize(low));
    const auto b = std::bit_cast<Shorts>(quantize(high));
    put(at, __builtin_shufflevector(a, b, 1, 3, 5, 7, 9, 11, 13, 15));
  }
};

struct Format24 {
  static constexpr uint32_t kSize = 3;
  static void write(uint8_t* at, float value) noexcept {
    const auto bits = static_cast<uint32_t>(quantize(value));
    at[0] = static_cast<uint8_t>(bits >> 8);
    at[1] = static_cast<uint8_t>(bits >> 16);
    at[2] = static_cast<uint8_t>(bits >> 24);
  }
  static float read(const uint8_t* at) noexcept {
    const uint32_t bits = (uint32_t{at[2]} << 24) | (uint32_t{at[1]} << 16) | (uint32_t{at[0]} << 8);
    return static_cast<float>(static_cast<int32_t>(bits)) / kFullScale;
  }
  /// The upper three bytes of the two integers of each word, side by side in the word's lower six.
  static Words pairs(Floats values) noexcept {
    const auto words = std::bit_cast<Words>(quantize(values));
    return ((words >> 8) & 0xFFFFFFU) | ((words >> 16) & 0xFFFFFF000000U);
  }
  static void writeEight(uint8_t* at, Floats low, Floats high) noexcept {
    const Words a = pairs(low);
    const Words b = pairs(high);
    const uint64_t words[3] = {a[0] | (a[1] << 48), (a[1] >> 16) | (b[0] << 32), (b[0] >> 32) | (b[1] << 16)};
    put(at, words);
  }
};

/// The same bytes by a shuffle: slow where it is not a single instruction.
struct ShuffledFormat24 : Format24 {
  static void writeEight(uint8_t* at, Floats low, Floats high) noexcept {
    const auto a = std::bit_cast<Bytes>(quantize(low));
    const auto b = std::bit_cast<Bytes>(quantize(high));
    put(at, __builtin_shufflevector(a, b, 1, 2, 3, 5, 6, 7, 9, 10, 11, 13, 14, 15, 17, 18, 19, 21));
    const auto rest = __builtin_shufflevector(b, b, 6, 7, 9, 10, 11, 13, 14, 15, 6, 7, 9, 10, 11, 13, 14, 15);
    put(at + sizeof a, std::bit_cast<Words>(rest)[0]);
  }
};

struct Format32 {
  static constexpr uint32_t kSize = 4;
  static void write(uint8_t* at, float value) noexcept { put(at, value); }
  static float read(const uint8_t* at) noexcept {
    const uint32_t bits = (uint32_t{at[0]} << 24) | (uint32_t{at[1]} << 16) | (uint32_t{at[2]} << 8) | at[3];
    return std::bit_cast<float>(bits);
  }
  static void writeEight(uint8_t* at, Floats low, Floats high) noexcept {
    put(at, low);
    put(at + sizeof low, high);
  }
};

/// Four samples of each of four channels, turned into four frames.
struct Square {
  Floats frames[kTileFrames];

  Square(const float* const* channels, uint32_t position) noexcept {
    Floats in[4];
    for (uint32_t i = 0; i < 4; ++i) std::memcpy(&in[i], channels[i] + position, sizeof in[i]);
    const Floats low01 = __builtin_shufflevector(in[0], in[1], 0, 4, 1, 5);
    const Floats low23 = __builtin_shufflevector(in[2], in[3], 0, 4, 1, 5);
    const Floats high01 = __builtin_shufflevector(in[0], in[1], 2, 6, 3, 7);
    const Floats high23 = __builtin_shufflevector(in[2], in[3], 2, 6, 3, 7);
    frames[0] = __builtin_shufflevector(low01, low23, 0, 1, 4, 5);
    frames[1] = __builtin_shufflevector(low01, low23, 2, 3, 6, 7);
    frames[2] = __builtin_shufflevector(high01, high23, 0, 1, 4, 5);
    frames[3] = __builtin_shufflevector(high01, high23, 2, 3, 6, 7);
  }
};

template <typename Format>
void interleaveOne(const float* channel, uint32_t length, uint8_t* buffer, size_t stride) noexcept {
  for (uint32_t k = 0; k < length; ++k) Format::write(buffer + k * stride, channel == nullptr ? 0.0F : channel[k]);
}

/// Whether the `nr_channels` channels at `channels` begin with eight that have memory.
bool isTile(const float* const* channels, uint32_t nr_channels) noexcept {
  return nr_channels >= kTileChannels &&
         std::find(channels, channels + kTileChannels, nullptr) == channels + kTileChannels;
}

/// Interleaves eight channels, fetching the eight that follow (unless null) into the cache meanwhile.
template <typename Format>
void interleaveEight(const float* const* channels, const float* const* following, uint32_t length, uint8_t* buffer,
                     size_t stride) noexcept {
  uint32_t k = 0;
  for (; k + kTileFrames <= length; k += kTileFrames) {
    if (following != nullptr && k % kLineFrames == 0) {
      for (uint32_t i = 0; i < kTileChannels; ++i) __builtin_prefetch(following[i] + k);
    }
    const Square low(channels, k);
    const Square high(channels + 4, k);
    for (uint32_t frame = 0; frame < kTileFrames; ++frame) {
      Format::writeEight(buffer + (k + frame) * stride, low.frames[frame], high.frames[frame]);
    }
  }
  for (; k < length; ++k) {
    for (uint32_t i = 0; i < kTileChannels; ++i) Format::write(buffer + k * stride + i * Format::kSize, channels[i][k]);
  }
}

template <typename Format>
void interleaveAs(const float* const* channels, uint32_t nr_channels, uint32_t length, uint8_t* buffer) noexcept {
  if (nr_channels == 1) return interleaveOne<Format>(*channels, length, buffer, Format::kSize); // a stride known early
  const size_t stride = size_t{nr_channels} * Format::kSize;
  uint32_t i = 0;
  while (i < nr_channels) {
    const uint32_t left = nr_channels - i;
    const float* const* const next = channels + i;
    uint8_t* const slot = buffer + size_t{i} * Format::kSize;
    if (isTile(next, left)) {
      const float* const* const following = next + kTileChannels;
      interleaveEight<Format>(next, isTile(following, left - kTileChannels) ? following : nullptr, length, slot,
                              stride);
      i += kTileChannels;
    } else {
      interleaveOne<Format>(*next, length, slot, stride);
      ++i;
    }
  }
}

#if defined(__x86_64__)
template <typename Format>
[[gnu::target("avx2"), gnu::flatten]] void interleaveByAvx2(const float* const* channels, uint32_t nr_channels,
                                                            uint32_t length, uint8_t* buffer) noexcept {
  interleaveAs<Format>(channels, nr_channels, length, buffer);
}
#endif

template <typename Format>
void deinterleaveAs(const uint8_t* buffer, float* const* channels, uint32_t nr_channels, uint32_t length) noexcept {
  const size_t stride = size_t{nr_channels} * Format::kSize;
  for (uint32_t i = 0; i < nr_channels; ++i) {
    if (channels[i] == nullptr) continue;
    const uint8_t* at = buffer + size_t{i} * Format::kSize;
    for (uint32_t k = 0; k < length; ++k) channels[i][k] = Format::read(at + k * stride);
  }
}

} // namespace

uint32_t sampleSize(uint32_t depth) noexcept {
  if (depth == INTEGER24) return Format24::kSize;
  return depth == FLOAT32 ? Format32::kSize : Format16::kSize;
}

void convertToSample32(uint8_t* buffer, uint64_t offset, float value) noexcept {
  Format32::write(buffer + offset, value);
}

void convertToSample24(uint8_t* buffer, uint64_t offset, float value) noexcept {
  Format24::write(buffer + offset, value);
}

void convertToSample16(uint8_t* buffer, uint64_t offset, float value) noexcept {
  Format16::write(buffer + offset, value);
}

float convertFromSample32(const uint8_t* buffer, uint64_t offset) noexcept { return Format32::read(buffer + offset); }

float convertFromSample24(const uint8_t* buffer, uint64_t offset) noexcept { return Format24::read(buffer + offset); }

float convertFromSample16(const uint8_t* buffer, uint64_t offset) noexcept { return Format16::read(buffer + offset); }

void interleave(const float* const* channels, uint32_t nr_channels, uint32_t length, uint8_t* buffer,
                uint32_t depth) noexcept {
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx2") != 0) {
    if (depth == INTEGER24) return interleaveByAvx2<ShuffledFormat24>(channels, nr_channels, length, buffer);
    if (depth == FLOAT32) return interleaveByAvx2<Format32>(channels, nr_channels, length, buffer);
    return interleaveByAvx2<Format16>(channels, nr_channels, length, buffer);
  }
#endif
  interleaveAnywhere(channels, nr_channels, length, buffer, depth);
}

void interleaveAnywhere(const float* const* channels, uint32_t nr_channels, uint32_t length, uint8_t* buffer,
                        uint32_t depth) noexcept {
  if (depth == INTEGER24) return interleaveAs<Format24>(channels, nr_channels, length, buffer);
  if (depth == FLOAT32) return interleaveAs<Format32>(channels, nr_channels, length, buffer);
  interleaveAs<Format16>(channels, nr_channels, length, buffer);
}

void deinterleave(const uint8_t* buffer, float* const* channels, uint32_t nr_channels, uint32_t length,
                  uint32_t depth) noexcept {
  if (depth == INTEGER24) return deinterleaveAs<Format24>(buffer, channels, nr_channels, length);
  if (depth == FLOAT32) return deinterleaveAs<Format32>(buffer, channels, nr_channels, length);
  deinterleaveAs<Format16>(buffer, channels, nr_channels, length);
}

} // namespace vurl
