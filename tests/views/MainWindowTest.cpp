#include "tests/views/SessionRig.h"

#include <QtGui/QWheelEvent>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QSpinBox>

namespace vurl {

using MainWindowTest = SessionRig;

TEST_F(MainWindowTest, NeitherWheelNorKeysNorMessagesDisturbATakeAndADoubleClickPlaysIt) {
  for (const auto& [refreshes, words] : {std::pair{5, "Stopped"}, {2, "Stopped · NO SOUND ARRIVES"}}) {
    for (int refresh = 0; refresh < refreshes; ++refresh) run_loop.advance(std::chrono::milliseconds(100));
    EXPECT_EQ(window.takeLength().words(), words);
  }
  reach("Stopped");
  auto* const count = window.slate().findChild<QSpinBox*>();
  count->setFocus();
  QTest::keyClick(count, Qt::Key_Return);
  EXPECT_FALSE(count->hasFocus()); // the space bar is the transport's again

  const SteppedDevice other(model, "Other");
  time(1);
  QTest::keyClick(&window.history(), Qt::Key_Space);
  reach("RECORDING");
  EXPECT_TRUE(window.button(REC).isLit());
  QComboBox& devices = window.devices().menu(DeviceMenu::device);
  ASSERT_EQ(devices.count(), 2);
  for (const int angle : {-120, 120}) {
    QWheelEvent passing_over({5, 5}, {5, 5}, {}, {0, angle}, Qt::NoButton, {}, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(&devices, &passing_over);
    EXPECT_EQ(devices.currentText(), "Test - Stepped"); // another would end the take
  }
  type("note", "with blanks"); // the space bar belongs to the field
  window.showAlert("Message.", "The user need not answer it.");
  EXPECT_FALSE(window.close());
  window.messages().dismiss(); // the question
  EXPECT_EQ(window.messages().text(), "Message.\nThe user need not answer it.");
  time(10);
  EXPECT_EQ(window.takeLength().words(), "RECORDING");
  click(STOP);
  reach("Stopped");
  ASSERT_EQ(window.history().model()->rowCount(), 1);
  EXPECT_EQ(recorder.history_controler.objectValue("note", 0), "with blanks");

  const QPoint row = window.history().visualRect(window.history().currentIndex()).center();
  QTest::mouseClick(window.history().viewport(), Qt::LeftButton, Qt::ControlModifier, row);
  QTest::mouseDClick(window.history().viewport(), Qt::LeftButton, {}, row);
  reach("Playing");
  EXPECT_TRUE(window.button(PLAY).isLit() && !window.button(STOP).isLit());
}

} // namespace vurl
