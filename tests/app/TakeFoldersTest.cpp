#include "app/TakeFolders.h"

#include "app/FolderTroubles.h"
#include "app/NextTake.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace vurl {

TEST(TakeFoldersTest, FoldersOnOneDiskShareItsRoom) {
  const UserDefaults defaults;
  MetaData take(defaults);
  take.setSampleRate(48000);
  take.setBitDepth(2);
  take.setFileFormat(MetaData::kBWF);
  take.setNrChannels(2);
  take.setNrFiles(3);
  take.setNrFolders(4);
  for (const auto& [folder, path] : {std::pair{0, "/a"}, {1, "/b"}, {2, "/unused"}, {3, "/a"}})
    take.setPath(path, folder);
  for (const auto& [file, folder] : {std::pair{0, 0}, {1, 1}, {2, 3}}) {
    take.setFolder(folder, file);
    take.setEnable(true, 0, file);
  }
  take.setEnable(true, 1, 1);
  const auto folders = foldersOf(take);
  ASSERT_EQ(folders.size(), 2U);
  EXPECT_TRUE(folders[0].path == "/a" && folders[0].nr_files == 2 && folders[0].byte_rate == 2 * 144000);
  EXPECT_TRUE(folders[1].path == "/b" && folders[1].nr_files == 1 && folders[1].byte_rate == 288000);

  EXPECT_EQ(nextTakeWarning(take), "");
  take.setPath("", 3);
  EXPECT_EQ(nextTakeWarning(take), "File 3 has no folder.");

  const DiskRoom ten_seconds{5760000, 1};
  EXPECT_EQ(secondsLeft(folders, {ten_seconds, ten_seconds}, 0), 10);
  EXPECT_EQ(secondsLeft(folders, {ten_seconds, DiskRoom{5760000, 2}}, 0), 20);
  EXPECT_EQ(secondsLeft(folders, {ten_seconds, std::nullopt}, 1), std::nullopt);
}

TEST(TakeFoldersTest, TellsWhatWillGoWrongOnceAndAgainInEachTakeWhenRoomGetsLow) {
  using enum FolderState;
  constexpr int64_t kGiga = 1'000'000'000, kFat = 0xFFFFFFFF, kMost = INT64_MAX;
  const TakeFolder first{"/a", 2, 1'000'000, "", "", 4000LL << 20, 3}, never{"/a", 2, 1'000'000, "", "", 0, 3},
      late{"/a", 2, 1'000'000, "", "", kFat, 3};
  const TakeFolder mirror{"/b", 1, 1'000'000, "", "", 4000LL << 20, 1}, other{"/b", 1, 1'000'000, "", "", 0, 4};
  const DiskRoom enough{300'000'000, 1};
  const std::optional<DiskRoom> unknown;
  // What the first look says, what the next one in the same take, and what one in the next take.
  const std::tuple<std::vector<TakeFolder>, Rooms, std::string, std::string> cases[] = {
      {{first}, {unknown}, "", ""},
      {{first}, {enough}, "", ""},
      {{first}, {DiskRoom{300'000'000 - 1'000'000, 1}}, "/a: LOW: 4 min 59 s left.", "/a: LOW: 4 min 59 s left."},
      {{first}, {DiskRoom{60'000'000, 1}}, "/a: LOW: 1 min 00 s left.", "/a: LOW: 1 min 00 s left."},
      {{first}, {DiskRoom{59'000'000, 1}}, "/a: ALMOST FULL: only 0 min 59 s", "/a: ALMOST FULL: only 0 min 59 s"},
      {{first}, {DiskRoom{262143, 1}}, "/a: There is no space left.", "/a: ALMOST FULL"},
      {{first}, {DiskRoom{0, 0, missing}}, "/a: The folder is not there.", ""},
      {{first}, {DiskRoom{kGiga, 0, locked}}, "/a: You may not write there.", ""},
      {{first}, {DiskRoom{kGiga, 0, read_only}}, "/a: Its disk is read-only.", ""},
      {{first}, {DiskRoom{kGiga, 1, ready, kFat}}, "", ""},
      {{late}, {DiskRoom{kGiga, 1, ready, kFat}}, "/a: No file there can be larger than 4.2 GB", ""},
      {{never}, {DiskRoom{kGiga, 1, ready, kFat}}, "/a: No file there can be larger than 4.2 GB", ""},
      {{never}, {DiskRoom{kGiga, 1, ready, kMost}}, "", ""},
      {{first, mirror}, {DiskRoom{kGiga, 1}, DiskRoom{kGiga, 2}}, "", ""},
      {{first, mirror}, {DiskRoom{kGiga, 1}, DiskRoom{kGiga, 1}}, "/b: It is on the same disk as /a", ""},
      {{first, other}, {DiskRoom{kGiga, 1}, DiskRoom{kGiga, 1}}, "", ""}};
  for (const auto& [folders, rooms, at_once, in_the_next] : cases) {
    FolderNews news;
    const auto expectNews = [&, &all = folders, &disks = rooms](const std::string& expected) {
      const auto told = news.look(all, disks);
      ASSERT_EQ(told.empty(), expected.empty()) << expected;
      EXPECT_TRUE(told.empty() || told[0].starts_with(expected)) << told[0];
    };
    expectNews(at_once);
    expectNews("");
    news.restart();
    expectNews(in_the_next);
  }
}

TEST(TakeFoldersTest, WhatIsMissingOrAFileHasNoRoomWhateverTheDiskAboveItHas) {
  const TemporaryFolder folder;
  const auto here = diskRoom(folder.path.string());
  ASSERT_TRUE(here && here->folder == FolderState::ready && here->free_bytes > 0);
  writeFile(folder.file("file"), "");
  for (const auto& [name, state] :
       {std::pair{"not/there", FolderState::missing}, {"file/in", FolderState::missing}, {"file", FolderState::file}}) {
    const auto room = diskRoom(folder.file(name));
    ASSERT_TRUE(room && room->folder == state) << name;
    EXPECT_EQ(secondsLeft({TakeFolder{"", 1, 1, "", ""}}, {room}, 0), std::nullopt);
  }
}

} // namespace vurl
