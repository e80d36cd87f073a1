// The main window: shows what the application controller says and hands it the user's commands. It decides nothing
// about takes. Main thread only.
#pragma once

#include "app/Recorder.h"
#include "views/ChannelStripBox.h"
#include "views/DeviceBar.h"
#include "views/HistoryTable.h"
#include "views/MessageBar.h"
#include "views/NextTakeView.h"
#include "views/RingBufferView.h"
#include "views/SlateBar.h"
#include "views/TimeField.h"
#include "views/TransportButton.h"

#include <QtCore/QTimer>
#include <QtWidgets/QMainWindow>

class QLabel;
class QMenu;
class QProgressBar;
class QSplitter;

namespace vurl {

class PreferencesPanel;

class MainWindow final : public QMainWindow, public MainWindowView {
  Q_OBJECT

public:
  /// `defaults` are the recorder's settings; `memory` keeps the window's place, panels and columns. Both outlive the
  /// window.
  MainWindow(UserDefaults& defaults, UserDefaults& memory);
  ~MainWindow() override;

  /// The recorder that the window commands from now on; it outlives the window's use, which null ends.
  void setRecorder(Recorder* recorder_to_command);

  /// The panel that the command "Preferences" opens; without one, null, the command is not offered.
  void setPreferences(PreferencesPanel* panel);

  HistoryTable& history() { return *history_table; }
  ChannelStripBox& strips() { return *channel_strip_box; }
  SlateBar& slate() { return *slate_bar; }
  DeviceBar& devices() { return *device_bar; }
  MessageBar& messages() { return *message_bar; }
  TransportButton& button(TransportCommand segment) { return *transport[static_cast<size_t>(segment)]; }
  TimeField& takeLength() { return *time_counter_field; }

  /// Has the user confirmed that the program is to end, or is there nothing to lose.
  bool mayQuit() const { return may_quit; }
  /// Ends the program without asking: a signal, or the user's answer.
  void quit();

  // MainWindowView
  void showTransport(TransportCommand segment, TransportColour colour) override;
  void showBusy(bool busy) override;
  void showAlert(const std::string& message, const std::string& informative_text) override;
  void setPeak(float peak_db, float rms_db, uint32_t channel) override;
  void showCurrentTime(const std::string& timecode, bool locked) override;
  void showTakeLength(const std::string& timecode) override;
  void showRing(const RingPositions& positions) override;
  void showMenu(DeviceMenu which, const PopupMenu& menu) override;
  void showPullMenu(const std::array<PullMenu::Item, 3>& items) override;
  void showBufferSizeRange(double lowest, double highest) override;
  void showBufferSize(uint32_t frames) override;
  void takeFinished(const FinishedTake& take) override;
  void fileNotSynced(const std::string& path, const std::string& error) override;
  void playbackFinished(const std::optional<std::string>& reason) override;

protected:
  void closeEvent(QCloseEvent* event) override;

private:
  QWidget* makeTop();
  QWidget* makeTransport();
  void makeStatusBar();
  void makeMenus();
  void makeTransportMenu(QMenu& menu);
  QAction* addCommand(QMenu& menu, const QString& title, const QKeySequence& shortcut,
                      const std::function<void()>& act);
  void press(TransportCommand command);
  bool takeRuns() const;
  void showIncidents(uint64_t of_take);
  void chooseCsvFolder();
  void openManual();
  void restorePlaces();
  void fitStrips();
  void savePlaces();
  void keepSettings();

  UserDefaults& defaults;
  UserDefaults& memory;
  Recorder* recorder = nullptr;
  bool may_quit = false;
  int32_t engine_state = OutputFile::IDLE;
  uint64_t nr_unsynced = 0; ///< files of the last take that could not be brought to disk
  MessageBar* message_bar = nullptr;
  std::array<TransportButton*, 4> transport{}; ///< by TransportCommand
  TimeField* current_time_field = nullptr;
  TimeField* time_counter_field = nullptr;
  QProgressBar* progress_indicator = nullptr;
  RingBufferView* ring_buffer_view = nullptr;
  SlateBar* slate_bar = nullptr;
  NextTakeView* next_take_view = nullptr;
  ChannelStripBox* channel_strip_box = nullptr;
  HistoryTable* history_table = nullptr;
  DeviceBar* device_bar = nullptr;
  QSplitter* splitter = nullptr;
  QLabel* losses_label = nullptr;
  QTimer save_timer;
  UserDefaults::ObservationHandle any_setting;
  QAction* preferences_command = nullptr;
  QAction* restore_command = nullptr;
  PreferencesPanel* preferences = nullptr;
};

} // namespace vurl
