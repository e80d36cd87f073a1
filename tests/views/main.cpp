// Runs the views' tests on a screen that nobody sees, unless another platform is asked for.
#include <gtest/gtest.h>

#include <sched.h>

#include <QtWidgets/QApplication>

/// Where the system allows it, no JACK server of somebody else is seen: one that comes or goes ends a take.
int main(int argc, char** argv) {
  unshare(CLONE_NEWNET);
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  testing::InitGoogleTest(&argc, argv);
  const QApplication application(argc, argv);
  QApplication::setStyle("Fusion");
  return RUN_ALL_TESTS();
}
