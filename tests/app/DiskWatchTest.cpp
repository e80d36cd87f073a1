#include "app/DiskWatch.h"

#include "tests/support/Test.h"

namespace vurl {

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
