// The model and the test generator: what its device does, and how its changes are told.
#include "tests/hardware/ServiceRig.h"

namespace vurl {

constexpr uint32_t kGlobal = kAudioObjectPropertyScopeGlobal;
using Lines = std::vector<std::string>;

TEST_F(GeneratorTest, ItsChangesReachTheInputDeviceUntilThatIsUnselected) {
  const AudioObjectID device = rig.device();
  ASSERT_TRUE(rig.select());
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
  const AudioObjectPropertyAddress unknown{fourCharCode("none"), kGlobal},
      buffer{kAudioDevicePropertyBufferFrameSize, kGlobal};
  EXPECT_FALSE(
      rig.model.AudioObjectHasProperty(device, {kAudioDevicePropertyDataSources, kAudioDevicePropertyScopeOutput}));
  uint32_t size = 3;
  EXPECT_EQ(rig.model.AudioObjectGetPropertyData(device, unknown, size, &size),
            OSStatus{kAudioHardwareUnknownPropertyError});
  for (const OSStatus status : {rig.model.AudioObjectGetPropertyData(device, buffer, size, &size),
                                rig.model.AudioObjectSetPropertyData(device, buffer, 3, &size)})
    EXPECT_EQ(status, OSStatus{kAudioHardwareBadPropertySizeError});
  rig.input_device.unselectDevice();
  rig.observer.take();
  rig.model.update(device, {});
  rig.model.notifyOverload(device);
  rig.run_loop.drain();
  EXPECT_EQ(rig.observer.take(), Lines{});
}

TEST(HardwareModelTest, RemovedListenersHearNothingMore) {
  int nr_calls = 0;
  Listener then, first = [] { FAIL() << "it has been removed"; }, second = [&] {
    nr_calls++;
    if (then) then();
  };
  PollRunLoop run_loop;
  auto model = std::make_unique<HardwareModel>();
  AudioSystemObject(*model).setRunLoop(&run_loop);
  const AudioObjectID object = kAudioObjectSystemObject;
  const AudioObjectPropertyAddress over{kAudioDeviceProcessorOverload, kGlobal};
  const AudioObjectPropertyAddress any{kAudioObjectPropertySelectorWildcard, kAudioObjectPropertyScopeWildcard};
  const AudioObjectPropertyAddress any_global{kAudioObjectPropertySelectorWildcard, kGlobal};
  const auto removeFirst = [&] { model->AudioObjectRemovePropertyListener(object, over, hear, &first); };
  const auto happen = [&] {
    model->AudioObjectAddPropertyListener(object, over, hear, &first);
    for (const auto& address : {any, any_global}) // it hears of it once all the same
      model->AudioObjectAddPropertyListener(object, address, hear, &second);
    std::thread([&] { model->notifyOverload(object); }).join();
  };
  happen();
  removeFirst(); // after the change, before its delivery
  run_loop.drain();
  then = removeFirst; // by another listener of the same delivery
  happen();
  run_loop.drain();
  then = [&] { model.reset(); }; // the model goes with its first delivery
  happen();
  model->notifyOverload(object);
  run_loop.drain();
  EXPECT_EQ(nr_calls, 3);
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

} // namespace vurl
