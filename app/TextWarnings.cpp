#include "app/TextWarnings.h"

#include "metadata/MetaData.h"
#include "platform/Text.h"

#include <algorithm>
#include <array>
#include <set>

namespace vurl {
namespace {

/// Where a text of a take ends up. Channels' names are looked up by the part of the key that they share.
struct Field {
  std::string_view key;
  char token; ///< in the formats of names; 0 for none
  bool in_csv;
};

constexpr std::array kFields = {
    Field{"project", 'p', true},     Field{"scene", 's', true},       Field{"slate", 'l', true},
    Field{"take", 't', true},        Field{"roll", 'r', true},        Field{"note", 'n', true},
    Field{"contact_info", 0, false}, Field{"session_note", 0, false}, Field{"name_for_channel", 'c', false},
};

const Field* fieldOf(const std::string& key) {
  const auto found = std::find_if(kFields.begin(), kFields.end(),
                                  [&](const Field& field) { return key.substr(0, field.key.size()) == field.key; });
  return found == kFields.end() ? nullptr : &*found;
}

/// The widths that `format` holds the token with: digits, or nothing.
std::set<std::string> widthsOfToken(std::string_view format, char token) {
  std::set<std::string> widths;
  for (size_t i = format.find('%'); i < format.size(); i = format.find('%', i + 1)) {
    std::string width;
    ++i;
    if (i < format.size() && format[i] >= '0' && format[i] <= '9') width = format[i++];
    if (i < format.size() && format[i] == token) widths.insert(width);
  }
  return widths;
}

/// `typed` as it stands in a file name. Scene, slate, take and roll take a width all alike, the other tokens take none.
std::string inFileName(const UserDefaults& defaults, const std::string& typed, char token, const std::string& width) {
  MetaData take(defaults);
  take.setScene(typed);
  const bool is_padded = std::string_view("sltr").find(token) != std::string_view::npos;
  return take.stringWithFormat('%' + (is_padded ? width : "") + 's', true, 0);
}

std::string_view withoutZeros(std::string_view number) {
  return number.substr(std::min(number.find_first_not_of('0'), number.size()));
}

} // namespace

std::vector<std::string> textWarnings(const UserDefaults& defaults, const std::string& key, const std::string& typed) {
  const Field* const field = fieldOf(key);
  std::vector<std::string> warnings;
  if (field == nullptr) return warnings;
  if (typed.find_first_of("&<") != std::string::npos) {
    warnings.emplace_back("\"&\" and \"<\" go into the files as they stand: programs that read iXML may stop there.");
  }
  if (field->in_csv && typed.find('"') != std::string::npos) {
    warnings.emplace_back("A quote ends the column in the CSV report too early.");
  }
  if (field->token == 0) return warnings;
  for (const std::string& width : widthsOfToken(defaults.stringForKey("filename_format"), field->token)) {
    const std::string name = inFileName(defaults, typed, field->token, width);
    if (withoutZeros(name) != withoutZeros(typed)) warnings.push_back(text("In file names this reads %@.", name));
  }
  return warnings;
}

std::string meterScaleWarning(const UserDefaults& defaults) {
  const auto value = [&](const char* key) { return defaults.integerForKey(key); };
  const bool rises = value("start_value") < value("warn_value") && value("warn_value") < value("error_value") &&
                     value("error_value") < value("end_value");
  return rises ? "" : "These do not rise from bottom to top: the meters will be hard to read.";
}

} // namespace vurl
