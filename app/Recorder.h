// The whole recorder without a front door: one of each part, wired together. Each program, and each test of the whole,
// makes one, gives it a main loop and a view, and calls start().
#pragma once

#include "app/MainMenuControler.h"
#include "app/SilentHistory.h"
#include "engine/AudioRing.h"
#include "files/OutputFile.h"
#include "hardware/AlsaHardware.h"
#include "hardware/GeneratorHardware.h"
#include "hardware/HardwareModel.h"
#include "hardware/InputDevice.h"
#include "hardware/JackHardware.h"
#include "hardware/RingDelegate.h"
#include "platform/RealTime.h"
#include "platform/SleepInhibitor.h"

#include <functional>
#include <memory>
#include <string>

namespace vurl {

/// The audio services, publishing their devices into one model, and what the computer does for them: real-time priority
/// for their threads, no sleep while the model forbids it.
class AudioServices {
public:
  /// Finds the devices. The test generator is among them while the setting "show_generator" is on, the PCMs in
  /// "alsa_devices" as long as they are named there.
  AudioServices(UserDefaults& defaults, RunLoop& run_loop);

  /// Publishes the test generator for the rest of the run whatever the setting says.
  void publishGeneratorForRun();

  /// Whether a JACK server still has to answer, so that its device may be missing.
  bool awaitsServer() const { return jack.awaitsServer(); }

  HardwareModel model;

private:
  void listAlsaDevices();
  void updateGenerator();

  UserDefaults& defaults;
  std::shared_ptr<RealTime> real_time = std::make_shared<RealTime>(); ///< with the devices' threads
  SleepInhibitor sleep_inhibitor;
  JackHardware jack;
  AlsaHardware alsa;
  GeneratorHardware generator;
  UserDefaults::ObservationHandle show_generator;
  UserDefaults::ObservationHandle frame_rate;
  UserDefaults::ObservationHandle alsa_devices;
  bool generator_for_run = false;
};

/// Who shows what the recorder's controllers tell; a null one shows nothing. All outlive the recorder.
struct RecorderViews {
  MainWindowView& main_window;
  HistoryView* history = nullptr;
  ChannelLayoutView* layout = nullptr;
};

/// What a program, or a test, may put in place of the recorder's own disk and time.
struct RecorderMeans {
  FileLayer* file_layer = nullptr; ///< for the take files; null: the computer's file system. Outlives the recorder
  std::function<void()> pause;     ///< see MainMenuControler::Collaborators; none: sleeps
  bool has_thread = true;          ///< whether start() starts the engine's thread; if not, a test runs the passes
};

class Recorder {
public:
  /// `hardware`, `defaults` and `run_loop` outlive the recorder.
  Recorder(UserDefaults& defaults, RunLoop& run_loop, HardwareModel& hardware, const RecorderViews& views,
           const RecorderMeans& means = {});

  /// Ends a take that runs, waits until it is complete on disk, stops the processing thread and the device.
  ~Recorder();

  /// Selects the stored device, starts the processing thread and the refresh timer, and begins to read the history.
  void start();

  /// Files that could not be brought to disk, as far as the main loop has heard. The view has been told of each.
  int32_t nrUnsyncedFiles() const { return nr_unsynced_files; }

private:
  DiskSync::Teller syncTeller(RunLoop& run_loop, MainWindowView& view);

  /// Hands the ring's menu of rates to the view.
  class PullPopup final : public PullMenu {
  public:
    explicit PullPopup(MainWindowView& shown_in) : view(shown_in) {}
    void setPullItems(const std::array<Item, 3>& items) override { view.showPullMenu(items); }

  private:
    MainWindowView& view;
  };

  struct HiddenLayout final : ChannelLayoutView {
    void showCountMenu(CountMenu, const PopupMenu&) override {}
    void redrawMatrix() override {}
  };

  PullPopup pull_popup;
  HiddenLayout hidden_layout;
  SilentHistory hidden_history;
  PosixFileLayer file_layer;
  std::shared_ptr<bool> alive = std::make_shared<bool>(true); ///< posted work looks whether the recorder still is
  int32_t nr_unsynced_files = 0;
  const bool has_thread;

public:
  DiskSync disk_sync;                 ///< before the engine, whose thread tells it of files
  HistoryControler history_controler; ///< before the engine, whose thread hands it takes
  AudioRing audio_ring;
  OutputFile output_file;

private:
  RingDelegate ring_delegate;

public:
  InputDevice input_device;
  ChannelLayoutControler channel_layout_controler;
  MainMenuControler controller;
};

} // namespace vurl
