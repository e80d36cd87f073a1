// The file engine without a thread, on a disk with faults and a device of plain memory.
#pragma once

#include "files/OutputFile.h"
#include "tests/files/BrokenDisk.h"
#include "tests/support/RingRig.h"

namespace vurl {

using enum OutputFile::State;
constexpr int64_t kChannels = 4;

/// An engine without a thread on a device of plain memory: the test says how samples and passes follow one another.
/// The takes that record() starts are called take1, take2 and so on.
class OutputFileTest : public testing::Test, public FinishedTakes {
protected:
  OutputFileTest() {
    set({{"nr_files", 1}, {"nr_folders", 1}, {"bit_depth", INTEGER24}, {"file_format", MetaData::kBWF}, {"count", 1}});
    set({{"path_for_folder00", folder.path.string()}});
    set({{"pre_record_time", 10}, {"time_source", SESSION}, {"filename_format", "take%t"}, {"take", take}});
    for (int channel = 0; channel < kChannels; ++channel) set({{text("channel%02i_in_file000", channel), 1}});
    rig.ring->setSampleRate(48000);
  }

  void set(const SettingMap& settings) {
    for (const auto& [key, value] : settings) rig.defaults.setObject(value, key);
  }
  static auto nrOpen() { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); }
  void addMetaData(const std::shared_ptr<const MetaData>& meta_data) override { takes.push_back(meta_data); }
  void device(int64_t samples) { rig.cycle(static_cast<uint32_t>(samples), {kChannels}); }
  void pass() { engine.processingPass(); }
  /// A pass with an event in each of its writes.
  void passWith(const std::function<void()>& event) {
    disk.meanwhile = [&](Call call, const std::string&) { call == kWrite&& event ? event() : void(); };
    pass();
    disk.meanwhile = [](Call, const std::string&) {};
    disk.room.clear();
  }
  /// REC: the next take, up to its first pass; with samples, the second pass writes what may be written of them.
  void record(int64_t samples = 0) {
    engine.setState(IDLE);
    set({{"take", ++take}});
    engine.startWith();
    pass();
    device(samples);
    if (samples > 0) pass();
  }
  /// Time until the take is finished, by STOP or by itself.
  void finish(bool by_stop = true) {
    if (by_stop) engine.stop({});
    for (int i = 0; i < 100 && engine.state() != FINISHED_RECORDING; ++i, pass()) device(4800);
    ASSERT_EQ(engine.state(), FINISHED_RECORDING);
  }

  std::string path() const { return folder.file(text("take%i.wav", take)); }
  static uint32_t headerNumber(const std::string& path, size_t at) {
    uint32_t number = 0;
    fileBytes(path).copy(reinterpret_cast<char*>(&number), 4, at);
    return number;
  }
  /// That the last take holds `samples` frames of the ring from `first` on, and a header that says so.
  void expectRecorded(int64_t first, int64_t samples) { expectRecorded(path(), first, samples); }
  static void expectRecorded(const std::string& path, int64_t first, int64_t samples) {
    std::string expected;
    for (int64_t i = 0; i < samples * kChannels; ++i) {
      const int32_t sample = model24(i % kChannels, first + i / kChannels);
      expected.append(reinterpret_cast<const char*>(&sample), 3);
    }
    EXPECT_EQ(headerNumber(path, 80), samples);
    EXPECT_EQ(headerNumber(path, 131068), expected.size());
    EXPECT_TRUE(fileBytes(path).substr(kHeaderSize, expected.size()) == expected);
  }

  TemporaryFolder folder;
  CapturedLog log;
  RingRig rig{kChannels};
  BrokenDisk disk;
  std::vector<std::shared_ptr<const MetaData>> takes;
  int take = 0;
  OutputFile engine{*rig.ring, rig.defaults, disk, this, [this] { return rig.now; }};
};

} // namespace vurl
