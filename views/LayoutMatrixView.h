// Draws the routing (app/LayoutMatrix.h) as a grid of check boxes under fixed row and column labels, and reports clicks
// and keys; what they do is the controller's. Cells are 14 points wide and high, the label bands 100. Main thread only.
//
// Arrows, Page Up and Down, Home and End (with Ctrl for the grid's corners) move the current cell, the space bar clicks
// it. The row and the column under the pointer stand out.
#pragma once

#include "app/LayoutMatrix.h"
#include "views/MatrixMarks.h"

#include <QtWidgets/QAbstractScrollArea>
#include <optional>

namespace vurl {

class LayoutMatrixView final : public QAbstractScrollArea {
  Q_OBJECT

public:
  /// `matrix` outlives the view.
  explicit LayoutMatrixView(const LayoutMatrix& matrix, QWidget* parent = nullptr);

  /// The grid's size, its labels, or what is checked has changed: measures and draws anew.
  void matrixChanged();

  /// Brings `column` to the left edge, as far as the grid's end allows.
  void scrollToColumn(int32_t column);

  /// The row and the column at a point of the viewport; nothing in the label bands and beyond the grid.
  struct Place {
    int32_t row = 0;
    int32_t column = 0;
    bool operator==(const Place&) const = default;
  };
  std::optional<Place> placeAt(QPoint point) const;

  /// What a cell is for and whether it is checked, in words; empty for a separator.
  QString description(Place place) const;

  QSize sizeHint() const override;

Q_SIGNALS:
  /// The user clicked a cell, or pressed the space bar on it.
  void cellClicked(int32_t row, int32_t column);

protected:
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseDoubleClickEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  bool event(QEvent* event) override;
  bool viewportEvent(QEvent* event) override;
  void focusInEvent(QFocusEvent* event) override;
  void focusOutEvent(QFocusEvent* event) override;
  void changeEvent(QEvent* event) override;
  void scrollContentsBy(int dx, int dy) override;

private:
  QPoint centerOffset() const;
  QRect cellRect(Place place) const;
  Place clipped(Place place) const;
  Place target(const QKeyEvent& key) const;
  void setCurrent(Place place);
  void setHovered(std::optional<Place> place);
  void updateBands(std::optional<Place> place);
  void updateScrollers();
  void drawCenterRect(QPainter& painter, const QRect& exposed) const;
  void drawRow(QPainter& painter, int32_t row, int32_t first_column, int32_t last_column) const;
  void drawBand(QPainter& painter) const;
  void drawLeftText(QPainter& painter, const QString& name, int32_t index) const;
  void drawTopText(QPainter& painter, const QString& name, int32_t index) const;
  void drawTitle(QPainter& painter, const QRect& frame, const QString& title) const;
  void drawTopTitles(QPainter& painter) const;
  void drawLabels(QPainter& painter, const QRect& exposed) const;
  void drawCorner(QPainter& painter) const;

  const LayoutMatrix& matrix;
  Place current;
  std::optional<Place> hovered;
  bool has_keyboard = false; ///< no click since: after one the space bar must not switch the same cell back
  MatrixMarks marks;
};

} // namespace vurl
