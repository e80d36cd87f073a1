// Linear timecode (the biphase-mark signal of SMPTE ST 12-1) found in the samples of one channel. No state: every call
// reads the newest stretch of signal anew, at whatever speed it runs, so a jump of the signal needs no reset. Nothing
// is allocated, nothing is read but cells of the ring, and any samples, positions and rates may come. Any thread that
// may read the ring. Next: timecode/LTCEncoder.h, the other direction; engine/TimeSources.cpp, which asks.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vurl {

constexpr size_t kLTCRuns = 800;            ///< runs that a call needs
constexpr size_t kLTCBits = 400;            ///< bits made of them
constexpr size_t kLTCFrameBits = 80;        ///< bits of a frame
constexpr uint32_t kLTCSearchSpan = 192000; ///< how far back, in samples, the runs may reach

/// The signal between its zero crossings, the oldest run first.
struct Runs {
  std::array<uint32_t, kLTCRuns> counts;   ///< samples of the run
  std::array<int64_t, kLTCRuns> positions; ///< position of the sample before the run
};

/// The bit cells, the oldest first.
struct Bits {
  std::array<int32_t, kLTCBits> values;    ///< 0 or 1
  std::array<int64_t, kLTCBits> positions; ///< position of the sample before the cell
};

/// Finds the last 800 runs before position `offset` in a ring of `mask` + 1 cells (a power of two); `position & mask`
/// is the cell of a position, of a negative one too. A sample below 0.0 is low and any other is high: infinities by
/// their sign, and a NaN, which has none, is high. Returns whether the search span held that many.
bool getRuns(Runs& runs, const float* buffer, int64_t offset, uint32_t mask) noexcept;

/// Reads the 400 oldest bits of the last 800 runs before `offset`. Returns whether there were as many.
bool getBits(Bits& bits, const float* buffer, int64_t offset, uint32_t mask) noexcept;

/// The label of the frame whose first bit is `values[bit_nr]` (0 to 320), in samples since midnight at `sample_rate`
/// Hz. Digits beyond 9 count as they stand. `frame_rate` is a FrameRate code: the signal does not tell its own.
int64_t decodeLTCFrame(const std::array<int32_t, kLTCBits>& values, size_t bit_nr, int32_t frame_rate,
                       int32_t sample_rate) noexcept;

/// Sets `timestamp` to the samples since midnight at ring position 0, by the newest four frames in a row before
/// `offset`. Returns whether there were four; if not, `timestamp` is left alone. Takes some 0.1 ms.
bool parseLTCTimestamp(int64_t& timestamp, const float* buffer, int64_t offset, uint32_t mask, int32_t frame_rate,
                       int32_t sample_rate) noexcept;

} // namespace vurl
