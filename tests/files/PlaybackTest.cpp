#include "tests/files/EngineRig.h"

#include <bit>

namespace vurl {

/// A device that keeps what its outputs get, moved on in cycles of kCycle samples, of which some go between two passes.
class PlaybackTest : public OutputFileTest {
protected:
  static constexpr uint32_t kCycle = 480;
  static constexpr int64_t kMostUnheard = 1024 + kCycle + OutputFile::kBlockLength;

  /// A take of `samples`, cut to whole blocks; it begins at the ring position `first`.
  const MetaData& recordTake(int64_t samples) {
    record(samples);
    finish();
    first = engine.startPosition();
    engine.setState(IDLE);
    pass();
    cycles(1);
    return *takes.back();
  }
  void cycles(int count) {
    for (; count > 0; --count) {
      const Samples out = rig.cycle(kCycle, {kChannels})[0];
      heard.insert(heard.end(), out.begin(), out.end());
    }
  }
  /// PLAY, and as many passes as it takes.
  void play(const MetaData& record) {
    heard.clear();
    engine.startWith(record);
    for (int passes = 1000; passes > 0 && engine.state() != FINISHED_PLAYBACK; --passes) {
      pass();
      EXPECT_LE(rig.ring->playbackPosition() - rig.ring->recordingPosition(), 943718 + 256);
      cycles(10);
    }
    EXPECT_EQ(engine.state(), FINISHED_PLAYBACK);
  }
  /// What sample `k` of the take must sound like on `channel`.
  float sound(int64_t channel, int64_t k) const {
    const int32_t sample = model24(channel, first + k);
    if (depth == INTEGER16) return static_cast<float>(sample / 256) * 0x1p-15F;
    if (depth == INTEGER24) return static_cast<float>(sample) * 0x1p-23F;
    return std::bit_cast<float>(__builtin_bswap32(std::bit_cast<uint32_t>(static_cast<float>(sample) * 0x1p-23F)));
  }
  /// That, but for the start, `length` samples of the take were heard on the channels in `audible`, and nothing else.
  void expectHeard(int64_t length, std::array<bool, kChannels> audible = {true, true, true, true}) {
    const auto begin = std::ranges::find_if(heard, [](float sample) { return sample != 0; }) - heard.begin();
    EXPECT_TRUE(begin <= kMostUnheard * kChannels || length < kMostUnheard || audible == decltype(audible){});
    Samples expected(std::max(heard.size(), static_cast<size_t>(length * kChannels)));
    for (int64_t i = begin - begin % kChannels; i < length * kChannels; ++i) {
      if (audible[static_cast<size_t>(i % kChannels)])
        expected[static_cast<size_t>(i)] = sound(i % kChannels, i / kChannels);
    }
    EXPECT_TRUE(heard == expected);
  }
  /// That the ring holds live input as far as a take that is started now would reach back.
  void expectLiveHistory() {
    const int64_t from = rig.ring->recordingPosition();
    const auto length = static_cast<uint32_t>(rig.ring->devicePosition() - from);
    for (uint32_t channel = 0; channel < rig.ring->nrChannels(); ++channel) {
      Samples expected;
      for (uint32_t i = 0; i < length; ++i) expected.push_back(model(channel, from + i));
      EXPECT_TRUE(rig.recorded(static_cast<int32_t>(channel), length) == expected) << channel;
    }
  }

  int64_t first = 0;
  int32_t depth = INTEGER24;
  Samples heard; ///< interleaved, from PLAY on
};

TEST_F(PlaybackTest, PlaysEveryFormatAndRoutingInOrderAndKeepsLiveInput) {
  // the file of each channel, the channels in use when the take is played, a file that is missing, what is heard
  using Audible = std::array<bool, kChannels>;
  const std::tuple<int32_t, std::array<int, kChannels>, int, int, Audible> cases[] = {
      {INTEGER24, {0, 0, 0, 0}, 4, -1, {true, true, true, true}},
      {INTEGER16, {0, 0, 1, 2}, 4, 1, {true, true, false, true}},
      {FLOAT32, {0, 1, 0, 1}, 3, -1, {true, true, true, false}},
      {INTEGER24, {0, 0, 0, 0}, 2, -1, {true, true, false, false}},
      {INTEGER24, {0, 0, 0, 0}, 0, -1, {false, false, false, false}}};
  for (const auto& [bit_depth, file_of_channel, nr_channels, missing_file, audible] : cases) {
    depth = bit_depth;
    set({{"bit_depth", depth}, {"nr_files", 3}, {"nr_channels", kChannels}});
    for (int i = 0; i < kChannels * 3; ++i)
      set({{text("channel%02i_in_file%03i", i / 3, i % 3), file_of_channel[static_cast<size_t>(i / 3)] == i % 3}});
    const MetaData& record = recordTake(20000);
    if (missing_file >= 0) std::filesystem::remove(record.filenameForFile(missing_file));
    set({{"nr_channels", nr_channels}});
    play(record);
    EXPECT_EQ(engine.reason(), std::nullopt);
    EXPECT_EQ(engine.nrSamples(), record.nrSamples());
    expectHeard(record.nrSamples(), audible);
    expectLiveHistory();
  }
  EXPECT_TRUE(log.contains("channels beyond the 3 that are in use"));
  EXPECT_TRUE(log.contains("Couldn't find audio file '" + folder.file("take2-f02.wav") + "' to read from."));
}

TEST_F(PlaybackTest, KeepsTheLongestPreRecordForTheTakeThatFollows) {
  const MetaData& record_ = recordTake(400000);
  set({{"pre_record_time", 17}});
  for (int i = 0; i < 30; ++i) device(30000); // with that, the take does not fit into the ring
  cycles(1);
  play(record_);
  expectHeard(record_.nrSamples());
  expectLiveHistory();
  const int64_t end = rig.ring->devicePosition();
  record();
  EXPECT_EQ(engine.startPosition(), end - 17 * 48000);
  finish();
  expectRecorded(engine.startPosition(), (end - engine.startPosition()) / 256 * 256);
}

TEST_F(PlaybackTest, FaultyFilesAndRecordsEndIt) {
  constexpr int64_t kLength = 78 * 256;
  const OutputFile::Reason no_data = "Could not read samples from file, No data available.";
  const auto cut = [this](MetaData&) { std::filesystem::resize_file(path(), kHeaderSize + 5000 * 12); };
  const std::tuple<std::function<void(MetaData&)>, OutputFile::Reason, int64_t> cases[] = {
      {cut, no_data, 19 * 256},
      {[](MetaData& record) { record.setNrSamples(4294967295); }, no_data, kLength},
      {[](MetaData& record) { record.setNrSamples(kLength - 100); }, no_data, kLength},
      {[](MetaData& record) { record.setNrSamples(-5); }, {}, 0},
      {[](MetaData& record) { record.setNrChannels(0); }, {}, 0}};
  set({{"pre_record_time", 0}});
  for (const auto& [spoil, reason, length] : cases) {
    MetaData record = recordTake(20000);
    spoil(record);
    play(record);
    EXPECT_EQ(engine.reason(), reason);
    expectHeard(length);
  }
  EXPECT_TRUE(log.contains("nothing of it will be heard"));
}

TEST_F(PlaybackTest, ADeviceThatStandsStillEndsIt) {
  engine.startWith(recordTake(20000));
  for (int i = 0; i < 101; ++i) pass();
  EXPECT_EQ(engine.state(), BORDER_PLAYBACK);
  for (int i = 0; i < 3; ++i) pass();
  EXPECT_EQ(engine.state(), FINISHED_PLAYBACK);
  EXPECT_EQ(engine.reason(), "The device has stopped delivering.");
}

} // namespace vurl
