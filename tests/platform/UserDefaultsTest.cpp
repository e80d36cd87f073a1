#include "platform/UserDefaults.h"

#include "tests/support/Test.h"

namespace vurl {

using namespace std::string_literals;

TEST(UserDefaults, ObserversHearRealChangesOnly) {
  UserDefaults defaults;
  defaults.registerDefaults({{"a", int64_t{1}}});
  std::string heard;
  auto one = defaults.observe("a", [&](const std::string& key) { heard += "one " + key + ", "; });
  auto all = defaults.observe("", [&](const std::string& key) {
    heard += "all " + key + ", ";
    one.reset(); // an observer may end another
  });
  defaults.setInteger(1, "a"); // as registered: nothing changes
  defaults.setInteger(2, "a");
  defaults.setForRun(int64_t{3}, "a");
  defaults.setInteger(2, "a"); // the run's value falls away
  EXPECT_EQ(heard, "one a, all a, all a, all a, ");
}

/// Settings in a file that goes with the test.
class SettingsFile : public testing::Test {
protected:
  const TemporaryFolder folder;
  const CapturedLog log;
  const std::string path = folder.file("settings.plist");
};

TEST_F(SettingsFile, HoldsTheUsersLayerOnly) {
  const std::string in_new_folder = folder.file("new/settings.plist");
  for (const bool first : {true, false}) {
    UserDefaults defaults(in_new_folder);
    EXPECT_EQ(defaults.isNew(), first);
    defaults.registerDefaults({{"take", "1"s}, {"nr_channels", int64_t{8}}});
    EXPECT_EQ(defaults.stringForKey("take"), first ? "1" : "6");
    EXPECT_EQ(defaults.integerForKey("nr_channels"), 8) << "a value for the run is not stored";
    defaults.setForRun(int64_t{64}, "nr_channels");
    defaults.setForRun("5"s, "take");
    EXPECT_EQ(defaults.all(), (SettingMap{{"take", "5"s}, {"nr_channels", int64_t{64}}}));
    defaults.setObject("6"s, "take"); // the program moves the counter on
    EXPECT_EQ(defaults.all(), (SettingMap{{"take", "6"s}, {"nr_channels", int64_t{64}}}));
    EXPECT_EQ(defaults.synchronize(), std::nullopt);
  }
}

TEST_F(SettingsFile, KeepsWhatAnotherProgramWrites) {
  UserDefaults one(path), other(path);
  const auto set = [](UserDefaults& defaults, const char* key, int64_t value) {
    defaults.setInteger(value, key);
    EXPECT_EQ(defaults.synchronize(), std::nullopt);
  };
  for (const char* key : {"a", "both", "b"}) set(one, key, 1);
  for (const char* key : {"b", "both"}) set(other, key, 2);
  for (const char* key : {"both", "a"}) set(one, key, 3);
  set(one, "a", 4);
  one.setInteger(1, "gone");
  one.synchronize();
  one.setForRun(int64_t{2}, "gone");
  for (const char* key : {"gone", "gone", "unknown"}) one.removeObject(key);
  EXPECT_EQ(one.synchronize(), std::nullopt);
  EXPECT_EQ(UserDefaults(path).all(), (SettingMap{{"a", int64_t{4}}, {"b", int64_t{2}}, {"both", int64_t{3}}}));
  EXPECT_EQ(one.integerForKey("b"), 1) << "a program goes on with what it has read";
  for (int64_t value = 5; value <= 6; ++value) { // all is written where nothing is left
    value == 5 ? static_cast<void>(std::filesystem::remove(path)) : writeFile(path, "not XML");
    set(one, "a", value);
    EXPECT_EQ(UserDefaults(path).all(), one.all());
  }
}

TEST_F(SettingsFile, GivesEveryTextBack) {
  // clang-format off
  const SettingMap values = {
      {"marks", "<a & \"b\" 'c'> ]]>"s}, {"lines", "one\r\ntwo\n\tthree"s}, {"blanks", "  x  "s}, {"empty", ""s},
      {"emoji", "\xF0\x9F\x8E\xA4"s}, {"<key>", true}, {"off", false}, {"low", INT64_MIN}, {"high", INT64_MAX},
      {"real", 0.1}};
  // clang-format on
  UserDefaults defaults(path);
  for (const auto& [key, value] : values) defaults.setObject(value, key);
  defaults.setObject("bell\x07 \xC3( end"s, "broken");
  ASSERT_EQ(defaults.synchronize(), std::nullopt);
  const UserDefaults again(path);
  for (const auto& [key, value] : values) EXPECT_EQ(again.objectForKey(key), value) << key;
  EXPECT_EQ(again.stringForKey("broken"), "bell\xEF\xBF\xBD \xEF\xBF\xBD( end");
}

TEST_F(SettingsFile, IsSetAsideWhenItCannotBeUnderstood) {
  for (const std::string document :
       {"", "not XML", "<plist><array/></plist>", "<plist><dict><key>a</key></dict></plist>"}) {
    writeFile(path, document);
    writeFile(path + ".unreadable", "an earlier one");
    UserDefaults defaults(path);
    ASSERT_EQ(defaults.warnings().size(), 1U) << document;
    EXPECT_NE(defaults.warnings()[0].find(path + ".unreadable-2"), std::string::npos) << defaults.warnings()[0];
    EXPECT_EQ(fileBytes(path + ".unreadable-2"), document);
    EXPECT_EQ(fileBytes(path + ".unreadable"), "an earlier one");
    defaults.setInteger(4, "nr_channels");
    EXPECT_EQ(defaults.synchronize(), std::nullopt);
    EXPECT_EQ(UserDefaults(path).integerForKey("nr_channels"), 4);
    std::filesystem::remove(path + ".unreadable-2");
  }
}

TEST_F(SettingsFile, IsReplacedAsAWholeOrNotAtAll) {
  std::filesystem::create_symlink(path, folder.file("link"));
  std::filesystem::create_symlink("unreadable", folder.file("unreadable")); // a loop, which can be replaced, not read
  for (const auto& [name, written] :
       {std::pair{"settings.plist", true}, {"link", true}, {"unreadable", false}, {"occupied", false}}) {
    UserDefaults defaults(folder.file(name));
    defaults.setInteger(defaults.integerForKey("a") + 1, "a");
    if (name == "occupied"s) std::filesystem::create_directory(folder.file(name));
    EXPECT_EQ(defaults.synchronize() == std::nullopt, written) << name;
  }
  EXPECT_EQ(UserDefaults(path).integerForKey("a"), 2) << "once as itself, once through the link";
  for (const char* kept : {"link", "unreadable"}) EXPECT_TRUE(std::filesystem::is_symlink(folder.file(kept)));
  const std::filesystem::directory_iterator entries(folder.path);
  EXPECT_EQ(std::distance(begin(entries), end(entries)), 4) << "no half-written file is left behind";
  EXPECT_TRUE(log.contains("Is a directory"));
}

} // namespace vurl
