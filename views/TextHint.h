// A warning sign at the end of a text field, with its reasons as a tip, while the field holds text that other programs
// choke on or that file names will alter (app/TextWarnings.h). Nothing is kept from being typed. A hint lives as long
// as its field. Main thread only.
#pragma once

#include "platform/UserDefaults.h"

#include <QtCore/QObject>
#include <string>

class QAction;
class QLineEdit;

namespace vurl {

class TextHint final : public QObject {
  Q_OBJECT

public:
  /// Watches `field`, which edits the setting `key`. The settings outlive the field.
  static void watch(QLineEdit& field, UserDefaults& defaults, const std::string& key);

private:
  TextHint(QLineEdit& field, UserDefaults& defaults, std::string key);
  void update();
  void showTip();

  QLineEdit& field;
  UserDefaults& defaults;
  const std::string key;
  QAction* sign; ///< the field's
  UserDefaults::ObservationHandle format;
};

} // namespace vurl
