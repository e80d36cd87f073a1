#include "engine/ChannelMask.h"

#include <gtest/gtest.h>

#include <vector>

namespace vurl {

TEST(ChannelMask, NumbersChannelsFromTheTopOfEachByte) {
  struct Case {
    std::vector<int32_t> channels;
    uint64_t mask;
    int32_t size, count, rank, found;
  };
  const std::vector<int32_t> two = {0, 9}, three = {7, 8, 63};
  const Case cases[] = {{two, 0x4080, 64, 2, 1, 9},
                        {two, 0x4080, 64, 2, 2, -1},
                        {two, 0x4080, 9, 1, 1, -1},
                        {two, 0x4080, 0, 0, 0, -1},
                        {two, 0x4080, -5, 0, 0, -1},
                        {{}, 0, 64, 0, 0, -1},
                        {three, 0x0100000000008001, 64, 3, 2, 63},
                        {three, 0x0100000000008001, 63, 2, 2, -1}};
  for (const Case& c : cases) {
    ChannelMask mask = 0;
    for (const int32_t channel : c.channels) BitSet(&mask, channel);
    EXPECT_EQ(static_cast<uint64_t>(mask), c.mask);
    EXPECT_EQ(BitCount(&mask, c.size), c.count) << c.mask << " " << c.size;
    EXPECT_EQ(BitFind(&mask, c.size, c.rank), c.found) << c.mask << " " << c.rank;
    for (const int32_t channel : c.channels) {
      EXPECT_TRUE(BitTst(&mask, channel));
      BitClr(&mask, channel);
    }
    EXPECT_EQ(mask, 0);
  }
}

} // namespace vurl
