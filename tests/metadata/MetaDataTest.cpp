// The take record: limits, masks, sizes, names, and the texts of its files.
#include "metadata/MetaData.h"

#include "platform/Text.h"
#include "tests/metadata/SampleTake.h"

namespace vurl {
namespace {

class MetaDataTest : public SampleTake {
protected:
  /// File `file` gets channels 0 to `count` - 1 and no other.
  static void route(MetaData& take, int32_t count, int32_t file) {
    for (int32_t channel = 0; channel < 64; channel++) take.setEnable(channel < count, channel, file);
  }
};

TEST_F(MetaDataTest, aNewTakeStartsNowAndIsEmpty) {
  const MetaData take(defaults, [] { return WallTime{1000, 0, 0}; });
  EXPECT_EQ(take.originationDate(), 1000);
  EXPECT_EQ(take.maximumFileSize(), 2047);
  EXPECT_EQ(take.take() + take.project() + take.nameForChannel(63) + take.pathForFolder(7), "");
  EXPECT_EQ(take.nrSamples() + take.sampleOffset() + take.count() + take.nrFiles() + take.channelMaskForFile(0), 0);
}

TEST_F(MetaDataTest, numbersOutsideTheRecordReadAsNothingAndChangeNothing) {
  MetaData take = sampleTake();
  const std::string document = take.iXMLForFile(1);
  for (const int32_t flood : {INT32_MIN, -1, 512, INT32_MAX}) {
    take.setName("x", flood);
    take.setPath("x", flood);
    take.setFolder(1, flood);
    take.setFilename("x", flood);
    take.setEnable(true, flood, 1);
    take.setEnable(true, 1, flood);
    take.moveToFile(flood);
    EXPECT_EQ(take.nameForChannel(flood) + take.pathForFolder(flood), "");
    EXPECT_EQ(take.nrTracksForFile(flood) + take.folderForFile(flood), 0);
    EXPECT_NE(take.iXMLForFile(flood).find("<TRACK_COUNT>0<"), std::string::npos);
  }
  EXPECT_EQ(take.iXMLForFile(1), document);
  for (const auto& [value, channels, files, folders] :
       {std::array{-1, 0, 0, 0}, std::array{9, 9, 9, 8}, std::array{100000, 64, 512, 8}}) {
    take.setNrChannels(value);
    take.setNrFiles(value);
    take.setNrFolders(value);
    EXPECT_EQ((std::array{take.nrChannels(), take.nrFiles(), take.nrFolders()}),
              (std::array{channels, files, folders}));
  }
}

TEST_F(MetaDataTest, channelsOutOfUseAreKeptInTheRouting) {
  MetaData take(defaults);
  take.setNrChannels(8);
  take.setEnable(true, 10, 511);
  EXPECT_EQ(take.nrTracksForFile(511), 0);
  take.setNrChannels(16);
  EXPECT_EQ(take.channelMaskForFile(511), 0x2000); // third bit from the top of the second byte
  take.setEnable(false, 10, 511);
  EXPECT_EQ(take.nrTracksForFile(511), 0);
}

TEST_F(MetaDataTest, foldersAreThoseThatTheTakeHas) {
  MetaData take(defaults);
  const struct {
    int32_t nr_folders, folder, result;
  } cases[] = {{2, 5, 1}, {2, 1, 1}, {16, 12, 7}, {2, -4, 0}, {0, 0, -1}, {0, -9, -1}};
  for (const auto& each : cases) {
    take.setNrFolders(each.nr_folders);
    take.setFolder(each.folder, 4);
    EXPECT_EQ(take.folderForFile(4), each.result) << each.nr_folders << " " << each.folder;
  }
  EXPECT_EQ(take.filenameForFile(4).front(), '/'); // no folder, no path
}

TEST_F(MetaDataTest, sizesAndLabels) {
  MetaData take(defaults);
  take.setNrChannels(64);
  route(take, 6, 0);
  take.setSampleRate(48000);
  take.setSampleOffset(512);
  for (const auto& [depth, bits, block] : {std::array{INTEGER24 + 0, 24, 18}, std::array{INTEGER16 + 0, 16, 12},
                                           std::array{FLOAT32 + 0, 32, 24}, std::array{0, 16, 12}}) {
    take.setBitDepth(depth);
    EXPECT_EQ((std::array{take.bits(), take.blockAlignForFile(0), take.byteRateForFile(0)}),
              (std::array{bits, block, block * 48000}));
    take.setNrSamples(int64_t{1} << 40); // far past 32 bits
    EXPECT_EQ(take.fileSizeForFile(0), (int64_t{block} << 40) + 512);
  }
  take.setFrameRate(FRAME_RATE_23_976);
  SMPTETime time;
  take.smpteTimestamp(time, 48048 * 25);
  EXPECT_EQ(time.mType, FRAME_RATE_24);
  EXPECT_EQ(time.mSubframeDivisor, 80);
  EXPECT_EQ(take.timestampStringForCounter(48048 * 25), "00:00:25:00");
}

TEST_F(MetaDataTest, originatorReferencesAreUniqueAndSortByTime) {
  MetaData take = sampleTake();
  take.setTimestamp(2646000123);
  EXPECT_EQ(take.bwfOriginatorReferenceForFile(2), "KLDQX400000200903141509261230003");
  MetaData later = take;
  EXPECT_EQ(take.compare(later), 0);
  later.setOriginationDate(take.originationDate() + 1);
  EXPECT_LT(take.compare(later), 0);
  EXPECT_GT(later.compare(take), 0);
  take.setTimestamp(UINT64_MAX);
  EXPECT_EQ(take.bwfOriginatorReferenceForFile(-1), "KLDQX400000200903141509266150000");
  take.setOriginationDate(INT64_MAX);
  EXPECT_EQ(take.bwfOriginationDate(), "1970-01-01");
}

TEST_F(MetaDataTest, filesReadOneByOneBecomeATake) {
  MetaData second(defaults);
  second.setNrChannels(8);
  second.setNrFiles(3);
  second.setNrFolders(8);
  second.setFolder(2, 0);
  route(second, 2, 0);
  second.setFilename("/second", 0);
  MetaData first = second;
  route(first, 1, 0);
  first.setFilename("/first", 0);
  first.setFolder(3, 0);
  second.moveToFile(0);
  EXPECT_EQ(second.filenameForFile(0), "/second");
  second.moveToFile(1);
  EXPECT_EQ(second.nrTracksForFile(0) + second.folderForFile(0), 0);
  second.combine(first, 2); // its name stands at 0, so that is where it goes
  EXPECT_EQ(second.filenameForFile(0) + second.filenameForFile(1), "/first/second");
  EXPECT_EQ((std::array{second.nrTracksForFile(0), second.nrTracksForFile(1)}), (std::array{1, 2}));
  EXPECT_EQ((std::array{second.folderForFile(0), second.folderForFile(1)}), (std::array{3, 2}));
}

TEST_F(MetaDataTest, nameFormats) {
  MetaData take = sampleTake();
  const struct {
    const char* format;
    const char* result;
    const char* as_filename;
  } cases[] = {
      {"%s-%l-%t-%r-%n-%p", "12A-7-3-R1-wind-Film & <Söhne>", "12A-7-3-R1-wind-Film____S_hne_"},
      {"%3s %3l %1t %4r", "012 007 3 R1", "012_007_3_R1"},
      {"%y-%m-%d %H:%M:%S", "2009-03-14 15:09:26", "2009-03-14_15_09_26"},
      {"%T%F%C%c", "14:28:55:1125nd-2poly", "14_28_55_1125nd-2poly"},
      {"%f %3f %0f %9f", "2 002 2 000000002", "2_002_2_000000002"},
      {"%N", "12A_T03", "_N"},
      {"%% %q %3q %Y %2ü %22t", "% %q %q %Y %ü %2t", "___q__q__Y_____2t"},
      {"é.日\t", "é.日\t", "_.__"},
      {"lone %", "lone %", "lone__"},
      {"cut %3", "cut %3", "cut__3"},
      {"", "", ""},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(take.stringWithFormat(each.format, false, 1), each.result);
    EXPECT_EQ(take.stringWithFormat(each.format, true, 1), each.as_filename);
  }
  for (const auto& [field, padded] : {std::pair{"7b", "007"}, {"b7", "b7"}, {"0", "0"}, {"", ""}}) {
    take.setTake(field);
    EXPECT_EQ(take.stringWithFormat("%3t", false, 0), padded);
  }
  const char* words[] = {"empty", "mix 1", "stereo", "poly", "", ""};
  take.setName("mix 1", 0);
  take.setCount(1);
  for (int32_t tracks = 0; tracks < 6; tracks++) {
    route(take, tracks, 0);
    EXPECT_EQ(take.stringWithFormat("%c%C", false, 0), words[tracks]);
  }
}

TEST_F(MetaDataTest, fileNames) {
  const struct {
    const char* format;
    int32_t nr_files, count, file_format;
    const char* result;
  } cases[] = {
      {"%s_T%2t", 2, 1, 3, "/home/u/Audio/12A_T03-f02.wav"},
      {"%s-%t_%f", 2, 1, 3, "/home/u/Audio/12A-3_2.wav"},
      {"%s_T%2t", 2, 2, 2, "/home/u/Audio/12A_T03-f02-nr2.caf"},
      {"%s", 1, 0, 3, "/home/u/Audio/12A-nr0.wav"},
      {"%2f", 2, 1, 0, "/home/u/Audio/02-f02.txt"}, // a width hides the number token
  };
  MetaData take = sampleTake();
  for (const auto& each : cases) {
    defaults.setObject(std::string(each.format), "filename_format");
    take.setNrFiles(each.nr_files);
    take.setCount(each.count);
    take.setFileFormat(each.file_format);
    EXPECT_EQ(take.filenameForFile(1), each.result);
  }
  take.setFilename("/frozen.wav", 1);
  EXPECT_EQ(take.filenameForFile(1), "/frozen.wav");
  defaults.setObject(std::string("%p report"), "csv_filename_format");
  defaults.setObject(std::string("~/CSV"), "csv_folder");
  EXPECT_EQ(take.csvFilename(), "/home/u/CSV/Film____S_hne__report.csv");
}

TEST_F(MetaDataTest, wholeDocument) {
  const std::string actual = sampleTake().iXMLForFile(1);
  const std::string expected = padded(goldenDocument());
  if (actual != expected) writeFile(goldenPath() + ".actual", actual);
  EXPECT_TRUE(actual == expected) << "see " << goldenPath() << ".actual";
}

TEST_F(MetaDataTest, documentsDifferInTheirLines) {
  const struct {
    void (*change)(MetaData&);
    const char* old_lines;
    const char* new_lines;
  } cases[] = {
      {[](MetaData& take) { take.setBitDepth(INTEGER16); }, "BIT_DEPTH>24<", "BIT_DEPTH>16<"},
      {[](MetaData& take) { take.setBitDepth(FLOAT32); }, "24</AUDIO_BIT_DEPTH>\r\n\t\t\t<AUDIO_ENCODING>PCM int<",
       "32</AUDIO_BIT_DEPTH>\r\n\t\t\t<AUDIO_ENCODING>PCM float<"},
      {[](MetaData& take) { take.setBitDepth(7); },
       "\t\t\t<AUDIO_BIT_DEPTH>24</AUDIO_BIT_DEPTH>\r\n\t\t\t<AUDIO_ENCODING>PCM int</AUDIO_ENCODING>\r\n", ""},
      {[](MetaData& take) { take.setContactInfo("%s %@ <&>"); }, "555-0100", "%s %@ <&>"},
      {[](MetaData& take) { take.setNrSamples(9212749229); }, // 26 hours and more
       "5965229</DURATION_SAMPLES>\r\n\t\t\t<DURATION_TEXT>00:01:",
       "9212749229</DURATION_SAMPLES>\r\n\t\t\t<DURATION_TEXT>26:41:"},
  };
  for (const auto& each : cases) {
    MetaData take = sampleTake();
    each.change(take);
    std::string expected = goldenDocument();
    replaceAll(expected, each.old_lines, each.new_lines);
    replaceAll(expected, "W=24", "W=" + std::to_string(take.bits()));
    EXPECT_EQ(take.iXMLForFile(1), padded(expected));
  }
}

TEST_F(MetaDataTest, codingHistories) {
  MetaData take = sampleTake();
  take.setSampleRate(100000); // one digit more than the other rate: an odd length
  const char* endings[] = {"0ch\r\n ", "mono\r\n ", "stereo\r\n ", "3ch\r\n "};
  for (int32_t tracks = 0; tracks < 4; tracks++) {
    route(take, tracks, 0);
    const std::string ending = endings[tracks];
    EXPECT_EQ(take.bwfCodingHistoryForFile(0),
              "A=PCM,F=96000,W=32,M=" + ending.substr(0, ending.size() - 1) + "A=PCM,F=100000,W=24,M=" + ending);
  }
}

TEST_F(MetaDataTest, longDescriptionsAreCutBetweenCharacters) {
  MetaData take = sampleTake();
  for (const std::string character : {"x", "ö", "日"}) {
    std::string note;
    for (int i = 0; i < 300; i++) note += character;
    take.setNote(note);
    const std::string description = take.bwfDescriptionForFile(1);
    EXPECT_EQ(nrCodePoints(description), 255U);
    EXPECT_TRUE(description.ends_with(character + character));
  }
}

} // namespace
} // namespace vurl
