#include "hardware/AlsaDevice.h"

#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

namespace vurl {
namespace {

constexpr std::chrono::milliseconds kPatience{1900}; ///< together with the rest of stop(): less than two seconds

} // namespace

std::unique_ptr<AlsaDevice> AlsaDevice::start(const AlsaDeviceSetup& setup, const IOProc& io, int& error) {
  std::unique_ptr<AlsaPcm> capture, playback;
  const bool captures = !setup.capture.pcm.empty();
  std::unique_ptr<AlsaDevice> device(new AlsaDevice);
  device->nr_frames = setup.frames;
  if (captures) {
    capture = AlsaPcm::open(setup.capture, SND_PCM_STREAM_CAPTURE, setup.rate, setup.frames, false, error);
    if (!capture) return nullptr;
    device->nr_frames = capture->periodFrames();
  }
  if (!setup.playback.pcm.empty()) {
    playback = AlsaPcm::open(setup.playback, SND_PCM_STREAM_PLAYBACK, setup.rate, device->nr_frames, captures, error);
    if (!playback) return nullptr;
    device->nr_frames = playback->periodFrames();
  }
  device->loop = std::make_shared<AlsaLoop>(std::move(capture), std::move(playback), setup.rate, io);
  device->loop->setFirstSample(setup.first_sample);
  error = device->loop->hasStopSignal() ? 0 : -EMFILE;
  if (error < 0) return nullptr;
  std::promise<void> end;
  device->ended = end.get_future();
  std::thread([loop = device->loop, promise = std::move(end)]() mutable {
    loop->run();
    promise.set_value();
  }).detach();
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
