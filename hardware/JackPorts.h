// The ports of one direction of a client of a JACK server, and the server's physical ports that they belong to. Beside
// the calls for a cycle, whatever stands here may ask the server and wait for its answer: JackRequests carries it out.
// Who uses it: hardware/JackClient.cpp.
#pragma once

#include "hardware/HardwareModel.h"

#include <jack/jack.h>

#include <string>
#include <vector>

namespace vurl {

struct JackPorts {
  std::vector<jack_port_t*> ports;
  std::vector<std::string> physical; ///< what they are connected to, as far as there is something
  std::vector<StreamDescription> streams;
  std::vector<AudioBuffer> buffers; ///< that they had in the present cycle

  /// Registers a port for each physical one of the other direction, 8 at the least and as many as the server allows,
  /// called `prefix` and a number from 1. `direction` is JackPortIsInput or JackPortIsOutput.
  void registerPorts(jack_client_t* client, const char* prefix, unsigned long direction);

  /// Whether the physical ports are those of an interface, which does not wait: a dummy has nothing to lose when it is
  /// late.
  bool haveInterface(jack_client_t* client) const;

  /// Whether nobody is connected to the physical port `i`. Waits for connections under way, anybody's.
  bool isPhysicalFree(jack_client_t* client, size_t i) const;

  /// The buffers of the present cycle, of `nr_frames` frames. Thread: I/O.
  AudioBufferList fetch(jack_nframes_t nr_frames) noexcept;

  /// The same, cleared. Thread: I/O.
  AudioBufferList fetchSilent(jack_nframes_t nr_frames) noexcept;
};

} // namespace vurl
