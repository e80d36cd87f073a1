// What other programs will make of a text that the user types into a field: nothing here keeps it from being used.
#pragma once

#include "platform/UserDefaults.h"

#include <string>
#include <vector>

namespace vurl {

/// What is to be said, a sentence each, of `typed` as the value of the setting `key`: characters that the iXML
/// document or the CSV report (RFC 4180) cannot carry, and characters that "filename_format" replaces in file names.
/// Empty when all is well, and for settings that are no texts of a take. Thread: main.
std::vector<std::string> textWarnings(const UserDefaults& defaults, const std::string& key, const std::string& typed);

/// A sentence when the points of the meters' scale do not rise from bottom to top; otherwise empty. Thread: main.
std::string meterScaleWarning(const UserDefaults& defaults);

} // namespace vurl
