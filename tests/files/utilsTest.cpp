#include "files/utils.h"

#include "tests/support/Test.h"

namespace vurl {

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
