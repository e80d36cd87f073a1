#include "hardware/AudioSystemObject.h"
#include "platform/RunLoop.h"
#include "tests/hardware/FakeHardware.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/RealTimeGuard.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <functional>

namespace vurl {
namespace {

constexpr AudioObjectID kDevice = 7;
constexpr AudioObjectPropertyAddress kAddress{fourCharCode("test"), kAudioObjectPropertyScopeGlobal, 0};
using Lines = std::vector<std::string>;

/// Notes each message by name.
class NotingDelegate final : public AudioObjectDelegate {
public:
  void clockSourcesChanged() override { messages.emplace_back("clockSources"); }
  void clockSourceChanged() override { messages.emplace_back("clockSource"); }
  void devicesChanged() override { messages.emplace_back("devices"); }
  void bufferFrameSizeChanged() override { messages.emplace_back("bufferFrameSize"); }
  void bufferFrameSizeRangeChanged() override { messages.emplace_back("bufferFrameSizeRange"); }
  void availableNominalSampleRatesChanged() override { messages.emplace_back("availableNominalSampleRates"); }
  void nominalSampleRateChanged() override { messages.emplace_back("nominalSampleRate"); }
  void processorOverload() override { messages.emplace_back("overload"); }
  void streamConfigurationChanged() override { messages.emplace_back("streamConfiguration"); }
  void dataSourcesChanged() override { messages.emplace_back("dataSources"); }
  void dataSourceChanged() override { messages.emplace_back("dataSource"); }
  void streamsChanged() override { messages.emplace_back("streams"); }
  Lines messages;
};

TEST(AudioObjectListener, SendsOneMessageForEachAddressInOrder) {
  const std::pair<uint32_t, const char*> cases[] = {
      {0x63736323, "clockSources"},
      {0x63737263, "clockSource"},
      {0x64657623, "devices"},
      {0x6673697a, "bufferFrameSize"},
      {0x66737a23, "bufferFrameSizeRange"},
      {0x6e737223, "availableNominalSampleRates"},
      {0x6e737274, "nominalSampleRate"},
      {0x6f766572, "overload"},
      {0x736c6179, "streamConfiguration"},
      {0x73736323, "dataSources"},
      {0x73737263, "dataSource"},
      {0x73746d23, "streams"},
      {0x73746d23, "streams"}, // a second time
  };
  std::vector<AudioObjectPropertyAddress> addresses = {{fourCharCode("none"), 0, 0}};
  Lines expected;
  for (const auto& [selector, message] : cases) {
    addresses.push_back({selector, 1, 2});
    expected.emplace_back(message);
  }
  NotingDelegate delegate;
  AudioObjectDelegate* const client = &delegate;
  EXPECT_EQ(audioObjectListener(1, static_cast<uint32_t>(addresses.size()), addresses.data(), client), 0);
  EXPECT_EQ(delegate.messages, expected);
  EXPECT_EQ(audioObjectListener(1, 0, addresses.data(), client), 0);
  EXPECT_EQ(audioObjectListener(1, 2, addresses.data(), nullptr), 0);
  EXPECT_EQ(delegate.messages, expected);
}

TEST(AudioObject, FailuresGiveNeutralValuesAndOneLine) {
  FakeHardware hardware;
  AudioObject object(hardware, kDevice);
  RunLoop* const no_loop = nullptr;
  const auto fail_size = [&] { hardware.size_status = kAudioHardwareBadObjectError; };
  const auto fail_get = [&] { hardware.get_status = kAudioHardwareBadObjectError; };
  const auto fail_act = [&] { hardware.act_status = kAudioHardwareIllegalOperationError; };
  const struct {
    std::function<void()> fail;
    std::function<bool()> isNeutral;
    const char* line;
  } cases[] = {
      {fail_get, [&] { return object.getFloatProperty(kAddress) == 0.0; }, "error in AudioObject::getFloatProperty()"},
      {fail_get, [&] { return object.getIntProperty(kAddress) == 0; }, "error in AudioObject::getIntProperty()"},
      {fail_get, [&] { return object.getIDProperty(kAddress) == 0xFFFFFFFF; }, "error in AudioObject::getIDProperty()"},
      {fail_get, [&] { return !object.getStringProperty(kAddress); }, "error in AudioObject::getStringProperty()"},
      {fail_get, [&] { return !object.translateString(kAddress, 1); }, "error in AudioObject::translateString()"},
      {fail_get, [&] { return !object.getValueRangeProperty(kAddress); },
       "error at AudioObjectGetPropertyData() in AudioObject::getValueRangeProperty()"},
      {fail_size, [&] { return object.getArrayOfIDsProperty(kAddress).empty(); },
       "error at AudioObjectGetPropertyDataSize() in AudioObject::getArrayOfIDsProperty()"},
      {fail_get, [&] { return object.getArrayOfIDsProperty(kAddress).empty(); },
       "error at AudioObjectGetPropertyData() in AudioObject::getArrayOfIDsProperty()"},
      {fail_size, [&] { return !object.getArrayOfValueRangesProperty(kAddress); },
       "error at AudioObjectGetPropertyDataSize() in AudioObject::getArrayOfIDsProperty()"},
      {fail_get, [&] { return !object.getArrayOfValueRangesProperty(kAddress); },
       "error at AudioObjectGetPropertyData() in AudioObject::getArrayOfIDsProperty()"},
      {fail_size, [&] { return !object.getAudioBufferListProperty(kAddress); },
       "error at AudioObjectGetPropertyDataSize() in AudioObject::getAudioBufferListProperty()"},
      {fail_get, [&] { return !object.getAudioBufferListProperty(kAddress); },
       "error at AudioObjectGetPropertyData() in AudioObject::getAudioBufferListProperty()"},
      {fail_act, [&] { return object.setIntProperty(kAddress, 1), true; }, "error in AudioObject::setIntProperty()"},
      {fail_act, [&] { return object.setFloatProperty(kAddress, 1), true; },
       "error in AudioObject::setFloatProperty()"},
      {fail_act, [&] { return object.setIDProperty(kAddress, 1), true; }, "error in AudioObject::setFloatProperty()"},
      {fail_act, [&] { return object.setRunLoopRefProperty(kAddress, no_loop), true; },
       "error in AudioObject::setFloatProperty()"},
      {fail_act, [&] { return object.listenForProperty(kAddress), true; }, "error in AudioObject::listenForProperty()"},
      {fail_act, [&] { return object.unlistenForProperty(kAddress), true; },
       "error in AudioObject::unlistenForProperty()"},
  };
  hardware.claims_everything = true;
  for (const auto& [fail, isNeutral, line] : cases) {
    hardware.size_status = hardware.get_status = hardware.act_status = 0;
    fail();
    const CapturedLog log;
    EXPECT_TRUE(isNeutral()) << line;
    EXPECT_EQ(log.lines(), Lines{line});
  }
}

TEST(AudioObject, AbsentPropertiesAreSilent) {
  FakeHardware hardware;
  const AudioDevice device(hardware, kDevice);
  const CapturedLog log;
  EXPECT_TRUE(device.getArrayOfIDsProperty(kAddress).empty());
  EXPECT_EQ(device.getAudioBufferListProperty(kAddress), nullptr);
  EXPECT_TRUE(device.streamConfigurationForScope(kAudioDevicePropertyScopeInput).empty());
  EXPECT_TRUE(device.streamsForScope(kAudioDevicePropertyScopeInput).empty());
  EXPECT_EQ(log.lines(), Lines{});
}

TEST(AudioObject, ReadsListsByTheBytesThatCome) {
  FakeHardware hardware;
  const AudioObject object(hardware, kDevice);
  hardware.give<uint32_t>(kDevice, kAddress, {5, 9, 2});
  EXPECT_EQ(object.getArrayOfIDsProperty(kAddress), (std::vector<AudioObjectID>{5, 9, 2}));
  hardware.give<char>(kDevice, kAddress, {1, 2, 3});
  EXPECT_TRUE(object.getArrayOfIDsProperty(kAddress).empty());
  hardware.give<double>(kDevice, kAddress, {1, 2, 3, 4, 5});
  EXPECT_EQ(object.getArrayOfValueRangesProperty(kAddress), (std::vector<AudioValueRange>{{1, 2}, {3, 4}}));
}

TEST(AudioObject, BelievesNoBufferListThatIsLargerThanItsBytes) {
  FakeHardware hardware;
  const AudioDevice device(hardware, kDevice);
  const AudioObjectPropertyAddress address{kAudioDevicePropertyStreamConfiguration, kAudioDevicePropertyScopeInput};
  hardware.giveStreams(kDevice, kAudioDevicePropertyScopeInput, {}, {2, 0, 8});
  EXPECT_EQ(device.streamConfigurationForScope(kAudioDevicePropertyScopeInput), (std::vector<uint32_t>{2, 0, 8}));
  const CapturedLog log;
  hardware.give<AudioBufferList>(kDevice, address, {{1, nullptr}});
  EXPECT_TRUE(device.streamConfigurationForScope(kAudioDevicePropertyScopeInput).empty());
  hardware.give<uint32_t>(kDevice, address, {1});
  EXPECT_TRUE(device.streamConfigurationForScope(kAudioDevicePropertyScopeInput).empty());
  EXPECT_EQ(log.lines().size(), 2U);
}

TEST(AudioObject, ReportsWhenMemoryRunsOut) {
  if (!kRealTimeGuardWorks) GTEST_SKIP() << "a sanitizer ends the program where an allocation fails";
  FakeHardware hardware;
  const AudioObject object(hardware, kDevice);
  hardware.give<uint32_t>(kDevice, kAddress, {1});
  hardware.oversized = true;
  rlimit before{};
  getrlimit(RLIMIT_AS, &before);
  const rlimit one_gigabyte{rlim_t{1} << 30, before.rlim_max};
  setrlimit(RLIMIT_AS, &one_gigabyte);
  const CapturedLog log;
  EXPECT_TRUE(object.getArrayOfIDsProperty(kAddress).empty());
  EXPECT_EQ(object.getArrayOfValueRangesProperty(kAddress), std::nullopt);
  EXPECT_EQ(object.getAudioBufferListProperty(kAddress), nullptr);
  setrlimit(RLIMIT_AS, &before);
  EXPECT_EQ(log.lines(), (Lines{"error at malloc() in AudioObject::getArrayOfIDsProperty()",
                                "error at malloc() in AudioObject::getArrayOfIDsProperty()",
                                "error at malloc() in AudioObject::getAudioBufferListProperty()"}));
}

TEST(AudioDevice, ListensForItsDelegateInOrder) {
  const Lines eight = {"7 nsr# glob", "7 nsrt glob", "7 ssc# glob", "7 ssrc glob",
                       "7 csc# glob", "7 csrc glob", "7 stm# inpt", "7 slay inpt"};
  const auto signedLines = [&](const std::string& sign) {
    Lines lines;
    for (const auto& line : eight) lines.push_back(sign + " " + line);
    return lines;
  };
  FakeHardware hardware;
  NotingDelegate delegate;
  {
    AudioDevice device(hardware, kDevice);
    device.setDelegate(&delegate);
    EXPECT_EQ(hardware.takeCalls(), signedLines("+"));
    device.setDelegate(&delegate);
    auto both = signedLines("-");
    for (const auto& line : signedLines("+")) both.push_back(line);
    EXPECT_EQ(hardware.takeCalls(), both);
  }
  EXPECT_EQ(hardware.takeCalls(), signedLines("-"));
  EXPECT_TRUE(hardware.listening.empty());
}

class NullIODelegate final : public AudioIODelegate {
public:
  OSStatus ioCycleForDevice(uint32_t, const AudioTimeStamp&, const AudioBufferList&, const AudioTimeStamp&,
                            const AudioBufferList&, const AudioTimeStamp&, void*) noexcept override {
    return 0;
  }
};

TEST(AudioDevice, RunsWhileItHasAnIODelegate) {
  FakeHardware hardware;
  NotingDelegate delegate;
  NullIODelegate io_delegate;
  auto device = std::make_unique<AudioDevice>(hardware, kDevice);
  device->setDelegate(&delegate);
  hardware.takeCalls();
  device->setIODelegate(nullptr);
  EXPECT_EQ(hardware.takeCalls(), Lines{});
  device->setIODelegate(&io_delegate);
  EXPECT_EQ(hardware.takeCalls(), (Lines{"addIO 7", "start 7", "+ 7 over glob"}));
  device.reset();
  const auto calls = hardware.takeCalls();
  ASSERT_GE(calls.size(), 4U);
  EXPECT_EQ(Lines(calls.begin(), calls.begin() + 4), (Lines{"- 7 over glob", "stop 7", "removeIO 7", "- 7 nsr# glob"}));
  EXPECT_TRUE(hardware.listening.empty());
}

TEST(AudioDevice, ReadsAndSetsAtTheRightSide) {
  FakeHardware hardware;
  AudioDevice device(hardware, kDevice);
  device.setNominalSampleRate(48000);
  device.setBufferFrameSize(64);
  device.setDataSource(1);
  device.setClockSource(2);
  AudioSystemObject system(hardware);
  system.setSleepingIsAllowed(false);
  system.setRunLoop(nullptr);
  EXPECT_EQ(hardware.takeCalls(), (Lines{"set8 7 nsrt glob", "set4 7 fsiz glob", "set4 7 ssrc inpt", "set4 7 csrc inpt",
                                         "set4 1 slep glob", "set8 1 rnlp glob"}));
}

} // namespace
} // namespace vurl
