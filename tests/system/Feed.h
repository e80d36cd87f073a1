// A JACK client that plays the known sequence into the recorder, whenever one is there. The sequence is counted from
// the feed's own first cycle, and goes on whether or not anybody listens. Thread: main; the rest is its own.
#pragma once

#include "tests/system/TakeFile.h"
#include "tests/system/Workbench.h"

#include <jack/jack.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace vurl {

class Feed {
public:
  /// Waits for the server.
  Feed(const std::string& server, uint32_t nr_channels) {
    const auto quiet = [](const char*) {};
    jack_set_error_function(quiet);
    jack_set_info_function(quiet);
    const auto options = static_cast<jack_options_t>(JackNoStartServer | JackServerName);
    const bool opened = eventually([&] {
      client = jack_client_open("feed", options, nullptr, server.c_str());
      return client != nullptr;
    });
    EXPECT_TRUE(opened);
    if (!opened) return;
    for (uint32_t i = 1; i <= nr_channels; ++i) {
      const std::string name = "out_" + std::to_string(i);
      ports.push_back(jack_port_register(client, name.c_str(), JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput, 0));
    }
    jack_set_process_callback(client, play, this);
    jack_on_shutdown(
        client, [](void* self) { static_cast<Feed*>(self)->ends = true; }, this);
    jack_activate(client);
    connecting = std::thread([this] { connect(); });
  }
  ~Feed() {
    ends = true;
    if (connecting.joinable()) connecting.join();
    if (client != nullptr) jack_client_close(client);
  }
  Feed(const Feed&) = delete;
  Feed& operator=(const Feed&) = delete;

  /// How much of each channel has been played.
  int64_t played() const { return number; }

  void setPeriod(jack_nframes_t frames) const { EXPECT_EQ(jack_set_buffer_size(client, frames), 0); }

private:
  static int play(jack_nframes_t nr_frames, void* feed) {
    auto& self = *static_cast<Feed*>(feed);
    const int64_t begin = self.number;
    for (uint32_t channel = 0; channel < self.ports.size(); ++channel) {
      auto* const buffer = static_cast<float*>(jack_port_get_buffer(self.ports[channel], nr_frames));
      for (jack_nframes_t i = 0; i < nr_frames; ++i) buffer[i] = vurl::played(channel, begin + i);
    }
    self.number = begin + nr_frames;
    return 0;
  }

  /// Connects what is not connected, again and again: recorders come and go, and take no connection before they run.
  void connect() {
    while (!ends) {
      for (size_t i = 0; i < ports.size() && !ends; ++i) {
        const std::string input = "vurl-recorder:in_" + std::to_string(i + 1);
        if (jack_port_by_name(client, input.c_str()) == nullptr) break;
        if (jack_port_connected_to(ports[i], input.c_str()) != 0) continue;
        if (jack_connect(client, jack_port_name(ports[i]), input.c_str()) != 0) break;
      }
      sleepFor(5);
    }
  }

  jack_client_t* client = nullptr;
  std::vector<jack_port_t*> ports;
  std::atomic<int64_t> number = 0;
  std::atomic<bool> ends = false;
  std::thread connecting;
};

} // namespace vurl
