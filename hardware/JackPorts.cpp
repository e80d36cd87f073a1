#include "hardware/JackPorts.h"

#include <algorithm>
#include <cstring>
#include <memory>

namespace vurl {
namespace {

constexpr size_t kLeastPorts = 8;

struct FreeNames {
  void operator()(const char** names) const { jack_free(names); }
};

/// The names of the physical audio ports that give (JackPortIsOutput) or take (JackPortIsInput) sound.
std::vector<std::string> physicalPorts(jack_client_t* client, unsigned long direction) {
  const std::unique_ptr<const char*, FreeNames> names(
      jack_get_ports(client, nullptr, JACK_DEFAULT_AUDIO_TYPE, JackPortIsPhysical | direction));
  std::vector<std::string> result;
  for (const char** name = names.get(); name != nullptr && *name != nullptr; name++) result.emplace_back(*name);
  return result;
}

/// The first alias that the server knows of a port; empty when it knows none.
std::string firstAlias(jack_client_t* client, const std::string& port_name) {
  std::string alias(static_cast<size_t>(jack_port_name_size()), '\0');
  std::string other_alias = alias;
  char* const aliases[2] = {alias.data(), other_alias.data()};
  const jack_port_t* const port = jack_port_by_name(client, port_name.c_str());
  if (port == nullptr || jack_port_get_aliases(port, aliases) <= 0) return {};
  return alias.substr(0, alias.find('\0'));
}

/// What a physical port is called on the device, as far as the server knows: its first alias, without the client.
std::string shownName(jack_client_t* client, const std::string& port_name) {
  const std::string alias = firstAlias(client, port_name);
  const std::string& name = alias.empty() ? port_name : alias;
  return name.substr(name.rfind(':') + 1);
}

} // namespace

void JackPorts::registerPorts(jack_client_t* client, const char* prefix, unsigned long direction) {
  physical = physicalPorts(client, direction == JackPortIsInput ? JackPortIsOutput : JackPortIsInput);
  for (size_t i = 0; i < std::max(physical.size(), kLeastPorts); i++) {
    const std::string name = prefix + std::to_string(i + 1);
    jack_port_t* const port = jack_port_register(client, name.c_str(), JACK_DEFAULT_AUDIO_TYPE, direction, 0);
    if (port == nullptr) break;
    ports.push_back(port);
    streams.push_back({i < physical.size() ? shownName(client, physical[i]) : name, 1});
  }
  buffers.resize(ports.size());
}

bool JackPorts::haveInterface(jack_client_t* client) const {
  return !physical.empty() && !firstAlias(client, physical.front()).starts_with("dummy_pcm:");
}

bool JackPorts::isPhysicalFree(jack_client_t* client, size_t i) const {
  const jack_port_t* const port = jack_port_by_name(client, physical[i].c_str());
  if (port == nullptr) return false;
  const std::unique_ptr<const char*[], FreeNames> connections(jack_port_get_all_connections(client, port));
  return connections == nullptr || connections[0] == nullptr;
}

AudioBufferList JackPorts::fetch(jack_nframes_t nr_frames) noexcept {
  for (size_t i = 0; i < ports.size(); i++)
    buffers[i] = {1, static_cast<uint32_t>(nr_frames * sizeof(float)), jack_port_get_buffer(ports[i], nr_frames)};
  return {static_cast<uint32_t>(buffers.size()), buffers.data()};
}

AudioBufferList JackPorts::fetchSilent(jack_nframes_t nr_frames) noexcept {
  const AudioBufferList list = fetch(nr_frames);
  for (const auto& buffer : buffers)
    if (buffer.mData != nullptr) std::memset(buffer.mData, 0, buffer.mDataByteSize);
  return list;
}

} // namespace vurl
