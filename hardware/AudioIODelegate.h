// Who receives a device's I/O cycles.
#pragma once

#include "engine/AudioIO.h"

#include <cstdint>

namespace vurl {

class AudioIODelegate {
public:
  virtual ~AudioIODelegate() = default;

  /// One I/O cycle of `device`: reads the inputs, adds to the outputs, which the service has cleared. Returns 0.
  /// Thread: I/O. Wait-free: neither allocates nor locks nor logs nor throws.
  virtual OSStatus ioCycleForDevice(uint32_t device, const AudioTimeStamp& now, const AudioBufferList& input_data,
                                    const AudioTimeStamp& input_time, const AudioBufferList& output_data,
                                    const AudioTimeStamp& output_time, void* client_data) noexcept = 0;
};

} // namespace vurl
