// A private JACK server without a sound card, for one test: started and ended by its process id, under a name that no
// other test has.
#pragma once

#include <sys/prctl.h>
#include <sys/wait.h>

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace vurl {

class JackServer {
public:
  /// Prepares a name; start() starts the server.
  JackServer() {
    static int count = 0;
    server_name = namePrefix() + std::to_string(++count);
  }
  ~JackServer() { stop(); }
  JackServer(const JackServer&) = delete;
  JackServer& operator=(const JackServer&) = delete;

  const std::string& name() const { return server_name; }

  /// What the names of this test program's servers begin with.
  static std::string namePrefix() { return "vurl-test-" + std::to_string(getpid()) + "-"; }

  /// Starts the server with `channels` dummy ports each way. It takes a moment until it answers. A server that waits
  /// for its clients (as at first) is late with them; another one goes on without those that are late.
  void start(int rate = 48000, int frames = 256, int channels = 64, bool waits_for_clients = true) {
    setenv("JACK_NO_AUDIO_RESERVATION", "1", 1);
    std::vector<std::string> words = {"jackd", "-r", "-n", server_name};
    if (waits_for_clients) words.emplace_back("-S");
    words.insert(words.end(), {"-d", "dummy"});
    for (const auto& [option, value] : {std::pair{"-r", rate}, {"-p", frames}, {"-C", channels}, {"-P", channels}})
      words.insert(words.end(), {option, std::to_string(value)});
    std::vector<char*> arguments;
    for (auto& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    pid = fork();
    if (pid == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      const int null = open("/dev/null", O_RDWR);
      for (int descriptor = 0; descriptor < 3; descriptor++) dup2(null, descriptor);
      execvp(arguments[0], arguments.data());
      _exit(127);
    }
  }

  void signal(int number) const {
    if (pid > 0) ::kill(pid, number);
  }

  /// Ends the server at once, without its doing, and waits until it is gone.
  void kill() { end(SIGKILL); }

  /// Ends the server in good order, or at once when it takes more than five seconds.
  void stop() {
    signal(SIGTERM);
    for (int i = 0; i < 500 && pid > 0; i++) {
      if (waitpid(pid, nullptr, WNOHANG) == pid) pid = -1;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    end(SIGKILL);
  }

private:
  void end(int number) {
    if (pid <= 0) return;
    ::kill(pid, number);
    waitpid(pid, nullptr, 0);
    pid = -1;
  }

  std::string server_name;
  pid_t pid = -1;
};

} // namespace vurl
