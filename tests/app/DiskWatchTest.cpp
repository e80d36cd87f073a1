#include "app/DiskWatch.h"

#include "app/FolderTroubles.h"
#include "tests/support/Test.h"

namespace vurl {

TEST(DiskWatchTest, TellsOfAFolderWhoseDiskIsGone) {
  const DiskRoom system{1, 1, FolderState::ready, INT64_MAX, true}, card{1, 2}, missing{0, 0, FolderState::missing};
  const std::tuple<std::vector<DiskRoom>, bool> cases[] = {
      {{system}, false},      {{system, missing, system}, false}, {{card, missing}, false},
      {{card, system}, true}, {{card, missing, system}, true},    {{card, system, card}, false}};
  for (const auto& [rooms, is_gone] : cases) {
    size_t asked = 0;
    DiskWatch disks([&, &all = rooms](const std::string&) { return all[asked]; });
    for (; asked < rooms.size(); ++asked) {
      disks.ask({"/card"});
      const auto room = [&] { return disks.answers({"/card"})[0].value_or(DiskRoom{-1, 99}); };
      for (int i = 0; i < 1000 && room().disk != rooms[asked].disk; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
      if (asked + 1 < rooms.size()) continue;
      EXPECT_EQ(room().has_lost_disk, is_gone);
      EXPECT_EQ(flawsOf({TakeFolder{"/card", 1, 1, "", ""}}, {room()}, 0).size(), is_gone ? 1U : 0U);
    }
  }
}

TEST(DiskWatchTest, ADiskThatHangsKeepsNeitherTheCallerNorTheOthersWaiting) {
  const auto hanging = std::make_shared<std::mutex>();
  std::unique_lock hang(*hanging);
  DiskWatch disks([hanging](const std::string& path) -> std::optional<DiskRoom> {
    const auto lock = path == "/gone" ? std::unique_lock(*hanging) : std::unique_lock<std::mutex>();
    return DiskRoom{static_cast<int64_t>(path.size()), 1};
  });
  const std::vector<std::string> paths = {"/gone", "/sound"};
  const auto answered = [&](size_t path) {
    for (int i = 0; i < 1000 && !disks.answers(paths)[path]; ++i) {
      disks.ask(paths);
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return disks.answers(paths)[path].has_value();
  };
  EXPECT_TRUE(answered(1));
  EXPECT_FALSE(disks.answers(paths)[0]);
  hang.unlock();
  EXPECT_TRUE(answered(0));
}

} // namespace vurl
