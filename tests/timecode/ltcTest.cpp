// Timecode arithmetic: known labels at every rate, the drop-frame rule walked label by label.
#include "timecode/ltc.h"

#include <gtest/gtest.h>

#include <array>

namespace vurl {

using Fields = std::array<int16_t, 5>; // hours, minutes, seconds, frames, subframes

SMPTETime label(uint32_t type, const Fields& fields, int16_t divisor = 80) {
  return {fields[4], divisor, 0, type, 0, fields[0], fields[1], fields[2], fields[3]};
}

// Walks a day's labels the way a clock shows them and compares every one with the two conversions.
TEST(Ltc, dropFrameCountingFollowsAClock) {
  int64_t frame = 0;
  for (int64_t number = 0; number < 24 * 60 * 1800; number++) {
    if (number / 1800 % 10 != 0 && number % 1800 < 2) continue; // no such label
    ASSERT_EQ(drop_to_nodrop(number), frame) << number;
    ASSERT_EQ(nodrop_to_drop(frame++), number);
  }
  EXPECT_EQ(frame, 2589408); // frames in a day at 29.97
}

TEST(Ltc, labelsInSamplesAndBack) {
  // clang-format off
  // rate, label and subframes in a frame, sample rate; subframes, samples and frames since midnight; the label back
  const std::tuple<uint32_t, Fields, int16_t, int32_t, int64_t, int64_t, uint32_t, Fields> cases[] = {
      {FRAME_RATE_24, {1, 0, 0, 12, 40}, 80, 48000, 6913000, 172825000, 86412, {1, 0, 0, 12, 40}},
      {FRAME_RATE_25, {30}, 80, 48000, 216000000, 5184000000, 2700000, {30}},
      {FRAME_RATE_30_DROP, {0, 1, 0, 2}, 80, 48000, 144000, 2880000, 1802, {0, 1, 0, 2}},
      {FRAME_RATE_30, {1}, 80, 48000, 8640000, 172800000, 108000, {1}},
      {FRAME_RATE_29_97, {1}, 80, 48000, 8640000, 172972800, 108000, {1}},
      {FRAME_RATE_29_97_DROP, {1}, 80, 48000, 8631360, 172799827, 108000, {0, 59, 59, 29, 79}},
      {FRAME_RATE_29_97_DROP, {12, 34, 56, 12}, 80, 48000, 108602720, 2174226454, 1358892, {12, 34, 56, 11, 79}},
      {FRAME_RATE_60, {0, 0, 1, 59}, 80, 96000, 9520, 190400, 119, {0, 0, 1, 59}},
      {FRAME_RATE_59_94, {0, 0, 1}, 80, 48000, 4800, 48048, 60, {0, 0, 1}},
      {FRAME_RATE_23_976, {0, 0, 1}, 80, 48000, 1920, 48048, 24, {0, 0, 1}},
      {FRAME_RATE_29_97, {0, 0, 0, 1, 1}, 7, 44099, 8, 1681, 1, {0, 0, 0, 1}},
      {8, {0, 1, 1, 17}, 80, 48000, 61 * 80, 61 * 48000, 61, {0, 1, 1, 17}}, // no such rate: frames are left alone
      {FRAME_RATE_25, {1, 0, 0, 5, 9}, 0, 48000, 9, 0, 90005, {}},
      {FRAME_RATE_25, {1, 0, 0, 5}, 80, 0, 7200400, 0, 90005, {}}};
  // clang-format on
  for (const auto& [type, fields, divisor, sample_rate, sfpd, spd, fpd, expected] : cases) {
    SMPTETime time = label(type, fields, divisor);
    EXPECT_EQ(std::tuple(smpte_to_sfpd(time), smpte_to_spd(time, sample_rate), smpte_to_fpd(time)),
              std::tuple(sfpd, spd, fpd));
    spd_to_smpte(spd, sample_rate, time);
    EXPECT_EQ((Fields{time.mHours, time.mMinutes, time.mSeconds, time.mFrames, time.mSubframes}), expected) << type;
  }
  SMPTETime time = label(FRAME_RATE_25, {0, 0, 0, 0, 31999}, 32000);
  EXPECT_EQ(smpte_to_sfo(time, 768000), 767976);
  EXPECT_EQ(sfpd_to_smpte(32000LL * 90000 * 40000, time), 40000); // hours, more than the field holds
}

} // namespace vurl
