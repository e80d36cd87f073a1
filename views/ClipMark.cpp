#include "views/ClipMark.h"

#include <QtGui/QPainter>
#include <QtWidgets/QApplication>

namespace vurl {

ClipMark::ClipMark(int32_t channel, QWidget* parent) : QAbstractButton(parent), channel_nr(channel) {
  setFocusPolicy(Qt::NoFocus); // the space bar belongs to the transport
  connect(this, &QAbstractButton::clicked, this, [this] {
    setClipped(false);
    if ((QApplication::keyboardModifiers() & Qt::ControlModifier) != 0) Q_EMIT clearAllWanted();
  });
  describe();
}

void ClipMark::describe() {
  const int number = channel_nr + 1;
  setAccessibleName(clipped ? tr("Channel %1 has clipped").arg(number) : tr("Channel %1 has not clipped").arg(number));
  setToolTip(clipped ? tr("Channel %1 has clipped. Click to clear, Ctrl+click to clear all.").arg(number) : QString());
}

void ClipMark::setClipped(bool on) {
  if (on == clipped) return;
  clipped = on;
  describe();
  update();
}

void ClipMark::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  const QRect mark(width() - 7, 2, 6, height() - 4);
  if (clipped) {
    painter.fillRect(mark, QColor::fromRgbF(1.0F, 0.15F, 0.15F));
    painter.fillRect(mark.x() + 2, mark.y() + 3, 2, mark.height() - 9, Qt::white); // also an exclamation mark: not told
    painter.fillRect(mark.x() + 2, mark.bottom() - 4, 2, 2, Qt::white);            // by colour alone
    return;
  }
  QColor outline = palette().color(QPalette::WindowText);
  outline.setAlphaF(0.25F);
  painter.setPen(outline);
  painter.drawRect(mark.adjusted(0, 4, -1, -5));
}

} // namespace vurl
