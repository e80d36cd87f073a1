// What the refresh timer does by itself: recording that follows the timecode's lock, and the levels.
#include "tests/app/ControllerRig.h"

namespace vurl {

using enum OutputFile::State;

class FollowLockTest : public testing::Test, protected ControllerRig {
protected:
  FollowLockTest() {
    setLock(false);
    defaults.setBool(true, "auto_start");
  }
  /// The test generator keeps its clock to itself, the session's is always there.
  void setLock(bool locked) { defaults.setInteger(locked ? SESSION : COREAUDIO_SMPTE, "time_source"); }
};

TEST_F(FollowLockTest, RecordsWhileThereIsOneAndNeverBreaksTheTake) {
  defaults.setBool(true, "new_take_on_rec");
  for (const size_t takes : {0U, 1U}) {
    time(10);
    EXPECT_EQ(output_file.state(), IDLE);
    EXPECT_FALSE(view.is_locked);
    setLock(true);
    time(30);
    EXPECT_TRUE(view.is_locked);
    EXPECT_NEAR(view.levels[7].first, -20, 0.05) << "the generator's tones have a tenth of full scale";
    EXPECT_LT(view.levels[63].second, -1000) << "silence";
    EXPECT_EQ(output_file.state(), RUNNING_RECORDING);
    EXPECT_EQ(view.takes.size(), takes);
    setLock(false);
    time(20);
    ASSERT_EQ(view.takes.size(), takes + 1);
    EXPECT_FALSE(view.takes.back().reason);
    EXPECT_GT(view.takes.back().meta_data->nrSamples(), 28 * 19 * 256);
  }
  EXPECT_EQ(defaults.stringForKey("take"), "3");
  setLock(true);
  defaults.setBool(false, "show_generator");
  time(10);
  EXPECT_EQ(output_file.state(), IDLE) << "nothing to record from";
}

TEST_F(FollowLockTest, ATakeThatCannotBeMadeIsToldOnceAndTriedEverMoreSeldom) {
  setLock(true);
  const std::string later = folder.file("later");
  defaults.setObject(later, "path_for_folder00");
  time(200);
  EXPECT_EQ(view.takes.size(), 5U) << "0, 1, 3, 7 and 15 seconds after the first";
  EXPECT_NE(view.alerts.find("T1.wav"), std::string::npos);
  EXPECT_EQ(view.alerts.find("T1-2-nr2.wav"), std::string::npos);
  std::filesystem::create_directory(later);
  setLock(false);
  time(4);
  setLock(true);
  time(6);
  EXPECT_EQ(output_file.state(), RUNNING_RECORDING) << "a new lock is a new beginning";
  controller.processorOverload();
  time(8);
  EXPECT_EQ(output_file.state(), IDLE);
  EXPECT_TRUE(view.alerts.ends_with("Playback aborted. The processor was overloaded during recording.")) << view.alerts;
  for (int overload = 0; overload < 5; ++overload) {
    time(50);
    EXPECT_EQ(output_file.state(), RUNNING_RECORDING) << "what it lost in a second the pre-record time brings back";
    controller.processorOverload();
  }
  const auto before = defaults.all();
  controller.applicationWillTerminate();
  EXPECT_EQ(output_file.state(), IDLE);
  EXPECT_TRUE(defaults.all() == before) << "the user has not ended it: no counter moves";
}

} // namespace vurl
