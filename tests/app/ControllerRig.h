// The controllers on the test generator, stepped by the test: no thread runs, time passes when the test says so.
#pragma once

#include "app/MainMenuControler.h"
#include "hardware/GeneratorHardware.h"
#include "hardware/RingDelegate.h"
#include "platform/PollRunLoop.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/TemporaryFolder.h"

#include <string>
#include <vector>

namespace vurl {

/// Keeps what it was shown.
struct RecordingView final : MainWindowView {
  std::vector<std::string> alerts;
  std::vector<FinishedTake> takes;
  std::array<PopupMenu, 4> menus;
  std::array<PullMenu::Item, 3> pull_items;
  std::vector<std::string> inputs;
  std::string transport, current_time, length;
  uint32_t buffer_size = 0;
  double largest_buffer_size = 0;
  RingPositions ring;

  void showTransport(TransportCommand segment, TransportColour colour) override {
    constexpr const char* kSegments[] = {"REC", "STOP", "ABORT", "PLAY"};
    constexpr const char* kColours[] = {"black", "red", "yellow"};
    transport = std::string(kSegments[segment]) + " " + kColours[static_cast<int>(colour)] + (busy ? " busy" : "");
  }
  void showBusy(bool is_busy) override { busy = is_busy; }
  void showAlert(const std::string& message, const std::string& informative_text) override {
    alerts.push_back(message + " " + informative_text);
  }
  void showCurrentTime(const std::string& timecode, bool) override { current_time = timecode; }
  void showTakeLength(const std::string& timecode) override { length = timecode; }
  void showRing(const RingPositions& positions) override { ring = positions; }
  void showMenu(DeviceMenu which, const PopupMenu& menu) override { menus[static_cast<size_t>(which)] = menu; }
  void showPullMenu(const std::array<PullMenu::Item, 3>& items) override { pull_items = items; }
  void showBufferSizeRange(double, double highest) override { largest_buffer_size = highest; }
  void showBufferSize(uint32_t frames) override { buffer_size = frames; }
  void showChannelNames(const std::vector<std::string>& names, const std::vector<std::string>&) override {
    inputs = names;
  }
  void takeFinished(const FinishedTake& take) override { takes.push_back(take); }

private:
  bool busy = false;
};

/// A device that a test plugs and pulls: stereo, at one rate, never delivering.
class PlugDevice final : public AudioService {
public:
  explicit PlugDevice(HardwareModel& hardware) : model(hardware) {}
  ~PlugDevice() override { pull(); }

  void plug(const std::string& name) {
    DeviceDescription description;
    description.manufacturer = "Plug";
    description.name = name;
    description.inputs = {{"Line", 2}};
    description.nominal_sample_rates = {44100};
    description.nominal_sample_rate = 44100;
    description.buffer_frame_size = 128;
    id = model.publish(*this, description);
  }
  void pull() {
    if (id != kAudioObjectUnknown) model.unpublish(id);
    id = kAudioObjectUnknown;
  }
  OSStatus start(AudioObjectID, const IOProc&) override { return 0; }
  void stop(AudioObjectID) override {}

private:
  HardwareModel& model;
  AudioObjectID id = kAudioObjectUnknown;
};

struct ControllerRig {
  explicit ControllerRig(const std::string& selected_device = "") {
    defaults.setObject(selected_device, "selected_device");
    generator.setPaced(false);
    generator.setPublished(true);
    show_generator = defaults.observe("show_generator",
                                      [this](const auto& key) { generator.setPublished(defaults.boolForKey(key)); });
    input_device.setObserver(&controller);
    input_device.awake();
    run_loop.drain();
  }

  static SettingMap settings(const std::string& folder) {
    using namespace std::string_literals;
    return {{"nr_channels", int64_t{2}},
            {"nr_files", int64_t{1}},
            {"nr_folders", int64_t{1}},
            {"path_for_folder00", folder},
            {"bit_depth", int64_t{2}},
            {"file_format", int64_t{3}},
            {"channel00_in_file000", true},
            {"channel01_in_file000", true},
            {"filename_format", "T%t%C"s},
            {"input_for_channel01", int64_t{1}},
            {"pre_record_time", int64_t{10}},
            {"time_source", int64_t{SESSION}},
            {"frame_rate", int64_t{1}},
            {"take", "1"s},
            {"count", int64_t{1}},
            {"increment_take", true},
            {"show_generator", true}};
  }

  /// Lets the device and the engine go on, as 0.1 s would.
  void engineGoesOn() {
    if (generator.device() != kAudioObjectUnknown) generator.step(19);
    output_file.processingPass();
    // The engine's playback side, as far as the controller waits for it.
    const OutputFile::State state = output_file.state();
    if (state == OutputFile::STOPPING_PLAYBACK || state == OutputFile::BORDER_PLAYBACK) {
      output_file.setState(OutputFile::FINISHED_PLAYBACK);
    }
  }

  /// `ticks` of the refresh timer with the engine going on in between.
  void time(int ticks) {
    for (; ticks > 0; --ticks) {
      engineGoesOn();
      run_loop.drain();
      controller.updateGUI();
    }
  }

  CapturedLog log;
  TemporaryFolder folder;
  UserDefaults defaults;
  const bool registered = (defaults.registerDefaults(settings(folder.path.string())), true);
  PollRunLoop run_loop;
  HardwareModel model;
  GeneratorHardware generator{model, run_loop};
  PlugDevice plug{model};
  RecordingView view;
  AudioRing audio_ring{defaults, systemWallTime, nullptr};
  PosixFileLayer file_layer;
  OutputFile output_file{audio_ring, defaults, file_layer, nullptr};
  RingDelegate ring_delegate{audio_ring};
  InputDevice input_device{model, run_loop, ring_delegate};
  MainMenuControler controller{
      {defaults, run_loop, audio_ring, input_device, output_file, view, [this] { engineGoesOn(); }}};
  UserDefaults::ObservationHandle show_generator;
};

} // namespace vurl
