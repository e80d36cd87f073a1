#include "app/SettingsKeys.h"

#include "app/DeviceChoice.h"
#include "app/PreferencesController.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace vurl {
namespace {

TEST(SettingsKeys, ValuesAreCheckedByTheirKey) {
  const struct {
    const char* key;
    const char* written;
    const char* read; ///< null when it is refused
  } cases[] = {
      {"nr_channels", "64", "64"},
      {"nr_channels", "65", nullptr},
      {"nr_channels", "8x", nullptr},
      {"nr_channels", "", nullptr},
      {"take", "7b", "7b"},
      {"monitoring", "yes", "true"},
      {"monitoring", "off", "false"},
      {"monitoring", "2", nullptr},
      {"nonsense", "1", nullptr},
      {"path_for_folder00", "~/x", "~/x"},
      {"path_for_folder16", "~/x", nullptr},
      {"path_for_folder0", "x", nullptr},
      {"input_for_channel63", "-1", "-1"},
      {"input_for_channel64", "0", nullptr},
      {"input_for_channel6", "0", nullptr},
      {"channel63_in_file511", "1", "true"},
      {"channel63_in_file512", "1", nullptr},
      {"channel63_in_file5111", "1", nullptr},
  };
  for (const auto& [key, written, read] : cases) {
    std::string reason;
    const auto value = parseSetting(key, written, reason);
    EXPECT_EQ(value.has_value(), read != nullptr) << key << " " << written;
    EXPECT_EQ(value ? settingText(*value) : "", read == nullptr ? "" : read) << key;
    EXPECT_EQ(reason.find(key) == std::string::npos, value.has_value()) << reason;
  }
}

TEST(PreferencesController, AFirstStartCanRecord) {
  const TemporaryFolder home;
  const CapturedLog log;
  const std::string before = std::getenv("HOME") == nullptr ? "" : std::getenv("HOME");
  setenv("HOME", home.path.c_str(), 1);
  {
    UserDefaults defaults(home.file("settings.plist"));
    const PreferencesController preferences(defaults);
    for (const auto& [key, value] : defaults.all()) {
      std::string reason;
      EXPECT_TRUE(parseSetting(key, settingText(value), reason)) << reason;
    }
    EXPECT_EQ(defaults.stringForKey("name_for_channel63"), "channel 64");
    EXPECT_TRUE(std::filesystem::is_directory(home.file("Recordings")));
  }
  std::filesystem::remove(home.file("Recordings"));
  UserDefaults defaults(home.file("settings.plist"));
  const PreferencesController preferences(defaults);
  EXPECT_FALSE(std::filesystem::exists(home.file("Recordings"))) << "made at the first start only";
  setenv("HOME", before.c_str(), 1);
}

TEST(DeviceChoice, ByNameOrAnUnambiguousPart) {
  const std::vector<std::string> names = {"JACK - default", "JACK - default 2", "Vurl - Test Generator"};
  std::string reason;
  EXPECT_EQ(findDevice(names, "jack - DEFAULT", reason), 0U);
  EXPECT_EQ(findDevice(names, "default 2", reason), 1U);
  EXPECT_EQ(findDevice(names, "gener", reason), 2U);
  EXPECT_EQ(findDevice(names, "jack", reason), std::nullopt);
  EXPECT_EQ(reason.find("More than one"), 0U);
  EXPECT_EQ(findDevice(names, "USB", reason), std::nullopt);
  EXPECT_NE(reason.find("\"USB\""), std::string::npos);
}

} // namespace
} // namespace vurl
