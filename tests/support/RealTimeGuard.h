// Catches what the I/O thread must not do: while a thread is within a guarded section, a call that allocates, frees,
// locks a mutex or writes a log ends the program with a message. The calls are interposed by RealTimeGuard.cpp, which
// a test program includes once.
#pragma once

#include "hardware/AudioIODelegate.h"

#include <atomic>

namespace vurl {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
/// The sanitizers interpose the same calls, so there the guard lets everything pass.
inline constexpr bool kRealTimeGuardWorks = false;
#else
inline constexpr bool kRealTimeGuardWorks = true;
#endif

/// Marks the calling thread as guarded while it exists. Any thread.
class RealTimeSection {
public:
  RealTimeSection() noexcept;
  ~RealTimeSection();
  RealTimeSection(const RealTimeSection&) = delete;
  RealTimeSection& operator=(const RealTimeSection&) = delete;
};

/// Passes I/O cycles on to another delegate, each in a guarded section, and counts them.
class GuardedDelegate final : public AudioIODelegate {
public:
  explicit GuardedDelegate(AudioIODelegate& guarded) : delegate(guarded) {}

  OSStatus ioCycleForDevice(uint32_t device, const AudioTimeStamp& now, const AudioBufferList& input_data,
                            const AudioTimeStamp& input_time, const AudioBufferList& output_data,
                            const AudioTimeStamp& output_time, void* client_data) noexcept override {
    OSStatus status = 0;
    {
      const RealTimeSection section;
      status = delegate.ioCycleForDevice(device, now, input_data, input_time, output_data, output_time, client_data);
    }
    nr_cycles.store(nr_cycles.load(std::memory_order_relaxed) + 1, std::memory_order_release);
    return status;
  }

  std::atomic<int> nr_cycles = 0;

private:
  AudioIODelegate& delegate;
};

} // namespace vurl
