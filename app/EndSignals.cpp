#include "app/EndSignals.h"

#include <sys/signalfd.h>

#include <unistd.h>

#include <csignal>
#include <utility>

namespace vurl {

namespace {

sigset_t endSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, signal);
  return signals;
}

} // namespace

void EndSignals::hold() {
  const sigset_t signals = endSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

EndSignals::EndSignals(RunLoop& run_loop) {
  const sigset_t signals = endSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  descriptor = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
  if (descriptor < 0) {
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr); // let them end the program at least
  } else {
    watch = run_loop.watch(descriptor, [this] { readSignals(); });
  }
}

EndSignals::~EndSignals() {
  if (descriptor >= 0) close(descriptor);
}

void EndSignals::readSignals() {
  signalfd_siginfo info{};
  bool any = false;
  while (read(descriptor, &info, sizeof info) == sizeof info) any = true;
  came = came || any;
  if (any && asked) asked();
}

void EndSignals::setAsked(std::function<void()> callback) {
  asked = std::move(callback);
  if (came && asked) asked();
}

} // namespace vurl
