#include "app/DeviceChecks.h"

#include "hardware/GeneratorHardware.h"
#include "platform/Text.h"

#include <algorithm>
#include <cmath>

namespace vurl {
namespace {

using Mark = Finding::Mark;

bool isServer(const DeviceRow& row) { return row.name.starts_with("JACK - "); }
bool isGenerator(const DeviceRow& row) { return row.name == GeneratorHardware::kDisplayName; }

std::string describe(const DeviceRow& row) {
  return text("%@ (%u inputs, %u outputs, %i Hz)", row.name, row.nr_inputs, row.nr_outputs,
              std::lround(row.sample_rate));
}

/// The devices of `rows` for which `counts`, as a list for people.
template <typename Predicate>
std::string list(const std::vector<DeviceRow>& rows, Predicate counts) {
  std::string names;
  for (const DeviceRow& row : rows)
    if (counts(row)) names += (names.empty() ? "" : "; ") + describe(row);
  return names;
}

Finding checkServers(const std::vector<DeviceRow>& rows) {
  const std::string servers = list(rows, isServer);
  if (servers.empty()) return {"servers", Mark::note, "No JACK server runs; cards are reached through ALSA alone.", ""};
  return {"servers", Mark::fine, text("JACK servers: %s.", servers), ""};
}

Finding checkCards(const std::vector<DeviceRow>& rows) {
  const std::string cards = list(rows, [](const auto& row) { return !isServer(row) && !isGenerator(row); });
  if (!cards.empty()) return {"devices", Mark::fine, text("Devices without a server: %s.", cards), ""};
  if (std::ranges::any_of(rows, isServer))
    return {"devices", Mark::note, "There is no device besides the servers.", ""};
  return {"devices", Mark::change, "There is no audio interface.",
          "Plug one in and switch it on, or start a JACK server on it. One that another program holds is not free."};
}

/// The channels that are fed from inputs that the device has not, counted from 1.
std::vector<int64_t> silentChannels(const DeviceRow& device, const UserDefaults& defaults) {
  std::vector<int64_t> silent;
  for (int64_t channel = 0; channel < defaults.integerForKey("nr_channels"); ++channel) {
    const int64_t input = defaults.integerForKey(text("input_for_channel%02i", channel));
    if (input < 0 || input >= device.nr_inputs) silent.push_back(channel + 1);
  }
  return silent;
}

Finding checkSelected(const DeviceRow& device, const UserDefaults& defaults) {
  const std::string wanted = defaults.stringForKey("selected_device");
  if (isGenerator(device) && (wanted.empty() || wanted == device.name))
    return {"selected_device", Mark::note, "Takes are made from the test generator.", ""};
  if (!wanted.empty() && device.name != wanted)
    return {"selected_device", Mark::change,
            text("The chosen device %@ is not there; takes would be made from %s.", wanted, describe(device)),
            "Plug it in and switch it on, or choose another one: vurl record --device NAME."};
  const auto silent = silentChannels(device, defaults);
  if (!silent.empty())
    return {"selected_device", Mark::change,
            text("Takes are made from %s. %qu of %qu channels get no sound, the first of them is %qu: it has no such "
                 "inputs.",
                 describe(device), silent.size(), defaults.integerForKey("nr_channels"), silent.front()),
            "Record fewer channels (vurl settings nr_channels N), or feed them from other inputs."};
  return {"selected_device", Mark::fine, text("Takes are made from %s.", describe(device)), ""};
}

} // namespace

const DeviceRow* deviceInUse(const std::vector<DeviceRow>& rows, const UserDefaults& defaults) {
  const std::string wanted = defaults.stringForKey("selected_device");
  const auto found = std::ranges::find(rows, wanted, &DeviceRow::name);
  if (found != rows.end()) return &*found;
  return rows.empty() ? nullptr : &rows.front();
}

std::vector<Finding> checkDevices(const std::vector<DeviceRow>& rows, const UserDefaults& defaults) {
  std::vector<Finding> findings = {checkServers(rows), checkCards(rows)};
  if (const DeviceRow* const device = deviceInUse(rows, defaults); device != nullptr)
    findings.push_back(checkSelected(*device, defaults));
  return findings;
}

} // namespace vurl
