#include "tests/hardware/ServiceRig.h"

#include <gtest/gtest.h>

#include <cmath>
#include <thread>

namespace vurl {
namespace {

/// Keeps the inputs of every cycle, channel by channel, and writes the channel's number to each output.
class TapeDelegate final : public AudioIODelegate {
public:
  OSStatus ioCycleForDevice(uint32_t, const AudioTimeStamp&, const AudioBufferList& input_data,
                            const AudioTimeStamp& input_time, const AudioBufferList& output_data, const AudioTimeStamp&,
                            void*) noexcept override {
    uint32_t channel = 0;
    for (uint32_t i = 0; i < input_data.mNumberBuffers; i++) {
      const auto& buffer = input_data.mBuffers[i];
      for (uint32_t c = 0; c < buffer.mNumberChannels; c++, channel++) {
        for (uint32_t k = c; k < buffer.mDataByteSize / sizeof(float); k += buffer.mNumberChannels) {
          tape[channel].push_back(static_cast<const float*>(buffer.mData)[k]);
          static_cast<float*>(output_data.mBuffers[i].mData)[k] += static_cast<float>(channel + 1);
        }
      }
    }
    time = input_time;
    return 0;
  }
  std::array<std::vector<float>, 64> tape;
  AudioTimeStamp time;
};

class GeneratorTest : public testing::Test {
protected:
  GeneratorTest() {
    generator.setPaced(false);
    generator.setPublished(true);
    device.setSelectedDevice(generator.device());
  }
  ~GeneratorTest() override { device.unselectDevice(); }

  PollRunLoop run_loop;
  HardwareModel model;
  TapeDelegate delegate;
  GeneratorHardware generator{model, run_loop};
  InputDevice device{model, run_loop, delegate};
};

TEST_F(GeneratorTest, PlaysAnotherToneOnEachChannelWithoutASeam) {
  device.setSampleRate(96000);
  device.setBufferFrameSize(1000);
  generator.step(100);
  for (const uint32_t channel : {0U, 1U, 8U, 63U}) {
    const auto& samples = delegate.tape[channel];
    ASSERT_EQ(samples.size(), 100000U);
    double square = 0;
    for (size_t n = 0; n < samples.size(); n++) {
      const double expected = 0.1 * std::sin(2 * M_PI * 100.0 * (channel + 1) * static_cast<double>(n) / 96000);
      ASSERT_NEAR(samples[n], expected, 1e-6) << channel << " at " << n;
      square += n < 96000 ? samples[n] * samples[n] : 0;
    }
    EXPECT_NEAR(10 * std::log10(2 * square / 96000), -20, 0.01);
  }
}

TEST_F(GeneratorTest, LoopsTheOutputsOfTheCycleBefore) {
  device.setDataSource(GeneratorHardware::kLoopBack);
  generator.step(3);
  for (const uint32_t channel : {0U, 9U, 63U}) {
    const auto& samples = delegate.tape[channel];
    ASSERT_EQ(samples.size(), 768U);
    EXPECT_EQ(samples[255], 0.0F);
    EXPECT_EQ(samples[256], static_cast<float>(channel + 1));
    EXPECT_EQ(samples[767], static_cast<float>(channel + 1));
  }
}

TEST_F(GeneratorTest, TheExternalClockBringsTimecode) {
  generator.step(1);
  EXPECT_EQ(delegate.time.mFlags & (kAudioTimeStampWordClockTimeValid | kAudioTimeStampSMPTETimeValid), 0U);
  device.setClockSource(GeneratorHardware::kExternal);
  generator.setFrameRate(FRAME_RATE_24);
  device.setBufferFrameSize(4000);
  generator.step(13); // the last one begins 256 + 48,000 samples after the start
  EXPECT_EQ(delegate.time.mSampleTime, 48256);
  EXPECT_EQ(delegate.time.mWordClockTime, 172'848'256U);
  EXPECT_NE(delegate.time.mFlags & kAudioTimeStampSMPTETimeValid, 0U);
  const auto& label = delegate.time.mSMPTETime;
  EXPECT_EQ(label.mHours * 3600 + label.mMinutes * 60 + label.mSeconds, 3601);
  EXPECT_EQ(label.mFrames, 0);
  EXPECT_EQ(label.mSubframes, 10); // 256 samples of 25 in a subframe
  EXPECT_EQ(label.mSubframeDivisor, 80);
}

TEST_F(GeneratorTest, IsListedLastAndOnlyWhilePublished) {
  GeneratorRig rig;
  rig.input_device.awake();
  DeviceDescription other;
  other.name = "Other";
  const auto id = rig.model.publish(rig.generator, other);
  EXPECT_EQ(AudioSystemObject(rig.model).allDevices().back()->objectID(), rig.generator.device());
  rig.model.unpublish(id);
  rig.input_device.setSelectedDevice(rig.generator.device());
  ASSERT_TRUE(rig.waitForCycles(3));
  rig.generator.setPublished(false);
  const int count = rig.delegate.nr_cycles;
  rig.runFor(std::chrono::milliseconds(30));
  EXPECT_EQ(rig.delegate.nr_cycles, count);
  EXPECT_TRUE(rig.input_device.devices().empty());
}

TEST(GeneratorPacing, CatchesUpForASecondAndTellsOfMore) {
  for (const int delay : {300, 1500}) {
    GeneratorRig rig;
    SlowDelegate slow{std::chrono::milliseconds(delay)};
    InputDevice device(rig.model, rig.run_loop, slow);
    device.setObserver(&rig.observer);
    device.awake();
    device.setSelectedDevice(rig.generator.device());
    ASSERT_TRUE(rig.wait([&] { return slow.nr_cycles >= 60; }));
    rig.runFor(std::chrono::milliseconds(200));
    EXPECT_EQ(rig.observer.has("processorOverload"), delay > 1000);
    EXPECT_EQ(slow.has_gap, delay > 1000);
    device.unselectDevice();
  }
}

} // namespace
} // namespace vurl
