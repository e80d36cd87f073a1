// What the program does with command lines, disks and moments that nobody would wish for: its exit code, what it says,
// and what is left on disk.
#include "tests/system/TakeFile.h"
#include "tests/system/Workbench.h"

#include <gtest/gtest.h>

namespace vurl {
namespace {

TEST(BadInput, IsRefusedWithAReasonAndLeavesNoFile) {
  const Home home;
  const std::string missing = home.file("missing"), file = home.file("file");
  writeFile(file, "");
  const struct {
    const char* name;
    std::string device;
    Words settings, options;
    int exit_code;
    Words told;
  } cases[] = {
      {"unknown device", "no such device", {}, {}, 2, {"no such device", "Vurl - Test Generator"}},
      {"unknown setting", "generator", {"bit_deepth=2"}, {}, 2, {"bit_deepth=2", "There is no setting"}},
      {"channel that cannot be", "generator", {"input_for_channel64=0"}, {}, 2, {"input_for_channel64"}},
      {"word for a number", "generator", {"bit_depth=deep"}, {}, 2, {"whole number from 1 to 3", "deep"}},
      {"number out of range", "generator", {"bit_depth=4"}, {}, 2, {"whole number from 1 to 3", "4"}},
      {"number for a truth", "generator", {"monitoring=2"}, {}, 2, {"true or false", "2"}},
      {"no value", "generator", {"bit_depth"}, {}, 2, {"KEY=VALUE"}},
      {"no time at all", "generator", {}, {"--duration", "-1"}, 2, {"--duration"}},
      {"unknown option", "generator", {}, {"--fast"}, 2, {"--fast"}},
      {"folder missing", "generator", {"path_for_folder00=" + missing}, {}, 1, {missing, "No such file or directory"}},
      {"folder below a file", "generator", {"path_for_folder00=" + file}, {}, 1, {file, "Not a directory"}},
      {"folder that takes no files", "generator", {"path_for_folder00=/proc"}, {}, 1, {"Could not open", "/proc/x"}},
  };
  for (const auto& [name, device, settings, options, exit_code, told] : cases) {
    SCOPED_TRACE(name);
    Words words = home.recording(device, settings, options);
    if (options.empty()) words.insert(words.end(), {"--duration", "60"});
    Program vurl(words, home.environment());
    EXPECT_EQ(vurl.wait(), exit_code);
    for (const auto& part : told) EXPECT_NE(vurl.errors().find(part), std::string::npos) << vurl.errors();
    EXPECT_TRUE(home.takeFiles().empty());
  }
}

TEST(BadInput, NeverWritesOverATake) {
  const Home home;
  const Words words = home.recording("generator", {"increment_take=false"}, {"--duration", "0.3"});
  ASSERT_EQ(Program(words, home.environment()).wait(), 0);
  const std::string before = fileBytes(home.takes() / "x.wav");
  ASSERT_GT(before.size(), TakeFile::kHeaderSize);
  Program second(words, home.environment());
  EXPECT_EQ(second.wait(), 1);
  EXPECT_NE(second.errors().find("File exists"), std::string::npos) << second.errors();
  EXPECT_EQ(home.takeFiles(), Words{home.takes() / "x.wav"});
  EXPECT_TRUE(before == fileBytes(home.takes() / "x.wav"));
}

TEST(BadInput, FullDiskLeavesTheBlocksThatFit) {
  const Home home;
  constexpr uint64_t kLimit = 1U << 20, kBlock = 256 * 8 * 3;
  const Words limit = {"sh", "-c", "ulimit -f " + std::to_string(kLimit / 512) + R"( && exec "$0" "$@")"};
  Words words = home.recording("generator", {}, {"--duration", "60"});
  words.insert(words.begin(), limit.begin(), limit.end());
  Program vurl(words, home.environment());
  EXPECT_EQ(vurl.wait(), 1);
  EXPECT_NE(vurl.errors().find("File too large"), std::string::npos) << vurl.errors();
  const Take take = takeOf(vurl);
  EXPECT_EQ(take.reason, "Could not write samples to file, File too large.");
  const TakeFile file(take.files[0]);
  EXPECT_EQ(file.samples.size(), (kLimit - TakeFile::kHeaderSize) / kBlock * kBlock);
  EXPECT_NE(printedBy({"sndfile-info", take.files[0]}).find("Frames      : " + std::to_string(file.frames)),
            std::string::npos);
}

TEST(BadInput, SignalsEndTheProgramInGoodOrderAtAnyMoment) {
  const struct {
    int milliseconds;
    std::vector<int> signals;
  } cases[] = {{0, {SIGTERM}},   {20, {SIGINT}},          {60, {SIGTERM}},  {110, {SIGINT}}, {170, {SIGTERM, SIGINT}},
               {330, {SIGTERM}}, {430, {SIGINT, SIGINT}}, {600, {SIGTERM}}, {800, {SIGHUP}}};
  for (const auto& [milliseconds, signals] : cases) {
    SCOPED_TRACE(milliseconds);
    const Home home;
    Program vurl(home.recording("generator", {}), home.environment());
    sleepFor(milliseconds);
    for (const int number : signals) {
      vurl.signal(number);
      sleepFor(20);
    }
    const int code = vurl.wait();
    const auto files = home.takeFiles();
    const bool had_not_begun = code == 128 + signals[0] && files.empty();
    EXPECT_TRUE(code == 0 || had_not_begun) << code << vurl.errors();
    EXPECT_EQ(takesIn(vurl.output()).size(), files.size());
    for (const auto& path : files) {
      const TakeFile file(path);
      EXPECT_EQ(file.bytes.size(), TakeFile::kHeaderSize + file.samples.size());
    }
  }
}

} // namespace
} // namespace vurl
