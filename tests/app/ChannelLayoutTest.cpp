#include "tests/app/ControllerRig.h"

namespace vurl {

struct Layout {
  UserDefaults defaults;
  RecordingLayoutView view;
  ChannelLayoutControler controler{defaults, view};

  void setCounts(int channels, int folders) {
    defaults.setInteger(channels, "nr_channels");
    defaults.setInteger(folders, "nr_folders");
  }

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

/// The same for the folders before `end`, from `first` on, each with files of one kind.
std::string folders(const std::string& kind, int channels, int first, int end) {
  std::string files;
  for (int folder = first; folder < end; ++folder) {
    for (int channel = 0; channel < (kind == "stereo" ? std::min(channels, 2) : channels); ++channel)
      files += text(kind == "mono" ? "%i @%i, " : "%i ", channel, folder);
    if (kind != "mono") files += text("@%i, ", folder);
  }
  return files;
}

TEST(ChannelLayout, AutomaticConfigurations) {
  const std::pair<const char*, const char*> by_tag[] = {// what the first folder gets, and the others
                                                        {"mono", "mono"},
                                                        {"poly", "poly"},
                                                        {"stereo", "mono"},
                                                        {"stereo", "poly"},
                                                        {"poly", "mono"}};
  for (const int channels : {0, 1, 4, 8, 64}) {
    for (const int nr_folders : {0, 1, 2, 3, 8}) {
      Layout layout; // each layout meets what the one before has left
      layout.setCounts(channels, nr_folders);
      layout.defaults.setInteger(3, "input_for_channel00");
      for (int tag = 0; tag <= 6; ++tag) {
        SCOPED_TRACE(text("layout %i of %i channels in %i folders", tag, channels, nr_folders));
        const int redraws = layout.view.redraws;
        const auto before = layout.defaults.all();
        layout.controler.autoConfiguration(tag);
        EXPECT_GT(layout.view.redraws, redraws);
        const bool divides = tag == 1 || tag == 3 || tag == 5;
        if (tag < 1 || tag > 5 || nr_folders == 0 || (divides && channels == 0)) {
          EXPECT_EQ(layout.defaults.all(), before);
          continue;
        }
        const auto& [first, others] = by_tag[tag - 1];
        EXPECT_EQ(layout.files(), folders(first, channels, 0, 1) + folders(others, channels, 1, nr_folders));
        EXPECT_EQ(layout.defaults.integerForKey("nr_channels"), channels);
        EXPECT_EQ(layout.defaults.integerForKey("nr_folders"), nr_folders);
        EXPECT_EQ(layout.defaults.integerForKey("input_for_channel00"), 3);
      }
    }
  }
  Layout layout;
  layout.setCounts(4, 2);
  layout.controler.autoConfiguration(3);
  EXPECT_EQ(layout.files(), "0 1 @0, 0 @1, 1 @1, 2 @1, 3 @1, ");
}

TEST(ChannelLayout, ClicksRouteWhatTheCellStandsFor) {
  Layout layout; // 3 inputs | 2 outputs | 4 files; 5 channels | 2 folders
  layout.setCounts(5, 2);
  for (const char* key : {"input_for_channel00", "output_for_channel04"}) layout.defaults.setInteger(4096, key);
  layout.defaults.setInteger(4, "nr_files");
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
    auto before = layout.defaults.all();
    layout.controler.clicked(row, column);
    auto after = layout.defaults.all();
    EXPECT_EQ(layout.defaults.stringForKey(key), value);
    EXPECT_EQ(layout.controler.matrix().isChecked(layout.controler.matrix().cellAt(row, column)), checked);
    before.erase(key);
    after.erase(key);
    EXPECT_EQ(before, after) << "one setting at a time";
  }
}

TEST(ChannelLayout, MenusLimitTheCountsAndFollowThem) {
  const CapturedLog log;
  const std::tuple<int, int, int, const char*> cases[] = {// stored channels, files, folders; what is stored then
                                                          {64, 200, 16, "64 200 16"},
                                                          {65, 201, 17, "64 200 16"},
                                                          {-3, -1, -1, "-3 200 16"},
                                                          {1, 1, 1, "1 1 1"}};
  for (const auto& [channels, files, folders, expected] : cases) {
    Layout layout;
    layout.setCounts(channels, folders);
    layout.defaults.setInteger(7, "nr_files");
    layout.defaults.setForRun(int64_t{files}, "nr_files");
    layout.controler.resetMenus();
    const auto stored = [&](const char* key) { return layout.defaults.stringForKey(key); };
    EXPECT_EQ(stored("nr_channels") + " " + stored("nr_files") + " " + stored("nr_folders"), expected);
    EXPECT_TRUE(layout.defaults.isSetForRun("nr_files")) << "the 7 that the user has stored stays";
    EXPECT_FALSE(layout.controler.choose(CountMenu::files, 201));
    EXPECT_TRUE(layout.controler.choose(CountMenu::files, 12));
    EXPECT_EQ(layout.controler.menu(CountMenu::files).selectedItem()->title + stored("nr_files"), "1212");
    layout.defaults.setInteger(300, "nr_files");
    EXPECT_EQ(layout.view.menus[1].selectedItem(), nullptr);
  }
}

} // namespace vurl
