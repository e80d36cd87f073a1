#include "engine/ChannelMask.h"

#include <bit>

namespace vurl {

namespace {

uint8_t bitInByte(int32_t bit) noexcept { return static_cast<uint8_t>(0x80U >> (static_cast<uint32_t>(bit) & 7U)); }

} // namespace

void BitSet(void* mask, int32_t bit) noexcept {
  uint8_t& byte = static_cast<uint8_t*>(mask)[bit / 8];
  byte = static_cast<uint8_t>(byte | bitInByte(bit));
}

void BitClr(void* mask, int32_t bit) noexcept {
  uint8_t& byte = static_cast<uint8_t*>(mask)[bit / 8];
  byte = static_cast<uint8_t>(byte & ~bitInByte(bit));
}

bool BitTst(const void* mask, int32_t bit) noexcept {
  return (static_cast<const uint8_t*>(mask)[bit / 8] & bitInByte(bit)) != 0;
}

int32_t BitCount(const void* mask, int32_t size) noexcept {
  int32_t count = 0;
  for (int32_t bit = 0; bit < size; ++bit) count += BitTst(mask, bit) ? 1 : 0;
  return count;
}

int32_t BitFind(const void* mask, int32_t size, int32_t nr) noexcept {
  for (int32_t bit = 0; bit < size; ++bit) {
    if (BitTst(mask, bit) && nr-- == 0) return bit;
  }
  return -1;
}

uint64_t BitNumbers(ChannelMask mask) noexcept {
  static_assert(std::endian::native == std::endian::little, "the bytes stand in the right order already");
  auto bits = static_cast<uint64_t>(mask);
  bits = (bits >> 4 & 0x0F0F0F0F0F0F0F0FU) | (bits & 0x0F0F0F0F0F0F0F0FU) << 4;
  bits = (bits >> 2 & 0x3333333333333333U) | (bits & 0x3333333333333333U) << 2;
  return (bits >> 1 & 0x5555555555555555U) | (bits & 0x5555555555555555U) << 1;
}

} // namespace vurl
