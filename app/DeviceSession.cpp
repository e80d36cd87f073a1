#include "app/DeviceSession.h"

#include "app/DeviceChoice.h"
#include "hardware/DeviceList.h"
#include "platform/Log.h"
#include "platform/NewThread.h"
#include "platform/Text.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

namespace vurl {
namespace {

constexpr std::chrono::seconds kPatienceAtTheEnd{5};
constexpr std::chrono::seconds kPatienceWithAServer{20};
constexpr std::chrono::seconds kTimeToBeListed{2}; ///< of a server that has just begun to answer

} // namespace

bool DeviceSession::find(const std::optional<std::string>& name, std::string& reason) {
  if (!name) return true;
  bool is_found = findNow(*name, reason);
  const auto start = std::chrono::steady_clock::now();
  auto last_waited = start - kTimeToBeListed;
  for (auto now = start; !is_found && now - start < kPatienceWithAServer; now = std::chrono::steady_clock::now()) {
    if (services.awaitsServer()) {
      if (last_waited < start) warn("A JACK server does not answer yet; waiting for it.");
      last_waited = now;
    }
    if (now - last_waited >= kTimeToBeListed) break;
    run_loop.runOnce(std::chrono::milliseconds(100));
    is_found = findNow(*name, reason);
  }
  return is_found;
}

bool DeviceSession::findNow(const std::string& name, std::string& reason) {
  std::vector<std::string> names;
  for (const DeviceRow& row : describeDevices(services.model)) names.push_back(row.name);
  if (std::find(names.begin(), names.end(), GeneratorHardware::kDisplayName) == names.end()) {
    names.emplace_back(GeneratorHardware::kDisplayName);
  }
  const auto index = findByName(names, name, "device", reason);
  if (!index) return false;
  wanted = names[*index];
  return true;
}

void DeviceSession::choose(Recorder& recorder, bool remembers) {
  if (wanted == GeneratorHardware::kDisplayName) services.publishGeneratorForRun();
  if (wanted.empty()) return;
  if (remembers && wanted != GeneratorHardware::kDisplayName) {
    recorder.controller.rememberDevice(wanted);
  } else {
    settings.setForRun(wanted, "selected_device");
  }
}

bool DeviceSession::isSelected(const Recorder& recorder, std::string& reason) const {
  const auto* const item = recorder.controller.menu(DeviceMenu::device).selectedItem();
  if (item == nullptr) {
    reason = "There is no audio device.";
    return false;
  }
  reason = "The device was there a moment ago and is gone.";
  if (!wanted.empty() && item->title != wanted) return false;
  reason = text("%@ could not be started.", item->title);
  return services.model.isRunning(static_cast<AudioObjectID>(recorder.input_device.selectedDevice()));
}

void DeviceSession::endSoon(int exit_code) {
  auto thread = newThread([exit_code] {
    std::this_thread::sleep_for(kPatienceAtTheEnd);
    warn("The device could not be released in time.");
    std::_Exit(exit_code);
  });
  if (thread.joinable()) thread.detach();
}

int refuse(const std::string& reason, int exit_code) {
  std::fprintf(stderr, "vurl: %s\n", reason.c_str());
  return exit_code;
}

} // namespace vurl
