// A JACK client that plays the known sequence into the recorder, whenever one is there. The sequence is counted from
// the feed's own first cycle, and goes on whether or not anybody listens. A signal of the test's own may stand in for
// the last channel's. Thread: main; the rest is its own.
#pragma once

#include "tests/system/JackPeer.h"

#include <jack/transport.h>

namespace vurl {

class Feed : public JackPeer {
public:
  /// Waits for the server.
  Feed(const std::string& server, uint32_t nr_channels, std::vector<float> last_signal = {})
      : JackPeer("feed", server, nr_channels, JackPortIsOutput, "in_"), signal(std::move(last_signal)) {
    activate(play, this);
  }
  ~Feed() { leave(); }

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

  /// Takes the interface's own inputs from the recorder.
  void unplugInterface() const {
    for (size_t i = 1; i <= ports.size(); ++i)
      jack_disconnect(client, text("system:capture_%i", i).c_str(), text("vurl-recorder:in_%i", i).c_str());
  }

  void setPeriod(jack_nframes_t frames) const { EXPECT_EQ(jack_set_buffer_size(client, frames), 0); }

private:
  static int play(jack_nframes_t nr_frames, void* feed) {
    auto& self = *static_cast<Feed*>(feed);
    const int64_t begin = self.number;
    for (uint32_t channel = 0; channel < self.ports.size(); ++channel) {
      float* const samples = self.buffer(channel, nr_frames);
      for (jack_nframes_t i = 0; i < nr_frames; ++i) samples[i] = vurl::played(channel, begin + i);
      if (channel + 1 < self.ports.size() || self.signal.empty()) continue;
      for (jack_nframes_t i = 0; i < nr_frames; ++i) samples[i] = self.signal[size_t(begin + i) % self.signal.size()];
    }
    jack_position_t transport;
    if (jack_transport_query(self.client, &transport) == JackTransportRolling)
      self.transport_lead = transport.frame - begin;
    self.frame_time_lead = jack_last_frame_time(self.client) - begin;
    self.number = begin + nr_frames;
    return 0;
  }

  const std::vector<float> signal;
  std::atomic<int64_t> number = 0, frame_time_lead = 0, transport_lead = 0;
};

} // namespace vurl
