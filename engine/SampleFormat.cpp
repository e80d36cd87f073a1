#include "engine/SampleFormat.h"

#include "engine/BlockKernels.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstring>

namespace vurl {

namespace {

static_assert(std::endian::native == std::endian::little, "a float's bytes go to a file as they stand");

constexpr uint32_t kMaxRows = 64;
constexpr uint32_t kTileSamples = 4096; ///< 16 KiB of floats: tile and file bytes fit into a small first-level cache
constexpr uint32_t kTileFrames = 256;   ///< the most frames of a tile
constexpr uint32_t kLineFrames = 16;    ///< tiles are of whole cache lines of the ring
constexpr float kFullScale = 0x1p31F;

/// The bits of the value at 32-bit resolution. What does not fit is taken as -1.0, whose result is the lowest integer:
/// a select ahead of the conversion, which is thereby defined for every float.
uint32_t quantize(float value) noexcept {
  return static_cast<uint32_t>(static_cast<int32_t>((std::fabs(value) < 1.0F ? value : -1.0F) * kFullScale));
}

float real(uint32_t bits) noexcept { return static_cast<float>(static_cast<int32_t>(bits)) / kFullScale; }

/// The processor is asked once.
const BlockKernels& fastestKernels() noexcept {
  static const BlockKernels* const kernels = avx2Kernels();
  return kernels != nullptr ? *kernels : portableKernels();
}

/// A tile's samples of all channels. A substitute stands in for a channel without memory, and behind the last.
template <typename Sample>
std::array<Sample*, kMaxRows> findRows(Sample* const* channels, uint32_t nr_channels, uint32_t done,
                                       Sample* substitute) noexcept {
  std::array<Sample*, kMaxRows> rows;
  constexpr uint32_t kGroup = BlockKernels::kGroup;
  const uint32_t end = (nr_channels + kGroup - 1) / kGroup * kGroup;
  for (uint32_t i = 0; i < end; ++i) {
    const bool is_there = i < nr_channels && channels[i] != nullptr;
    rows[i] = is_there ? channels[i] + done : substitute;
  }
  return rows;
}

/// Calls `work(done, frames)` for each tile of `length` frames. All of a tile stays in the cache while the kernel goes
/// over it channel by channel.
template <typename Work>
void forEachTile(uint32_t nr_channels, uint32_t length, Work work) noexcept {
  if (nr_channels == 0) return;
  const uint32_t tile = std::min(kTileSamples / nr_channels / kLineFrames * kLineFrames, kTileFrames);
  for (uint32_t done = 0; done < length; done += tile) work(done, std::min(tile, length - done));
}

void interleaveBy(const BlockKernels& kernels, const float* const* channels, uint32_t nr_channels, uint32_t length,
                  uint8_t* buffer, uint32_t depth) noexcept {
  static constexpr std::array<float, kTileFrames> kSilence{};
  const auto kernel = depth == INTEGER24 ? kernels.interleave24
                      : depth == FLOAT32 ? kernels.interleave32
                                         : kernels.interleave16;
  const size_t stride = size_t{nr_channels} * sampleSize(depth);
  forEachTile(nr_channels, length, [&](uint32_t done, uint32_t frames) {
    const auto rows = findRows(channels, nr_channels, done, kSilence.data());
    kernel(rows.data(), nr_channels, frames, buffer + done * stride);
  });
}

void deinterleaveBy(const BlockKernels& kernels, const uint8_t* buffer, float* const* channels, uint32_t nr_channels,
                    uint32_t length, uint32_t depth) noexcept {
  std::array<float, kTileFrames> nowhere;
  const auto kernel = depth == INTEGER24 ? kernels.deinterleave24
                      : depth == FLOAT32 ? kernels.deinterleave32
                                         : kernels.deinterleave16;
  const size_t stride = size_t{nr_channels} * sampleSize(depth);
  forEachTile(nr_channels, length, [&](uint32_t done, uint32_t frames) {
    const auto rows = findRows(channels, nr_channels, done, nowhere.data());
    kernel(buffer + done * stride, nr_channels, frames, rows.data());
  });
}

} // namespace

uint32_t sampleSize(uint32_t depth) noexcept { return depth == INTEGER24 ? 3 : depth == FLOAT32 ? 4 : 2; }

void convertToSample32(uint8_t* buffer, uint64_t offset, float value) noexcept {
  std::memcpy(buffer + offset, &value, sizeof value);
}

void convertToSample24(uint8_t* buffer, uint64_t offset, float value) noexcept {
  const uint32_t bits = quantize(value);
  buffer[offset] = static_cast<uint8_t>(bits >> 8);
  buffer[offset + 1] = static_cast<uint8_t>(bits >> 16);
  buffer[offset + 2] = static_cast<uint8_t>(bits >> 24);
}

void convertToSample16(uint8_t* buffer, uint64_t offset, float value) noexcept {
  const uint32_t bits = quantize(value);
  buffer[offset] = static_cast<uint8_t>(bits >> 16);
  buffer[offset + 1] = static_cast<uint8_t>(bits >> 24);
}

float convertFromSample32(const uint8_t* buffer, uint64_t offset) noexcept {
  uint32_t bits = 0;
  std::memcpy(&bits, buffer + offset, sizeof bits);
  return std::bit_cast<float>(__builtin_bswap32(bits));
}

float convertFromSample24(const uint8_t* buffer, uint64_t offset) noexcept {
  const uint8_t* const at = buffer + offset;
  return real((uint32_t{at[2]} << 24) | (uint32_t{at[1]} << 16) | (uint32_t{at[0]} << 8));
}

float convertFromSample16(const uint8_t* buffer, uint64_t offset) noexcept {
  const uint8_t* const at = buffer + offset;
  return real((uint32_t{at[1]} << 24) | (uint32_t{at[0]} << 16));
}

void interleave(const float* const* channels, uint32_t nr_channels, uint32_t length, uint8_t* buffer,
                uint32_t depth) noexcept {
  interleaveBy(fastestKernels(), channels, nr_channels, length, buffer, depth);
}

void interleaveAnywhere(const float* const* channels, uint32_t nr_channels, uint32_t length, uint8_t* buffer,
                        uint32_t depth) noexcept {
  interleaveBy(portableKernels(), channels, nr_channels, length, buffer, depth);
}

void deinterleave(const uint8_t* buffer, float* const* channels, uint32_t nr_channels, uint32_t length,
                  uint32_t depth) noexcept {
  deinterleaveBy(fastestKernels(), buffer, channels, nr_channels, length, depth);
}

void deinterleaveAnywhere(const uint8_t* buffer, float* const* channels, uint32_t nr_channels, uint32_t length,
                          uint32_t depth) noexcept {
  deinterleaveBy(portableKernels(), buffer, channels, nr_channels, length, depth);
}

} // namespace vurl
