// The transport as one table: every command and every change at the hardware in every state of the engine.
#include "tests/app/ControllerRig.h"

namespace vurl {

using enum OutputFile::State;

using State = OutputFile::State;

/// The state after REC, STOP, ABORT, PLAY and TOGGLE in each state where they do anything.
const std::map<State, std::array<State, 5>> kAfter = {
    {IDLE, {STARTING_RECORDING, IDLE, IDLE, IDLE, STARTING_RECORDING}},
    {RUNNING_RECORDING, {RUNNING_RECORDING, BORDER_RECORDING, BORDER_RECORDING, RUNNING_RECORDING, BORDER_RECORDING}},
    {RUNNING_PLAYBACK, {STARTING_RECORDING, STOPPING_PLAYBACK, STOPPING_PLAYBACK, IDLE, RUNNING_PLAYBACK}},
    {BORDER_PLAYBACK, {STARTING_RECORDING, BORDER_PLAYBACK, BORDER_PLAYBACK, IDLE, BORDER_PLAYBACK}}};

State after(State state, int32_t command) {
  const bool moves = kAfter.contains(state) && command >= REC && command <= TOGGLE;
  return moves ? kAfter.at(state)[static_cast<size_t>(command)] : state;
}

/// A fresh rig in each state.
void inEveryState(const std::function<void(ControllerRig&, State)>& test) {
  for (int number = IDLE; number <= FINISHED_PLAYBACK; ++number) {
    SCOPED_TRACE(text("state %i", number));
    ControllerRig rig;
    rig.output_file.setState(static_cast<State>(number));
    test(rig, static_cast<State>(number));
  }
}

bool canBeStopped(State state) {
  return state == RUNNING_RECORDING || state == RUNNING_PLAYBACK || state == BORDER_PLAYBACK;
}

TEST(Transport, EveryCommandInEveryState) {
  for (int32_t command = REC - 1; command <= TOGGLE + 1; ++command) {
    SCOPED_TRACE(text("command %i", command));
    inEveryState([command](ControllerRig& rig, State state) {
      rig.controller.recStopPressed(command);
      EXPECT_EQ(rig.output_file.state(), after(state, command));
      const bool aborted = command == ABORT && canBeStopped(state);
      EXPECT_EQ(rig.output_file.reason(), aborted ? std::optional<std::string>("abort") : std::nullopt);
      const bool refused = command == PLAY && after(state, PLAY) == IDLE;
      EXPECT_EQ(rig.view.alerts, refused ? "Playback not started. History table is empty." : "");
      EXPECT_FALSE(rig.output_file.restart());
    });
  }
}

TEST(Transport, EveryChangeAtTheHardwareInEveryState) {
  using Update = void (MainMenuControler::*)();
  const std::pair<Update, const char*> updates[] = {
      {&MainMenuControler::updateDevices, "A device has been added or removed."},
      {&MainMenuControler::updateDataSources, "Data sources have been added or removed."},
      {&MainMenuControler::updateSampleRates, "Available sample rates have been updated for this device."},
      {&MainMenuControler::updateClockSources, "Clock sources have been added or removed."},
      {&MainMenuControler::updateDataSource, "Current data source has changed."},
      {&MainMenuControler::updateSampleRate, "Current sample rate has changed."},
      {&MainMenuControler::updateClockSource, "Current clock source has changed."},
      {&MainMenuControler::processorOverload, "The processor was overloaded during recording."},
      {&MainMenuControler::updateBufferFrameSizeRange, ""}, // these end nothing
      {&MainMenuControler::updateBufferFrameSize, ""},
      {&MainMenuControler::updateChannels, ""}};
  for (const auto& [update, reason] : updates) {
    SCOPED_TRACE(reason);
    inEveryState([update = update, reason = std::string(reason)](ControllerRig& rig, State state) {
      (rig.controller.*update)();
      // A take that is just starting hears it too, and ends at once when it runs.
      const bool stops = !reason.empty() && (canBeStopped(state) || state == STARTING_RECORDING);
      EXPECT_EQ(rig.output_file.state(), stops ? after(state, STOP) : state);
      const auto told = rig.output_file.reason();
      EXPECT_EQ(told.has_value(), stops);
      // A playback that is playing out hears each step of a change, and keeps the last.
      EXPECT_TRUE(!stops || state == BORDER_PLAYBACK || told == reason) << told.value_or("no reason");
    });
  }
}

} // namespace vurl
