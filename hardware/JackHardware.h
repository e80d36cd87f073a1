// The JACK servers of this user as audio devices, one for each. Servers are found, and missed, by asking once a second;
// none is ever started. Since the library serves one server at a time, one client is open: to the device that runs, or
// was read last; the others are known as they were last read. Thread: main. JackClient speaks to the server.
#pragma once

#include "engine/AudioIO.h"
#include "hardware/HardwareModel.h"
#include "hardware/JackClient.h"
#include "hardware/JackServerList.h"
#include "platform/RunLoop.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vurl {

class JackHardware final : public AudioService {
public:
  /// Tells the names of the servers that run.
  using ServerLister = std::function<std::vector<std::string>()>;

  /// Publishes the servers that run now. `model` and `run_loop` must outlive this object. A test may look at a part of
  /// the servers only.
  JackHardware(HardwareModel& model, RunLoop& run_loop, ServerLister running_servers = runningJackServers);
  ~JackHardware() override;

  /// Whether a server still has to answer, which keeps all of them from being asked.
  bool awaitsServer() const;

  /// FrameRate of the timecode that comes with a rolling transport.
  void setFrameRate(int32_t frame_rate);

  /// Looks for servers that came or went; the main loop does so every second.
  void poll();

  OSStatus start(AudioObjectID device, const IOProc& io) override;
  void stop(AudioObjectID device) override;

  /// Takes the next power of two that is not above `frames`.
  OSStatus setBufferFrameSize(AudioObjectID device, uint32_t frames) override;

private:
  struct Server {
    std::string name;
    AudioObjectID device = kAudioObjectUnknown;
    bool is_read = false; ///< its ports and rates are published
  };

  bool openClient(const std::string& server);
  DeviceDescription describe(const std::string& server) const;
  void add(const std::string& server);
  void readUnread();
  void remove(const std::string& server);
  void clientGone(uint64_t generation);
  void clientChanged(uint64_t generation);
  void reportLosses();
  bool isOpen(const std::string& server) const { return client && client_server == server; }
  Server* serverOf(AudioObjectID device);
  bool isKnown(const std::string& server) const;

  HardwareModel& model;
  RunLoop& run_loop;
  const ServerLister running_servers;
  std::vector<Server> servers;
  std::unique_ptr<JackClient> client;
  std::string client_server;
  uint64_t client_generation = 0; ///< tells events of former clients from those of this one
  bool is_running = false;
  uint32_t nr_losses_told = 0;
  int32_t frame_rate = FRAME_RATE_25;
  std::shared_ptr<JackHardware*> self; ///< gone with this object; posted work looks before it touches it
  RunLoop::Handle poll_timer;
  RunLoop::Handle loss_timer;
};

} // namespace vurl
