// A JACK client that plays the known sequence into the recorder, whenever one is there. The sequence is counted from
// the feed's own first cycle, and goes on whether or not anybody listens. Thread: main; the rest is its own.
#pragma once

#include "tests/system/TakeFile.h"
#include "tests/system/Workbench.h"

#include <jack/jack.h>

#include <atomic>

namespace vurl {

class Feed {
public:
  /// Waits for the server.
  Feed(const std::string& server, uint32_t nr_channels) {
    jack_set_error_function([](const char*) {});
    const auto options = static_cast<jack_options_t>(JackNoStartServer | JackServerName);
    EXPECT_TRUE(eventually([&] { return (client = jack_client_open("feed", options, nullptr, server.c_str())); }));
    for (uint32_t i = 1; client != nullptr && i <= nr_channels; ++i)
      ports.push_back(
          jack_port_register(client, text("out_%i", i).c_str(), JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput, 0));
    jack_set_process_callback(client, play, this);
    jack_on_shutdown(
        client, [](void* self) { static_cast<Feed*>(self)->ends = true; }, this);
    jack_activate(client);
    connecting = std::thread([this] { connect(); });
  }
  ~Feed() {
    ends = true;
    connecting.join();
    if (client != nullptr) jack_client_close(client);
  }
  Feed(Feed&&) = delete;

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
    for (; !ends; sleepFor(5)) {
      for (size_t i = 0; i < ports.size() && !ends; ++i) {
        if (jack_port_connected(ports[i]) > 0) continue;
        if (jack_connect(client, jack_port_name(ports[i]), text("vurl-recorder:in_%i", i + 1).c_str()) != 0) break;
      }
    }
  }

  jack_client_t* client = nullptr;
  std::vector<jack_port_t*> ports;
  std::atomic<int64_t> number = 0;
  std::atomic<bool> ends = false;
  std::thread connecting;
};

} // namespace vurl
