// Catches what the I/O thread must not do: while a thread is within a guarded cycle, a call that allocates, frees,
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

/// Whether the calling thread is in a guarded cycle.
inline thread_local bool is_guarded = false;

/// Passes I/O cycles on to another delegate, each of them guarded, and counts them.
class GuardedDelegate final : public AudioIODelegate {
public:
  explicit GuardedDelegate(AudioIODelegate& guarded) : delegate(guarded) {}

  OSStatus ioCycleForDevice(uint32_t device, const AudioTimeStamp& now, const AudioBufferList& input_data,
                            const AudioTimeStamp& input_time, const AudioBufferList& output_data,
                            const AudioTimeStamp& output_time, void* client_data) noexcept override {
    is_guarded = true;
    delegate.ioCycleForDevice(device, now, input_data, input_time, output_data, output_time, client_data);
    is_guarded = false;
    nr_cycles = nr_cycles + 1;
    return 0;
  }

  std::atomic<int> nr_cycles = 0;

private:
  AudioIODelegate& delegate;
};

} // namespace vurl
