// The settings that the program knows: one table of keys with their kinds and ranges, used to check what comes from
// the command line. Any thread.
#pragma once

#include "platform/UserDefaults.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace vurl {

enum class SettingKind { integer, boolean, string };

/// One key, or a family of keys: "%02i" in `pattern` stands for a channel or folder number, "%03i" for a file number,
/// both counted from 0.
struct SettingKey {
  std::string_view pattern;
  SettingKind kind;
  int64_t lowest;  ///< smallest integer that makes sense; unused for other kinds
  int64_t highest; ///< largest
  std::string_view meaning;
};

/// The whole table.
std::span<const SettingKey> settingKeys();

/// The entry that `key` belongs to, or null when the program knows no such key.
const SettingKey* findSettingKey(std::string_view key);

/// The value that `written` stands for under `key`. On failure returns nothing and puts a sentence for the user into
/// `reason`: an unknown key, a value of the wrong kind, a number out of range. Booleans are written true, false, yes,
/// no, on, off, 1 or 0.
std::optional<SettingValue> parseSetting(std::string_view key, std::string_view written, std::string& reason);

/// Puts every setting that the program knows back to its registered value, also those set for the run. Thread: main.
void restoreRegisteredValues(UserDefaults& defaults);

/// `value` as the user reads and writes it.
std::string settingText(const SettingValue& value);

} // namespace vurl
