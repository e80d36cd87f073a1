// The I/O thread, the processing thread and the main thread at once: what a user may do at random moments must leave
// every take whole. What the threads do to each other is the thread sanitizer's to see.
#include "tests/app/ControllerRig.h"

namespace vurl {

using namespace std::chrono_literals;

class ThreadsTest : public testing::Test, protected ControllerRig {
protected:
  ThreadsTest() {
    defaults.registerDefaults({{"filename_format", std::string("T%t%C-%c")}, {"pre_record_time", 0}});
    defaults.registerDefaults({{"path_for_folder01", folder.path.string()}, {"nr_folders", 2}, {"nr_channels", 4}});
    for (const char* key : {"increment_take", "new_take_on_rec", "monitoring"}) defaults.setBool(true, key);
    pause = [] { std::this_thread::sleep_for(1ms); };
    generator.setPaced(true);
    generator.setPublished(false);
    generator.setPublished(true);
    run_loop.drain();
    generator.setNominalSampleRate(generator.device(), 192000);
    output_file.startThread(2ms);
    controller.applicationDidFinishLaunching();
  }
  ~ThreadsTest() override {
    controller.applicationWillTerminate();
    output_file.stopThread();
  }

  /// One of the things that a user does, most often the transport's.
  void doAnything(uint64_t what) {
    const auto number = static_cast<int32_t>(what >> 8);
    switch (what % 16) {
    case 0: channel_layout_controler.autoConfiguration(number % 6); break;
    case 1: channel_layout_controler.clicked(number % 7, number % 140); break;
    case 2: channel_layout_controler.choose(CountMenu::channels, 2 + number % 5); break;
    case 3: history.loadHistory(); break;
    case 4: history.print(); break;
    case 5: defaults.setInteger(number % 6, "time_source"); break;
    case 6: history_view.row = number % std::max(history.numberOfRows(), 1); break;
    default: controller.recStopPressed(std::array{REC, REC, REC, STOP, STOP, PLAY, PLAY, ABORT}[what / 16 % 8]);
    }
  }
};

TEST_F(ThreadsTest, LeaveEveryTakeWholeWhateverTheUserDoes) {
  std::mt19937 random(4);
  for (int steps = 0; (view.takes.size() < 50 || view.played.size() < 100) && steps < 50000; ++steps) {
    if (steps % 8 == 0) doAnything(random());
    run_loop.runOnce(1ms);
    controller.updateGUI();
  }
  size_t breaks = 0;
  for (const FinishedTake& take : view.takes) {
    breaks += take.continues ? 1 : 0;
    for (int32_t file = 0; file < take.nr_files; ++file) {
      const std::string path = take.meta_data->filenameForFile(file);
      EXPECT_EQ(static_cast<int64_t>(std::filesystem::file_size(path)), take.meta_data->fileSizeForFile(file)) << path;
    }
  }
  EXPECT_GE(view.takes.size(), 50U);
  EXPECT_GT(breaks, 5U);
  EXPECT_GE(view.played.size(), 100U) << view.played;
}

} // namespace vurl
