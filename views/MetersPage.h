// A tab of the preferences. The meters' scale, with a meter to look at. Main thread only; the settings
// outlive it.
#pragma once

#include "platform/UserDefaults.h"

#include <QtWidgets/QWidget>

class QVBoxLayout;

namespace vurl {

class MetersPage final : public QWidget {
  Q_OBJECT

public:
  explicit MetersPage(UserDefaults& defaults);

private:
  void addExample(QVBoxLayout& page);

  UserDefaults& defaults;
};

} // namespace vurl
