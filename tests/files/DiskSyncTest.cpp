// What is brought to disk, and a disk that fails or hangs.
#include "files/DiskSync.h"

#include "tests/files/EngineRig.h"

namespace vurl {

using namespace std::chrono_literals;

/// On a disk that notes what it is asked for, and hangs on demand.
struct DiskSyncTest : OutputFileTest {
  DiskSyncTest() {
    sync_disk->meanwhile = [notes = notes](Call call, const std::string& path) { // outlives the test where it hangs
      const std::lock_guard lock(notes->hanging);
      notes->calls.emplace_back(call, path);
    };
  }
  bool has(Call call, const std::string& path) {
    const auto is_there = [&] {
      const std::lock_guard lock(notes->hanging);
      return std::ranges::count(notes->calls, std::pair(call, path)) > 0;
    };
    for (int patience = 60000; !is_there() && patience > 0; --patience) std::this_thread::sleep_for(1ms);
    return is_there();
  }

  struct Notes {
    std::mutex hanging;
    std::vector<std::pair<Call, std::string>> calls;
  };
  std::shared_ptr<Notes> notes = std::make_shared<Notes>();
  std::shared_ptr<BrokenDisk> sync_disk = std::make_shared<BrokenDisk>();
  std::string told;
  std::unique_ptr<DiskSync> sync = std::make_unique<DiskSync>(
      sync_disk, [this](const std::string& path, int error) { told += path + ": " + systemError(error) + "\n"; }, 50ms);
};

TEST_F(DiskSyncTest, aTakeIsWrittenOutWhileItRunsAndSyncedBehindItsEnd) {
  engine.setDiskSync(*sync);
  record(48000);
  const std::string its_folder = folder.path.string() + "/";
  for (const auto& [call, of] : {std::pair{kStartWriting, path()}, {kSync, path()}, {kSyncFolder, its_folder}})
    EXPECT_TRUE(has(call, of)) << call << ", in its middle";
  finish();
  ASSERT_TRUE(sync->wait(60s));
  const auto& calls = notes->calls;
  const std::vector<std::pair<Call, std::string>> end = {{kSync, path()}, {kClose, path()}, {kSyncFolder, its_folder}};
  EXPECT_TRUE(std::search(calls.begin(), calls.end(), end.begin(), end.end()) != calls.end());
  EXPECT_EQ(told, "");
}

TEST_F(DiskSyncTest, aDiskThatHangsHoldsUpNeitherTakesNorTheEnd) {
  engine.setDiskSync(*sync);
  std::unique_lock hang(notes->hanging);
  for (int i = 0; i < 3; ++i) {
    record(48000);
    finish();
    EXPECT_FALSE(engine.reason());
  }
  EXPECT_EQ(takes.size(), 3U);
  EXPECT_FALSE(sync->wait(10ms));
  sync.reset();
  EXPECT_TRUE(log.contains("A disk does not answer"));
  hang.unlock(); // the thread that was left behind ends, and tells nobody
  EXPECT_TRUE(has(kClose, path()));
}

} // namespace vurl
