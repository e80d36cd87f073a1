#include "hardware/HardwareModel.h"

#include "hardware/AudioSystemObject.h"
#include "hardware/DeviceList.h"
#include "platform/PollRunLoop.h"
#include "tests/hardware/FakeHardware.h"
#include "tests/support/CapturedLog.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>

namespace vurl {
namespace {

constexpr uint32_t kGlobal = kAudioObjectPropertyScopeGlobal;
constexpr uint32_t kInput = kAudioDevicePropertyScopeInput;
using Lines = std::vector<std::string>;

class FakeService final : public AudioService {
public:
  OSStatus start(AudioObjectID, const IOProc&) override { return nr_starts++, start_status; }
  void stop(AudioObjectID) override { nr_stops++; }
  OSStatus setBufferFrameSize(AudioObjectID device, uint32_t frames) override {
    auto description = *model->description(device);
    description.buffer_frame_size = frames;
    model->update(device, description);
    return 0;
  }
  HardwareModel* model = nullptr;
  OSStatus start_status = 0;
  int nr_starts = 0;
  int nr_stops = 0;
};

/// Notes every call as "SELECTOR SCOPE, SELECTOR SCOPE", and does something in it when asked.
struct Ear {
  Lines calls;
  std::function<void()> then;

  static OSStatus hear(AudioObjectID, uint32_t count, const AudioObjectPropertyAddress* addresses, void* self) {
    auto& ear = *static_cast<Ear*>(self);
    std::string call;
    for (uint32_t i = 0; i < count; i++)
      call += (i > 0 ? ", " : "") + fourCharText(addresses[i].mSelector) + " " + fourCharText(addresses[i].mScope);
    ear.calls.push_back(call);
    if (ear.then) ear.then();
    return 0;
  }
};

class HardwareModelTest : public testing::Test {
protected:
  HardwareModelTest() {
    service.model = model.get();
    RunLoop* const loop = &run_loop;
    model->AudioObjectSetPropertyData(kAudioObjectSystemObject, {kAudioHardwarePropertyRunLoop, kGlobal}, sizeof loop,
                                      &loop);
    description.manufacturer = "Maker";
    description.name = "Box";
    description.inputs = {{"Analog", 2}, {"", 1}};
    description.outputs = {{"Out", 4}};
    description.nominal_sample_rates = {44100, 48000};
    description.nominal_sample_rate = 48000;
    description.buffer_frame_size_range = {16, 4096};
    description.buffer_frame_size = 256;
    description.clock_sources = {{3, "Internal"}, {5, "Word clock"}};
    description.clock_source = 5;
    device = model->publish(service, description);
    run_loop.drain();
  }

  void listen(Ear& ear, AudioObjectID object, uint32_t selector, uint32_t scope) {
    EXPECT_EQ(model->AudioObjectAddPropertyListener(object, {selector, scope}, Ear::hear, &ear), 0);
  }
  void unlisten(Ear& ear, AudioObjectID object, uint32_t selector, uint32_t scope) {
    EXPECT_EQ(model->AudioObjectRemovePropertyListener(object, {selector, scope}, Ear::hear, &ear), 0);
  }

  PollRunLoop run_loop;
  FakeService service;
  std::unique_ptr<HardwareModel> model = std::make_unique<HardwareModel>();
  DeviceDescription description;
  AudioObjectID device = 0;
};

TEST_F(HardwareModelTest, TellsWhatADeviceConsistsOf) {
  auto rows = describeDevices(*model);
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0].name, "Maker - Box");
  EXPECT_EQ(rows[0].nr_inputs, 3U);
  EXPECT_EQ(rows[0].nr_outputs, 4U);
  const AudioDevice box(*model, device);
  EXPECT_EQ(box.availableNominalSampleRates(), (std::vector<AudioValueRange>{{44100, 44100}, {48000, 48000}}));
  EXPECT_EQ(box.bufferFrameSizeRange(), (AudioValueRange{16, 4096}));
  EXPECT_EQ(box.clockSources(), (std::vector<uint32_t>{3, 5}));
  EXPECT_EQ(box.clockSource(), 5U);
  EXPECT_EQ(box.clockSourceNameForID(3), "Internal");
  EXPECT_EQ(box.streamsForScope(kInput).at(0)->name(), "Analog");
  EXPECT_EQ(box.streamsForScope(kInput).at(1)->name(), std::nullopt);
  EXPECT_TRUE(box.dataSources().empty());
  EXPECT_EQ(box.dataSource(), 0xFFFFFFFF);
  EXPECT_TRUE(model->sleepingIsAllowed());
  AudioSystemObject(*model).setSleepingIsAllowed(false);
  EXPECT_FALSE(model->sleepingIsAllowed());
}

TEST_F(HardwareModelTest, RefusesWithTheRightStatus) {
  double number = 0;
  uint32_t size = sizeof number;
  const AudioObjectPropertyAddress rate{kAudioDevicePropertyNominalSampleRate, kGlobal};
  const AudioObjectPropertyAddress shape{kAudioDevicePropertyStreamConfiguration, kInput};
  EXPECT_EQ(model->AudioObjectGetPropertyData(99, rate, size, &number), kAudioHardwareBadObjectError);
  EXPECT_EQ(model->AudioObjectGetPropertyData(device, {fourCharCode("none"), kGlobal}, size, &number),
            kAudioHardwareUnknownPropertyError);
  EXPECT_EQ(model->AudioObjectGetPropertyData(device, shape, size, &number), kAudioHardwareBadPropertySizeError);
  EXPECT_EQ(model->AudioObjectSetPropertyData(device, rate, 4, &number), kAudioHardwareBadPropertySizeError);
  EXPECT_EQ(model->AudioObjectSetPropertyData(device, rate, 8, &number), kAudioHardwareIllegalOperationError);
  EXPECT_EQ(model->AudioObjectSetPropertyData(device, {kAudioObjectPropertyName, kGlobal}, 8, &number),
            kAudioHardwareIllegalOperationError);
  EXPECT_EQ(model->AudioDeviceStart(device, audioDeviceIOProc), kAudioHardwareBadDeviceError);
  size = 4;
  EXPECT_EQ(model->AudioObjectGetPropertyData(device, rate, size, &number), kAudioHardwareBadPropertySizeError);
}

TEST_F(HardwareModelTest, NotifiesAllThatDiffersInOneCallForEachListener) {
  Ear rates, everything, sources, other_object;
  listen(rates, device, kAudioDevicePropertyNominalSampleRate, kGlobal);
  listen(rates, device, kAudioDevicePropertyBufferFrameSize, kGlobal);
  listen(rates, device, kAudioDevicePropertyBufferFrameSizeRange, kGlobal);
  listen(everything, device, kAudioObjectPropertySelectorWildcard, kAudioObjectPropertyScopeWildcard);
  listen(sources, device, kAudioDevicePropertyClockSource, kGlobal); // it lives on the input side
  listen(other_object, kAudioObjectSystemObject, kAudioObjectPropertySelectorWildcard, kGlobal);
  description.nominal_sample_rate = 44100;
  description.buffer_frame_size = 64;
  description.clock_source = 3;
  model->update(device, description);
  EXPECT_TRUE(rates.calls.empty());
  run_loop.drain();
  EXPECT_EQ(rates.calls, Lines{"nsrt glob, fsiz glob"});
  EXPECT_EQ(everything.calls, Lines{"nsrt glob, csrc inpt, csrc glob, fsiz glob"});
  EXPECT_EQ(sources.calls, Lines{"csrc glob"});
  model->update(device, description);
  run_loop.drain();
  EXPECT_EQ(rates.calls.size(), 1U);
  description.inputs.push_back({"More", 8});
  model->update(device, description);
  run_loop.drain();
  EXPECT_EQ(everything.calls.back(), "stm# inpt, stm# glob, slay inpt, slay glob");
  const uint32_t frames = 128;
  model->AudioObjectSetPropertyData(device, {kAudioDevicePropertyBufferFrameSize, kGlobal}, 4, &frames);
  run_loop.drain();
  EXPECT_EQ(rates.calls.back(), "fsiz glob");
  EXPECT_TRUE(other_object.calls.empty());
}

TEST_F(HardwareModelTest, RemovedListenersHearNothingMore) {
  Ear first, second;
  const uint32_t over = kAudioDeviceProcessorOverload;
  listen(first, device, over, kGlobal);
  listen(second, device, over, kGlobal);
  model->notifyOverload(device);
  unlisten(first, device, over, kGlobal);
  run_loop.drain(); // removed after the change, before its delivery
  EXPECT_EQ(first.calls.size(), 0U);
  EXPECT_EQ(second.calls.size(), 1U);
  listen(first, device, over, kGlobal);
  second.then = [&] { unlisten(first, device, over, kGlobal); };
  model->notifyOverload(device);
  run_loop.drain(); // removed by another listener of the same delivery
  EXPECT_EQ(first.calls.size(), 0U);
  second.then = [&] { model.reset(); };
  listen(first, device, over, kGlobal);
  std::thread([&] { model->notifyOverload(device); }).join();
  model->notifyOverload(device);
  run_loop.drain(); // the model goes with its first delivery
  EXPECT_EQ(second.calls.size(), 3U);
  EXPECT_EQ(first.calls.size(), 0U);
}

TEST_F(HardwareModelTest, ListsDevicesInOrderAndTellsOfNoneTwice) {
  Ear ear;
  listen(ear, kAudioObjectSystemObject, kAudioHardwarePropertyDevices, kGlobal);
  description.sort_order = 5;
  const auto last = model->publish(service, description);
  description.sort_order = -1;
  const auto first = model->publish(service, description);
  std::vector<AudioObjectID> ids;
  for (const auto& row : describeDevices(*model)) ids.push_back(row.id);
  EXPECT_EQ(ids, (std::vector<AudioObjectID>{first, device, last}));
  run_loop.drain();
  EXPECT_EQ(ear.calls, (Lines{"dev# glob", "dev# glob"}));
  model->unpublish(last);
  model->unpublish(last);
  run_loop.drain();
  EXPECT_EQ(ear.calls.size(), 3U);
}

TEST_F(HardwareModelTest, ADeviceThatGoesIsStoppedAndLeavesQuietly) {
  const CapturedLog log;
  AudioObjectDelegate nobody;
  {
    AudioDevice box(*model, device);
    box.setDelegate(&nobody);
    EXPECT_EQ(model->AudioDeviceAddIOProc(device, audioDeviceIOProc, &box), 0);
    EXPECT_EQ(model->AudioDeviceAddIOProc(device, audioDeviceIOProc, &box), kAudioHardwareIllegalOperationError);
    EXPECT_EQ(model->AudioDeviceStart(device, audioDeviceIOProc), 0);
    EXPECT_EQ(model->AudioDeviceStart(device, audioDeviceIOProc), 0);
    EXPECT_EQ(service.nr_starts, 1);
    model->unpublish(device);
    EXPECT_EQ(service.nr_stops, 1);
  }
  EXPECT_EQ(service.nr_stops, 1);
  EXPECT_EQ(log.lines(), Lines{});
  AudioDevice gone(*model, device);
  gone.setDelegate(&nobody);
  EXPECT_EQ(log.lines().size(), 8U);
}

} // namespace
} // namespace vurl
