#include "app/TakeTexts.h"

#include "app/PreferencesController.h"
#include "tests/support/Test.h"

namespace vurl {

TEST(TakeTexts, OfStrangersAreRefusedByKey) {
  UserDefaults defaults;
  const PreferencesController preferences(defaults);
  defaults.setObject(std::string("%p-%s-%t-%c"), "filename_format");
  for (const char* const key : {"project", "take"}) defaults.setObject(std::string(), key);
  for (const char* const key : {"nr_channels", "nr_files"}) defaults.setInteger(2, key);
  for (const char* const key : {"reset_take", "channel01_in_file001"}) defaults.setBool(true, key);
  defaults.setObject(std::string(60, 'c'), "name_for_channel01"); // the second file has room for 169 characters
  const std::string longest(1024, 'x');
  const std::tuple<TakeTexts, std::string> cases[] = {
      // what is told of it, or nothing when it may be stored
      {{{"scene", "12 A & <b>"}, {"note", longest}, {"count", "0"}, {"take", ""}, {"roll", "\xF0\x9F\x8E\xA4"}}, ""},
      {{{"scene", "1"}, {"bit_depth", "1"}}, "\"bit_depth\""},
      {{{"\x1b[2J" + longest, ""}}, "\"\\x1b[2J"},
      {{{"take", "1"}, {"take", "2"}}, "\"take\""},
      {{{"note", longest + "x"}}, "\"note\""},
      {{{"note", "a\nb"}}, "\"note\""},
      {{{"note", std::string("a\0b", 3)}}, "\"note\""},
      {{{"note", "\xE2\x80\xAE"}}, "\"note\""},
      {{{"roll", "\xEF\xBF\xBF"}}, "\"roll\""},
      {{{"roll", "\xED\xA0\x80"}}, "\"roll\""},
      {{{"count", "-1"}}, "\"count\""},
      {{{"count", "1e3"}}, "\"count\""},
      {{{"scene", std::string(230, 's')}}, "too long"},
      {{{"scene", std::string(168, 's')}}, ""},
      {{{"scene", std::string(169, 's')}}, "too long"}, // the take becomes 1
      {{{"scene", std::string(169, 's')}, {"take", ""}}, ""},
      {{{"scene", std::string(168, 's')}, {"count", "10"}}, "too long"}};
  for (const auto& [texts, told] : cases) {
    const std::string fault = takeTextsFault(texts, defaults);
    EXPECT_EQ(fault.empty(), told.empty()) << fault;
    EXPECT_NE(fault.find(told), std::string::npos) << fault;
    EXPECT_LE(fault.size(), 250U);
  }
}

} // namespace vurl
