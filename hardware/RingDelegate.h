// Hands a device's I/O cycles to the capture ring, so that the ring knows no device. Thread: I/O.
#pragma once

#include "engine/AudioRing.h"
#include "hardware/AudioIODelegate.h"

#ifdef VURL_RT_CHECK
#include "platform/guard/RealTimeGuard.h"
#endif

namespace vurl {

class RingDelegate final : public AudioIODelegate {
public:
  /// `ring` must outlive this object.
  explicit RingDelegate(AudioRing& ring) : audio_ring(ring) {}

  OSStatus ioCycleForDevice(uint32_t, const AudioTimeStamp&, const AudioBufferList& input_data,
                            const AudioTimeStamp& input_time, const AudioBufferList& output_data,
                            const AudioTimeStamp& output_time, void*) noexcept override {
#ifdef VURL_RT_CHECK
    const RealTimeGuard guard;
#endif
    return audio_ring.ioCycle(input_data, input_time, output_data, output_time);
  }

private:
  AudioRing& audio_ring;
};

} // namespace vurl
