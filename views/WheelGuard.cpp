#include "views/WheelGuard.h"

#include <QtCore/QEvent>
#include <QtWidgets/QWidget>
#include <memory>

namespace vurl {

void WheelGuard::protect(QWidget& control) {
  control.installEventFilter(std::unique_ptr<WheelGuard>(new WheelGuard(&control)).release()); // the control owns it
}

bool WheelGuard::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() != QEvent::Wheel) return QObject::eventFilter(watched, event);
  event->ignore(); // what lies beneath may scroll
  return true;
}

} // namespace vurl
