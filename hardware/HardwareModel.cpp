#include "hardware/HardwareModel.h"

#include "hardware/PropertyValue.h"
#include "platform/Log.h"

#include <algorithm>
#include <utility>

namespace vurl {
namespace {

constexpr AudioObjectPropertyAddress kDevices{kAudioHardwarePropertyDevices, kAudioObjectPropertyScopeGlobal, 0};
constexpr AudioObjectPropertyAddress kOverload{kAudioDeviceProcessorOverload, kAudioObjectPropertyScopeGlobal, 0};

struct Setter {
  uint32_t selector;
  uint32_t size;
  OSStatus (*set)(AudioService& service, AudioObjectID device, const void* data);
};

template <typename Argument, OSStatus (AudioService::*set)(AudioObjectID, Argument)>
OSStatus forward(AudioService& service, AudioObjectID device, const void* data) {
  return (service.*set)(device, *static_cast<const Argument*>(data));
}

constexpr Setter kSetters[] = {
    {kAudioDevicePropertyNominalSampleRate, sizeof(double), forward<double, &AudioService::setNominalSampleRate>},
    {kAudioDevicePropertyBufferFrameSize, sizeof(uint32_t), forward<uint32_t, &AudioService::setBufferFrameSize>},
    {kAudioDevicePropertyDataSource, sizeof(uint32_t), forward<uint32_t, &AudioService::setDataSource>},
    {kAudioDevicePropertyClockSource, sizeof(uint32_t), forward<uint32_t, &AudioService::setClockSource>},
};

} // namespace

/// Completes the declaration in the header, which need not know what values there are.
struct HardwareModel::Value {
  PropertyValue value;
};

HardwareModel::HardwareModel() : self(std::make_shared<HardwareModel*>(this)) {}

HardwareModel::~HardwareModel() = default;

bool HardwareModel::Listener::matches(AudioObjectID changed_object, const AudioObjectPropertyAddress& changed) const {
  const auto fits = [](uint32_t wanted, uint32_t is, uint32_t wildcard) { return wanted == is || wanted == wildcard; };
  return object == changed_object && fits(address.mSelector, changed.mSelector, kAudioObjectPropertySelectorWildcard) &&
         fits(address.mScope, changed.mScope, kAudioObjectPropertyScopeWildcard) &&
         fits(address.mElement, changed.mElement, kAudioObjectPropertyElementWildcard);
}

std::vector<AudioObjectID> HardwareModel::newIDs(size_t count) {
  std::vector<AudioObjectID> ids(count);
  for (auto& id : ids) id = ++last_id;
  return ids;
}

AudioObjectID HardwareModel::publish(AudioService& service, DeviceDescription description) {
  Device device;
  device.id = newIDs(1).front();
  device.service = &service;
  device.input_ids = newIDs(description.inputs.size());
  device.output_ids = newIDs(description.outputs.size());
  device.description = std::move(description);
  const AudioObjectID id = device.id;
  devices.emplace(id, std::move(device));
  notify(kAudioObjectSystemObject, {kDevices});
  return id;
}

void HardwareModel::unpublish(AudioObjectID device) {
  const auto found = devices.find(device);
  if (found == devices.end()) return;
  if (std::exchange(found->second.running, false)) found->second.service->stop(device);
  devices.erase(device);
  notify(kAudioObjectSystemObject, {kDevices});
}

void HardwareModel::update(AudioObjectID device, DeviceDescription description) {
  const auto found = devices.find(device);
  if (found == devices.end()) return;
  Device after = found->second;
  if (description.inputs != after.description.inputs) after.input_ids = newIDs(description.inputs.size());
  if (description.outputs != after.description.outputs) after.output_ids = newIDs(description.outputs.size());
  after.description = std::move(description);
  auto changed = changedProperties(found->second, after);
  found->second = std::move(after);
  if (!changed.empty()) notify(device, std::move(changed));
}

const DeviceDescription* HardwareModel::description(AudioObjectID device) const {
  const auto found = devices.find(device);
  return found == devices.end() ? nullptr : &found->second.description;
}

void HardwareModel::notify(AudioObjectID object, std::vector<AudioObjectPropertyAddress> addresses) {
  RunLoop* const loop = run_loop.load(std::memory_order_acquire);
  if (loop == nullptr) return;
  loop->post([weak = std::weak_ptr(self), object, addresses = std::move(addresses)] {
    HardwareModel* const model = weak.expired() ? nullptr : *weak.lock();
    if (model != nullptr) model->deliver(object, addresses);
  });
}

void HardwareModel::notifyOverload(AudioObjectID device) { notify(device, {kOverload}); }

// A listener proc may remove any listener, or destroy the model, so each is looked up anew before its call.
void HardwareModel::deliver(AudioObjectID object, const std::vector<AudioObjectPropertyAddress>& addresses) {
  using Receiver = std::pair<AudioObjectPropertyListenerProc, void*>;
  std::vector<Receiver> receivers;
  for (const auto& listener : listeners) {
    const Receiver receiver{listener.proc, listener.client_data};
    if (listener.object == object && !std::ranges::count(receivers, receiver)) receivers.push_back(receiver);
  }
  const std::weak_ptr alive = self;
  for (const auto& [proc, client_data] : receivers) {
    if (alive.expired()) return;
    std::vector<AudioObjectPropertyAddress> wanted;
    for (const auto& address : addresses) {
      const auto wants = [&, proc = proc, client_data = client_data](const Listener& listener) {
        return listener.proc == proc && listener.client_data == client_data && listener.matches(object, address);
      };
      if (std::ranges::any_of(listeners, wants)) wanted.push_back(address);
    }
    if (!wanted.empty()) proc(object, static_cast<uint32_t>(wanted.size()), wanted.data(), client_data);
  }
}

std::vector<AudioObjectID> HardwareModel::sortedDevices() const {
  std::vector<AudioObjectID> ids;
  for (const auto& [id, device] : devices) ids.push_back(id);
  std::ranges::stable_sort(ids, {}, [this](AudioObjectID id) { return devices.at(id).description.sort_order; });
  return ids;
}

const StreamDescription* HardwareModel::stream(AudioObjectID id) const {
  const auto find = [id](const auto& ids, const auto& streams) -> const StreamDescription* {
    const auto found = std::ranges::find(ids, id);
    return found == ids.end() ? nullptr : &streams[static_cast<size_t>(found - ids.begin())];
  };
  for (const auto& [device_id, device] : devices) {
    if (const auto* input = find(device.input_ids, device.description.inputs)) return input;
    if (const auto* output = find(device.output_ids, device.description.outputs)) return output;
  }
  return nullptr;
}

bool HardwareModel::exists(AudioObjectID object) const {
  return object == kAudioObjectSystemObject || devices.contains(object) || stream(object) != nullptr;
}

HardwareModel::Value HardwareModel::value(AudioObjectID object, const AudioObjectPropertyAddress& address) const {
  if (const auto device = devices.find(object); device != devices.end())
    return {deviceProperty(device->second, address)};
  if (address.mScope != kAudioObjectPropertyScopeGlobal || address.mElement != kAudioObjectPropertyElementMaster)
    return {};
  if (object == kAudioObjectSystemObject) {
    if (address.mSelector == kAudioHardwarePropertyDevices) return {sortedDevices()};
    if (address.mSelector == kAudioHardwarePropertySleepingIsAllowed) return {sleeping_is_allowed};
    return {};
  }
  const auto* found = stream(object);
  if (found == nullptr || found->name.empty() || address.mSelector != kAudioObjectPropertyName) return {};
  return {found->name};
}

void HardwareModel::AudioObjectShow(AudioObjectID object) const {
  if (const auto found = devices.find(object); found != devices.end()) {
    const auto& shown = found->second.description;
    log("device %u: %@ - %@, %u input and %u output streams, %g Hz, %u frames", object, shown.manufacturer, shown.name,
        shown.inputs.size(), shown.outputs.size(), shown.nominal_sample_rate, shown.buffer_frame_size);
  } else if (const auto* shown_stream = stream(object)) {
    log("stream %u: %@, %u channels", object, shown_stream->name, shown_stream->nr_channels);
  } else if (object == kAudioObjectSystemObject) {
    log("audio system: %u devices, %u listeners", devices.size(), listeners.size());
  } else {
    log("no audio object %u", object);
  }
}

bool HardwareModel::AudioObjectHasProperty(AudioObjectID object, const AudioObjectPropertyAddress& address) const {
  return !std::holds_alternative<std::monostate>(value(object, address).value);
}

OSStatus HardwareModel::AudioObjectGetPropertyDataSize(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                                       uint32_t& size) const {
  if (!exists(object)) return kAudioHardwareBadObjectError;
  const auto found = value(object, address).value;
  if (std::holds_alternative<std::monostate>(found)) return kAudioHardwareUnknownPropertyError;
  size = propertySize(found);
  return kAudioHardwareNoError;
}

OSStatus HardwareModel::AudioObjectGetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                                   uint32_t& size, void* data) const {
  return exists(object) ? readProperty(value(object, address).value, size, data) : kAudioHardwareBadObjectError;
}

OSStatus HardwareModel::setSystemProperty(uint32_t selector, uint32_t size, const void* data) {
  if (selector == kAudioHardwarePropertySleepingIsAllowed) {
    if (size != sizeof sleeping_is_allowed) return kAudioHardwareBadPropertySizeError;
    sleeping_is_allowed = *static_cast<const uint32_t*>(data);
    if (sleep_switch) sleep_switch(sleepingIsAllowed());
    return kAudioHardwareNoError;
  }
  if (selector == kAudioHardwarePropertyRunLoop) {
    if (size != sizeof(RunLoop*)) return kAudioHardwareBadPropertySizeError;
    run_loop.store(*static_cast<RunLoop* const*>(data), std::memory_order_release);
    return kAudioHardwareNoError;
  }
  return kAudioHardwareUnknownPropertyError;
}

OSStatus HardwareModel::AudioObjectSetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                                   uint32_t size, const void* data) {
  if (object == kAudioObjectSystemObject) return setSystemProperty(address.mSelector, size, data);
  if (!exists(object)) return kAudioHardwareBadObjectError;
  const auto device = devices.find(object);
  if (device == devices.end() || !AudioObjectHasProperty(object, address)) return kAudioHardwareUnknownPropertyError;
  const auto* setter = std::ranges::find(kSetters, address.mSelector, &Setter::selector);
  if (setter == std::end(kSetters)) return kAudioHardwareIllegalOperationError;
  return size == setter->size ? setter->set(*device->second.service, object, data) : kAudioHardwareBadPropertySizeError;
}

OSStatus HardwareModel::AudioObjectAddPropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                                       AudioObjectPropertyListenerProc listener, void* client_data) {
  if (!exists(object)) return kAudioHardwareBadObjectError;
  const Listener added{object, address, listener, client_data};
  if (!std::ranges::count(listeners, added)) listeners.push_back(added);
  return kAudioHardwareNoError;
}

OSStatus HardwareModel::AudioObjectRemovePropertyListener(AudioObjectID object,
                                                          const AudioObjectPropertyAddress& address,
                                                          AudioObjectPropertyListenerProc listener, void* client_data) {
  const auto nr_removed = std::erase(listeners, Listener{object, address, listener, client_data});
  return nr_removed > 0 ? kAudioHardwareNoError : kAudioHardwareBadObjectError;
}

HardwareModel::Device* HardwareModel::deviceWithProc(AudioObjectID device, AudioDeviceIOProc proc) {
  const auto found = devices.find(device);
  return found != devices.end() && proc != nullptr && found->second.io.proc == proc ? &found->second : nullptr;
}

OSStatus HardwareModel::AudioDeviceAddIOProc(AudioObjectID device, AudioDeviceIOProc proc, void* client_data) {
  const auto found = devices.find(device);
  if (found == devices.end()) return kAudioHardwareBadDeviceError;
  if (found->second.io.proc != nullptr) return kAudioHardwareIllegalOperationError;
  found->second.io = {proc, device, client_data};
  return kAudioHardwareNoError;
}

OSStatus HardwareModel::AudioDeviceStart(AudioObjectID device, AudioDeviceIOProc proc) {
  Device* const found = deviceWithProc(device, proc);
  if (found == nullptr) return kAudioHardwareBadDeviceError;
  if (found->running) return kAudioHardwareNoError;
  // Noted before the call: a service may update or even unpublish the device while it starts.
  found->running = true;
  const OSStatus status = found->service->start(device, IOProc(found->io));
  if (status == kAudioHardwareNoError) return status;
  if (Device* const still = deviceWithProc(device, proc)) still->running = false;
  return status;
}

bool HardwareModel::isRunning(AudioObjectID device) const {
  const auto found = devices.find(device);
  return found != devices.end() && found->second.running;
}

OSStatus HardwareModel::AudioDeviceStop(AudioObjectID device, AudioDeviceIOProc proc) {
  Device* const found = deviceWithProc(device, proc);
  if (found == nullptr) return kAudioHardwareBadDeviceError;
  if (std::exchange(found->running, false)) found->service->stop(device);
  return kAudioHardwareNoError;
}

OSStatus HardwareModel::AudioDeviceRemoveIOProc(AudioObjectID device, AudioDeviceIOProc proc) {
  AudioDeviceStop(device, proc);
  Device* const found = deviceWithProc(device, proc);
  if (found == nullptr) return kAudioHardwareBadDeviceError;
  found->io = {};
  return kAudioHardwareNoError;
}

} // namespace vurl
