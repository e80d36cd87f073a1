#include "metadata/MetaData.h"
#include "metadata/RateTexts.h"
#include "platform/Text.h"

// What the reports of a session tell about a take.

namespace vurl {

std::string MetaData::csvHeader() {
  return "date,timecode,duration,fps,filename,project,scene,slate,take,roll,count,note,rate,depth\n";
}

std::string MetaData::csvLine() const {
  return text("%@,%@,%@,%@,%@,\"%@\",\"%@\",\"%@\",\"%@\",\"%@\",%i,\"%@\",%i,%@\n",
              originationDateString("%Y-%m-%d %H:%M:%S"), timestampString(), durationString(),
              rateTexts(frame_rate).csv, filenameForFile(0), texts.project, texts.scene, texts.slate, texts.take,
              texts.roll, piece_count, texts.note, sample_rate, bitDepthString());
}

const char* MetaData::bitDepthString() const {
  switch (bit_depth) {
  case INTEGER16: return "16 bit";
  case INTEGER24: return "24 bit";
  case FLOAT32: return "32 bit";
  default: return "";
  }
}

} // namespace vurl
