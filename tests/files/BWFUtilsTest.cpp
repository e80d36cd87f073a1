// Broadcast Wave headers: written byte by byte as told here by hand, and read back from friends and strangers.
#include "files/BWFUtils.h"

#include "files/HeaderTexts.h"
#include "platform/Text.h"
#include "tests/metadata/SampleTake.h"
#include "tests/support/CapturedLog.h"

#include <functional>
#include <random>
#include <vector>

namespace vurl {
namespace {

std::string littleEndian(uint64_t value, int size) {
  std::string bytes;
  for (; size > 0; size--, value /= 256) bytes += static_cast<char>(value % 256);
  return bytes;
}

std::string le16(uint64_t value) { return littleEndian(value, 2); }
std::string le32(uint64_t value) { return littleEndian(value, 4); }
std::string le64(uint64_t value) { return littleEndian(value, 8); }
std::string be32(uint32_t value) { return le32(__builtin_bswap32(value)); }

std::string field(std::string value, size_t width) {
  value.resize(width, '\0');
  return value;
}

struct RateCase {
  uint32_t frame_rate;
  const char* document_lines;
  const char* speed_line;
  const char* start;
  const char* duration;
  uint32_t start_frame, time_scale, frame_duration, frames_per_second, drop;
};

#define RATE(fraction, flag)                                                                                           \
  "\t\t<TIMECODE_RATE>" fraction "</TIMECODE_RATE>\r\n\t\t<TIMECODE_FLAG>" flag "</TIMECODE_FLAG>\r\n"

// The sample take starts at sample 5,000,000,123 and has 5,965,229 of them, at 95,904 Hz.
constexpr RateCase kRateCases[] = {
    {0, RATE("24/1", "NDF"), "bSPEED=024.000-ND\r\n", "14:28:55:11", "00:01:02:04", 1251251, 24000, 1000, 24, 0},
    {1, RATE("25/1", "NDF"), "bSPEED=025.000-ND\r\n", "14:28:55:11", "00:01:02:05", 1303386, 25000, 1000, 25, 0},
    {2, RATE("30/1", "DF"), "bSPEED=030.000-DF\r\n", "14:29:47:20", "00:01:02:08", 1565630, 30000, 1000, 30, 1},
    {3, RATE("30/1", "NDF"), "bSPEED=030.000-ND\r\n", "14:28:55:14", "00:01:02:06", 1564064, 30000, 1000, 30, 0},
    {4, RATE("30000/1001", "NDF"), "bSPEED=029.970-ND\r\n", "14:28:03:11", "00:01:02:04", 1562501, 30000, 1001, 30, 0},
    {5, RATE("30000/1001", "DF"), "bSPEED=029.970-DF\r\n", "14:28:55:15", "00:01:02:06", 1564065, 30000, 1001, 30, 1},
    {6, "", "bSPEED=060.000-ND\r\n", "14:28:55:28", "00:01:02:12", 3128128, 60000, 1000, 60, 0},
    {7, "", "", "14:28:03:23", "00:01:02:08", 3125003, 60000, 1001, 60, 0},
    {123, RATE("24000/1001", "NDF"), "bSPEED=023.976-ND\r\n", "14:28:03:09", "00:01:02:03", 1250001, 24000, 1001, 24,
     0},
};

class BWFUtilsTest : public SampleTake {
protected:
  /// The header of `take`, followed by bytes that must not be touched.
  static std::string headerOf(const MetaData& take, int32_t file = 1) {
    std::string block(kHeaderSize + 64, '#');
    EXPECT_EQ(add_bwf(reinterpret_cast<uint8_t*>(block.data()), 0, take, file), kHeaderSize);
    EXPECT_EQ(block.substr(kHeaderSize), std::string(64, '#'));
    return block.substr(0, kHeaderSize);
  }

  /// The sample take's header at a rate, field by field.
  static std::string expectedHeader(const RateCase& rate) {
    const std::string description = std::string("bPROJECT=Film & <Söhne>\r\nbSCENE=12A\r\nbSLATE=7\r\nbTAKE=3\r\n") +
                                    "bTAPE=R1\r\n" + rate.speed_line +
                                    "bFILENAME=12A_T03-f02-nr2.wav\r\nbNOTE=wind\r\n";
    const std::string history = "A=PCM,F=96000,W=32,M=3ch\r\nA=PCM,F=95904,W=24,M=3ch\r\n";
    const std::string document = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n" + expectedDocument(rate);
    std::string header;
    header += "RIFF" + le32(53818125) + "WAVE";                                   // 5965229 x 9 + 131072 - 8
    header += "JUNK" + le32(28) + field("", 28);                                  // room for ds64
    header += "fmt " + le32(16) + le16(1) + le16(3) + le32(95904);                // PCM, channels, rate
    header += le32(863136) + le16(9) + le16(24);                                  // byte rate, block align, bits
    header += "fact" + le32(4) + le32(5965229);                                   //
    header += "bext" + le32(656) + field(description, 256);                       //
    header += field("Vurl Recorder", 32) + "KLDQX400000200903141509261230002";    //
    header += "2009-03-1415:09:26" + le64(5000000123) + le16(1);                  // date, time, reference, version
    header += field("", 64) + field("", 190) + history + field("", 2);            // UMID, reserved
    header += "qttc" + le32(20) + be32(rate.start_frame) + le32(rate.time_scale); //
    header += le32(rate.frame_duration) + le32(rate.frames_per_second) + le32(rate.drop);
    header += "iXML" + le32(document.size()) + document;
    header += "JUNK" + le32(131056 - header.size());
    header.resize(131064, '\0');
    return header + "data" + le32(53687061);
  }

  static std::string expectedDocument(const RateCase& rate) {
    std::string document = goldenDocument();
    replaceAll(document, RATE("25/1", "NDF"), rate.document_lines);
    replaceAll(document, "bSPEED=025.000-ND\r\n", rate.speed_line);
    replaceAll(document, ">14:28:55:11<", ">" + std::string(rate.start) + "<");
    replaceAll(document, ">00:01:02:05<", ">" + std::string(rate.duration) + "<");
    return padded(document);
  }

  /// Reads `length` bytes of `header` from a block of exactly that size, so that a sanitizer sees a step too far.
  int32_t read(const std::string& header, size_t length, MetaData& take) const {
    const std::vector<uint8_t> held(header.begin(), header.begin() + static_cast<std::ptrdiff_t>(length));
    return get_bwf(held.data(), 0, take, static_cast<int64_t>(length));
  }
};

TEST_F(BWFUtilsTest, everyByteAtEveryRate) {
  for (const RateCase& rate : kRateCases) {
    MetaData take = sampleTake();
    take.setFrameRate(static_cast<int32_t>(rate.frame_rate));
    const std::string actual = headerOf(take);
    const std::string expected = expectedHeader(rate);
    const auto difference = std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end()).first;
    EXPECT_EQ(difference - actual.begin(), 131072) << "first difference, frame rate " << rate.frame_rate;
  }
}

TEST_F(BWFUtilsTest, filesBeyondTheThresholdAreRF64) {
  MetaData take = sampleTake();
  take.setNrSamples(400000000); // x 9 bytes
  take.setSampleOffset(4293918719 - 3600000000);
  std::string header = headerOf(take);
  EXPECT_EQ(header.substr(0, 48), "RIFF" + le32(4293918711) + "WAVEJUNK" + le32(28) + field("", 28));
  EXPECT_EQ(header.substr(72, 12), "fact" + le32(4) + le32(400000000));
  take.setSampleOffset(4293918720 - 3600000000);
  const std::string large = headerOf(take);
  EXPECT_EQ(large.substr(0, 48), "RF64" + le32(0xFFFFFFFF) + "WAVEds64" + le32(28) + le64(4293918712) +
                                     le64(3600000000) + le64(400000000) + le32(0));
  EXPECT_EQ(large.substr(72, 12), "fact" + le32(4) + le32(0xFFFFFFFF));
  EXPECT_EQ(large.substr(84), header.substr(84)); // nothing else moves or changes
  take.setNrSamples(int64_t{1} << 32);
  EXPECT_EQ(headerOf(take).substr(131064), "data" + le32(0)); // low bits of 9 x 2^32
}

TEST_F(BWFUtilsTest, unknownCodesLeaveTheirFieldsOut) {
  MetaData take = sampleTake();
  take.setBitDepth(FLOAT32);
  EXPECT_EQ(headerOf(take).substr(56, 16), le16(3) + le16(3) + le32(95904) + le32(1150848) + le16(12) + le16(32));
  take.setBitDepth(9);
  EXPECT_EQ(headerOf(take).substr(56, 18), le16(3) + le32(95904) + le32(575424) + le16(6) + le16(16) + "fact");
  take = sampleTake();
  take.setFrameRate(8);
  EXPECT_EQ(headerOf(take).substr(748, 16), "qttc" + le32(20) + be32(52135) + "iXML"); // whole seconds
}

TEST_F(BWFUtilsTest, wideDescriptionsEndBetweenCharacters) {
  MetaData take = sampleTake();
  std::string wide = "x"; // now a character straddles byte 256
  for (int i = 0; i < 200; i++) wide += "ö";
  take.setProject(wide);
  EXPECT_EQ(headerOf(take).substr(92, 256), field(("bPROJECT=" + wide).substr(0, 256), 256));
  take.setProject(wide.substr(1));
  EXPECT_EQ(headerOf(take).substr(92, 256), field(("bPROJECT=" + wide.substr(1)).substr(0, 255), 256));
}

TEST_F(BWFUtilsTest, textsThatFillTheBlockStayAndLongerOnesAreShortened) {
  MetaData take = sampleTake();
  take.setNrChannels(64);
  take.setNrFiles(512);
  for (int32_t channel = 0; channel < 64; channel++) {
    take.setName(std::string(1000, 'c'), channel);
    take.setEnable(true, channel, 511);
  }
  const size_t room = 131056 - 732 - take.bwfCodingHistoryForFile(511).size() - 40 - take.iXMLForFile(511).size();
  take.setSessionNote(take.sessionNote() + std::string(room, '.'));
  const CapturedLog log;
  EXPECT_EQ(headerOf(take, 511).substr(131056, 8), "JUNK" + le32(0));
  EXPECT_TRUE(log.lines().empty());
  take.setSessionNote(take.sessionNote() + ".");
  EXPECT_EQ(headerOf(take, 511).substr(131056, 8), "JUNK" + le32(0));
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_TRUE(log.contains("shortened in it: session_note"));
  MetaData back(defaults);
  ASSERT_EQ(read(headerOf(take, 511), kHeaderSize, back), 0);
  EXPECT_EQ(back.nrTracksForFile(0), 64);
  EXPECT_NE(back.ixmlDocument().find("<FILE_SET_INDEX>512<"), std::string::npos);
}

TEST_F(BWFUtilsTest, overlongTextsAreShortenedLongestFirst) {
  MetaData take = sampleTake();
  std::string wide = "x";
  for (int i = 0; i < 100000; i++) wide += "日";
  take.setNote(wide);
  take.setScene(std::string(150000, 's'));
  take.setName(std::string(300000, 'c'), 5);
  take.setName(std::string(900000, 'c'), 0); // is in no track
  const CapturedLog log;
  MetaData back(defaults);
  ASSERT_EQ(read(headerOf(take), kHeaderSize, back), 0);
  EXPECT_EQ(log.lines().size(), 1U);
  EXPECT_TRUE(log.contains("shortened in it: name of channel 6, note, scene"));
  const std::string& document = back.ixmlDocument();
  EXPECT_GT(document.size(), 120000U);
  EXPECT_NE(document.find("<SESSION_NOTE>day 1</SESSION_NOTE>"), std::string::npos);
  EXPECT_EQ((document.find("</NOTE>") - document.find("<NOTE>") - 6) % 3, 1U); // whole characters
  EXPECT_EQ(take.note(), wide);
  const auto hopeless = headerFitting(take, 1, 10);
  ASSERT_TRUE(hopeless.has_value());
  EXPECT_EQ(hopeless->note() + hopeless->project() + hopeless->nameForChannel(2), "");
  EXPECT_EQ(hopeless->filenameForFile(1), take.filenameForFile(1)); // although made of the scene
}

TEST_F(BWFUtilsTest, headersAreReadBack) {
  MetaData take(defaults);
  ASSERT_EQ(read(expectedHeader(kRateCases[1]), kHeaderSize, take), 0);
  EXPECT_EQ((std::array{take.fileFormat(), take.nrFiles()}), (std::array{MetaData::kBWF + 0, 1}));
  EXPECT_EQ(take.sampleRate(), 95904);
  EXPECT_EQ(take.bitDepth(), INTEGER24);
  EXPECT_EQ(take.nrTracksForFile(0), 3);
  EXPECT_EQ(take.nrSamples(), 5965229);
  EXPECT_EQ(take.sampleOffset(), 131072);
  EXPECT_EQ(take.ixmlDocument(), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n" + expectedDocument(kRateCases[1]));
  EXPECT_EQ(take.fileSizeForFile(0), 53818133);
  take.setNrSamples(7);
  ASSERT_EQ(read(expectedHeader(kRateCases[1]), kHeaderSize, take), 0);
  EXPECT_EQ(take.nrSamples(), 7); // a length known before wins
}

TEST_F(BWFUtilsTest, aBrokenFieldIsRefusedOrTakenAsItStands) {
  constexpr size_t kDocumentSize = 780; // of the iXML chunk
  const struct {
    const char* what;
    size_t at;
    std::string bytes;
    int32_t result;
    int32_t tracks, bit_depth;
    int64_t nr_samples;
  } cases[] = {
      {"no change", 0, "RIFF", 0, 3, 2, 5965229},
      {"RF64 length", 80, le32(0xFFFFFFFF), 0, 3, 2, 4294967295},
      {"no length: from the data chunk", 80, le32(0), 0, 3, 2, 5965229},
      {"20 bits", 70, le16(20), 0, 3, 0, 5965229},
      {"32 bits", 70, le16(32), 0, 3, 3, 5965229},
      {"65535 channels", 58, le16(65535), 0, 64, 2, 5965229},
      {"no channels, no length", 58, le16(0) + field("", 10) + le16(24) + "fact" + le32(4) + le32(0), 0, 0, 2, 0},
      {"short fmt", 52, le32(15), -1, 0, 0, 0},
      {"empty fmt", 52, le32(0), -1, 0, 0, 0},
      {"short fact", 76, le32(3), -1, 3, 2, 0},
      {"endless fmt", 52, le32(0xFFFFFFFF), -1, 0, 0, 0},
      {"fmt that swallows the rest", 52, le32(131072 - 56), -1, 3, 2, 0},
      {"endless bext", 88, le32(0xFFFFFFF0), -1, 3, 2, 5965229},
      {"document one byte too long for the block", kDocumentSize, le32(131072 - 784 + 1), -1, 3, 2, 5965229},
      {"no data chunk", 131064, "xxxx", -1, 3, 2, 5965229},
      {"junk of size 0 moves on by its header", 16, le32(0), -1, 0, 0, 0},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.what);
    const CapturedLog log;
    std::string header = expectedHeader(kRateCases[1]);
    header.replace(each.at, each.bytes.size(), each.bytes);
    MetaData take(defaults);
    EXPECT_EQ(read(header, kHeaderSize, take), each.result);
    EXPECT_EQ(log.lines().size(), each.result == 0 ? 0U : 1U);
    EXPECT_EQ(take.nrTracksForFile(0), each.tracks);
    EXPECT_EQ(take.bitDepth(), each.bit_depth);
    EXPECT_EQ(take.nrSamples(), each.nr_samples);
  }
}

TEST_F(BWFUtilsTest, aShortFileOfAnotherRecorder) {
  const std::string file = "RIFF" + le32(52) + "WAVEfmt " + le32(18) + le16(1) + le16(2) + le32(44100) + le32(176400) +
                           le16(4) + le16(16) + le16(0) + "data" + le32(4000);
  MetaData take(defaults);
  ASSERT_EQ(read(file, file.size(), take), 0);
  EXPECT_EQ(take.sampleOffset(), 46);
  EXPECT_EQ(take.nrSamples(), 1000);
  EXPECT_EQ(take.ixmlDocument(), "");
}

TEST_F(BWFUtilsTest, cutAndScrambledHeadersAreHarmless) {
  const CapturedLog log;
  const std::string header = expectedHeader(kRateCases[1]);
  MetaData take(defaults);
  for (size_t length = 0; length < header.size(); length += length < 900 || length > 131000 ? 1 : 977) {
    ASSERT_EQ(read(header, length, take), -1) << length;
  }
  // As small as can be, so that most changes hit what the reader looks at.
  const std::string small =
      header.substr(0, 84) + "iXML" + le32(9) + "<BWFXML/>" + "JUNK" + le32(0) + "data" + le32(9000);
  std::mt19937 random(1);
  int accepted = 0;
  for (int round = 0; round < 4000; round++) {
    std::string scrambled = small;
    for (auto changes = random() % 6; changes > 0; changes--) {
      scrambled[random() % scrambled.size()] = static_cast<char>(random());
    }
    MetaData stranger(defaults);
    const size_t length = round % 4 != 0 ? scrambled.size() : random() % scrambled.size();
    const int32_t result = read(scrambled, length, stranger);
    ASSERT_TRUE(result == 0 || result == -1);
    ASSERT_GE(stranger.nrSamples(), 0);
    if (result == 0) headerOf(stranger, 0); // what was accepted can be written
    accepted += result + 1;
  }
  EXPECT_GT(accepted, 800);
  EXPECT_LT(accepted, 3200);
}

} // namespace
} // namespace vurl
