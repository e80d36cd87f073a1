// The controllers on the test generator, stepped by the test: no thread runs, time passes when the test says so.
#pragma once

#include "app/MainMenuControler.h"
#include "app/PreferencesController.h"
#include "hardware/GeneratorHardware.h"
#include "hardware/RingDelegate.h"
#include "platform/PollRunLoop.h"
#include "tests/app/HistoryRig.h"

namespace vurl {

/// Keeps what it was shown.
struct RecordingView final : MainWindowView {
  std::vector<FinishedTake> takes;
  std::array<PopupMenu, 4> menus;
  std::string current_time, alerts, played;
  uint32_t buffer_size = 0;
  bool is_locked = false, stands_still = false;
  std::array<std::pair<float, float>, 64> levels; ///< peak and RMS in dB

  void showTransport(TransportCommand, TransportColour) override {}
  void showBusy(bool) override {}
  void showAlert(const std::string& message, const std::string& text) override { alerts += message + " " + text; }
  void setPeak(float peak_db, float rms_db, uint32_t channel) override { levels.at(channel) = {peak_db, rms_db}; }
  void showCurrentTime(const std::string& timecode, bool locked) override {
    current_time = timecode;
    is_locked = locked;
  }
  void showTakeLength(const std::string&) override {}
  void showRing(const RingPositions& positions) override { stands_still = positions.stands_still; }
  void showMenu(DeviceMenu which, const PopupMenu& menu) override { menus[static_cast<size_t>(which)] = menu; }
  void showPullMenu(const std::array<PullMenu::Item, 3>&) override {}
  void showBufferSizeRange(double, double) override {}
  void showBufferSize(uint32_t frames) override { buffer_size = frames; }
  void takeFinished(const FinishedTake& take) override { takes.push_back(take); }
  void playbackFinished(const std::optional<std::string>& reason) override {
    played += reason.value_or("played out") + " ";
  }
};

struct BlindLayoutView final : ChannelLayoutView {
  void showCountMenu(CountMenu, const PopupMenu&) override {}
  void redrawMatrix() override {}
};

/// Hands cycles to the ring, no faster than one each `pause` while there is one: for devices that do not wait.
struct PacedDelegate final : AudioIODelegate {
  explicit PacedDelegate(AudioRing& ring) : delegate(ring) {}
  OSStatus ioCycleForDevice(uint32_t device, const AudioTimeStamp& now, const AudioBufferList& inputs,
                            const AudioTimeStamp& input_time, const AudioBufferList& outputs,
                            const AudioTimeStamp& output_time, void* client_data) noexcept override {
    std::this_thread::sleep_for(pause.load());
    return delegate.ioCycleForDevice(device, now, inputs, input_time, outputs, output_time, client_data);
  }
  RingDelegate delegate;
  std::atomic<std::chrono::milliseconds> pause{};
};

struct ControllerRig {
  ControllerRig() {
    defaults.registerDefaults({{"path_for_folder00", folder.path.string()},
                               {"filename_format", std::string("T%t%C")},
                               {"csv_folder", folder.path.string()}});
    defaults.setInteger(SESSION, "time_source");
    generator.setPaced(false);
    generator.setPublished(true);
    show_generator = defaults.observe("show_generator",
                                      [this](const auto& key) { generator.setPublished(defaults.boolForKey(key)); });
    input_device.setObserver(&controller);
    input_device.awake();
    run_loop.drain();
  }

  /// Lets the device and the engine go on, as 0.1 s would.
  void engineGoesOn() {
    if (generator.device() != kAudioObjectUnknown) generator.step(19);
    output_file.processingPass();
  }

  /// `ticks` of the refresh timer with the engine going on in between.
  void time(int ticks) {
    while (ticks-- > 0) {
      engineGoesOn();
      run_loop.drain();
      controller.updateGUI();
    }
  }

  /// What a menu shows as chosen.
  std::string chosen(DeviceMenu which = DeviceMenu::device) const {
    const auto* const item = view.menus[static_cast<size_t>(which)].selectedItem();
    return item == nullptr ? "" : item->title;
  }

  CapturedLog log;
  TemporaryFolder folder;
  UserDefaults defaults;
  const PreferencesController preferences{defaults};
  PollRunLoop run_loop;
  HardwareModel model;
  GeneratorHardware generator{model, run_loop};
  RecordingView view;
  AudioRing audio_ring{defaults, systemWallTime, nullptr};
  PosixFileLayer file_layer;
  RecordingHistoryView history_view;
  HistoryControler history{defaults, run_loop, history_view, [](const std::string&) { return true; }};
  OutputFile output_file{audio_ring, defaults, file_layer, &history};
  PacedDelegate ring_delegate{audio_ring};
  InputDevice input_device{model, run_loop, ring_delegate};
  BlindLayoutView layout_view;
  ChannelLayoutControler channel_layout_controler{defaults, layout_view};
  MainMenuControler controller{{defaults, run_loop, audio_ring, input_device, output_file, view, [this] { pause(); },
                                channel_layout_controler, history}};
  std::function<void()> pause = [this] { engineGoesOn(); }; ///< while the main thread waits for the engine
  UserDefaults::ObservationHandle show_generator;
};

} // namespace vurl
