// Header fields byte by byte, and the copying of files.
#include "files/utils.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace vurl {
namespace {

TEST(Utils, fieldsChain) {
  uint8_t b[68] = {};
  b[66] = 0xEE;
  int32_t end = add_uint64_le(b, 1, 0x8102030405060708);
  end = add_uint64_be(b, end, 0x8102030405060708);
  end = add_sint64_be(b, end, -2);
  end = add_float64_be(b, end, 48000.0);
  end = add_uint32_le(b, end, 0x81020304);
  end = add_uint32_be(b, end, 0x81020304);
  end = add_uint16_le(b, end, 0x7FFF8102);
  end = add_uint16_be(b, end, -2);
  end = add_uint8(b, end, 0x181);
  std::fill(b + end, b + 66, 0xCC); // zeros are written, not found
  end = add_fixed_string(b, end, "ab", 4);
  end = add_fixed_string(b, end, "abcdef", 4);
  end = add_string(b, end, "abcde");
  end = add_string(b, end, "");
  const std::vector<uint8_t> expected{
      0,    8,   7,   6,    5,    4,    3,    2, 0x81, 0x81, 2,   3,   4,   5,   6,   7,    8,    255, 255, 255, 255,
      255,  255, 255, 254,  0x40, 0xE7, 0x70, 0, 0,    0,    0,   0,   4,   3,   2,   0x81, 0x81, 2,   3,   4,   2,
      0x81, 255, 254, 0x81, 'a',  'b',  0,    0, 'a',  'b',  'c', 'd', 'a', 'b', 'c', 'd',  'e',  0,   0,   0xCC};
  EXPECT_EQ(end, 61);
  EXPECT_EQ(std::vector(b, b + 62), expected);

  uint64_t number64 = 0;
  uint32_t number32 = 0;
  uint16_t number16 = 0;
  EXPECT_EQ(get_uint64_le(b, 1, number64), 9);
  EXPECT_EQ(number64, 0x8102030405060708U);
  EXPECT_EQ(get_uint32_le(b, 33, number32), 37);
  EXPECT_EQ(number32, 0x81020304U);
  EXPECT_EQ(get_uint32_be(b, 37, number32), 41);
  EXPECT_EQ(number32, 0x81020304U);
  EXPECT_EQ(get_uint16_le(b, 41, number16), 43);
  EXPECT_EQ(number16, 0x8102U);
}

TEST(Utils, copiesFilesOfEverySizeAboutTheBlock) {
  const TemporaryFolder folder;
  writeFile(folder.file("b"), std::string(50000, 'z')); // is replaced, not overwritten in part
  for (const size_t size : {0U, 8191U, 8192U, 8193U, 16384U, 20000U}) {
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; i++) bytes[i] = static_cast<char>(i * 7 / 3);
    writeFile(folder.file("a"), bytes);
    EXPECT_EQ(copy(folder.file("a").c_str(), folder.file("b").c_str()), 0);
    EXPECT_TRUE(fileBytes(folder.file("b")) == bytes) << size;
  }
}

TEST(Utils, aFailedCopyTellsTheStepAndLeavesNothingOpen) {
  const TemporaryFolder folder;
  const std::string source = folder.file("a");
  const std::string missing = folder.file("missing");
  writeFile(source, std::string(10000, 'a'));
  const struct {
    std::string from, to, line;
  } cases[] = {
      {missing, source, "Could not open src for copy " + missing + ": No such file or directory"},
      {source, missing + "/b", "Could not open dst for copy " + source + ": No such file or directory"},
      {folder.file(""), missing, "Could not read src for copy " + folder.file("") + ": Is a directory"},
      {source, "/dev/full", "Could not write dst for copy " + source + ": No space left on device"},
  };
  const auto nrOpen = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
  for (const auto& each : cases) {
    const CapturedLog log;
    const auto before = nrOpen();
    EXPECT_EQ(copy(each.from.c_str(), each.to.c_str()), -1);
    EXPECT_EQ(log.lines(), std::vector{each.line});
    EXPECT_EQ(nrOpen(), before);
  }
}

} // namespace
} // namespace vurl
