// What holds for every audio service, run on each.
#include "hardware/DeviceList.h"
#include "tests/hardware/ServiceRig.h"

#include <gtest/gtest.h>

namespace vurl {
namespace {

struct ServiceCase {
  const char* name;
  std::unique_ptr<ServiceRig> (*make)();
  bool has_rates; ///< more than one, to choose from
  bool has_sources;
};

class AudioServiceTest : public testing::TestWithParam<ServiceCase> {
protected:
  void SetUp() override {
    rig = GetParam().make();
    rig->input_device.awake();
    ASSERT_TRUE(rig->wait([&] { return rig->find(rig->name()) != 0; }));
    device = rig->find(rig->name());
    rig->run_loop.drain();
    rig->observer.take();
  }

  void TearDown() override {
    rig->input_device.unselectDevice();
    EXPECT_STREQ(rig->delegate.fault.load(), nullptr);
  }

  void select() {
    rig->input_device.setSelectedDevice(device);
    ASSERT_TRUE(rig->waitForCycles(5));
    rig->observer.take();
  }

  std::unique_ptr<ServiceRig> rig;
  uint32_t device = 0;
};

TEST_P(AudioServiceTest, ListsItsDevice) {
  const auto rows = describeDevices(rig->model);
  const auto row = std::ranges::find(rows, device, &DeviceRow::id);
  ASSERT_NE(row, rows.end());
  EXPECT_EQ(row->nr_inputs, 64U);
  EXPECT_EQ(row->nr_outputs, 64U);
  EXPECT_EQ(row->sample_rate, 48000);
  EXPECT_EQ(row->buffer_frame_size, 256U);
}

TEST_P(AudioServiceTest, RunsCyclesOfItsSizeAndNamesItsChannels) {
  select();
  EXPECT_EQ(rig->delegate.nr_channels, 64U);
  EXPECT_EQ(rig->delegate.nr_frames, 256U);
  for (const auto& names : {rig->input_device.inputs(), rig->input_device.outputs()}) {
    ASSERT_EQ(names.size(), 64U);
    for (size_t i = 0; i < names.size(); i++) EXPECT_EQ(names[i].find(std::to_string(i + 1) + " - "), 0U) << names[i];
  }
}

TEST_P(AudioServiceTest, StopsForGoodAndStaysInTheList) {
  for (int i = 0; i < 10; i++) {
    select();
    rig->input_device.unselectDevice();
    EXPECT_FALSE(rig->delegate.is_inside);
    const int count = rig->delegate.nr_cycles;
    rig->runFor(std::chrono::milliseconds(20));
    EXPECT_EQ(rig->delegate.nr_cycles, count);
    EXPECT_FALSE(rig->observer.has("updateDevices"));
    EXPECT_EQ(rig->find(rig->name()), device);
  }
}

TEST_P(AudioServiceTest, FollowsTheBufferSizeWithinItsRange) {
  select();
  struct Sizes final : AudioObjectDelegate {
    void bufferFrameSizeChanged() override { nr_changes++; }
    int nr_changes = 0;
  } sizes;
  AudioObjectDelegate* const client_data = &sizes;
  const AudioObjectPropertyAddress address{kAudioDevicePropertyBufferFrameSize, kAudioObjectPropertyScopeGlobal};
  rig->model.AudioObjectAddPropertyListener(device, address, audioObjectListener, client_data);
  for (const uint32_t frames : {512U, 64U, 256U}) {
    sizes.nr_changes = 0;
    rig->input_device.setBufferFrameSize(frames);
    EXPECT_EQ(rig->input_device.bufferFrameSize(), frames);
    EXPECT_TRUE(rig->wait([&] { return rig->delegate.nr_frames == frames; }));
    EXPECT_TRUE(rig->wait([&] { return sizes.nr_changes > 0; }));
  }
  const auto range = rig->input_device.bufferFrameSizeRange();
  ASSERT_TRUE(range);
  for (const double frames : {range->mMinimum - 1, range->mMaximum + 1}) {
    rig->input_device.setBufferFrameSize(static_cast<uint32_t>(frames));
    EXPECT_EQ(rig->input_device.bufferFrameSize(), 256U);
  }
  EXPECT_TRUE(rig->waitForCycles(5));
  rig->model.AudioObjectRemovePropertyListener(device, address, audioObjectListener, client_data);
}

TEST_P(AudioServiceTest, FollowsTheRatesItHas) {
  select();
  const auto rates = rig->input_device.sampleRates();
  EXPECT_EQ(rates.size() > 1, GetParam().has_rates);
  for (const int32_t rate : rates) {
    const bool changes = rate != rig->input_device.sampleRate();
    rig->observer.take();
    rig->input_device.setSampleRate(rate);
    EXPECT_EQ(rig->input_device.sampleRate(), rate);
    EXPECT_TRUE(!changes || rig->wait([&] { return rig->observer.has("updateSampleRate"); }));
    EXPECT_TRUE(rig->waitForCycles(2));
  }
  const int32_t before = rig->input_device.sampleRate();
  rig->input_device.setSampleRate(12345);
  EXPECT_EQ(rig->input_device.sampleRate(), before);
}

TEST_P(AudioServiceTest, FollowsTheSourcesItHas) {
  select();
  const auto data_sources = rig->input_device.dataSources();
  const auto clock_sources = rig->input_device.clockSources();
  EXPECT_EQ(!data_sources.empty(), GetParam().has_sources);
  EXPECT_EQ(!clock_sources.empty(), GetParam().has_sources);
  for (const auto& [id, name] : data_sources) {
    rig->input_device.setDataSource(id);
    EXPECT_EQ(rig->input_device.dataSource(), static_cast<int32_t>(id)) << name;
  }
  for (const auto& [id, name] : clock_sources) {
    rig->input_device.setClockSource(id);
    EXPECT_EQ(rig->input_device.clockSource(), static_cast<int32_t>(id)) << name;
  }
  if (GetParam().has_sources) {
    EXPECT_TRUE(rig->wait([&] { return rig->observer.has("updateDataSource"); }));
    EXPECT_TRUE(rig->wait([&] { return rig->observer.has("updateClockSource"); }));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Services, AudioServiceTest,
    testing::Values(
        ServiceCase{"Generator", []() -> std::unique_ptr<ServiceRig> { return std::make_unique<GeneratorRig>(); }, true,
                    true},
        ServiceCase{"Jack", []() -> std::unique_ptr<ServiceRig> { return std::make_unique<JackRig>(); }, false, false}),
    [](const auto& service) { return service.param.name; });

} // namespace
} // namespace vurl
