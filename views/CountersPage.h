// A tab of the preferences. The texts that the next take carries, and how they move on behind it. Main thread only; the
// settings outlive it.
#pragma once

#include "platform/UserDefaults.h"

#include <QtWidgets/QWidget>

class QVBoxLayout;

namespace vurl {

class CountersPage final : public QWidget {
  Q_OBJECT

public:
  explicit CountersPage(UserDefaults& defaults);

Q_SIGNALS:
  /// The user has typed another scene or slate.
  void sceneChanged();

private:
  void addNextTake(QVBoxLayout& page);
  void addSteps(QVBoxLayout& page);

  UserDefaults& defaults;
};

} // namespace vurl
