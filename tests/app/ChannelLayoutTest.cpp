#include "tests/app/ControllerRig.h"

namespace vurl {

struct Layout {
  UserDefaults defaults;
  BlindLayoutView view;
  ChannelLayoutControler controler{defaults, view};

  /// The files' channels and folders, for example "0 1 @0, 0 @1, ".
  std::string files() const {
    std::string files;
    for (int file = 0; file < defaults.integerForKey("nr_files"); ++file) {
      for (int channel = 0; channel < controler.nrChannels(); ++channel)
        if (defaults.boolForKey(text("channel%02i_in_file%03i", channel, file))) files += text("%i ", channel);
      files += "@" + defaults.stringForKey(text("folder_for_file%03i", file)) + ", ";
    }
    return files;
  }
};

TEST(ChannelLayout, AutomaticConfigurations) {
  Layout layout; // each layout meets what the one before has left
  layout.defaults.setInteger(3, "input_for_channel00");
  // clang-format off
  const std::tuple<int, int, int, std::string> cases[] = { // the layout's tag, channels, folders, files; "" where none
      {1, 3, 2, "0 @0, 1 @0, 2 @0, 0 @1, 1 @1, 2 @1, "}, {2, 3, 2, "0 1 2 @0, 0 1 2 @1, "},
      {3, 3, 2, "0 1 @0, 0 @1, 1 @1, 2 @1, "}, {4, 3, 2, "0 1 @0, 0 1 2 @1, "}, {4, 1, 2, "0 @0, 0 @1, "},
      {5, 3, 2, "0 1 2 @0, 0 @1, 1 @1, 2 @1, "}, {4, 0, 1, "@0, "}, // below: left as it is
      {0, 3, 2, ""}, {6, 3, 2, ""}, {2, 3, 0, ""}, {1, 0, 2, ""}, {3, 0, 2, ""}, {5, 0, 2, ""}};
  // clang-format on
  for (const auto& [tag, nr_channels, nr_folders, files] : cases) {
    layout.defaults.setInteger(nr_channels, "nr_channels");
    layout.defaults.setInteger(nr_folders, "nr_folders");
    const auto before = layout.defaults.all();
    layout.controler.autoConfiguration(tag);
    EXPECT_TRUE(files.empty() ? layout.defaults.all() == before : layout.files() == files) << tag << layout.files();
  }
  EXPECT_EQ(layout.defaults.integerForKey("input_for_channel00"), 3);
}

TEST(ChannelLayout, ClicksRouteWhatTheCellStandsFor) {
  Layout layout; // 3 inputs | 2 outputs | 4 files; 5 channels | 2 folders
  layout.defaults.setInteger(5, "nr_channels");
  layout.defaults.setInteger(4, "nr_files");
  layout.defaults.setInteger(2, "nr_folders");
  for (const char* key : {"input_for_channel00", "output_for_channel04"}) layout.defaults.setInteger(4096, key);
  layout.controler.setInputNames({"in 1", "in 2", "in 3"});
  layout.controler.setOutputNames({"out 1", "out 2"});
  // clang-format off
  const std::tuple<int, int, const char*, const char*, bool> cases[] = { // row, column, its key and value, its box
      {0, 0, "input_for_channel00", "0", true}, {0, 2, "input_for_channel00", "2", true},
      {0, 2, "input_for_channel00", "4096", false}, {4, 4, "output_for_channel04", "0", true},
      {4, 5, "output_for_channel04", "1", true}, {4, 5, "output_for_channel04", "4096", false},
      {4, 10, "channel04_in_file003", "1", true}, {4, 10, "channel04_in_file003", "0", false},
      {0, 7, "channel00_in_file000", "1", true}, {7, 10, "folder_for_file003", "1", true},
      {6, 10, "folder_for_file003", "0", true}, {6, 10, "folder_for_file003", "0", true},
      {0, 3, "", "", false}, {0, 6, "", "", false}, {0, 11, "", "", false}, {0, -1, "", "", false},
      {-1, 0, "", "", false}, {5, 0, "", "", false}, {5, 8, "", "", false}, {6, 0, "", "", false},
      {7, 4, "", "", false}, {8, 8, "", "", false}};
  // clang-format on
  for (const auto& [row, column, key, value, checked] : cases) {
    SCOPED_TRACE(text("row %i, column %i", row, column));
    std::string changed;
    const auto observation = layout.defaults.observe("", [&](const std::string& set) { changed += set; });
    layout.controler.clicked(row, column);
    EXPECT_EQ(layout.defaults.stringForKey(key), value);
    EXPECT_EQ(layout.controler.matrix().isChecked(layout.controler.matrix().cellAt(row, column)), checked);
    EXPECT_TRUE(changed.empty() || changed == key) << changed;
  }
}

} // namespace vurl
