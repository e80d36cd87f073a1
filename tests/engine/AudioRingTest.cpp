#include "tests/support/RingRig.h"

#include <sys/mman.h>
#include <sys/resource.h>

#include <unistd.h>

namespace vurl {

constexpr uint32_t kRing = AudioRing::kRingSamples;

TEST(AudioRing, RecordsEveryShapeOfDeviceOverTheRingsEnd) {
  for (const auto& shape : std::vector<std::vector<uint32_t>>{{1, 1, 1, 1}, {4}, {1, 0, 3}, {2, 2}}) {
    RingRig rig(4);
    const int inputs[] = {2, 0, 70, -1};
    for (int i = 0; i < 4; ++i) rig.route(i, inputs[i], -1);
    while (rig.ring->devicePosition() < kRing + 20000) rig.cycle(8191, shape);
    rig.ring->skipRecordingRingWithLength(kRing - 100);
    ChannelMask mask = 0;
    for (const int32_t channel : {3, 1, 0, 2, 9}) BitSet(&mask, channel); // 9 is not active
    std::vector<uint8_t> block(256 * 4 * 3);
    ASSERT_EQ(rig.ring->fillBuffer(block.data(), 256, mask, INTEGER24), 256 * 4 * 3);
    for (uint32_t i = 0; i < 256 * 4; ++i) {
      const float expected = i % 4 < 2 ? model(inputs[i % 4], kRing - 100 + i / 4) : 0;
      ASSERT_EQ(convertFromSample24(block.data(), uint64_t{i} * 3), expected) << i;
    }
  }
}

TEST(AudioRing, AddsMonitoredChannelsToTheOutputs) {
  RingRig rig(4);
  const int outputs[] = {0, 0, 70, -1};
  for (int i = 0; i < 4; ++i) rig.route(i, i, outputs[i]);
  EXPECT_EQ(rig.cycle(3, {2}, 0.25F)[0], Samples(6, 0.25F)) << "monitoring is off";
  rig.defaults.setBool(true, "monitoring");
  const auto out = rig.cycle(2, {3, 1}, 0.25F);
  const float sums[] = {0.25F + model(0, 3) + model(1, 3), 0.25F + model(0, 4) + model(1, 4)};
  EXPECT_EQ(out[0], (Samples{sums[0], 0.25F, 0.25F, sums[1], 0.25F, 0.25F}));
  EXPECT_EQ(out[1], Samples(2, 0.25F));
}

TEST(AudioRing, SurvivesAnyBufferList) {
  float data[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  using Buffers = std::vector<AudioBuffer>;
  const std::tuple<const char*, Buffers, Buffers, uint32_t, Samples, Samples> cases[] = {
      {"no buffers", {}, {}, 0, {}, {}},
      {"no input", {}, {{2, 24, nullptr}}, 3, {0, 0, 0}, {0, 0, 0}},
      {"null data", {{1, 8, nullptr}, {1, 8, data}}, {}, 2, {0, 0}, {1, 2}},
      {"short second", {{1, 16, data}, {1, 8, data}}, {}, 4, {1, 2, 3, 4}, {1, 2, 0, 0}},
      {"short output", {{1, 16, data}}, {{1, 8, data + 6}, {1, 3, data}}, 4, {1, 2, 3, 4}, {0, 0, 0, 0}},
      {"absurd width", {{UINT32_MAX, 32, data}, {UINT32_MAX, 32, data}}, {}, 0, {}, {}},
      {"more than the ring", {{1, UINT32_MAX, nullptr}}, {}, kRing, Samples(kRing, 0), Samples(kRing, 0)}};
  for (auto [name, in, out, n, channel0, channel1] : cases) {
    RingRig rig(2);
    rig.ring->setMonitoring(true);
    rig.play(8, 0.5F); // what silence has to overwrite
    rig.ring->abortPlayback();
    const auto nr_in = static_cast<uint32_t>(in.size()), nr_out = static_cast<uint32_t>(out.size());
    EXPECT_EQ(rig.ring->ioCycle({nr_in, in.data()}, {}, {nr_out, out.data()}, {}), 0);
    EXPECT_EQ(rig.ring->devicePosition(), n) << name;
    EXPECT_EQ(rig.recorded(0, n), channel0) << name;
    EXPECT_EQ(rig.recorded(1, n), channel1) << name;
  }
}

TEST(AudioRing, KeepsThePreRecordWindow) {
  // clang-format off
  const std::array<int32_t, 4> cases[] = {
      {10, 44100, 0, 1000000 - 441000}, {30, 48000, 0, 1000000 - 838860}, {INT32_MAX, 192000, 0, 1000000 - 838860},
      {-5, 48000, 0, 1000000}, {10, 44100, 900000, 900000}, {20, 0, 0, 1000000}};
  // clang-format on
  for (const auto& [seconds, rate, skipped, expected] : cases) {
    RingRig rig(0);
    rig.ring->setSampleRate(rate);
    rig.defaults.setInteger(seconds, "pre_record_time");
    rig.cycle(1000000, {1});
    rig.ring->skipRecordingRingWithLength(static_cast<uint32_t>(skipped));
    rig.ring->idleRecord();
    EXPECT_EQ(rig.ring->recordingPosition(), expected) << seconds << " s at " << rate;
  }
}

TEST(AudioRing, FollowsItsSettings) {
  UserDefaults defaults;
  AudioRing ring(defaults, systemWallTime, nullptr);
  // clang-format off
  const std::array<int32_t, 5> cases[] = { // rate, pull and the rate they make; channels wanted and had
      {48000, 1, 47952, 3, 3}, {48000, 2, 48048, 100, 64}, {44100, 1, 44056, -3, 0}, {0, 7, 0, 1, 1}};
  // clang-format on
  for (const auto& [rate, pull, adjusted, wanted, active] : cases) {
    defaults.setInteger(pull, "pull");
    defaults.setInteger(wanted, "nr_channels");
    ring.setSampleRate(rate);
    ring.applyWantedChannels();
    EXPECT_EQ(std::pair(ring.adjustedSampleRate(), ring.nrChannels()), std::pair(adjusted, uint32_t(active)));
  }
}

// The device plays and records in one thread, the other reads and writes ahead, over the ring's end more than twice;
// for the thread sanitizer.
TEST(AudioRing, HandsCellsOverByPositionsAlone) {
  constexpr int64_t kBlock = 256, kCycle = 64, kLength = int64_t{2} * kRing + 100 * kBlock;
  RingRig rig(1);
  AudioRing& ring = *rig.ring;
  const auto played = [](int64_t position) { return -static_cast<float>(position / kBlock % 100 + 1) * 0x1p-7F; };
  int64_t wrong = 0, differences = 0;
  std::thread device([&] {
    while (ring.devicePosition() < kLength) {
      if (ring.playbackPosition() - ring.devicePosition() < 4 * kBlock) continue;
      const Samples expected(kCycle, played(ring.devicePosition()));
      wrong += rig.cycle(kCycle, {1})[0] != expected;
    }
  });
  while (ring.recordingPosition() < kLength) {
    if (ring.playbackPosition() - ring.recordingPosition() < 900000) rig.play(kBlock, played(ring.playbackPosition()));
    if (ring.devicePosition() - ring.recordingPosition() < kBlock) continue;
    const Samples samples = rig.recorded(0, kBlock);
    for (uint32_t k = 0; k < kBlock; ++k) differences += samples[k] != model(0, ring.recordingPosition() + k);
    ring.skipRecordingRingWithLength(kBlock);
  }
  device.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(differences, 0);
}

/// What is left is what a JACK client needs to be opened.
TEST(AudioRingDeathTest, LeavesSomeOfTheLockableMemoryToOthers) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizers lock no memory";
#endif
  for (const rlim_t limit : {rlim_t{8} << 20, rlim_t{5} << 20}) {
    const auto child = [limit] {
      constexpr uid_t kNobody = 65534;
      const rlimit lockable{limit, limit};
      if (setrlimit(RLIMIT_MEMLOCK, &lockable) != 0 || (geteuid() == 0 && setuid(kNobody) != 0)) std::_Exit(2);
      const RingRig rig(8);
      const size_t size = size_t{512} << 10;
      void* const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_LOCKED, -1, 0);
      std::_Exit(memory == MAP_FAILED ? 1 : 0);
    };
    EXPECT_EXIT(child(), testing::ExitedWithCode(0), "Could not lock pages");
  }
}

} // namespace vurl
