#include "views/MatrixMarks.h"

#include <QtGui/QPainter>
#include <cmath>

namespace vurl {
namespace {

constexpr int kSide = 14; ///< points

QPixmap emptyMark(double pixel_ratio) {
  const int pixels = static_cast<int>(std::ceil(kSide * pixel_ratio));
  QPixmap mark(pixels, pixels);
  mark.setDevicePixelRatio(pixel_ratio);
  mark.fill(Qt::transparent);
  return mark;
}

void drawOutline(QPainter& painter, bool round, const QColor& line, const QBrush& fill) {
  const QRectF frame(2.5, 2.5, kSide - 5, kSide - 5);
  painter.setPen(QPen(line, 1));
  painter.setBrush(fill);
  if (round)
    painter.drawEllipse(frame);
  else
    painter.drawRoundedRect(frame, 1.5, 1.5);
}

void drawSign(QPainter& painter, bool round, const QColor& ink) {
  if (round) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(ink);
    painter.drawEllipse(QRectF(5, 5, kSide - 10, kSide - 10));
    return;
  }
  painter.setPen(QPen(ink, 1.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
  const std::array tick = {QPointF(4.6, 7.2), QPointF(6.3, 9), QPointF(9.4, 5)};
  painter.drawPolyline(tick.data(), static_cast<int>(tick.size()));
}

} // namespace

MatrixMarks matrix_marks(const QPalette& palette, double pixel_ratio) {
  MatrixMarks marks;
  QColor faint = palette.color(QPalette::Text);
  faint.setAlphaF(0.35F);
  const QColor accent = palette.color(QPalette::Highlight);
  for (size_t i = 0; i < marks.size(); ++i) {
    const bool round = i >= 2;
    const bool checked = i % 2 != 0;
    marks[i] = emptyMark(pixel_ratio);
    QPainter painter(&marks[i]);
    painter.setRenderHint(QPainter::Antialiasing);
    drawOutline(painter, round, checked ? accent : faint, checked ? QBrush(accent) : QBrush(Qt::NoBrush));
    if (checked) drawSign(painter, round, palette.color(QPalette::HighlightedText));
  }
  return marks;
}

} // namespace vurl
