#include "views/ChannelStripBox.h"

#include <gtest/gtest.h>

#include <QtCore/QCoreApplication>
#include <QtGui/QScreen>

namespace vurl {

TEST(ChannelStripBox, FillsColumnsWithRows) {
  struct Case {
    QSize size;
    int channels;
    uint32_t columns;
    int last_channel; ///< whose row stands at:
    QRect last_row;
  };
  const Case cases[] = {
      {{800, 400}, 0, 0, -1, {}},
      {{800, 33}, 8, 0, -1, {}}, // too low for a row
      {{800, 10}, 64, 0, -1, {}},
      {{800, 34}, 1, 1, 0, {0, 12, 800, 22}},
      {{800, 34}, 8, 8, 7, {700, 12, 96, 22}},
      {{800, 216}, 8, 1, 7, {0, 194, 800, 22}},
      {{800, 215}, 8, 2, 7, {402, 12, 398, 22}},
      {{1280, 528}, 20, 1, 19, {0, 506, 1280, 22}},
      {{1280, 528}, 63, 4, 62, {963, 64, 317, 22}},
      {{1280, 528}, 64, 4, 63, {963, 90, 317, 22}},
      {{2000, 2000}, 64, 1, 63, {0, 1650, 2000, 22}},
      {{10, 2000}, 64, 1, 63, {0, 1650, 10, 22}},
  };
  for (const Case& given : cases) {
    SCOPED_TRACE(testing::Message() << given.size.width() << " x " << given.size.height() << ", " << given.channels);
    ChannelStripBox box;
    box.resize(given.size);
    box.setNrChannels(given.channels);
    for (uint32_t i = 0; i < ChannelStripBox::kMaxChannels; ++i) {
      EXPECT_EQ(box.row(i).isVisibleTo(&box), static_cast<int>(i) <= given.last_channel) << i;
      EXPECT_EQ(box.header(i).isVisibleTo(&box), i < given.columns) << i;
    }
    if (given.last_channel < 0) continue;
    EXPECT_EQ(box.row(static_cast<uint32_t>(given.last_channel)).geometry(), given.last_row);
    EXPECT_EQ(box.header(given.columns - 1).geometry(), QRect(given.last_row.x(), 0, given.last_row.width(), 10));
  }
}

TEST(ChannelStripBox, FollowsTheSettingsAndKeepsClipMarksUntilClicked) {
  UserDefaults defaults;
  defaults.setInteger(2, "nr_channels");
  ChannelStripBox box;
  box.awakeFromNib(defaults);
  box.resize(600, 100);
  box.show();
  ChannelView& row = box.row(1);
  EXPECT_EQ(row.meter().geometry(), QRect(35, 6, 445, 10));
  EXPECT_EQ(row.nameField().geometry(), QRect(488, 2, 101, 18));
  defaults.setInteger(-40, "start_value");
  EXPECT_EQ(row.meter().startValue(), -40);
  defaults.setObject(std::string("Böom"), "name_for_channel01");
  EXPECT_EQ(row.nameField().text().toStdString(), "Böom");
  Q_EMIT row.nameField().textEdited("Lav");
  EXPECT_EQ(defaults.stringForKey("name_for_channel01"), "Lav");

  const auto shown = [&box] {
    QCoreApplication::processEvents();
    return box.screen()->grabWindow(box.winId()).toImage();
  };
  for (const char* const key : {"warn_value", "error_value"}) { // a silent meter follows its scale, too
    const QImage before = shown();
    defaults.setInteger(-10, key);
    EXPECT_TRUE(shown() != before) << key;
  }

  box.setPeak(-0.0001F, -20, 1); // the highest positive value of 16 bits
  box.setPeak(-60, -60, 1);
  box.setPeak(-0.1F, -20, 0);
  EXPECT_TRUE(row.clipMark().isClipped());
  EXPECT_FALSE(box.row(0).clipMark().isClipped());
  row.clipMark().click();
  EXPECT_FALSE(row.clipMark().isClipped());
}

} // namespace vurl
