#include "app/TakeTexts.h"

#include "app/NextTake.h"
#include "app/SettingsKeys.h"
#include "platform/Text.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>

namespace vurl {
namespace {

constexpr size_t kLongestText = 1024; ///< bytes
constexpr size_t kLongestFileName =
    240; ///< bytes, of the 255 that file systems take: the number of a piece comes behind
constexpr size_t kShownOfUnknownKey = 40; ///< code points
constexpr size_t kLongestReason = 200;    ///< code points

/// In the order in which they are stored: the take comes last, as scene and slate may reset it.
constexpr std::array kKeys = {"project", "scene",        "slate",        "roll", "note",
                              "count",   "contact_info", "session_note", "take"};

const std::string* find(const TakeTexts& texts, std::string_view key) {
  const auto found = std::find_if(texts.begin(), texts.end(), [&](const auto& text) { return text.first == key; });
  return found == texts.end() ? nullptr : &found->second;
}

/// U+FFFE and U+FFFF, which no XML document may hold, are valid UTF-8 all the same.
bool isPlain(const std::string& string) {
  return printable(string) == string && string.find("\xEF\xBF\xBE") == std::string::npos &&
         string.find("\xEF\xBF\xBF") == std::string::npos;
}

/// Of all files: channels may name each of them differently.
size_t longestFileName(const MetaData& take) {
  const auto length = [](const std::string& path) { return path.size() - (path.rfind('/') + 1); };
  size_t longest = length(take.csvFilename());
  for (int32_t file = 0; file < take.nrFiles(); ++file) longest = std::max(longest, length(take.filenameForFile(file)));
  return longest;
}

/// Names that are too long already may be made shorter.
bool makeNamesTooLong(const TakeTexts& texts, const UserDefaults& defaults) {
  // Which channels go where, which takes its time with many files, only shows in "%c".
  const bool shows_tracks = defaults.stringForKey("filename_format").find('c') != std::string::npos;
  MetaData take = nextTake(defaults, shows_tracks ? MetaData::kMaximumFiles : 1);
  const size_t before = longestFileName(take);
  const auto set = [&](const char* key, auto setter) {
    if (const std::string* const value = find(texts, key)) (take.*setter)(*value);
  };
  set("project", &MetaData::setProject);
  set("scene", &MetaData::setScene);
  set("slate", &MetaData::setSlate);
  set("take", &MetaData::setTake);
  set("roll", &MetaData::setRoll);
  set("note", &MetaData::setNote);
  if (const std::string* const count = find(texts, "count"))
    take.setCount(static_cast<int32_t>(leadingInteger(*count))); // in its range
  size_t after = longestFileName(take);
  const bool is_scene = find(texts, "scene") != nullptr || find(texts, "slate") != nullptr;
  if (is_scene && find(texts, "take") == nullptr && defaults.boolForKey("reset_take")) {
    take.setTake("1");
    after = std::max(after, longestFileName(take));
  }
  return after > kLongestFileName && after >= before;
}

} // namespace

bool isTakeText(std::string_view key) { return std::find(kKeys.begin(), kKeys.end(), key) != kKeys.end(); }

TakeTexts takeTexts(const UserDefaults& defaults) {
  TakeTexts texts;
  for (const char* const key : kKeys) texts.emplace_back(key, defaults.stringForKey(key));
  return texts;
}

std::string takeTextsFault(const TakeTexts& texts, const UserDefaults& defaults) {
  std::set<std::string_view> seen;
  for (const auto& [key, value] : texts) {
    if (!isTakeText(key))
      return text("There is no \"%@\" in metaData.", printable(firstCodePoints(key, kShownOfUnknownKey)));
    if (!seen.insert(key).second) return text("\"%@\" is given twice.", key);
    if (value.size() > kLongestText) return text("\"%@\" is longer than %i bytes.", key, kLongestText);
    if (!isPlain(value)) return text("\"%@\" holds control characters, or bytes that are no UTF-8.", key);
    std::string reason;
    if (!parseSetting(key, value, reason)) return std::string(firstCodePoints(reason, kLongestReason));
  }
  if (makeNamesTooLong(texts, defaults)) return "The names of files would become too long.";
  return "";
}

void storeTakeTexts(const TakeTexts& texts, UserDefaults& defaults, const std::function<void()>& scene_changed) {
  for (const std::string_view key : kKeys) {
    const std::string* const value = find(texts, key);
    if (value == nullptr) continue;
    const bool is_scene = key == "scene" || key == "slate";
    const bool changes = defaults.stringForKey(std::string(key)) != *value;
    std::string reason;
    if (const auto setting = parseSetting(key, *value, reason)) defaults.setObject(*setting, std::string(key));
    if (changes && is_scene) scene_changed();
  }
}

} // namespace vurl
