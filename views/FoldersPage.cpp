#include "views/FoldersPage.h"

#include "metadata/MetaData.h"
#include "platform/Text.h"
#include "views/SettingControls.h"

#include <QtCore/QLocale>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QTableWidget>
#include <QtWidgets/QVBoxLayout>
#include <chrono>

namespace vurl {
namespace {

enum Column { folder_column, space_column, button_column, nr_columns };

constexpr std::chrono::seconds kAskInterval(5);
constexpr std::chrono::milliseconds kShowInterval(250);

QTableWidgetItem* readOnlyItem() {
  auto* const item = owned<QTableWidgetItem>();
  item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
  return item;
}

} // namespace

FoldersPage::FoldersPage() : folder_table(owned<QTableWidget>(0, nr_columns)) {
  auto* const page = owned<QVBoxLayout>(this);
  page->addWidget(hintLabel(tr("Takes go into these folders. The layout says how many there are, and which file goes "
                               "where; a take uses the first eight.")));
  page->addWidget(folder_table);
  folder_table->setAccessibleName(tr("Destination folders"));
  folder_table->setHorizontalHeaderLabels({tr("Folder"), tr("Free space"), QString()});
  folder_table->setSelectionMode(QAbstractItemView::NoSelection);
  folder_table->setTabKeyNavigation(false);
  folder_table->setTextElideMode(Qt::ElideMiddle);
  QHeaderView& header = *folder_table->horizontalHeader();
  header.setSectionResizeMode(QHeaderView::ResizeToContents);
  header.setSectionResizeMode(folder_column, QHeaderView::Stretch);
  header.setHighlightSections(false);
  ask_timer.setInterval(kAskInterval);
  connect(&ask_timer, &QTimer::timeout, this, &FoldersPage::askForSpace);
  show_timer.setInterval(kShowInterval);
  connect(&show_timer, &QTimer::timeout, this, &FoldersPage::showSpace);
}

void FoldersPage::setController(FolderControler& controller) {
  folder_controler = &controller;
  reloadFolders();
}

void FoldersPage::reloadFolders() {
  if (folder_controler == nullptr) return;
  addRows(folder_controler->numberOfRows());
  for (int32_t row = 0; row < folder_table->rowCount(); ++row) {
    const QString path = QString::fromStdString(folder_controler->objectValue("folder", row));
    folder_table->item(row, folder_column)->setText(path);
    folder_table->item(row, folder_column)->setToolTip(path);
  }
  if (isVisible()) askForSpace();
}

/// Buttons stay what they are, so that the one with the keyboard's focus keeps it.
void FoldersPage::addRows(int32_t rows) {
  const int32_t first = folder_table->rowCount();
  folder_table->setRowCount(rows);
  for (int32_t row = first; row < rows; ++row) {
    for (const int column : {folder_column, space_column}) folder_table->setItem(row, column, readOnlyItem());
    QPushButton* const button = quietButton(tr("Choose…"));
    button->setObjectName(QStringLiteral("path_for_folder%1").arg(row, 2, 10, QLatin1Char('0')));
    button->setAccessibleName(tr("Choose folder %1").arg(row + 1));
    connect(button, &QPushButton::clicked, this, [this, row] { folder_controler->setObjectValue(1, "button", row); });
    folder_table->setCellWidget(row, button_column, button);
  }
}

std::vector<std::string> FoldersPage::paths() const {
  std::vector<std::string> folders;
  for (int32_t row = 0; row < folder_table->rowCount() && folder_controler != nullptr; ++row) {
    folders.push_back(expandTilde(folder_controler->objectValue("folder", row)));
  }
  return folders;
}

void FoldersPage::askForSpace() {
  disks.ask(paths());
  showSpace();
}

void FoldersPage::showSpace() {
  const std::vector<std::string> folders = paths();
  const DiskWatch::Rooms rooms = disks.answers(folders);
  for (size_t i = 0; i < rooms.size(); ++i) {
    QString words = tr("no answer yet");
    if (rooms[i]) words = QLocale().formattedDataSize(rooms[i]->free_bytes, 1, QLocale::DataSizeSIFormat);
    if (rooms[i] && rooms[i]->folder == FolderState::missing) words = tr("not there");
    if (rooms[i] && rooms[i]->folder == FolderState::file) words = tr("not a folder");
    if (folders[i].empty()) words = tr("none chosen");
    if (i >= MetaData::kMaximumFolders) words = tr("not used");
    QTableWidgetItem& item = *folder_table->item(static_cast<int>(i), space_column);
    if (item.text() != words) item.setText(words);
  }
}

void FoldersPage::showEvent(QShowEvent* event) {
  QWidget::showEvent(event);
  ask_timer.start();
  show_timer.start();
  askForSpace();
}

void FoldersPage::hideEvent(QHideEvent* event) {
  QWidget::hideEvent(event);
  ask_timer.stop();
  show_timer.stop();
}

} // namespace vurl
