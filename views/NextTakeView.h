// One line that tells which files the next take will write, into which folders, and how much recording time each of
// those has left. During a take, where it goes. Main thread only.
#pragma once

#include "app/DiskWatch.h"
#include "platform/UserDefaults.h"

#include <QtCore/QTimer>
#include <QtWidgets/QWidget>
#include <functional>

class QLabel;

namespace vurl {

class NextTakeView final : public QWidget {
  Q_OBJECT

public:
  /// Rate of the files to come, in Hz.
  using SampleRate = std::function<int32_t()>;

  /// `defaults` outlives the view.
  explicit NextTakeView(UserDefaults& defaults, QWidget* parent = nullptr);

  void setSampleRate(SampleRate source);

  /// While a take runs, its folders and its rates stand.
  void setRecording(bool on);

private:
  void refresh();
  void lookAhead();
  QString filesInWords() const;
  QString roomInWords() const;

  UserDefaults& defaults;
  SampleRate sample_rate;
  UserDefaults::ObservationHandle changes;
  DiskWatch disks;
  std::vector<TakeFolder> folders;
  QString warning; ///< why the next take could not be recorded
  QTimer timer;
  bool changed = true; ///< a setting, since the record was made
  int ticks = 0;
  bool recording = false;
  QLabel* files;
  QLabel* room;
};

} // namespace vurl
