// Real-time priority for the threads that drive audio devices, so that no other work of the computer makes them late:
// by the thread's own right (the limit "rtprio" of its user, or a capability), else through RealtimeKit.
#pragma once

#include <atomic>
#include <functional>
#include <string>

namespace vurl {

/// Runs on each thread that drives a device, before its first cycle.
using ThreadPreparation = std::function<void()>;

class RealTime {
public:
  enum class Way { own_right, service, none };

  /// Above all ordinary work, below the threads that the kernel serves the hardware with (50 is theirs as a rule, but
  /// those of sound cards are raised above 80 where somebody cares).
  static constexpr int kPriority = 65;

  /// Makes the calling thread a real-time one, of SCHED_FIFO or, by RealtimeKit, SCHED_RR. Threads that it starts are
  /// ordinary ones. Waits a second at most, for RealtimeKit. Returns how that came about; none, with the reason in
  /// words, when it remains an ordinary thread. Any thread, outside of cycles.
  ///
  /// A thread that runs for too long without a pause (200 ms; RealtimeKit sets the limit for those that it serves)
  /// loses its priority again, with a line on standard error: a device that never waits must not take the processor
  /// from all else. For that the process's RLIMIT_RTTIME is lowered, and SIGXCPU is taken.
  static Way request(std::string& reason);

  /// As request(); warns, once for this object, when that fails, and says what would help.
  void prepareThread();

private:
  std::atomic<bool> told = false;
};

/// What the user does to be allowed real-time priority and locked memory, as a sentence.
std::string realTimeAdvice();

} // namespace vurl
