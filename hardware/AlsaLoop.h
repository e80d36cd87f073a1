// What the thread of a running ALSA device does: waits until a period has been captured and one can be played, runs a
// cycle, and starts the device anew when it stopped. AlsaDevice makes one, starts the thread, and tells it to stop.
#pragma once

#include "hardware/AlsaPcm.h"
#include "hardware/AudioService.h"
#include "hardware/OutputLimiter.h"

#include <poll.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

namespace vurl {

class AlsaLoop {
public:
  /// At least one of the two is there; both move the same number of frames. Throws nothing; `hasStopSignal()` tells
  /// whether the system had a descriptor left.
  AlsaLoop(std::unique_ptr<AlsaPcm> capture, std::unique_ptr<AlsaPcm> playback, uint32_t rate, const IOProc& io);
  ~AlsaLoop();
  AlsaLoop(const AlsaLoop&) = delete;
  AlsaLoop& operator=(const AlsaLoop&) = delete;

  bool hasStopSignal() const { return stop_signal >= 0; }

  /// Where the count of samples begins; before run().
  void setFirstSample(uint64_t sample) { sample_time.store(sample, std::memory_order_release); }

  /// Has the first cycle tell that samples were lost before it; before run().
  void noteLoss() { incident = kAudioTimeStampSamplesLost; }

  /// What the count has reached. Any thread.
  uint64_t nextSample() const { return sample_time.load(std::memory_order_acquire); }

  /// Runs cycles until requestStop() or a failure, then closes the device. Thread: the device's own.
  void run();

  /// No cycle begins after this call; one may still be under way while isInCycle(). Thread: main.
  void requestStop();
  bool isInCycle() const { return in_cycle.load(); }

  /// How often captured samples were lost. Any thread.
  uint32_t nrLosses() const { return nr_losses.load(std::memory_order_acquire); }

  /// The negative errno value that ended run(), 0 for none. Any thread.
  int failure() const { return error_at_end.load(std::memory_order_acquire); }

  /// Whether the device runs, and no period came or went for a second. Any thread.
  bool isSilent() const { return is_silent.load(std::memory_order_acquire); }

  OutputLimiter limiter;

private:
  struct Side {
    std::unique_ptr<AlsaPcm> pcm;
    std::vector<pollfd> descriptors;
    int error = 0;                ///< negative errno value that stopped it
    bool is_ready = false;        ///< a period can be moved
    bool was_called = false;      ///< it said that it is ready, and has not been since
    snd_pcm_sframes_t frames = 0; ///< that can be moved
    bool open(std::unique_ptr<AlsaPcm> opened);
    void look() noexcept;
  };

  int step() noexcept;
  bool isBehind() const noexcept;
  int restartStopped() noexcept;
  int restart(bool capture_too) noexcept;
  void countLoss() noexcept;
  void wait() noexcept;
  void sleep(int milliseconds) noexcept;
  void cycle() noexcept;
  static AudioTimeStamp timeStamp(uint64_t sample, const AlsaClock::Time& time) noexcept;

  Side capture;
  Side playback;
  const uint32_t rate;
  const IOProc io;
  uint32_t nr_frames = 0;
  std::vector<pollfd> waited_for;
  int stop_signal = -1;

  // The device's thread's own.
  AlsaClock clock;
  uint64_t last_host_time = 0; ///< of the last cycle, or the start
  bool has_run = false;        ///< a cycle has come since the device was opened
  int nr_vain_starts = 0;      ///< since the last cycle
  uint32_t incident = 0;       ///< what the next cycle's time stamp tells: AudioTimeStampFlags

  // Shared. `running` and `in_cycle` need one order for all threads: either the cycle sees that it may not run, or the
  // main thread sees that it does.
  std::atomic<bool> running = true;
  std::atomic<bool> in_cycle = false;
  std::atomic<bool> is_silent = false;
  std::atomic<uint64_t> sample_time = 0; ///< of the next cycle; written by the device's thread
  std::atomic<uint32_t> nr_losses = 0;
  std::atomic<int> error_at_end = 0;
};

} // namespace vurl
