// Keeps the mouse wheel from changing a control that it only happens to pass over: a device that is changed by accident
// ends the take. Main thread only.
#pragma once

#include <QtCore/QObject>

class QWidget;

namespace vurl {

class WheelGuard final : public QObject {
  Q_OBJECT

public:
  /// The wheel has no effect on `control` from now on.
  static void protect(QWidget& control);

protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

private:
  using QObject::QObject;
};

} // namespace vurl
