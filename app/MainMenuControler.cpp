#include "app/MainMenuControler.h"

#include "platform/Log.h"

#include <cmath>
#include <utility>

namespace vurl {
namespace {

constexpr std::chrono::milliseconds kRefreshInterval{100};
constexpr int16_t kSubframes = 80;
constexpr double kFullScaleSine = 1.414; ///< times a full-scale sine's RMS: 0 dB
const std::string kAbort = "abort";      ///< the user's own reason, which is shown to nobody

/// What the transport control shows in each engine state.
struct StateDisplay {
  TransportCommand segment;
  TransportColour colour;
  bool busy;
};

std::optional<StateDisplay> displayFor(OutputFile::State state) {
  switch (state) {
  case OutputFile::IDLE: return StateDisplay{STOP, TransportColour::black, false};
  case OutputFile::STARTING_RECORDING:
  case OutputFile::RUNNING_RECORDING: return StateDisplay{REC, TransportColour::red, false};
  case OutputFile::BORDER_RECORDING:
  case OutputFile::STOPPING_RECORDING:
  case OutputFile::FINISHED_RECORDING: return StateDisplay{REC, TransportColour::red, true};
  case OutputFile::STARTING_PLAYBACK:
  case OutputFile::RUNNING_PLAYBACK:
  case OutputFile::BORDER_PLAYBACK:
  case OutputFile::STOPPING_PLAYBACK:
  case OutputFile::FINISHED_PLAYBACK: return StateDisplay{PLAY, TransportColour::yellow, false};
  default: return std::nullopt;
  }
}

bool isPlaying(OutputFile::State state) {
  return state == OutputFile::RUNNING_PLAYBACK || state == OutputFile::BORDER_PLAYBACK;
}

} // namespace

MainMenuControler::MainMenuControler(Collaborators collaborators)
    : defaults(collaborators.defaults),
      run_loop(collaborators.run_loop),
      audio_ring(collaborators.audio_ring),
      input_device(collaborators.input_device),
      output_file(collaborators.output_file),
      view(collaborators.view),
      pause(std::move(collaborators.pause)),
      channel_layout_controler(collaborators.channel_layout_controler),
      history_controler(collaborators.history_controler) {}

// Life cycle

void MainMenuControler::applicationDidFinishLaunching() {
  history_controler.loadHistory();
  channel_layout_controler.resetMenus();
  update_GUI_counter = 0;
  update_GUI_timer = run_loop.every(kRefreshInterval, [this] { updateGUI(); });
}

void MainMenuControler::applicationWillTerminate() {
  stopWhenRunning();
  waitForIdle();
  defaults.synchronize();
  history_controler.completeReports();
  update_GUI_timer.reset();
}

// Transport

bool MainMenuControler::recStopPressed(int32_t command) {
  switch (command) {
  case REC: return startRecording(false);
  case STOP: return stopRecording(std::nullopt);
  case ABORT: return stopRecording(kAbort);
  case PLAY: return startPlayback(history_controler.selectedMetaData());
  case TOGGLE:
    if (output_file.state() == OutputFile::IDLE) return startRecording(false);
    return output_file.state() == OutputFile::RUNNING_RECORDING && stopRecording(std::nullopt);
  default: return false;
  }
}

bool MainMenuControler::startRecording(bool continued) {
  const OutputFile::State state = output_file.state();
  if (state == OutputFile::RUNNING_RECORDING) {
    const bool breaks = defaults.boolForKey("new_take_on_rec");
    if (breaks) output_file.fileBreak();
    return breaks;
  }
  if (isPlaying(state)) {
    stopRecording(std::nullopt);
    waitForIdle();
  } else if (state != OutputFile::IDLE) {
    return false;
  }
  refreshDeviceSettings();
  is_playback = false;
  next_piece = continued;
  if (!continued) pending_stop.reset();
  output_file.startWith(continued, continued ? std::nullopt : whyNothingToRecord());
  if (continued && pending_stop) output_file.stopAt(pending_stop->border, pending_stop->reason);
  return true;
}

/// What arrived before a device was gone can still be made a take.
MainMenuControler::Reason MainMenuControler::whyNothingToRecord() const {
  const bool holds_sound = audio_ring.devicePosition() - audio_ring.recordingPosition() >= OutputFile::kBlockLength;
  if (holds_sound || input_device.hasStarted()) return std::nullopt;
  return input_device.selectedDevice() == -1 ? "There is no device." : "The device could not be started.";
}

/// The engine stops a take that runs. Between two pieces of a take the STOP waits for the next one; and a change at the
/// hardware also ends a take that is just starting, for it would go on with what is no longer true.
bool MainMenuControler::stopRecording(const Reason& reason) {
  const OutputFile::State state = output_file.state();
  const bool from_hardware = reason && *reason != kAbort;
  const bool starting =
      state == OutputFile::STARTING_RECORDING && !pending_stop && (next_piece || from_hardware); // the first one counts
  const bool between_pieces = output_file.restartIsPending() &&
                              (state == OutputFile::STOPPING_RECORDING || state == OutputFile::FINISHED_RECORDING);
  const bool is_running = state == OutputFile::RUNNING_RECORDING || isPlaying(state) || starting;
  if (is_running) stopNow(reason);
  if (between_pieces) pending_stop = Stop{reason, audio_ring.devicePosition()};
  return is_running || between_pieces;
}

void MainMenuControler::stopNow(const Reason& reason) {
  pending_stop = Stop{reason, audio_ring.devicePosition()};
  output_file.stopAt(pending_stop->border, reason);
}

void MainMenuControler::stopWhenRunning() {
  const OutputFile::State state = output_file.state();
  if (state == OutputFile::STARTING_RECORDING || state == OutputFile::STARTING_PLAYBACK) {
    stopNow(std::nullopt);
  } else {
    stopRecording(std::nullopt);
  }
}

bool MainMenuControler::startPlayback(const std::shared_ptr<const MetaData>& take) {
  const OutputFile::State state = output_file.state();
  if (isPlaying(state)) {
    stopRecording(std::nullopt);
    waitForIdle();
  } else if (state != OutputFile::IDLE) {
    return false;
  }
  if (take == nullptr) {
    view.showAlert("Playback not started.", "History table is empty.");
    view.showTransport(STOP, TransportColour::black);
    return false;
  }
  refreshDeviceSettings();
  is_playback = true;
  output_file.startWith(*take);
  return true;
}

void MainMenuControler::waitForIdle() {
  for (;;) {
    const OutputFile::State state = output_file.state();
    if (state == OutputFile::IDLE || state == OutputFile::EXIT || state == OutputFile::GONE) break;
    if (state == OutputFile::FINISHED_RECORDING && output_file.restartIsPending()) {
      finishRecording();
    } else if (state == OutputFile::FINISHED_RECORDING || state == OutputFile::FINISHED_PLAYBACK) {
      output_file.setState(OutputFile::IDLE);
    }
    pause();
  }
  pending_stop.reset();
  if (std::exchange(is_playback, false)) view.playbackFinished(output_file.reason());
}

// Refresh

void MainMenuControler::updateGUI() {
  lookForStandstill();
  const bool even = update_GUI_counter++ % 2 == 0;
  if (even) {
    updateRingBufferGUI();
    updateStateGUI();
  } else {
    updateTimecodeGUI();
  }
  updateLevelsGUI();
}

void MainMenuControler::lookForStandstill() {
  using enum StandstillWatch::News;
  const auto news = standstill.look(audio_ring.devicePosition());
  if (news == none) return;
  audio_ring.noteIncident({Incident::Kind::standstill, standstill.position(), standstill.milliseconds()});
  if (news == lasts) return;
  updateRingBufferGUI();
  const bool has_device = menu(DeviceMenu::device).selectedItem() != nullptr;
  if (news == ends)
    warn("Sound arrives again, after %qi ms.", standstill.milliseconds());
  else
    warn("No sound arrives: %@", has_device ? "the device has stopped delivering." : "there is no device.");
}

void MainMenuControler::updateStateGUI() {
  const OutputFile::State state = output_file.state();
  if (const auto display = displayFor(state)) {
    view.showBusy(display->busy);
    view.showTransport(display->segment, display->colour);
  }
  if (state == OutputFile::FINISHED_RECORDING) finishRecording();
  if (state == OutputFile::FINISHED_PLAYBACK || (state == OutputFile::IDLE && is_playback)) finishPlayback();
}

void MainMenuControler::finishRecording() {
  const Reason reason = output_file.reason();
  if (isNews(reason)) showReason(reason);
  increment(reason.has_value());
  const bool continues = output_file.restart();
  const FinishedTake take{output_file.metaData(),       output_file.nrOpenedFiles(),  reason, continues,
                          output_file.longestBacklog(), output_file.incidentsOfTake()};
  output_file.setState(OutputFile::IDLE);
  if (continues) {
    startRecording(true);
  } else {
    pending_stop.reset();
    defaults.synchronize();
  }
  view.takeFinished(take);
}

/// While recording follows a lock, only the first of several attempts that fail in a row is told.
bool MainMenuControler::isNews(const Reason& reason) {
  if (!defaults.boolForKey("auto_start")) return true;
  const int32_t rate = audio_ring.adjustedSampleRate();
  const double seconds = rate > 0 ? static_cast<double>(output_file.nrSamples()) / rate : 0;
  const bool is_news = start_pacer.takeEnded(reason && *reason != kAbort, seconds);
  if (reason && !is_news) log("The take has ended again: %@", *reason);
  return is_news;
}

/// The end of a playback, also of one whose files could not be made ready: the engine is idle again then.
void MainMenuControler::finishPlayback() {
  const Reason reason = output_file.reason();
  showReason(reason);
  output_file.setState(OutputFile::IDLE);
  is_playback = false;
  pending_stop.reset();
  view.playbackFinished(reason);
}

void MainMenuControler::showReason(const Reason& reason) {
  if (reason && *reason != kAbort) view.showAlert("Playback aborted.", *reason);
}

void MainMenuControler::updateRingBufferGUI() {
  view.showRing({audio_ring.devicePosition(), audio_ring.recordingPosition(), audio_ring.playbackPosition(),
                 audio_ring.borderPosition(), output_file.state(), output_file.longestBacklog(),
                 output_file.nrIncidents(), standstill.stands()});
}

void MainMenuControler::updateTimecodeGUI() {
  audio_ring.timestampAt(0); // keeps the offsets of the sources ZERO and SESSION current
  audio_ring.parseLTCTime();
  const bool locked = audio_ring.timecodeLock();
  followLock(locked);
  view.showCurrentTime(currentTime(), locked);
  view.showTakeLength(takeLength());
}

void MainMenuControler::followLock(bool locked) {
  const bool follows = defaults.boolForKey("auto_start");
  if (!follows || !locked) start_pacer = {};
  if (!follows || (locked && output_file.state() == OutputFile::RUNNING_RECORDING)) return;
  if (!locked) {
    stopRecording(std::nullopt);
  } else if (menu(DeviceMenu::device).selectedItem() != nullptr && start_pacer.mayStart()) {
    startRecording(false);
  }
}

void MainMenuControler::updateLevelsGUI() {
  for (uint32_t channel = 0; channel < AudioRing::kMaxChannels; ++channel) {
    const float peak = audio_ring.peakForChannel(channel);
    const auto rms = static_cast<float>(audio_ring.rmsForChannel(channel) * kFullScaleSine);
    shown_levels[channel] = {20.0F * std::log10(peak), 20.0F * std::log10(rms)};
    view.setPeak(shown_levels[channel].peak, shown_levels[channel].rms, channel);
  }
}

std::string MainMenuControler::timecode(int64_t samples) const {
  SMPTETime label;
  label.mSubframeDivisor = kSubframes;
  label.mType = static_cast<uint32_t>(audio_ring.frameRate());
  spd_to_smpte(samples, audio_ring.sampleRate(), label);
  return text("%02hi:%02hi:%02hi:%02hi", label.mHours, label.mMinutes, label.mSeconds, label.mFrames);
}

// Take counters

void MainMenuControler::increment(bool continued) {
  if (continued) {
    defaults.setInteger(defaults.integerForKey("count") + 1, "count");
    return;
  }
  defaults.setInteger(1, "count");
  if (defaults.boolForKey("increment_take")) incrementNumber("take");
  if (defaults.boolForKey("increment_slate")) incrementNumber("slate");
  if (defaults.boolForKey("increment_roll")) incrementNumber("roll");
  if (defaults.boolForKey("clear_note")) defaults.setObject(std::string(), "note");
}

void MainMenuControler::incrementNumber(const char* key) {
  const auto next = static_cast<int32_t>(static_cast<uint32_t>(defaults.integerForKey(key)) + 1U);
  defaults.setObject(text("%i", next), key);
}

void MainMenuControler::sceneChanged() {
  if (defaults.boolForKey("reset_take")) defaults.setObject(std::string("1"), "take");
}

} // namespace vurl
