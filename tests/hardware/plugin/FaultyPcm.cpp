// A plugin that gives ALSA a device with faults to order, silent and paced by the clock: 48 kHz, 2 channels of 16 bits.
// It has one user at a time; with "refuses yes" no setup suits it, with "frames N" it is gone after N frames, with
// "hesitates yes" its memory is out of reach, and it often says that it is ready before it is.
#include <alsa/asoundlib.h>
#include <alsa/pcm_external.h>
#include <sys/eventfd.h>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

namespace {

using Clock = std::chrono::steady_clock;

bool is_in_use[2]; // playing, capturing

struct FaultyPcm {
  snd_pcm_ioplug_t io{};
  bool refuses = false;
  bool hesitates = false;
  int nr_transfers = 0;
  long frames = 0; ///< it delivers; 0 for ever
  bool is_gone = false;
  Clock::time_point start;

  static FaultyPcm& of(snd_pcm_ioplug_t* io) { return *static_cast<FaultyPcm*>(io->private_data); }

  snd_pcm_sframes_t position() {
    const auto passed = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start).count() * 48 / 1000;
    is_gone = is_gone || (frames > 0 && passed >= frames);
    return is_gone ? -EPIPE : passed % static_cast<long>(io.buffer_size);
  }

  void setUp() {
    constexpr unsigned kAccesses[] = {SND_PCM_ACCESS_RW_INTERLEAVED, SND_PCM_ACCESS_MMAP_INTERLEAVED};
    constexpr unsigned kFormats[] = {SND_PCM_FORMAT_S16_LE};
    snd_pcm_ioplug_set_param_list(&io, SND_PCM_IOPLUG_HW_ACCESS, hesitates ? 1 : 2, kAccesses);
    snd_pcm_ioplug_set_param_list(&io, SND_PCM_IOPLUG_HW_FORMAT, 1, kFormats);
    snd_pcm_ioplug_set_param_minmax(&io, SND_PCM_IOPLUG_HW_CHANNELS, 2, 2);
    snd_pcm_ioplug_set_param_minmax(&io, SND_PCM_IOPLUG_HW_RATE, 48000, 48000);
  }
};

const snd_pcm_ioplug_callback_t* callbacks() {
  static snd_pcm_ioplug_callback_t calls{};
  calls.hw_params = [](auto* io, auto*) { return FaultyPcm::of(io).refuses ? -EINVAL : 0; };
  calls.start = [](auto* io) {
    FaultyPcm::of(io).start = Clock::now();
    return FaultyPcm::of(io).is_gone ? -ENODEV : 0;
  };
  calls.stop = [](auto*) { return 0; };
  calls.pointer = [](auto* io) { return FaultyPcm::of(io).position(); };
  calls.transfer = [](auto* io, auto* areas, auto offset, auto size) -> snd_pcm_sframes_t {
    if (FaultyPcm::of(io).hesitates && ++FaultyPcm::of(io).nr_transfers % 3 != 0) return -EAGAIN;
    if (io->stream == SND_PCM_STREAM_CAPTURE)
      snd_pcm_areas_silence(areas, offset, io->channels, size, SND_PCM_FORMAT_S16_LE);
    return static_cast<snd_pcm_sframes_t>(size);
  };
  calls.close = [](auto* io) {
    is_in_use[io->stream] = false;
    close(io->poll_fd);
    delete &FaultyPcm::of(io);
    return 0;
  };
  return &calls;
}

} // namespace

extern "C" {

SND_PCM_PLUGIN_DEFINE_FUNC(faulty) {
  (void)root;
  if (is_in_use[stream]) return -EBUSY;
  auto* const pcm = new FaultyPcm;
  snd_config_t* found = nullptr;
  pcm->refuses = snd_config_search(conf, "refuses", &found) == 0 && snd_config_get_bool(found) == 1;
  pcm->hesitates = snd_config_search(conf, "hesitates", &found) == 0 && snd_config_get_bool(found) == 1;
  if (snd_config_search(conf, "frames", &found) == 0) snd_config_get_integer(found, &pcm->frames);
  pcm->io.version = SND_PCM_IOPLUG_VERSION;
  pcm->io.name = "device with faults";
  pcm->io.callback = callbacks();
  pcm->io.private_data = pcm;
  pcm->io.poll_fd = eventfd(1, EFD_CLOEXEC | EFD_NONBLOCK);
  pcm->io.poll_events = POLLIN;
  if (const int error = snd_pcm_ioplug_create(&pcm->io, name, stream, mode); error < 0) return error;
  is_in_use[stream] = true;
  pcm->setUp();
  *pcmp = pcm->io.pcm;
  return 0;
}

SND_PCM_PLUGIN_SYMBOL(faulty);

} // extern "C"
