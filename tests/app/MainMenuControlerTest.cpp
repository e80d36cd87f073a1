#include "app/MainMenuControler.h"

#include "tests/app/ControllerRig.h"

#include <gtest/gtest.h>

namespace vurl {
namespace {

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
  std::string counters() const {
    return defaults.stringForKey("take") + "/" + defaults.stringForKey("slate") + "/" + defaults.stringForKey("roll") +
           " " + defaults.stringForKey("count") + " '" + defaults.stringForKey("note") + "'";
  }
};

TEST_F(ControllerTest, ATakeThatEndsNormallyMovesTheCountersOn) {
  record(8);
  controller.recStopPressed(STOP);
  timeUntilIdle();
  ASSERT_EQ(view.takes.size(), 1U);
  EXPECT_EQ(view.takes[0].reason, std::nullopt);
  EXPECT_EQ(view.takes[0].nr_files, 1);
  EXPECT_FALSE(view.takes[0].continues);
  EXPECT_EQ(view.takes[0].meta_data->filenameForFile(0), folder.file("T1.wav"));
  EXPECT_EQ(defaults.stringForKey("take"), "2");
  EXPECT_TRUE(view.alerts.empty());
}

TEST_F(ControllerTest, AReasonIsShownAndTheTakeKeepsItsNumber) {
  record(8);
  controller.processorOverload();
  timeUntilIdle();
  EXPECT_EQ(view.alerts, std::vector<std::string>{"Playback aborted. The processor was overloaded during recording."});
  record(3);
  controller.recStopPressed(ABORT);
  timeUntilIdle();
  EXPECT_EQ(view.alerts.size(), 1U) << "an abort is silent";
  EXPECT_EQ(view.takes.at(1).meta_data->filenameForFile(0), folder.file("T1-2-nr2.wav"));
  EXPECT_EQ(counters(), "1// 3 ''");
}

TEST_F(ControllerTest, CountersByTheirSwitches) {
  const struct {
    SettingMap before;
    bool continued;
    const char* after;
  } cases[] = {
      {{}, true, "12/3/b 6 'n'"},
      {{}, false, "12/3/b 1 'n'"},
      {{{"increment_take", true}}, false, "13/3/b 1 'n'"},
      {{{"increment_slate", true}, {"increment_roll", true}}, false, "12/4/1 1 'n'"},
      {{{"increment_take", true}, {"clear_note", true}}, true, "12/3/b 6 'n'"},
      {{{"clear_note", true}}, false, "12/3/b 1 ''"},
      {{{"increment_take", true}, {"take", std::string("7b")}}, false, "8/3/b 1 'n'"},
      {{{"increment_take", true}, {"take", std::string("2147483647")}}, false, "-2147483648/3/b 1 'n'"},
  };
  for (const auto& c : cases) {
    using namespace std::string_literals;
    for (const char* key : {"increment_take", "increment_slate", "increment_roll", "clear_note"}) {
      defaults.setBool(false, key);
    }
    defaults.setObject("12"s, "take");
    defaults.setObject("3"s, "slate");
    defaults.setObject("b"s, "roll");
    defaults.setObject("n"s, "note");
    defaults.setInteger(5, "count");
    for (const auto& [key, value] : c.before) defaults.setObject(value, key);
    controller.increment(c.continued);
    EXPECT_EQ(counters(), c.after);
  }
  controller.sceneChanged();
  EXPECT_EQ(defaults.stringForKey("take"), "-2147483648");
  defaults.setBool(true, "reset_take");
  controller.sceneChanged();
  EXPECT_EQ(defaults.stringForKey("take"), "1");
}

TEST_F(ControllerTest, ABreakGoesOnAtOnceAndAStopInItStops) {
  defaults.setBool(true, "new_take_on_rec");
  // A STOP at each moment of a break: while its piece is closed, finished, and while the next one starts.
  for (const OutputFile::State moment :
       {RUNNING_RECORDING, STOPPING_RECORDING, FINISHED_RECORDING, STARTING_RECORDING}) {
    SCOPED_TRACE(static_cast<int>(moment));
    view.takes.clear();
    record(8);
    controller.recStopPressed(REC);
    for (int i = 0; i < 40 && (output_file.state() != moment || !output_file.restartIsPending()); ++i) {
      if (moment == STARTING_RECORDING && output_file.state() == moment) break;
      if (output_file.state() == FINISHED_RECORDING) controller.updateStateGUI();
      if (moment == STARTING_RECORDING && output_file.state() == moment) break;
      engineGoesOn();
    }
    ASSERT_EQ(output_file.state(), moment);
    controller.recStopPressed(STOP);
    timeUntilIdle();
    ASSERT_EQ(view.takes.size(), 2U);
    EXPECT_TRUE(view.takes[0].continues);
    EXPECT_FALSE(view.takes[1].continues);
    EXPECT_EQ(view.takes[1].reason, std::nullopt);
    EXPECT_TRUE(view.alerts.empty());
    time(4);
    EXPECT_EQ(output_file.state(), IDLE);
  }
}

TEST_F(ControllerTest, AStopThatMustNotBeLostWaitsForTheStart) {
  controller.recStopPressed(REC);
  controller.stopWhenRunning();
  EXPECT_EQ(output_file.state(), STARTING_RECORDING);
  timeUntilIdle();
  EXPECT_EQ(view.takes.size(), 1U);
  record(4); // and does not reach into the next take
  time(6);
  EXPECT_EQ(output_file.state(), RUNNING_RECORDING);
}

TEST_F(ControllerTest, QuittingCompletesTheTakeWithoutCounters) {
  for (const int ticks : {0, 8}) {
    controller.recStopPressed(REC);
    time(ticks);
    controller.applicationWillTerminate();
    EXPECT_EQ(output_file.state(), IDLE);
    EXPECT_TRUE(std::filesystem::exists(folder.file("T1.wav")));
    EXPECT_EQ(defaults.stringForKey("take"), "1");
    std::filesystem::remove(folder.file("T1.wav"));
  }
  EXPECT_GT(output_file.nrSamples(), 0);
}

TEST_F(ControllerTest, TheDisplaysFollowTheRing) {
  defaults.setInteger(SESSION, "time_source");
  defaults.setInteger(FRAME_RATE_25, "frame_rate");
  generator.step(48000 * 3 / 256);
  controller.updateGUI();
  EXPECT_EQ(view.ring.device, 48000 * 3 / 256 * 256);
  controller.updateGUI();
  EXPECT_EQ(view.current_time, "00:00:02:24");
  EXPECT_EQ(view.length, "00:00:00:00");
}

// The device menus

const PopupMenu::Item* chosen(const PopupMenu& menu) { return menu.selectedItem(); }

TEST_F(ControllerTest, TheMenusShowTheDeviceInUse) {
  const auto& [device, data_source, sample_rate, clock_source] = view.menus;
  EXPECT_EQ(chosen(device)->title, "Vurl - Test Generator");
  EXPECT_EQ(data_source.items.size(), 2U);
  EXPECT_EQ(chosen(sample_rate)->title, "48000 Hz");
  EXPECT_EQ(sample_rate.items.size(), 6U);
  EXPECT_EQ(clock_source.items.size(), 2U);
  EXPECT_EQ(view.buffer_size, 256U);
  EXPECT_EQ(view.inputs.size(), 64U);
  EXPECT_EQ(audio_ring.sampleRate(), 48000);

  EXPECT_TRUE(controller.choose(DeviceMenu::sample_rate, 96000));
  run_loop.drain();
  EXPECT_EQ(chosen(sample_rate)->tag, 96000);
  EXPECT_EQ(audio_ring.sampleRate(), 96000);
  EXPECT_FALSE(controller.choose(DeviceMenu::sample_rate, 12345));
  controller.bufferFrameSizeChanged(1024);
  EXPECT_EQ(view.buffer_size, 1024U);
}

TEST_F(ControllerTest, ARealDeviceComesFirstAndTheUsersChoiceIsRemembered) {
  plug.plug("A");
  run_loop.drain();
  EXPECT_EQ(chosen(view.menus[0])->title, "Plug - A");
  EXPECT_EQ(view.menus[0].items.back().title, "Vurl - Test Generator");
  EXPECT_EQ(defaults.stringForKey("selected_device"), "") << "taken by itself, not chosen";
  EXPECT_TRUE(defaults.boolForKey("show_generator"));
  EXPECT_FALSE(view.menus[1].enabled) << "it has no data sources";

  ASSERT_TRUE(controller.choose(DeviceMenu::device, view.menus[0].items[0].tag));
  run_loop.drain();
  EXPECT_EQ(defaults.stringForKey("selected_device"), "Plug - A");
  EXPECT_FALSE(defaults.boolForKey("show_generator")) << "a real device was chosen: off for good";
  EXPECT_EQ(view.menus[0].items.size(), 1U);
}

TEST_F(ControllerTest, TheGeneratorNeverStepsInForAPulledDevice) {
  plug.plug("A");
  run_loop.drain();
  record(2);
  plug.pull();
  run_loop.drain();
  EXPECT_EQ(input_device.selectedDevice(), -1);
  EXPECT_FALSE(view.menus[0].enabled);
  timeUntilIdle();
  EXPECT_EQ(view.takes.at(0).reason, "A device has been added or removed.");
  plug.plug("A");
  run_loop.drain();
  EXPECT_EQ(chosen(view.menus[0])->title, "Plug - A");
}

TEST(Controller, AStoredDeviceIsTakenAgainWhenItComesBack) {
  ControllerRig rig("Plug - B");
  EXPECT_EQ(chosen(rig.view.menus[0])->title, "Vurl - Test Generator") << "the first there is";
  PlugDevice other(rig.model);
  other.plug("A");
  rig.plug.plug("B");
  rig.run_loop.drain();
  EXPECT_EQ(chosen(rig.view.menus[0])->title, "Plug - B");
  EXPECT_EQ(rig.audio_ring.sampleRate(), 44100);
  rig.plug.pull();
  rig.run_loop.drain();
  EXPECT_EQ(chosen(rig.view.menus[0])->title, "Plug - A");
  EXPECT_EQ(rig.defaults.stringForKey("selected_device"), "Plug - B");
  rig.plug.plug("B");
  rig.run_loop.drain();
  EXPECT_EQ(chosen(rig.view.menus[0])->title, "Plug - B");
}

} // namespace
} // namespace vurl
