#include "platform/UserDefaults.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <unistd.h>

namespace vurl {
namespace {

using namespace std::string_literals;

TEST(UserDefaults, ConvertsAsTheReadersRelyOn) {
  UserDefaults defaults;
  defaults.registerDefaults({{"text", "12b"s}, {"word", "b12"s}, {"on", true}, {"number", int64_t{-3}}, {"real", 2.9}});
  const struct {
    const char* key;
    int64_t integer;
    bool boolean;
    const char* string;
  } cases[] = {{"text", 12, true, "12b"},  {"word", 0, false, "b12"}, {"on", 1, true, "1"},
               {"number", -3, true, "-3"}, {"real", 2, true, "2.9"},  {"missing", 0, false, ""}};
  for (const auto& c : cases) {
    EXPECT_EQ(defaults.integerForKey(c.key), c.integer) << c.key;
    EXPECT_EQ(defaults.boolForKey(c.key), c.boolean) << c.key;
    EXPECT_EQ(defaults.stringForKey(c.key), c.string) << c.key;
  }
}

TEST(UserDefaults, LayersAndWhatIsStored) {
  const TemporaryFolder folder;
  const std::string path = folder.file("new/settings.plist");
  {
    UserDefaults defaults(path);
    EXPECT_TRUE(defaults.isNew());
    defaults.registerDefaults({{"take", "1"s}, {"nr_channels", int64_t{8}}});
    defaults.setForRun(int64_t{64}, "nr_channels");
    defaults.setForRun("5"s, "take");
    EXPECT_EQ(defaults.stringForKey("take"), "5");
    defaults.setObject("6"s, "take"); // the program moves the counter on
    EXPECT_EQ(defaults.stringForKey("take"), "6");
    EXPECT_EQ(defaults.integerForKey("nr_channels"), 64);
    EXPECT_EQ(defaults.synchronize(), std::nullopt);
  }
  UserDefaults again(path);
  EXPECT_FALSE(again.isNew());
  again.registerDefaults({{"nr_channels", int64_t{8}}});
  EXPECT_EQ(again.stringForKey("take"), "6");
  EXPECT_EQ(again.integerForKey("nr_channels"), 8) << "a value for the run is not stored";
}

TEST(UserDefaults, ObserversHearRealChangesOnly) {
  UserDefaults defaults;
  defaults.registerDefaults({{"a", int64_t{1}}});
  std::vector<std::string> heard;
  auto one = defaults.observe("a", [&](const std::string& key) { heard.push_back("one " + key); });
  auto all = defaults.observe("", [&](const std::string& key) {
    heard.push_back("all " + key);
    one.reset(); // an observer may end another
  });
  defaults.setInteger(1, "a"); // as registered: nothing changes
  EXPECT_TRUE(heard.empty());
  defaults.setInteger(2, "a");
  defaults.setForRun(int64_t{3}, "a");
  defaults.setInteger(2, "a"); // the run's value falls away
  EXPECT_EQ(heard, (std::vector<std::string>{"one a", "all a", "all a", "all a"}));
}

TEST(UserDefaults, EveryTextComesBackFromTheFile) {
  const TemporaryFolder folder;
  const std::string path = folder.file("settings.plist");
  const SettingMap values = {{"marks", "<a & \"b\" 'c'> ]]>"s},
                             {"lines", "one\r\ntwo\n\tthree"s},
                             {"empty", ""s},
                             {"emoji", "\xF0\x9F\x8E\xA4"s},
                             {"blanks", "  x  "s},
                             {"<key>", true},
                             {"low", INT64_MIN},
                             {"high", INT64_MAX},
                             {"off", false},
                             {"real", 0.1}};
  {
    UserDefaults defaults(path);
    for (const auto& [key, value] : values) defaults.setObject(value, key);
    defaults.setObject("bell\x07 \xC3( end"s, "broken");
    ASSERT_EQ(defaults.synchronize(), std::nullopt);
  }
  const UserDefaults again(path);
  for (const auto& [key, value] : values) EXPECT_EQ(again.objectForKey(key), value) << key;
  EXPECT_EQ(again.stringForKey("broken"), "bell\xEF\xBF\xBD \xEF\xBF\xBD( end");
}

TEST(UserDefaults, AFileThatCannotBeUnderstoodIsSetAside) {
  const char* const broken[] = {"",
                                "not XML",
                                "<plist><dict><key>a</key></dict></plist>",
                                "<plist><array/></plist>",
                                "<plist><dict><string>a</string></dict></plist>",
                                "<plist><dict><key>a</key><true/>"};
  for (const char* const document : broken) {
    const TemporaryFolder folder;
    const CapturedLog log;
    const std::string path = folder.file("settings.plist");
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
  }
}

TEST(UserDefaults, KindsThatCannotBeKeptAreLeftOutOneByOne) {
  const TemporaryFolder folder;
  const CapturedLog log;
  writeFile(folder.file("s"), "<plist><dict><key>list</key><array><string>x</string></array>"
                              "<key>huge</key><integer>99999999999999999999</integer>"
                              "<key>take</key><string>3</string></dict></plist>");
  const UserDefaults defaults(folder.file("s"));
  EXPECT_EQ(defaults.all(), (SettingMap{{"take", "3"s}}));
  EXPECT_TRUE(log.contains("\"list\""));
  EXPECT_TRUE(log.contains("\"huge\""));
}

TEST(UserDefaults, WritingIsAllOrNothing) {
  const TemporaryFolder folder;
  const CapturedLog log;
  const std::string path = folder.file("settings.plist");
  UserDefaults defaults(path);
  defaults.setInteger(1, "a");
  ASSERT_EQ(defaults.synchronize(), std::nullopt);
  const std::string before = fileBytes(path);

  std::filesystem::create_directory(folder.file("target"));
  const std::string linked = folder.file("linked.plist");
  std::filesystem::create_symlink(path, linked);
  UserDefaults through_link(linked);
  through_link.setInteger(2, "a");
  ASSERT_EQ(through_link.synchronize(), std::nullopt);
  EXPECT_TRUE(std::filesystem::is_symlink(linked));
  EXPECT_EQ(UserDefaults(path).integerForKey("a"), 2);

  UserDefaults nowhere(folder.file("settings.plist/below/a/file"));
  nowhere.setInteger(3, "a");
  EXPECT_NE(nowhere.synchronize(), std::nullopt);
  EXPECT_TRUE(log.contains("Not a directory"));
  size_t entries = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder.path)) ++entries;
  EXPECT_EQ(entries, 3U) << "no half-written file is left behind";
}

TEST(UserDefaults, AFileThatCannotBeReadIsNeverWrittenOver) {
  const TemporaryFolder folder;
  const CapturedLog log;
  const std::string path = folder.file("settings.plist");
  std::filesystem::create_directory(path); // reading it fails, as a lack of permission would
  UserDefaults defaults(path);
  EXPECT_EQ(defaults.warnings().size(), 1U);
  defaults.setInteger(1, "a");
  EXPECT_NE(defaults.synchronize(), std::nullopt);
  EXPECT_TRUE(std::filesystem::is_directory(path));
}

} // namespace
} // namespace vurl
