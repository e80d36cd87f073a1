#include "views/HistoryTable.h"

#include "views/SettingControls.h"

#include <QtCore/QMimeData>
#include <QtGui/QDropEvent>
#include <QtGui/QMouseEvent>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QStyledItemDelegate>

namespace vurl {
namespace {

constexpr const char* kColumnsKey = "history_columns";
constexpr int kRowHeight = 22;
constexpr int kFilenameColumn = 3;

/// A column's title and its width at first, in points.
struct Column {
  const char* title;
  int width;
};

constexpr std::array<Column, HistoryControler::kColumns.size()> kShown = {{
    {QT_TRANSLATE_NOOP("vurl::HistoryTable", "Date"), 140},
    {QT_TRANSLATE_NOOP("vurl::HistoryTable", "Timecode"), 92},
    {QT_TRANSLATE_NOOP("vurl::HistoryTable", "Duration"), 92},
    {QT_TRANSLATE_NOOP("vurl::HistoryTable", "File name"), 260},
    {QT_TRANSLATE_NOOP("vurl::HistoryTable", "Project"), 90},
    {QT_TRANSLATE_NOOP("vurl::HistoryTable", "Scene"), 60},
    {QT_TRANSLATE_NOOP("vurl::HistoryTable", "Slate"), 50},
    {QT_TRANSLATE_NOOP("vurl::HistoryTable", "Take"), 50},
    {QT_TRANSLATE_NOOP("vurl::HistoryTable", "Roll"), 50},
    {QT_TRANSLATE_NOOP("vurl::HistoryTable", "Count"), 50},
    {QT_TRANSLATE_NOOP("vurl::HistoryTable", "Note"), 150},
    {QT_TRANSLATE_NOOP("vurl::HistoryTable", "Rate"), 60},
    {QT_TRANSLATE_NOOP("vurl::HistoryTable", "Samples"), 60},
}};

/// Leaves the ends of paths to be seen, which tell the takes apart.
class PathDelegate final : public QStyledItemDelegate {
public:
  using QStyledItemDelegate::QStyledItemDelegate;

protected:
  void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override {
    QStyledItemDelegate::initStyleOption(option, index);
    option->textElideMode = Qt::ElideLeft;
  }
};

} // namespace

void HistoryModel::setHistory(const HistoryControler* controler) {
  history = controler;
  reload();
}

void HistoryModel::reload() {
  beginResetModel();
  nr_rows = history == nullptr ? 0 : history->numberOfRows();
  endResetModel();
}

int HistoryModel::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : nr_rows; }

int HistoryModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(HistoryControler::kColumns.size());
}

QVariant HistoryModel::data(const QModelIndex& index, int role) const {
  if (history == nullptr || !index.isValid() || (role != Qt::DisplayRole && role != Qt::ToolTipRole)) return {};
  const auto column = HistoryControler::kColumns[static_cast<size_t>(index.column())];
  return QString::fromStdString(history->objectValue(column, index.row()));
}

QVariant HistoryModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0 || section >= columnCount()) return {};
  return HistoryTable::tr(kShown[static_cast<size_t>(section)].title);
}

HistoryTable::HistoryTable(QWidget* parent) : QTableView(parent) {
  setModel(&takes);
  setAccessibleName(tr("Takes"));
  setSelectionBehavior(SelectRows);
  setSelectionMode(SingleSelection);
  setEditTriggers(NoEditTriggers);
  setAlternatingRowColors(true);
  setShowGrid(false);
  setWordWrap(false);
  setItemDelegateForColumn(kFilenameColumn, owned<PathDelegate>(this));
  setTabKeyNavigation(false);
  setAcceptDrops(true);
  setHorizontalScrollMode(ScrollPerPixel);
  verticalHeader()->hide();
  verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
  verticalHeader()->setDefaultSectionSize(kRowHeight);
  horizontalHeader()->setSectionsMovable(true);
  horizontalHeader()->setHighlightSections(false);
  horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
  for (size_t i = 0; i < kShown.size(); ++i) setColumnWidth(static_cast<int>(i), kShown[i].width);
  connect(this, &QTableView::doubleClicked, this, &HistoryTable::playWanted);
}

void HistoryTable::restoreColumns(const UserDefaults& memory) {
  const auto state = QByteArray::fromBase64(QByteArray::fromStdString(memory.stringForKey(kColumnsKey)));
  if (!state.isEmpty()) horizontalHeader()->restoreState(state);
  horizontalHeader()->setStretchLastSection(true); // behind the state, which holds this too
}

void HistoryTable::saveColumns(UserDefaults& memory) const {
  memory.setObject(horizontalHeader()->saveState().toBase64().toStdString(), kColumnsKey);
}

void HistoryTable::reloadHistory() {
  const int32_t row = selectedHistoryRow();
  takes.reload();
  if (row >= 0 && row < takes.rowCount()) selectHistoryRow(row);
}

void HistoryTable::selectHistoryRow(int32_t row) {
  selectRow(row);
  scrollTo(takes.index(row, 0));
}

int32_t HistoryTable::selectedHistoryRow() const {
  const QModelIndexList rows = selectionModel()->selectedRows();
  return rows.isEmpty() ? -1 : rows.first().row();
}

void HistoryTable::showHistoryProgress(size_t done, size_t total) {
  Q_EMIT progressed(static_cast<int>(done), static_cast<int>(total));
}

void HistoryTable::dragEnterEvent(QDragEnterEvent* event) {
  if (event->mimeData()->hasUrls()) event->acceptProposedAction();
}

void HistoryTable::dragMoveEvent(QDragMoveEvent* event) { event->acceptProposedAction(); }

void HistoryTable::dropEvent(QDropEvent* event) {
  event->ignore();
  Q_EMIT filesDropped();
}

/// One take stays selected, for PLAY: a click with Ctrl would leave none.
QItemSelectionModel::SelectionFlags HistoryTable::selectionCommand(const QModelIndex& index,
                                                                   const QEvent* event) const {
  const auto flags = QTableView::selectionCommand(index, event);
  return flags.testFlag(QItemSelectionModel::Deselect) ? QItemSelectionModel::NoUpdate : flags;
}

/// The ground below the takes takes the focus alone: PLAY still has its take.
void HistoryTable::mousePressEvent(QMouseEvent* event) {
  if (indexAt(event->pos()).isValid()) QTableView::mousePressEvent(event);
}

void HistoryTable::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
    if (!event->isAutoRepeat()) Q_EMIT playWanted();
    return;
  }
  QTableView::keyPressEvent(event);
}

} // namespace vurl
