#include "views/LayoutMatrixView.h"

#include <QtGui/QCursor>
#include <QtGui/QHelpEvent>
#include <QtGui/QPainter>
#include <QtWidgets/QScrollBar>
#include <QtWidgets/QToolTip>
#include <algorithm>
#include <array>

namespace vurl {
namespace {

constexpr int kCell = 14;     ///< points
constexpr int kMargin = 100;  ///< points: the label bands
constexpr int kTextSize = 11; ///< pixels
constexpr int kTextGap = 4;   ///< points between a label and the grid
constexpr int kTitle = 14;    ///< points: a group's name
constexpr int kNumberWidth = 16;
constexpr int kPage = 8; ///< cells that Page Up and Down move by

/// The cell that a point of the grid lies in; both count from the grid's corner, and points are never before it.
int32_t cellsIn(int points) { return points / kCell; }

QString kindName(LayoutMatrix::Cell::Kind kind) {
  switch (kind) {
  case LayoutMatrix::Cell::input: return LayoutMatrixView::tr("Input");
  case LayoutMatrix::Cell::output: return LayoutMatrixView::tr("Output");
  case LayoutMatrix::Cell::file:
  case LayoutMatrix::Cell::folder_of_file:
  case LayoutMatrix::Cell::none: break;
  }
  return {};
}

} // namespace

LayoutMatrixView::LayoutMatrixView(const LayoutMatrix& shown, QWidget* parent)
    : QAbstractScrollArea(parent), matrix(shown) {
  QFont small = font();
  small.setPixelSize(kTextSize);
  viewport()->setFont(small);
  viewport()->setMouseTracking(true);
  setFocusPolicy(Qt::StrongFocus);
  setAccessibleName(tr("Routing: channels and folders down, inputs, outputs and files across"));
  horizontalScrollBar()->setSingleStep(kCell);
  verticalScrollBar()->setSingleStep(kCell);
  matrixChanged();
}

void LayoutMatrixView::matrixChanged() {
  current = clipped(current);
  if (hovered && clipped(*hovered) != *hovered) hovered.reset();
  setAccessibleDescription(description(current));
  updateScrollers();
  viewport()->update();
}

QSize LayoutMatrixView::sizeHint() const {
  const QSize grid(matrix.nrColumns() * kCell, matrix.nrRows() * kCell);
  return (grid + QSize(kMargin + 24, kMargin + 24)).boundedTo(QSize(1100, 700));
}

void LayoutMatrixView::updateScrollers() {
  const QSize center = viewport()->size() - QSize(kMargin, kMargin);
  horizontalScrollBar()->setRange(0, std::max(0, matrix.nrColumns() * kCell - center.width()));
  horizontalScrollBar()->setPageStep(std::max(kCell, center.width()));
  verticalScrollBar()->setRange(0, std::max(0, matrix.nrRows() * kCell - center.height()));
  verticalScrollBar()->setPageStep(std::max(kCell, center.height()));
}

void LayoutMatrixView::resizeEvent(QResizeEvent*) { updateScrollers(); }

// Places

QPoint LayoutMatrixView::centerOffset() const { return {horizontalScrollBar()->value(), verticalScrollBar()->value()}; }

void LayoutMatrixView::scrollToColumn(int32_t column) { horizontalScrollBar()->setValue(column * kCell); }

std::optional<LayoutMatrixView::Place> LayoutMatrixView::placeAt(QPoint point) const {
  const QPoint in_center = point - QPoint(kMargin, kMargin);
  if (in_center.x() < 0 || in_center.y() < 0) return std::nullopt;
  const QPoint in_grid = in_center + centerOffset();
  const Place place{cellsIn(in_grid.y()), cellsIn(in_grid.x())};
  return clipped(place) == place ? std::optional(place) : std::nullopt;
}

QRect LayoutMatrixView::cellRect(Place place) const {
  const QPoint corner = QPoint(place.column * kCell, place.row * kCell) + QPoint(kMargin, kMargin) - centerOffset();
  return {corner, QSize(kCell, kCell)};
}

LayoutMatrixView::Place LayoutMatrixView::clipped(Place place) const {
  const auto limited = [](int32_t value, int32_t count) { return std::clamp(value, 0, std::max(0, count - 1)); };
  return {limited(place.row, matrix.nrRows()), limited(place.column, matrix.nrColumns())};
}

QString LayoutMatrixView::description(Place place) const {
  const LayoutMatrix::Cell cell = matrix.cellAt(place.row, place.column);
  if (cell.kind == LayoutMatrix::Cell::none) return {};
  const QString across = QString::fromStdString(matrix.columnName(place.column));
  const QString down = QString::fromStdString(matrix.rowName(place.row));
  const QString kind = kindName(cell.kind);
  const QString column = kind.isEmpty() ? across : tr("%1 %2\n%3").arg(kind).arg(cell.column + 1).arg(across);
  const bool is_folder = cell.kind == LayoutMatrix::Cell::folder_of_file;
  const QString row = (is_folder ? tr("Folder %1\n%2") : tr("Channel %1\n%2")).arg(cell.row + 1).arg(down);
  return tr("%1\n%2\n%3").arg(column, row, matrix.isChecked(cell) ? tr("checked") : tr("not checked"));
}

void LayoutMatrixView::scrollContentsBy(int, int) {
  viewport()->update();
  if (hovered) setHovered(placeAt(viewport()->mapFromGlobal(QCursor::pos())));
}

// Pointer and keys

void LayoutMatrixView::mousePressEvent(QMouseEvent* event) {
  const auto place = placeAt(event->position().toPoint());
  has_keyboard = false;
  if (event->button() != Qt::LeftButton || !place) return;
  setCurrent(*place);
  Q_EMIT cellClicked(place->row, place->column);
}

/// Two clicks are two clicks, however quickly they follow each other.
void LayoutMatrixView::mouseDoubleClickEvent(QMouseEvent* event) { mousePressEvent(event); }

void LayoutMatrixView::mouseMoveEvent(QMouseEvent* event) { setHovered(placeAt(event->position().toPoint())); }

bool LayoutMatrixView::viewportEvent(QEvent* event) {
  if (event->type() == QEvent::Leave) setHovered(std::nullopt);
  if (event->type() != QEvent::ToolTip) return QAbstractScrollArea::viewportEvent(event);
  const auto* const help = static_cast<QHelpEvent*>(event);
  const auto place = placeAt(help->pos());
  QToolTip::showText(help->globalPos(), place ? description(*place) : QString(), viewport());
  return true;
}

void LayoutMatrixView::setHovered(std::optional<Place> place) {
  if (place == hovered) return;
  updateBands(hovered);
  hovered = place;
  updateBands(hovered);
}

/// The row and the column of `place` with their labels, and the corner, which tells about it.
void LayoutMatrixView::updateBands(std::optional<Place> place) {
  viewport()->update(0, 0, kMargin, kMargin);
  if (!place) return;
  const QRect cell = cellRect(*place);
  viewport()->update(0, cell.y(), viewport()->width(), kCell);
  viewport()->update(cell.x(), 0, kCell, viewport()->height());
}

bool LayoutMatrixView::event(QEvent* event) {
  if (event->type() == QEvent::ShortcutOverride && static_cast<QKeyEvent*>(event)->key() == Qt::Key_Space &&
      has_keyboard)
    event->accept();
  return QAbstractScrollArea::event(event);
}

void LayoutMatrixView::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Space && !event->isAutoRepeat()) {
    Q_EMIT cellClicked(current.row, current.column);
    setAccessibleDescription(description(current));
    return;
  }
  const Place place = target(*event);
  if (place == current) {
    QAbstractScrollArea::keyPressEvent(event);
    return;
  }
  has_keyboard = true;
  setCurrent(place);
}

LayoutMatrixView::Place LayoutMatrixView::target(const QKeyEvent& key) const {
  const bool whole = (key.modifiers() & Qt::ControlModifier) != 0;
  Place place = current;
  switch (key.key()) {
  case Qt::Key_Left: place.column -= 1; break;
  case Qt::Key_Right: place.column += 1; break;
  case Qt::Key_Up: place.row -= 1; break;
  case Qt::Key_Down: place.row += 1; break;
  case Qt::Key_PageUp: place.row -= kPage; break;
  case Qt::Key_PageDown: place.row += kPage; break;
  case Qt::Key_Home: place = {whole ? 0 : place.row, 0}; break;
  case Qt::Key_End: place = {whole ? matrix.nrRows() : place.row, matrix.nrColumns()}; break;
  default: break;
  }
  return clipped(place);
}

void LayoutMatrixView::setCurrent(Place place) {
  updateBands(current);
  current = place;
  const QRect cell = cellRect(place);
  const auto reveal = [](QScrollBar& bar, int from, int extent) {
    const int before = from - kMargin;
    const int behind = from + kCell - extent;
    if (before < 0)
      bar.setValue(bar.value() + before);
    else if (behind > 0)
      bar.setValue(bar.value() + behind);
  };
  reveal(*horizontalScrollBar(), cell.x(), viewport()->width());
  reveal(*verticalScrollBar(), cell.y(), viewport()->height());
  updateBands(current);
  setAccessibleDescription(description(current));
}

void LayoutMatrixView::focusInEvent(QFocusEvent* event) {
  if (event->reason() == Qt::TabFocusReason || event->reason() == Qt::BacktabFocusReason) has_keyboard = true;
  updateBands(current);
}

void LayoutMatrixView::focusOutEvent(QFocusEvent*) { updateBands(current); }

void LayoutMatrixView::changeEvent(QEvent* event) {
  if (event->type() == QEvent::PaletteChange || event->type() == QEvent::StyleChange) marks = {};
  QAbstractScrollArea::changeEvent(event);
}

// Drawing

void LayoutMatrixView::paintEvent(QPaintEvent* event) {
  const double pixel_ratio = viewport()->devicePixelRatioF();
  if (marks[0].isNull() || marks[0].devicePixelRatio() != pixel_ratio) marks = matrix_marks(palette(), pixel_ratio);
  QPainter painter(viewport());
  for (const QRect& exposed : event->region()) {
    painter.setClipRect(exposed);
    painter.fillRect(exposed, palette().base());
    drawCenterRect(painter, exposed);
    drawLabels(painter, exposed);
  }
}

void LayoutMatrixView::drawCenterRect(QPainter& painter, const QRect& exposed) const {
  const QRect center = viewport()->rect().adjusted(kMargin, kMargin, 0, 0) & exposed;
  if (center.isEmpty()) return;
  painter.setClipRect(center);
  drawBand(painter);
  const QPoint to_grid = centerOffset() - QPoint(kMargin, kMargin);
  const QPoint first = center.topLeft() + to_grid;
  const QPoint last = center.bottomRight() + to_grid;
  const int32_t last_column = std::min(cellsIn(last.x()), matrix.nrColumns() - 1);
  const int32_t last_row = std::min(cellsIn(last.y()), matrix.nrRows() - 1);
  for (int32_t row = cellsIn(first.y()); row <= last_row; ++row) drawRow(painter, row, cellsIn(first.x()), last_column);
  if (!hasFocus()) return;
  painter.setPen(palette().color(QPalette::Highlight));
  painter.drawRect(cellRect(current).adjusted(0, 0, -1, -1));
}

void LayoutMatrixView::drawBand(QPainter& painter) const {
  if (!hovered) return;
  QColor tint = palette().color(QPalette::Highlight);
  tint.setAlphaF(0.18F);
  const QRect cell = cellRect(*hovered) & viewport()->rect().adjusted(kMargin, kMargin, 0, 0);
  painter.fillRect(0, cell.y(), viewport()->width(), cell.height(), tint);
  painter.fillRect(cell.x(), 0, cell.width(), viewport()->height(), tint);
}

void LayoutMatrixView::drawRow(QPainter& painter, int32_t row, int32_t first_column, int32_t last_column) const {
  for (int32_t column = first_column; column <= last_column; ++column) {
    const LayoutMatrix::Cell cell = matrix.cellAt(row, column);
    if (cell.kind == LayoutMatrix::Cell::none) continue;
    const size_t shape = cell.kind == LayoutMatrix::Cell::folder_of_file ? 2 : 0;
    painter.drawPixmap(cellRect({row, column}).topLeft(), marks[shape + (matrix.isChecked(cell) ? 1 : 0)]);
  }
}

void LayoutMatrixView::drawLabels(QPainter& painter, const QRect& exposed) const {
  const QRect left(0, kMargin, kMargin, viewport()->height());
  const QRect top(kMargin, 0, viewport()->width(), kMargin);
  if (const QRect shown = left & exposed; !shown.isEmpty()) {
    painter.setClipRect(shown);
    drawBand(painter);
    const int offset = centerOffset().y() - kMargin;
    for (int32_t row = cellsIn(shown.top() + offset); row <= cellsIn(shown.bottom() + offset); ++row)
      drawLeftText(painter, QString::fromStdString(matrix.rowName(row)), row);
  }
  if (const QRect shown = top & exposed; !shown.isEmpty()) {
    painter.setClipRect(shown);
    drawBand(painter);
    drawTopTitles(painter);
    const int offset = centerOffset().x() - kMargin;
    for (int32_t column = cellsIn(shown.left() + offset); column <= cellsIn(shown.right() + offset); ++column)
      drawTopText(painter, QString::fromStdString(matrix.columnName(column)), column);
  }
  painter.setClipRect(exposed);
  drawCorner(painter);
}

void LayoutMatrixView::drawLeftText(QPainter& painter, const QString& name, int32_t index) const {
  if (index < 0 || index >= matrix.nrRows()) return;
  const int32_t first_folder = matrix.folderRow(0);
  const QRect frame(kTextGap, cellRect({index, 0}).y(), kMargin - 2 * kTextGap, kCell);
  if (index == first_folder - 1) {
    drawTitle(painter, frame, tr("Folders"));
    return;
  }
  const bool is_folder = index >= first_folder;
  const QRect number = frame.adjusted(0, 0, kNumberWidth - frame.width(), 0);
  const QRect rest = frame.adjusted(kNumberWidth + kTextGap, 0, 0, 0);
  painter.setPen(palette().color(QPalette::Text));
  painter.drawText(number, Qt::AlignVCenter | Qt::AlignRight,
                   QString::number(is_folder ? index - first_folder + 1 : index + 1));
  painter.drawText(
      rest, Qt::AlignVCenter | Qt::AlignLeft | Qt::TextSingleLine,
      viewport()->fontMetrics().elidedText(name, is_folder ? Qt::ElideLeft : Qt::ElideRight, rest.width()));
}

/// Reads upwards, from the grid to the view's edge.
void LayoutMatrixView::drawTopText(QPainter& painter, const QString& name, int32_t index) const {
  if (name.isEmpty()) return;
  painter.save();
  painter.translate(cellRect({0, index}).x(), kMargin - kTextGap);
  painter.rotate(-90);
  const QRect frame(0, 0, kMargin - kTitle - kTextGap, kCell);
  painter.setPen(palette().color(QPalette::Text));
  painter.drawText(frame, Qt::AlignVCenter | Qt::AlignLeft | Qt::TextSingleLine,
                   viewport()->fontMetrics().elidedText(name, Qt::ElideMiddle, frame.width()));
  painter.restore();
}

void LayoutMatrixView::drawTitle(QPainter& painter, const QRect& frame, const QString& title) const {
  if (viewport()->fontMetrics().horizontalAdvance(title) > frame.width()) return;
  painter.setPen(palette().color(QPalette::PlaceholderText));
  painter.drawText(frame, Qt::AlignVCenter | Qt::AlignLeft | Qt::TextSingleLine, title);
}

/// The names of the groups of columns, which stay in sight while their group is.
void LayoutMatrixView::drawTopTitles(QPainter& painter) const {
  struct Group {
    QString title;
    int32_t first;
    int32_t last;
  };
  const int32_t files = matrix.fileColumn(0);
  const std::array groups = {Group{tr("Inputs"), 0, matrix.nrInputs()},
                             Group{tr("Outputs"), matrix.nrInputs() + 1, files - 1},
                             Group{tr("Files"), files, matrix.nrColumns()}};
  for (const Group& group : groups) {
    const int from = std::max(kMargin, cellRect({0, group.first}).x());
    const int to = cellRect({0, group.last}).x();
    drawTitle(painter, QRect(from + 2, 0, to - from, kTitle), group.title);
  }
}

/// Tells about the cell under the pointer, or the current one.
void LayoutMatrixView::drawCorner(QPainter& painter) const {
  painter.fillRect(0, 0, kMargin, kMargin, palette().base());
  drawTitle(painter, QRect(kTextGap, kMargin - kTitle, kMargin, kTitle), tr("Channels"));
  if (!hovered && !hasFocus()) return;
  painter.setPen(palette().color(QPalette::Text));
  QRect line(kTextGap, kTextGap, kMargin - 2 * kTextGap, kCell);
  for (const QString& words : description(hovered.value_or(current)).split('\n')) {
    painter.drawText(line, Qt::AlignVCenter | Qt::TextSingleLine,
                     viewport()->fontMetrics().elidedText(words, Qt::ElideRight, line.width()));
    line.translate(0, kCell);
  }
}

} // namespace vurl
