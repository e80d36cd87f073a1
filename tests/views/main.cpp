// Runs the views' tests on a screen that nobody sees, unless another platform is asked for.
#include <gtest/gtest.h>

#include <QtWidgets/QApplication>

int main(int argc, char** argv) {
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  testing::InitGoogleTest(&argc, argv);
  const QApplication application(argc, argv);
  QApplication::setStyle("Fusion");
  return RUN_ALL_TESTS();
}
