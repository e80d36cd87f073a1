#include "platform/Text.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace vurl {
namespace {

TEST(Text, ExpandsTheSystemsOwnDirectives) {
  EXPECT_EQ(text("'%@', %s.", std::string("a b"), "c"), "'a b', c.");
  EXPECT_EQ(text("%qu %i %03i %02hi", uint64_t{18446744073709551615U}, -7, 4, int16_t{9}),
            "18446744073709551615 -7 004 09");
  EXPECT_EQ(text("%x", uint64_t{0x7fff12345678}), "7fff12345678");
  EXPECT_EQ(text("100 %% of %@", "%@"), "100 % of %@");
}

TEST(Text, AFormatThatDoesNotFitComesBackAsItStands) {
  EXPECT_EQ(text("%i and %i", 1), "%i and %i");
  EXPECT_EQ(text("%"), "%");
}

TEST(Text, CutsAtCodePoints) {
  const std::string mixed = "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x8E\xA4z"; // a, ä, euro sign, microphone, z
  EXPECT_EQ(nrCodePoints(mixed), 5U);
  EXPECT_EQ(firstCodePoints(mixed, 3), "a\xC3\xA4\xE2\x82\xAC");
  EXPECT_EQ(firstCodePoints(mixed, 9), mixed);
  EXPECT_EQ(firstBytes(mixed, 9), "a\xC3\xA4\xE2\x82\xAC");
  EXPECT_EQ(firstBytes(mixed, 10), mixed.substr(0, 10));
  EXPECT_EQ(nrCodePoints("\xC3(\xFF\x80\xE2\x82"), 6U) << "each byte of broken UTF-8 counts";
}

TEST(Text, ReadsLeadingIntegers) {
  const struct {
    const char* string;
    int64_t value;
  } cases[] = {{"7b", 7},
               {"b7", 0},
               {"", 0},
               {" \t-12 x", -12},
               {"+5", 5},
               {"--5", 0},
               {"-", 0},
               {"9223372036854775808", INT64_MAX},
               {"-9223372036854775808", INT64_MIN},
               {"-99999999999999999999", INT64_MIN}};
  for (const auto& c : cases) EXPECT_EQ(leadingInteger(c.string), c.value) << c.string;
}

TEST(Text, ExpandsTheHomeFolderOnlyWhereItStandsAlone) {
  const char* const home = std::getenv("HOME");
  const std::string before = home == nullptr ? "" : home;
  setenv("HOME", "/home/mixer", 1);
  EXPECT_EQ(expandTilde("~/Recordings"), "/home/mixer/Recordings");
  EXPECT_EQ(expandTilde("~"), "/home/mixer");
  EXPECT_EQ(expandTilde("~mixer/x"), "~mixer/x");
  EXPECT_EQ(expandTilde("/a/~"), "/a/~");
  unsetenv("HOME");
  EXPECT_EQ(expandTilde("~/x").front(), '/') << "the user database knows the folder";
  if (home != nullptr) setenv("HOME", before.c_str(), 1);
}

} // namespace
} // namespace vurl
