#include "views/TransportButton.h"

#include <QtGui/QPainter>

namespace vurl {
namespace {

constexpr int kHeight = 52;
constexpr int kMargin = 14;
constexpr int kShape = 18; ///< points across
constexpr int kGap = 8;
constexpr double kRadius = 5;

} // namespace

TransportButton::TransportButton(Shape button_shape, const QString& word, const QColor& lit, QWidget* parent)
    : QAbstractButton(parent), shape(button_shape), lit_colour(lit) {
  setText(word);
  setAccessibleName(word);
  setFocusPolicy(Qt::NoFocus);
  setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
  QFont bold = font();
  bold.setBold(true);
  bold.setPointSizeF(bold.pointSizeF() * 1.15);
  setFont(bold);
}

void TransportButton::setLit(bool on) {
  if (is_lit == on) return;
  is_lit = on;
  setAccessibleDescription(on ? tr("active") : QString());
  update();
}

QSize TransportButton::sizeHint() const {
  return {2 * kMargin + kShape + kGap + fontMetrics().horizontalAdvance(text()), kHeight};
}

void TransportButton::enterEvent(QEnterEvent*) { update(); }

void TransportButton::leaveEvent(QEvent*) { update(); }

void TransportButton::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  QColor ground = is_lit ? lit_colour : palette().color(QPalette::Button);
  if (isDown()) {
    ground = ground.darker(125);
  } else if (underMouse()) {
    ground = ground.lighter(108);
  }
  QColor edge = palette().color(QPalette::WindowText);
  edge.setAlphaF(is_lit ? 0.8F : 0.3F);
  painter.setPen(QPen(edge, is_lit ? 2 : 1));
  painter.setBrush(ground);
  painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), kRadius, kRadius);
  const QColor ink = is_lit ? QColor(Qt::white) : palette().color(QPalette::ButtonText);
  const bool is_record = shape == Shape::circle;
  drawShape(painter, QRectF(kMargin, (height() - kShape) / 2.0, kShape, kShape),
            is_record && !is_lit ? QColor(208, 40, 40) : ink);
  painter.setPen(ink);
  painter.drawText(rect().adjusted(kMargin + kShape + kGap, 0, 0, 0), Qt::AlignVCenter | Qt::AlignLeft, text());
}

void TransportButton::drawShape(QPainter& painter, const QRectF& box, const QColor& colour) const {
  painter.setPen(Qt::NoPen);
  painter.setBrush(colour);
  const QRectF inner = box.adjusted(2, 2, -2, -2);
  switch (shape) {
  case Shape::circle: painter.drawEllipse(box); break;
  case Shape::square: painter.drawRect(inner); break;
  case Shape::triangle:
    painter.drawPolygon(QPolygonF({inner.topLeft(), QPointF(box.right(), box.center().y()), inner.bottomLeft()}));
    break;
  case Shape::cross:
    painter.setPen(QPen(colour, 4, Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(inner.topLeft(), inner.bottomRight());
    painter.drawLine(inner.topRight(), inner.bottomLeft());
    break;
  }
}

} // namespace vurl
