#include "platform/Desktop.h"

#include "platform/Log.h"
#include "platform/NewThread.h"

#include <sys/wait.h>

#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

#include <array>
#include <csignal>

namespace vurl {
namespace {

/// How the other program is started: in a session of its own, silent, with signals as a fresh program has them. It is
/// spawned rather than forked: a fork would make the ring's pages copy-on-write under the I/O thread.
class SpawnSettings {
public:
  SpawnSettings() {
    sigset_t none;
    sigset_t reset;
    sigemptyset(&none);
    sigemptyset(&reset);
    for (const int number : {SIGPIPE, SIGXFSZ, SIGINT, SIGTERM}) sigaddset(&reset, number);
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &reset);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID);
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    for (const int descriptor : {STDOUT_FILENO, STDERR_FILENO}) {
      posix_spawn_file_actions_addopen(&actions, descriptor, "/dev/null", O_WRONLY, 0);
    }
  }
  ~SpawnSettings() {
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;

  posix_spawnattr_t attributes{};
  posix_spawn_file_actions_t actions{};
};

} // namespace

bool openWithDesktop(const std::string& path) {
  const SpawnSettings settings;
  std::string program = "xdg-open";
  std::string file = path;
  const std::array<char*, 3> arguments{program.data(), file.data(), nullptr};
  pid_t child = 0;
  const int error =
      posix_spawnp(&child, program.c_str(), &settings.actions, &settings.attributes, arguments.data(), environ);
  if (error != 0) {
    log("Could not open %@ in the desktop: %s", path, systemError(error));
    return false;
  }
  auto thread = newThread([child] { waitpid(child, nullptr, 0); }); // else it would stay as a zombie
  if (thread.joinable()) thread.detach();
  return true;
}

} // namespace vurl
