// The model and the test generator: what its device does, and how its changes are told.
#include "hardware/DeviceList.h"
#include "tests/hardware/ServiceRig.h"

namespace vurl {

constexpr uint32_t kGlobal = kAudioObjectPropertyScopeGlobal;
using Lines = std::vector<std::string>;

/// Notes every call as the selectors in it, and does something in it when asked.
struct Ear {
  Lines calls;
  std::function<void()> then;
  static OSStatus hear(AudioObjectID, uint32_t count, const AudioObjectPropertyAddress* addresses, void* self) {
    auto& ear = *static_cast<Ear*>(self);
    ear.calls.emplace_back();
    for (uint32_t i = 0; i < count; i++) ear.calls.back() += fourCharText(addresses[i].mSelector) + " ";
    if (ear.then) ear.then();
    return 0;
  }
};

TEST(HardwareModelTest, TellsEachListenerOfAChangeInOneCall) {
  GeneratorRig rig;
  Ear rates, everything, source;
  const AudioObjectID device = rig.generator.device();
  AudioSystemObject(rig.model).setRunLoop(&rig.run_loop);
  const auto listen = [&](Ear& ear, uint32_t selector, uint32_t scope = kGlobal) {
    EXPECT_EQ(rig.model.AudioObjectAddPropertyListener(device, {selector, scope}, Ear::hear, &ear), 0);
  };
  listen(rates, kAudioDevicePropertyNominalSampleRate);
  listen(rates, kAudioDevicePropertyBufferFrameSize);
  listen(everything, kAudioObjectPropertySelectorWildcard, kAudioObjectPropertyScopeWildcard);
  listen(source, kAudioDevicePropertyClockSource); // it lives on the input side
  auto description = *rig.model.description(device);
  description.nominal_sample_rate = 44100;
  description.buffer_frame_size = 64;
  description.clock_source = 2;
  for (int i = 0; i < 2; i++) rig.model.update(device, description); // the second one changes nothing
  EXPECT_TRUE(rates.calls.empty());
  rig.run_loop.drain();
  EXPECT_EQ(rates.calls, Lines{"nsrt fsiz "});
  EXPECT_EQ(everything.calls, Lines{"nsrt csrc csrc fsiz "});
  EXPECT_EQ(source.calls, Lines{"csrc "});
  description.inputs.pop_back();
  rig.model.update(device, description);
  rig.run_loop.drain();
  EXPECT_EQ(everything.calls.back(), "stm# stm# slay slay ");
}

TEST(HardwareModelTest, ItsChangesReachTheInputDeviceUntilThatIsUnselected) {
  GeneratorRig rig;
  const AudioObjectID device = rig.generator.device();
  rig.input_device.awake();
  rig.input_device.setSelectedDevice(device);
  rig.observer.take();
  auto description = *rig.model.description(device);
  description.inputs = {{"Analog", 2}, {"", 1}, {"Silent", 0}, {"Tail", 2}};
  description.nominal_sample_rate = 44100.9;
  description.nominal_sample_rates = {96000, 8000.5};
  description.data_sources = description.clock_sources = {{5, "five"}};
  description.data_source = description.clock_source = 5;
  rig.model.update(device, description);
  rig.model.notifyOverload(device);
  rig.run_loop.drain();
  EXPECT_EQ(rig.observer.take(),
            (Lines{"updateChannels", "updateChannels", "updateSampleRates", "updateSampleRate", "updateDataSources",
                   "updateDataSource", "updateClockSources", "updateClockSource", "processorOverload"}));
  EXPECT_EQ(rig.input_device.inputs(),
            (Lines{"1 - Analog 1", "2 - Analog 2", "3 - Input 1", "4 - Tail 1", "5 - Tail 2"}));
  EXPECT_EQ(rig.input_device.sampleRate(), 44100);
  EXPECT_EQ(rig.input_device.sampleRates(), (std::vector<int32_t>{96000, 8000}));
  rig.input_device.unselectDevice();
  rig.observer.take();
  rig.model.update(device, {});
  rig.model.notifyOverload(device);
  rig.run_loop.drain();
  EXPECT_EQ(rig.observer.take(), Lines{});
}

TEST(HardwareModelTest, AbsentObjectsGiveNeutralValuesAndALineEach) {
  const CapturedLog log;
  HardwareModel model;
  AudioDevice absent{model, 77};
  constexpr AudioObjectPropertyAddress kAddress{fourCharCode("test"), kGlobal};
  EXPECT_EQ(absent.getFloatProperty(kAddress), 0);
  EXPECT_EQ(absent.getIDProperty(kAddress), 0xFFFFFFFF);
  EXPECT_EQ(absent.name(), std::nullopt);
  EXPECT_TRUE(absent.getArrayOfIDsProperty(kAddress).empty());
  absent.setIDProperty(kAddress, 1);
  absent.listenForProperty(kAddress);
  Lines lines;
  for (const char* call : {"getFloat", "getID", "getString", "setFloat", "listenFor"})
    lines.push_back(text("error in AudioObject::%sProperty()", call));
  EXPECT_EQ(log.lines(), lines);
}

TEST(HardwareModelTest, RemovedListenersHearNothingMore) {
  Ear first, second;
  PollRunLoop run_loop;
  auto model = std::make_unique<HardwareModel>();
  AudioSystemObject(*model).setRunLoop(&run_loop);
  const AudioObjectID object = kAudioObjectSystemObject;
  const AudioObjectPropertyAddress over{kAudioDeviceProcessorOverload, kGlobal};
  const auto removeFirst = [&] { model->AudioObjectRemovePropertyListener(object, over, Ear::hear, &first); };
  const auto happen = [&] {
    for (Ear* ear : {&first, &second}) model->AudioObjectAddPropertyListener(object, over, Ear::hear, ear);
    std::thread([&] { model->notifyOverload(object); }).join();
  };
  happen();
  removeFirst(); // after the change, before its delivery
  run_loop.drain();
  second.then = removeFirst; // by another listener of the same delivery
  happen();
  run_loop.drain();
  second.then = [&] { model.reset(); }; // the model goes with its first delivery
  happen();
  model->notifyOverload(object);
  run_loop.drain();
  EXPECT_EQ(second.calls.size(), 3U);
  EXPECT_EQ(first.calls.size(), 0U);
}

TEST_F(GeneratorTest, PlaysTonesOrItsOutputsWithoutASeam) {
  std::array<std::vector<float>, 64> tape;
  rig.delegate.in_cycle = [&](const AudioBufferList& inputs, const AudioBufferList& outputs) {
    for (size_t i = 0; i < inputs.mNumberBuffers; i++)
      for (size_t k = 0; k < samplesOf(inputs.mBuffers[i]).size(); k++) {
        tape[i * 8 + k % 8].push_back(samplesOf(inputs.mBuffers[i])[k]);
        samplesOf(outputs.mBuffers[i])[k] = static_cast<float>(i * 8 + k % 8 + 1) / 64;
      }
  };
  rig.generator.setPaced(false);
  rig.input_device.setSelectedDevice(rig.device());
  rig.input_device.setSampleRate(96000);
  rig.input_device.setBufferFrameSize(1000);
  rig.generator.step(100);
  rig.input_device.setDataSource(GeneratorHardware::kLoopBack);
  rig.generator.step(1);
  for (const size_t channel : {0U, 1U, 8U, 62U, 63U}) {
    const auto& samples = tape[channel];
    ASSERT_EQ(samples.size(), 101000U);
    for (size_t n = 0; channel < 63 && n < 100000; n++) { // -20 dBFS, 100 Hz and its multiples
      const double phase = 100.0 * static_cast<double>((channel + 1) * n) / 96000;
      ASSERT_NEAR(samples[n], 0.1 * std::sin(2 * M_PI * phase), 1e-6) << channel << " at " << n;
    }
    for (size_t n = 100000; n < 101000; n++) ASSERT_EQ(samples[n], static_cast<float>(channel + 1) / 64);
  }
}

TEST_F(GeneratorTest, TellsOfSamplesLostWhenItIsHeldUpForMoreThanASecond) {
  rig.delegate.in_cycle = sleepOnce(1500);
  rig.input_device.setSelectedDevice(rig.device());
  ASSERT_TRUE(rig.waitForCycles(60));
  rig.runFor(std::chrono::milliseconds(200));
  EXPECT_TRUE(rig.observer.has("processorOverload"));
  EXPECT_TRUE(rig.delegate.has_gap);
}

TEST_F(GeneratorTest, IsListedLastAndLeavesQuietlyWhileItRuns) {
  const CapturedLog log;
  ASSERT_TRUE(rig.select());
  const auto other = rig.model.publish(rig.generator, {});
  EXPECT_EQ(describeDevices(rig.model).at(0).id, other);
  rig.run_loop.drain();
  rig.observer.take();
  rig.generator.setPublished(false);
  const int count = rig.delegate.nr_cycles;
  rig.runFor(std::chrono::milliseconds(30));
  EXPECT_EQ(rig.delegate.nr_cycles, count);
  EXPECT_EQ(rig.observer.take(), std::vector<std::string>{"updateDevices"});
  rig.input_device.unselectDevice();
  EXPECT_TRUE(log.lines().empty());
}

} // namespace vurl
