#include "views/QtRunLoop.h"

#include "tests/support/RunLoopSuite.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QTimer>

namespace vurl {

struct QtRunner {
  QtRunLoop loop;
  void run() { QCoreApplication::exec(); }
  void quit() { QCoreApplication::quit(); }
  void runFor(std::chrono::milliseconds duration) {
    QTimer::singleShot(duration, [] { QCoreApplication::quit(); });
    run();
  }
};

INSTANTIATE_TYPED_TEST_SUITE_P(QtRunLoop, RunLoopSuite, QtRunner);

} // namespace vurl
