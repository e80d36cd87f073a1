// Take files read back from disk: what a record is worth after a round trip, and what is no take file.
#include "files/HeaderChunks.h"
#include "files/OutputFile.h"
#include "tests/files/HeaderRig.h"

#include <sys/stat.h>

namespace vurl {

struct ReadHeaderTest : HeaderTest {
  /// Which file of its take the one is that holds `bytes`; what it tells is in `back`.
  int32_t read(const std::string& bytes) {
    writeFile(path, bytes);
    back = MetaData(defaults);
    return OutputFile::readHeader(path, back);
  }

  TemporaryFolder folder;
  std::string path = folder.file("x.wav");
};

TEST_F(ReadHeaderTest, aRoundTripKeepsAllButWhatTheHeaderDoesNotTell) {
  for (const int32_t nr_files : {1, 3}) {
    MetaData take = sampleTake();
    take.setProject("Film + (Söhne)"); // as a document allows it
    take.setNrFiles(nr_files);
    for (const int32_t channel : {0, 7}) take.setEnable(true, channel, 0);
    for (int32_t channel = 0; channel < 8; ++channel) take.setName("", channel); // tracks' names stay in the document
    for (const auto& [rate, rate_read] :
         {std::pair{0, 0}, {1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 5}, {6, 0}, {123, 123}}) {
      take.setFrameRate(rate);
      for (int32_t file = 0; file < nr_files; ++file) {
        EXPECT_EQ(read(headerOf(take, file)), file);
        back.moveToFile(file);
        MetaData expected = take;
        expected.setFrameRate(rate_read);
        expected.setFilename(path, file);
        EXPECT_EQ(back.iXMLForFile(file), expected.iXMLForFile(file)) << "frame rate " << rate;
        EXPECT_EQ(text("%qi at %i", back.fileSizeForFile(file), back.sampleOffset()),
                  text("%qi at %i", take.fileSizeForFile(file), take.sampleOffset()));
      }
    }
  }
}

TEST_F(ReadHeaderTest, filesThatTellNothingOfTheTake) {
  const std::string fifo = folder.file("fifo");
  mkfifo(fifo.c_str(), 0600);
  const CapturedLog log;
  EXPECT_EQ(OutputFile::readHeader(fifo, back), -1);
  EXPECT_EQ(read("RIF"), -1);
  EXPECT_EQ(log.lines(),
            (std::vector<std::string>{"Could not read file to read header: Not a regular file", "Magic is unknown"}));
  // A document with markup in a text tells nothing either, and the date is the file's own.
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
       "ds64 12 28, fmt  48 16, fact 72 4, data 84 4500000000, ",
       "Chunk 'data' at byte 84 runs past the end of the file"},
      {wave + field("", 1) + "data" + le(2) + "ab" + "abcdefg", "fmt  12 3, data 24 2, ", ""},
      {field("caff", 8) + "free" + be(1, 8) + "?" + "data" + be(UINT64_MAX, 8) + "free" + be(0, 8),
       "free 8 1, data 21 -1, ", ""}};
  for (const auto& [bytes, expected, expected_reason] : cases) {
    writeFile(path, bytes);
    std::string listed, reason;
    for (const auto& [identifier, offset, size] : chunksOfFile(path, reason).value_or(std::vector<HeaderChunk>()))
      listed += text("%@ %qi %qi, ", identifier, offset, size);
    EXPECT_EQ(listed, expected);
    EXPECT_EQ(reason, expected_reason);
  }
}

} // namespace vurl
