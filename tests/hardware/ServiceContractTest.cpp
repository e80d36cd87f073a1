// What the object model promises of every device, run on each service: properties, listeners, cycles, and their end.
#include "platform/guard/RealTimeGuard.h"
#include "tests/hardware/ServiceRig.h"

namespace vurl {
namespace {

constexpr uint32_t kGlobal = kAudioObjectPropertyScopeGlobal;
constexpr uint32_t kInput = kAudioDevicePropertyScopeInput;
constexpr uint32_t kOutput = kAudioDevicePropertyScopeOutput;
using Address = AudioObjectPropertyAddress;

template <typename Rig>
class ServiceContractTest : public AudioServiceTest<Rig> {
protected:
  /// The property's bytes as values of `Value`; none when the device does not have it.
  template <typename Value>
  std::vector<Value> read(const Address& address) {
    uint32_t size = 0;
    if (model.AudioObjectGetPropertyDataSize(device, address, size) != 0) return {};
    EXPECT_EQ(size % sizeof(Value), 0U) << address.mSelector;
    std::vector<Value> values(size / sizeof(Value));
    EXPECT_EQ(model.AudioObjectGetPropertyData(device, address, size, values.data()), 0);
    EXPECT_EQ(size, values.size() * sizeof(Value));
    return values;
  }

  /// Runs the device until cycles come, and stops it; whether they came.
  bool startAndStop() {
    AudioDevice audio(model, device);
    const int before = this->rig.delegate.nr_cycles;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    audio.setIODelegate(&this->rig.delegate);
    while (this->rig.delegate.nr_cycles < before + 1 && std::chrono::steady_clock::now() < end) usleep(100);
    audio.setIODelegate(nullptr);
    return this->rig.delegate.nr_cycles >= before + 1;
  }

  HardwareModel& model = this->rig.model;
  AudioObjectID device = kAudioObjectUnknown;
  void SetUp() override {
    AudioServiceTest<Rig>::SetUp();
    device = this->rig.device();
  }
};

using Services = testing::Types<GeneratorRig, JackRig, AlsaRig>;
TYPED_TEST_SUITE(ServiceContractTest, Services);

TYPED_TEST(ServiceContractTest, ItsPropertiesFitTogether) {
  ASSERT_TRUE(this->startAndStop()); // a service may know more of a device once it has run
  const auto rates = this->template read<AudioValueRange>({kAudioDevicePropertyAvailableNominalSampleRates, kGlobal});
  const auto rate = this->template read<double>({kAudioDevicePropertyNominalSampleRate, kGlobal});
  const auto range = this->template read<AudioValueRange>({kAudioDevicePropertyBufferFrameSizeRange, kGlobal});
  const auto frames = this->template read<uint32_t>({kAudioDevicePropertyBufferFrameSize, kGlobal});
  ASSERT_TRUE(rate.size() == 1 && range.size() == 1 && frames.size() == 1);
  EXPECT_TRUE(std::ranges::any_of(rates, [&](auto& r) { return r.mMinimum <= rate[0] && rate[0] <= r.mMaximum; }));
  EXPECT_TRUE(range[0].mMinimum <= frames[0] && frames[0] <= range[0].mMaximum);
  const AudioDevice audio(this->model, this->device);
  for (const uint32_t scope : {kInput, kOutput}) {
    const auto streams = this->template read<AudioObjectID>({kAudioDevicePropertyStreams, scope});
    EXPECT_EQ(streams.size(), audio.streamConfigurationForScope(scope).size());
    for (const AudioObjectID stream : streams) EXPECT_NE(AudioStream(this->model, stream).name().value_or(""), "");
  }
  using enum AudioPropertySelector;
  for (const auto& [list, chosen, name] : {std::tuple{kAudioDevicePropertyDataSources, kAudioDevicePropertyDataSource,
                                                      kAudioDevicePropertyDataSourceNameForIDCFString},
                                           {kAudioDevicePropertyClockSources, kAudioDevicePropertyClockSource,
                                            kAudioDevicePropertyClockSourceNameForIDCFString}}) {
    const auto ids = this->template read<uint32_t>({list, kInput});
    const auto id = this->template read<uint32_t>({chosen, kInput});
    EXPECT_EQ(ids.empty(), id.empty());
    EXPECT_TRUE(id.empty() || std::ranges::count(ids, id.front()));
    EXPECT_EQ(this->model.AudioObjectHasProperty(this->device, {name, kInput}), !ids.empty());
    EXPECT_FALSE(this->model.AudioObjectHasProperty(this->device, {list, kOutput}));
  }
  uint32_t size = 3;
  const Address unknown{fourCharCode("none"), kGlobal}, buffer{kAudioDevicePropertyBufferFrameSize, kGlobal};
  EXPECT_EQ(this->model.AudioObjectGetPropertyData(this->device, unknown, size, &size),
            OSStatus{kAudioHardwareUnknownPropertyError});
  EXPECT_EQ(this->model.AudioObjectSetPropertyData(this->device, buffer, 3, &size),
            OSStatus{kAudioHardwareBadPropertySizeError});
}

/// Notes what it is told, and where.
struct Listener {
  static OSStatus hear(AudioObjectID object, uint32_t count, const Address* addresses, void* self) {
    auto& listener = *static_cast<Listener*>(self);
    for (uint32_t i = 0; i < count; i++) listener.heard.emplace_back(object, addresses[i].mSelector);
    listener.is_elsewhere = listener.is_elsewhere || std::this_thread::get_id() != listener.main_thread;
    return 0;
  }
  std::vector<std::pair<AudioObjectID, uint32_t>> heard;
  bool is_elsewhere = false;
  std::thread::id main_thread = std::this_thread::get_id();
};

TYPED_TEST(ServiceContractTest, ItsListenersHearOfAChangeOnceAndOnTheMainLoopOnly) {
  Listener one, all, removed;
  const Address frames{kAudioDevicePropertyBufferFrameSize, kGlobal};
  const Address any{kAudioObjectPropertySelectorWildcard, kAudioObjectPropertyScopeWildcard};
  ASSERT_TRUE(this->rig.select());
  for (int i = 0; i < 2; i++) this->model.AudioObjectAddPropertyListener(this->device, frames, Listener::hear, &one);
  this->model.AudioObjectAddPropertyListener(this->device, any, Listener::hear, &all);
  this->model.AudioObjectAddPropertyListener(this->device, any, Listener::hear, &removed);
  for (const uint32_t size : {512U, 512U, 128U}) {
    one.heard.clear();
    all.heard.clear();
    const bool is_news = this->rig.input_device.bufferFrameSize() != size;
    this->rig.input_device.setBufferFrameSize(size);
    EXPECT_TRUE(one.heard.empty()) << "told within the call";
    this->model.AudioObjectRemovePropertyListener(this->device, any, Listener::hear, &removed);
    EXPECT_TRUE(this->rig.wait([&] { return !is_news || !one.heard.empty(); }));
    this->rig.runFor(std::chrono::milliseconds(50));
    EXPECT_EQ(one.heard.size(), is_news ? 1U : 0U);
    EXPECT_EQ(std::ranges::count(all.heard, std::pair{this->device, frames.mSelector}), is_news ? 1 : 0);
  }
  EXPECT_TRUE(removed.heard.empty());
  EXPECT_FALSE(one.is_elsewhere || all.is_elsewhere);
  for (const auto& [address, listener] : {std::pair{frames, &one}, {any, &all}})
    this->model.AudioObjectRemovePropertyListener(this->device, address, Listener::hear, listener);
}

TYPED_TEST(ServiceContractTest, StartsAndStopsAThousandTimes) {
  constexpr int kTimes = kRealTimeGuardWorks ? 1000 : 100; // sanitizers make it slow
  ASSERT_TRUE(this->rig.makeQuick());
  this->device = this->rig.device();
  this->rig.run_loop.drain();
  this->rig.observer.take();
  int count = this->rig.delegate.nr_cycles;
  for (int i = 0; i < kTimes; i++) {
    ASSERT_EQ(this->rig.delegate.nr_cycles, count) << "a cycle behind stop " << i;
    ASSERT_TRUE(this->startAndStop()) << i;
    count = this->rig.delegate.nr_cycles;
    if (i % 100 == 99) this->rig.run_loop.drain();
  }
  EXPECT_FALSE(this->rig.observer.has("updateDevices"));
  EXPECT_TRUE(this->rig.select());
}

TYPED_TEST(ServiceContractTest, IsRemovedWhileItRunsAndComesBack) {
  for (int i = 0; i < 6; i++) {
    ASSERT_TRUE(i % 3 == 2 || this->rig.select()) << i; // merely known, or with cycles
    this->rig.observer.take();
    const uint32_t before = this->rig.device();
    this->rig.remove();
    ASSERT_TRUE(this->rig.wait([&] { return this->rig.device() == 0; })) << i;
    const int count = this->rig.delegate.nr_cycles;
    EXPECT_TRUE(this->rig.wait([&] { return this->rig.observer.has("updateDevices"); })) << i;
    EXPECT_EQ(this->rig.input_device.sampleRate(), i % 3 == 2 ? -1 : 0);
    EXPECT_TRUE(this->rig.input_device.inputs().empty() && this->rig.input_device.sampleRates().empty());
    this->rig.input_device.setBufferFrameSize(64);
    EXPECT_EQ(this->rig.delegate.nr_cycles, count);
    this->rig.input_device.unselectDevice();
    this->rig.putBack();
    ASSERT_TRUE(this->rig.wait([&] { return this->rig.device() != 0; })) << i;
    EXPECT_NE(this->rig.device(), before);
  }
  EXPECT_TRUE(this->rig.select());
}

} // namespace
} // namespace vurl
