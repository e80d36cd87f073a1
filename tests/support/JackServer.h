// A private JACK server without a sound card, for one test: started and ended by its process id, under a name that no
// other test has. The system has room for eight servers, and a server gives its place back only when it ends in good
// order or one of the same name takes it over; so that is how each of these ends, even when the test program crashes.
#pragma once

#include <sys/prctl.h>
#include <sys/wait.h>

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>

namespace vurl {

/// It has a name from the beginning; start() starts it.
class JackServer {
public:
  JackServer() = default;
  ~JackServer() { stop(); }
  JackServer(JackServer&&) = delete;

  const std::string& name() const { return server_name; }

  /// What the names of this test program's servers begin with.
  static std::string namePrefix() { return "vurl-test-" + std::to_string(getpid()) + "-"; }

  /// Starts the server with `channels` dummy ports each way. It takes a moment until it answers. A server that waits
  /// for its clients (as at first) is late with them; another one goes on without those that are late. How long it
  /// waits says how long clients have to wait behind one that was killed: 20 times `patience`, in ms.
  void start(int rate = 48000, int frames = 256, int channels = 64, bool waits_for_clients = true, int patience = 500) {
    setenv("JACK_NO_AUDIO_RESERVATION", "1", 1);
    const std::string r = std::to_string(rate), p = std::to_string(frames), c = std::to_string(channels);
    const std::string t = std::to_string(patience);
    holds_place = false;
    pid = fork();
    if (pid != 0) return;
    // A SIGTERM that comes before the server can take it stays pending until then.
    sigset_t later;
    sigemptyset(&later);
    sigaddset(&later, SIGTERM);
    sigprocmask(SIG_BLOCK, &later, nullptr);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    const int null = open("/dev/null", O_RDWR);
    for (int descriptor = 0; descriptor < 3; descriptor++) dup2(null, descriptor);
    execlp("jackd", "jackd", "-r", waits_for_clients ? "-S" : "-r", "-t", t.c_str(), "-n", server_name.c_str(), "-d",
           "dummy", "-r", r.c_str(), "-p", p.c_str(), "-C", c.c_str(), "-P", c.c_str(), nullptr);
    _exit(127);
  }

  void signal(int number) const {
    if (pid > 0) ::kill(pid, number);
  }

  /// Ends the server at once, without its doing, and waits until it is gone. start() may follow.
  void kill() {
    signal(SIGKILL);
    reap(0);
    holds_place = true;
  }

  /// Ends the server in good order, or at once when it takes more than ten seconds. One that was killed is started
  /// again for that.
  void stop() {
    if (holds_place) start();
    signal(SIGTERM);
    for (int i = 0; i < 1000 && pid > 0; i++, reap(WNOHANG)) usleep(10'000);
    if (pid > 0) kill();
  }

private:
  void reap(int options) {
    if (pid > 0 && waitpid(pid, nullptr, options) == pid) pid = -1;
  }

  static inline int count = 0;
  const std::string server_name = namePrefix() + std::to_string(++count);
  pid_t pid = -1;
  bool holds_place = false; ///< in the system's list, although killed
};

} // namespace vurl
