// The sequence of samples that is played into the recorder, to be found again in its files: every sample is known from
// its channel and its number. Plain values, any thread.
#pragma once

#include <array>
#include <bit>
#include <cstdint>

namespace vurl {

/// Sample number `frame` of `channel`: noise of all magnitudes down to -48 dB, with more bits than an integer file has.
inline float played(uint32_t channel, int64_t frame) {
  uint64_t bits = (static_cast<uint64_t>(frame) * 64 + channel + 1) * 0x9E3779B97F4A7C15U;
  bits = (bits ^ (bits >> 29)) * 0xBF58476D1CE4E5B9U;
  bits ^= bits >> 32;
  const auto mantissa = static_cast<int32_t>(bits) / 128 * 128;
  constexpr std::array kScales = {0x1p-31F, 0x1p-32F, 0x1p-33F, 0x1p-34F, 0x1p-35F, 0x1p-36F, 0x1p-37F, 0x1p-38F};
  return static_cast<float>(mantissa) * kScales[bits % kScales.size()];
}

/// What a file of `bits` bits holds for a value inside full scale.
inline uint64_t stored(float value, uint64_t bits) {
  const auto whole = static_cast<uint32_t>(static_cast<int32_t>(static_cast<double>(value) * 0x1p31));
  return bits == 32 ? std::bit_cast<uint32_t>(value) : whole >> (32 - bits);
}

} // namespace vurl
