// Takes whose program died: which files are completed and how, and a death in the middle of that.
#include "files/Salvage.h"

#include "files/BWFUtils.h"
#include "files/FileLayer.h"
#include "files/HeaderChunks.h"
#include "files/HeaderJournal.h"
#include "metadata/RateTexts.h"
#include "tests/files/HeaderRig.h"

#include <sys/fsuid.h>
#include <sys/stat.h>

#include <fcntl.h>
#include <unistd.h>

namespace vurl {

using Outcome = Salvage::Outcome;

struct SalvageTest : HeaderTest {
  SalvageTest() { take.setNrSamples(0); }

  std::string header(int64_t nr_samples) {
    MetaData at_the_end = take;
    at_the_end.setNrSamples(nr_samples);
    return take.fileFormat() == MetaData::kCAF ? cafHeaderOf(at_the_end) : headerOf(at_the_end);
  }

  /// What the killed program leaves of file 1 of the take.
  std::string cutFile(int64_t nr_frames, size_t stray = 0) {
    std::string samples(static_cast<size_t>(nr_frames * take.blockAlignForFile(1)) + stray, '\0');
    for (size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<char>(i * 7 + 1);
    return header(0) + samples;
  }

  /// The document without its spare blanks, and all around it.
  static std::pair<std::string, std::string> parts(const std::string& bytes) {
    const size_t begin = bytes.find("<?xml");
    const size_t end = bytes.find("</BWFXML>");
    return {bytes.substr(begin, end - begin), bytes.substr(0, begin - 16) + bytes.substr(kHeaderSize - 16)};
  }

  Outcome salvage(bool dry_run = false) { return (told = salvageFile(path, defaults, dry_run)).outcome; }

  TemporaryFolder folder;
  std::string path = folder.file("x.wav");
  MetaData take = sampleTake();
  Salvage told;
};

TEST_F(SalvageTest, aHeaderTellsOfAllWholeFramesBehindIt) {
  const auto long_ago = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1000);
  for (const int32_t format : {MetaData::kBWF, MetaData::kCAF})
    for (const int32_t depth : {INTEGER16, INTEGER24, FLOAT32})
      for (const auto& [frames, stray] : {std::pair<int64_t, size_t>{256, 0}, {1, 1}, {100000, 1}, {2560, 0}}) {
        take.setFileFormat(format);
        take.setBitDepth(depth);
        const std::string cut = cutFile(frames, stray);
        writeFile(path, cut);
        last_write_time(std::filesystem::path(path), long_ago);
        ASSERT_EQ(salvage(true), Outcome::cut);
        ASSERT_EQ(fileBytes(path), cut);
        ASSERT_EQ(salvage(), Outcome::completed) << told.reason;
        const std::string whole = fileBytes(path);
        EXPECT_EQ(parts(whole), parts(header(frames) + cut.substr(kHeaderSize, cut.size() - kHeaderSize - stray)));
        EXPECT_EQ(std::tuple(told.nr_frames, told.sample_rate, told.take_reference, told.lost_bytes),
                  std::tuple(frames, take.sampleRate(), take.bwfOriginatorReferenceForFile(-1), int64_t(stray)));
        std::string fault;
        EXPECT_TRUE(chunksOfFile(path, fault) && fault.empty()) << fault;
        EXPECT_EQ(std::filesystem::last_write_time(path), long_ago);
        EXPECT_EQ(salvage(), Outcome::none);
        EXPECT_EQ(fileBytes(path), whole);
      }
}

TEST_F(SalvageTest, durationsFollowTheDocumentsRateAndStayOutOfTheUsersTexts) {
  for (const auto& rate : kRateTexts) {
    take.setFrameRate(static_cast<int32_t>(rate.frame_rate));
    take.setNote("a & <b\n\t<SPEED>\n<DURATION_SAMPLES>0</DURATION_SAMPLES>");
    writeFile(path, cutFile(123456));
    ASSERT_EQ(salvage(), Outcome::completed);
    EXPECT_EQ(parts(fileBytes(path)).first, parts(header(123456)).first) << rate.token;
  }
}

TEST_F(SalvageTest, aLargeFileBecomesRF64) {
  writeFile(path, cutFile(1));
  const int64_t frames = 4294000000 / take.blockAlignForFile(1);
  const int64_t size = kHeaderSize + frames * take.blockAlignForFile(1);
  std::filesystem::resize_file(path, static_cast<uintmax_t>(size)); // takes no room on disk
  ASSERT_EQ(salvage(), Outcome::completed);
  std::string block(kHeaderSize, '\0');
  EXPECT_TRUE(std::ifstream(path, std::ios::binary).read(block.data(), kHeaderSize));
  EXPECT_EQ(parts(block), parts(header(frames)));
  EXPECT_EQ(block.substr(0, 4), "RF64");
  EXPECT_EQ(salvage(), Outcome::none);
  { // as others write such a header, with a chunk of theirs behind
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(kHeaderSize - 4) << "\xFF\xFF\xFF\xFF";
    file.seekp(size) << "LIST" + std::string(1000, '\0');
  }
  EXPECT_EQ(salvage(), Outcome::none);
}

TEST_F(SalvageTest, aLastHeaderThatCameToDiskInPartLeadsToTheSamples) {
  constexpr size_t kPage = 4096, kLast = kHeaderSize - kPage;
  const int64_t large = 4294000000 / take.blockAlignForFile(1);
  for (const auto& [format, frames] :
       {std::pair{MetaData::kBWF, int64_t{144384}}, {MetaData::kBWF, large}, {MetaData::kCAF, int64_t{144384}}})
    for (const auto& [before, behind] : {std::pair{0, 0}, {0, 5000}, {5000, 0}, {3100, 3101}}) { // bytes of the note
      take.setFileFormat(format);
      take.setNote(std::string(static_cast<size_t>(before), 'n'));
      const std::string first = header(0);
      take.setNote(std::string(static_cast<size_t>(behind), 'n'));
      const std::string last = header(frames);
      const int64_t samples = frames * take.blockAlignForFile(1);
      std::set<std::string> tried{last};
      for (size_t at = kPage; at <= kLast; at += kPage)
        for (const std::string& torn : {last.substr(0, at) + first.substr(at), first.substr(0, at) + last.substr(at),
                                        last.substr(0, at) + first.substr(at, kLast - at) + last.substr(kLast)}) {
          if (!tried.insert(torn).second) continue;
          writeFile(path, torn);
          ASSERT_EQ(truncate(path.c_str(), kHeaderSize + samples), 0);
          salvage(); // none is left when the filler alone is torn
          std::string fault;
          const auto chunks = chunksOfFile(path, fault);
          ASSERT_TRUE(chunks && fault.empty()) << fault << " at " << at;
          EXPECT_EQ(chunks->back().identifier + std::to_string(chunks->back().size), "data" + std::to_string(samples));
          EXPECT_EQ(salvage(), Outcome::none);
        }
    }
}

TEST_F(SalvageTest, othersFilesAndCompleteOnesStayAsTheyAre) {
  std::string foreign = cutFile(256);
  foreign.replace(foreign.find("Vurl Recorder"), 4, "Some");
  std::string torn = header(256) + cutFile(256).substr(kHeaderSize);
  torn[torn.find("iXML") + 4] ^= '\4'; // its document does not end where its filler begins
  for (const std::string& bytes :
       {foreign, torn + "LIST", header(0), header(256) + cutFile(256).substr(kHeaderSize), std::string("RIFF"),
        std::string(200000, '\0'), cutFile(256).substr(0, kHeaderSize + 1)}) {
    writeFile(path, bytes);
    EXPECT_EQ(salvage(), Outcome::none);
    EXPECT_EQ(fileBytes(path), bytes);
  }
  writeFile(folder.file("target.wav"), cutFile(256));
  std::filesystem::remove(path);
  std::filesystem::create_symlink(folder.file("target.wav"), path);
  EXPECT_EQ(salvage(), Outcome::none);
  EXPECT_EQ(fileBytes(path), cutFile(256));
}

TEST_F(SalvageTest, aTakeThatIsBeingRecordedIsLeftAlone) {
  PosixFileLayer layer;
  const int descriptor = layer.createExclusive(path);
  const std::string bytes = cutFile(256);
  ASSERT_EQ(writeAll(layer, descriptor, reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()), 0);
  EXPECT_EQ(salvage(), Outcome::in_use);
  EXPECT_EQ(fileBytes(path), bytes);
  EXPECT_EQ(layer.close(descriptor), 0);
  EXPECT_EQ(salvage(), Outcome::completed);
}

TEST_F(SalvageTest, withoutLocksTheDateTells) {
  const std::time_t now = std::time(nullptr);
  writeFile(path, cutFile(256));
  chmod(folder.path.c_str(), 0755);
  for (const auto& [mode, date, frames, outcome] : {std::tuple{0444, now - 5, 0, Outcome::in_use}, // no lock to read
                                                    {0444, now + 5, 0, Outcome::in_use},
                                                    {0444, now - 90, 256, Outcome::failed},
                                                    {0444, now + 3600, 256, Outcome::failed},
                                                    {0, now - 90, 0, Outcome::failed}}) {
    const timespec times[2] = {{date, 0}, {date, 0}};
    utimensat(AT_FDCWD, path.c_str(), times, 0);
    chmod(path.c_str(), static_cast<mode_t>(mode));
    const int user = setfsuid(65534);
    EXPECT_EQ(salvage(), outcome) << date - now;
    setfsuid(static_cast<uid_t>(user));
    EXPECT_EQ(std::pair(told.nr_frames, told.reason),
              std::pair(int64_t{frames}, outcome == Outcome::failed ? "Permission denied" : std::string()));
  }
}

TEST_F(SalvageTest, aTakeThatGrowsWithoutALockKeepsItsSamples) {
  std::string expected = cutFile(256).substr(kHeaderSize);
  writeFile(path, cutFile(256));
  std::atomic<bool> ends = false;
  std::thread recorder([&] {
    const std::string frames(static_cast<size_t>(256 * take.blockAlignForFile(1)), 'x');
    for (std::ofstream file(path, std::ios::app); !ends; expected += frames) {
      file << frames << std::flush;
      std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
  });
  for (int round = 0; round < 10; ++round) salvage();
  ends = true;
  recorder.join();
  EXPECT_TRUE(fileBytes(path).substr(kHeaderSize) == expected);
}

TEST_F(SalvageTest, aDeathDuringTheRepairIsMended) {
  const std::string cut = cutFile(256, 1);
  writeFile(path, cut);
  ASSERT_EQ(salvage(), Outcome::completed);
  const std::string whole = fileBytes(path);
  const auto block = [](const std::string& bytes) {
    return std::vector<uint8_t>(bytes.begin(), bytes.begin() + kHeaderSize);
  };
  const HeaderJournal journal(path);
  const HeaderJournal::Entry entry{block(cut), block(whole), static_cast<int64_t>(whole.size())};
  const std::string journal_path = folder.file(".x.wav.repair");
  const auto expectSalvaged = [&](const auto& noted, const std::string& left, Outcome outcome, const std::string& then,
                                  size_t journal_size = SIZE_MAX) {
    ASSERT_EQ(journal.write(noted), 0);
    writeFile(journal_path, fileBytes(journal_path).substr(0, journal_size));
    writeFile(path, left);
    EXPECT_EQ(salvage(), outcome);
    EXPECT_EQ(fileBytes(path), then);
    EXPECT_FALSE(std::filesystem::exists(journal_path));
  };
  std::mt19937 random(1);
  for (int round = 0; round < 40; ++round) {
    std::string torn = cut; // some sectors have come to disk, in any order
    for (size_t i = 0; i < size_t{kHeaderSize}; i += 512)
      if (random() % 2 == 0) torn.replace(i, 512, whole, i, 512);
    if (round % 2 == 0) torn.resize(whole.size()); // the part of a frame goes first
    expectSalvaged(entry, torn, Outcome::completed, whole);
  }
  // A journal that was cut short itself: the header was not touched yet.
  expectSalvaged(entry, cut, Outcome::completed, whole, 200000);
  // One that lies about the file's length.
  const HeaderJournal::Entry lie{block(cut), block(whole), kHeaderSize + take.blockAlignForFile(1)};
  expectSalvaged(lie, whole, Outcome::none, whole);
  // One that was left behind, and somebody has changed the file since.
  const std::string changed = std::string(whole).replace(whole.find("Film"), 4, "Farm");
  expectSalvaged(entry, changed, Outcome::none, changed);
  // Another file of its name.
  for (const auto& [bytes, outcome] : {std::pair{whole, Outcome::none}, {cut, Outcome::failed}}) {
    writeFile(journal_path, "VURL and a list");
    writeFile(path, bytes);
    EXPECT_EQ(salvage(), outcome);
    EXPECT_EQ(fileBytes(path) + fileBytes(journal_path), bytes + "VURL and a list");
  }
}

} // namespace vurl
