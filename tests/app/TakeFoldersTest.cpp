#include "app/TakeFolders.h"

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

TEST(TakeFoldersTest, AFolderThatIsMissingHasNoRoomWhateverTheDiskAboveItHas) {
  const TemporaryFolder folder;
  const auto here = diskRoom(folder.path.string());
  const auto below = diskRoom(folder.file("not/there"));
  ASSERT_TRUE(here && below);
  EXPECT_TRUE(here->folder == FolderState::ready && here->free_bytes > 0 && below->folder == FolderState::missing);
  EXPECT_EQ(secondsLeft({TakeFolder{"", 1, 1, "", ""}}, {below}, 0), std::nullopt);
}

} // namespace vurl
