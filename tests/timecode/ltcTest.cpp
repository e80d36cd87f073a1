// Timecode arithmetic: known labels at every rate, the drop-frame rule walked label by label, hostile values.
#include "timecode/ltc.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace vurl {
namespace {

constexpr uint32_t kUnknownRate = 8;

SMPTETime label(uint32_t type, int hours, int minutes, int seconds, int frames, int subframes = 0, int divisor = 80) {
  const auto field = [](int value) { return static_cast<int16_t>(value); };
  return {field(subframes), field(divisor), 0, type, 0, field(hours), field(minutes), field(seconds), field(frames)};
}

std::string shown(const SMPTETime& time) {
  char string[64];
  std::snprintf(string, sizeof string, "%d:%d:%d:%d.%d", time.mHours, time.mMinutes, time.mSeconds, time.mFrames,
                time.mSubframes);
  return string;
}

// Walks a day's labels the way a clock shows them and compares every one with the two conversions.
TEST(Ltc, dropFrameCountingFollowsAClock) {
  int64_t frame = 0;
  for (int64_t number = 0; number < 24 * 60 * 1800; number++) {
    if (number / 1800 % 10 != 0 && number % 1800 < 2) continue; // no such label
    ASSERT_EQ(drop_to_nodrop(number), frame) << number;
    ASSERT_EQ(nodrop_to_drop(frame), number) << frame;
    frame++;
  }
  EXPECT_EQ(frame, 2589408); // frames in a day at 29.97
}

TEST(Ltc, labelsInSamplesAndBack) {
  const struct {
    SMPTETime time;
    int32_t sample_rate;
    int64_t sfpd, spd;
    uint32_t fpd;
    const char* back;
  } cases[] = {
      {label(FRAME_RATE_24, 1, 0, 0, 12, 40), 48000, 6913000, 172825000, 86412, "1:0:0:12.40"},
      {label(FRAME_RATE_25, 30, 0, 0, 0), 48000, 216000000, 5184000000, 2700000, "30:0:0:0.0"},
      {label(FRAME_RATE_30_DROP, 0, 1, 0, 2), 48000, 144000, 2880000, 1802, "0:1:0:2.0"},
      {label(FRAME_RATE_30, 1, 0, 0, 0), 48000, 8640000, 172800000, 108000, "1:0:0:0.0"},
      {label(FRAME_RATE_29_97, 1, 0, 0, 0), 48000, 8640000, 172972800, 108000, "1:0:0:0.0"},
      {label(FRAME_RATE_29_97_DROP, 1, 0, 0, 0), 48000, 8631360, 172799827, 108000, "0:59:59:29.79"},
      {label(FRAME_RATE_29_97_DROP, 12, 34, 56, 12), 48000, 108602720, 2174226454, 1358892, "12:34:56:11.79"},
      {label(FRAME_RATE_60, 0, 0, 1, 59), 96000, 9520, 190400, 119, "0:0:1:59.0"},
      {label(FRAME_RATE_59_94, 0, 0, 1, 0), 48000, 4800, 48048, 60, "0:0:1:0.0"},
      {label(FRAME_RATE_23_976, 0, 0, 1, 0), 48000, 1920, 48048, 24, "0:0:1:0.0"},
      {label(FRAME_RATE_29_97, 0, 0, 0, 1, 1, 7), 44099, 8, 1681, 1, "0:0:0:1.0"},
      {label(kUnknownRate, 0, 1, 1, 17), 48000, 61 * 80, 61 * 48000, 61, "0:1:1:17.0"}, // frames left alone
      {label(FRAME_RATE_25, 1, 0, 0, 5, 9, 0), 48000, 9, 0, 90005, "0:0:0:0.0"},
      {label(FRAME_RATE_25, 1, 0, 0, 5), 0, 7200400, 0, 90005, "0:0:0:0.0"},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(testing::Message() << "type " << each.time.mType << " " << shown(each.time));
    EXPECT_EQ(smpte_to_sfpd(each.time), each.sfpd);
    EXPECT_EQ(smpte_to_spd(each.time, each.sample_rate), each.spd);
    EXPECT_EQ(smpte_to_fpd(each.time), each.fpd);
    SMPTETime back = each.time;
    spd_to_smpte(each.spd, each.sample_rate, back);
    EXPECT_EQ(shown(back), each.back);
  }
}

TEST(Ltc, subframesInSamplesAndHours) {
  SMPTETime time = label(FRAME_RATE_25, 0, 0, 0, 0, 41);
  EXPECT_EQ(smpte_to_sfo(time, 48000), 24600);
  EXPECT_EQ(smpte_to_sfo(label(FRAME_RATE_25, 0, 0, 0, 0, 31999, 32000), 768000), 767976);
  EXPECT_EQ(smpte_to_sfo(label(FRAME_RATE_25, 0, 0, 0, 0, 41, 0), 48000), 0);
  EXPECT_EQ(sfpd_to_smpte(7200000LL * 40000, time), 40000); // more than the field holds
}

// Nothing to compare with: the sanitizers look on, and the loops must end.
TEST(Ltc, hostileValuesAreHarmless) {
  for (uint32_t type = 0; type < 9; type++) {
    for (const int64_t number : {INT64_MIN, int64_t{-1}, INT64_MAX}) {
      for (const int divisor : {-32768, -1, 32767}) {
        SMPTETime time = label(type, -32768, 32767, -1, 32767, 32767, divisor);
        for (const int32_t rate : {INT32_MIN, -1, INT32_MAX}) {
          smpte_to_spd(time, rate);
          smpte_to_sfo(time, rate);
          spd_to_smpte(number, rate, time);
        }
        sfpd_to_smpte(number, time);
        nodrop_to_drop(drop_to_nodrop(number));
      }
    }
  }
}

} // namespace
} // namespace vurl
