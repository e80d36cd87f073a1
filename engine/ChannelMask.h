// Sets of ring channels. Channel n is bit n counted from the most significant bit of the first byte in memory.
#pragma once

#include <cstdint>

namespace vurl {

/// A set of the ring channels 0 to 63. Build, test and count it with the functions below only: the numbering of its
/// bits runs from the top of each byte, so channels 0 and 9 together are the number 0x4080.
using ChannelMask = int64_t;

/// Adds channel `bit` (0 to 63) to the mask whose bytes begin at `mask`. Any thread.
void BitSet(void* mask, int32_t bit) noexcept;

/// Takes channel `bit` (0 to 63) out of the mask. Any thread.
void BitClr(void* mask, int32_t bit) noexcept;

/// Whether channel `bit` (0 to 63) is in the mask. Any thread.
bool BitTst(const void* mask, int32_t bit) noexcept;

/// The number of members among bits 0 to `size` - 1; 0 when `size` is below 1. Any thread.
int32_t BitCount(const void* mask, int32_t size) noexcept;

/// The member with rank `nr` (0 is the first) among bits 0 to `size` - 1, or -1 when there is none. Any thread.
int32_t BitFind(const void* mask, int32_t size, int32_t nr) noexcept;

/// The same set as a number whose bit n, counted from the lowest, is channel n. Any thread.
uint64_t BitNumbers(ChannelMask mask) noexcept;

} // namespace vurl
