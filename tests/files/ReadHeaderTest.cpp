// Take files read back from disk: what a record is worth after a round trip, and what is no take file.
#include "files/BWFUtils.h"
#include "files/HeaderChunks.h"
#include "files/OutputFile.h"
#include "tests/metadata/SampleTake.h"
#include "tests/support/Bytes.h"
#include "tests/support/CapturedLog.h"

#include <sys/stat.h>

#include <map>

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

/// All fields of a record, those of a file from `file`.
std::map<std::string, std::string> fieldsOf(const MetaData& r, int32_t file) {
  const auto number = [](auto value) { return std::to_string(value); };
  // clang-format off
  return {{"project", r.project()}, {"scene", r.scene()}, {"slate", r.slate()}, {"take", r.take()}, {"roll", r.roll()},
          {"note", r.note()}, {"contact", r.contactInfo()}, {"session note", r.sessionNote()},
          {"count", number(r.count())}, {"files", number(r.nrFiles())}, {"format", number(r.fileFormat())},
          {"bit depth", number(r.bitDepth())}, {"rate", number(r.sampleRate())}, {"timestamp", number(r.timestamp())},
          {"device's rate", number(r.originalSampleRate())}, {"samples", number(r.nrSamples())},
          {"sample offset", number(r.sampleOffset())}, {"date", number(r.originationDate())},
          {"reference", r.bwfOriginatorReferenceForFile(-1)}, {"file: channels", number(r.channelMaskForFile(file))},
          {"file: size", number(r.fileSizeForFile(file))}, {"file: name", r.filenameForFile(file)},
          {"file: folder", number(r.folderForFile(file))}, {"frame rate", number(r.frameRate())},
          {"channels", number(r.nrChannels())}, {"channel name", r.nameForChannel(5)}, {"path", r.pathForFolder(0)}};
  // clang-format on
}

TEST_F(ReadHeaderTest, aRoundTripKeepsAllButWhatTheHeaderDoesNotTell) {
  const std::map<std::string, std::string> lost = {
      {"channels", "64"}, {"channel name", ""}, {"path", ""}, {"file: folder", "-1"}, {"file: name", path}};
  for (const int32_t nr_files : {1, 3}) {
    MetaData take = sampleTake();
    take.setProject("Film + (Söhne)"); // as a document allows it
    take.setNrFiles(nr_files);
    for (const int32_t channel : {0, 7}) take.setEnable(true, channel, 0);
    for (const auto& [rate, rate_read] : std::map<int32_t, const char*>{
             {0, "0"}, {1, "1"}, {2, "2"}, {3, "3"}, {4, "4"}, {5, "5"}, {6, "0"}, {7, "0"}, {123, "123"}}) {
      take.setFrameRate(rate);
      for (int32_t file = 0; file < nr_files; ++file) {
        EXPECT_EQ(read(headerOf(take, file)), file);
        auto expected = lost;
        expected["frame rate"] = rate_read;
        expected.merge(fieldsOf(take, file));
        EXPECT_EQ(fieldsOf(back, 0), expected) << "frame rate " << rate << ", file " << file;
      }
    }
  }
}

TEST_F(ReadHeaderTest, filesThatTellNothingOfTheTake) {
  const std::string fifo = folder.file("fifo");
  mkfifo(fifo.c_str(), 0600);
  writeFile(folder.file("caf"), "caff");
  writeFile(path, "RIF");
  const std::pair<std::string, const char*> files[] = {
      {folder.file("none"), "Could not open file to read header: No such file or directory"},
      {folder.path, "Could not read file to read header: Is a directory"},
      {fifo, "Could not read file to read header: Not a regular file"},
      {folder.file("caf"), "CAF not suported"},
      {path, "Magic is unknown"}};
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
}

TEST_F(ReadHeaderTest, chunksUpToWhereTheFileContradictsItself) {
  MetaData large = sampleTake();
  large.setNrSamples(500000000);
  const std::string wave = "RIFF" + le(0) + "WAVEfmt " + le(3) + "abc";
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {headerOf(large, 1).substr(0, 84) + "data" + le(205032704),
       "ds64 12 28, fmt  48 16, fact 72 4, data 84 4500000000",
       "Chunk 'data' at byte 84 runs past the end of the file"},
      {wave + field("", 1) + "data" + le(2) + "ab" + "abcdefg", "fmt  12 3, data 24 2", ""},
      {wave + "data" + le(0) + field("", 20), "fmt  12 3, data 23 0", "No chunk begins at byte 31"},
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
  while (many.size() < 50000) many += "free" + le(0);
  writeFile(path, many);
  EXPECT_EQ(chunksOfFile(path, reason)->size(), 4096U);
}

} // namespace vurl
