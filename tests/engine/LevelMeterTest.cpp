// Levels as the display reads them, fed through the ring.
#include "tests/support/RingRig.h"

#include <numbers>

namespace vurl {

TEST(LevelMeter, ReadsPeaksThatFallAndTheMeanOfFourReadings) {
  Samples sine;
  for (int k = 0; k < 4800; ++k) sine.push_back(static_cast<float>(std::sin(2 * std::numbers::pi * k / 48)));
  const double root = std::sqrt(0.5);
  constexpr float kInfinity = std::numeric_limits<float>::infinity(), kNaN = std::numeric_limits<float>::quiet_NaN();
  Samples faulty(1000, 0.5F), huge(1000, 3e38F);
  faulty[3] = kNaN;
  faulty[997] = -kNaN;
  Samples infinite(faulty);
  infinite[500] = -kInfinity;
  // What is fed before each of four readings; the peaks read, and the RMS after the first and the last.
  // clang-format off
  const std::tuple<const char*, Samples, double, double> cases[] = {
      {"constant", Samples(4800, 0.5F), 0.5, 0.5}, {"odd length", Samples(13, -0.25F), 0.25, 0.25},
      {"over the ring's end", Samples(700'001, 0.5F), 0.5, 0.5}, {"full-scale sine", sine, 1, root},
      {"silence", Samples(4800, 0), 0, 0}, {"nothing", {}, 0, 0},
      {"not a number is silence", faulty, 0.5, 0.5 * std::sqrt(0.998)},
      {"infinity is full scale", infinite, 1, std::sqrt(0.25 * 0.997 + 0.001)},
      {"squares too large", huge, 1, 1}};
  // clang-format on
  for (const auto& [name, samples, peak, rms] : cases) {
    RingRig rig(2);
    rig.route(0, -1, -1);
    rig.route(1, 0, -1);
    for (int reading = 1; reading <= 4; ++reading) {
      rig.feed(samples);
      EXPECT_NEAR(rig.ring->peakForChannel(1), peak, 1e-6) << name;
      EXPECT_NEAR(rig.ring->rmsForChannel(1), rms * reading / 4, 2e-5) << name;
    }
    for (int reading = 1; reading <= 4; ++reading) { // with nothing new
      EXPECT_NEAR(rig.ring->peakForChannel(1), peak * std::pow(0.6, reading / 2.0), 1e-6) << name;
      EXPECT_NEAR(rig.ring->rmsForChannel(1), rms * (4 - reading) / 4, 2e-5) << name;
    }
    for (const uint32_t channel : {0U, 64U}) EXPECT_EQ(rig.ring->peakForChannel(channel), 0) << name;
  }
}

} // namespace vurl
