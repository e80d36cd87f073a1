// The LTC that this program makes, read by its own decoder and by libltc; and whatever else may stand in a ring.
#include "tests/support/LibLTC.h"
#include "timecode/LTCDecoder.h"
#include "timecode/LTCEncoder.h"

#include <gtest/gtest.h>

namespace vurl {

constexpr uint32_t kCells = 1U << 18;

TEST(LTC, WhatIsWrittenIsReadAtEveryRate) {
  for (const uint32_t code : {0U, 1U, 2U, 3U, 4U, 5U, 123U, 6U, 7U, 99U}) {
    for (const int32_t rate : {44100, 96000, 192000}) {
      for (const bool over_midnight : {false, true}) { // or over 00:01:00, where drop-frame labels skip
        const SMPTETime midnight{0, 80, 0, code, 0, 24, 0, 0, 0};
        SMPTETime from{0, 80, 0, code, 0, 0, 0, 55, 0};
        if (over_midnight) from.mHours = 23, from.mMinutes = 59;
        const int64_t start = smpte_to_spd(from, rate), expected = start - over_midnight * smpte_to_spd(midnight, rate);
        const auto length = static_cast<uint32_t>(rate) * 7;
        std::vector<float> samples(length), ring(kCells);
        for (uint32_t done = 0, n = 1; done < length; done += n, n = std::min(n + 301, length - done))
          encodeLTC(&samples[done], 1, n, static_cast<uint64_t>(start) + done, static_cast<uint32_t>(rate),
                    static_cast<int32_t>(code), 0.1F);
        for (uint32_t i = length - kCells; i < length; ++i) ring[i % kCells] = samples[i];
        int64_t offset = 0;
        const bool exists = frameRateFacts(code).frames > 0 && frameRateFacts(code).frames <= 30;
        ASSERT_EQ(parseLTCTimestamp(offset, ring.data(), length, kCells - 1, static_cast<int32_t>(code), rate), exists);
        if (!exists) continue;
        EXPECT_LE(std::abs(offset - expected), 2) << code << " at " << rate;
        const auto readings = libltcReadings(samples, static_cast<int32_t>(code), rate);
        EXPECT_LE(distance(readings, offset), 4) << code << " at " << rate;
        for (uint32_t second = 0; code <= FRAME_RATE_30 && second < 5; ++second)
          EXPECT_GT(samples[second * static_cast<uint32_t>(rate)], 0) << code << ": frames begin with a rising edge";
      }
    }
  }
}

TEST(LTC, FieldsBeyondTheirRangesAndAnyRateAreHarmless) {
  std::array<int32_t, kLTCBits> ones;
  ones.fill(1); // 45 frames, 85 seconds, 85 minutes, 45 hours
  EXPECT_EQ(decodeLTCFrame(ones, 320, FRAME_RATE_25, 48000), (((45 * 60 + 85) * 60 + 85) * 25 + 45) * int64_t{1920});
  for (const int32_t rate : {INT32_MIN, 0, INT32_MAX}) decodeLTCFrame(ones, 0, rate, rate);
}

} // namespace vurl
