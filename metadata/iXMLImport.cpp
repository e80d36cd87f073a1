// What the iXML document in a file's header tells of its take. The reverse is MetaDataTexts.cpp.
#include "metadata/MetaData.h"
#include "metadata/RateTexts.h"
#include "platform/Log.h"
#include "platform/Text.h"
#include "platform/XmlDocument.h"

#include <time.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>

namespace vurl {
namespace {

/// Reads the elements of one document, by their paths within BWFXML, wherever that stands.
class Elements {
public:
  explicit Elements(const std::string& text) {
    std::string reason;
    if (auto parsed = XmlDocument::parse(text, reason)) {
      document = std::move(*parsed);
    } else {
      log("The iXML document cannot be read, %@", reason);
    }
  }

  std::string string(const std::string& path) const {
    return MetaData::getValueWithXMLPath(document, ".//BWFXML/" + path);
  }

  int64_t number(const std::string& path) const { return leadingInteger(string(path)); }

  /// A number limited to `lowest` and `highest`.
  int32_t limited(const std::string& path, int32_t lowest, int32_t highest) const {
    return static_cast<int32_t>(std::clamp<int64_t>(number(path), lowest, highest));
  }

  int32_t integer(const std::string& path) const {
    return limited(path, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max());
  }

private:
  XmlDocument document;
};

/// The code of an iXML rate and flag, when this system knows them.
std::optional<int32_t> frameRateCode(const std::string& rate, const std::string& flag) {
  const auto* const known = std::find_if(kRateTexts.begin(), kRateTexts.end(), [&](const RateTexts& texts) {
    return *texts.timecode != '\0' && rate == texts.timecode && flag == texts.flag;
  });
  if (known == kRateTexts.end()) return std::nullopt;
  return static_cast<int32_t>(known->frame_rate);
}

/// Seconds since 1970 of "2009-03-14" and "15:09:26" in the system's time zone, or nothing when they are no date.
std::optional<int64_t> secondsOfLocalTime(const std::string& date, const std::string& time) {
  tm local{};
  if (strptime((date + ' ' + time).c_str(), "%Y-%m-%d %H:%M:%S", &local) == nullptr) return std::nullopt;
  local.tm_isdst = -1; // the document does not say
  local.tm_wday = -1;  // tells the second before 1970 from a failure
  const time_t seconds = mktime(&local);
  if (seconds == -1 && local.tm_wday == -1) return std::nullopt;
  return seconds;
}

} // namespace

std::string MetaData::getValueWithXMLPath(const XmlDocument& document, const std::string& xpath) {
  return document.firstValue(xpath).value_or("error");
}

int32_t MetaData::setIXML(const std::string& document) {
  setIXMLDocument(document.substr(0, document.find('\0')));
  const Elements elements(ixml_document);
  texts.project = elements.string("PROJECT");
  texts.scene = elements.string("SCENE");
  texts.slate = elements.string("SLATE");
  texts.take = elements.string("TAKE");
  texts.roll = elements.string("TAPE");
  texts.note = elements.string("NOTE");
  texts.contact_info = elements.string("KELDARIS/CONTACT_INFO");
  texts.session_note = elements.string("KELDARIS/SESSION_NOTE");
  piece_count = elements.integer("COUNT");
  original_sample_rate = elements.integer("SPEED/DIGITIZER_SAMPLE_RATE");
  frame_rate = frameRateCode(elements.string("SPEED/TIMECODE_RATE"), elements.string("SPEED/TIMECODE_FLAG"))
                   .value_or(frame_rate);
  origination_date =
      secondsOfLocalTime(elements.string("BEXT/BWF_ORIGINATION_DATE"), elements.string("BEXT/BWF_ORIGINATION_TIME"))
          .value_or(origination_date);
  start_timestamp = static_cast<uint64_t>(elements.number("SYNC_POINT_LIST/SYNC_POINT/SYNC_POINT_HIGH")) << 32 |
                    static_cast<uint64_t>(elements.number("SYNC_POINT_LIST/SYNC_POINT/SYNC_POINT_LOW"));

  writableSlot(0).channel_mask = writableSlot(0).adjusted_channel_mask = 0;
  const int32_t tracks = elements.limited("TRACK_LIST/TRACK_COUNT", 0, kMaximumChannels);
  for (int32_t track = 1; track <= tracks; track++) {
    // A missing index counts as 0 and enables nothing, one that is too high is the last channel.
    setEnable(true, elements.limited(text("TRACK_LIST/TRACK[%i]/CHANNEL_INDEX", track), 0, kMaximumChannels) - 1, 0);
  }
  nr_files = elements.limited("FILE_SET/TOTAL_FILES", 0, kMaximumFiles);
  if (nr_files > 0) return elements.limited("FILE_SET/FILE_SET_INDEX", 1, kMaximumFiles) - 1;
  nr_files = 1;
  return 0;
}

} // namespace vurl
