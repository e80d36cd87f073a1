// What others write into the texts of the next take, over the session bus: settings as hostile as they come, then keys
// and texts. What is refused must leave the settings alone; what is stored must be fit for names, headers and reports.
#include "app/NextTake.h"
#include "app/TakeTexts.h"
#include "files/BWFUtils.h"
#include "fuzz/Rig.h"
#include "platform/Text.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <limits.h>

#include <algorithm>
#include <array>
#include <set>

namespace vurl::fuzz {
namespace {

constexpr std::array kKeys{"project", "scene",        "slate",        "take",      "roll",       "note",
                           "count",   "contact_info", "session_note", "bit_depth", "csv_folder", "filename_format"};
constexpr size_t kTexts = 9; ///< of these are texts of a take

std::string word(FuzzedDataProvider& input, size_t longest) { return input.ConsumeRandomLengthString(longest); }

/// A word, or one that is repeated up to 100 times: texts at their limits are long.
std::string longWord(FuzzedDataProvider& input) {
  const auto times = std::max(1, input.ConsumeIntegralInRange(-20, 100));
  const std::string once = word(input, 1100);
  std::string whole;
  for (int i = 0; i < times && whole.size() <= 1100; i++) whole += once;
  return whole;
}

void fillSettings(FuzzedDataProvider& input, UserDefaults& defaults) {
  defaults.setInteger(input.ConsumeIntegralInRange(1, 12), "nr_files");
  defaults.setInteger(input.ConsumeIntegralInRange(1, 2), "nr_folders");
  defaults.setInteger(4, "nr_channels");
  defaults.setInteger(MetaData::kBWF, "file_format");
  defaults.setInteger(INTEGER24, "bit_depth");
  defaults.setInteger(input.ConsumeIntegralInRange(0, 1'000'000'000), "count");
  defaults.setBool(input.ConsumeBool(), "reset_take");
  for (const char* const key : {"filename_format", "csv_filename_format"}) defaults.setObject(word(input, 60), key);
  for (const char* const key : {"csv_folder", "path_for_folder00", "path_for_folder01"})
    defaults.setObject(word(input, 20), key);
  for (int32_t channel = 0; channel < 4; channel++) {
    defaults.setObject(word(input, 60), text("name_for_channel%02i", channel));
    defaults.setBool(true, text("channel%02i_in_file%03i", channel, input.ConsumeIntegralInRange(0, 3)));
  }
  for (size_t i = 0; i < kTexts; i++)
    if (input.ConsumeBool() && kKeys[i] != std::string("count")) defaults.setObject(longWord(input), kKeys[i]);
}

TakeTexts textsOf(FuzzedDataProvider& input) {
  TakeTexts texts;
  while (input.remaining_bytes() > 0 && texts.size() < 20) {
    const auto which = input.ConsumeIntegralInRange<size_t>(0, 63);
    const std::string key = which == 63 ? word(input, 300) : kKeys[which < kKeys.size() ? which : which % kTexts];
    texts.emplace_back(key, longWord(input));
  }
  return texts;
}

/// The longest of all names that a take by `defaults` is made of, in bytes, which must all stay where they belong.
size_t longestName(const UserDefaults& defaults) {
  const MetaData take = nextTake(defaults);
  size_t longest = 0;
  const auto look = [&](const std::string& path, const std::string& folder) {
    require(path.starts_with(folder) && path.find('/', folder.size()) == std::string::npos,
            "no name leaves its folder");
    longest = std::max(longest, path.size() - folder.size());
  };
  for (int32_t file = 0; file < take.nrFiles(); file++)
    look(take.filenameForFile(file), expandTilde(take.pathForFolder(take.folderForFile(file)) + '/'));
  look(take.csvFilename(), expandTilde(defaults.stringForKey("csv_folder") + '/'));
  return longest;
}

/// What may stand in names, headers, reports and on a terminal.
void checkCharacters(const std::string& text) {
  require(wellFormed(text) == text, "a text is valid UTF-8");
  require(std::none_of(text.begin(), text.end(), [](unsigned char c) { return c < ' ' || c == 0x7F; }),
          "a text has no controls");
  for (char c = '\x80'; c < '\xA0'; c++)
    require(text.find({'\xC2', c}) == std::string::npos, "a text has no controls beyond ASCII either");
  SettingMap values{{"text", text}};
  std::string reason;
  require(parsePropertyList(writePropertyList(values), reason) == values, "XML can hold a text");
}

void checkStored(const TakeTexts& texts, const SettingMap& before, const UserDefaults& defaults) {
  std::set<std::string> told;
  for (const auto& [key, value] : texts) {
    require(std::find(kKeys.begin(), kKeys.begin() + kTexts, key) != kKeys.begin() + kTexts, "a text has a known key");
    require(told.insert(key).second, "a text is given once");
    require(value.size() <= 1024, "a text is not too long");
    require(defaults.stringForKey(key) == value || (key == "count" && defaults.integerForKey(key) == std::stoll(value)),
            "what is accepted is stored");
    checkCharacters(value);
  }
  if (told.contains("scene") || told.contains("slate")) told.insert("take"); // it may begin anew
  for (const auto& [key, value] : defaults.all())
    require(told.contains(key) || (before.contains(key) && before.at(key) == value), "nothing else is stored");
}

/// The texts come back from a header, as far as XML takes them without an escape.
void checkHeader(const TakeTexts& texts) {
  UserDefaults defaults;
  defaults.setInteger(1, "nr_files");
  defaults.setInteger(INTEGER24, "bit_depth");
  storeTakeTexts(texts, defaults, [] {});
  MetaData take = nextTake(defaults);
  take.setFilename("/takes/1.wav", 0);
  std::vector<uint8_t> block(kHeaderSize);
  require(add_bwf(block.data(), 0, take, 0) == kHeaderSize, "a header fills its block");
  MetaData back(defaults);
  require(get_bwf(block.data(), 0, back, kHeaderSize) >= 0, "a header can be read");
  constexpr std::array kGetters{&MetaData::project, &MetaData::scene, &MetaData::slate,       &MetaData::take,
                                &MetaData::roll,    &MetaData::note,  &MetaData::contactInfo, &MetaData::sessionNote};
  for (const auto& [key, value] : texts)
    if (value.find_first_of("<&>") != std::string::npos) return;
  for (const auto get : kGetters) require((back.*get)() == (take.*get)(), "a header gives the texts back");
  require(back.count() == take.count(), "a header gives the number of the piece back");
}

} // namespace
} // namespace vurl::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vurl;
  FuzzedDataProvider input(data, size);
  UserDefaults defaults;
  fuzz::fillSettings(input, defaults);
  const TakeTexts texts = fuzz::textsOf(input);
  const SettingMap before = defaults.all();
  const size_t longest = fuzz::longestName(defaults);

  const std::string fault = takeTextsFault(texts, defaults);
  fuzz::require(defaults.all() == before, "who judges stores nothing");
  fuzz::require(printable(fault) == fault && nrCodePoints(fault) <= 250, "a refusal is short, and fit for a terminal");
  if (!fault.empty()) return 0;
  storeTakeTexts(texts, defaults, [&defaults] {
    if (defaults.boolForKey("reset_take")) defaults.setObject(std::string("1"), "take");
  });
  fuzz::checkStored(texts, before, defaults);
  fuzz::require(fuzz::longestName(defaults) <= std::max<size_t>(NAME_MAX, longest), "names do not become too long");
  fuzz::checkHeader(texts);
  return 0;
}
