#include "views/LayoutMatrixView.h"

#include <gtest/gtest.h>

#include <QtCore/QCoreApplication>
#include <QtGui/QMouseEvent>
#include <QtTest/QTest>
#include <QtWidgets/QScrollBar>

namespace vurl {

/// 4 channels and 2 folders; 3 inputs, 2 outputs and 200 files.
struct LayoutMatrixViewTest : testing::Test {
  LayoutMatrixViewTest() {
    matrix.setNrChannels(4);
    matrix.setNrFolders(2);
    matrix.setNrFiles(200);
    matrix.setInputNames({"a", "b", "c"});
    matrix.setOutputNames({"d", "e"});
    view.setFrameShape(QFrame::NoFrame);
    view.setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view.setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view.resize(500, 150);
    view.matrixChanged();
    view.show();
    QObject::connect(&view, &LayoutMatrixView::cellClicked, [this](int32_t row, int32_t column) {
      clicked = std::to_string(row) + "," + std::to_string(column);
      matrix.toggle(matrix.cellAt(row, column));
    });
  }

  std::string click(int x, int y, QEvent::Type type = QEvent::MouseButtonPress) {
    clicked.clear();
    QMouseEvent press(type, QPointF(x, y), QPointF(x, y), Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(view.viewport(), &press);
    return clicked;
  }

  UserDefaults defaults;
  LayoutMatrix matrix{defaults};
  LayoutMatrixView view{matrix};
  std::string clicked;
};

TEST_F(LayoutMatrixViewTest, HitsTheCellUnderThePointerAlsoWhenScrolled) {
  const std::tuple<QPoint, QPoint, std::string> cases[] = {
      {{0, 0}, {113, 113}, "0,0"},      {{0, 0}, {114, 114}, "1,1"},       {{0, 0}, {99, 101}, ""},
      {{0, 0}, {101, 99}, ""},          {{2400, 0}, {99, 101}, ""},        {{14, 0}, {100, 100}, "0,1"},
      {{0, 48}, {101, 149}, "6,0"},     {{2400, 48}, {493, 149}, "6,199"}, {{2498, 48}, {499, 100}, "3,206"},
      {{2498, 48}, {499, 115}, "4,206"}}; // a separator: stands for nothing
  for (const auto& [offset, point, expected] : cases) {
    view.horizontalScrollBar()->setValue(offset.x());
    view.verticalScrollBar()->setValue(offset.y());
    EXPECT_EQ(click(point.x(), point.y()), expected) << point.x() << "," << point.y();
  }
  EXPECT_EQ(click(499, 100, QEvent::MouseButtonDblClick), "3,206");
  view.resize(4000, 400);
  EXPECT_EQ(click(100 + 14 * 207, 101) + click(101, 100 + 14 * 7), ""); // beyond the last file, below the last folder
}

TEST_F(LayoutMatrixViewTest, KeysMoveAndClickTheCurrentCell) {
  for (const auto key : {Qt::Key_Left, Qt::Key_Down, Qt::Key_Right, Qt::Key_Space}) QTest::keyClick(&view, key);
  EXPECT_EQ(clicked, "1,1");
  EXPECT_EQ(view.description({1, 1}).toStdString(), "Input 2\nb\nChannel 2\n\nchecked");
  for (const auto key : {Qt::Key_End, Qt::Key_Space}) QTest::keyClick(&view, key, Qt::ControlModifier);
  EXPECT_EQ(clicked, "6,206");
  EXPECT_EQ(click(499, 149), "6,206"); // the view came along
  QKeyEvent space(QEvent::ShortcutOverride, Qt::Key_Space, Qt::NoModifier);
  space.ignore();
  QCoreApplication::sendEvent(&view, &space);
  EXPECT_FALSE(space.isAccepted()); // behind a click it is the transport's
}

} // namespace vurl
