// Every call to the disk of a take and of its playback fails once, in each way that disks have; and disks fill up at
// any moment of a take.
#include "tests/files/EngineRig.h"
#include "tests/support/Bytes.h"

namespace vurl {

/// Takes of two pieces, with a stereo and two mono files in two folders, made as the controller makes them.
struct FaultTest : OutputFileTest {
  FaultTest() {
    set({{"nr_files", 3}, {"nr_folders", 2}, {"folder_for_file001", 1}, {"pre_record_time", 0}});
    for (const char* const name : {"a", "b"}) std::filesystem::create_directory(folder.file(name));
    set({{"path_for_folder00", folder.file("a")}, {"path_for_folder01", folder.file("b")}});
    for (int channel = 0; channel < kChannels; ++channel)
      for (int file = 0; file < 3; ++file)
        set({{text("channel%02i_in_file%03i", channel, file), int{std::max(0, channel - 1) == file}}});
    engine.setDiskSync(sync);
    disk.longest.clear();
  }

  struct Piece {
    OutputFile::Reason reason;
    std::shared_ptr<const MetaData> record;
    int32_t nr_files;
    int64_t first;
  };

  /// Each piece with `blocks` blocks.
  std::vector<Piece> take(int64_t blocks) {
    std::vector<Piece> pieces;
    for (bool continued = false; pieces.empty() || continued;) {
      set({{"take", ++number}});
      engine.startWith(continued);
      pass();
      device(12800 + 256 * (blocks - 2));
      if (continued) engine.stopAt(rig.ring->recordingPosition() + 256 * blocks + 100, {});
      pass();
      engine.fileBreak(); // carried out behind the next block
      device(256);
      for (int i = 0; i < 3; ++i) pass();
      EXPECT_EQ(engine.state(), FINISHED_RECORDING);
      EXPECT_TRUE(sync.wait(std::chrono::seconds(60)));
      continued = engine.restart();
      pieces.push_back({engine.reason(), engine.metaData(), engine.nrOpenedFiles(), engine.startPosition()});
      engine.setState(IDLE);
      pass();
    }
    return pieces;
  }

  /// That each file but the broken one, and those of a broken folder, is complete and tells so.
  void expectComplete(const std::vector<Piece>& pieces) {
    for (const auto& [reason, record, nr_files, first] : pieces)
      for (int32_t file = 0; file < nr_files; ++file) {
        const std::string path = record->filenameForFile(file);
        if (path == disk.broken_file || BrokenDisk::folderOf(path) == disk.broken_folder) continue;
        const std::string bytes = fileBytes(path);
        std::string samples;
        for (int64_t i = first; i < first + record->nrSamples(); ++i)
          for (int channel = file == 0 ? 0 : file + 1; channel < file + 2; ++channel)
            samples += le(static_cast<uint64_t>(model24(channel, i)), 3);
        EXPECT_TRUE(bytes.substr(std::min(bytes.size(), size_t{kHeaderSize})) == samples) << path << bytes.size();
        MetaData back(rig.defaults);
        if (record->fileFormat() == MetaData::kBWF) {
          EXPECT_EQ(OutputFile::readHeader(path, back), file);
          EXPECT_EQ(back.nrSamples(), record->nrSamples());
        } else {
          EXPECT_EQ(bytes.substr(131060, 8), be(samples.empty() ? UINT64_MAX : samples.size(), 8));
        }
      }
  }

  /// That the next take is as good as any, and nothing of this one is left open.
  void expectNextTakeIsGood() {
    disk.mend();
    sync_disk->mend();
    disk.room.clear();
    takes.clear();
    const auto pieces = take(2);
    EXPECT_EQ(pieces.size(), 2U);
    EXPECT_EQ(takes.size(), 2U);
    for (const Piece& piece : pieces) EXPECT_EQ(std::tuple(piece.reason, piece.nr_files), std::tuple(std::nullopt, 3));
    expectComplete(pieces);
    EXPECT_FALSE(disk.hasOpenFiles() || sync_disk->hasOpenFiles());
    EXPECT_EQ(nrOpen(), nr_open);
    for (const char* const name : {"a", "b"})
      for (const auto& entry : std::filesystem::directory_iterator(folder.file(name))) remove(entry.path());
  }

  /// Plays a good take. Returns its reason, and nothing else may go wrong.
  OutputFile::Reason play(const MetaData& record) {
    engine.startWith(record);
    const auto is_over = [this] { return engine.state() == IDLE || engine.state() == FINISHED_PLAYBACK; };
    for (int i = 0; i < 100 && !is_over(); ++i, pass()) device(1000);
    EXPECT_TRUE(is_over());
    engine.setState(IDLE);
    return engine.reason();
  }

  std::shared_ptr<BrokenDisk> sync_disk = std::make_shared<BrokenDisk>();
  std::vector<std::string> unsynced;
  DiskSync sync{sync_disk, [this](const std::string& path, int) { unsynced.push_back(path); }};
  int number = 0;
  decltype(nrOpen()) nr_open = nrOpen();
};

TEST_F(FaultTest, eachCallOfATakeMayFail) {
  const std::map<Call, std::pair<const char*, const char*>> reasons = {
      {kCreate, {"", "Could not open audio file '%@', %@."}},
      {kWrite, {"Could not write header.", "Could not write samples to file, %@."}},
      {kSeek, {"", "Could not seek to start of header."}},
      {kClose, {"", "Could not close audio file, %@."}}};
  const Way ways[] = {Way::fails, Way::takes_the_folder, Way::is_interrupted, Way::does_half, Way::fails_after_half};
  for (const int format : {MetaData::kBWF, MetaData::kCAF})
    for (const auto& [call, told] : reasons)
      for (const Way way : ways) {
        set({{"file_format", format}});
        expectNextTakeIsGood();
        const int nr_calls = call == kWrite || way < Way::is_interrupted ? disk.nr_calls[call] : 0;
        for (int at = 1; at <= nr_calls; ++at) {
          SCOPED_TRACE(text("format %i, call %i, number %i, way %i", format, call, at, static_cast<int>(way)));
          disk.breakCall(call, at, way);
          const auto pieces = take(2);
          ASSERT_NE(disk.broken_file, "");
          const std::string broken_file = disk.broken_file;
          const bool is_fault = way != Way::is_interrupted && way != Way::does_half;
          if (!is_fault || (call == kWrite && !disk.was_header)) disk.broken_file = "";
          expectComplete(pieces);
          const auto bad = std::find_if(pieces.begin(), pieces.end(), [](const auto& piece) { return piece.reason; });
          ASSERT_EQ(bad != pieces.end(), is_fault);
          const char* const error = way == Way::fails_after_half ? "No space left on device" : "Input/output error";
          const std::string reason = disk.was_header   ? text(told.first)
                                     : call == kCreate ? text(told.second, broken_file, error)
                                                       : text(told.second, error);
          const std::string got = is_fault ? *bad->reason : reason;
          const bool has_no_header = way == Way::takes_the_folder && call == kWrite && !disk.was_header;
          EXPECT_EQ(got.substr(0, reason.size()), reason);
          EXPECT_EQ(got.find(" files have got no header: ") == reason.size() + 2, has_no_header) << got;
          EXPECT_TRUE(call != kClose || way != Way::fails || takes.size() == 2 + pieces.size())
              << "what only cannot be closed is kept";
          expectNextTakeIsGood();
        }
      }
}

TEST_F(FaultTest, eachCallOfAPlaybackMayFail) {
  const std::map<Call, OutputFile::Reason> reasons = {{kOpen, {}},
                                                      {kSeek, "Could not seek to end of header."},
                                                      {kRead, "Could not read samples from file, Input/output error."},
                                                      {kClose, "Could not close audio file, Input/output error."}};
  const auto record = take(5).at(0).record;
  for (const auto& [call, reason] : reasons) {
    disk.mend();
    EXPECT_EQ(play(*record), std::nullopt);
    for (int at = 1, nr_calls = disk.nr_calls[call]; at <= nr_calls; ++at)
      for (const Way way : {Way::fails, Way::is_interrupted, Way::does_half}) {
        SCOPED_TRACE(text("call %i, number %i, way %i", call, at, static_cast<int>(way)));
        if (call != kRead && way != Way::fails) continue;
        disk.breakCall(call, at, way);
        EXPECT_EQ(play(*record), way == Way::fails ? reason : std::nullopt);
        disk.mend();
        EXPECT_EQ(play(*record), std::nullopt);
        EXPECT_EQ(nrOpen(), nr_open);
      }
  }
}

TEST_F(FaultTest, eachCallOfASyncMayFail) {
  const std::map<Call, size_t> nr_told = {{kOpen, 0}, {kStartWriting, 0}, {kSync, 1}, {kSyncFolder, 1}, {kClose, 1}};
  for (const auto& [call, nr] : nr_told) {
    expectNextTakeIsGood();
    for (int at = 1, nr_calls = sync_disk->nr_calls[call]; at <= nr_calls; ++at) {
      SCOPED_TRACE(text("call %i, number %i", call, at));
      sync_disk->breakCall(call, at, Way::fails);
      unsynced.clear();
      for (const auto& piece : take(2)) EXPECT_FALSE(piece.reason);
      const bool was_called = !sync_disk->broken_file.empty(); // how often is the disk's own time
      EXPECT_EQ(unsynced, std::vector<std::string>(was_called ? nr : 0, sync_disk->broken_file));
      expectNextTakeIsGood();
    }
  }
}

TEST_F(FaultTest, aDiskMayFillUpAtAnyByte) {
  constexpr int64_t kBlocks = 40;
  constexpr int64_t kSamples = kBlocks * 256 * 3, kPiece = kHeaderSize + kSamples;
  std::mt19937 random(7);
  for (int i = 0; i < 20; ++i) {
    const int64_t piece = i % 2 * kPiece, part = i / 2 % 2;
    const int64_t left = piece + part * kHeaderSize + random() % (part == 0 ? kHeaderSize : kSamples);
    SCOPED_TRACE(text("%qi bytes", left));
    set({{"file_format", i % 3 == 0 ? MetaData::kCAF : MetaData::kBWF}});
    disk.room[folder.file("b")] = left;
    const auto pieces = take(kBlocks);
    EXPECT_EQ(pieces.size(), i % 2 + 1U);
    EXPECT_EQ(pieces.back().reason,
              part == 0 ? "Could not write header." : "Could not write samples to file, No space left on device.");
    if (part == 0) disk.broken_file = pieces.back().record->filenameForFile(1);
    expectComplete(pieces);
    expectNextTakeIsGood();
  }
}

} // namespace vurl
