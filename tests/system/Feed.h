// A JACK client that plays the known sequence into the recorder, whenever one is there. The sequence is counted from
// the feed's own first cycle, and goes on whether or not anybody listens. A signal of the test's own may stand in for
// the last channel's. Thread: main; the rest is its own.
#pragma once

#include "tests/system/TakeFile.h"
#include "tests/system/Workbench.h"

#include <jack/jack.h>
#include <jack/transport.h>

#include <atomic>

namespace vurl {

class Feed {
public:
  /// Waits for the server.
  Feed(const std::string& server, uint32_t nr_channels, std::vector<float> last_signal = {})
      : signal(std::move(last_signal)) {
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

  /// By how much the server's frame time and the rolling transport are ahead of the sequence's number.
  int64_t frameTimeLead() const { return frame_time_lead; }
  int64_t transportLead() const { return transport_lead; }

  void roll(jack_nframes_t from) const {
    EXPECT_EQ(jack_transport_locate(client, from), 0);
    jack_transport_start(client);
    EXPECT_TRUE(eventually([&] { return transport_lead != 0; }));
  }

  void setPeriod(jack_nframes_t frames) const { EXPECT_EQ(jack_set_buffer_size(client, frames), 0); }

private:
  static int play(jack_nframes_t nr_frames, void* feed) {
    auto& self = *static_cast<Feed*>(feed);
    const int64_t begin = self.number;
    for (uint32_t channel = 0; channel < self.ports.size(); ++channel) {
      auto* const buffer = static_cast<float*>(jack_port_get_buffer(self.ports[channel], nr_frames));
      for (jack_nframes_t i = 0; i < nr_frames; ++i) buffer[i] = vurl::played(channel, begin + i);
      if (channel + 1 < self.ports.size() || self.signal.empty()) continue;
      for (jack_nframes_t i = 0; i < nr_frames; ++i) buffer[i] = self.signal[size_t(begin + i) % self.signal.size()];
    }
    jack_position_t transport;
    if (jack_transport_query(self.client, &transport) == JackTransportRolling)
      self.transport_lead = transport.frame - begin;
    self.frame_time_lead = jack_last_frame_time(self.client) - begin;
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
  const std::vector<float> signal;
  std::atomic<int64_t> number = 0, frame_time_lead = 0, transport_lead = 0;
  std::atomic<bool> ends = false;
  std::thread connecting;
};

} // namespace vurl
