// What the tests of take files' headers share.
#pragma once

#include "files/BWFUtils.h"
#include "files/CAFUtils.h"
#include "tests/metadata/SampleTake.h"
#include "tests/support/Bytes.h"

namespace vurl {

struct HeaderTest : SampleTake {
  /// The header of file `file` of `take`, followed by bytes that must not be touched.
  static std::string headerOf(const MetaData& take, int32_t file = 1, decltype(&add_bwf) add = add_bwf) {
    std::string block(kHeaderSize + 64, '#');
    EXPECT_EQ(add(reinterpret_cast<uint8_t*>(block.data()), 0, take, file), kHeaderSize);
    EXPECT_EQ(block.substr(kHeaderSize), std::string(64, '#'));
    return block.substr(0, kHeaderSize);
  }
  static std::string cafHeaderOf(const MetaData& take) { return headerOf(take, 1, add_caf); }

  static void expectSame(const std::string& actual, const std::string& expected) {
    const auto difference = std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end()).first;
    EXPECT_EQ(difference - actual.begin(), kHeaderSize) << "first difference";
  }

  MetaData back{defaults}; ///< what was read
};

} // namespace vurl
