#include "views/ChannelStripBox.h"

#include <gtest/gtest.h>

namespace vurl {

TEST(ChannelStripBox, FillsColumnsWithRows) {
  const std::tuple<QSize, int, uint32_t, QRect> cases[] = {
      // channels, columns, and the last channel's row, when there is room
      {{800, 400}, 0, 0, {}},
      {{800, 33}, 8, 0, {}}, // too low for a row
      {{800, 34}, 1, 1, {0, 12, 800, 22}},
      {{800, 34}, 8, 8, {700, 12, 96, 22}},
      {{800, 216}, 8, 1, {0, 194, 800, 22}},
      {{800, 215}, 8, 2, {402, 12, 398, 22}},
      {{1280, 528}, 63, 4, {963, 64, 317, 22}},
      {{1280, 528}, 64, 4, {963, 90, 317, 22}},
      {{2000, 2000}, 64, 1, {0, 1650, 2000, 22}},
      {{10, 2000}, 64, 1, {0, 1650, 10, 22}}};
  for (const auto& [size, channels, columns, last_row] : cases) {
    SCOPED_TRACE(testing::Message() << size.width() << " x " << size.height() << ", " << channels);
    ChannelStripBox box;
    box.resize(size);
    box.setNrChannels(channels);
    for (uint32_t i = 0; i < ChannelStripBox::kMaxChannels; ++i) {
      EXPECT_EQ(box.row(i).isVisibleTo(&box), columns > 0 && static_cast<int>(i) < channels) << i;
      EXPECT_EQ(box.header(i).isVisibleTo(&box), i < columns) << i;
    }
    if (columns == 0) continue;
    EXPECT_EQ(box.row(static_cast<uint32_t>(channels - 1)).geometry(), last_row);
    EXPECT_EQ(box.header(columns - 1).geometry(), QRect(last_row.x(), 0, last_row.width(), 10));
  }
}

TEST(ChannelStripBox, FollowsTheSettingsAndKeepsClipMarksUntilClicked) {
  UserDefaults defaults;
  defaults.setInteger(2, "nr_channels");
  ChannelStripBox box;
  box.awakeFromNib(defaults);
  ChannelView& row = box.row(1);
  defaults.setInteger(-40, "start_value");
  EXPECT_EQ(row.meter().startValue(), -40);
  defaults.setObject(std::string("Böom"), "name_for_channel01");
  EXPECT_EQ(row.nameField().text().toStdString(), "Böom");
  box.setPeak(-0.0001F, -20, 1); // the highest positive value of 16 bits
  box.setPeak(-60, -60, 1);
  box.setPeak(-0.1F, -20, 0);
  EXPECT_TRUE(row.clipMark().isClipped());
  EXPECT_FALSE(box.row(0).clipMark().isClipped());
  row.clipMark().click();
  EXPECT_FALSE(row.clipMark().isClipped());
}

} // namespace vurl
