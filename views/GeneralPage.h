// A tab of the preferences. What is recorded from, how time is told, and how takes begin and end. Main thread only; the
// settings outlive it.
#pragma once

#include "platform/UserDefaults.h"

#include <QtWidgets/QWidget>

class QVBoxLayout;

namespace vurl {

class GeneralPage final : public QWidget {
  Q_OBJECT

public:
  explicit GeneralPage(UserDefaults& defaults);

private:
  void addInputs(QVBoxLayout& page);
  void addTime(QVBoxLayout& page);
  void addTakes(QVBoxLayout& page);

  UserDefaults& defaults;
};

} // namespace vurl
