#include "files/CutDocument.h"

#include "metadata/RateTexts.h"
#include "platform/Text.h"

#include <algorithm>
#include <optional>

namespace vurl {
namespace {

constexpr std::string_view kClosing = "\r\n</BWFXML>\r\n"; ///< no text of the user has such a line
constexpr size_t kSpareBlanks = 64;                        ///< for the durations

/// A stretch of a text, in bytes.
struct Stretch {
  size_t begin;
  size_t end;
};

/// The content of the first element `tag` of `document` behind `from`.
std::optional<Stretch> contentOf(std::string_view document, const std::string& tag, size_t from) {
  const size_t opening = document.find('<' + tag + '>', from);
  if (opening == std::string_view::npos) return std::nullopt;
  const size_t begin = opening + tag.size() + 2;
  const size_t end = document.find("</" + tag + '>', begin);
  if (end == std::string_view::npos) return std::nullopt;
  return Stretch{begin, end};
}

/// Where the element begins, at the end when it is missing, that tells of rates and durations. The user's texts, which
/// may hold anything, stand before and behind it, but begin no line of this depth.
size_t speedOf(std::string_view document) { return std::min(document.find("\r\n\t<SPEED>\r\n"), document.size()); }

std::string contentText(std::string_view document, const std::string& tag, size_t from) {
  const auto found = contentOf(document, tag, from);
  return found ? std::string(document.substr(found->begin, found->end - found->begin)) : "";
}

/// Puts `content` into an element of `document`, which keeps its length by giving or taking blanks at the end.
bool replaceContent(std::string& document, const std::string& tag, size_t from, const std::string& content) {
  const auto old = contentOf(document, tag, from);
  if (!old) return false;
  const size_t size = document.size();
  const size_t last = document.find_last_not_of(' ');
  const size_t blanks = size - 1 - last;
  if (content.size() > old->end - old->begin + blanks) return false;
  document.replace(old->begin, old->end - old->begin, content);
  document.resize(size, ' ');
  return true;
}

} // namespace

uint32_t frameRateOf(std::string_view document) {
  const size_t speed = speedOf(document);
  const std::string rate = contentText(document, "TIMECODE_RATE", speed);
  const std::string flag = contentText(document, "TIMECODE_FLAG", speed);
  const auto* const known = std::find_if(kRateTexts.begin(), kRateTexts.end(), [&](const RateTexts& texts) {
    return rate.empty() ? document.find(std::string("bSPEED=") + texts.speed + "\r\n") != std::string_view::npos
                        : rate == texts.timecode && flag == texts.flag;
  });
  return known == kRateTexts.end() ? FRAME_RATE_59_94 : known->frame_rate;
}

std::string takeReferenceOf(std::string_view document) {
  return contentText(document, "FAMILY_UID", speedOf(document));
}

bool tellDuration(std::string& document, int64_t nr_frames, const std::string& duration) {
  const size_t speed = speedOf(document);
  return replaceContent(document, "DURATION_SAMPLES", speed, text("%qi", nr_frames)) &&
         replaceContent(document, "DURATION_TEXT", speed, duration);
}

std::string mendedDocument(std::string_view area, size_t size) {
  const size_t closing = area.find(kClosing);
  const std::string_view text =
      closing != std::string_view::npos ? area.substr(0, closing + kClosing.size()) : area.substr(0, area.find('\0'));
  std::string document(text.substr(0, text.rfind("\r\n") + 2)); // at least the prologue
  std::replace(document.begin(), document.end(), '\0', ' ');
  size = std::max(size, text.size() + kSpareBlanks);
  document.resize(std::min(size + size % 2, area.size()), ' ');
  return document;
}

} // namespace vurl
