#include "tests/support/Test.h"

namespace vurl {

TEST(Text, IsBuiltCutAndExpanded) {
  const std::string mixed = "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x8E\xA4z"; // a, ä, euro sign, microphone, z
  setenv("HOME", "/home/mixer", 1);
  const std::pair<std::string_view, std::string> cases[] = {
      {"'a b', c.", text("'%@', %s.", std::string("a b"), "c")},
      {"18446744073709551615 -7 004 09", text("%qu %i %03i %02hi", UINT64_MAX, -7, 4, int16_t{9})},
      {"7fff12345678", text("%x", uint64_t{0x7fff12345678})},
      {"%i and %i", text("%i and %i", 1)}, // a format that does not fit comes back as it stands
      {"a\xC3\xA4\xE2\x82\xAC", std::string(firstBytes(mixed, 9))},
      {"a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x8E\xA4", std::string(firstBytes(mixed, 10))},
      {"/home/mixer/Recordings", expandTilde("~/Recordings")},
      {"~mixer/~", expandTilde("~mixer/~")}};
  for (const auto& [expected, built] : cases) EXPECT_EQ(built, expected);
  unsetenv("HOME");
  EXPECT_EQ(expandTilde("~/x").front(), '/') << "the user database knows the folder";
  EXPECT_EQ(nrCodePoints(mixed), 5U);
  EXPECT_EQ(nrCodePoints("\xC3(\xFF\x80\xE2\x82"), 6U) << "each byte of broken UTF-8 counts";
  for (const char* const broken : {"\xE0\x9F\xBF", "\xED\xA0\x80", "\xC1\xBF"}) // too long, a surrogate
    EXPECT_EQ(wellFormed(broken), std::string(std::string_view(broken).size(), '?'));
  EXPECT_EQ(wellFormed(std::string("\xF4\x90\x80\x80") + mixed), "????" + mixed) << "beyond U+10FFFF";
}

TEST(Text, ReadsLeadingIntegers) {
  // clang-format off
  const std::pair<const char*, int64_t> cases[] = {
      {"7b", 7}, {"b7", 0}, {"", 0}, {" \t-12 x", -12}, {"+5", 5}, {"--5", 0}, {"-", 0},
      {"9223372036854775808", INT64_MAX}, {"-9223372036854775808", INT64_MIN}, {"-99999999999999999999", INT64_MIN}};
  // clang-format on
  for (const auto& [string, value] : cases) EXPECT_EQ(leadingInteger(string), value) << string;
}

} // namespace vurl
