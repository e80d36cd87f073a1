#include "hardware/AudioObject.h"

#include "platform/Log.h"

#include <algorithm>
#include <cstring>

namespace vurl {
namespace {

struct ChangeMessage {
  uint32_t selector;
  void (AudioObjectDelegate::*message)();
};

constexpr ChangeMessage kChangeMessages[] = {
    {kAudioDevicePropertyClockSources, &AudioObjectDelegate::clockSourcesChanged},
    {kAudioDevicePropertyClockSource, &AudioObjectDelegate::clockSourceChanged},
    {kAudioHardwarePropertyDevices, &AudioObjectDelegate::devicesChanged},
    {kAudioDevicePropertyBufferFrameSize, &AudioObjectDelegate::bufferFrameSizeChanged},
    {kAudioDevicePropertyBufferFrameSizeRange, &AudioObjectDelegate::bufferFrameSizeRangeChanged},
    {kAudioDevicePropertyAvailableNominalSampleRates, &AudioObjectDelegate::availableNominalSampleRatesChanged},
    {kAudioDevicePropertyNominalSampleRate, &AudioObjectDelegate::nominalSampleRateChanged},
    {kAudioDeviceProcessorOverload, &AudioObjectDelegate::processorOverload},
    {kAudioDevicePropertyStreamConfiguration, &AudioObjectDelegate::streamConfigurationChanged},
    {kAudioDevicePropertyDataSources, &AudioObjectDelegate::dataSourcesChanged},
    {kAudioDevicePropertyDataSource, &AudioObjectDelegate::dataSourceChanged},
    {kAudioDevicePropertyStreams, &AudioObjectDelegate::streamsChanged},
};

} // namespace

OSStatus audioObjectListener(AudioObjectID, uint32_t nr_addresses, const AudioObjectPropertyAddress* addresses,
                             void* client_data) {
  auto* delegate = static_cast<AudioObjectDelegate*>(client_data);
  for (uint32_t i = 0; delegate != nullptr && i < nr_addresses; i++) {
    const auto* found = std::ranges::find(kChangeMessages, addresses[i].mSelector, &ChangeMessage::selector);
    if (found != std::end(kChangeMessages)) (delegate->*found->message)();
  }
  return kAudioHardwareNoError;
}

template <typename Value>
bool AudioObject::read(const AudioObjectPropertyAddress& address, Value& value) const {
  uint32_t size = sizeof value;
  return hardware.AudioObjectGetPropertyData(audio_object_id, address, size, &value) == kAudioHardwareNoError &&
         size == sizeof value;
}

template <typename Value>
void AudioObject::write(const AudioObjectPropertyAddress& address, const Value& value, const char* reporter) {
  if (hardware.AudioObjectSetPropertyData(audio_object_id, address, sizeof value, &value) != kAudioHardwareNoError)
    log("error in AudioObject::%@()", reporter);
}

std::optional<AudioObject::RawData> AudioObject::readRaw(const AudioObjectPropertyAddress& address,
                                                         const char* reporter) const {
  const auto failed = [reporter](const char* call) {
    log("error at %@() in AudioObject::%@()", call, reporter);
    return std::nullopt;
  };
  uint32_t size = 0;
  if (hardware.AudioObjectGetPropertyDataSize(audio_object_id, address, size) != kAudioHardwareNoError)
    return failed("AudioObjectGetPropertyDataSize");
  RawData data{std::unique_ptr<void, FreeBlock>(std::malloc(std::max(size, 1U))), size};
  if (data.bytes == nullptr) return failed("malloc");
  if (hardware.AudioObjectGetPropertyData(audio_object_id, address, data.size, data.bytes.get()) !=
      kAudioHardwareNoError)
    return failed("AudioObjectGetPropertyData");
  data.size = std::min(data.size, size);
  return data;
}

template <typename Value>
std::optional<std::vector<Value>> AudioObject::readArray(const AudioObjectPropertyAddress& address) const {
  const auto data = readRaw(address, "getArrayOfIDsProperty");
  if (!data) return std::nullopt;
  const auto* values = static_cast<const Value*>(data->bytes.get());
  return std::vector<Value>(values, values + data->size / sizeof(Value));
}

std::optional<std::string> AudioObject::name() const {
  return getStringProperty({kAudioObjectPropertyName, kAudioObjectPropertyScopeGlobal});
}

std::optional<std::string> AudioObject::manufacturer() const {
  return getStringProperty({kAudioObjectPropertyManufacturer, kAudioObjectPropertyScopeGlobal});
}

double AudioObject::getFloatProperty(const AudioObjectPropertyAddress& address) const {
  double value = 0;
  if (read(address, value)) return value;
  log("error in AudioObject::getFloatProperty()");
  return 0;
}

uint32_t AudioObject::getIntProperty(const AudioObjectPropertyAddress& address) const {
  uint32_t value = 0;
  if (read(address, value)) return value;
  log("error in AudioObject::getIntProperty()");
  return 0;
}

uint32_t AudioObject::getIDProperty(const AudioObjectPropertyAddress& address) const {
  uint32_t value = 0;
  if (read(address, value)) return value;
  log("error in AudioObject::getIDProperty()");
  return 0xFFFFFFFF;
}

std::optional<std::string> AudioObject::getStringProperty(const AudioObjectPropertyAddress& address) const {
  std::string value;
  if (read(address, value)) return value;
  log("error in AudioObject::getStringProperty()");
  return std::nullopt;
}

std::vector<AudioObjectID> AudioObject::getArrayOfIDsProperty(const AudioObjectPropertyAddress& address) const {
  if (!hardware.AudioObjectHasProperty(audio_object_id, address)) return {};
  return readArray<AudioObjectID>(address).value_or(std::vector<AudioObjectID>{});
}

AudioObject::BufferListBlock AudioObject::getAudioBufferListProperty(const AudioObjectPropertyAddress& address) const {
  if (!hardware.AudioObjectHasProperty(audio_object_id, address)) return nullptr;
  auto data = readRaw(address, "getAudioBufferListProperty");
  if (!data) return nullptr;
  BufferListBlock list(static_cast<AudioBufferList*>(data->bytes.release()));
  // The count is the service's word; what it may count is bounded by the bytes that came.
  if (data->size < sizeof(AudioBufferList) ||
      list->mNumberBuffers > (data->size - sizeof(AudioBufferList)) / sizeof(AudioBuffer)) {
    log("error at AudioObjectGetPropertyData() in AudioObject::getAudioBufferListProperty()");
    return nullptr;
  }
  list->mBuffers = reinterpret_cast<AudioBuffer*>(list.get() + 1);
  return list;
}

// The failures of both kinds of list are reported in the same words.
std::optional<std::vector<AudioValueRange>>
AudioObject::getArrayOfValueRangesProperty(const AudioObjectPropertyAddress& address) const {
  return readArray<AudioValueRange>(address);
}

std::optional<AudioValueRange> AudioObject::getValueRangeProperty(const AudioObjectPropertyAddress& address) const {
  AudioValueRange range;
  if (read(address, range)) return range;
  log("error at AudioObjectGetPropertyData() in AudioObject::getValueRangeProperty()");
  return std::nullopt;
}

std::optional<std::string> AudioObject::translateString(const AudioObjectPropertyAddress& address, uint32_t id) const {
  std::string translated;
  AudioValueTranslation translation{&id, sizeof id, &translated, sizeof translated};
  if (read(address, translation)) return translated;
  log("error in AudioObject::translateString()");
  return std::nullopt;
}

void AudioObject::setIntProperty(const AudioObjectPropertyAddress& address, uint32_t value) {
  write(address, value, "setIntProperty");
}

void AudioObject::setFloatProperty(const AudioObjectPropertyAddress& address, double value) {
  write(address, value, "setFloatProperty");
}

// Floats, ids and run loops share one message.
void AudioObject::setIDProperty(const AudioObjectPropertyAddress& address, uint32_t value) {
  write(address, value, "setFloatProperty");
}

void AudioObject::setRunLoopRefProperty(const AudioObjectPropertyAddress& address, RunLoop* value) {
  write(address, value, "setFloatProperty");
}

void AudioObject::listenForProperty(const AudioObjectPropertyAddress& address) {
  if (hardware.AudioObjectAddPropertyListener(audio_object_id, address, audioObjectListener, delegate) !=
      kAudioHardwareNoError)
    log("error in AudioObject::listenForProperty()");
}

void AudioObject::unlistenForProperty(const AudioObjectPropertyAddress& address) {
  if (hardware.AudioObjectRemovePropertyListener(audio_object_id, address, audioObjectListener, delegate) !=
      kAudioHardwareNoError)
    log("error in AudioObject::unlistenForProperty()");
}

} // namespace vurl
