// The device menus of the application controller: what the hardware offers, what of it is in use, and the end of a take
// when it changes.
#include "app/MainMenuControler.h"
#include "hardware/GeneratorHardware.h"
#include "platform/Log.h"

#include <algorithm>
#include <map>

namespace vurl {
namespace {

const std::string kGeneratorName = GeneratorHardware::kDisplayName;

std::vector<PopupMenu::Item> itemsOf(const std::map<uint32_t, std::string>& names) {
  std::vector<PopupMenu::Item> items;
  items.reserve(names.size());
  for (const auto& [id, name] : names) items.push_back({name, id});
  return items;
}

/// The devices with the test generator behind all that record real sound.
std::vector<PopupMenu::Item> deviceItems(const InputDevice& input_device) {
  auto items = itemsOf(input_device.devices());
  std::stable_partition(items.begin(), items.end(), [](const auto& item) { return item.title != kGeneratorName; });
  return items;
}

} // namespace

PopupMenu& MainMenuControler::menuFor(DeviceMenu which) { return menus[static_cast<size_t>(which)]; }

const PopupMenu& MainMenuControler::menu(DeviceMenu which) const { return menus[static_cast<size_t>(which)]; }

void MainMenuControler::fill(DeviceMenu which, std::vector<PopupMenu::Item> items) {
  PopupMenu& menu = menuFor(which);
  menu = PopupMenu();
  menu.items = std::move(items);
  menu.enabled = !menu.items.empty();
  view.showMenu(which, menu);
}

void MainMenuControler::selectInMenu(DeviceMenu which, int64_t tag) {
  menuFor(which).selectTag(tag);
  view.showMenu(which, menuFor(which));
}

bool MainMenuControler::choose(DeviceMenu which, int64_t tag) {
  if (!menuFor(which).selectTag(tag)) return false;
  view.showMenu(which, menuFor(which));
  switch (which) {
  case DeviceMenu::device: deviceChanged(Sender::user); break;
  case DeviceMenu::data_source: dataSourceChanged(); break;
  case DeviceMenu::sample_rate: sampleRateChanged(); break;
  case DeviceMenu::clock_source: clockSourceChanged(); break;
  }
  // A device that refuses the choice sends no news of it.
  if (const int32_t reported = reportedTag(which); reported != -1) selectInMenu(which, static_cast<uint32_t>(reported));
  return true;
}

int32_t MainMenuControler::reportedTag(DeviceMenu which) const {
  switch (which) {
  case DeviceMenu::data_source: return input_device.dataSource();
  case DeviceMenu::sample_rate: return input_device.sampleRate();
  case DeviceMenu::clock_source: return input_device.clockSource();
  case DeviceMenu::device: break;
  }
  return -1;
}

// The user's choices

void MainMenuControler::deviceChanged(Sender sender) {
  const PopupMenu& menu = menuFor(DeviceMenu::device);
  const PopupMenu::Item* const item = menu.enabled ? menu.selectedItem() : nullptr;
  if (item == nullptr) {
    device_in_use.reset();
    input_device.unselectDevice();
    return;
  }
  const PopupMenu::Item chosen = *item; // the menu may be rebuilt while the device is opened
  if (sender == Sender::user && isInUse(chosen) && output_file.state() != OutputFile::IDLE) {
    defaults.setObject(chosen.title, "selected_device"); // nothing changes, so no take ends
    return;
  }
  if (sender == Sender::user) rememberDevice(chosen.title);
  device_in_use = chosen.title;
  input_device.setSelectedDevice(static_cast<uint32_t>(chosen.tag));
  audio_ring.parseTODTime();
}

bool MainMenuControler::isInUse(const PopupMenu::Item& device) const {
  return input_device.selectedDevice() == static_cast<int32_t>(device.tag);
}

void MainMenuControler::rememberDevice(const std::string& name) {
  defaults.setObject(name, "selected_device");
  if (name != kGeneratorName) defaults.setBool(false, "show_generator");
}

void MainMenuControler::dataSourceChanged() {
  const PopupMenu& menu = menuFor(DeviceMenu::data_source);
  if (const auto* item = menu.enabled ? menu.selectedItem() : nullptr) {
    input_device.setDataSource(static_cast<uint32_t>(item->tag));
  }
}

void MainMenuControler::clockSourceChanged() {
  const PopupMenu& menu = menuFor(DeviceMenu::clock_source);
  if (const auto* item = menu.enabled ? menu.selectedItem() : nullptr) {
    input_device.setClockSource(static_cast<uint32_t>(item->tag));
  }
}

void MainMenuControler::sampleRateChanged() {
  const PopupMenu& menu = menuFor(DeviceMenu::sample_rate);
  if (const auto* item = menu.enabled ? menu.selectedItem() : nullptr) {
    input_device.setSampleRate(static_cast<int32_t>(item->tag));
  }
}

void MainMenuControler::bufferFrameSizeChanged(uint32_t frames) {
  input_device.setBufferFrameSize(frames);
  log("set buffer frame size %i", frames);
  updateBufferFrameSize();
}

void MainMenuControler::refreshDeviceSettings() {
  updateDataSource();
  updateSampleRate();
  updateClockSource();
  updateBufferFrameSize();
}

// Changes at the hardware

/// An interface that was in use and is gone must not be replaced by the test generator, which would be recorded in its
/// place: the generator hides for the rest of the run.
void MainMenuControler::hideGeneratorIfDevicePulled(const std::vector<PopupMenu::Item>& devices) {
  if (!device_in_use || *device_in_use == kGeneratorName) return;
  const auto in_use = [this](const PopupMenu::Item& item) { return item.title == *device_in_use; };
  if (std::any_of(devices.begin(), devices.end(), in_use)) return;
  if (defaults.boolForKey("show_generator")) defaults.setForRun(false, "show_generator");
}

void MainMenuControler::updateDevices() {
  stopRecording("A device has been added or removed.");
  hideGeneratorIfDevicePulled(deviceItems(input_device));
  fill(DeviceMenu::device, deviceItems(input_device));
  PopupMenu& menu = menuFor(DeviceMenu::device);
  menu.selectTitle(defaults.stringForKey("selected_device"));
  if (menu.selected < 0 && menu.enabled) menu.selected = 0;
  view.showMenu(DeviceMenu::device, menu);
  deviceChanged(Sender::controller);
}

void MainMenuControler::updateDataSources() {
  stopRecording("Data sources have been added or removed.");
  fill(DeviceMenu::data_source, itemsOf(input_device.dataSources()));
  if (menuFor(DeviceMenu::data_source).enabled) updateDataSource();
}

void MainMenuControler::updateSampleRates() {
  stopRecording("Available sample rates have been updated for this device.");
  std::vector<PopupMenu::Item> items;
  for (const int32_t rate : input_device.sampleRates()) items.push_back({text("%i Hz", rate), rate});
  fill(DeviceMenu::sample_rate, std::move(items));
  if (menuFor(DeviceMenu::sample_rate).enabled) updateSampleRate();
}

void MainMenuControler::updateClockSources() {
  stopRecording("Clock sources have been added or removed.");
  fill(DeviceMenu::clock_source, itemsOf(input_device.clockSources()));
  if (menuFor(DeviceMenu::clock_source).enabled) updateClockSource();
}

void MainMenuControler::updateDataSource() {
  stopRecording("Current data source has changed.");
  const int32_t source = input_device.dataSource();
  if (source == -1) return;
  selectInMenu(DeviceMenu::data_source, static_cast<uint32_t>(source));
  audio_ring.parseTODTime();
}

void MainMenuControler::updateSampleRate() {
  stopRecording("Current sample rate has changed.");
  const int32_t rate = input_device.sampleRate();
  if (rate == -1) return;
  selectInMenu(DeviceMenu::sample_rate, rate);
  audio_ring.setSampleRate(rate);
  audio_ring.parseTODTime();
}

void MainMenuControler::updateClockSource() {
  stopRecording("Current clock source has changed.");
  const int32_t source = input_device.clockSource();
  if (source == -1) return;
  selectInMenu(DeviceMenu::clock_source, static_cast<uint32_t>(source));
  audio_ring.parseTODTime();
}

void MainMenuControler::updateBufferFrameSizeRange() {
  if (const auto range = input_device.bufferFrameSizeRange())
    view.showBufferSizeRange(range->mMinimum, range->mMaximum);
  updateBufferFrameSize();
}

void MainMenuControler::updateBufferFrameSize() {
  const uint32_t frames = input_device.bufferFrameSize();
  log("buffer frame size %i", frames);
  view.showBufferSize(frames);
}

void MainMenuControler::updateChannels() {
  channel_layout_controler.setInputNames(input_device.inputs());
  channel_layout_controler.setOutputNames(input_device.outputs());
  audio_ring.parseTODTime();
}

void MainMenuControler::processorOverload() {
  ++nr_overloads;
  stopRecording("The processor was overloaded during recording.");
}

} // namespace vurl
