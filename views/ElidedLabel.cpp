#include "views/ElidedLabel.h"

#include <QtCore/QEvent>
#include <QtGui/QHelpEvent>
#include <QtWidgets/QStyle>
#include <QtWidgets/QStylePainter>
#include <QtWidgets/QToolTip>

namespace vurl {

constexpr int kLeastCharacters = 12;

ElidedLabel::ElidedLabel(QWidget* parent) : QLabel(parent) {
  setTextFormat(Qt::PlainText);
  setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Fixed);
}

QSize ElidedLabel::minimumSizeHint() const {
  const QSize whole = sizeHint();
  return {std::min(whole.width(), kLeastCharacters * fontMetrics().averageCharWidth()), whole.height()};
}

void ElidedLabel::paintEvent(QPaintEvent*) {
  QStylePainter painter(this);
  const QString shown = fontMetrics().elidedText(text(), Qt::ElideMiddle, width());
  painter.drawItemText(rect(), Qt::AlignLeft | Qt::AlignVCenter, palette(), isEnabled(), shown, foregroundRole());
}

bool ElidedLabel::event(QEvent* event) {
  if (event->type() != QEvent::ToolTip) return QLabel::event(event);
  const bool is_cut = sizeHint().width() > width();
  QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), is_cut ? text() : QString(), this);
  return true;
}

} // namespace vurl
