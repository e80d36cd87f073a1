// Settings from a file that anybody may have written, and from a command line. The first byte of the input is even: a
// property list follows; odd: words for settings, "key=value", one a line.
#include "app/SettingsKeys.h"
#include "fuzz/Rig.h"
#include "platform/UserDefaults.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace vurl::fuzz {
namespace {

constexpr std::array<size_t, 3> kHeldAs{1, 0, 3}; ///< by SettingKind: which alternative of a SettingValue

/// Whether a property list can hold `value` as it is.
bool canBeWritten(const SettingValue& value) {
  const double* const real = std::get_if<double>(&value);
  return real == nullptr || std::isfinite(*real);
}

/// Asks settings for each value in all ways.
void ask(const SettingMap& values) {
  UserDefaults defaults;
  defaults.registerDefaults(values);
  for (const auto& [key, value] : values) {
    const int64_t number = defaults.integerForKey(key);
    const bool truth = defaults.boolForKey(key);
    require(defaults.stringForKey(key).empty() <= (number == 0 && !truth), "no text is no number");
    require(defaults.objectForKey(key) == value || !canBeWritten(value), "a value is held as it is");
    static_cast<void>(settingText(value));
    defaults.setObject(value, key);
  }
}

/// Writes `values` and reads them again.
SettingMap again(const SettingMap& values) {
  std::string reason;
  const auto back = parsePropertyList(writePropertyList(values), reason);
  require(back.has_value(), "what was written can be read");
  return *back;
}

void checkList(const std::string& document) {
  std::string reason;
  const auto values = parsePropertyList(document, reason);
  require(values.has_value() || !reason.empty(), "a document that is refused is told why");
  if (!values) return;
  ask(*values);
  const SettingMap back = again(*values);
  require(back.size() == values->size(), "no value goes");
  for (const auto& [key, value] : *values)
    require(back.contains(key) && (back.at(key) == value || !canBeWritten(value)), "what was read can be kept");
}

void checkWords(std::string_view lines) {
  SettingMap values;
  while (!lines.empty()) {
    const std::string_view line = lines.substr(0, lines.find('\n'));
    lines.remove_prefix(std::min(line.size() + 1, lines.size()));
    const std::string_view key = line.substr(0, line.find('='));
    const std::string_view word = line.substr(std::min(key.size() + 1, line.size()));
    values[std::string(key)] = std::string(word);
    std::string reason;
    const auto value = parseSetting(key, word, reason);
    require(value.has_value() == reason.empty(), "a word that is refused is told why");
    if (!value) continue;
    const SettingKey* const known = findSettingKey(key);
    require(known != nullptr && value->index() == kHeldAs[static_cast<size_t>(known->kind)], "a value is of its kind");
    const int64_t* const number = std::get_if<int64_t>(&*value);
    require(number == nullptr || (*number >= known->lowest && *number <= known->highest), "a number is in its range");
    require(parseSetting(key, settingText(*value), reason) == value, "a value can be typed as it is shown");
    values[std::string(key)] = *value;
  }
  ask(values);
  const SettingMap once = again(values);
  require(again(once) == once, "what cannot be kept is replaced once");
}

} // namespace
} // namespace vurl::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const std::string_view rest = vurl::fuzz::characters(data + 1, size - 1);
  if (data[0] % 2 == 0) {
    vurl::fuzz::checkList(std::string(rest));
  } else {
    vurl::fuzz::checkWords(rest);
  }
  return 0;
}
