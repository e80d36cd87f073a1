#include "views/NextTakeView.h"

#include "app/FolderTroubles.h"
#include "app/NextTake.h"
#include "platform/Text.h"
#include "views/ElidedLabel.h"
#include "views/SettingControls.h"

#include <QtGui/QTextDocumentFragment>
#include <QtWidgets/QGridLayout>
#include <QtWidgets/QLabel>
#include <algorithm>

namespace vurl {
namespace {

constexpr std::chrono::seconds kTick{1};
constexpr int kTicksPerQuestion = 3;
constexpr double kNameScale = 1.1; ///< of the files' names, which are checked at a glance
constexpr int kSpacing = 10;
constexpr int kStretchColumn = 3; ///< between the folders and the room that they have left
constexpr int kWarningRow = MetaData::kMaximumFolders;

QString shortened(const std::string& path) {
  const QString home = QString::fromStdString(expandTilde("~"));
  const QString whole = QString::fromStdString(path);
  return whole.startsWith(home + QLatin1Char('/')) ? QLatin1Char('~') + whole.mid(home.size()) : whole;
}

/// The folders, and behind them, before a take, the first file of each: during it they are there.
std::vector<std::string> pathsOf(const std::vector<TakeFolder>& folders, bool recording) {
  std::vector<std::string> paths;
  paths.reserve(2 * folders.size());
  for (const TakeFolder& folder : folders) paths.push_back(folder.path);
  for (size_t i = 0; i < folders.size() && !recording; ++i) paths.push_back(folders[i].firstFile());
  return paths;
}

/// The names of a folder's files, the last one from where it differs: "12A_T03-f01.wav … f08.wav".
QString namesInWords(const TakeFolder& folder) {
  QString first = QString::fromStdString(folder.first_name);
  if (folder.nr_files == 1) return first;
  const std::string& last = folder.last_name;
  const auto differs =
      std::mismatch(last.begin(), last.end(), folder.first_name.begin(), folder.first_name.end()).first;
  size_t start = static_cast<size_t>(differs - last.begin());
  while (start > 0 && last[start - 1] != '-' && last[start - 1] != '_') --start;
  return QStringLiteral("%1 … %2").arg(first, QString::fromStdString(last.substr(start)));
}

QString alarm(const QString& words) {
  return QStringLiteral("<b style='color: white; background: #b32626'>&nbsp;⚠ %1&nbsp;</b>").arg(words);
}

/// A screen reader tells a label's description, for the label's name is what it is for.
void showWords(QLabel& label, const QString& words) {
  if (label.text() == words) return;
  label.setText(words);
  const bool is_rich = label.textFormat() == Qt::RichText;
  label.setAccessibleDescription(is_rich ? QTextDocumentFragment::fromHtml(words).toPlainText() : words);
}

} // namespace

NextTakeView::NextTakeView(UserDefaults& user_defaults, QWidget* parent)
    : QWidget(parent),
      defaults(user_defaults),
      grid(owned<QGridLayout>(this)),
      warning(owned<QLabel>()),
      flaws(owned<QLabel>()) {
  grid->setContentsMargins(0, 0, 0, 0);
  grid->setHorizontalSpacing(kSpacing);
  grid->setVerticalSpacing(1);
  grid->setColumnStretch(kStretchColumn, 1);
  warning->setAccessibleName(tr("Warning of the next take"));
  warning->setTextFormat(Qt::RichText);
  warning->setWordWrap(true);
  warning->hide();
  grid->addWidget(warning, kWarningRow, 0, 1, kStretchColumn + 2);
  flaws->setAccessibleName(tr("What is wrong with the folders"));
  flaws->setTextFormat(Qt::PlainText);
  flaws->setWordWrap(true);
  flaws->hide();
  grid->addWidget(flaws, kWarningRow + 1, 0, 1, kStretchColumn + 2);
  changes = defaults.observe("", [this](const std::string&) {
    changed = true;
    timer.start(0); // soon, and once for many changes
  });
  connect(&timer, &QTimer::timeout, this, &NextTakeView::refresh);
  timer.start(0);
}

void NextTakeView::setSampleRate(SampleRate source) {
  sample_rate = std::move(source);
  changed = true;
}

void NextTakeView::setRecording(bool on) {
  if (recording == on) return;
  recording = on;
  timer.start(0);
}

/// Names may hold the time, so they are made anew every second; the disks are asked less often.
void NextTakeView::refresh() {
  timer.start(kTick);
  if (!recording || folders.empty()) lookAhead();
  if (std::exchange(changed, false) || ticks++ % kTicksPerQuestion == 0) disks.ask(pathsOf(folders, recording));
  setNumberOfLines(std::max<size_t>(folders.size(), 1));
  if (folders.empty()) {
    lines[0].head->setText(tr("Next take: no files. Set up files and folders in the preferences."));
    for (QLabel* const label : {lines[0].files, lines[0].folder, lines[0].room}) label->clear();
    flaws->hide();
    showWarning({});
    return;
  }
  const auto rooms = disks.answers(pathsOf(folders, recording));
  for (size_t i = 0; i < folders.size(); ++i) {
    show(lines[i], folders[i]);
    showWords(*lines[i].room, roomInWords(i, rooms));
  }
  showFlaws(rooms);
  showWarning(rooms);
  lines[0].head->setText(recording ? tr("Recording") : tr("Next take"));
}

void NextTakeView::lookAhead() {
  const MetaData take = nextTake(defaults, MetaData::kMaximumFiles, sample_rate ? sample_rate() : 0);
  folders = foldersOf(take);
  obstacle = nextTakeWarning(take);
}

void NextTakeView::showWarning(const DiskWatch::Rooms& rooms) {
  std::string words = obstacle;
  for (size_t i = 0; words.empty() && folders.size() + i < rooms.size(); ++i)
    if (const auto taken = nameTaken(folders[i], rooms[folders.size() + i])) words = taken->text + " " + taken->advice;
  warning->setVisible(!words.empty());
  const QString told = tr("CANNOT BE RECORDED: %1").arg(QString::fromStdString(words).toHtmlEscaped());
  showWords(*warning, words.empty() ? QString() : alarm(told));
}

void NextTakeView::setNumberOfLines(size_t number) {
  for (; lines.size() > number; lines.pop_back()) {
    const Line& line = lines.back();
    for (QLabel* const label : {line.head, line.files, line.folder, line.room}) delete label;
  }
  while (lines.size() < number) {
    const Line line = {owned<QLabel>(), owned<ElidedLabel>(), owned<ElidedLabel>(), owned<QLabel>()};
    const int row = static_cast<int>(lines.size());
    QFont bold = font();
    bold.setBold(true);
    bold.setPointSizeF(bold.pointSizeF() * kNameScale);
    line.files->setFont(bold);
    line.files->setAccessibleName(tr("Files in folder %1").arg(row + 1));
    line.folder->setAccessibleName(tr("Folder %1").arg(row + 1));
    line.room->setAccessibleName(tr("Recording time left in folder %1").arg(row + 1));
    line.room->setTextFormat(Qt::RichText);
    grid->addWidget(line.head, row, 0);
    grid->addWidget(line.files, row, 1);
    grid->addWidget(line.folder, row, 2);
    grid->addWidget(line.room, row, kStretchColumn + 1, Qt::AlignRight);
    lines.push_back(line);
  }
}

void NextTakeView::show(const Line& line, const TakeFolder& folder) const {
  const QString count = folder.nr_files == 1 ? tr("1 file") : tr("%1 files").arg(folder.nr_files);
  const QString names = namesInWords(folder);
  showWords(*line.files, recording ? count : folder.nr_files == 1 ? names : tr("%1 (%2)").arg(names, count));
  showWords(*line.folder, tr("→ %1").arg(folder.path.empty() ? tr("no folder chosen") : shortened(folder.path)));
}

QString NextTakeView::roomInWords(size_t folder, const DiskWatch::Rooms& rooms) const {
  if (folders[folder].path.empty()) return alarm(tr("NO FOLDER: choose one in Preferences, Folders"));
  const auto& room = rooms[folder];
  if (!room) return tr("free space unknown");
  if (room->folder == FolderState::missing || room->folder == FolderState::file) return alarm(tr("NOT THERE"));
  if (room->has_lost_disk) return alarm(tr("ITS DISK IS GONE"));
  if (room->folder == FolderState::read_only) return alarm(tr("READ-ONLY"));
  if (room->folder == FolderState::locked) return alarm(tr("NO PERMISSION to write"));
  if (!whyNothingFits(folders, rooms, folder).empty()) return alarm(tr("NO SPACE"));
  const auto seconds = secondsLeft(folders, rooms, folder);
  QString free = tr("%1 GB free").arg(static_cast<double>(room->free_bytes) / 1e9, 0, 'f', 1);
  if (!seconds) return free;
  QString words = tr("%1 left (%2)").arg(QString::fromStdString(durationInWords(*seconds)), free);
  switch (roomLevel(seconds)) {
  case RoomLevel::almost_none: return alarm(tr("ALMOST FULL: %1").arg(words));
  case RoomLevel::low: return tr("<b>⚠ LOW: %1</b>").arg(words);
  case RoomLevel::enough: break;
  }
  return words;
}

void NextTakeView::showFlaws(const DiskWatch::Rooms& rooms) {
  QStringList words;
  for (size_t i = 0; i < folders.size(); ++i)
    for (const Flaw& flaw : flawsOf(folders, rooms, i))
      words +=
          tr("⚠ %1: %2 %3")
              .arg(shortened(folders[i].path), QString::fromStdString(flaw.text), QString::fromStdString(flaw.advice));
  flaws->setVisible(!words.isEmpty());
  showWords(*flaws, words.join(QLatin1Char('\n')));
}

} // namespace vurl
