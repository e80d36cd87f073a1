// What the program does with command lines, disks and moments that nobody would wish for: its exit code, what it says,
// and what is left on disk.
#include "tests/system/TakeFile.h"

#include <sys/mount.h>

namespace vurl {

TEST(BadInput, IsRefusedWithAReasonAndLeavesNoFile) {
  const Home home;
  const std::string missing = home.file("missing"), file = home.file("x.wav"), folder = home.file("");
  writeFile(file, "a take");
  // clang-format off
  const std::tuple<Words, Words, Words, int> cases[] = { // settings, options, what is told, exit code
      {{}, {"--device", "no such device"}, {"no such device", "Vurl - Test Generator"}, 2},
      {{"bit_deepth=2"}, {}, {"bit_deepth=2", "There is no setting"}, 2},
      {{"bit_depth=deep"}, {}, {"whole number from 1 to 3", "deep"}, 2},
      {{"bit_depth"}, {}, {"KEY=VALUE"}, 2},
      {{}, {"--device", "generator", "--duration", "-1"}, {"--duration"}, 2},
      {{"path_for_folder00=" + missing}, {}, {missing, "No such file or directory"}, 1},
      {{"path_for_folder00=" + file}, {}, {file, "Not a directory"}, 1},
      {{"path_for_folder00=/proc"}, {}, {"Could not open", "/proc/x"}, 1},
      {{"path_for_folder00=" + folder, "count=1"}, {}, {folder, "/x.wav', File exists"}, 1}};
  // clang-format on
  for (const auto& [settings, options, told, exit_code] : cases) {
    SCOPED_TRACE(testing::PrintToString(std::pair(settings, options)));
    Program vurl(home.recording(settings, options.empty() ? Words{"--device", "generator"} : options));
    EXPECT_EQ(vurl.wait(), exit_code);
    expectParts(vurl.errors(), told);
    EXPECT_TRUE(home.takeFiles().empty());
  }
  EXPECT_EQ(fileBytes(file), "a take");
  EXPECT_EQ(home.settings().find("Generator"), std::string::npos) << "a test is no choice to remember";
}

TEST(BadInput, AFullFolderEndsATakeOfAllFoldersAndTheNextOneOnceThereIsRoom) {
  const Home home;
  const std::string small = home.file("small");
  std::filesystem::create_directory(small);
  const bool is_alone = unshare(CLONE_NEWNS) == 0 && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
  if (!is_alone || mount("none", small.c_str(), "tmpfs", 0, "size=500k") != 0)
    GTEST_SKIP() << "a file system of one's own cannot be mounted here: " << systemError(errno);
  const Words settings = {"nr_files=2",           "nr_folders=2",
                          "folder_for_file001=1", "path_for_folder01=" + small,
                          "pre_record_time=0",    "channel00_in_file001=true",
                          "filename_format=x%t"};
  const auto setRoom = [&](const char* room) { mount("none", small.c_str(), "tmpfs", MS_REMOUNT, room); };
  for (const char* const room : {"size=100k", "size=140k", "size=777k"}) {
    SCOPED_TRACE(room);
    setRoom(room);
    Program full(home.recording(settings, {"--device", "generator"}));
    EXPECT_EQ(full.wait(), 1);
    const Take ended = takeOf(full);
    const bool has_header = room != std::string("size=100k");
    EXPECT_EQ(ended["reason"],
              has_header ? "Could not write samples to file, No space left on device." : "Could not write header.");
    setRoom("size=50m");
    const auto next = takesBy(home.recording(settings, {"--device", "generator", "--duration", "0.3"}));
    for (const Take& take : {ended, next.at(0)})
      for (const std::string path : take["files"]) {
        const bool has_whole_header = has_header || take == next[0] || path.find(small) == std::string::npos;
        EXPECT_EQ(has_whole_header ? TakeFile(path).frames : 0, take["samples"].get<int64_t>()) << path;
      }
    for (const auto& entry : std::filesystem::directory_iterator(small)) std::filesystem::remove(entry.path());
  }
  umount2(small.c_str(), MNT_DETACH);
}

TEST(BadInput, SignalsEndTheProgramInGoodOrderAtAnyMoment) {
  // clang-format off
  const std::pair<int, std::vector<int>> cases[] = {
      {0, {SIGTERM}}, {20, {SIGINT}}, {60, {SIGTERM}}, {110, {SIGINT}}, {170, {SIGTERM, SIGINT}}, {330, {SIGTERM}},
      {430, {SIGINT, SIGINT}}, {600, {SIGTERM}}, {800, {SIGHUP}}};
  // clang-format on
  for (const auto& [milliseconds, signals] : cases) {
    SCOPED_TRACE(milliseconds);
    const Home home;
    Program vurl(home.recording({}, {"--device", "generator"}));
    sleepFor(milliseconds);
    for (const int number : signals) {
      vurl.signal(number);
      sleepFor(20);
    }
    const int code = vurl.wait();
    const auto files = home.takeFiles();
    const bool had_not_begun = code == 128 + signals[0] && files.empty();
    EXPECT_TRUE(code == 0 || had_not_begun) << code << vurl.errors();
    EXPECT_EQ(takesOf(vurl).size(), files.size());
    for (const std::string& path : files)
      EXPECT_EQ(std::filesystem::file_size(path), TakeFile::kHeaderSize + TakeFile(path).size);
  }
}

} // namespace vurl
