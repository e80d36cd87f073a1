// Catches what the I/O thread must not do. While a RealTimeGuard stands, a call of its thread that allocates, frees,
// locks, logs or enters the system ends the program, with one line on standard error that names the call. The programs
// hold one over every I/O cycle when they are built with VURL_RT_CHECK; other builds of them do not contain it. Tests
// hold one of their own.
#pragma once

namespace vurl {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
/// The sanitizers interpose the same calls, so there the guard lets everything pass.
inline constexpr bool kRealTimeGuardWorks = false;
#else
inline constexpr bool kRealTimeGuardWorks = true;
#endif

class RealTimeGuard {
public:
  /// Guards the calling thread until the guard is destroyed, on the same thread; guards may stand within each other.
  /// The first one of a thread makes ready, which takes system calls.
  RealTimeGuard() noexcept;
  ~RealTimeGuard();
  RealTimeGuard(const RealTimeGuard&) = delete;
  RealTimeGuard& operator=(const RealTimeGuard&) = delete;

  /// Whether every system call of a guarded thread is caught, which takes Linux 5.11. Otherwise only those calls are
  /// that the library makes under a name of its own: allocation, mutexes, writing and the log. Any thread.
  static bool catchesSystemCalls() noexcept;

private:
  const bool stood_before;
};

} // namespace vurl
