// How each frame rate is told in file names, documents and reports of a take. Constant data, any thread. Who
// uses it: MetaDataNames.cpp, MetaDataTexts.cpp and MetaDataReport.cpp.
#pragma once

#include "timecode/ltc.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace vurl {

struct RateTexts {
  uint32_t frame_rate;  ///< FrameRate code
  const char* token;    ///< in file names
  const char* speed;    ///< in the bext description
  const char* timecode; ///< iXML's rate as a fraction
  const char* flag;     ///< iXML's flag
  const char* csv;      ///< in the CSV report
};

/// An empty text: this rate is not told there.
constexpr std::array<RateTexts, 9> kRateTexts{{
    {FRAME_RATE_24, "24nd", "024.000-ND", "24/1", "NDF", "24 ND"},
    {FRAME_RATE_25, "25nd", "025.000-ND", "25/1", "NDF", "25 ND"},
    {FRAME_RATE_30_DROP, "30df", "030.000-DF", "30/1", "DF", "30 DF"},
    {FRAME_RATE_30, "30nd", "030.000-ND", "30/1", "NDF", "30 ND"},
    {FRAME_RATE_29_97, "29nd", "029.970-ND", "30000/1001", "NDF", "29.97 ND"},
    {FRAME_RATE_29_97_DROP, "29df", "029.970-DF", "30000/1001", "DF", "29.97 DF"},
    {FRAME_RATE_60, "", "060.000-ND", "", "", "60 ND"},
    {FRAME_RATE_59_94, "", "", "", "", "59.94 ND"},
    {FRAME_RATE_23_976, "23nd", "023.976-ND", "24000/1001", "NDF", "23.97 ND"},
}};

/// The texts of `frame_rate`; all empty for a code that the table does not have.
inline RateTexts rateTexts(int32_t frame_rate) {
  const auto code = static_cast<uint32_t>(frame_rate);
  const auto* const found = std::find_if(kRateTexts.begin(), kRateTexts.end(),
                                         [code](const RateTexts& texts) { return texts.frame_rate == code; });
  return found == kRateTexts.end() ? RateTexts{code, "", "", "", "", ""} : *found;
}

} // namespace vurl
