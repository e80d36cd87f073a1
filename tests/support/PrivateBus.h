// A bus for one test, system and session bus in one, with stand-ins for the login service and RealtimeKit on it: what
// they were asked, what they grant. The bus is a process of its own, ended by its id; the stand-ins are a thread.
#pragma once

#include "platform/Text.h"
#include "tests/support/TemporaryFolder.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

namespace vurl {

class PrivateBus {
public:
  enum class Services { none, grant, refuse, keep_silent };

  /// All of this process, and those that it starts, find this bus while the object lives.
  explicit PrivateBus(Services what) : services(what) {
    const std::string socket = folder.file("bus"), address = "unix:path=" + socket;
    for (const char* const which : kAddresses) setenv(which, address.c_str(), 1);
    pid = fork();
    if (pid == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      dup2(open("/dev/null", O_RDWR), STDERR_FILENO);
      execlp("dbus-daemon", "dbus-daemon", "--nofork", "--nopidfile", "--session", ("--address=" + address).c_str(),
             nullptr);
      _exit(127);
    }
    for (int i = 0; i < 5000 && !std::filesystem::exists(socket); ++i) usleep(1000);
    if (services == Services::none) return;
    server = std::thread([this] { serve(); });
    for (int i = 0; i < 5000 && !is_serving; ++i) usleep(1000);
  }
  ~PrivateBus() {
    is_ending = true;
    if (server.joinable()) server.join();
    signal(SIGKILL);
    waitpid(pid, nullptr, 0);
    for (const char* const which : kAddresses) setenv(which, "unix:path=/nonexistent", 1);
    for (const int end : lock_ends) close(end);
  }
  PrivateBus(PrivateBus&&) = delete;

  void signal(int number) const { kill(pid, number); }
  bool isServing() const { return is_serving; }

  /// The process, the thread and the priority of each request.
  std::vector<std::string> priorities() const {
    const std::lock_guard lock(mutex);
    return asked_priorities;
  }

  /// The words of each inhibitor, and how many are held.
  std::vector<std::string> inhibitors() const {
    const std::lock_guard lock(mutex);
    return asked_inhibitors;
  }
  int nrHeld() const {
    const std::lock_guard lock(mutex);
    int count = 0;
    for (const int end : lock_ends) {
      pollfd other{end, 0, 0};
      count += poll(&other, 1, 0) == 0 ? 1 : 0; // else nobody holds it any more
    }
    return count;
  }

  static constexpr int64_t kMostTime = 200'000; ///< microseconds
  static constexpr int32_t kMostPriority = 20;

private:
  static constexpr const char* kAddresses[] = {"DBUS_SYSTEM_BUS_ADDRESS", "DBUS_SESSION_BUS_ADDRESS"};

  int answer(sd_bus_message* message, sd_bus_error* error) const {
    if (services == Services::refuse) return sd_bus_error_set(error, SD_BUS_ERROR_ACCESS_DENIED, "not for you");
    return services == Services::keep_silent ? 1 : sd_bus_reply_method_return(message, "");
  }

  static int inhibit(sd_bus_message* message, void* me, sd_bus_error* error) {
    auto& self = *static_cast<PrivateBus*>(me);
    const char *what = nullptr, *who = nullptr, *why = nullptr, *mode = nullptr;
    sd_bus_message_read(message, "ssss", &what, &who, &why, &mode);
    const std::lock_guard lock(self.mutex);
    self.asked_inhibitors.push_back(std::string(what) + "|" + who + "|" + why + "|" + mode);
    if (self.services != Services::grant) return self.answer(message, error);
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return -errno;
    self.lock_ends.push_back(ends[0]);
    const int result = sd_bus_reply_method_return(message, "h", ends[1]);
    close(ends[1]);
    return result;
  }

  static int makeRealTime(sd_bus_message* message, void* me, sd_bus_error* error) {
    auto& self = *static_cast<PrivateBus*>(me);
    uint64_t process = 0, thread = 0;
    uint32_t priority = 0;
    sd_bus_message_read(message, "ttu", &process, &thread, &priority);
    const std::lock_guard lock(self.mutex);
    self.asked_priorities.push_back(text("%qu %qu %u", process, thread, priority));
    const sched_param parameters{static_cast<int>(priority)};
    if (self.services == Services::grant)
      sched_setscheduler(static_cast<pid_t>(thread), SCHED_RR | SCHED_RESET_ON_FORK, &parameters);
    return self.answer(message, error);
  }

  static int readLimit(sd_bus*, const char*, const char*, const char* name, sd_bus_message* reply, void*,
                       sd_bus_error*) {
    return std::string(name) == "RTTimeUSecMax" ? sd_bus_message_append(reply, "x", kMostTime)
                                                : sd_bus_message_append(reply, "i", kMostPriority);
  }

  void serve() {
    static const sd_bus_vtable logind[] = {SD_BUS_VTABLE_START(0),
                                           SD_BUS_METHOD("Inhibit", "ssss", "h", inhibit, SD_BUS_VTABLE_UNPRIVILEGED),
                                           SD_BUS_VTABLE_END};
    static const sd_bus_vtable kit[] = {
        SD_BUS_VTABLE_START(0), SD_BUS_PROPERTY("RTTimeUSecMax", "x", readLimit, 0, 0),
        SD_BUS_PROPERTY("MaxRealtimePriority", "i", readLimit, 0, 0),
        SD_BUS_METHOD("MakeThreadRealtimeWithPID", "ttu", "", makeRealTime, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_VTABLE_END};
    sd_bus* bus = nullptr;
    int result = -1;
    for (int i = 0; i < 1000 && result < 0; ++i, usleep(5000))
      result = sd_bus_open_system(&bus); // it may not listen yet
    for (const auto& [name, path, interface, table] :
         {std::tuple("org.freedesktop.login1", "/org/freedesktop/login1", "org.freedesktop.login1.Manager", logind),
          std::tuple("org.freedesktop.RealtimeKit1", "/org/freedesktop/RealtimeKit1", "org.freedesktop.RealtimeKit1",
                     kit)}) {
      if (result >= 0) result = sd_bus_add_object_vtable(bus, nullptr, path, interface, table, this);
      if (result >= 0) result = sd_bus_request_name(bus, name, 0);
    }
    is_serving = result >= 0;
    while (is_serving && !is_ending)
      if (sd_bus_process(bus, nullptr) == 0) sd_bus_wait(bus, 10'000);
    sd_bus_close_unref(bus);
  }

  const Services services;
  TemporaryFolder folder;
  pid_t pid = -1;
  std::thread server;
  std::atomic<bool> is_serving = false, is_ending = false;
  mutable std::mutex mutex; ///< guards what follows
  std::vector<std::string> asked_priorities, asked_inhibitors;
  std::vector<int> lock_ends;
};

} // namespace vurl
