// The application controller: start and end of the program, the refresh timer, the transport, the device menus and the
// take counters. It turns commands into calls of the output file engine, follows the engine's state, and ends takes
// when the hardware changes. It knows no toolkit: MainWindowView shows, the RunLoop brings timer and notifications.
// Everything here runs on the main thread.
#pragma once

#include "app/ChannelLayoutControler.h"
#include "app/HistoryControler.h"
#include "app/MainWindowView.h"
#include "app/StandstillWatch.h"
#include "app/StartPacer.h"
#include "engine/AudioRing.h"
#include "files/OutputFile.h"
#include "hardware/InputDevice.h"
#include "hardware/InputDeviceObserver.h"
#include "platform/RunLoop.h"
#include "platform/UserDefaults.h"

#include <array>
#include <functional>
#include <limits>
#include <optional>
#include <string>

namespace vurl {

class MainMenuControler final : public InputDeviceObserver {
public:
  using Reason = OutputFile::Reason;

  /// Who chose an item of a menu: the user, whose choice is remembered, or the controller itself.
  enum class Sender { user, controller };

  struct Collaborators {
    UserDefaults& defaults;
    RunLoop& run_loop;
    AudioRing& audio_ring;
    InputDevice& input_device;
    OutputFile& output_file;
    MainWindowView& view;
    /// Lets 0.1 s of the engine's time pass while the main thread waits for it; tests step the engine here.
    std::function<void()> pause;
    ChannelLayoutControler& channel_layout_controler;
    HistoryControler& history_controler;
  };

  explicit MainMenuControler(Collaborators collaborators);

  // Life cycle

  /// Begins to read the history, builds the layout's menus and starts the refresh timer, which calls updateGUI() every
  /// 0.1 s.
  void applicationDidFinishLaunching();

  /// Stops whatever runs, waits until the last take is complete on disk, and writes the settings. A take that is just
  /// starting runs first. Idempotent.
  void applicationWillTerminate();

  // Transport

  // Each returns whether the engine's state allowed it; if not, nothing was done.

  /// Obeys a TransportCommand; other codes are ignored, as is every command that does not fit the engine's state.
  bool recStopPressed(int32_t command);
  bool startRecording(bool continued);
  bool stopRecording(const Reason& reason);
  /// Plays `take`, in place of one that is playing; nothing while a recording is under way. An alert when null.
  bool startPlayback(const std::shared_ptr<const MetaData>& take);

  /// STOP for callers that must not lose it (an end time, a signal): it holds for a take or playback that is just
  /// starting, too.
  void stopWhenRunning();

  /// Waits until the engine is idle, acknowledging a finished take without counters and alerts. A take that was broken
  /// for the next piece goes on in that piece first.
  void waitForIdle();

  // Refresh

  void updateGUI();
  void updateStateGUI();
  void updateRingBufferGUI();
  /// Reads the time source anew and shows its time and lock. With the setting "auto_start" recording follows the lock:
  /// it starts when there is one and stops when there is none; a take that runs is never broken by it. After a take
  /// that a reason ended the next attempt waits (StartPacer), and there is none while there is no device.
  void updateTimecodeGUI();
  /// Reads the levels of all 64 channels, which resets them, and shows them in decibels.
  void updateLevelsGUI();

  /// A channel's levels in dBFS; silence is minus infinity.
  struct Level {
    float peak = -std::numeric_limits<float>::infinity();
    float rms = peak;
  };
  /// What was shown last, by channel.
  const std::array<Level, AudioRing::kMaxChannels>& levels() const { return shown_levels; }
  /// The time source's time at the device position, and the length of the take in hand or of the last one.
  std::string currentTime() const { return timecode(audio_ring.timestampAtDevicePosition()); }
  std::string takeLength() const { return timecode(output_file.nrSamples()); }

  // Take counters

  /// Moves the counters on after a take: only "count" when it was cut short (`continued`), the take's own otherwise.
  void increment(bool continued);
  /// The scene's field was changed by the user.
  void sceneChanged();

  // Device menus: the user's choices

  /// Opens the device that its menu is on. While something runs, the user's choice of the device in use is noted and
  /// ends nothing.
  void deviceChanged(Sender sender);
  /// Notes the user's choice, the display name of a device, as the one to select from now on. A real device switches
  /// the test generator off for good.
  void rememberDevice(const std::string& name);
  void dataSourceChanged();
  void clockSourceChanged();
  void sampleRateChanged();
  void bufferFrameSizeChanged(uint32_t frames);

  /// Chooses the item with `tag` in a menu as the user would, and acts on it. Returns false, and does nothing, when
  /// the menu has no such item.
  bool choose(DeviceMenu which, int64_t tag);
  const PopupMenu& menu(DeviceMenu which) const;

  // InputDeviceObserver: changes at the hardware

  void updateDevices() override;
  void updateSampleRates() override;
  void updateSampleRate() override;
  void updateClockSources() override;
  void updateClockSource() override;
  void updateDataSources() override;
  void updateDataSource() override;
  void updateBufferFrameSizeRange() override;
  void updateBufferFrameSize() override;
  void updateChannels() override;
  void processorOverload() override;

  /// How often samples have been lost since the program started, during takes or not.
  uint32_t nrOverloads() const { return nr_overloads; }

private:
  void followLock(bool locked);
  void lookForStandstill();
  void finishRecording();
  void finishPlayback();
  bool isNews(const Reason& reason);
  void showReason(const Reason& reason);
  Reason whyNothingToRecord() const;
  void stopNow(const Reason& reason);
  void refreshDeviceSettings();
  void fill(DeviceMenu which, std::vector<PopupMenu::Item> items);
  void selectInMenu(DeviceMenu which, int64_t tag);
  PopupMenu& menuFor(DeviceMenu which);
  bool isInUse(const PopupMenu::Item& device) const;
  /// What the device says is in use of what a menu offers, or -1.
  int32_t reportedTag(DeviceMenu which) const;
  void incrementNumber(const char* key);
  void hideGeneratorIfDevicePulled(const std::vector<PopupMenu::Item>& devices);
  std::string timecode(int64_t samples) const;

  UserDefaults& defaults;
  RunLoop& run_loop;
  AudioRing& audio_ring;
  InputDevice& input_device;
  OutputFile& output_file;
  MainWindowView& view;
  const std::function<void()> pause;
  ChannelLayoutControler& channel_layout_controler;
  HistoryControler& history_controler;

  /// A STOP, kept until its take is over: if a break falls together with it, the next piece gets it again.
  struct Stop {
    Reason reason;
    int64_t border; ///< device position when it was pressed
  };

  std::array<PopupMenu, 4> menus; ///< by DeviceMenu
  RunLoop::Handle update_GUI_timer;
  uint32_t update_GUI_counter = 0;
  std::array<Level, AudioRing::kMaxChannels> shown_levels{};
  uint32_t nr_overloads = 0;
  bool is_playback = false; ///< what was started last, until it is told as finished
  bool next_piece = false;  ///< the take in hand continues one that was broken
  std::optional<Stop> pending_stop;
  StandstillWatch standstill;
  StartPacer start_pacer;                   ///< fresh whenever recording does not follow a lock
  std::optional<std::string> device_in_use; ///< display name of the selected device
};

} // namespace vurl
