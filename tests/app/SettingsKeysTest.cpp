#include "app/SettingsKeys.h"

#include "app/DeviceChoice.h"
#include "tests/support/Test.h"

namespace vurl {

TEST(SettingsKeys, ValuesAreCheckedByTheirKey) {
  // clang-format off
  const std::tuple<const char*, const char*, const char*> cases[] = { // key, value, how it is read; "" when refused
      {"nr_channels", "64", "64"}, {"nr_channels", "65", ""}, {"nr_channels", "8x", ""}, {"nr_channels", "", ""},
      {"monitoring", "yes", "true"}, {"monitoring", "off", "false"}, {"monitoring", "2", ""}, {"nonsense", "1", ""},
      {"path_for_folder00", "~/x", "~/x"}, {"path_for_folder16", "~/x", ""}, {"path_for_folder0", "~/x", ""},
      {"input_for_channel63", "-1", "-1"}, {"input_for_channel64", "0", ""}, {"input_for_channel6", "0", ""},
      {"channel63_in_file511", "1", "true"}, {"channel63_in_file512", "1", ""}, {"channel63_in_file5111", "1", ""},
      {"take", "7b", "7b"}};
  // clang-format on
  for (const auto& [key, written, read] : cases) {
    std::string reason;
    const auto value = parseSetting(key, written, reason);
    EXPECT_EQ(value ? settingText(*value) : "", read) << key << " " << written;
    EXPECT_EQ(reason.find(key) == std::string::npos, value.has_value()) << reason;
  }
}

TEST(DeviceChoice, ByNameOrAnUnambiguousPart) {
  const std::vector<std::string> names = {"JACK - default", "JACK - default 2", "Vurl - Test Generator"};
  constexpr size_t kNone = 99;
  std::string reason;
  for (const auto& [wanted, index] :
       {std::pair{"jack - DEFAULT", size_t{0}}, {"default 2", 1}, {"gener", 2}, {"jack", kNone}, {"USB", kNone}})
    EXPECT_EQ(findByName(names, wanted, "device", reason).value_or(kNone), index) << reason;
}

} // namespace vurl
