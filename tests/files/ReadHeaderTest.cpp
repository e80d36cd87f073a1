// Take files read back from disk: what a record is worth after a round trip, and what is no take file.
#include "files/BWFUtils.h"
#include "files/HeaderChunks.h"
#include "files/OutputFile.h"
#include "tests/metadata/SampleTake.h"
#include "tests/support/Bytes.h"
#include "tests/support/CapturedLog.h"

#include <sys/stat.h>

namespace vurl {

struct ReadHeaderTest : SampleTake {
  static std::string headerOf(const MetaData& take, int32_t file) {
    std::string block(kHeaderSize, '#');
    add_bwf(reinterpret_cast<uint8_t*>(block.data()), 0, take, file);
    return block;
  }

  /// Which file of its take the one is that holds `bytes`; what it tells is in `back`.
  int32_t read(const std::string& bytes) {
    writeFile(path, bytes);
    back = MetaData(defaults);
    return OutputFile::readHeader(path, back);
  }

  TemporaryFolder folder;
  std::string path = folder.file("x.wav");
  MetaData back{defaults};
};

TEST_F(ReadHeaderTest, whatARoundTripKeepsAndWhatNot) {
  using Record = const MetaData&;
  using Told = std::function<std::string(Record, int32_t file)>;
  const auto number = [](auto value) { return std::to_string(value); };
  const std::string same = "same", rate_of_its_own = "rate";
  // clang-format off
  const std::tuple<const char*, std::string, Told> fields[] = { // field, what is read back, where it is told
      {"project", same, [](Record r, int32_t) { return r.project(); }},
      {"scene", same, [](Record r, int32_t) { return r.scene(); }},
      {"slate", same, [](Record r, int32_t) { return r.slate(); }},
      {"take", same, [](Record r, int32_t) { return r.take(); }},
      {"roll", same, [](Record r, int32_t) { return r.roll(); }},
      {"note", same, [](Record r, int32_t) { return r.note(); }},
      {"contact", same, [](Record r, int32_t) { return r.contactInfo(); }},
      {"session note", same, [](Record r, int32_t) { return r.sessionNote(); }},
      {"count", same, [&](Record r, int32_t) { return number(r.count()); }},
      {"files", same, [&](Record r, int32_t) { return number(r.nrFiles()); }},
      {"format", same, [&](Record r, int32_t) { return number(r.fileFormat()); }},
      {"bit depth", same, [&](Record r, int32_t) { return number(r.bitDepth()); }},
      {"rate", same, [&](Record r, int32_t) { return number(r.sampleRate()); }},
      {"device's rate", same, [&](Record r, int32_t) { return number(r.originalSampleRate()); }},
      {"timestamp", same, [&](Record r, int32_t) { return number(r.timestamp()); }},
      {"samples", same, [&](Record r, int32_t) { return number(r.nrSamples()); }},
      {"sample offset", same, [&](Record r, int32_t) { return number(r.sampleOffset()); }},
      {"origination", same, [&](Record r, int32_t) { return number(r.originationDate()); }},
      {"reference of the take", same, [](Record r, int32_t) { return r.bwfOriginatorReferenceForFile(-1); }},
      {"channels in the file", same, [&](Record r, int32_t file) { return number(r.channelMaskForFile(file)); }},
      {"size of the file", same, [&](Record r, int32_t file) { return number(r.fileSizeForFile(file)); }},
      {"frame rate", rate_of_its_own, [&](Record r, int32_t) { return number(r.frameRate()); }},
      {"name", path, [](Record r, int32_t file) { return r.filenameForFile(file); }},
      {"channels", "64", [&](Record r, int32_t) { return number(r.nrChannels()); }},
      {"name of a channel", "", [](Record r, int32_t) { return r.nameForChannel(5); }},
      {"folders", "0", [&](Record r, int32_t) { return number(r.nrFolders()); }},
      {"path of a folder", "", [](Record r, int32_t) { return r.pathForFolder(0); }}};
  // clang-format on
  const std::pair<int32_t, const char*> rates[] = {{0, "0"}, {1, "1"}, {2, "2"}, {3, "3"},    {4, "4"},
                                                   {5, "5"}, {6, "0"}, {7, "0"}, {123, "123"}}; // read back as
  for (const int32_t nr_files : {1, 3}) {
    MetaData take = sampleTake();
    take.setProject("Film + (Söhne)"); // as a document allows it
    take.setNrFiles(nr_files);
    for (const int32_t channel : {0, 7}) take.setEnable(true, channel, 0);
    for (const auto& [rate, rate_read] : rates) {
      take.setFrameRate(rate);
      for (int32_t file = 0; file < nr_files; ++file) {
        SCOPED_TRACE(text("frame rate %i, file %i of %i", rate, file + 1, nr_files));
        EXPECT_EQ(read(headerOf(take, file)), file);
        for (const auto& [name, expected, told] : fields) {
          const std::string before = told(take, file);
          EXPECT_EQ(told(back, 0), expected == same              ? before
                                   : expected == rate_of_its_own ? rate_read
                                                                 : expected)
              << name;
        }
      }
    }
  }
}

TEST_F(ReadHeaderTest, filesThatTellNothingOfTheTake) {
  const std::string fifo = folder.file("fifo");
  mkfifo(fifo.c_str(), 0600);
  writeFile(folder.file("caf"), "caff");
  writeFile(folder.file("short"), "RIF");
  const std::pair<std::string, const char*> files[] = {
      {folder.file("none"), "Could not open file to read header: No such file or directory"},
      {folder.path, "Could not read file to read header: Is a directory"},
      {fifo, "Could not read file to read header: Not a regular file"},
      {folder.file("caf"), "CAF not suported"},
      {folder.file("short"), "Magic is unknown"}};
  for (const auto& [name, line] : files) {
    const CapturedLog log;
    EXPECT_EQ(OutputFile::readHeader(name, back), -1) << name;
    EXPECT_EQ(log.lines(), std::vector<std::string>{line});
  }
  // A document with markup in a text tells nothing either, and the date is the file's own.
  const CapturedLog log;
  read(headerOf(sampleTake(), 1));
  last_write_time(folder.path / "x.wav", std::filesystem::file_time_type::clock::now() - std::chrono::hours(1000));
  EXPECT_EQ(OutputFile::readHeader(path, back), 0);
  EXPECT_NEAR(static_cast<double>(back.originationDate()), static_cast<double>(time(nullptr) - 3600000), 100);
  EXPECT_EQ(back.scene() + back.sessionNote(), "errorerror");
  EXPECT_EQ(back.filenameForFile(0), path);
}

TEST_F(ReadHeaderTest, chunksUpToWhereTheFileContradictsItself) {
  MetaData large = sampleTake();
  large.setNrSamples(500000000);
  const std::string wave = "RIFF" + le(0) + "WAVEfmt " + le(3) + "abc";
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {headerOf(large, 1).substr(0, 84) + "data" + le(205032704),
       "ds64 12 28, fmt  48 16, fact 72 4, data 84 4500000000",
       "Chunk 'data' at byte 84 runs past the end of the file"},
      {wave + "data" + le(0), "fmt  12 3, data 23 0", ""},
      {wave + field("", 1) + "data" + le(2) + "ab" + "abcdefg", "fmt  12 3, data 24 2", ""},
      {wave + "data" + le(0) + field("", 20), "fmt  12 3, data 23 0", "No chunk begins at byte 31"},
      {wave + "data" + le(UINT32_MAX), "fmt  12 3, data 23 4294967295",
       "Chunk 'data' at byte 23 runs past the end of the file"},
      {field("caff", 8) + "free" + be(1, 8) + "?" + "data" + be(UINT64_MAX, 8) + "free" + be(0, 8),
       "free 8 1, data 21 -1", ""},
      {field("caff", 8) + "free" + be(1ULL << 63, 8), "free 8 -9223372036854775808",
       "Chunk 'free' at byte 8 runs past the end of the file"},
      {"RIFF", "", "It is no RIFF, RF64 or CAF file"}};
  for (const auto& [bytes, expected, expected_reason] : cases) {
    writeFile(path, bytes);
    std::string listed, reason;
    for (const auto& [identifier, offset, size] : chunksOfFile(path, reason).value_or(std::vector<HeaderChunk>()))
      listed += text("%s%@ %qi %qi", listed.empty() ? "" : ", ", identifier, offset, size);
    EXPECT_EQ(listed, expected);
    EXPECT_EQ(reason, expected_reason);
  }
  std::string many = wave, reason;
  for (int i = 0; i < 5000; ++i) many += "free" + le(0);
  writeFile(path, many);
  EXPECT_EQ(chunksOfFile(path, reason)->size(), 4096U);
  EXPECT_EQ(chunksOfFile(folder.path, reason), std::nullopt);
  EXPECT_EQ(reason, "Is a directory");
}

} // namespace vurl
