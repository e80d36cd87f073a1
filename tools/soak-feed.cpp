// soak-feed SERVER CHANNELS RECORDER: plays the known sequence into the input ports of the JACK client RECORDER, "in_1"
// and so on, whenever it is there, until SIGTERM; without RECORDER it only offers its ports, "feed:1" and so on. Prints
// a line when it is ready, and in the end how much it has played, how often the server told of an xrun, and how many
// frames the server went on without the feed.
#include "tests/support/Sequence.h"

#include <jack/jack.h>

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

volatile std::sig_atomic_t ends = 0;

struct Feed {
  jack_client_t* client = nullptr;
  std::vector<jack_port_t*> ports;
  std::atomic<int64_t> number = 0;
  std::atomic<int> nr_xruns = 0;
  std::atomic<int64_t> nr_missed = 0;
  jack_nframes_t next_frame_time = 0;

  bool open(const char* server, int nr_channels) {
    const auto options = static_cast<jack_options_t>(JackNoStartServer | JackServerName);
    jack_set_error_function([](const char*) {});
    for (int i = 0; client == nullptr && i < 100; ++i, usleep(100'000))
      client = jack_client_open("feed", options, nullptr, server);
    if (client == nullptr) return false;
    for (int i = 1; i <= nr_channels; ++i)
      ports.push_back(
          jack_port_register(client, std::to_string(i).c_str(), JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput, 0));
    jack_set_process_callback(client, play, this);
    jack_set_xrun_callback(
        client, [](void* self) { return static_cast<Feed*>(self)->nr_xruns++, 0; }, this);
    jack_on_shutdown(
        client, [](void*) { ends = 1; }, nullptr);
    return jack_activate(client) == 0;
  }

  static int play(jack_nframes_t nr_frames, void* self) {
    auto& feed = *static_cast<Feed*>(self);
    const int64_t begin = feed.number;
    const jack_nframes_t frame_time = jack_last_frame_time(feed.client);
    if (begin > 0) feed.nr_missed = feed.nr_missed + static_cast<int32_t>(frame_time - feed.next_frame_time);
    feed.next_frame_time = frame_time + nr_frames;
    for (uint32_t channel = 0; channel < feed.ports.size(); ++channel) {
      auto* const samples = static_cast<float*>(jack_port_get_buffer(feed.ports[channel], nr_frames));
      for (jack_nframes_t i = 0; i < nr_frames; ++i) samples[i] = vurl::played(channel, begin + i);
    }
    feed.number = begin + nr_frames;
    return 0;
  }

  void connectTo(const std::string& recorder) const {
    for (size_t i = 0; i < ports.size() && ends == 0; ++i) {
      if (jack_port_connected(ports[i]) > 0) continue;
      const std::string input = recorder + ":in_" + std::to_string(i + 1);
      if (jack_connect(client, jack_port_name(ports[i]), input.c_str()) != 0) return;
    }
  }
};

} // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv, argv + argc);
  if (argc < 3) return 2;
  for (const int number : {SIGTERM, SIGINT}) std::signal(number, [](int) { ends = 1; });
  static Feed feed; // its callbacks may outlive main() when the server goes first
  if (!feed.open(arguments[1].c_str(), std::atoi(arguments[2].c_str()))) return 1;
  std::puts("ready");
  std::fflush(stdout);
  for (; ends == 0; usleep(5000))
    if (argc > 3) feed.connectTo(arguments[3]);
  jack_deactivate(feed.client);
  std::printf("{\"played\": %lld, \"xruns\": %d, \"missed\": %lld}\n", static_cast<long long>(feed.number),
              feed.nr_xruns.load(), static_cast<long long>(feed.nr_missed));
  std::fflush(stdout);
  jack_client_close(feed.client);
  return 0;
}
