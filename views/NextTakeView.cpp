#include "views/NextTakeView.h"

#include "app/NextTake.h"
#include "platform/Text.h"
#include "views/SettingControls.h"

#include <QtGui/QTextDocumentFragment>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>

namespace vurl {
namespace {

constexpr std::chrono::seconds kTick{1};
constexpr int kTicksPerQuestion = 3;
constexpr int64_t kLowSeconds = 900;
constexpr size_t kFoldersInALine = 2;

QString shortened(const std::string& path) {
  const QString home = QString::fromStdString(expandTilde("~"));
  const QString whole = QString::fromStdString(path);
  return whole.startsWith(home + QLatin1Char('/')) ? QLatin1Char('~') + whole.mid(home.size()) : whole;
}

std::vector<std::string> pathsOf(const std::vector<TakeFolder>& folders) {
  std::vector<std::string> paths;
  paths.reserve(folders.size());
  for (const TakeFolder& folder : folders) paths.push_back(folder.path);
  return paths;
}

/// A screen reader tells a label's description, for the label's name is what it is for.
void showWords(QLabel& label, const QString& words) {
  if (label.text() == words) return;
  label.setText(words);
  label.setAccessibleDescription(QTextDocumentFragment::fromHtml(words).toPlainText());
}

} // namespace

NextTakeView::NextTakeView(UserDefaults& user_defaults, QWidget* parent)
    : QWidget(parent), defaults(user_defaults), files(owned<QLabel>()), room(owned<QLabel>()) {
  auto* const row = owned<QHBoxLayout>(this);
  row->setContentsMargins(0, 0, 0, 0);
  files->setAccessibleName(tr("Files of the next take"));
  files->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
  files->setTextFormat(Qt::RichText);
  room->setAccessibleName(tr("Recording time left"));
  room->setTextFormat(Qt::RichText);
  row->addWidget(files, 1);
  row->addWidget(room);
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
  if (std::exchange(changed, false) || ticks++ % kTicksPerQuestion == 0) disks.ask(pathsOf(folders));
  const bool many = folders.size() > kFoldersInALine; // a line of their own each, so that the window stays narrow
  static_cast<QBoxLayout*>(layout())->setDirection(many ? QBoxLayout::TopToBottom : QBoxLayout::LeftToRight);
  for (QLabel* label : {files, room}) label->setWordWrap(many);
  showWords(*files, filesInWords());
  files->setToolTip(files->text());
  showWords(*room, roomInWords());
}

void NextTakeView::lookAhead() {
  const MetaData take = nextTake(defaults, MetaData::kMaximumFiles, sample_rate ? sample_rate() : 0);
  folders = foldersOf(take);
  warning = QString::fromStdString(nextTakeWarning(take));
}

QString NextTakeView::filesInWords() const {
  if (folders.empty()) return tr("Next take: no files. Set up files and folders in the preferences.");
  QStringList parts;
  if (!recording && !warning.isEmpty()) parts += tr("<b>⚠ CANNOT BE RECORDED: %1</b>").arg(warning.toHtmlEscaped());
  for (const TakeFolder& folder : folders) {
    const QString folder_name = shortened(folder.path).toHtmlEscaped();
    const QString first = QString::fromStdString(folder.first_name).toHtmlEscaped();
    const QString last = QString::fromStdString(folder.last_name).toHtmlEscaped();
    const QString count = tr("%1 files").arg(folder.nr_files);
    if (recording) {
      parts += tr("%1 → <b>%2</b>").arg(folder.nr_files == 1 ? tr("1 file") : count, folder_name);
    } else if (folder.nr_files == 1) {
      parts += tr("<b>%1</b> → <b>%2</b>").arg(first, folder_name);
    } else {
      parts += tr("<b>%1</b> … <b>%2</b> (%3) → <b>%4</b>").arg(first, last, count, folder_name);
    }
  }
  return (recording ? tr("Recording&nbsp; ") : tr("Next take&nbsp; ")) +
         parts.join(QStringLiteral("&nbsp;&nbsp;&nbsp;"));
}

QString NextTakeView::roomInWords() const {
  const auto rooms = disks.answers(pathsOf(folders));
  QStringList parts;
  for (size_t i = 0; i < folders.size(); ++i) {
    const auto seconds = secondsLeft(folders, rooms, i);
    QString words = rooms[i] ? tr("%1 GB free").arg(static_cast<double>(rooms[i]->free_bytes) / 1e9, 0, 'f', 1)
                             : tr("free space unknown");
    if (seconds) words = tr("%1 left (%2)").arg(QString::fromStdString(durationInWords(*seconds)), words);
    const bool is_missing = rooms[i] && !rooms[i]->is_there;
    if (is_missing) words = tr("FOLDER NOT THERE");
    const bool low = seconds && *seconds < kLowSeconds;
    words = words.toHtmlEscaped();
    if (folders.size() > 1) words = tr("%1: %2").arg(QString::number(i + 1), words);
    words.replace(QLatin1Char(' '), QStringLiteral("&nbsp;")); // lines break between folders
    parts += is_missing ? tr("<b>⚠ %1</b>").arg(words) : low ? tr("<b>⚠ LOW: %1</b>").arg(words) : words;
  }
  return parts.join(QStringLiteral("&nbsp;&nbsp; "));
}

} // namespace vurl
