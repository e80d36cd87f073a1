#include "views/MainWindow.h"

#include "views/PreferencesPanel.h"
#include "views/SettingControls.h"
#include "views/SettingsBinding.h"

#include <QtGui/QCloseEvent>
#include <QtGui/QScreen>
#include <QtWidgets/QApplication>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QProgressBar>
#include <QtWidgets/QSplitter>
#include <QtWidgets/QStatusBar>
#include <algorithm>
#include <utility>

namespace vurl {
namespace {

constexpr const char* kGeometryKey = "window_geometry";
constexpr const char* kSplitterKey = "window_splitter";
constexpr const char* kChannelsKey = "window_channels"; ///< those that the splitter was set for
const QColor kRed = QColor::fromRgbF(0.7F, 0.15F, 0.15F);
const QColor kYellow = QColor::fromRgbF(0.6F, 0.6F, 0.15F);
const QColor kStopGround(84, 92, 104);
const QColor kPlayGround(122, 112, 16);
constexpr int kMargin = 8;
constexpr QSize kFirstSize(1240, 760);
constexpr QSize kFrame(0, 40); ///< what the desktop puts around a window
constexpr int kHistoryHeight = 130;
constexpr int kFirstSplit = 510;        ///< of strips and history together, before the window has been laid out
constexpr size_t kMostDetails = 20;     ///< incidents of a take that a hint lists
constexpr int kTransientMessage = 8000; ///< ms
constexpr int kSettingsPause = 2000;    ///< ms behind a change, until the settings are written

/// The engine's states in words, by number.
constexpr std::array kStateWords = {
    QT_TRANSLATE_NOOP("vurl::MainWindow", "Stopped"),
    QT_TRANSLATE_NOOP("vurl::MainWindow", "Ending"),
    QT_TRANSLATE_NOOP("vurl::MainWindow", "Ended"),
    QT_TRANSLATE_NOOP("vurl::MainWindow", "Starting to record"),
    QT_TRANSLATE_NOOP("vurl::MainWindow", "RECORDING"),
    QT_TRANSLATE_NOOP("vurl::MainWindow", "Finishing the take"),
    QT_TRANSLATE_NOOP("vurl::MainWindow", "Closing the files"),
    QT_TRANSLATE_NOOP("vurl::MainWindow", "Take finished"),
    QT_TRANSLATE_NOOP("vurl::MainWindow", "Starting to play"),
    QT_TRANSLATE_NOOP("vurl::MainWindow", "Playing"),
    QT_TRANSLATE_NOOP("vurl::MainWindow", "Playing"),
    QT_TRANSLATE_NOOP("vurl::MainWindow", "Stopping"),
    QT_TRANSLATE_NOOP("vurl::MainWindow", "Playback finished"),
};

bool isRecording(int32_t state) {
  return state >= OutputFile::STARTING_RECORDING && state <= OutputFile::FINISHED_RECORDING;
}

QColor colourFor(TransportColour colour) {
  switch (colour) {
  case TransportColour::red: return kRed;
  case TransportColour::yellow: return kYellow;
  case TransportColour::black: break;
  }
  return Qt::black;
}

} // namespace

MainWindow::MainWindow(UserDefaults& user_defaults, UserDefaults& window_memory)
    : defaults(user_defaults), memory(window_memory) {
  setWindowTitle(tr("Vurl Recorder"));
  message_bar = owned<MessageBar>();
  channel_strip_box = owned<ChannelStripBox>();
  channel_strip_box->awakeFromNib(defaults);
  history_table = owned<HistoryTable>();
  device_bar = owned<DeviceBar>(defaults);
  splitter = owned<QSplitter>(Qt::Vertical);
  splitter->addWidget(channel_strip_box);
  splitter->addWidget(history_table);
  splitter->setStretchFactor(0, 0);
  splitter->setStretchFactor(1, 1);
  splitter->setChildrenCollapsible(false);
  auto* const centre = owned<QWidget>();
  auto* const column = owned<QVBoxLayout>(centre);
  column->setContentsMargins(kMargin, kMargin, kMargin, 2);
  column->addWidget(makeTop());
  column->addWidget(splitter, 1);
  column->addWidget(device_bar);
  setCentralWidget(centre);
  makeStatusBar();
  makeMenus();
  restorePlaces();
  keepSettings();
  history_table->setFocus();
}

MainWindow::~MainWindow() { history_table->setHistory(nullptr); }

QWidget* MainWindow::makeTop() {
  auto* const top = owned<QWidget>();
  auto* const column = owned<QVBoxLayout>(top);
  column->setContentsMargins(0, 0, 0, 0);
  slate_bar = owned<SlateBar>(defaults);
  next_take_view = owned<NextTakeView>(defaults);
  column->addWidget(makeTransport());
  column->addWidget(message_bar); // a message moves everything but the transport
  column->addWidget(slate_bar);
  column->addWidget(next_take_view);
  connect(slate_bar, &SlateBar::sceneChanged, this, [this] {
    if (recorder != nullptr) recorder->controller.sceneChanged();
  });
  return top;
}

QWidget* MainWindow::makeTransport() {
  using Shape = TransportButton::Shape;
  auto* const box = owned<QWidget>();
  auto* const row = owned<QHBoxLayout>(box);
  row->setContentsMargins(0, 0, 0, 0);
  transport = {owned<TransportButton>(Shape::circle, tr("REC"), kRed),
               owned<TransportButton>(Shape::square, tr("STOP"), kStopGround),
               owned<TransportButton>(Shape::cross, tr("ABORT"), kStopGround),
               owned<TransportButton>(Shape::triangle, tr("PLAY"), kPlayGround)};
  for (size_t i = 0; i < transport.size(); ++i) {
    row->addWidget(transport[i]);
    connect(transport[i], &TransportButton::clicked, this, [this, i] {
      history_table->setFocus(); // whoever reaches for the mouse has done with typing: the space bar is the transport's
      press(static_cast<TransportCommand>(i));
    });
  }
  current_time_field = owned<TimeField>();
  current_time_field->setAccessibleName(tr("Running timecode"));
  time_counter_field = owned<TimeField>();
  time_counter_field->setAccessibleName(tr("Length of the take"));
  progress_indicator = owned<QProgressBar>();
  progress_indicator->setRange(0, 0);
  progress_indicator->setTextVisible(false);
  progress_indicator->setFixedWidth(70);
  progress_indicator->setAccessibleName(tr("Busy"));
  QSizePolicy keeps_place = progress_indicator->sizePolicy();
  keeps_place.setRetainSizeWhenHidden(true);
  progress_indicator->setSizePolicy(keeps_place);
  progress_indicator->hide();
  ring_buffer_view = owned<RingBufferView>();
  row->addStretch(1);
  row->addWidget(progress_indicator);
  row->addWidget(current_time_field);
  row->addWidget(time_counter_field);
  row->addWidget(ring_buffer_view);
  return box;
}

void MainWindow::makeStatusBar() {
  losses_label = owned<QLabel>();
  statusBar()->addPermanentWidget(losses_label);
  statusBar()->setSizeGripEnabled(false);
  statusBar()->setContentsMargins(kMargin - 2, 0, kMargin - 2, 2);
  connect(history_table, &HistoryTable::progressed, this, [this](int done, int total) {
    if (done < total) {
      statusBar()->showMessage(tr("Reading the takes in the folders: %1 of %2 files").arg(done).arg(total));
    } else {
      statusBar()->clearMessage();
    }
  });
  connect(history_table, &HistoryTable::filesDropped, this, [this] {
    statusBar()->showMessage(tr("Files are not taken in here: the list shows the takes in the destination folders."),
                             kTransientMessage);
  });
  connect(history_table, &HistoryTable::playWanted, this, [this] { press(PLAY); });
}

void MainWindow::setRecorder(Recorder* recorder_to_command) {
  recorder = recorder_to_command;
  history_table->setHistory(recorder == nullptr ? nullptr : &recorder->history_controler);
  if (recorder == nullptr) {
    next_take_view->setSampleRate({});
    disconnect(device_bar, nullptr, this, nullptr);
    return;
  }
  next_take_view->setSampleRate([this] { return recorder->audio_ring.adjustedSampleRate(); });
  connect(device_bar, &DeviceBar::chosen, this,
          [this](DeviceMenu which, qint64 tag) { recorder->controller.choose(which, tag); });
  connect(device_bar, &DeviceBar::bufferSizeChosen, this,
          [this](quint32 frames) { recorder->controller.bufferFrameSizeChanged(frames); });
}

/// What is still being typed belongs to the take that begins or ends.
void MainWindow::press(TransportCommand command) {
  slate_bar->finishEditing();
  if (recorder != nullptr) recorder->controller.recStopPressed(command);
}

// What the controller shows

void MainWindow::showTransport(TransportCommand segment, TransportColour colour) {
  for (size_t i = 0; i < transport.size(); ++i) transport[i]->setLit(static_cast<TransportCommand>(i) == segment);
  time_counter_field->setColour(colourFor(colour));
}

void MainWindow::showBusy(bool busy) { progress_indicator->setVisible(busy); }

void MainWindow::showAlert(const std::string& message, const std::string& informative_text) {
  message_bar->show(QString::fromStdString(message), QString::fromStdString(informative_text));
}

void MainWindow::setPeak(float peak_db, float rms_db, uint32_t channel) {
  channel_strip_box->setPeak(peak_db, rms_db, channel);
}

void MainWindow::showCurrentTime(const std::string& timecode, bool locked) {
  current_time_field->setTime(QString::fromStdString(timecode));
  current_time_field->setColour(locked ? QColor(Qt::black) : QColor(Qt::gray));
  current_time_field->setWords(
      tr("%1 · %2 · %3")
          .arg(device_bar->timeSourceWords(), locked ? tr("locked") : tr("NOT LOCKED"), device_bar->frameRateWords()));
}

/// How often samples have been lost since the start, and what else has happened in the take.
void MainWindow::showIncidents(uint64_t of_take) {
  const uint32_t losses = recorder == nullptr ? 0 : recorder->controller.nrOverloads();
  QString words = losses == 0   ? tr("No samples lost")
                  : losses == 1 ? tr("⚠ Samples lost once")
                                : tr("⚠ Samples lost %1 times").arg(losses);
  const uint64_t incidents = of_take + nr_unsynced;
  const QString where = isRecording(engine_state) ? tr("this take") : tr("the last take");
  if (incidents == 1) words += tr(" · ⚠ 1 incident in %1").arg(where);
  if (incidents > 1) words += tr(" · ⚠ %1 incidents in %2").arg(incidents).arg(where);
  losses_label->setText(words);
}

void MainWindow::showTakeLength(const std::string& timecode) {
  time_counter_field->setTime(QString::fromStdString(timecode));
}

void MainWindow::showRing(const RingPositions& positions) {
  ring_buffer_view->setDevicePosition(positions.device);
  ring_buffer_view->setRecordingPosition(positions.recording);
  ring_buffer_view->setPlaybackPosition(positions.playback);
  ring_buffer_view->setBorderPosition(positions.border);
  ring_buffer_view->setState(positions.state);
  if (!isRecording(engine_state) && isRecording(positions.state)) nr_unsynced = 0;
  engine_state = positions.state;
  next_take_view->setRecording(isRecording(engine_state));
  if (engine_state < 0 || static_cast<size_t>(engine_state) >= kStateWords.size()) return;
  const QString words = tr(kStateWords[static_cast<size_t>(engine_state)]);
  time_counter_field->setWords(positions.stands_still ? tr("%1 · NO SOUND ARRIVES").arg(words) : words);
  showIncidents(positions.nr_incidents);
  setWindowTitle(engine_state == OutputFile::IDLE ? tr("Vurl Recorder") : tr("%1 – Vurl Recorder").arg(words));
}

void MainWindow::showMenu(DeviceMenu which, const PopupMenu& menu) { device_bar->showMenu(which, menu); }

void MainWindow::showPullMenu(const std::array<PullMenu::Item, 3>& items) { device_bar->showPullMenu(items); }

void MainWindow::showBufferSizeRange(double lowest, double highest) {
  device_bar->showBufferSizeRange(lowest, highest);
}

void MainWindow::showBufferSize(uint32_t frames) { device_bar->showBufferSize(frames); }

void MainWindow::fileNotSynced(const std::string&, const std::string&) { ++nr_unsynced; }

void MainWindow::takeFinished(const FinishedTake& take) {
  QStringList details;
  for (size_t i = 0; i < std::min(take.incidents.first.size(), kMostDetails); ++i)
    details += QString::fromStdString(inWords(take.incidents.first[i]));
  losses_label->setToolTip(details.join(QLatin1Char('\n')));
  if (take.meta_data == nullptr || take.meta_data->nrSamples() == 0) return; // an alert tells why
  const QString files = take.nr_files == 1 ? tr("1 file") : tr("%1 files").arg(take.nr_files);
  const QString duration = QString::fromStdString(take.meta_data->durationString());
  statusBar()->showMessage(tr("A take of %1 is in %2.").arg(duration, files), kTransientMessage);
}

void MainWindow::playbackFinished(const std::optional<std::string>&) {}

// The end

bool MainWindow::takeRuns() const { return recorder != nullptr && isRecording(recorder->output_file.state()); }

void MainWindow::closeEvent(QCloseEvent* event) {
  if (!may_quit && takeRuns()) {
    event->ignore();
    message_bar->show(tr("A take is being recorded."), tr("It goes on until you decide."), tr("End the take and quit"),
                      [this] { quit(); });
    return;
  }
  event->accept();
  quit();
}

void MainWindow::quit() {
  may_quit = true;
  savePlaces();
  if (preferences != nullptr) preferences->hide();
  if (takeRuns()) {
    time_counter_field->setWords(tr("Finishing the take"));
    time_counter_field->repaint();
  }
  QApplication::exit(0);
}

/// What the user has set up survives a power cut. Never during a take: a disk under load may hold the window up.
void MainWindow::keepSettings() {
  save_timer.setSingleShot(true);
  save_timer.setInterval(kSettingsPause);
  connect(&save_timer, &QTimer::timeout, this, [this] {
    if (engine_state != OutputFile::IDLE) {
      save_timer.start();
    } else if (const auto reason = defaults.synchronize()) {
      showAlert(tr("The settings are not saved.").toStdString(), *reason);
    }
  });
  any_setting = defaults.observe("", [this](const std::string&) { save_timer.start(); });
}

void MainWindow::restorePlaces() {
  const auto stored = [this](const char* key) {
    return QByteArray::fromBase64(QByteArray::fromStdString(memory.stringForKey(key)));
  };
  if (!restoreGeometry(stored(kGeometryKey))) resize(kFirstSize);
  if (!isMaximized() && !isFullScreen()) resize(size().boundedTo(screen()->availableSize() - kFrame));
  SettingsBinding::follow(*channel_strip_box, defaults, "nr_channels", [this] { fitStrips(); });
  const bool is_same = memory.integerForKey(kChannelsKey) == defaults.integerForKey("nr_channels");
  if (is_same) splitter->restoreState(stored(kSplitterKey));
  history_table->restoreColumns(memory);
}

/// As much room as the meters can use, as long as some of the history is seen.
void MainWindow::fitStrips() {
  const int height = splitter->height();
  const int strips = std::min(channel_strip_box->sizeHint().height(), std::max(height, kFirstSplit) - kHistoryHeight);
  splitter->setSizes({strips, std::max(height, kFirstSplit) - strips});
}

void MainWindow::savePlaces() {
  memory.setObject(saveGeometry().toBase64().toStdString(), kGeometryKey);
  memory.setObject(splitter->saveState().toBase64().toStdString(), kSplitterKey);
  memory.setInteger(defaults.integerForKey("nr_channels"), kChannelsKey);
  history_table->saveColumns(memory);
  memory.synchronize();
}

} // namespace vurl
