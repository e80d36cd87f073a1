// One direction of an ALSA device, open and set up: moves whole periods between the device's memory and float buffers,
// or hands out the device's memory itself where it holds floats. Made on the main thread, then used by one thread at a
// time. AlsaDevice drives one or two of these; AlsaProbe finds out what to ask for.
#pragma once

#include "engine/AudioIO.h"
#include "hardware/AlsaClock.h"
#include "hardware/AlsaFormat.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vurl {

/// How a PCM is to be set up.
struct AlsaSetup {
  std::string pcm; ///< ALSA's name for it; empty: this direction does not exist
  snd_pcm_format_t format = SND_PCM_FORMAT_UNKNOWN;
  snd_pcm_access_t access = SND_PCM_ACCESS_MMAP_INTERLEAVED;
  uint32_t nr_channels = 0;
};

class AlsaPcm {
public:
  /// Opens and sets up the PCM with `rate` and, as near as it gets, periods of `frames` frames. One that is to keep
  /// step with another moves `frames` frames at a time whatever its own periods are. Nothing when it cannot be had,
  /// with a negative errno value in `error`.
  static std::unique_ptr<AlsaPcm> open(const AlsaSetup& setup, snd_pcm_stream_t direction, uint32_t rate,
                                       uint32_t frames, bool keeps_step, int& error);

  AlsaPcm(const AlsaPcm&) = delete;
  AlsaPcm& operator=(const AlsaPcm&) = delete;
  ~AlsaPcm();

  uint32_t periodFrames() const { return static_cast<uint32_t>(period); }

  /// Frames that come or go between two moments at which the device may be found ready.
  uint32_t wakeUpFrames() const { return static_cast<uint32_t>(std::max(period, device_period)); }

  /// ALSA's handle, to poll, start and link.
  snd_pcm_t* handle() const { return pcm.get(); }

  /// Frames that can be moved now; a negative errno value when the device stopped or failed.
  snd_pcm_sframes_t available() noexcept;

  /// The hardware's count of captured samples, before begin(); nothing where no hardware stands right behind the PCM,
  /// or its driver tells none.
  std::optional<AlsaReading> readClock() noexcept;

  /// The buffers of the next period. Captured sound stands in them; those to be played are silent, and what is stored
  /// in them until end() is played. A failure goes into `error` and leaves the buffers silent. Wait-free as far as the
  /// driver is.
  AudioBufferList begin(int& error) noexcept;

  /// Silent buffers of a period that is not to be played; end() does not follow.
  AudioBufferList unheard() noexcept;

  /// Hands the period of the last begin() back. Returns a negative errno value on failure.
  int end() noexcept;

  /// Stops, forgets what was under way, and makes ready to be started; a device that plays has its memory filled with
  /// silence. Returns a negative errno value on failure.
  int restart() noexcept;

private:
  struct Close {
    void operator()(snd_pcm_t* open_pcm) const noexcept { snd_pcm_close(open_pcm); }
  };

  AlsaPcm() = default;
  int configure(const AlsaSetup& setup, uint32_t rate, uint32_t frames, bool keeps_step);
  int setMemory(const snd_pcm_hw_params_t* wishes, snd_pcm_uframes_t frames);
  int setWakeUp();
  void makeBuffers();
  bool isMapped() const {
    return access == SND_PCM_ACCESS_MMAP_INTERLEAVED || access == SND_PCM_ACCESS_MMAP_NONINTERLEAVED;
  }
  bool isInterleaved() const {
    return access == SND_PCM_ACCESS_MMAP_INTERLEAVED || access == SND_PCM_ACCESS_RW_INTERLEAVED;
  }
  bool lendMapped(int& error) noexcept;
  bool useOwnBuffers() noexcept;
  void clearBuffers() noexcept;
  int move() noexcept;
  int moveMapped() noexcept;
  int moveUnmapped() noexcept;
  snd_pcm_sframes_t transfer(size_t done) noexcept;
  void convert(const AlsaSamples& device, uint32_t channel, size_t at, size_t count) noexcept;

  std::unique_ptr<snd_pcm_t, Close> pcm;
  const AlsaFormat* format = nullptr;
  snd_pcm_stream_t direction = SND_PCM_STREAM_CAPTURE;
  snd_pcm_access_t access = SND_PCM_ACCESS_MMAP_INTERLEAVED;
  uint32_t nr_channels = 0;
  snd_pcm_uframes_t period = 0;
  snd_pcm_uframes_t device_period = 0;
  snd_pcm_uframes_t buffer_size = 0;
  std::vector<float> samples;        ///< a period, in the layout of the device
  std::vector<uint8_t> raw;          ///< a period in the device's format, where its memory cannot be reached
  std::vector<void*> raw_channels;   ///< of `raw`, for a transfer channel by channel
  std::vector<AudioBuffer> own;      ///< over `samples`
  std::vector<AudioBuffer> buffers;  ///< what begin() hands out
  snd_pcm_uframes_t lent_offset = 0; ///< where the memory handed out begins
  bool is_lent = false;              ///< the device's own memory is handed out
};

} // namespace vurl
