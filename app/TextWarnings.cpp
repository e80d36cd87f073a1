#include "app/TextWarnings.h"

#include "metadata/MetaData.h"
#include "platform/Text.h"

#include <algorithm>
#include <array>

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

/// Whether `format` holds the token, with or without a width.
bool holdsToken(std::string_view format, char token) {
  for (size_t i = format.find('%'); i < format.size(); i = format.find('%', i + 1)) {
    ++i;
    if (i < format.size() && format[i] >= '0' && format[i] <= '9') ++i;
    if (i < format.size() && format[i] == token) return true;
  }
  return false;
}

/// `typed` as it stands in a file name.
std::string inFileName(const UserDefaults& defaults, const std::string& typed) {
  MetaData take(defaults);
  take.setProject(typed);
  return take.stringWithFormat("%p", true, 0);
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
  if (field->token != 0 && holdsToken(defaults.stringForKey("filename_format"), field->token)) {
    const std::string clean = inFileName(defaults, typed);
    if (clean != typed) warnings.push_back(text("In file names this reads %@.", clean));
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
