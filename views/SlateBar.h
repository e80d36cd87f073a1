// The texts that the next take is stamped with, each tied to its setting. Enter leaves the field, so that the space bar
// works the transport again. Main thread only.
#pragma once

#include "platform/UserDefaults.h"

#include <QtWidgets/QLineEdit>

class QSpinBox;

namespace vurl {

class SlateBar final : public QWidget {
  Q_OBJECT

public:
  /// `defaults` outlives the bar.
  explicit SlateBar(UserDefaults& defaults, QWidget* parent = nullptr);

  /// Ends an edit that the user has not ended by leaving the field: a take is about to start or stop.
  void finishEditing();

  /// The field of a setting; null when there is none.
  QLineEdit* field(const QString& key) const { return findChild<QLineEdit*>(key); }

Q_SIGNALS:
  /// The user has given the scene or the slate another text.
  void sceneChanged();

private:
  QLineEdit* addField(const char* key, const QString& title, int column, int stretch);
  void addCount(int column);

  UserDefaults& defaults;
  bool scene_edited = false;
  QSpinBox* count = nullptr;
};

} // namespace vurl
