// Sample formats of take files: single samples, and whole blocks, between 32-bit floats (full scale at 1.0) and the
// bytes of a file. A block's loop is chosen once, by its format; it gives exactly the bytes of the single-sample
// converters. Everything here is stateless, wait-free and fit for any thread.
// Who uses it: AudioRing's block copies (engine/AudioRing.h).
#pragma once

#include <cstdint>

namespace vurl {

/// Sample format of a take, as stored in the setting "bit_depth". Wherever a format is chosen by its code, a code that
/// is not in this list means 16-bit.
enum BitDepth : int32_t {
  INTEGER16 = 1, ///< 2 bytes, little-endian, signed
  INTEGER24 = 2, ///< 3 bytes, little-endian, signed
  FLOAT32 = 3,   ///< 4 bytes, IEEE 754
};

/// The bytes of one sample in format `depth`: 2, 3 or 4.
uint32_t sampleSize(uint32_t depth) noexcept;

/// Writes `value` at `buffer` + `offset`.
using ConvertToSample = void (*)(uint8_t* buffer, uint64_t offset, float value) noexcept;

/// Reads the value at `buffer` + `offset`.
using ConvertFromSample = float (*)(const uint8_t* buffer, uint64_t offset) noexcept;

/// Writes the four bytes of an IEEE 754 float, least significant first, whatever they mean: not-a-number keeps its
/// payload, values beyond full scale stay.
void convertToSample32(uint8_t* buffer, uint64_t offset, float value) noexcept;

/// Writes the upper three bytes, least significant first, of the value at 32-bit resolution (truncated towards zero,
/// so that dropping the lowest byte rounds down). Full scale and everything that 32 bits cannot hold, infinities and
/// not-a-number included, becomes the most negative sample: nothing is clipped.
void convertToSample24(uint8_t* buffer, uint64_t offset, float value) noexcept;

/// As convertToSample24(), with the upper two bytes.
void convertToSample16(uint8_t* buffer, uint64_t offset, float value) noexcept;

/// Reads an IEEE 754 float, most significant byte first. That is not the order in which convertToSample32() writes:
/// the two are not each other's inverse.
float convertFromSample32(const uint8_t* buffer, uint64_t offset) noexcept;

/// Reads three bytes, least significant first; the result lies in -1.0 to 8388607 / 8388608.
float convertFromSample24(const uint8_t* buffer, uint64_t offset) noexcept;

/// Reads two bytes, least significant first; the result lies in -1.0 to 32767 / 32768.
float convertFromSample16(const uint8_t* buffer, uint64_t offset) noexcept;

/// Writes `length` frames of `nr_channels` (at most 64) samples each to `buffer`, in format `depth`; channel i comes
/// from `channels[i]`, and a null pointer there gives silence. `buffer` takes length x nr_channels x sampleSize(depth)
/// bytes and does not overlap the channels.
void interleave(const float* const* channels, uint32_t nr_channels, uint32_t length, uint8_t* buffer,
                uint32_t depth) noexcept;

/// interleave() without the instructions that not every processor of the family has; the same bytes.
void interleaveAnywhere(const float* const* channels, uint32_t nr_channels, uint32_t length, uint8_t* buffer,
                        uint32_t depth) noexcept;

/// The way back: reads `length` frames from `buffer` into the channels; a null pointer leaves its channel out.
void deinterleave(const uint8_t* buffer, float* const* channels, uint32_t nr_channels, uint32_t length,
                  uint32_t depth) noexcept;

/// deinterleave() as interleaveAnywhere().
void deinterleaveAnywhere(const uint8_t* buffer, float* const* channels, uint32_t nr_channels, uint32_t length,
                          uint32_t depth) noexcept;

} // namespace vurl
