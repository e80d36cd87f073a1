// The sample formats of ALSA's linear PCM, and the way between each of them and floats of full scale 1.0. Wait-free,
// any thread. AlsaPcm moves whole periods with it.
#pragma once

#include <alsa/asoundlib.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace vurl {

/// Samples of one channel as they lie in a device's memory.
struct AlsaSamples {
  uint8_t* first = nullptr;
  size_t step = 0; ///< bytes from a sample to the next one
};

/// Floats of one channel.
struct FloatSamples {
  float* first = nullptr;
  size_t step = 1; ///< floats from a sample to the next one
};

/// One format. A format of 24 bits in 4 bytes uses the low three; what a device leaves in the fourth is not looked at.
struct AlsaFormat {
  snd_pcm_format_t format;
  size_t nr_bytes; ///< of a sample
  void (*toFloats)(AlsaSamples from, FloatSamples to, size_t count) noexcept;

  /// Rounds to the nearest step. Beyond full scale it stays there.
  void (*fromFloats)(FloatSamples from, AlsaSamples to, size_t count) noexcept;
};

/// All that are understood, the most wanted first: floats as this computer keeps them need no copy.
const std::array<AlsaFormat, 10>& alsaFormats();

/// Nullptr for a format that is none of these.
const AlsaFormat* findAlsaFormat(snd_pcm_format_t format);

} // namespace vurl
