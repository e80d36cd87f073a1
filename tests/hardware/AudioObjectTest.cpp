#include "hardware/AudioSystemObject.h"
#include "tests/hardware/CountingDelegate.h"
#include "tests/hardware/FakeHardware.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/RealTimeGuard.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <functional>

namespace vurl {
namespace {

constexpr AudioObjectID kDevice = 7;
constexpr uint32_t kInput = kAudioDevicePropertyScopeInput;
constexpr AudioObjectPropertyAddress kAddress{fourCharCode("test"), kAudioObjectPropertyScopeGlobal, 0};
using Lines = std::vector<std::string>;

class AudioObjectTest : public testing::Test {
protected:
  FakeHardware hardware;
  AudioDevice object{hardware, kDevice};
  AudioObjectDelegate delegate;
  CountingDelegate io_delegate;
};

// clang-format off
TEST_F(AudioObjectTest, FailuresGiveNeutralValuesAndOneLine) {
  OSStatus& size = hardware.size_status;
  OSStatus& get = hardware.get_status;
  OSStatus& act = hardware.act_status;
  const std::string at_size = "error at AudioObjectGetPropertyDataSize() in AudioObject::";
  const std::string at_get = "error at AudioObjectGetPropertyData() in AudioObject::";
  const struct {
    OSStatus& failing;
    std::function<bool()> isNeutral;
    std::string line;
  } cases[] = {
      {get, [&] { return object.getFloatProperty(kAddress) == 0.0; }, "error in AudioObject::getFloatProperty()"},
      {get, [&] { return object.getIntProperty(kAddress) == 0; }, "error in AudioObject::getIntProperty()"},
      {get, [&] { return object.getIDProperty(kAddress) == 0xFFFFFFFF; }, "error in AudioObject::getIDProperty()"},
      {get, [&] { return !object.getStringProperty(kAddress); }, "error in AudioObject::getStringProperty()"},
      {get, [&] { return !object.translateString(kAddress, 1); }, "error in AudioObject::translateString()"},
      {get, [&] { return !object.getValueRangeProperty(kAddress); }, at_get + "getValueRangeProperty()"},
      {size, [&] { return object.getArrayOfIDsProperty(kAddress).empty(); }, at_size + "getArrayOfIDsProperty()"},
      {get, [&] { return object.getArrayOfIDsProperty(kAddress).empty(); }, at_get + "getArrayOfIDsProperty()"},
      {size, [&] { return !object.getArrayOfValueRangesProperty(kAddress); }, at_size + "getArrayOfIDsProperty()"},
      {get, [&] { return !object.getArrayOfValueRangesProperty(kAddress); }, at_get + "getArrayOfIDsProperty()"},
      {size, [&] { return !object.getAudioBufferListProperty(kAddress); }, at_size + "getAudioBufferListProperty()"},
      {get, [&] { return !object.getAudioBufferListProperty(kAddress); }, at_get + "getAudioBufferListProperty()"},
      {act, [&] { return object.setIntProperty(kAddress, 1), true; }, "error in AudioObject::setIntProperty()"},
      {act, [&] { return object.setFloatProperty(kAddress, 1), true; }, "error in AudioObject::setFloatProperty()"},
      {act, [&] { return object.setIDProperty(kAddress, 1), true; }, "error in AudioObject::setFloatProperty()"},
      {act, [&] { return object.setRunLoopRefProperty(kAddress, nullptr), true; },
       "error in AudioObject::setFloatProperty()"},
      {act, [&] { return object.listenForProperty(kAddress), true; }, "error in AudioObject::listenForProperty()"},
      {act, [&] { return object.unlistenForProperty(kAddress), true; }, "error in AudioObject::unlistenForProperty()"},
  };
  hardware.claims_everything = true;
  for (const auto& [failing, isNeutral, line] : cases) {
    failing = kAudioHardwareBadObjectError;
    const CapturedLog log;
    EXPECT_TRUE(isNeutral()) << line;
    EXPECT_EQ(log.lines(), Lines{line});
    failing = 0;
  }
}
// clang-format on

TEST_F(AudioObjectTest, AbsentPropertiesAreSilent) {
  const CapturedLog log;
  EXPECT_TRUE(object.getArrayOfIDsProperty(kAddress).empty());
  EXPECT_TRUE(object.streamConfigurationForScope(kInput).empty());
  EXPECT_TRUE(object.streamsForScope(kInput).empty());
  EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(AudioObjectTest, BelievesTheBytesThatComeAndNoMore) {
  hardware.give<uint32_t>(kDevice, kAddress, {5, 9, 2});
  EXPECT_EQ(object.getArrayOfIDsProperty(kAddress), (std::vector<AudioObjectID>{5, 9, 2}));
  hardware.give<char>(kDevice, kAddress, {1, 2, 3});
  EXPECT_TRUE(object.getArrayOfIDsProperty(kAddress).empty());
  hardware.give<double>(kDevice, kAddress, {1, 2, 3, 4, 5});
  EXPECT_EQ(object.getArrayOfValueRangesProperty(kAddress), (std::vector<AudioValueRange>{{1, 2}, {3, 4}}));
  hardware.giveStreams(kDevice, kInput, {}, {2, 0, 8});
  EXPECT_EQ(object.streamConfigurationForScope(kInput), (std::vector<uint32_t>{2, 0, 8}));
  const CapturedLog log;
  hardware.give<AudioBufferList>(kDevice, {kAudioDevicePropertyStreamConfiguration, kInput}, {{1, nullptr}});
  EXPECT_TRUE(object.streamConfigurationForScope(kInput).empty());
  hardware.give<uint32_t>(kDevice, {kAudioDevicePropertyStreamConfiguration, kInput}, {1});
  EXPECT_TRUE(object.streamConfigurationForScope(kInput).empty());
  EXPECT_EQ(log.lines().size(), 2U);
}

TEST_F(AudioObjectTest, ReportsWhenMemoryRunsOut) {
  if (!kRealTimeGuardWorks) GTEST_SKIP() << "a sanitizer ends the program where an allocation fails";
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

TEST_F(AudioObjectTest, ListensAndRunsForItsDelegatesInOrder) {
  const auto eight = [](Lines lines, const std::string& sign) {
    for (const char* property :
         {"nsr# glob", "nsrt glob", "ssc# glob", "ssrc glob", "csc# glob", "csrc glob", "stm# inpt", "slay inpt"})
      lines.push_back(sign + " 7 " + property);
    return lines;
  };
  auto device = std::make_unique<AudioDevice>(hardware, kDevice);
  device->setIODelegate(nullptr);
  device->setDelegate(&delegate);
  EXPECT_EQ(hardware.takeCalls(), eight({}, "+"));
  device->setDelegate(&delegate);
  EXPECT_EQ(hardware.takeCalls(), eight(eight({}, "-"), "+"));
  device->setIODelegate(&io_delegate);
  EXPECT_EQ(hardware.takeCalls(), (Lines{"addIO 7", "start 7", "+ 7 over glob"}));
  device.reset();
  EXPECT_EQ(hardware.takeCalls(), eight({"- 7 over glob", "stop 7", "removeIO 7"}, "-"));
  EXPECT_TRUE(hardware.listening.empty());
}

TEST_F(AudioObjectTest, SetsAtTheRightSide) {
  object.setNominalSampleRate(48000);
  object.setBufferFrameSize(64);
  object.setDataSource(1);
  object.setClockSource(2);
  EXPECT_EQ(hardware.takeCalls(),
            (Lines{"set8 7 nsrt glob", "set4 7 fsiz glob", "set4 7 ssrc inpt", "set4 7 csrc inpt"}));
}

} // namespace
} // namespace vurl
