#include "hardware/InputDevice.h"

#include "platform/PollRunLoop.h"
#include "tests/hardware/CountingDelegate.h"
#include "tests/hardware/FakeHardware.h"
#include "tests/hardware/NotingObserver.h"
#include "tests/support/CapturedLog.h"

#include <gtest/gtest.h>

namespace vurl {
namespace {

constexpr AudioObjectID kDevice = 7;
constexpr uint32_t kGlobal = kAudioObjectPropertyScopeGlobal;
constexpr uint32_t kInput = kAudioDevicePropertyScopeInput;
using Lines = std::vector<std::string>;

class InputDeviceTest : public testing::Test {
protected:
  InputDeviceTest() { input_device.setObserver(&observer); }

  FakeHardware hardware;
  PollRunLoop run_loop;
  CountingDelegate ring;
  NotingObserver observer;
  InputDevice input_device{hardware, run_loop, ring};
};

const Lines kEverything = {"updateSampleRates", "updateClockSources", "updateDataSources", "updateBufferFrameSizeRange",
                           "updateChannels"};

TEST_F(InputDeviceTest, AwakesInOrder) {
  input_device.awake();
  EXPECT_EQ(hardware.takeCalls(), (Lines{"set8 1 rnlp glob", "+ 1 dev# glob", "set4 1 slep glob"}));
  EXPECT_EQ(observer.take(), Lines{"updateDevices"});
}

TEST_F(InputDeviceTest, WithoutADeviceAnswersNothingAndSetsNothing) {
  const CapturedLog log;
  EXPECT_EQ(input_device.selectedDevice(), -1);
  EXPECT_EQ(input_device.sampleRate(), -1);
  EXPECT_EQ(input_device.dataSource(), -1);
  EXPECT_EQ(input_device.clockSource(), -1);
  EXPECT_EQ(input_device.bufferFrameSize(), 0U);
  EXPECT_EQ(input_device.bufferFrameSizeRange(), std::nullopt);
  EXPECT_TRUE(input_device.devices().empty());
  EXPECT_TRUE(input_device.sampleRates().empty());
  EXPECT_TRUE(input_device.dataSources().empty());
  EXPECT_TRUE(input_device.clockSources().empty());
  EXPECT_TRUE(input_device.inputs().empty());
  EXPECT_TRUE(input_device.outputs().empty());
  input_device.setDataSource(1);
  input_device.setClockSource(1);
  input_device.setBufferFrameSize(64);
  input_device.setSampleRate(48000);
  EXPECT_EQ(hardware.takeCalls(), Lines{});
  EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(InputDeviceTest, SelectingAgainTearsDownAndBuildsUp) {
  input_device.setSelectedDevice(kDevice);
  EXPECT_EQ(input_device.selectedDevice(), 7);
  EXPECT_EQ(observer.take(), kEverything);
  EXPECT_EQ(hardware.takeCalls().size(), 8U + 3U);
  input_device.setSelectedDevice(kDevice);
  const auto calls = hardware.takeCalls();
  ASSERT_EQ(calls.size(), 2 * (8U + 3U));
  EXPECT_EQ(calls[1], "stop 7");
  EXPECT_EQ(calls[20], "start 7");
  EXPECT_EQ(observer.take(), kEverything);
  input_device.unselectDevice();
  EXPECT_EQ(observer.take(), kEverything);
  EXPECT_EQ(input_device.selectedDevice(), -1);
  EXPECT_TRUE(hardware.listening.empty());
}

TEST_F(InputDeviceTest, NamesChannelsOverAllStreams) {
  const struct {
    std::vector<std::string> names;
    std::vector<uint32_t> channels;
    Lines expected;
  } cases[] = {
      {{"Analog", "Digital"},
       {2, 3},
       {"1 - Analog 1", "2 - Analog 2", "3 - Digital 1", "4 - Digital 2", "5 - Digital 3"}},
      {{"", "Silent", "Tail"}, {1, 0, 1}, {"1 - Input 1", "2 - Tail 1"}},
      {{"One", "Two"}, {1}, {"1 - One 1"}},
      {{"One"}, {1, 4}, {"1 - One 1"}},
      {{}, {}, {}},
  };
  for (const auto& [names, channels, expected] : cases) {
    hardware.giveStreams(kDevice, kInput, names, channels);
    input_device.setSelectedDevice(kDevice);
    EXPECT_EQ(input_device.inputs(), expected);
  }
  hardware.giveStreams(kDevice, kAudioDevicePropertyScopeOutput, {""}, {1});
  EXPECT_EQ(input_device.outputs(), Lines{"1 - Output 1"});
}

TEST_F(InputDeviceTest, ReadsTheSelectedDevice) {
  hardware.give<AudioObjectID>(kAudioObjectSystemObject, {kAudioHardwarePropertyDevices, kGlobal}, {kDevice});
  hardware.texts[{kDevice, {kAudioObjectPropertyManufacturer, kGlobal}}] = "Maker";
  hardware.texts[{kDevice, {kAudioObjectPropertyName, kGlobal}}] = "Box";
  hardware.give<double>(kDevice, {kAudioDevicePropertyNominalSampleRate, kGlobal}, {44100.9});
  hardware.give<double>(kDevice, {kAudioDevicePropertyAvailableNominalSampleRates, kGlobal},
                        {96000, 96000, 8000, 9000});
  hardware.give<double>(kDevice, {kAudioDevicePropertyBufferFrameSizeRange, kGlobal}, {16, 512});
  hardware.give<uint32_t>(kDevice, {kAudioDevicePropertyBufferFrameSize, kGlobal}, {64});
  hardware.give<uint32_t>(kDevice, {kAudioDevicePropertyClockSource, kInput}, {3});
  input_device.awake();
  input_device.setSelectedDevice(kDevice);
  EXPECT_EQ(input_device.devices(), (std::map<uint32_t, std::string>{{kDevice, "Maker - Box"}}));
  EXPECT_EQ(input_device.sampleRate(), 44100);
  EXPECT_EQ(input_device.sampleRates(), (std::vector<int32_t>{96000, 8000}));
  EXPECT_EQ(input_device.bufferFrameSizeRange(), (AudioValueRange{16, 512}));
  EXPECT_EQ(input_device.bufferFrameSize(), 64U);
  EXPECT_EQ(input_device.clockSource(), 3);
  EXPECT_EQ(input_device.dataSource(), -1);
}

// clang-format off
TEST_F(InputDeviceTest, RelaysEachChangeOnceInOrder) {
  const std::pair<uint32_t, const char*> cases[] = {
      {0x64657623, "updateDevices"},         {0x6e737223, "updateSampleRates"}, {0x6e737274, "updateSampleRate"},
      {0x63736323, "updateClockSources"},    {0x63737263, "updateClockSource"}, {0x73736323, "updateDataSources"},
      {0x73737263, "updateDataSource"},      {0x66737a23, "updateBufferFrameSizeRange"},
      {0x6673697a, "updateBufferFrameSize"}, {0x73746d23, "updateChannels"},    {0x736c6179, "updateChannels"},
      {0x6f766572, "processorOverload"},     {0x6e737274, "updateSampleRate"},  // a second time
  };
  // clang-format on
  std::vector<AudioObjectPropertyAddress> addresses = {{fourCharCode("none"), 0, 0}};
  Lines expected;
  for (const auto& [selector, message] : cases) {
    addresses.push_back({selector, 1, 2});
    expected.emplace_back(message);
  }
  input_device.awake();
  observer.take();
  ASSERT_EQ(hardware.listening.size(), 1U);
  void* const client_data = hardware.listening.front().second;
  EXPECT_EQ(audioObjectListener(kDevice, static_cast<uint32_t>(addresses.size()), addresses.data(), client_data), 0);
  EXPECT_EQ(observer.take(), expected);
  EXPECT_EQ(audioObjectListener(kDevice, 0, addresses.data(), client_data), 0);
  EXPECT_EQ(audioObjectListener(kDevice, 2, addresses.data(), nullptr), 0);
  EXPECT_EQ(observer.take(), Lines{});
}

} // namespace
} // namespace vurl
