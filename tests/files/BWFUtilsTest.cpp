// Broadcast Wave headers: written byte by byte as told here by hand, and read back from friends and strangers.
#include "files/HeaderTexts.h"
#include "tests/files/HeaderRig.h"

namespace vurl {

/// What differs from rate to rate. The sample take starts at sample 5,000,000,123 and has 5,965,229 of them, at 95,904.
struct Rate {
  int32_t code;
  const char *fraction, *flag, *speed, *start, *duration;
  uint32_t first_frame, time_scale, frame_duration, frames_per_second, drop;
};
// clang-format off
constexpr Rate kRates[] = {
    {0, "24/1", "NDF", "bSPEED=024.000-ND\r\n", "14:28:55:11", "00:01:02:04", 1251251, 24000, 1000, 24, 0},
    {1, "25/1", "NDF", "bSPEED=025.000-ND\r\n", "14:28:55:11", "00:01:02:05", 1303386, 25000, 1000, 25, 0},
    {2, "30/1", "DF", "bSPEED=030.000-DF\r\n", "14:29:47:20", "00:01:02:08", 1565630, 30000, 1000, 30, 1},
    {3, "30/1", "NDF", "bSPEED=030.000-ND\r\n", "14:28:55:14", "00:01:02:06", 1564064, 30000, 1000, 30, 0},
    {4, "30000/1001", "NDF", "bSPEED=029.970-ND\r\n", "14:28:03:11", "00:01:02:04", 1562501, 30000, 1001, 30, 0},
    {5, "30000/1001", "DF", "bSPEED=029.970-DF\r\n", "14:28:55:15", "00:01:02:06", 1564065, 30000, 1001, 30, 1},
    {6, "", "", "bSPEED=060.000-ND\r\n", "14:28:55:28", "00:01:02:12", 3128128, 60000, 1000, 60, 0},
    {7, "", "", "", "14:28:03:23", "00:01:02:08", 3125003, 60000, 1001, 60, 0},
    {123, "24000/1001", "NDF", "bSPEED=023.976-ND\r\n", "14:28:03:09", "00:01:02:03", 1250001, 24000, 1001, 24, 0}};
// clang-format on

struct BWFUtilsTest : HeaderTest {
  static std::string expectedHeader(const Rate& rate = kRates[1]) {
    std::string document = goldenDocument();
    // clang-format off
    for (const auto& [golden, other] : std::vector<std::pair<const char*, const char*>>{
             {"25/1", rate.fraction}, {"NDF", rate.flag}, {"bSPEED=025.000-ND\r\n", rate.speed},
             {"14:28:55:11", rate.start}, {"00:01:02:05", rate.duration},
             {"\t\t<TIMECODE_RATE></TIMECODE_RATE>\r\n\t\t<TIMECODE_FLAG></TIMECODE_FLAG>\r\n", ""}})
      replaceAll(document, golden, other);
    document = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n" + padded(document);
    const std::string description = std::string("bPROJECT=Film & <Söhne>\r\nbSCENE=12A\r\nbSLATE=7\r\nbTAKE=3\r\n") +
                                    "bTAPE=R1\r\n" + rate.speed + "bFILENAME=12A_T03-f02-nr2.wav\r\nbNOTE=wind\r\n";
    std::string header =
        // 5965229 x 9 + 131072 - 8 bytes; room for ds64
        "RIFF" + le(53818125) + "WAVE" + "JUNK" + le(28) + field("", 28) +
        // PCM, channels, rate, bytes a second, bytes a frame, bits
        "fmt " + le(16) + le(1, 2) + le(3, 2) + le(95904) + le(863136) + le(9, 2) + le(24, 2) +
        "fact" + le(4) + le(5965229) +
        // description, originator, its reference, date, time
        "bext" + le(656) + field(description, 256) + field("Vurl Recorder", 32) + "KLDQX400000200903141509261230002" +
        // samples since midnight, version, UMID, reserved, coding history
        "2009-03-14" + "15:09:26" + le(5000000123, 8) + le(1, 2) + field("", 64) + field("", 190) +
        "A=PCM,F=96000,W=32,M=3ch\r\nA=PCM,F=95904,W=24,M=3ch\r\n" + field("", 2) +
        "qttc" + le(20) + be(rate.first_frame) + le(rate.time_scale) + le(rate.frame_duration) +
        le(rate.frames_per_second) + le(rate.drop) +
        "iXML" + le(document.size()) + document;
    // clang-format on
    header += "JUNK" + le(131056 - header.size());
    return field(header, 131064) + "data" + le(53687061);
  }

  /// Reads a block of exactly that size, so that a sanitizer sees a step too far. Returns the result and what the
  /// record tells then.
  std::string read(const std::string& bytes) {
    const CapturedLog log;
    const std::vector<uint8_t> held(bytes.begin(), bytes.end());
    back = MetaData(defaults);
    const int32_t result = get_bwf(held.data(), 0, back, static_cast<int64_t>(held.size()));
    EXPECT_TRUE(result >= 0 || !log.lines().empty());
    return text("%i: %i x %i, %qi at %qi", result, back.nrTracksForFile(0), back.bitDepth(), back.nrSamples(),
                back.sampleOffset());
  }
};

TEST_F(BWFUtilsTest, everyByteAtEveryRate) {
  for (const Rate& rate : kRates) {
    MetaData take = sampleTake();
    take.setFrameRate(rate.code);
    SCOPED_TRACE(rate.code);
    expectSame(headerOf(take), expectedHeader(rate));
  }
}

TEST_F(BWFUtilsTest, sizesAndCodesChangeTheirFieldsAlone) {
  const std::tuple<int32_t, int32_t, int64_t, int64_t, size_t, std::string> cases[] = {
      // at the largest size of a RIFF file, one byte beyond, and beyond 32 bits
      {2, 1, 400000000, 693918719, 0, "RIFF" + le(4293918711) + "WAVEJUNK" + le(28) + field("", 28) + "fmt "},
      {2, 1, 400000000, 693918719, 72, "fact" + le(4) + le(400000000) + "bext"},
      {2, 1, 400000000, 693918720, 0,
       "RF64" + le(0xFFFFFFFF) + "WAVEds64" + le(28) + le(4293918712, 8) + le(3600000000, 8) + le(400000000, 8) +
           le(0) + "fmt "},
      {2, 1, 400000000, 693918720, 72, "fact" + le(4) + le(0xFFFFFFFF) + "bext"},
      {2, 1, int64_t{1} << 32, 131072, 131064, "data" + le(0)},
      // float; codes that are not known leave their fields out
      {3, 1, 1, 131072, 56, le(3, 2) + le(3, 2) + le(95904) + le(1150848) + le(12, 2) + le(32, 2)},
      {9, 1, 1, 131072, 56, le(3, 2) + le(95904) + le(575424) + le(6, 2) + le(16, 2) + "fact"},
      {2, 8, 1, 131072, 748, "qttc" + le(20) + be(52135) + "iXML"}};
  for (const auto& [bit_depth, frame_rate, nr_samples, offset, at, bytes] : cases) {
    MetaData take = sampleTake();
    take.setBitDepth(bit_depth);
    take.setFrameRate(frame_rate);
    take.setNrSamples(nr_samples);
    take.setSampleOffset(offset);
    EXPECT_EQ(headerOf(take).substr(at, bytes.size()), bytes);
  }
}

TEST_F(BWFUtilsTest, overlongTextsAreShortenedLongestFirst) {
  MetaData take = sampleTake();
  std::string wide = "xx";
  for (int i = 0; i < 100000; i++) wide += "日";
  take.setProject(wide);
  take.setScene(std::string(150000, 's'));
  take.setName(std::string(300000, 'c'), 5);
  take.setName(std::string(900000, 'c'), 0); // is in no track
  const CapturedLog log;
  const std::string header = headerOf(take);
  EXPECT_TRUE(log.contains("shortened in it: name of channel 6, project, scene"));
  EXPECT_EQ(header.substr(92, 256), "bPROJECT=" + wide.substr(0, 247)) << "the description is cut by bytes";
  EXPECT_EQ(header.substr(131056, 8), "JUNK" + le(0)) << "no more than needed";
  read(header);
  const std::string& document = back.ixmlDocument();
  EXPECT_NE(document.find("<SESSION_NOTE>day 1</SESSION_NOTE>"), std::string::npos);
  EXPECT_EQ((document.find("</PROJECT>") - document.find("<PROJECT>") - 9) % 3, 2U) << "whole characters";
  const auto hopeless = headerFitting(take, 1, 10);
  EXPECT_EQ(hopeless->note() + hopeless->project() + hopeless->nameForChannel(2), "");
  EXPECT_EQ(hopeless->filenameForFile(1), take.filenameForFile(1)) << "although made of the scene";
}

TEST_F(BWFUtilsTest, aBrokenFieldIsRefusedOrTakenAsItStands) {
  const std::string header = expectedHeader().replace(776, 4, "free"); // its document would add its own rules
  const std::tuple<size_t, std::string, std::string> cases[] = {
      {80, le(0xFFFFFFFF), "0: 3 x 2, 4294967295 at 131072"},
      {80, le(0), "0: 3 x 2, 5965229 at 131072"}, // from the data chunk
      {58, le(65535, 2), "0: 64 x 2, 5965229 at 131072"},
      {58, le(0, 2) + field("", 10) + le(24, 2) + "fact" + le(4) + le(0), "0: 0 x 2, 0 at 131072"},
      {52, le(15), "-1: 0 x 0, 0 at 0"}, // fmt too short, too long, over the rest
      {52, le(131072 - 56), "-1: 3 x 2, 0 at 0"},
      {76, le(3), "-1: 3 x 2, 0 at 0"}, // fact too short
      {88, le(0xFFFFFFF0), "-1: 3 x 2, 5965229 at 0"},
      {776, "iXML" + le(131072 - 784 + 1), "-1: 3 x 2, 5965229 at 0"}, // the document one byte too long for the block
      {131064, "xxxx", "-1: 3 x 2, 5965229 at 0"},
      {16, le(0), "-1: 0 x 0, 0 at 0"}}; // a chunk of size 0 moves on by its header
  for (const auto& [at, bytes, expected] : cases) {
    EXPECT_EQ(read(std::string(header).replace(at, bytes.size(), bytes)), expected) << "broken at " << at;
  }
}

TEST_F(BWFUtilsTest, strangersAndBrokenHeadersAreHarmless) {
  EXPECT_EQ(read("RIFF" + le(52) + "WAVEfmt " + le(18) + le(1, 2) + le(2, 2) + le(44100) + le(176400) + le(4, 2) +
                 le(16, 2) + le(0, 2) + "data" + le(4000)),
            "0: 2 x 1, 1000 at 46");
  const std::string header = expectedHeader();
  // As small as can be, so that most changes hit what the reader looks at.
  const std::string document = "<BWFXML><FILE_SET><TOTAL_FILES>9</TOTAL_FILES><FILE_SET_INDEX>1</FILE_SET_INDEX>"
                               "</FILE_SET><TRACK_LIST><TRACK_COUNT>1</TRACK_COUNT><TRACK><CHANNEL_INDEX>3"
                               "</CHANNEL_INDEX></TRACK></TRACK_LIST></BWFXML>";
  const std::string small =
      header.substr(0, 84) + "iXML" + le(document.size()) + document + "JUNK" + le(0) + "data" + le(9000);
  EXPECT_EQ(read(small), text("0: 1 x 2, 5965229 at %i", small.size()));
  std::string crowded = small.substr(0, 84);
  for (const char index : {'1', '2', '3', '4', '5', '6', '7', '8', '9'})
    crowded += "iXML" + le(document.size()) + std::string(document).replace(document.find("X>1") + 2, 1, 1, index);
  EXPECT_EQ(read(crowded + "data" + le(0)).substr(0, 2), "7:") << "the first eight documents are read";
  for (const auto& [whole, step] : {std::pair(small, 1), {header, 977}}) {
    for (size_t length = 0; length < whole.size(); length += static_cast<size_t>(step))
      ASSERT_EQ(read(whole.substr(0, length)).substr(0, 3), "-1:") << length;
  }
  int accepted = 0;
  const auto read_broken = [&](const std::string& broken) {
    accepted += !read(broken).starts_with("-1");
    ASSERT_TRUE(back.nrSamples() >= 0 && back.sampleRate() >= 0 && back.nrFiles() > 0 && back.nrFiles() <= 512);
    ASSERT_LE(back.sampleOffset(), static_cast<int64_t>(broken.size()));
    headerOf(back, 0); // what was accepted can be written
  };
  // Each field in turn 0, 1, all ones, and as its neighbour.
  for (size_t at = 0; at + 8 <= small.size(); at += 2)
    for (const auto& value : {le(0), le(1), le(UINT32_MAX), small.substr(at + 4, 4)})
      read_broken(std::string(small).replace(at, 4, value));
  EXPECT_TRUE(accepted > 0);
}

} // namespace vurl
