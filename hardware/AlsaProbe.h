// What an ALSA PCM can do, found out by opening it for a moment. Thread: main. AlsaHardware describes devices by it.
#pragma once

#include "hardware/AlsaPcm.h"
#include "hardware/AudioHardware.h"

#include <optional>
#include <string>
#include <vector>

namespace vurl {

/// One direction of a device.
struct AlsaAbilities {
  AlsaSetup setup; ///< the best format and access, and as many channels as there are at the rate asked for, 64 at most
  std::vector<double> rates; ///< Hz, rising, at least one
  AudioValueRange period_frames;
};

/// Opens `pcm` and asks. Many interfaces have fewer channels at high rates, so what `rate` allows is told, in Hz; where
/// that is none of its rates, what any of them does. Nothing when it cannot be opened, has no format that is
/// understood, or no rate; with a negative errno value in `error`, -ENOTSUP for the latter two.
std::optional<AlsaAbilities> probeAlsa(const std::string& pcm, snd_pcm_stream_t direction, uint32_t rate, int& error);

} // namespace vurl
