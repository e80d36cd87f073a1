#include "views/WaitNotice.h"

#include "app/Leaving.h"
#include "app/PreferencesController.h"
#include "tests/files/BrokenDisk.h"
#include "tests/views/SteppedRecorder.h"
#include "views/MainWindow.h"

#include <QtTest/QTest>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>

namespace vurl {

struct WaitNoticeTest : testing::Test {
  WaitNoticeTest() {
    for (const char* const name : {"one", "two"}) std::filesystem::create_directory(home.file(name));
    for (const char* const key : {"nr_channels", "nr_files", "nr_folders"}) defaults.setInteger(2, key);
    for (const char* const key : {"channel00_in_file000", "channel01_in_file001", "folder_for_file001"})
      defaults.setInteger(1, key);
    defaults.setObject(home.file("one"), "path_for_folder00");
    defaults.setObject(home.file("two"), "path_for_folder01");
    defaults.setObject(home.path.string(), "csv_folder");
    disk.meanwhile = [this](Call call, const std::string& path) {
      while (call == kWrite && path.find("/two/") != std::string::npos && hangs) QTest::qSleep(1);
    };
    notice.setAwaited([this] { return awaited(recorder.output_file); });
    window.show();
    recorder.start();
  }
  /// Samples that the header of a take's file tells of.
  int64_t samplesIn(const char* folder) const {
    MetaData take(defaults);
    for (const auto& entry : std::filesystem::directory_iterator(home.file(folder)))
      if (entry.path().extension() == ".wav") OutputFile::readHeader(entry.path().string(), take);
    return take.nrSamples();
  }
  void press(const char* button) { QTest::mouseClick(notice.findChild<QPushButton*>(button), Qt::LeftButton); }

  TemporaryFolder home;
  CapturedLog log;
  UserDefaults defaults{home.file("settings.plist")};
  UserDefaults memory{home.file("settings.window.plist")};
  PreferencesController preferences{defaults};
  QtRunLoop run_loop;
  HardwareModel model;
  SteppedDevice device{model, "Stepped"};
  MainWindow window{defaults, memory};
  WaitNotice notice{run_loop, std::chrono::milliseconds(200), &window};
  std::atomic<bool> hangs = false; ///< the disk under "two"
  BrokenDisk disk;
  Recorder recorder{defaults, run_loop, model, RecorderViews{window, &window.history()},
                    RecorderMeans{&disk, [this] { device.step(0.1), notice.pause(); }}};
};

TEST_F(WaitNoticeTest, TellsWhichFolderIsWaitedForAndLeavesTheOthersWhole) {
  const auto& engine = recorder.output_file;
  const auto stepUntil = [&](const auto& condition) {
    return QTest::qWaitFor([&] { return device.step(0.1), condition(); }, 20000);
  };
  recorder.controller.startRecording(false);
  ASSERT_TRUE(stepUntil([&] { return engine.nrSamples() > 0; }));
  hangs = true;
  ASSERT_TRUE(stepUntil([&] { return engine.folderAtWork() == home.file("two"); }));

  bool told = false, held_work_ran = false, ran_too_early = false;
  int64_t rescued = 0;
  QTimer user;
  QObject::connect(&user, &QTimer::timeout, [&] {
    if (!notice.isVisible() || told) return;
    told = true;
    run_loop.post([&] { held_work_ran = true; });
    const QString text = notice.findChild<QLabel*>()->text();
    EXPECT_TRUE(text.startsWith(QString::fromStdString("Waiting for " + home.file("two")))) << text.toStdString();
    for (const char* const button : {"leave", "wait", "leave"}) press(button);
    EXPECT_EQ(rescued, 0);
    press("leave");
  });
  QObject::connect(&notice, &WaitNotice::left, [&] {
    ran_too_early = held_work_ran;
    EXPECT_TRUE(recorder.output_file.rescueHeaders(std::chrono::seconds(20)));
    rescued = samplesIn("one");
    EXPECT_EQ(rescued, engine.nrSamples());
    hangs = false; // where the program would be gone
  });
  user.start(10);
  recorder.controller.applicationWillTerminate();
  EXPECT_GT(rescued, 0);
  EXPECT_GT(samplesIn("one"), rescued);
  EXPECT_EQ(samplesIn("two"), samplesIn("one"));
  EXPECT_TRUE(QTest::qWaitFor([&] { return held_work_ran && !notice.isVisible(); }, 20000));
  EXPECT_FALSE(ran_too_early);
}

} // namespace vurl
