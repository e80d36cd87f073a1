#include "app/PreferencesController.h"

#include "platform/Log.h"
#include "platform/Resources.h"

#include <filesystem>

namespace vurl {
namespace {

constexpr int kChannels = 64;

SettingMap standardValues() {
  const auto path = Resources::path("userdefaults", "plist");
  std::string reason = "it is not installed";
  int error_number = 0;
  const auto document = path ? readWholeFile(*path, reason, error_number) : std::nullopt;
  if (document) {
    if (auto values = parsePropertyList(*document, reason)) return std::move(*values);
  }
  warn("The standard settings userdefaults.plist could not be read: %s. Takes cannot be recorded before it is there.",
       reason);
  return {};
}

} // namespace

PreferencesController::PreferencesController(UserDefaults& user_defaults) : defaults(user_defaults) {
  setupDefaults();
  if (defaults.isNew()) makeFirstFolder();
  defaults.synchronize();
}

void PreferencesController::setupDefaults() {
  SettingMap values = standardValues();
  for (int channel = 0; channel < kChannels; ++channel) {
    values[text("name_for_channel%02i", channel)] = text("channel %02i", channel + 1);
  }
  defaults.registerDefaults(values);
}

/// Only now, never later: a folder that is missing then may lie on a disk that is not there.
void PreferencesController::makeFirstFolder() {
  const auto registered = defaults.registeredValueForKey("path_for_folder00");
  const auto* const folder = registered ? std::get_if<std::string>(&*registered) : nullptr;
  if (folder == nullptr) return;
  std::error_code error;
  std::filesystem::create_directories(expandTilde(*folder), error);
  if (error) warn("The folder %s could not be made: %s.", expandTilde(*folder), error.message());
}

} // namespace vurl
