#include "app/SettingsKeys.h"

#include "platform/Text.h"
#include "timecode/ltc.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace vurl {
namespace {

using enum SettingKind;

constexpr int64_t kAnyInteger = 1000000000;

constexpr std::array kKeys = {
    SettingKey{"nr_channels", integer, 0, 64, "ring channels recorded"},
    SettingKey{"nr_files", integer, 1, 512, "files of a take"},
    SettingKey{"nr_folders", integer, 1, 16, "destination folders; a take uses the first 8"},
    SettingKey{"input_for_channel%02i", integer, -1, kAnyInteger, "device input that feeds a channel, from 0"},
    SettingKey{"output_for_channel%02i", integer, -1, kAnyInteger, "device output that a channel feeds, from 0"},
    SettingKey{"channel%02i_in_file%03i", boolean, 0, 0, "whether a channel is recorded into a file"},
    SettingKey{"folder_for_file%03i", integer, 0, 15, "destination folder of a file, from 0"},
    SettingKey{"path_for_folder%02i", string, 0, 0, "a destination folder; may begin with ~"},
    SettingKey{"name_for_channel%02i", string, 0, 0, "a channel's name"},
    SettingKey{"bit_depth", integer, 1, 3, "1 16-bit, 2 24-bit, 3 32-bit float"},
    SettingKey{"file_format", integer, 2, 3, "2 CAF, 3 Broadcast Wave"},
    SettingKey{"maximum_file_size", integer, 0, kAnyInteger, "MiB after which the next files begin; 0 for no limit"},
    SettingKey{"frame_rate", integer, 0, 123,
               "0 24, 1 25, 2 30 drop, 3 30, 4 29.97, 5 29.97 drop, 6 60, 7 59.94, "
               "123 23.976"},
    SettingKey{"time_source", integer, 0, 5,
               "0 zero, 1 session, 2 time of day, 3 LTC, 4 device SMPTE, "
               "5 device word clock"},
    SettingKey{"pre_record_time", integer, 0, 3600, "seconds that a take reaches back; 80 % of the ring at most"},
    SettingKey{"pull", integer, 0, 2, "0 none, 1 a thousandth down, 2 a thousandth up"},
    SettingKey{"monitoring", boolean, 0, 0, "inputs are heard on the outputs"},
    SettingKey{"selected_device", string, 0, 0, "name of the device chosen last"},
    SettingKey{"show_generator", boolean, 0, 0, "the test generator is among the devices"},
    SettingKey{"alsa_devices", string, 0, 0, "ALSA PCMs listed besides the cards, with commas between them"},
    SettingKey{"filename_format", string, 0, 0, "names of take files"},
    SettingKey{"csv_filename_format", string, 0, 0, "name of the CSV report"},
    SettingKey{"csv_folder", string, 0, 0, "folder of the CSV report"},
    SettingKey{"project", string, 0, 0, "project"},
    SettingKey{"scene", string, 0, 0, "scene"},
    SettingKey{"slate", string, 0, 0, "slate"},
    SettingKey{"take", string, 0, 0, "take"},
    SettingKey{"roll", string, 0, 0, "roll"},
    SettingKey{"note", string, 0, 0, "note of the next take"},
    SettingKey{"count", integer, 0, kAnyInteger, "part of the take, from 1"},
    SettingKey{"contact_info", string, 0, 0, "contact information"},
    SettingKey{"session_note", string, 0, 0, "note of the session"},
    SettingKey{"increment_take", boolean, 0, 0, "the take moves on after each take"},
    SettingKey{"increment_slate", boolean, 0, 0, "the slate moves on after each take"},
    SettingKey{"increment_roll", boolean, 0, 0, "the roll moves on after each take"},
    SettingKey{"clear_note", boolean, 0, 0, "the note is cleared after each take"},
    SettingKey{"reset_take", boolean, 0, 0, "the take goes back to 1 when the scene changes"},
    SettingKey{"new_take_on_rec", boolean, 0, 0, "REC during a take begins the next one"},
    SettingKey{"auto_start", boolean, 0, 0, "recording follows the timecode's lock"},
    SettingKey{"stamp_at_end", boolean, 0, 0, "a take's start time is reckoned from its end"},
    SettingKey{"start_value", integer, -200, 20, "bottom of the meters' scale in dB"},
    SettingKey{"warn_value", integer, -200, 20, "where the meters turn to warning, in dB"},
    SettingKey{"error_value", integer, -200, 20, "where the meters turn to error, in dB"},
    SettingKey{"end_value", integer, -200, 20, "top of the meters' scale in dB"},
};

/// How many keys a family has along a number written with `width` digits.
int64_t familySize(std::string_view pattern, size_t width) {
  if (width == 3) return 512;
  return pattern.find("folder") == std::string_view::npos ? 64 : 16;
}

/// Takes the `width` digits that `key` must begin with, a number below `size`.
bool takeNumber(std::string_view& key, size_t width, int64_t size) {
  const std::string_view digits = key.substr(0, width);
  const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
  if (digits.size() < width || !std::all_of(digits.begin(), digits.end(), is_digit)) return false;
  key.remove_prefix(width);
  return leadingInteger(digits) < size;
}

bool matches(std::string_view pattern, std::string_view key) {
  const std::string_view whole = pattern;
  while (!pattern.empty()) {
    if (pattern.front() == '%') {
      const auto width = static_cast<size_t>(pattern[2] - '0'); // "%02i", "%03i"
      if (!takeNumber(key, width, familySize(whole, width))) return false;
      pattern.remove_prefix(4);
    } else {
      if (key.empty() || key.front() != pattern.front()) return false;
      pattern.remove_prefix(1);
      key.remove_prefix(1);
    }
  }
  return key.empty();
}

std::optional<bool> parseBoolean(std::string_view written) {
  for (const std::string_view word : {"true", "yes", "on", "1", "YES"}) {
    if (written == word) return true;
  }
  for (const std::string_view word : {"false", "no", "off", "0", "NO"}) {
    if (written == word) return false;
  }
  return std::nullopt;
}

bool isFrameRate(int64_t code) { return code <= FRAME_RATE_59_94 || code == FRAME_RATE_23_976; }

std::optional<int64_t> parseInteger(std::string_view written) {
  int64_t value = 0;
  const char* const end = written.data() + written.size();
  const auto [stop, error] = std::from_chars(written.data(), end, value);
  return error == std::errc() && stop == end ? std::optional(value) : std::nullopt;
}

} // namespace

std::span<const SettingKey> settingKeys() { return kKeys; }

const SettingKey* findSettingKey(std::string_view key) {
  const auto found =
      std::find_if(kKeys.begin(), kKeys.end(), [&](const auto& row) { return matches(row.pattern, key); });
  return found == kKeys.end() ? nullptr : &*found;
}

std::optional<SettingValue> parseSetting(std::string_view key, std::string_view written, std::string& reason) {
  const SettingKey* const row = findSettingKey(key);
  if (row == nullptr) {
    reason = text("There is no setting \"%@\".", key);
    return std::nullopt;
  }
  if (row->kind == string) return std::string(written);
  if (row->kind == boolean) {
    if (const auto value = parseBoolean(written)) return *value;
    reason = text("The setting \"%@\" is true or false, not \"%@\".", key, written);
    return std::nullopt;
  }
  const auto value = parseInteger(written);
  const bool in_range = value && *value >= row->lowest && *value <= row->highest;
  if (in_range && (key != "frame_rate" || isFrameRate(*value))) return *value;
  reason = text("The setting \"%@\" (%@) is a whole number from %qi to %qi, not \"%@\".", key, row->meaning,
                row->lowest, row->highest, written);
  return std::nullopt;
}

void restoreRegisteredValues(UserDefaults& defaults) {
  for (const auto& [key, value] : defaults.all()) {
    if (findSettingKey(key) != nullptr) defaults.removeObject(key);
  }
}

std::string settingText(const SettingValue& value) {
  if (const bool* boolean_value = std::get_if<bool>(&value)) return *boolean_value ? "true" : "false";
  if (const auto* integer_value = std::get_if<int64_t>(&value)) return std::to_string(*integer_value);
  if (const auto* real_value = std::get_if<double>(&value)) return text("%g", *real_value);
  return std::get<std::string>(value);
}

} // namespace vurl
