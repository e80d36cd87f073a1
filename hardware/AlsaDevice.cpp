#include "hardware/AlsaDevice.h"

#include "hardware/AlsaLog.h"
#include "platform/NewThread.h"
#include "platform/Patience.h"

#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

namespace vurl {
namespace {

constexpr std::chrono::milliseconds kPatience{1900}; ///< together with the rest of stop(): less than two seconds

/// The sides of a device that exist.
struct Opened {
  std::unique_ptr<AlsaPcm> capture;
  std::unique_ptr<AlsaPcm> playback;
  uint32_t nr_frames = 0;
  int error = 0;
};

Opened openSides(const AlsaDeviceSetup& setup) {
  Opened opened;
  opened.nr_frames = setup.frames;
  const bool captures = !setup.capture.pcm.empty();
  if (captures) {
    opened.capture =
        AlsaPcm::open(setup.capture, SND_PCM_STREAM_CAPTURE, setup.rate, setup.frames, false, opened.error);
    if (!opened.capture) return opened;
    opened.nr_frames = opened.capture->periodFrames();
  }
  if (setup.playback.pcm.empty()) return opened;
  opened.playback =
      AlsaPcm::open(setup.playback, SND_PCM_STREAM_PLAYBACK, setup.rate, opened.nr_frames, captures, opened.error);
  if (opened.playback) opened.nr_frames = opened.playback->periodFrames();
  return opened;
}

} // namespace

// What comes too late is closed by the thread that opened it.
std::unique_ptr<AlsaDevice> AlsaDevice::start(const AlsaDeviceSetup& setup, const IOProc& io, int& error) {
  auto opened = withPatience(kPatience, [setup] {
    allowAlsaLogHere();
    return openSides(setup);
  });
  error = opened ? opened->error : -ETIMEDOUT;
  if (error < 0) return nullptr;
  std::unique_ptr<AlsaDevice> device(new AlsaDevice);
  device->nr_frames = opened->nr_frames;
  device->loop = std::make_shared<AlsaLoop>(std::move(opened->capture), std::move(opened->playback), setup.rate, io);
  device->loop->setFirstSample(setup.first_sample);
  if (setup.loses_samples) device->loop->noteLoss();
  error = device->loop->hasStopSignal() ? 0 : -EMFILE;
  if (error < 0) return nullptr;
  std::promise<void> end;
  device->ended = end.get_future();
  auto thread = newThread([loop = device->loop, promise = std::move(end), prepare = setup.prepare_thread]() mutable {
    if (prepare) prepare();
    loop->run();
    promise.set_value();
  });
  error = thread.joinable() ? 0 : -EAGAIN;
  if (error < 0) return nullptr;
  thread.detach();
  return device;
}

AlsaDevice::~AlsaDevice() { stop(); }

// The thread is never joined, because a driver may keep it for ever; what it needs belongs to it as well. The cycle
// itself never hangs, so that it is waited for without end.
bool AlsaDevice::stop() {
  if (!ended.valid()) return true;
  loop->requestStop();
  const bool has_ended = ended.wait_for(kPatience) == std::future_status::ready;
  while (!has_ended && loop->isInCycle()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  ended = {};
  return has_ended;
}

} // namespace vurl
