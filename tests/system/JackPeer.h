// A JACK client beside the recorder whose ports are connected to the recorder's whenever one is there. Thread: main;
// the cycles are its own.
#pragma once

#include "tests/system/TakeFile.h"

#include <jack/jack.h>

namespace vurl {

class JackPeer {
public:
  JackPeer(JackPeer&&) = delete;

  /// Whether a recorder runs whose ports are connected.
  bool isConnected() const {
    return std::all_of(ports.begin(), ports.end(), [](jack_port_t* port) { return jack_port_connected(port) > 0; });
  }

protected:
  /// Waits for the server. The ports are `kind` JackPortIsOutput or JackPortIsInput; `remote` is what the recorder's
  /// ports are called before their number.
  JackPeer(const char* name, const std::string& server, uint32_t nr_ports, JackPortFlags kind, const char* remote)
      : remote_ports(remote), plays(kind == JackPortIsOutput) {
    jack_set_error_function([](const char*) {});
    const auto options = static_cast<jack_options_t>(JackNoStartServer | JackServerName);
    EXPECT_TRUE(eventually([&] { return (client = jack_client_open(name, options, nullptr, server.c_str())); }));
    for (uint32_t i = 1; client != nullptr && i <= nr_ports; ++i)
      ports.push_back(jack_port_register(client, text("%i", i).c_str(), JACK_DEFAULT_AUDIO_TYPE, kind, 0));
  }
  ~JackPeer() = default;

  /// To be called when all is there that the cycles need, and while it still is.
  void activate(JackProcessCallback cycle, void* self) {
    jack_set_process_callback(client, cycle, self);
    jack_on_shutdown(
        client, [](void* peer) { static_cast<JackPeer*>(peer)->ends = true; }, this);
    jack_activate(client);
    connecting = std::thread([this] { connect(); });
  }
  void leave() {
    ends = true;
    connecting.join();
    if (client != nullptr) jack_client_close(client);
  }

  float* buffer(size_t port, jack_nframes_t nr_frames) const {
    return static_cast<float*>(jack_port_get_buffer(ports[port], nr_frames));
  }

  jack_client_t* client = nullptr;
  std::vector<jack_port_t*> ports;

private:
  /// Connects what is not connected, again and again: recorders come and go, and take no connection before they run.
  void connect() {
    for (; !ends; sleepFor(5)) {
      for (size_t i = 0; i < ports.size() && !ends; ++i) {
        if (jack_port_connected(ports[i]) > 0) continue;
        const std::string own = jack_port_name(ports[i]), remote = text("vurl-recorder:%s%i", remote_ports, i + 1);
        if (jack_connect(client, (plays ? own : remote).c_str(), (plays ? remote : own).c_str()) != 0) break;
      }
    }
  }

  const char* const remote_ports;
  const bool plays;
  std::atomic<bool> ends = false;
  std::thread connecting;
};

} // namespace vurl
