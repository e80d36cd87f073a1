// The transport as one table: every command and every change at the hardware in every state of the engine.
#include "tests/app/ControllerRig.h"

#include <gtest/gtest.h>

namespace vurl {
namespace {

using enum OutputFile::State;

struct Row {
  OutputFile::State state;
  OutputFile::State after[5]; ///< REC, STOP, ABORT, PLAY, TOGGLE
};

constexpr Row still(OutputFile::State state) { return {state, {state, state, state, state, state}}; }

constexpr Row kCommands[] = {
    {IDLE, {STARTING_RECORDING, IDLE, IDLE, IDLE, STARTING_RECORDING}},
    still(EXIT),
    still(GONE),
    still(STARTING_RECORDING),
    {RUNNING_RECORDING, {RUNNING_RECORDING, BORDER_RECORDING, BORDER_RECORDING, RUNNING_RECORDING, BORDER_RECORDING}},
    still(BORDER_RECORDING),
    still(STOPPING_RECORDING),
    still(FINISHED_RECORDING),
    still(STARTING_PLAYBACK),
    {RUNNING_PLAYBACK, {STARTING_RECORDING, STOPPING_PLAYBACK, STOPPING_PLAYBACK, IDLE, RUNNING_PLAYBACK}},
    {BORDER_PLAYBACK, {STARTING_RECORDING, BORDER_PLAYBACK, BORDER_PLAYBACK, IDLE, BORDER_PLAYBACK}},
    still(STOPPING_PLAYBACK),
    still(FINISHED_PLAYBACK),
};

bool canBeStopped(OutputFile::State state) {
  return state == RUNNING_RECORDING || state == RUNNING_PLAYBACK || state == BORDER_PLAYBACK;
}

TEST(Transport, EveryCommandInEveryState) {
  for (const Row& row : kCommands) {
    for (const int32_t command : {REC, STOP, ABORT, PLAY, TOGGLE}) {
      SCOPED_TRACE(text("state %i, command %i", static_cast<int>(row.state), command));
      ControllerRig rig;
      rig.view.alerts.clear();
      rig.output_file.setState(row.state);
      rig.controller.recStopPressed(command);
      EXPECT_EQ(rig.output_file.state(), row.after[command]);
      const bool aborted = command == ABORT && canBeStopped(row.state);
      EXPECT_EQ(rig.output_file.reason(), aborted ? std::optional<std::string>("abort") : std::nullopt);
      const bool refused = command == PLAY && row.after[PLAY] == IDLE;
      EXPECT_EQ(rig.view.alerts, refused ? std::vector<std::string>{"Playback not started. History table is empty."}
                                         : std::vector<std::string>{});
      EXPECT_FALSE(rig.output_file.restart());
    }
  }
}

TEST(Transport, UnknownCommandsAndRecInATake) {
  ControllerRig rig;
  for (const int32_t command : {-1, 5, 99}) rig.controller.recStopPressed(command);
  EXPECT_EQ(rig.output_file.state(), IDLE);
  rig.output_file.setState(RUNNING_RECORDING);
  rig.defaults.setBool(true, "new_take_on_rec");
  rig.controller.recStopPressed(REC);
  EXPECT_TRUE(rig.output_file.restart());
}

TEST(Transport, EveryChangeAtTheHardwareInEveryState) {
  const struct {
    void (MainMenuControler::*update)();
    const char* reason; ///< null when the change ends nothing
  } updates[] = {
      {&MainMenuControler::updateDevices, "A device has been added or removed."},
      {&MainMenuControler::updateDataSources, "Data sources have been added or removed."},
      {&MainMenuControler::updateSampleRates, "Available sample rates have been updated for this device."},
      {&MainMenuControler::updateClockSources, "Clock sources have been added or removed."},
      {&MainMenuControler::updateDataSource, "Current data source has changed."},
      {&MainMenuControler::updateSampleRate, "Current sample rate has changed."},
      {&MainMenuControler::updateClockSource, "Current clock source has changed."},
      {&MainMenuControler::processorOverload, "The processor was overloaded during recording."},
      {&MainMenuControler::updateBufferFrameSizeRange, nullptr},
      {&MainMenuControler::updateBufferFrameSize, nullptr},
      {&MainMenuControler::updateChannels, nullptr},
  };
  for (const auto& [update, reason] : updates) {
    for (const Row& row : kCommands) {
      SCOPED_TRACE(text("%s in state %i", reason == nullptr ? "no reason" : reason, static_cast<int>(row.state)));
      ControllerRig rig;
      rig.output_file.setState(row.state);
      (rig.controller.*update)();
      const bool stops = reason != nullptr && canBeStopped(row.state);
      EXPECT_EQ(rig.output_file.state(), stops ? row.after[STOP] : row.state);
      const auto told = rig.output_file.reason();
      // A playback that is playing out hears each step of a change, and keeps the last.
      if (row.state == BORDER_PLAYBACK) {
        EXPECT_EQ(told.has_value(), stops);
      } else {
        EXPECT_EQ(told, stops ? std::optional<std::string>(reason) : std::nullopt);
      }
    }
  }
}

TEST(Transport, WhatTheWindowShowsInEachState) {
  const char* const shown[] = {"STOP black",
                               "",
                               "",
                               "REC red",
                               "REC red",
                               "REC red busy",
                               "REC red busy",
                               "REC red busy",
                               "PLAY yellow",
                               "PLAY yellow",
                               "PLAY yellow",
                               "PLAY yellow",
                               "PLAY yellow"};
  for (int state = IDLE; state <= FINISHED_PLAYBACK; ++state) {
    ControllerRig rig;
    rig.output_file.setState(static_cast<OutputFile::State>(state));
    rig.controller.updateStateGUI();
    EXPECT_EQ(rig.view.transport, shown[state]) << state;
    const bool finished = state == FINISHED_RECORDING || state == FINISHED_PLAYBACK;
    EXPECT_EQ(rig.output_file.state(), finished ? IDLE : state);
  }
}

} // namespace
} // namespace vurl
