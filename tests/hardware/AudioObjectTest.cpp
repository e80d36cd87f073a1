// The object layer and the input device, on hardware that notes what is done to it, and fails on demand.
#include "tests/hardware/ServiceRig.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/RealTimeGuard.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

namespace vurl {
namespace {

constexpr AudioObjectID kDevice = 7;
constexpr uint32_t kGlobal = kAudioObjectPropertyScopeGlobal;
constexpr uint32_t kInput = kAudioDevicePropertyScopeInput;
constexpr AudioObjectPropertyAddress kAddress{fourCharCode("test"), kGlobal, 0};
using Lines = std::vector<std::string>;

template <typename... Values>
std::string bytesOf(const Values&... values) {
  std::string bytes;
  (bytes.append(reinterpret_cast<const char*>(&values), sizeof values), ...);
  return bytes;
}

enum Step { kNothing, kSize, kMemory, kGet, kAct }; ///< of an access; kAct is to set or to listen

class FakeHardware final : public AudioHardware {
public:
  using Object = AudioObjectID;
  using Address = AudioObjectPropertyAddress;
  using Listener = AudioObjectPropertyListenerProc;

  void AudioObjectShow(Object) const override {}
  bool AudioObjectHasProperty(Object, const Address&) const override { return !bytes.empty(); }
  OSStatus AudioObjectGetPropertyDataSize(Object, const Address&, uint32_t& size) const override {
    size = failing == kMemory ? 0xFFFFFFF0 : static_cast<uint32_t>(bytes.size());
    return statusOf(kSize);
  }
  OSStatus AudioObjectGetPropertyData(Object, const Address& address, uint32_t& size, void* data) const override {
    if (address.mSelector == kAudioObjectPropertyName) return kAudioHardwareUnknownPropertyError;
    if (failing != kGet) size = static_cast<uint32_t>(bytes.copy(static_cast<char*>(data), size));
    return statusOf(kGet);
  }
  OSStatus AudioObjectSetPropertyData(Object object, const Address& address, uint32_t size, const void*) override {
    return note("set" + std::to_string(size), object, address);
  }
  OSStatus AudioObjectAddPropertyListener(Object object, const Address& address, Listener, void* data) override {
    listener = data;
    return note("+", object, address);
  }
  OSStatus AudioObjectRemovePropertyListener(Object object, const Address& address, Listener, void*) override {
    return note("-", object, address);
  }
  OSStatus AudioDeviceAddIOProc(Object id, AudioDeviceIOProc, void*) override { return note("addIO", id); }
  OSStatus AudioDeviceStart(Object id, AudioDeviceIOProc) override { return note("start", id); }
  OSStatus AudioDeviceStop(Object id, AudioDeviceIOProc) override { return note("stop", id); }
  OSStatus AudioDeviceRemoveIOProc(Object id, AudioDeviceIOProc) override { return note("removeIO", id); }

  /// What was done since the last call, in order: "OPERATION OBJECT SELECTOR SCOPE".
  Lines takeCalls() { return std::exchange(calls, {}); }

  Step failing = kNothing;
  std::string bytes;        ///< of every property; there are none when it is empty
  void* listener = nullptr; ///< the last one that was added

private:
  OSStatus statusOf(Step step) const { return step == failing ? OSStatus{kAudioHardwareBadObjectError} : 0; }
  OSStatus note(const std::string& operation, Object object, const Address& address = {}) {
    calls.push_back(operation + " " + std::to_string(object));
    if (address.mSelector != 0)
      calls.back() += " " + fourCharText(address.mSelector) + " " + fourCharText(address.mScope);
    return statusOf(kAct);
  }
  Lines calls;
};

class AudioObjectTest : public testing::Test {
protected:
  AudioObjectTest() { input_device.setObserver(&observer); }

  const CapturedLog log;
  FakeHardware hardware;
  PollRunLoop run_loop;
  CountingDelegate ring;
  NotingObserver observer;
  AudioDevice object{hardware, kDevice};
  InputDevice input_device{hardware, run_loop, ring};
};

// clang-format off
TEST_F(AudioObjectTest, FailuresGiveNeutralValuesAndOneLine) {
  const std::string at_size = "error at AudioObjectGetPropertyDataSize() in AudioObject::";
  const std::string at_malloc = "error at malloc() in AudioObject::";
  const std::string at_get = "error at AudioObjectGetPropertyData() in AudioObject::";
  const struct { Step failing; std::function<bool()> is_neutral; std::string line; } cases[] = {
    {kGet, [&] { return object.getFloatProperty(kAddress) == 0.0; }, "error in AudioObject::getFloatProperty()"},
    {kGet, [&] { return object.getIntProperty(kAddress) == 0; }, "error in AudioObject::getIntProperty()"},
    {kGet, [&] { return object.getIDProperty(kAddress) == 0xFFFFFFFF; }, "error in AudioObject::getIDProperty()"},
    {kGet, [&] { return !object.getStringProperty(kAddress); }, "error in AudioObject::getStringProperty()"},
    {kGet, [&] { return !object.translateString(kAddress, 1); }, "error in AudioObject::translateString()"},
    {kGet, [&] { return !object.getValueRangeProperty(kAddress); }, at_get + "getValueRangeProperty()"},
    {kSize, [&] { return object.getArrayOfIDsProperty(kAddress).empty(); }, at_size + "getArrayOfIDsProperty()"},
    {kMemory, [&] { return object.getArrayOfIDsProperty(kAddress).empty(); }, at_malloc + "getArrayOfIDsProperty()"},
    {kGet, [&] { return object.getArrayOfIDsProperty(kAddress).empty(); }, at_get + "getArrayOfIDsProperty()"},
    {kSize, [&] { return !object.getArrayOfValueRangesProperty(kAddress); }, at_size + "getArrayOfIDsProperty()"},
    {kMemory, [&] { return !object.getArrayOfValueRangesProperty(kAddress); }, at_malloc + "getArrayOfIDsProperty()"},
    {kGet, [&] { return !object.getArrayOfValueRangesProperty(kAddress); }, at_get + "getArrayOfIDsProperty()"},
    {kSize, [&] { return !object.getAudioBufferListProperty(kAddress); }, at_size + "getAudioBufferListProperty()"},
    {kMemory, [&] { return !object.getAudioBufferListProperty(kAddress); }, at_malloc + "getAudioBufferListProperty()"},
    {kGet, [&] { return !object.getAudioBufferListProperty(kAddress); }, at_get + "getAudioBufferListProperty()"},
    {kAct, [&] { return object.setIntProperty(kAddress, 1), true; }, "error in AudioObject::setIntProperty()"},
    {kAct, [&] { return object.setFloatProperty(kAddress, 1), true; }, "error in AudioObject::setFloatProperty()"},
    {kAct, [&] { return object.setIDProperty(kAddress, 1), true; }, "error in AudioObject::setFloatProperty()"},
    {kAct, [&] { return object.setRunLoopRefProperty(kAddress, {}), 1; }, "error in AudioObject::setFloatProperty()"},
    {kAct, [&] { return object.listenForProperty(kAddress), true; }, "error in AudioObject::listenForProperty()"},
    {kAct, [&] { return object.unlistenForProperty(kAddress), true; }, "error in AudioObject::unlistenForProperty()"},
  };
  // clang-format on
  hardware.bytes = bytesOf(0.0);
  rlimit memory{};
  getrlimit(RLIMIT_AS, &memory);
  Lines expected;
  for (const auto& [failing, is_neutral, line] : cases) {
    // A sanitizer ends the program where an allocation fails.
    if (failing == kMemory && !kRealTimeGuardWorks) continue;
    const rlimit one_gigabyte{rlim_t{1} << 30, memory.rlim_max};
    if (failing == kMemory) setrlimit(RLIMIT_AS, &one_gigabyte);
    hardware.failing = failing;
    EXPECT_TRUE(is_neutral()) << line;
    setrlimit(RLIMIT_AS, &memory);
    expected.push_back(line);
    EXPECT_EQ(log.lines(), expected);
  }
}

TEST_F(AudioObjectTest, BelievesTheBytesThatComeAndNoMore) {
  EXPECT_TRUE(object.getArrayOfIDsProperty(kAddress).empty());
  EXPECT_TRUE(object.streamConfigurationForScope(kInput).empty());
  hardware.bytes = bytesOf(5U, 9U, 2U, '?');
  EXPECT_EQ(object.getArrayOfIDsProperty(kAddress), (std::vector<uint32_t>{5, 9, 2}));
  hardware.bytes = bytesOf(1.0, 2.0, 3.0, 4.0, 5.0);
  EXPECT_EQ(object.getArrayOfValueRangesProperty(kAddress), (std::vector<AudioValueRange>{{1, 2}, {3, 4}}));
  hardware.bytes = bytesOf(AudioBufferList{2, nullptr}, AudioBuffer{1, 0, nullptr}, AudioBuffer{2, 0, nullptr});
  EXPECT_EQ(object.streamConfigurationForScope(kInput), (std::vector<uint32_t>{1, 2}));
  EXPECT_EQ(log.lines(), Lines{});
  for (const auto& bytes : {bytesOf(AudioBufferList{1, nullptr}), bytesOf(1U)}) {
    hardware.bytes = bytes;
    EXPECT_TRUE(object.streamConfigurationForScope(kInput).empty());
  }
  EXPECT_EQ(log.lines().size(), 2U);
  input_device.setSelectedDevice(kDevice);
  hardware.bytes = bytesOf(AudioBufferList{1, nullptr}, AudioBuffer{1, 0, nullptr}); // as streams these are eight
  EXPECT_EQ(input_device.inputs(), Lines{"1 - Input 1"});
  EXPECT_EQ(input_device.outputs(), Lines{"1 - Output 1"});
}

// Setting the same delegate and selecting the same device again tears everything down and builds it up.
TEST_F(AudioObjectTest, ListensAndRunsForItsDelegatesInOrder) {
  const std::string sides[] = {"nsr# glob", "nsrt glob", "ssc# glob", "ssrc glob",
                               "csc# glob", "csrc glob", "stm# inpt", "slay inpt"};
  Lines down, up, stop = {"- 7 over glob", "stop 7", "removeIO 7"}, start = {"addIO 7", "start 7", "+ 7 over glob"};
  for (const auto& property : sides) down.push_back("- 7 " + property), up.push_back("+ 7 " + property);
  const auto expect = [this](const std::vector<Lines>& parts) {
    Lines expected;
    for (const auto& part : parts) expected.insert(expected.end(), part.begin(), part.end());
    EXPECT_EQ(hardware.takeCalls(), expected);
  };
  AudioObjectDelegate delegate;
  object.setIODelegate(nullptr);
  object.setDelegate(&delegate);
  object.setDelegate(&delegate);
  object.setDelegate(nullptr);
  expect({up, down, up, down});
  for (int i = 0; i < 2; i++) input_device.setSelectedDevice(kDevice);
  EXPECT_EQ(input_device.selectedDevice(), 7);
  input_device.unselectDevice();
  expect({up, start, stop, down, up, start, stop, down});
  const Lines messages = observer.take();
  ASSERT_EQ(messages.size(), 15U);
  EXPECT_EQ(Lines(messages.begin() + 10, messages.end()),
            (Lines{"updateSampleRates", "updateClockSources", "updateDataSources", "updateBufferFrameSizeRange",
                   "updateChannels"}));
  input_device.awake();
  expect({{"set8 1 rnlp glob", "+ 1 dev# glob", "set4 1 slep glob"}});
}

TEST_F(AudioObjectTest, WithoutADeviceAnswersNothingAndSetsNothing) {
  const auto& device = input_device;
  EXPECT_EQ(std::max({device.selectedDevice(), device.sampleRate(), device.dataSource(), device.clockSource()}), -1);
  EXPECT_TRUE(device.bufferFrameSize() == 0 && !device.bufferFrameSizeRange() && device.sampleRates().empty());
  EXPECT_TRUE(device.devices().empty() && device.dataSources().empty() && device.clockSources().empty());
  EXPECT_TRUE(device.inputs().empty() && device.outputs().empty());
  for (const auto set : {&InputDevice::setDataSource, &InputDevice::setClockSource, &InputDevice::setBufferFrameSize})
    (input_device.*set)(1);
  input_device.setSampleRate(48000);
  EXPECT_EQ(hardware.takeCalls(), Lines{});
  EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(AudioObjectTest, RelaysEachChangeOnceInOrder) {
  // clang-format off
  const std::pair<uint32_t, const char*> cases[] = {
      {0x64657623, "updateDevices"}, {0x6e737223, "updateSampleRates"}, {0x6e737274, "updateSampleRate"},
      {0x63736323, "updateClockSources"}, {0x63737263, "updateClockSource"}, {0x73736323, "updateDataSources"},
      {0x73737263, "updateDataSource"}, {0x66737a23, "updateBufferFrameSizeRange"}, {0x73746d23, "updateChannels"},
      {0x6673697a, "updateBufferFrameSize"}, {0x736c6179, "updateChannels"}, {0x6f766572, "processorOverload"},
      {0x6e737274, "updateSampleRate"}}; // a second time
  // clang-format on
  std::vector<AudioObjectPropertyAddress> addresses = {{fourCharCode("none"), 0, 0}};
  Lines expected = {"updateDevices"}; // by awake()
  for (const auto& [selector, message] : cases) addresses.push_back({selector, 1, 2}), expected.emplace_back(message);
  input_device.awake();
  EXPECT_EQ(audioObjectListener(kDevice, 14, addresses.data(), hardware.listener), 0);
  EXPECT_EQ(audioObjectListener(kDevice, 0, addresses.data(), hardware.listener), 0);
  EXPECT_EQ(audioObjectListener(kDevice, 2, addresses.data(), nullptr), 0);
  EXPECT_EQ(observer.take(), expected);
}

} // namespace
} // namespace vurl
