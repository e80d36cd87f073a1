#include "tests/files/EngineRig.h"

namespace vurl {

constexpr int64_t kFirstPart = 14000, kItsBlocks = 54 * 256;

TEST_F(OutputFileTest, ATakeReachesFromPreRecordToTheLastBlockBeforeTheBorderInOneWidth) {
  device(30000);
  record();
  pass();
  EXPECT_EQ(rig.ring->recordingPosition(), 256 * 68) << "writes down to 12,800 waiting";
  set({{"nr_channels", 0}});
  device(1000);
  finish();
  expectRecorded(0, 31000 / 256 * 256);
  EXPECT_EQ(headerNumber(path(), 56), 1U | 4U << 16U) << "4 tracks of PCM";
  EXPECT_EQ(takes.size(), 1U);
}

TEST_F(OutputFileTest, StampsBelongToTheDayBeforeWhenPreRecordReachesOverMidnight) {
  set({{"time_source", TIME_OF_DAY}, {"pull", 1}}); // all time arithmetic runs at 47,952 samples a second
  const auto setClock = [this](int64_t seconds) {
    rig.now = {seconds, 0, 0};
    rig.ring->parseTODTime();
  };
  device(480000);
  setClock(2);
  record();
  finish();
  EXPECT_EQ(takes.at(0)->timestamp(), uint64_t{47952} * (86400 + 2 - 10));
  EXPECT_EQ(takes[0]->sampleRate(), 47952);
  EXPECT_EQ(takes[0]->originalSampleRate(), 48000);
  set({{"stamp_at_end", 1}});
  record();
  setClock(3600);
  const int64_t moved = 3600 * 47952 - rig.ring->devicePosition();
  finish();
  EXPECT_EQ(takes.at(1)->timestamp(), static_cast<uint64_t>(engine.startPosition() + moved));
}

/// A take of many files gets several blocks at a time.
TEST_F(OutputFileTest, WhatHappensDuringAStepDecidesHowTheTakeEndsWithTheSameBlocksInAllFiles) {
  set({{"pre_record_time", 0}, {"filename_format", "take%t_%f"}});
  for (int i = 0; i < 16 * kChannels; ++i) set({{text("channel%02i_in_file%03i", i % kChannels, i / kChannels), 1}});
  const std::string path = folder.path.string(), is_full = "Could not write samples to file, No space left on device.";
  int writes = 0;
  const auto stop = [this] { engine.stop({}); };
  const auto fill = [&] { disk.room.try_emplace(path, 16 * 3 * 3072 + 1000); };
  const auto fail_once = [&] {
    disk.room.clear();
    if (++writes == 5 || writes == 6) disk.room[path] = writes == 5 ? 1000 : 0;
  };
  // files, samples, event, megabytes, the state then, reason, length
  const std::tuple<int, int64_t, std::function<void()>, int, OutputFile::State, OutputFile::Reason, int64_t> cases[] = {
      {1, kFirstPart, stop, 0, BORDER_RECORDING, {}, kItsBlocks},
      {1, kFirstPart, [this] { engine.stop("abort"); }, 0, BORDER_RECORDING, "abort", kItsBlocks},
      {1, kFirstPart, [this, nr = 0]() mutable { device(++nr == 3 ? 943719 : 0); }, 0, STOPPING_RECORDING,
       "Ring buffer full", 768},
      {1, kFirstPart, [&] { stop(), disk.room.try_emplace(path, 4000); }, 0, STOPPING_RECORDING, is_full, 256},
      {16, kFirstPart, fill, 0, STOPPING_RECORDING, is_full, 3 * 256},
      {16, kFirstPart, stop, 0, BORDER_RECORDING, {}, kItsBlocks},
      {16, 90000, {}, 1, STOPPING_RECORDING, {}, 299 * 256}, // of 3072 bytes, and the header, are a megabyte
      {16, kFirstPart, fail_once, 0, STOPPING_RECORDING, is_full, 5 * 256}};
  for (const auto& [nr_files, samples, event, megabytes, state, reason, length] : cases) {
    set({{"nr_files", nr_files}, {"maximum_file_size", megabytes}});
    takes.clear();
    record();
    device(samples);
    passWith(event);
    EXPECT_EQ(engine.state(), state);
    finish();
    EXPECT_EQ(engine.reason(), reason);
    EXPECT_EQ(engine.reason(), std::nullopt) << "told once";
    EXPECT_EQ(takes.size(), reason ? 0U : 1U);
    for (int file = 1; file <= nr_files; ++file)
      expectRecorded(folder.file(text("take%i_%i.wav", take, file)), engine.startPosition(), length);
  }
}

TEST_F(OutputFileTest, ATakeWithoutChannelsGoesOnUntilItsDeviceStandsStill) {
  set({{"nr_channels", 0}});
  record(kFirstPart);
  engine.stop({});
  for (int i = 0; i < 9; ++i) pass();
  EXPECT_EQ(engine.state(), BORDER_RECORDING);
  for (int i = 0; i < 2; ++i) pass();
  EXPECT_EQ(engine.state(), FINISHED_RECORDING);
  EXPECT_TRUE(log.contains("The take has no channels") && log.contains("The device has stopped delivering"));
  EXPECT_EQ(headerNumber(path(), 80), kItsBlocks);
  EXPECT_EQ(takes.size(), 1U);
}

TEST_F(OutputFileTest, AFailingOpenIsTheTakesReason) {
  const auto nr_open = nrOpen();
  const std::pair<std::function<void()>, const char*> cases[] = {
      {[this] { writeFile(folder.file("take1.wav"), ""); }, "Could not open audio file '%@', File exists."},
      {[this] { std::filesystem::create_symlink(folder.file("elsewhere"), folder.file("take2.wav")); },
       "Could not open audio file '%@', File exists."},
      {[this] { remove_all(folder.path); }, "Could not open audio file '%@', No such file or directory."}};
  for (const auto& [fault, reason] : cases) {
    create_directories(folder.path);
    fault();
    record();
    EXPECT_EQ(engine.state(), FINISHED_RECORDING);
    EXPECT_EQ(engine.reason(), text(reason, path()));
  }
  EXPECT_FALSE(std::filesystem::exists(folder.file("elsewhere")));
  EXPECT_EQ(nrOpen(), nr_open);
  EXPECT_TRUE(takes.empty());
}

TEST_F(OutputFileTest, EveryFileStandsInAFolderOfTheTake) {
  set({{"nr_files", 3}, {"nr_folders", 12}, {"folder_for_file001", 9}, {"folder_for_file002", -5}});
  set({{"channel02_in_file001", 1}, {"path_for_folder07", folder.file("last")}});
  std::filesystem::create_directory(folder.file("last"));
  record(kFirstPart);
  finish();
  const std::pair<const char*, int> files[] = {{"take1-f01.wav", 12}, {"last/take1-f02.wav", 3}, {"take1-f03.wav", 0}};
  for (const auto& [name, frame_size] : files)
    EXPECT_EQ(std::filesystem::file_size(folder.file(name)), kHeaderSize + kItsBlocks * frame_size) << name;
  EXPECT_TRUE(log.contains("File 2 is routed to folder 10") && log.contains("No channel is routed into file 3"));
}

TEST_F(OutputFileTest, ATakeListsWhatHappenedToTheSamplesThatItHolds) {
  using enum Incident::Kind;
  const auto cycle = [this](double sample_time, uint32_t flags, size_t n = 4800) {
    AudioTimeStamp stamp;
    stamp.mSampleTime = sample_time;
    stamp.mFlags = flags | kAudioTimeStampSampleTimeValid | kAudioTimeStampWordClockTimeValid;
    stamp.mWordClockTime = static_cast<uint64_t>(sample_time) + (sample_time > 200000 ? 96000U : 0U);
    rig.feed(Samples(n), stamp);
    pass();
  };
  set({{"time_source", COREAUDIO_WORD_CLOCK}, {"pre_record_time", 1}});
  cycle(0, 0);
  cycle(9000, kAudioTimeStampSamplesLost); // the take will not reach back to this one
  for (int i = 0; i < 9; ++i) cycle(13800 + i * 4800, 0);
  cycle(57500, kAudioTimeStampSamplesLost); // but to this one, at 52800
  const int64_t start = rig.ring->devicePosition() - 48000;
  record();
  EXPECT_EQ(engine.startPosition(), start);
  cycle(62300, kAudioTimeStampOverload);                             // at 57600
  cycle(67100, kAudioTimeStampSamplesLost);                          // at 62400, nobody knows how many
  cycle(1000, kAudioTimeStampSamplesLost | kAudioTimeStampOverload); // at 67200, the same
  cycle(300000, 0);                                                  // at 72000, another count: the time has jumped
  const int64_t jump = 300000 + 96000 - 72000 - (1000 - 67200);
  rig.ring->noteIncident({standstill, 76800, 600});
  pass();
  rig.ring->noteIncident({standstill, 76800, 900});
  cycle(304800, 0);
  for (int i = 0; i < 400; ++i) cycle(309600 + i, kAudioTimeStampOverload, 1);
  cycle(310000, 0);
  finish();
  const IncidentList& list = engine.incidentsOfTake();
  // clang-format off
  const std::vector<Incident> expected = {
      {samples_lost, 52800 - start, 500}, {overload, 57600 - start, 0}, {samples_lost, 62400 - start, 0},
      {samples_lost, 67200 - start, 0}, {time_jump, 67200 - start, 1000 - 67100 - 4800},
      {time_jump, 72000 - start, jump}, {standstill, 76800 - start, 900}};
  // clang-format on
  ASSERT_EQ(list.first.size(), IncidentList::kMostListed);
  EXPECT_TRUE(std::equal(expected.begin(), expected.end(), list.first.begin()));
  EXPECT_EQ(list.counts, (std::array<uint64_t, 4>{3, 401, 2, 1}));
  EXPECT_TRUE(list.size() == 407 && list.unlisted == 0 && list.samples_lost == 500);
  EXPECT_TRUE(log.contains("close movie, 407 incidents: samples lost 3 times (500 known of), 401 overloads"));
  record();
  engine.fileBreak();
  rig.ring->noteIncident({overload, engine.startPosition() + 256, 0}); // between the two pieces
  rig.feed(Samples(kFirstPart));
  for (int i = 0; i < 3; ++i) pass();
  EXPECT_EQ(engine.incidentsOfTake().first, std::vector<Incident>(1, {overload, 256, 0}));
}

TEST_F(OutputFileTest, ATakeThatGoesOnFindsFreeNamesAndANewOneOverwritesNothing) {
  writeFile(folder.file("take1-nr2.wav"), "another's");
  record(kFirstPart);
  engine.fileBreak();
  device(256);
  for (int i = 0; i < 2; ++i) pass();
  ASSERT_TRUE(engine.state() == FINISHED_RECORDING && engine.restart());
  const int64_t first = engine.nrSamples();
  engine.setState(IDLE);
  engine.startWith(true); // the user has switched the counting of takes off
  pass();
  finish();
  expectRecorded(0, first);
  expectRecorded(folder.file("take1-nr3.wav"), first, engine.nrSamples());
  EXPECT_EQ(takes.back()->count(), 3);
  EXPECT_TRUE(log.contains("take1.wav is there already: the take goes on in " + folder.file("take1-nr3.wav")));
  --take;
  record();
  EXPECT_TRUE(engine.state() == FINISHED_RECORDING && engine.reason()->ends_with("take1.wav', File exists."));
  EXPECT_EQ(fileBytes(folder.file("take1-nr2.wav")), "another's");
}

} // namespace vurl
