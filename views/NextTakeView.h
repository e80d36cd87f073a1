// A line for each folder of the next take: the files that it will get, where it is, and how much recording time it has
// left, with an alarm when no take could be recorded there. During a take, where it goes. Main thread only.
#pragma once

#include "app/DiskWatch.h"
#include "platform/UserDefaults.h"

#include <QtCore/QTimer>
#include <QtWidgets/QWidget>
#include <functional>

class QGridLayout;
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
  struct Line {
    QLabel* head;
    QLabel* files;
    QLabel* folder;
    QLabel* room;
  };

  void refresh();
  void lookAhead();
  void setNumberOfLines(size_t number);
  void show(const Line& line, const TakeFolder& folder) const;
  void showFlaws(const DiskWatch::Rooms& rooms);
  void showWarning(const DiskWatch::Rooms& rooms);
  QString roomInWords(size_t folder, const DiskWatch::Rooms& rooms) const;

  UserDefaults& defaults;
  SampleRate sample_rate;
  UserDefaults::ObservationHandle changes;
  DiskWatch disks;
  std::vector<TakeFolder> folders;
  std::string obstacle; ///< to the next take, whatever is on the disks
  QTimer timer;
  bool changed = true; ///< a setting, since the record was made
  int ticks = 0;
  bool recording = false;
  QGridLayout* grid;
  QLabel* warning;
  QLabel* flaws;
  std::vector<Line> lines;
};

} // namespace vurl
