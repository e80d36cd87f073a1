// The take that the tests of records and headers share, and its iXML document as written by hand.
#pragma once

#include "metadata/MetaData.h"
#include "tests/support/Test.h"

#include <cstdlib>
#include <ctime>

namespace vurl {

/// Settings and records in a fixed time zone, one hour ahead of UTC in winter.
struct SampleTake : testing::Test {
  SampleTake() {
    setenv("TZ", "TST-1", 1);
    setenv("HOME", "/home/u", 1);
    tzset();
    defaults.setObject(std::string("%s_T%2t"), "filename_format");
  }

  /// File 1 of three: channels 2, 5 and 6 of eight; a timestamp that needs more than 32 bits.
  MetaData sampleTake() const {
    MetaData take(defaults, [] { return WallTime{1237039766, 0, 3600}; }); // 2009-03-14 15:09:26
    // clang-format off
    take.setOriginalSampleRate(96000); take.setSampleRate(95904); take.setFrameRate(FRAME_RATE_25);
    take.setNrChannels(8); take.setNrFiles(3); take.setNrFolders(1); take.setPath("~/Audio", 0);
    take.setFileFormat(MetaData::kBWF); take.setBitDepth(INTEGER24); take.setSampleOffset(131072);
    take.setTimestamp(5000000123); take.setNrSamples(5965229); take.setCount(2);
    take.setProject("Film & <Söhne>"); take.setScene("12A"); take.setSlate("7"); take.setTake("3"); take.setRoll("R1");
    take.setNote("wind"); take.setContactInfo("555-0100"); take.setSessionNote("day 1");
    // clang-format on
    for (const auto& [channel, name] : {std::pair{6, "right"}, {2, "boom"}, {5, "left"}}) {
      take.setEnable(true, channel, 1);
      take.setName(name, channel);
    }
    return take;
  }

  /// The document of file 1 without the blanks behind.
  static std::string goldenDocument() {
    std::string document = fileBytes(VURL_TESTS "/metadata/sampleTake.ixml");
    replaceAll(document, "\n", "\r\n");
    return document;
  }

  /// `document` with 2048 blanks behind, or one more where that makes its length even.
  static std::string padded(std::string document) { return document.append(2048 + document.size() % 2, ' '); }

  static void replaceAll(std::string& string, const std::string& old_part, const std::string& new_part) {
    for (size_t at = 0; (at = string.find(old_part, at)) != std::string::npos; at += new_part.size())
      string.replace(at, old_part.size(), new_part);
  }

  UserDefaults defaults;
};

} // namespace vurl
