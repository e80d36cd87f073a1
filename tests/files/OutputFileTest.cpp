#include "files/OutputFile.h"

#include "files/BWFUtils.h"
#include "tests/files/FaultyDisk.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/RingRig.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cstring>

namespace vurl {
namespace {

constexpr int64_t kChannels = 4;

struct Takes final : FinishedTakes {
  std::vector<std::shared_ptr<const MetaData>> list;
  void addMetaData(const std::shared_ptr<const MetaData>& meta_data) override { list.push_back(meta_data); }
};

/// An engine without a thread on a device of plain memory: the test says how samples and passes follow one another.
class OutputFileTest : public testing::Test {
protected:
  OutputFileTest() {
    set("nr_files", 1);
    set("nr_folders", 1);
    set("bit_depth", INTEGER24);
    set("file_format", MetaData::kBWF);
    set("pre_record_time", 10);
    set("time_source", SESSION);
    set("count", 1);
    for (int channel = 0; channel < kChannels; ++channel) set(text("channel%02i_in_file000", channel), 1);
    rig.defaults.setObject(folder.path.string(), "path_for_folder00");
    rig.defaults.setObject(std::string("take%t"), "filename_format");
    rig.defaults.setObject(std::string("1"), "take");
    ring.setSampleRate(48000);
  }

  void set(const std::string& key, int64_t value) { rig.defaults.setInteger(value, key); }
  void device(int64_t samples) {
    for (; samples > 0; samples -= 512) rig.cycle(static_cast<uint32_t>(std::min<int64_t>(samples, 512)), {4});
  }
  void pass(int times = 1) {
    for (; times > 0; --times) engine.processingPass();
  }
  void record() {
    engine.startWith();
    pass();
  }
  /// STOP, and time until the take is finished.
  void finish() {
    engine.stop({});
    for (int i = 0; i < 100 && engine.state() != OutputFile::FINISHED_RECORDING; ++i) {
      device(4800);
      pass();
    }
    ASSERT_EQ(engine.state(), OutputFile::FINISHED_RECORDING);
  }
  std::string path(const std::string& name) const { return folder.file(name); }
  uint32_t headerNumber(const std::string& name, size_t at) const {
    uint32_t number = 0;
    const std::string bytes = fileBytes(path(name));
    EXPECT_GE(bytes.size(), at + 4) << name;
    if (bytes.size() >= at + 4) std::memcpy(&number, bytes.data() + at, 4);
    return number;
  }
  /// That the file holds `samples` frames of the ring from `first` on, and a header that says so.
  void expectRecorded(const std::string& name, int64_t first, int64_t samples, int64_t channels = kChannels) {
    const std::string bytes = fileBytes(path(name));
    ASSERT_GE(static_cast<int64_t>(bytes.size()), kHeaderSize + samples * channels * 3) << name;
    EXPECT_EQ(headerNumber(name, 131068), samples * channels * 3) << name;
    EXPECT_EQ(headerNumber(name, 80), samples) << name;
    for (int64_t i = 0; i < samples * channels; ++i) {
      const auto* sample = reinterpret_cast<const uint8_t*>(bytes.data() + kHeaderSize + 3 * i);
      uint8_t expected[3];
      convertToSample24(expected, 0, model(static_cast<int32_t>(i % channels), first + i / channels));
      ASSERT_EQ(std::memcmp(sample, expected, 3), 0) << name << ", sample " << i;
    }
  }

  TemporaryFolder folder;
  CapturedLog log;
  RingRig rig{kChannels};
  AudioRing& ring = *rig.ring;
  FaultyDisk disk;
  Takes takes;
  OutputFile engine{ring, rig.defaults, disk, &takes, [this] { return rig.now; }};
};

TEST_F(OutputFileTest, ATakeBeginsWithPreRecordAndEndsAtTheLastBlockBeforeTheBorder) {
  device(30000);
  pass();
  record();
  EXPECT_EQ(engine.state(), OutputFile::RUNNING_RECORDING);
  pass();
  EXPECT_EQ(ring.devicePosition() - ring.recordingPosition(), 30000 - 256 * 68) << "writes down to 12,800 waiting";
  device(1000);
  finish();
  const int64_t length = 31000 / 256 * 256;
  EXPECT_EQ(engine.nrSamples(), length);
  EXPECT_EQ(engine.reason(), std::nullopt);
  expectRecorded("take1.wav", 0, length);
  ASSERT_EQ(takes.list.size(), 1U);
  EXPECT_EQ(takes.list[0]->nrSamples(), length);
  EXPECT_EQ(takes.list[0]->timestamp(), 0U);
  EXPECT_EQ(disk.open_files, 0);
}

TEST_F(OutputFileTest, StampsBelongToTheDayBeforeWhenPreRecordReachesOverMidnight) {
  set("time_source", TIME_OF_DAY);
  set("pull", 1); // all time arithmetic runs at 47,952 samples a second
  device(480000);
  rig.now = {2, 0, 0}; // two seconds past midnight
  ring.parseTODTime();
  record();
  finish();
  EXPECT_EQ(takes.list.at(0)->timestamp(), static_cast<uint64_t>(86400LL * 47952 + 2 * 47952 - 47952 * 10));
  EXPECT_EQ(takes.list[0]->sampleRate(), 47952);
  EXPECT_EQ(takes.list[0]->originalSampleRate(), 48000);

  engine.setState(OutputFile::IDLE);
  rig.defaults.setObject(std::string("2"), "take");
  set("stamp_at_end", 1);
  device(100000);
  record();
  const int64_t start = ring.recordingPosition();
  rig.now = {3600, 0, 0};
  ring.parseTODTime();
  const int64_t moved = 3600 * 47952LL - ring.devicePosition();
  finish();
  EXPECT_EQ(takes.list.at(1)->timestamp(), static_cast<uint64_t>(start + moved));
}

TEST_F(OutputFileTest, BreaksJoinWithoutAGap) {
  set("maximum_file_size", 2);
  device(20000);
  record();
  int64_t position = 0;
  for (const char* take : {"1", "2", "3"}) {
    while (engine.state() != OutputFile::FINISHED_RECORDING) {
      device(4800);
      pass();
    }
    EXPECT_TRUE(engine.restart());
    EXPECT_FALSE(engine.restart());
    EXPECT_EQ(engine.reason(), std::nullopt);
    const int64_t length = ((2 << 20) - kHeaderSize + 256 * 12 - 1) / (256 * 12) * 256;
    expectRecorded(text("take%s.wav", take), position, length);
    position += length;
    engine.setState(OutputFile::IDLE);
    rig.defaults.setObject(text("%i", *take - '0' + 1), "take");
    device(4800);
    record();
    EXPECT_EQ(engine.startPosition(), position);
  }
  engine.fileBreak();
  device(14000);
  pass(2);
  EXPECT_EQ(engine.state(), OutputFile::FINISHED_RECORDING);
  EXPECT_TRUE(engine.restart());
  EXPECT_EQ(takes.list.size(), 4U);
}

TEST_F(OutputFileTest, AStalledDiskFillsTheRingAndTheTakeIsClosedWithItsReason) {
  record();
  device(14000);
  int writes = 0;
  disk.while_writing = [&] {
    if (++writes == 3) device(943719);
  };
  pass(2);
  disk.while_writing = {};
  EXPECT_EQ(engine.state(), OutputFile::FINISHED_RECORDING);
  EXPECT_EQ(engine.reason(), "Ring buffer full");
  EXPECT_EQ(engine.reason(), std::nullopt) << "told once";
  EXPECT_TRUE(takes.list.empty());
  expectRecorded("take1.wav", 0, 768);
}

TEST_F(OutputFileTest, StopDuringALongStepIsNotLost) {
  record();
  device(14000);
  int64_t border = 0;
  disk.while_writing = [&] {
    if (border == 0) engine.stop({});
    border = ring.borderPosition();
  };
  pass();
  EXPECT_EQ(engine.state(), OutputFile::BORDER_RECORDING);
  EXPECT_EQ(border, 14000);
  disk.while_writing = {};
  finish();
  EXPECT_EQ(engine.nrSamples(), 14000 / 256 * 256);
}

TEST_F(OutputFileTest, AWriteErrorEndsATakeThatIsBeingStopped) {
  record();
  device(14000);
  disk.while_writing = [&] {
    engine.stop({});
    if (disk.bytes_left > 100) disk.bytes_left = 100; // a short write: the reason is that of writing the rest
  };
  pass();
  disk.while_writing = {};
  disk.bytes_left = INT64_MAX;
  EXPECT_EQ(engine.state(), OutputFile::STOPPING_RECORDING);
  pass();
  EXPECT_EQ(engine.reason(), "Could not write samples to file, No space left on device.");
  expectRecorded("take1.wav", 0, 0);
}

TEST_F(OutputFileTest, ADeviceThatStandsStillDoesNotKeepTheTakeOpen) {
  record();
  device(14000);
  pass();
  engine.stop({});
  pass(9);
  EXPECT_EQ(engine.state(), OutputFile::BORDER_RECORDING);
  pass(2);
  EXPECT_EQ(engine.state(), OutputFile::FINISHED_RECORDING);
  EXPECT_EQ(engine.reason(), std::nullopt);
  EXPECT_TRUE(log.contains("The device has stopped delivering"));
  expectRecorded("take1.wav", 0, 14000 / 256 * 256);
  EXPECT_EQ(takes.list.size(), 1U);
}

TEST_F(OutputFileTest, FailuresAreTheTakesReason) {
  const struct {
    const char* what;
    std::function<void()> fault;
    const char* reason;
  } cases[] = {
      {"a file of that name", [this] { writeFile(path("take1.wav"), "precious"); },
       "Could not open audio file '%@', File exists."},
      {"a folder that is not there", [this] { std::filesystem::remove_all(folder.path); },
       "Could not open audio file '%@', No such file or directory."},
      {"a disk that is full at once", [this] { disk.bytes_left = 1000; }, "Could not write header."},
      {"a file that cannot seek", [this] { disk.seek_error = EIO; }, "Could not seek to start of header."},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    std::filesystem::remove_all(folder.path);
    std::filesystem::create_directories(folder.path);
    c.fault();
    record();
    EXPECT_EQ(engine.state(), OutputFile::FINISHED_RECORDING);
    EXPECT_EQ(engine.reason(), text(c.reason, path("take1.wav")));
    disk.bytes_left = INT64_MAX;
    engine.setState(OutputFile::IDLE);
  }
  EXPECT_TRUE(takes.list.empty());
  EXPECT_EQ(disk.open_files, 1) << "left open by the failed open";
  std::filesystem::create_directories(folder.path);
  std::filesystem::remove(path("take1.wav"));
  record();
  EXPECT_EQ(disk.open_files, 1) << "and closed when the next take starts";
}

TEST_F(OutputFileTest, AFailingCloseIsToldAndTheOtherFilesAreStillCompleted) {
  set("nr_files", 3);
  for (const char* key : {"channel01_in_file001", "channel02_in_file001", "channel03_in_file002"}) set(key, 1);
  record();
  device(14000);
  pass();
  disk.close_error = EIO;
  finish();
  EXPECT_EQ(engine.reason(), "Could not close audio file, Input/output error.");
  EXPECT_EQ(takes.list.size(), 1U) << "a take whose only fault is in the closing is kept";
  EXPECT_EQ(disk.open_files, 0);
  for (const char* name : {"take1-f01.wav", "take1-f02.wav", "take1-f03.wav"}) {
    EXPECT_EQ(headerNumber(name, 80), engine.nrSamples()) << name;
  }
}

TEST_F(OutputFileTest, AbortKeepsTheFilesButNotTheTake) {
  record();
  device(14000);
  pass();
  engine.stop("abort");
  finish();
  EXPECT_EQ(engine.reason(), "abort");
  EXPECT_TRUE(takes.list.empty());
  expectRecorded("take1.wav", 0, 14000 / 256 * 256);
}

TEST_F(OutputFileTest, AFramesWidthStandsFromHeaderToHeader) {
  record();
  device(14000);
  set("nr_channels", 2);
  pass();
  device(14000);
  finish();
  expectRecorded("take1.wav", 0, 28000 / 256 * 256);
  EXPECT_EQ(headerNumber("take1.wav", 56), 1U | 4U << 16U) << "4 tracks of PCM";
  engine.setState(OutputFile::IDLE);
  pass();
  EXPECT_EQ(ring.nrChannels(), 2U);
}

TEST_F(OutputFileTest, RecordsWithoutChannelsAndFilesWithoutTracks) {
  set("nr_files", 2);
  record();
  device(14000);
  finish();
  expectRecorded("take1-f01.wav", 0, engine.nrSamples());
  EXPECT_EQ(fileBytes(path("take1-f02.wav")).size(), static_cast<size_t>(kHeaderSize));
  EXPECT_TRUE(log.contains("No channel is routed into file 2"));
  engine.setState(OutputFile::IDLE);
  rig.defaults.setObject(std::string("2"), "take");
  set("nr_channels", 0);
  pass();
  record();
  device(14000);
  finish();
  EXPECT_GT(engine.nrSamples(), 0);
  EXPECT_TRUE(log.contains("The take has no channels"));
}

TEST_F(OutputFileTest, WhatSettingsAskBeyondTheTakesLimitsGoesWhereTheUserWillFindIt) {
  set("nr_files", 3);
  set("nr_folders", 12);
  rig.defaults.setObject(path("last"), "path_for_folder07");
  std::filesystem::create_directory(path("last"));
  set("folder_for_file001", 9);
  set("folder_for_file002", -5);
  record();
  EXPECT_EQ(engine.state(), OutputFile::RUNNING_RECORDING);
  EXPECT_TRUE(std::filesystem::exists(path("last/take1-f02.wav")));
  EXPECT_TRUE(std::filesystem::exists(path("take1-f03.wav")));
  EXPECT_TRUE(log.contains("File 2 is routed to folder 10"));
}

TEST_F(OutputFileTest, TheThreadRunsAndEnds) {
  engine.startThread(std::chrono::milliseconds(1));
  engine.startWith();
  while (engine.state() != OutputFile::RUNNING_RECORDING) std::this_thread::yield();
  device(20000);
  engine.stop({});
  while (engine.state() != OutputFile::FINISHED_RECORDING) std::this_thread::yield();
  engine.stopThread();
  EXPECT_EQ(engine.state(), OutputFile::GONE);
  expectRecorded("take1.wav", 0, 20000 / 256 * 256);
}

} // namespace
} // namespace vurl
