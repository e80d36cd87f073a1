// Header fields byte by byte, and the copying of files.
#include "files/utils.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace vurl {

TEST(Utils, fieldsChain) {
  uint8_t b[68] = {};
  int32_t end = add_uint64_be(b, add_uint64_le(b, 1, 0x8102030405060708), 0x8102030405060708);
  end = add_float64_be(b, add_sint64_be(b, end, -2), 48000.0);
  end = add_uint32_be(b, add_uint32_le(b, end, 0x81020304), 0x81020304);
  end = add_uint8(b, add_uint16_be(b, add_uint16_le(b, end, 0x7FFF8102), -2), 0x181);
  std::fill(b + end, b + 66, 0xCC); // zeros are written, not found
  end = add_fixed_string(b, add_fixed_string(b, end, "ab", 4), "abcdef", 4);
  end = add_string(b, add_string(b, end, "abcde"), "");
  const std::vector<uint8_t> expected{
      0,    8,   7,   6,    5,    4,    3,    2, 0x81, 0x81, 2,   3,   4,   5,   6,   7,    8,    255, 255, 255, 255,
      255,  255, 255, 254,  0x40, 0xE7, 0x70, 0, 0,    0,    0,   0,   4,   3,   2,   0x81, 0x81, 2,   3,   4,   2,
      0x81, 255, 254, 0x81, 'a',  'b',  0,    0, 'a',  'b',  'c', 'd', 'a', 'b', 'c', 'd',  'e',  0,   0,   0xCC};
  EXPECT_EQ(std::vector(b, b + end + 1), expected);
  uint64_t number = 0;
  EXPECT_EQ(get_uint64_le(b, 1, number), 9);
  EXPECT_EQ(number, 0x8102030405060708U);
}

TEST(Utils, aCopyIsWholeOrTellsItsFailedStep) {
  const TemporaryFolder folder;
  const std::string a = folder.file("a"), b = folder.file("b"), none = folder.file("none"), dir = folder.file("");
  writeFile(b, std::string(50000, 'z')); // is replaced, not overwritten in part
  for (const size_t size : {0U, 8191U, 8192U, 8193U, 16384U, 20000U}) {
    std::string bytes;
    while (bytes.size() < size) bytes += static_cast<char>(bytes.size() * 7 / 3);
    writeFile(a, bytes);
    EXPECT_EQ(copy(a.c_str(), b.c_str()), 0);
    EXPECT_TRUE(fileBytes(b) == bytes) << size;
  }
  const std::array<std::string, 3> cases[] = {
      {none, a, "Could not open src for copy " + none + ": No such file or directory"},
      {a, none + "/b", "Could not open dst for copy " + a + ": No such file or directory"},
      {dir, none, "Could not read src for copy " + dir + ": Is a directory"},
      {a, "/dev/full", "Could not write dst for copy " + a + ": No space left on device"}};
  const auto nrOpen = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
  const auto nr_open = nrOpen();
  for (const auto& [from, to, line] : cases) {
    const CapturedLog log;
    EXPECT_EQ(copy(from.c_str(), to.c_str()), -1);
    EXPECT_EQ(log.lines(), std::vector{line});
  }
  EXPECT_EQ(nrOpen(), nr_open) << "nothing left open";
}

} // namespace vurl
