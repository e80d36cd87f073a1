#include "tests/app/ControllerRig.h"
#include "tests/hardware/SteppedDevice.h"

namespace vurl {

using namespace std::string_literals;
using enum OutputFile::State;

class ControllerTest : public testing::Test, protected ControllerRig {
protected:
  /// Presses REC and lets the take run for `ticks`.
  void record(int ticks) {
    controller.recStopPressed(REC);
    time(ticks);
    ASSERT_EQ(output_file.state(), RUNNING_RECORDING);
  }
  void timeUntilIdle() {
    for (int i = 0; i < 100 && output_file.state() != IDLE; ++i) time(1);
    ASSERT_EQ(output_file.state(), IDLE);
  }
};

TEST_F(ControllerTest, CountersByTheirSwitches) {
  // clang-format off
  const std::tuple<std::vector<const char*>, std::string, bool, const char*> cases[] = {
      {{}, "12", true, "12/3/b/6/n/"}, {{}, "12", false, "12/3/b/1/n/"}, {{"clear_note"}, "12", false, "12/3/b/1//"},
      {{"increment_take"}, "7b", false, "8/3/b/1/n/"},
      {{"increment_take"}, "2147483647", false, "-2147483648/3/b/1/n/"},
      {{"increment_slate", "increment_roll"}, "12", false, "12/4/1/1/n/"},
      {{"increment_take", "clear_note"}, "12", true, "12/3/b/6/n/"}};
  // clang-format on
  for (const auto& [switches, take, continued, after] : cases) {
    for (const char* key : {"increment_take", "increment_slate", "increment_roll", "clear_note"})
      defaults.setBool(false, key);
    for (const char* key : switches) defaults.setBool(true, key);
    for (const auto& [key, value] : SettingMap{{"take", take}, {"slate", "3"s}, {"roll", "b"s}, {"note", "n"s}})
      defaults.setObject(value, key);
    defaults.setInteger(5, "count");
    controller.increment(continued);
    std::string counters;
    for (const char* key : {"take", "slate", "roll", "count", "note"}) counters += defaults.stringForKey(key) + "/";
    EXPECT_EQ(counters, after);
  }
  for (const bool reset : {false, true}) {
    defaults.setBool(reset, "reset_take");
    controller.sceneChanged();
    EXPECT_EQ(defaults.stringForKey("take"), reset ? "1" : "12");
  }
}

TEST_F(ControllerTest, ABreakGoesOnAtOnceAndAStopInItStops) {
  defaults.setBool(true, "new_take_on_rec");
  // A STOP at each moment of a break: while its piece is closed, finished, and while the next one starts.
  for (const auto moment : {RUNNING_RECORDING, STOPPING_RECORDING, FINISHED_RECORDING, STARTING_RECORDING}) {
    SCOPED_TRACE(static_cast<int>(moment));
    view.takes.clear();
    record(8);
    controller.recStopPressed(REC);
    for (int i = 0; i < 80 && output_file.state() != moment; ++i)
      output_file.state() == FINISHED_RECORDING ? controller.updateStateGUI() : engineGoesOn();
    ASSERT_EQ(output_file.state(), moment);
    controller.recStopPressed(STOP);
    timeUntilIdle();
    ASSERT_EQ(view.takes.size(), 2U);
    EXPECT_TRUE(view.takes[0].continues && !view.takes[1].continues && !view.takes[1].reason);
    time(4);
    EXPECT_EQ(output_file.state(), IDLE);
  }
  EXPECT_TRUE(view.alerts.empty());
}

TEST_F(ControllerTest, PiecesShorterThanAPassJoinWithoutPreRecordAndEndWhereStopWasPressed) {
  defaults.setInteger(64, "nr_channels");
  defaults.setInteger(1, "maximum_file_size");
  defaults.setInteger(0, "pre_record_time");
  for (int channel = 0; channel < 64; ++channel) defaults.setBool(true, text("channel%02i_in_file000", channel));
  controller.recStopPressed(REC);
  engineGoesOn();
  const int64_t first = output_file.startPosition();
  time(20);
  const int64_t border = audio_ring.devicePosition();
  controller.stopWhenRunning();
  timeUntilIdle();
  int64_t recorded = 0;
  for (const FinishedTake& take : view.takes) recorded += take.meta_data->nrSamples();
  EXPECT_GT(view.takes.size(), 8U);
  EXPECT_EQ(recorded, (border - first) / 256 * 256);
  EXPECT_TRUE(view.alerts.empty());
}

TEST_F(ControllerTest, ADeviceThatStopsDeliveringIsToldAtOnceAndIsAnIncidentOfTheTake) {
  const auto deviceStops = [this](int ticks) {
    for (; ticks > 0; --ticks) {
      output_file.processingPass();
      controller.updateGUI();
    }
  };
  std::vector<Incident> expected;
  record(10);
  for (const auto& [ticks, stands] : {std::pair{5, false}, {6, true}, {30, true}}) {
    time(2);
    const int64_t position = audio_ring.devicePosition() - output_file.startPosition();
    deviceStops(ticks);
    EXPECT_EQ(view.stands_still, stands) << ticks;
    EXPECT_EQ(log.contains("No sound arrives: the device has stopped delivering."), stands);
    if (ticks < 30) time(1);
    EXPECT_EQ(log.contains(text("Sound arrives again, after %i ms.", ticks * 100)), ticks == 6);
    EXPECT_EQ(output_file.state(), RUNNING_RECORDING);
    if (stands) expected.push_back({Incident::Kind::standstill, position, ticks == 6 ? 600 : 4000});
  }
  controller.recStopPressed(STOP);
  deviceStops(20);
  ASSERT_EQ(view.takes.size(), 1U);
  EXPECT_EQ(view.takes[0].incidents.first, expected) << "the last one goes on until the take is closed";
  time(2);
  EXPECT_FALSE(view.stands_still);
}

TEST_F(ControllerTest, NoEmptyTakeIsMadeOfADeviceThatDoesNotStart) {
  SteppedDevice device(model, "A", kAudioHardwareBadDeviceError);
  run_loop.drain();
  ASSERT_EQ(chosen(), "Test - A");
  controller.recStopPressed(REC);
  timeUntilIdle();
  EXPECT_EQ(view.alerts, "Playback aborted. The device could not be started.");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path), {}), 0);
}

TEST_F(ControllerTest, ShowsTheDeviceInUseAndItsTime) {
  EXPECT_EQ(chosen(), "Vurl - Test Generator");
  generator.step(48000 * 3 / 256);
  for (int i = 0; i < 2; ++i) controller.updateGUI();
  EXPECT_EQ(view.current_time, "00:00:02:24");
  EXPECT_TRUE(controller.choose(DeviceMenu::sample_rate, 96000));
  EXPECT_FALSE(controller.choose(DeviceMenu::sample_rate, 12345));
  controller.bufferFrameSizeChanged(1024);
  run_loop.drain();
  EXPECT_EQ(chosen(DeviceMenu::sample_rate), "96000 Hz");
  EXPECT_EQ(audio_ring.sampleRate(), 96000);
  EXPECT_EQ(view.buffer_size, 1024U);
}

TEST_F(ControllerTest, RemembersTheUsersChoiceOnlyAndTakesItAgainWhenItComesBack) {
  const SteppedDevice first(model, "A");
  const auto& devices = view.menus[0].items;
  for (int i = 0; i < 2; ++i) {
    run_loop.drain();
    EXPECT_EQ(chosen(), "Test - A");
    EXPECT_EQ(defaults.stringForKey("selected_device"), i == 0 ? "" : "Test - B") << "taken by itself, not chosen";
    const SteppedDevice second(model, "B");
    run_loop.drain();
    if (i == 0) controller.choose(DeviceMenu::device, devices[1].tag);
    run_loop.drain();
    EXPECT_EQ(chosen(), "Test - B");
    EXPECT_EQ(devices.size(), 2U) << "a real device was chosen: the generator is off for good";
  }
  run_loop.drain();
  EXPECT_EQ(chosen(), "Test - A");
}

} // namespace vurl
