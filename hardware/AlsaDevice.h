// One running ALSA device: opened with one or both directions, and a thread of its own that drives the cycles. All
// calls belong to the main thread. AlsaLoop is what the thread does.
#pragma once

#include "hardware/AlsaLoop.h"
#include "platform/RealTime.h"

#include <cstdint>
#include <future>
#include <memory>

namespace vurl {

/// What to open. A direction whose PCM has no name is left out.
struct AlsaDeviceSetup {
  AlsaSetup capture;
  AlsaSetup playback;
  uint32_t rate = 0;                          ///< Hz
  uint32_t frames = 0;                        ///< of a cycle; the device may only have another size near it
  uint64_t first_sample = 0;                  ///< where its count of samples begins
  bool loses_samples = false;                 ///< it ran until now: what came meanwhile is lost
  ThreadPreparation prepare_thread = nullptr; ///< may outlive the device, as its thread may
};

class AlsaDevice {
public:
  /// Opens the device and starts cycles into `io`. Nothing when it cannot be had, with a negative errno value in
  /// `error`: -ETIMEDOUT when its driver does not answer within two seconds.
  static std::unique_ptr<AlsaDevice> start(const AlsaDeviceSetup& setup, const IOProc& io, int& error);

  /// As stop().
  ~AlsaDevice();
  AlsaDevice(const AlsaDevice&) = delete;
  AlsaDevice& operator=(const AlsaDevice&) = delete;

  /// When this returns no cycle is under way and none follows, and the device is closed. A device whose driver does not
  /// answer within two seconds is left to its thread, which reaches nobody any more; returns false then.
  bool stop();

  /// Frames of a cycle.
  uint32_t frames() const { return nr_frames; }

  /// What the count of samples has reached.
  uint64_t nextSample() const { return loop->nextSample(); }

  uint32_t nrLosses() const { return loop->nrLosses(); }
  int failure() const { return loop->failure(); }
  bool isSilent() const { return loop->isSilent(); }

  /// Warns, once for each start, when samples for the outputs had to be limited to full scale. To be asked regularly.
  void reportLimiting() { loop->limiter.report(); }

private:
  AlsaDevice() = default;

  std::shared_ptr<AlsaLoop> loop; ///< shared with the thread, which may outlive this object
  std::future<void> ended;
  uint32_t nr_frames = 0;
};

} // namespace vurl
