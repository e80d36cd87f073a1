#include "platform/RealTime.h"

#include "platform/Log.h"
#include "platform/SystemBus.h"

#include <sys/resource.h>

#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <optional>

namespace vurl {
namespace {

constexpr const char* kService = "org.freedesktop.RealtimeKit1";
constexpr const char* kPath = "/org/freedesktop/RealtimeKit1";
constexpr std::chrono::milliseconds kPatience{300}; ///< with each of three calls
constexpr rlim_t kLongestRun = 200'000;             ///< microseconds, far more than any cycle takes

// A signal's handler reaches nothing but what is global: the threads that are to lose their priority.
constexpr size_t kMostThreads = 16;
std::array<std::atomic<pid_t>, kMostThreads> limited_threads;

/// The thread's place among them, given back when it ends.
class LimitedThread {
public:
  LimitedThread() {
    for (auto& place : limited_threads) {
      pid_t none = 0;
      if (!place.compare_exchange_strong(none, gettid())) continue;
      taken = &place;
      return;
    }
  }
  ~LimitedThread() {
    if (taken != nullptr) taken->store(0);
  }
  LimitedThread(const LimitedThread&) = delete;
  LimitedThread& operator=(const LimitedThread&) = delete;

  bool isKnown() const { return taken != nullptr; }

private:
  std::atomic<pid_t>* taken = nullptr;
};

thread_local std::optional<LimitedThread> this_thread;

void takePriorityAway(int) {
  constexpr std::string_view kLine =
      "vurl: An audio thread ran for too long at a time and is no real-time one any more.\n";
  const int error = errno;
  const sched_param ordinary{};
  for (const auto& thread : limited_threads) // RealtimeKit has set the flag, and only who has the right may clear it
    if (const pid_t id = thread.load(); id != 0) sched_setscheduler(id, SCHED_OTHER | SCHED_RESET_ON_FORK, &ordinary);
  [[maybe_unused]] const ssize_t ignored = write(STDERR_FILENO, kLine.data(), kLine.size());
  errno = error;
}

/// 0, or the error number of the highest priority that was tried: a limit may allow a lower one.
int useOwnRight() {
  sched_param parameters{.sched_priority = RealTime::kPriority};
  if (sched_setscheduler(0, SCHED_FIFO | SCHED_RESET_ON_FORK, &parameters) == 0) return 0;
  const int error = errno;
  rlimit limit{};
  if (getrlimit(RLIMIT_RTPRIO, &limit) != 0 || limit.rlim_cur == 0 || limit.rlim_cur >= RealTime::kPriority)
    return error;
  parameters.sched_priority = static_cast<int>(limit.rlim_cur);
  return sched_setscheduler(0, SCHED_FIFO | SCHED_RESET_ON_FORK, &parameters) == 0 ? 0 : error;
}

BusReply property(const char* name) { return readBusProperty(kService, kPath, kService, name, kPatience); }

/// Has the kernel tell when a real-time thread takes the processor for itself for `longest` microseconds, and end the
/// process after `most`. 0, or an error number.
int limitTime(rlim_t longest, rlim_t most) {
  if (!this_thread) this_thread.emplace();
  if (!this_thread->isKnown()) return EAGAIN;
  rlimit time{};
  if (getrlimit(RLIMIT_RTTIME, &time) != 0) return errno;
  time.rlim_max = std::min(time.rlim_max, most);
  time.rlim_cur = std::min({time.rlim_cur, time.rlim_max, longest});
  struct sigaction action {};
  action.sa_handler = takePriorityAway;
  action.sa_flags = SA_RESTART;
  if (sigaction(SIGXCPU, &action, nullptr) != 0) return errno;
  return setrlimit(RLIMIT_RTTIME, &time) == 0 ? 0 : errno;
}

/// Nothing, or why RealtimeKit does not help.
std::string askService() {
  const BusReply most_time = property("RTTimeUSecMax");
  if (!most_time.error.empty()) return most_time.error;
  const BusReply most_priority = property("MaxRealtimePriority");
  if (!most_priority.error.empty()) return most_priority.error;
  if (most_time.number <= 0 || most_priority.number <= 0) return "it grants no time";
  const auto most = static_cast<rlim_t>(most_time.number); // it serves only processes with such a limit
  if (const int error = limitTime(most / 2, most); error != 0) return systemError(error);
  const auto priority = static_cast<uint32_t>(std::min<int64_t>(most_priority.number, RealTime::kPriority));
  const BusRequest request{kService,
                           kPath,
                           kService,
                           "MakeThreadRealtimeWithPID",
                           {static_cast<uint64_t>(getpid()), static_cast<uint64_t>(gettid()), priority}};
  return callSystemBus(request, kPatience).error;
}

} // namespace

RealTime::Way RealTime::request(std::string& reason) {
  const int error = useOwnRight();
  if (error == 0) {
    limitTime(kLongestRun, RLIM_INFINITY); // without it all is well as long as the thread behaves
    return Way::own_right;
  }
  const std::string no_service = askService();
  if (no_service.empty()) return Way::service;
  this_thread.reset();
  reason = text("%s; RealtimeKit: %s", systemError(error), no_service);
  return Way::none;
}

void RealTime::prepareThread() {
  std::string reason;
  if (request(reason) != Way::none || told.exchange(true)) return;
  warn("The audio thread has no real-time priority (%s). When the computer is busy, sound may be lost. %s", reason,
       realTimeAdvice());
}

std::string realTimeAdvice() {
  return "To allow it, put the lines \"@audio - rtprio 95\" and \"@audio - memlock unlimited\" into "
         "/etc/security/limits.d/audio.conf, join the group with \"sudo usermod -aG audio $USER\", and log in again.";
}

} // namespace vurl
