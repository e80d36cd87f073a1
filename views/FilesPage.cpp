#include "views/FilesPage.h"

#include "app/NextTake.h"
#include "engine/SampleFormat.h"
#include "views/FolderChooser.h"
#include "views/SettingControls.h"

#include <QtWidgets/QApplication>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QFormLayout>
#include <QtWidgets/QGridLayout>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QSpinBox>
#include <QtWidgets/QToolButton>
#include <QtWidgets/QVBoxLayout>
#include <algorithm>

namespace vurl {
namespace {

struct TokenTitle {
  const char* token;
  const char* title;
};

constexpr TokenTitle kTokens[] = {
    {"%p", QT_TRANSLATE_NOOP("vurl::FilesPage", "project")},
    {"%s", QT_TRANSLATE_NOOP("vurl::FilesPage", "scene")},
    {"%l", QT_TRANSLATE_NOOP("vurl::FilesPage", "slate")},
    {"%t", QT_TRANSLATE_NOOP("vurl::FilesPage", "take")},
    {"%3t", QT_TRANSLATE_NOOP("vurl::FilesPage", "take as 007")},
    {"%r", QT_TRANSLATE_NOOP("vurl::FilesPage", "roll")},
    {"%n", QT_TRANSLATE_NOOP("vurl::FilesPage", "note")},
    {"%c", QT_TRANSLATE_NOOP("vurl::FilesPage", "channel or kind")},
    {"%f", QT_TRANSLATE_NOOP("vurl::FilesPage", "file number")},
    {"%C", QT_TRANSLATE_NOOP("vurl::FilesPage", "count from 2 on")},
    {"%T", QT_TRANSLATE_NOOP("vurl::FilesPage", "timecode")},
    {"%F", QT_TRANSLATE_NOOP("vurl::FilesPage", "frame rate")},
    {"%y", QT_TRANSLATE_NOOP("vurl::FilesPage", "year")},
    {"%m", QT_TRANSLATE_NOOP("vurl::FilesPage", "month")},
    {"%d", QT_TRANSLATE_NOOP("vurl::FilesPage", "day")},
    {"%H", QT_TRANSLATE_NOOP("vurl::FilesPage", "hour")},
    {"%M", QT_TRANSLATE_NOOP("vurl::FilesPage", "minute")},
    {"%S", QT_TRANSLATE_NOOP("vurl::FilesPage", "second")},
    {"%%", QT_TRANSLATE_NOOP("vurl::FilesPage", "percent sign")},
};
constexpr int kTokenColumns = 4;
constexpr int32_t kNamesShown = 4;

QLabel* exampleLabel(const QString& name) {
  auto* const label = owned<QLabel>();
  label->setTextFormat(Qt::PlainText);
  label->setTextInteractionFlags(Qt::TextSelectableByMouse);
  label->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
  label->setMinimumWidth(1); // long names do not widen the panel
  label->setObjectName(name);
  return label;
}

} // namespace

FilesPage::FilesPage(UserDefaults& user_defaults)
    : defaults(user_defaults),
      filename_format(settingField(defaults, "filename_format")),
      csv_filename_format(settingField(defaults, "csv_filename_format")),
      last_edited(filename_format),
      example(exampleLabel("example")),
      report_example(exampleLabel("report_example")) {
  auto* const page = owned<QVBoxLayout>(this);
  addNaming(*page);
  addReport(*page);
  addFormat(*page);
  page->addStretch();
  connect(qApp, &QApplication::focusChanged, this, [this](QWidget*, QWidget* now) {
    if (now == filename_format || now == csv_filename_format) last_edited = static_cast<QLineEdit*>(now);
  });
  updateExample();
}

void FilesPage::addNaming(QVBoxLayout& page) {
  QFormLayout* const rows = addGroup(page, tr("Names of take files"));
  addRow(*rows, tr("Format"), filename_format);
  addRow(*rows, tr("Next take"), example);
  addTokens(*rows);
}

void FilesPage::addTokens(QFormLayout& rows) {
  auto* const grid = owned<QGridLayout>();
  grid->setSpacing(2);
  int number = 0;
  for (const TokenTitle& token : kTokens) {
    auto* const button = owned<QToolButton>();
    const QString title = tr(token.title);
    button->setText(QString(token.token) + QStringLiteral("  ") + title);
    button->setAutoRaise(true);
    button->setFocusPolicy(Qt::TabFocus); // a click leaves the focus in the format
    button->setAccessibleName(tr("Insert %1").arg(title));
    connect(button, &QToolButton::clicked, this, [this, text = QString(token.token)] { insert(text); });
    grid->addWidget(button, number / kTokenColumns, number % kTokenColumns, Qt::AlignLeft);
    ++number;
  }
  auto* const label = owned<QLabel>(tr("Insert:"));
  rows.addRow(label, grid);
}

void FilesPage::insert(const QString& token) {
  last_edited->insert(token);
  defaults.setObject(last_edited->text().toStdString(), last_edited->objectName().toStdString());
}

void FilesPage::addReport(QVBoxLayout& page) {
  QFormLayout* const rows = addGroup(page, tr("CSV report"));
  addRow(*rows, tr("Name format"), csv_filename_format);
  QLineEdit* const folder = settingField(defaults, "csv_folder");
  folder->setAccessibleName(tr("Folder of the CSV report"));
  QPushButton* const button = quietButton(tr("Choose…"));
  button->setObjectName("choose_csv_folder");
  button->setAccessibleName(tr("Choose the folder of the CSV report"));
  connect(button, &QPushButton::clicked, this, &FilesPage::chooseReportFolder);
  auto* const line = owned<QHBoxLayout>();
  line->addWidget(folder);
  line->addWidget(button);
  auto* const label = owned<QLabel>(tr("Folder:"));
  label->setBuddy(folder);
  rows->addRow(label, line);
  addRow(*rows, tr("Written to"), report_example);
}

void FilesPage::chooseReportFolder() {
  openFolderChooser(*this, tr("Folder of the CSV report"), defaults.stringForKey("csv_folder"),
                    [this](const std::optional<std::string>& path) {
                      if (path) defaults.setObject(*path, "csv_folder");
                    });
}

void FilesPage::addFormat(QVBoxLayout& page) {
  QFormLayout* const rows = addGroup(page, tr("Contents"));
  addRow(*rows, tr("File format"),
         settingMenu(
             defaults, "file_format",
             {{tr("Broadcast Wave (RF64 when large)"), MetaData::kBWF}, {tr("Core Audio Format"), MetaData::kCAF}}));
  addRow(*rows, tr("Samples"),
         settingMenu(defaults, "bit_depth",
                     {{tr("16 bit"), INTEGER16}, {tr("24 bit"), INTEGER24}, {tr("32 bit float"), FLOAT32}}));
  QSpinBox* const size = settingNumber(defaults, "maximum_file_size", tr(" MiB"));
  size->setSpecialValueText(tr("no limit"));
  size->setToolTip(tr("A file that reaches this size goes on in the next one without a gap."));
  addRow(*rows, tr("Largest file"), size);
  addRow(*rows, tr("Contact"), settingField(defaults, "contact_info"));
  addRow(*rows, tr("Session note"), settingField(defaults, "session_note"));
}

void FilesPage::updateExample() {
  const MetaData take = nextTake(defaults);
  QStringList lines;
  for (int32_t file = 0; file < std::min(take.nrFiles(), kNamesShown); ++file)
    lines += QString::fromStdString(take.filenameForFile(file));
  if (take.nrFiles() > kNamesShown) lines += tr("and %n more", nullptr, take.nrFiles() - kNamesShown);
  if (namesCollide(take)) lines += tr("Some files would have the same name: add %f, or other folders.");
  example->setText(lines.join('\n'));
  example->setToolTip(example->text());
  report_example->setText(QString::fromStdString(take.csvFilename()));
  report_example->setToolTip(report_example->text());
}

} // namespace vurl
