#include "hardware/JackHardware.h"

#include "hardware/JackRequests.h"
#include "platform/Log.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace vurl {
namespace {

constexpr std::chrono::seconds kPollInterval{1};
constexpr std::chrono::milliseconds kLossInterval{100};

bool contains(const std::vector<std::string>& names, const std::string& name) {
  return std::ranges::find(names, name) != names.end();
}

} // namespace

JackHardware::JackHardware(HardwareModel& hardware_model, RunLoop& main_loop, ServerLister lister)
    : model(hardware_model),
      run_loop(main_loop),
      running_servers(std::move(lister)),
      self(std::make_shared<JackHardware*>(this)) {
  poll();
  poll_timer = run_loop.every(kPollInterval, [this] { poll(); });
  loss_timer = run_loop.every(kLossInterval, [this] {
    reportLosses();
    if (client) client->reportLimiting();
  });
}

JackHardware::~JackHardware() {
  for (auto& server : servers) server.is_read = true;
  while (!servers.empty()) remove(std::string(servers.back().name));
}

bool JackHardware::awaitsServer() const { return JackRequests::areStuck(); }

// A client that is open to a server without a socket says that the library is not the sockets' one: no use in asking
// it for their servers.
void JackHardware::poll() {
  const auto listening = running_servers();
  if (client && !contains(listening, client_server)) return;
  const auto known = servers;
  for (const auto& server : known)
    if (!isOpen(server.name) && !contains(listening, server.name)) remove(server.name);
  auto candidates = listening;
  if (const auto first = defaultJackServer(); contains(candidates, first) || !client) {
    std::erase(candidates, first);
    candidates.insert(candidates.begin(), first);
  }
  for (const auto& name : candidates)
    if (!isKnown(name)) add(name);
  readUnread();
}

void JackHardware::add(const std::string& server) {
  if (!is_running && !openClient(server)) return;
  const AudioObjectID device = model.publish(*this, describe(server));
  servers.push_back({server, device, isOpen(server)});
}

// While a device runs, a server that comes up is listed by its name alone; what it has is read when the client is free.
void JackHardware::readUnread() {
  for (auto& server : servers) {
    if (is_running) return;
    if (server.is_read || !openClient(server.name)) continue;
    server.is_read = true;
    model.update(server.device, describe(server.name));
  }
}

bool JackHardware::openClient(const std::string& server) {
  if (isOpen(server)) return true;
  client.reset();
  client_server = server;
  nr_losses_told = 0;
  const uint64_t generation = ++client_generation;
  const auto later = [this, generation](void (JackHardware::*event)(uint64_t)) {
    return [loop = &run_loop, weak = std::weak_ptr(self), generation, event] {
      loop->post([weak, generation, event] {
        JackHardware* const hardware = weak.expired() ? nullptr : *weak.lock();
        if (hardware != nullptr) (hardware->*event)(generation);
      });
    };
  };
  client = JackClient::open(server, {later(&JackHardware::clientGone), later(&JackHardware::clientChanged)});
  if (client) client->setFrameRate(frame_rate);
  return client != nullptr;
}

DeviceDescription JackHardware::describe(const std::string& server) const {
  DeviceDescription description = isOpen(server) ? client->describe() : DeviceDescription();
  description.manufacturer = "JACK";
  description.name = server;
  return description;
}

void JackHardware::remove(const std::string& server) {
  const auto found = std::ranges::find(servers, server, &Server::name);
  if (found == servers.end()) return;
  const AudioObjectID device = found->device;
  servers.erase(found);
  if (isOpen(server)) {
    client.reset();
    is_running = false;
  }
  model.unpublish(device);
}

void JackHardware::clientGone(uint64_t generation) {
  if (generation != client_generation || !client) return;
  remove(std::string(client_server));
  poll();
}

void JackHardware::clientChanged(uint64_t generation) {
  if (generation != client_generation || !client) return;
  const auto found = std::ranges::find(servers, client_server, &Server::name);
  if (found == servers.end()) return;
  const DeviceDescription* const before = model.description(found->device);
  const DeviceDescription now = describe(client_server);
  if (is_running && before != nullptr && before->buffer_frame_size != now.buffer_frame_size) {
    warn("The JACK server %@ has changed its buffers from %u to %u frames.", client_server, before->buffer_frame_size,
         now.buffer_frame_size);
  }
  model.update(found->device, now);
}

JackHardware::Server* JackHardware::serverOf(AudioObjectID device) {
  const auto found = std::ranges::find(servers, device, &Server::device);
  return found == servers.end() ? nullptr : &*found;
}

bool JackHardware::isKnown(const std::string& server) const {
  return std::ranges::count(servers, server, &Server::name) > 0;
}

void JackHardware::setFrameRate(int32_t new_frame_rate) {
  frame_rate = new_frame_rate;
  if (client) client->setFrameRate(frame_rate);
}

OSStatus JackHardware::start(AudioObjectID device, const IOProc& io) {
  Server* const server = serverOf(device);
  if (server == nullptr) return kAudioHardwareBadDeviceError;
  if (is_running) return kAudioHardwareIllegalOperationError;
  if (!openClient(server->name)) {
    warn("The JACK server %@ cannot be reached: no sound will arrive.", server->name);
    return kAudioHardwareBadDeviceError;
  }
  server->is_read = true;
  model.update(device, describe(server->name));
  const OSStatus status = client->start(io);
  is_running = status == kAudioHardwareNoError;
  return status;
}

void JackHardware::stop(AudioObjectID device) {
  if (const Server* const server = serverOf(device); server != nullptr && isOpen(server->name)) {
    is_running = false;
    if (!client->stop()) {
      warn("The JACK server %@ does not answer: it could not be closed.", server->name);
      client.reset();
    }
  }
  readUnread();
}

OSStatus JackHardware::setBufferFrameSize(AudioObjectID device, uint32_t frames) {
  const Server* const server = serverOf(device);
  if (server == nullptr || !isOpen(server->name)) return kAudioHardwareIllegalOperationError;
  const auto range = client->describe().buffer_frame_size_range;
  if (frames < range.mMinimum || frames > range.mMaximum) return kAudioHardwareIllegalOperationError;
  const OSStatus status = client->setBufferFrameSize(std::bit_floor(frames));
  model.update(device, describe(server->name));
  return status;
}

void JackHardware::reportLosses() {
  if (!client) return;
  const uint32_t nr_now = client->nrLosses();
  if (std::exchange(nr_losses_told, nr_now) == nr_now) return;
  const auto found = std::ranges::find(servers, client_server, &Server::name);
  if (found != servers.end()) model.notifyOverload(found->device);
}

} // namespace vurl
