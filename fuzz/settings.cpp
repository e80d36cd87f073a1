// Settings from a file that anybody may have written: a property list.
#include "app/SettingsKeys.h"
#include "fuzz/Rig.h"
#include "platform/UserDefaults.h"

#include <cmath>

namespace vurl::fuzz {
namespace {

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

} // namespace
} // namespace vurl::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vurl::fuzz::checkList(std::string(vurl::fuzz::characters(data, size)));
  return 0;
}
