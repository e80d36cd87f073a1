#include "engine/ChannelMask.h"

#include <gtest/gtest.h>

#include <vector>

namespace vurl {

TEST(ChannelMask, NumbersChannelsFromTheTopOfEachByte) {
  const std::pair<uint64_t, std::vector<int32_t>> numbers[] = {
      {0, {}}, {0x4080, {0, 9}}, {0x0100000000008001, {7, 8, 63}}};
  for (const auto& [number, channels] : numbers) {
    ChannelMask mask = 0;
    for (const int32_t channel : channels) BitSet(&mask, channel);
    EXPECT_EQ(static_cast<uint64_t>(mask), number);
    for (const int32_t channel : channels) BitClr(&mask, channel);
    EXPECT_EQ(mask, 0);
  }
  // the first `size` bits of which mask, how many members, which stands at rank 1
  for (const auto& [mask, size, count, found] : std::initializer_list<std::array<int64_t, 4>>{
           {0x4080, 64, 2, 9}, {0x4080, 9, 1, -1}, {0x4080, -5, 0, -1}, {0x8041, 64, 3, 7}, {0x8041, 1, 0, -1}}) {
    EXPECT_EQ(BitCount(&mask, static_cast<int32_t>(size)), count) << mask << " " << size;
    EXPECT_EQ(BitFind(&mask, static_cast<int32_t>(size), 1), found) << mask << " " << size;
  }
}

} // namespace vurl
