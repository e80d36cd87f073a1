// The take record: limits, masks, sizes, names, and the texts of its files.
#include "metadata/MetaData.h"

#include "tests/metadata/SampleTake.h"

namespace vurl {

using MetaDataTest = SampleTake;

TEST_F(MetaDataTest, numbersOutsideTheRecordReadAsNothingAndChangeNothing) {
  MetaData take = sampleTake();
  const std::string document = take.iXMLForFile(1);
  for (const int32_t flood : {INT32_MIN, -1, 512, INT32_MAX}) {
    // clang-format off
    take.setName("x", flood); take.setPath("x", flood); take.setFolder(1, flood); take.setFilename("x", flood);
    take.setEnable(true, flood, 1); take.setEnable(true, 1, flood); take.moveToFile(flood);
    // clang-format on
    EXPECT_NE(take.iXMLForFile(flood).find("<TRACK_COUNT>0<"), std::string::npos);
  }
  EXPECT_EQ(take.iXMLForFile(1), document);
  // folders of the take, the folder asked for, the one that it becomes
  for (const auto& [nr_folders, folder, result] :
       {std::tuple{2, 5, 1}, {2, 1, 1}, {16, 12, 7}, {2, -4, 0}, {0, 0, -1}}) {
    take.setNrFolders(nr_folders);
    take.setFolder(folder, 4);
    EXPECT_EQ(take.folderForFile(4), result) << nr_folders << " " << folder;
  }
  EXPECT_EQ(take.filenameForFile(4).front(), '/'); // no folder, no path
  take.setEnable(true, 10, 511);                   // channels out of use are kept in the routing
  EXPECT_EQ(take.nrTracksForFile(511), 0);
  take.setNrChannels(100000);
  EXPECT_EQ(take.nrChannels(), 64);
  EXPECT_EQ(take.channelMaskForFile(511), 0x2000); // third bit from the top of the second byte
}

TEST_F(MetaDataTest, nameFormats) {
  MetaData take = sampleTake();
  // clang-format off
  const std::array<const char*, 3> cases[] = { // as text and as file name
      {"%s-%l-%t-%r-%n-%p", "12A-7-3-R1-wind-Film & <Söhne>", "12A-7-3-R1-wind-Film____S_hne_"},
      {"%3s %3l %1t %4r", "012 007 3 R1", "012_007_3_R1"}, {"%N", "12A_T03", "_N"},
      {"%y-%m-%d %H:%M:%S", "2009-03-14 15:09:26", "2009-03-14_15_09_26"},
      {"%T%F%C%c", "14:28:55:1125nd-2poly", "14_28_55_1125nd-2poly"},
      {"%% %q %3q %Y %2ü %22t", "% %q %q %Y %ü %2t", "___q__q__Y_____2t"},
      {"é.日\t", "é.日\t", "_.__"}, {"lone %", "lone %", "lone__"}, {"cut %3", "cut %3", "cut__3"}};
  // clang-format on
  for (const auto& [format, expected, as_filename] : cases) {
    EXPECT_EQ(take.stringWithFormat(format, false, 1), expected);
    EXPECT_EQ(take.stringWithFormat(format, true, 1), as_filename);
  }
}

TEST_F(MetaDataTest, tracksInWords) {
  MetaData take = sampleTake();
  take.setName("mix 1", 0);
  take.setCount(1);
  take.setSampleRate(100000); // one digit more than the other rate: a history of odd length
  int32_t tracks = 0;
  for (const auto& [word, mode] :
       {std::pair{"empty", "0ch"}, {"mix 1", "mono"}, {"stereo", "stereo"}, {"poly", "3ch"}, {"", "4ch"}}) {
    for (int32_t channel = 0; channel < 64; channel++) take.setEnable(channel < tracks, channel, 0);
    tracks++;
    EXPECT_EQ(take.stringWithFormat("%c%C", false, 0), word);
    const std::string history = text("A=PCM,F=96000,W=32,M=%s\r\nA=PCM,F=100000,W=24,M=%s\r\n ", mode, mode);
    EXPECT_EQ(take.bwfCodingHistoryForFile(0), history);
  }
}

TEST_F(MetaDataTest, fileNames) {
  const std::tuple<const char*, int32_t, int32_t, int32_t, const char*> cases[] = {
      {"%s_T%2t", 2, 1, 3, "/home/u/Audio/12A_T03-f02.wav"},
      {"%s_T%2t", 2, 2, 2, "/home/u/Audio/12A_T03-f02-nr2.caf"},
      {"%s", 1, 0, 3, "/home/u/Audio/12A-nr0.wav"},
      {"%2f", 2, 1, 0, "/home/u/Audio/02-f02.txt"}}; // a width hides the number token
  MetaData take = sampleTake();
  for (const auto& [format, nr_files, count, file_format, name] : cases) {
    defaults.setObject(std::string(format), "filename_format");
    take.setNrFiles(nr_files);
    take.setCount(count);
    take.setFileFormat(file_format);
    EXPECT_EQ(take.filenameForFile(1), name);
  }
  // Whatever has been typed, the file stands in the folder itself.
  defaults.setObject(std::string("%s%c"), "filename_format");
  take.setNrFiles(1);
  take.setNrChannels(1);
  take.setEnable(true, 0, 0);
  // clang-format off
  const std::pair<std::string, const char*> typed[] = {
      {"..", ".."}, {"/etc/x", "_etc_x"}, {"../../x", ".._.._x"}, {"a\r\n\tb\x7F", "a___b_"}, {"<SPEED>", "_SPEED_"},
      {std::string("a\0b", 3), "a_b"}, {"\xFF\xC3x\xED\xA0\x80", "__x___"}, {"~", "_"}, {"%s%N%%", "_s_N__"}};
  // clang-format on
  for (const auto& [name, cleaned] : typed)
    for (const bool is_channel : {false, true}) {
      take.setScene(is_channel ? "" : name);
      take.setName(is_channel ? name : "", 0);
      EXPECT_EQ(take.filenameForFile(0), text("/home/u/Audio/%@.txt", cleaned));
    }
  take.setFilename("/frozen.wav", 1);
  EXPECT_EQ(take.filenameForFile(1), "/frozen.wav");
  defaults.setObject(std::string("%p report"), "csv_filename_format");
  defaults.setObject(std::string("~/CSV"), "csv_folder");
  EXPECT_EQ(take.csvFilename(), "/home/u/CSV/Film____S_hne__report.csv");
}

TEST_F(MetaDataTest, theDocumentAndWhatChangesItsLines) {
  // clang-format off
  const std::tuple<int32_t, int64_t, const char*, const char*, const char*> cases[] = {
      {3, 5965229, "555-0100", ">24</AUDIO_BIT_DEPTH>\r\n\t\t\t<AUDIO_ENCODING>PCM int<",
                               ">32</AUDIO_BIT_DEPTH>\r\n\t\t\t<AUDIO_ENCODING>PCM float<"},
      {7, 5965229, "555-0100",
       "\t\t\t<AUDIO_BIT_DEPTH>24</AUDIO_BIT_DEPTH>\r\n\t\t\t<AUDIO_ENCODING>PCM int</AUDIO_ENCODING>\r\n", ""},
      {2, 5965229, "%s %@ <&>", "555-0100", "%s %@ <&>"},
      {2, 9212749229, "555-0100", "5965229</DURATION_SAMPLES>\r\n\t\t\t<DURATION_TEXT>00:01:", // 26 hours and more
                                  "9212749229</DURATION_SAMPLES>\r\n\t\t\t<DURATION_TEXT>26:41:"}};
  // clang-format on
  for (const auto& [bit_depth, nr_samples, contact, golden_lines, lines] : cases) {
    MetaData take = sampleTake();
    take.setBitDepth(bit_depth);
    take.setNrSamples(nr_samples);
    take.setContactInfo(contact);
    std::string expected = goldenDocument();
    replaceAll(expected, golden_lines, lines);
    replaceAll(expected, "W=24", text("W=%i", take.bits()));
    EXPECT_EQ(take.iXMLForFile(1), padded(expected));
  }
}

TEST_F(MetaDataTest, csvLines) {
  MetaData take = sampleTake();
  take.setTimestamp(uint64_t{36000} * 95904);
  take.setFilename("/home/u/A,1.wav", 0);
  take.setNote("he said \"cut\"");
  EXPECT_EQ(take.csvLine(), "2009-03-14 15:09:26,10:00:00:00,00:01:02:05,25 ND,/home/u/A,1.wav,\"Film & <Söhne>\","
                            "\"12A\",\"7\",\"3\",\"R1\",2,\"he said \"cut\"\",95904,24 bit\n");
  take.setFrameRate(FRAME_RATE_23_976);
  EXPECT_NE(take.csvLine().find(",23.97 ND,/"), std::string::npos);
}

} // namespace vurl
