// CAF headers, written byte by byte as told here by hand.
#include "files/HeaderTexts.h"
#include "tests/files/HeaderRig.h"

namespace vurl {

using CAFUtilsTest = HeaderTest;

TEST_F(CAFUtilsTest, everyByteAtEveryRate) {
  const std::tuple<int32_t, uint64_t, std::string, uint64_t> rates[] = {
      // code, type, h m s f, samples in the frame
      {0, 1, {14, 28, 55, 11}, 1127}, {1, 2, {14, 28, 55, 11}, 2885}, {2, 3, {14, 29, 47, 20}, 327},
      {3, 4, {14, 28, 55, 14}, 327},  {4, 5, {14, 28, 3, 11}, 1920},  {5, 6, {14, 28, 55, 15}, 1920},
      {6, 7, {14, 28, 55, 28}, 327},  {7, 8, {14, 28, 3, 23}, 322},   {123, 12, {14, 28, 3, 9}, 1121}};
  for (const auto& [code, type, label, samples] : rates) {
    MetaData take = sampleTake();
    take.setFrameRate(code);
    const std::string document = kIXMLPrologue + take.iXMLForFile(1);
    // clang-format off
    std::string expected =
        "caff" + be(1, 2) + be(0, 2) +
        // rate as a double, little-endian integers, bytes and frames in a packet, channels, bits
        "desc" + be(32, 8) + be(0x40F76A0000000000, 8) + "lpcm" + be(2) + be(9) + be(1) + be(3) + be(24) +
        "strg" + be(20, 8) + be(1) + be(1) + be(0, 8) + field("CAM", 4) +
        "mark" + be(36, 8) + be(type) + be(1) + "rsyc" + be(0, 8) + be(1) + label + be(samples) + be(0) +
        "iXML" + be(document.size(), 8) + document;
    expected += "free" + be(131056 - 12 - expected.size(), 8);
    expected = field(expected, 131056) + "data" + be(53687061, 8) + be(0);
    // clang-format on
    SCOPED_TRACE(code);
    expectSame(cafHeaderOf(take), expected);
  }
}

TEST_F(CAFUtilsTest, sizesAndCodesChangeTheirFieldsAlone) {
  const std::tuple<int32_t, int32_t, int64_t, size_t, std::string> cases[] = {
      {3, 1, 1, 32, be(3) + be(12) + be(1) + be(3) + be(32) + "strg"},
      {9, 1, 1, 32, be(6) + be(1) + be(3) + be(16) + "strg"}, // codes that are not known leave their fields out
      {2, 8, 1, 84, "mark" + be(36, 8) + be(1) + "rsyc"},
      {2, 1, 0, 131056, "data" + be(UINT64_MAX, 8)}, // of unknown length
      {2, 1, 1LL << 32, 131056, "data" + be(9LL << 32, 8)}};
  for (const auto& [bit_depth, frame_rate, nr_samples, at, bytes] : cases) {
    MetaData take = sampleTake();
    take.setBitDepth(bit_depth);
    take.setFrameRate(frame_rate);
    take.setNrSamples(nr_samples);
    EXPECT_EQ(cafHeaderOf(take).substr(at, bytes.size()), bytes);
  }
}

} // namespace vurl
