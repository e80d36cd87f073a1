// What the user sees when the program has to wait for a disk that does not answer: what it waits for, and the way out.
// While the main thread waits for the engine, the recorder's own work waits with it; this window alone is served.
// Main thread only.
#pragma once

#include "views/QtRunLoop.h"

#include <QtCore/QTimer>
#include <QtWidgets/QDialog>
#include <chrono>
#include <functional>
#include <string>

class QLabel;
class QPushButton;

namespace vurl {

class WaitNotice final : public QDialog {
  Q_OBJECT

public:
  /// Says, in words, what is waited for.
  using Awaited = std::function<std::string()>;

  /// The notice shows when a wait has lasted for `patience`. The loop outlives it.
  WaitNotice(QtRunLoop& run_loop, std::chrono::milliseconds patience, QWidget* parent);

  void setAwaited(Awaited source) { awaited = std::move(source); }

  /// Lets 0.1 s pass, for a main thread that waits: with the notice on the screen once that has happened often enough
  /// in a row. Nothing that was given to the run loop runs meanwhile.
  void pause();

  /// A request to end the program from outside: leaves, and returns true, if the user has seen that it waits.
  bool leaveIfShown();

Q_SIGNALS:
  /// The user will not wait any longer, and has confirmed it.
  void left();

public Q_SLOTS:
  /// Closing the window, or Esc, is to go on waiting.
  void reject() override { ask(false); }

private:
  void ask(bool whether_to_leave);
  void showWords();
  void serve();

  QtRunLoop& run_loop;
  const std::chrono::milliseconds patience;
  Awaited awaited;
  QLabel* label;
  QPushButton* wait_button;
  QPushButton* leave_button;
  QTimer over;           ///< hides the notice behind the wait
  bool is_asked = false; ///< whether to leave
  std::chrono::steady_clock::time_point since;
  std::chrono::steady_clock::time_point last;
};

} // namespace vurl
