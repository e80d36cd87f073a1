#include "hardware/InputDevice.h"

#include "platform/Text.h"

#include <algorithm>

namespace vurl {
namespace {

/// A rate as a whole number, truncated; what no 32-bit number can hold counts as 0.
int32_t wholeRate(double rate) { return rate > -2147483648.0 && rate < 2147483648.0 ? static_cast<int32_t>(rate) : 0; }

} // namespace

void InputDevice::awake() {
  audio_system = std::make_unique<AudioSystemObject>(hardware);
  audio_system->setRunLoop(&run_loop);
  audio_system->setDelegate(this);
  audio_system->setSleepingIsAllowed(false);
  devicesChanged();
}

int32_t InputDevice::selectedDevice() const {
  return selected_device ? static_cast<int32_t>(selected_device->objectID()) : -1;
}

bool InputDevice::hasStarted() const { return selected_device && selected_device->hasStarted(); }

int32_t InputDevice::sampleRate() const {
  return selected_device ? wholeRate(selected_device->nominalSampleRate()) : -1;
}

int32_t InputDevice::dataSource() const {
  return selected_device ? static_cast<int32_t>(selected_device->dataSource()) : -1;
}

int32_t InputDevice::clockSource() const {
  return selected_device ? static_cast<int32_t>(selected_device->clockSource()) : -1;
}

uint32_t InputDevice::bufferFrameSize() const { return selected_device ? selected_device->bufferFrameSize() : 0; }

std::optional<AudioValueRange> InputDevice::bufferFrameSizeRange() const {
  return selected_device ? selected_device->bufferFrameSizeRange() : std::nullopt;
}

std::map<uint32_t, std::string> InputDevice::devices() const {
  std::map<uint32_t, std::string> names;
  if (!audio_system) return names;
  for (const auto& device : audio_system->allDevices())
    names[device->objectID()] = text("%@ - %@", device->manufacturer().value_or(""), device->name().value_or(""));
  return names;
}

std::vector<int32_t> InputDevice::sampleRates() const {
  std::vector<int32_t> rates;
  if (!selected_device) return rates;
  for (const auto& range : selected_device->availableNominalSampleRates().value_or(std::vector<AudioValueRange>{}))
    rates.push_back(wholeRate(range.mMinimum));
  return rates;
}

std::map<uint32_t, std::string> InputDevice::dataSources() const {
  std::map<uint32_t, std::string> names;
  if (!selected_device) return names;
  for (const uint32_t id : selected_device->dataSources())
    names[id] = selected_device->dataSourceNameForID(id).value_or("");
  return names;
}

std::map<uint32_t, std::string> InputDevice::clockSources() const {
  std::map<uint32_t, std::string> names;
  if (!selected_device) return names;
  for (const uint32_t id : selected_device->clockSources())
    names[id] = selected_device->clockSourceNameForID(id).value_or("");
  return names;
}

std::vector<std::string> InputDevice::inputs() const { return channelNames(kAudioDevicePropertyScopeInput, "Input"); }

std::vector<std::string> InputDevice::outputs() const {
  return channelNames(kAudioDevicePropertyScopeOutput, "Output");
}

std::vector<std::string> InputDevice::channelNames(uint32_t scope, const char* unnamed) const {
  std::vector<std::string> names;
  if (!selected_device) return names;
  const auto streams = selected_device->streamsForScope(scope);
  const auto configuration = selected_device->streamConfigurationForScope(scope);
  for (size_t i = 0; i < std::min(streams.size(), configuration.size()); i++) {
    auto stream_name = streams[i]->name().value_or("");
    if (stream_name.empty()) stream_name = unnamed;
    for (uint32_t channel = 1; channel <= configuration[i]; channel++)
      names.push_back(text("%i - %@ %i", static_cast<int>(names.size() + 1), stream_name, channel));
  }
  return names;
}

void InputDevice::setDataSource(uint32_t id) {
  if (selected_device) selected_device->setDataSource(id);
}

void InputDevice::setClockSource(uint32_t id) {
  if (selected_device) selected_device->setClockSource(id);
}

void InputDevice::setBufferFrameSize(uint32_t frames) {
  if (selected_device) selected_device->setBufferFrameSize(frames);
}

void InputDevice::setSampleRate(int32_t rate) {
  if (selected_device) selected_device->setNominalSampleRate(rate);
}

void InputDevice::setSelectedDevice(uint32_t id) {
  selected_device.reset();
  selected_device = std::make_unique<AudioDevice>(hardware, id);
  selected_device->setDelegate(this);
  tellEverything();
  if (selected_device) selected_device->setIODelegate(&audio_ring);
}

void InputDevice::unselectDevice() {
  selected_device.reset();
  tellEverything();
}

void InputDevice::tellEverything() {
  availableNominalSampleRatesChanged();
  clockSourcesChanged();
  dataSourcesChanged();
  bufferFrameSizeRangeChanged();
  streamsChanged();
}

void InputDevice::tell(void (InputDeviceObserver::*message)()) {
  if (observer != nullptr) (observer->*message)();
}

void InputDevice::devicesChanged() { tell(&InputDeviceObserver::updateDevices); }
void InputDevice::availableNominalSampleRatesChanged() { tell(&InputDeviceObserver::updateSampleRates); }
void InputDevice::nominalSampleRateChanged() { tell(&InputDeviceObserver::updateSampleRate); }
void InputDevice::clockSourcesChanged() { tell(&InputDeviceObserver::updateClockSources); }
void InputDevice::clockSourceChanged() { tell(&InputDeviceObserver::updateClockSource); }
void InputDevice::dataSourcesChanged() { tell(&InputDeviceObserver::updateDataSources); }
void InputDevice::dataSourceChanged() { tell(&InputDeviceObserver::updateDataSource); }
void InputDevice::bufferFrameSizeRangeChanged() { tell(&InputDeviceObserver::updateBufferFrameSizeRange); }
void InputDevice::bufferFrameSizeChanged() { tell(&InputDeviceObserver::updateBufferFrameSize); }
void InputDevice::streamsChanged() { tell(&InputDeviceObserver::updateChannels); }
void InputDevice::streamConfigurationChanged() { tell(&InputDeviceObserver::updateChannels); }
void InputDevice::processorOverload() { tell(&InputDeviceObserver::processorOverload); }

} // namespace vurl
