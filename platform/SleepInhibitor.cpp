#include "platform/SleepInhibitor.h"

#include "platform/Log.h"

namespace vurl {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kStepInterval{20};

} // namespace

BusRequest inhibitSleep() {
  return {"org.freedesktop.login1",
          "/org/freedesktop/login1",
          "org.freedesktop.login1.Manager",
          "Inhibit",
          {"sleep", "Vurl Recorder", "A take may be recorded at any moment", "block"}};
}

void SleepInhibitor::setSleepingIsAllowed(bool allowed) {
  if (allowed) {
    timer.reset();
    call.reset();
    lock = Descriptor();
  } else if (!call && !lock.isOpen()) {
    deadline = Clock::now() + patience;
    call = std::make_unique<BusCall>(inhibitSleep());
    timer = run_loop.every(kStepInterval, [this] { step(); });
  }
}

void SleepInhibitor::step() {
  if (Clock::now() > deadline) call->giveUp();
  if (!call->step()) return;
  const auto ended = std::move(call);
  lock = std::move(ended->reply().descriptor);
  if (!lock.isOpen())
    log("The computer may fall asleep while the program runs: the login service does not prevent it (%s).",
        ended->reply().error);
  timer.reset();
}

} // namespace vurl
