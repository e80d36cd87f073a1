#include "app/SoundReport.h"

#include "platform/Resources.h"
#include "platform/StyleSheet.h"
#include "platform/Text.h"
#include "platform/WholeFile.h"
#include "platform/XmlDocument.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <unordered_map>

namespace vurl {
namespace {

constexpr std::string_view kTakeBegin = "<BWFXML>\r\n\t<IXML_VERSION>";
constexpr std::string_view kTakeEnd = "</BWFXML>";
constexpr std::string_view kListEnd = "</BWFXML-LIST>";

/// The elements that hold what the user typed, and nothing else.
constexpr std::array<std::string_view, 11> kUserElements{
    "PROJECT",     "SCENE", "SLATE",           "TAKE",         "TAPE",        "NOTE",
    "FAMILY_NAME", "NAME",  "BWF_DESCRIPTION", "CONTACT_INFO", "SESSION_NOTE"};

bool isWellFormed(const std::string& document) {
  std::string reason;
  return XmlDocument::parse(document, reason).has_value();
}

/// `character`, one code point, as XML text; U+FFFD for what XML has no place for.
std::string_view escapedCharacter(std::string_view character) {
  constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
  if (character.size() > 1)
    return character == "\xEF\xBF\xBE" || character == "\xEF\xBF\xBF" ? kReplacement : character;
  switch (character.front()) {
  case '&': return "&amp;";
  case '<': return "&lt;";
  case '>': return "&gt;";
  case '"': return "&quot;";
  case '\t':
  case '\n':
  case '\r': return character;
  default: break;
  }
  const auto byte = static_cast<unsigned char>(character.front());
  return byte < 0x20 || byte >= 0x80 ? kReplacement : character;
}

std::string escaped(std::string_view string) {
  std::string result;
  while (!string.empty()) {
    const std::string_view character = firstCodePoints(string, 1);
    result += escapedCharacter(character);
    string.remove_prefix(character.size());
  }
  return result;
}

/// The name of the user's element that begins with "<" at the start of `rest`; empty for any other.
std::string_view userElementAt(std::string_view rest) {
  constexpr size_t kLongest = sizeof "<BWF_DESCRIPTION>" - 1;
  const size_t end = rest.substr(0, kLongest).find('>');
  const std::string_view name = rest.substr(1, end == std::string_view::npos ? 0 : end - 1);
  const auto* const known = std::find(kUserElements.begin(), kUserElements.end(), name);
  return known == kUserElements.end() ? std::string_view() : *known;
}

/// `document` with the user's texts escaped. Each stands between its tags on a line of its own, so that only a text
/// with such a line in it is misread.
std::string repaired(std::string_view document) {
  std::string result;
  std::set<std::string_view> endless; // elements of which no end stands in the rest
  while (!document.empty()) {
    const size_t tag = std::min(document.find('<'), document.size());
    result += document.substr(0, tag);
    document.remove_prefix(tag);
    if (document.empty()) break;
    const std::string_view name = userElementAt(document);
    const std::string closing = text("</%@>\r\n", name);
    const bool is_text = !name.empty() && !endless.contains(name);
    const size_t end = is_text ? document.find(closing) : std::string_view::npos;
    if (end == std::string_view::npos) {
      endless.insert(name);
      result += document.front();
      document.remove_prefix(1);
      continue;
    }
    const size_t begin = name.size() + 2;
    result += text("<%@>%@%@", name, escaped(document.substr(begin, end - begin)), closing);
    document.remove_prefix(end + closing.size());
  }
  return result;
}

/// `document` with a word on how it was found.
std::string wellFormed(const std::string& document, const char*& state) {
  state = "whole";
  if (isWellFormed(document)) return document;
  state = "repaired";
  std::string fixed = repaired(document);
  if (isWellFormed(fixed)) return fixed;
  state = "damaged";
  fixed = recoveredXML(fixed);
  return fixed.starts_with("<BWFXML>") && isWellFormed(fixed) ? fixed : "<BWFXML></BWFXML>";
}

/// The documents of the takes in a report.
std::vector<std::string> documentsIn(const std::string& xml) {
  std::vector<std::string> documents;
  size_t begin = xml.find(kTakeBegin);
  while (begin != std::string::npos) {
    const size_t next = xml.find(kTakeBegin, begin + 1);
    std::string_view part(xml.data() + begin, std::min(next, xml.size()) - begin);
    if (next == std::string::npos) part = part.substr(0, part.rfind(kListEnd));
    const size_t end = part.rfind(kTakeEnd);
    documents.emplace_back(part.substr(0, end == std::string_view::npos ? end : end + kTakeEnd.size()));
    begin = next;
  }
  return documents;
}

/// The text between the first "<NAME>" and "</NAME>".
std::string_view elementText(std::string_view document, std::string_view name) {
  const std::string opening = text("<%@>", name);
  const size_t begin = document.find(opening);
  if (begin == std::string_view::npos) return {};
  document.remove_prefix(begin + opening.size());
  const size_t end = document.find('<');
  return end == std::string_view::npos ? std::string_view() : document.substr(0, end);
}

std::string fileElement(const std::string& path, const std::string& track_list) {
  const std::string tracks = isWellFormed(track_list) ? track_list : repaired(track_list);
  return text("<FILE name=\"%@\">%@</FILE>", escaped(path.substr(path.find_last_of('/') + 1)),
              isWellFormed(tracks) ? tracks : "");
}

/// What the history adds to a take: all its files with their tracks, and where its timecode ends.
std::string filesElement(const ListedTake& take) {
  const MetaData& record = take.meta_data;
  const auto end = record.timestamp() + static_cast<uint64_t>(record.nrSamples());
  std::string element = text("<FILES out=\"%@\">", record.timestampStringForCounter(end));
  auto read = take.files.begin();
  for (int32_t file = 0; file < record.nrFiles(); file++) {
    while (read != take.files.end() && read->number < file) read++;
    if (read != take.files.end() && read->number == file) {
      element += fileElement(read->path, read->track_list);
    } else if (record.playback()) { // recorded since the program started: the record knows all its files
      element += fileElement(record.filenameForFile(file), trackListOf(record.iXMLForFile(file)));
    }
  }
  return element + "</FILES>";
}

/// The takes by their reference; null for a reference that several share.
std::unordered_map<std::string_view, const ListedTake*> byReference(const std::vector<TakePointer>& takes) {
  std::unordered_map<std::string_view, const ListedTake*> index;
  for (const TakePointer& take : takes) {
    const auto [entry, is_new] = index.emplace(take->reference, take.get());
    if (!is_new) entry->second = nullptr;
  }
  return index;
}

std::optional<std::string> resource(const char* type, std::string& reason) {
  const auto path = Resources::path("soundreport", type);
  if (!path) {
    reason = text("the program has no soundreport.%s", type);
    return std::nullopt;
  }
  return readWholeFile(*path, reason);
}

std::optional<std::string> pageOf(const std::string& xml, const std::vector<TakePointer>& takes, std::string& reason) {
  const auto sheet_text = resource("xsl", reason);
  const auto style = sheet_text ? resource("css", reason) : std::nullopt;
  const auto sheet = style ? StyleSheet::parse(*sheet_text, reason) : std::nullopt;
  return sheet ? sheet->apply(soundReportInput(xml, takes), {{"style", *style}}, reason) : std::nullopt;
}

} // namespace

std::string soundReportXML(const std::string& folder) { return folder + "/soundreport.xml"; }

std::string soundReportPage(const std::string& folder) { return folder + "/soundreport.html"; }

std::string soundReportInput(const std::string& xml, const std::vector<TakePointer>& takes) {
  const auto index = byReference(takes);
  std::string input = "<?xml version=\"1.0\" encoding=\"UTF-8\"?><REPORT>";
  int64_t number = 0;
  for (const std::string& document : documentsIn(xml)) {
    const char* state = "";
    const std::string take = wellFormed(document, state);
    const auto known = index.find(elementText(take, "FAMILY_UID"));
    const bool is_known = known != index.end() && known->second != nullptr;
    input += text("<FOUND number=\"%qi\" state=\"%s\">%@%@</FOUND>", ++number, state, take,
                  is_known ? filesElement(*known->second) : "");
  }
  return input + "</REPORT>";
}

std::optional<std::string> renderSoundReport(const std::string& folder, const std::vector<TakePointer>& takes,
                                             std::string& reason) {
  const auto xml = readWholeFile(soundReportXML(folder), reason);
  if (!xml) {
    reason = "soundreport.xml: " + reason;
    return std::nullopt;
  }
  const auto page = pageOf(*xml, takes, reason);
  if (!page) return std::nullopt;
  if (const auto error = writeWholeFile(soundReportPage(folder), *page)) {
    reason = "soundreport.html: " + *error;
    return std::nullopt;
  }
  return soundReportPage(folder);
}

} // namespace vurl
