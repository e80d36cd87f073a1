// vurl devices and vurl settings: what there is, and what is set.
#include "app/Commands.h"
#include "app/Json.h"
#include "app/Recorder.h"
#include "app/SettingsKeys.h"
#include "hardware/DeviceList.h"
#include "platform/PollRunLoop.h"
#include "platform/Text.h"

#include <cmath>
#include <cstdio>

namespace vurl {
namespace {

Json asJson(const std::vector<DeviceRow>& rows) {
  Json list = Json::array();
  for (const DeviceRow& row : rows) {
    list.push_back({{"id", row.id},
                    {"name", row.name},
                    {"inputs", row.nr_inputs},
                    {"outputs", row.nr_outputs},
                    {"sample_rate", std::llround(row.sample_rate)},
                    {"buffer_size", row.buffer_frame_size}});
  }
  return list;
}

void printTable(const std::vector<DeviceRow>& rows) {
  size_t width = 4;
  for (const DeviceRow& row : rows) width = std::max(width, nrCodePoints(row.name));
  std::printf("%4s  %-*s  %6s  %7s  %9s  %6s\n", "id", static_cast<int>(width), "name", "inputs", "outputs", "rate",
              "buffer");
  for (const DeviceRow& row : rows) {
    const std::string padding(width - nrCodePoints(row.name), ' ');
    std::printf("%4u  %s%s  %6u  %7u  %6ld Hz  %6u\n", row.id, row.name.c_str(), padding.c_str(), row.nr_inputs,
                row.nr_outputs, std::lround(row.sample_rate), row.buffer_frame_size);
  }
}

int refuse(const std::string& reason) {
  std::fprintf(stderr, "vurl: %s\n", reason.c_str());
  return kExitUsage;
}

} // namespace

int runDevices(UserDefaults& defaults, bool json) {
  PollRunLoop run_loop;
  AudioServices services(defaults, run_loop);
  const auto rows = describeDevices(services.model);
  if (json) {
    printJson(asJson(rows));
  } else if (rows.empty()) {
    std::fprintf(stderr, "vurl: There are no audio devices.\n");
  } else {
    printTable(rows);
  }
  return kExitFine;
}

int runSettings(UserDefaults& defaults, const std::optional<std::string>& key,
                const std::optional<std::string>& written) {
  if (!key) {
    for (const auto& [name, value] : defaults.all()) std::printf("%s = %s\n", name.c_str(), settingText(value).c_str());
    return kExitFine;
  }
  if (findSettingKey(*key) == nullptr) return refuse(text("There is no setting \"%@\".", *key));
  if (!written) {
    const auto value = defaults.objectForKey(*key);
    std::printf("%s\n", value ? settingText(*value).c_str() : "");
    return kExitFine;
  }
  std::string reason;
  const auto value = parseSetting(*key, *written, reason);
  if (!value) return refuse(reason);
  defaults.setObject(*value, *key);
  return defaults.synchronize() ? kExitHarmed : kExitFine;
}

} // namespace vurl
