// Flat property lists: one dictionary of texts, integers, reals and booleans, in the XML property list 1.0
// format, read strictly with libxml2.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>

namespace vurl {

/// One value of a setting.
using SettingValue = std::variant<bool, int64_t, double, std::string>;
using SettingMap = std::map<std::string, SettingValue>;

/// Parses the text of a property list. On failure returns nothing and puts the parser's reason into `reason`. Entries
/// of a kind that settings cannot have (arrays, data, dates, dictionaries) are left out with a log line.
std::optional<SettingMap> parsePropertyList(const std::string& document, std::string& reason);

/// The property list text that holds `values`; parsePropertyList() gives the same values back. Characters that XML
/// cannot carry (controls other than tab and line ends, broken UTF-8) are replaced by U+FFFD.
std::string writePropertyList(const SettingMap& values);

/// Reads a whole file. On failure returns nothing and puts the system's reason into `reason`; `error_number` is its
/// errno.
std::optional<std::string> readWholeFile(const std::string& path, std::string& reason, int& error_number);

} // namespace vurl
