// Audio hardware that holds whatever a test gives it, notes what is done to it, and fails on demand.
#pragma once

#include "hardware/AudioHardware.h"
#include "platform/Text.h"

#include <cstring>
#include <map>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace vurl {

inline std::string fourCharText(uint32_t code) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) text += static_cast<char>(code >> shift & 0xFF);
  return text;
}

class FakeHardware final : public AudioHardware {
public:
  using Address = AudioObjectPropertyAddress;

  /// Gives an object a property of plain bytes.
  template <typename Value>
  void give(AudioObjectID object, const Address& address, const std::vector<Value>& values) {
    auto& bytes = properties[{object, address}];
    bytes.resize(values.size() * sizeof(Value));
    if (!bytes.empty()) std::memcpy(bytes.data(), values.data(), bytes.size());
  }

  /// Gives a device streams of these names (empty for none) and channel counts on one side.
  void giveStreams(AudioObjectID device, uint32_t scope, const std::vector<std::string>& names,
                   const std::vector<uint32_t>& channels) {
    std::vector<AudioObjectID> ids;
    for (const auto& name : names) {
      ids.push_back(++last_stream);
      if (!name.empty())
        texts[{last_stream, Address{kAudioObjectPropertyName, kAudioObjectPropertyScopeGlobal}}] = name;
    }
    give(device, {kAudioDevicePropertyStreams, scope}, ids);
    auto& bytes = properties[{device, Address{kAudioDevicePropertyStreamConfiguration, scope}}];
    bytes.resize(sizeof(AudioBufferList) + channels.size() * sizeof(AudioBuffer));
    const AudioBufferList list{static_cast<uint32_t>(channels.size()), nullptr};
    std::memcpy(bytes.data(), &list, sizeof list);
    for (size_t i = 0; i < channels.size(); i++) {
      const AudioBuffer buffer{channels[i], 0, nullptr};
      std::memcpy(&bytes[sizeof list + i * sizeof buffer], &buffer, sizeof buffer);
    }
  }

  void AudioObjectShow(AudioObjectID object) const override { note("show", object, {}); }

  bool AudioObjectHasProperty(AudioObjectID object, const Address& address) const override {
    return claims_everything || properties.contains({object, address});
  }

  OSStatus AudioObjectGetPropertyDataSize(AudioObjectID object, const Address& address, uint32_t& size) const override {
    const auto found = properties.find({object, address});
    if (found == properties.end()) return size_status;
    size = oversized ? 0xFFFFFFF0 : static_cast<uint32_t>(found->second.size());
    return size_status;
  }

  OSStatus AudioObjectGetPropertyData(AudioObjectID object, const Address& address, uint32_t& size,
                                      void* data) const override {
    if (get_status != 0) return get_status;
    if (const auto text = texts.find({object, address}); text != texts.end()) {
      *static_cast<std::string*>(data) = text->second;
      return 0;
    }
    const auto found = properties.find({object, address});
    if (found == properties.end()) return kAudioHardwareUnknownPropertyError;
    size = static_cast<uint32_t>(found->second.size());
    if (size > 0) std::memcpy(data, found->second.data(), size);
    return 0;
  }

  OSStatus AudioObjectSetPropertyData(AudioObjectID object, const Address& address, uint32_t size,
                                      const void*) override {
    note("set" + std::to_string(size), object, address);
    return act_status;
  }

  OSStatus AudioObjectAddPropertyListener(AudioObjectID object, const Address& address, AudioObjectPropertyListenerProc,
                                          void* client_data) override {
    note("+", object, address);
    listening.emplace_back(address, client_data);
    return act_status;
  }

  OSStatus AudioObjectRemovePropertyListener(AudioObjectID object, const Address& address,
                                             AudioObjectPropertyListenerProc, void* client_data) override {
    note("-", object, address);
    std::erase(listening, std::pair(address, client_data));
    return act_status;
  }

  OSStatus AudioDeviceAddIOProc(AudioObjectID device, AudioDeviceIOProc, void*) override { return io("addIO", device); }
  OSStatus AudioDeviceStart(AudioObjectID device, AudioDeviceIOProc) override { return io("start", device); }
  OSStatus AudioDeviceStop(AudioObjectID device, AudioDeviceIOProc) override { return io("stop", device); }
  OSStatus AudioDeviceRemoveIOProc(AudioObjectID device, AudioDeviceIOProc) override { return io("removeIO", device); }

  /// What was done since the last call, in order: "OPERATION OBJECT SELECTOR SCOPE".
  std::vector<std::string> takeCalls() const { return std::exchange(calls, {}); }

  OSStatus size_status = 0;
  OSStatus get_status = 0;
  OSStatus act_status = 0; ///< of setting and listening
  bool claims_everything = false;
  bool oversized = false;
  std::map<std::pair<AudioObjectID, Address>, std::string> texts;
  std::vector<std::pair<Address, void*>> listening;

private:
  void note(const std::string& operation, AudioObjectID object, const Address& address) const {
    std::string call = operation + " " + std::to_string(object);
    if (address.mSelector != 0) call += " " + fourCharText(address.mSelector) + " " + fourCharText(address.mScope);
    calls.push_back(call);
  }

  OSStatus io(const char* operation, AudioObjectID device) {
    note(operation, device, {});
    return act_status;
  }

  std::map<std::pair<AudioObjectID, Address>, std::vector<char>> properties;
  mutable std::vector<std::string> calls;
  AudioObjectID last_stream = 1000;
};

} // namespace vurl
