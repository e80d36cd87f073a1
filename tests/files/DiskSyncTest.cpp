// What is brought to disk, and a disk that fails or hangs.
#include "files/DiskSync.h"

#include "tests/files/EngineRig.h"

#include <condition_variable>

namespace vurl {

/// A disk that notes what it is asked for, and hangs or fails on demand.
struct NotingDisk final : ForwardingDisk {
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::string> calls;
  bool hangs = false;

  int before(Call call, const std::string& path, int, size_t*) override {
    static const std::map<Call, const char*> kNames = {
        {kOpen, "open "}, {kStartWriting, "write "}, {kSync, "sync "}, {kSyncFolder, "sync "}, {kClose, "close "}};
    std::unique_lock lock(mutex);
    calls.push_back(kNames.at(call) + path);
    changed.notify_all();
    changed.wait(lock, [this] { return !hangs; });
    return 0;
  }
  void hang(bool hang) {
    const std::lock_guard lock(mutex);
    hangs = hang;
    changed.notify_all();
  }
  bool has(const std::string& call) {
    std::unique_lock lock(mutex);
    const auto is_there = [&] { return std::find(calls.begin(), calls.end(), call) != calls.end(); };
    return changed.wait_for(lock, std::chrono::seconds(60), is_there);
  }
};

struct DiskSyncTest : OutputFileTest {
  std::shared_ptr<NotingDisk> noting = std::make_shared<NotingDisk>();
  std::string told;
  std::unique_ptr<DiskSync> sync = std::make_unique<DiskSync>(
      noting, [this](const std::string& path, int error) { told += path + ": " + systemError(error) + "\n"; },
      std::chrono::milliseconds(50));
};

TEST_F(DiskSyncTest, aTakeIsWrittenOutWhileItRunsAndSyncedBehindItsEnd) {
  engine.setDiskSync(*sync);
  record(48000);
  for (const auto& call : {"write " + path(), "sync " + path(), "sync " + folder.path.string() + "/"})
    EXPECT_TRUE(noting->has(call)) << call << ", in its middle";
  finish();
  ASSERT_TRUE(sync->wait(std::chrono::seconds(60)));
  const std::vector<std::string> end = {"sync " + path(), "close " + path(), "sync " + folder.path.string() + "/"};
  EXPECT_TRUE(std::search(noting->calls.begin(), noting->calls.end(), end.begin(), end.end()) != noting->calls.end());
  EXPECT_EQ(told, "");
}

TEST_F(DiskSyncTest, aDiskThatHangsHoldsUpNeitherTakesNorTheEnd) {
  engine.setDiskSync(*sync);
  noting->hang(true);
  for (int i = 0; i < 3; ++i) {
    record(48000);
    finish();
    EXPECT_FALSE(engine.reason());
  }
  EXPECT_EQ(takes.size(), 3U);
  EXPECT_FALSE(sync->wait(std::chrono::milliseconds(10)));
  sync.reset();
  EXPECT_TRUE(log.contains("A disk does not answer"));
  noting->hang(false); // the thread that was left behind ends, and tells nobody
  EXPECT_TRUE(noting->has("close " + path()));
}

} // namespace vurl
