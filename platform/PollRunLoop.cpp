#include "platform/PollRunLoop.h"

#include <sys/eventfd.h>

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace vurl {
namespace {

using Clock = std::chrono::steady_clock;

} // namespace

struct PollRunLoop::Timer {
  Clock::time_point due;
  std::chrono::milliseconds interval;
  Work work;
  bool ended = false;
};

struct PollRunLoop::Watch {
  int descriptor = -1;
  Work work;
  bool ended = false;
};

/// Ends its timer or watch; the loop itself takes the entry out of its list when it next passes by, so that a callback
/// may end itself or any other. The entry outlives the loop if need be.
struct PollRunLoop::Link final : Registration {
  explicit Link(std::function<void()> ending) : end(std::move(ending)) {}
  ~Link() override { end(); }
  std::function<void()> end;
};

PollRunLoop::PollRunLoop()
    : wake_descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      timers(std::make_shared<std::list<std::shared_ptr<Timer>>>()),
      watches(std::make_shared<std::list<std::shared_ptr<Watch>>>()) {}

PollRunLoop::~PollRunLoop() { close(wake_descriptor); }

void PollRunLoop::post(Work work) {
  {
    const std::lock_guard lock(mutex);
    posted.push_back(std::move(work));
  }
  const uint64_t one = 1;
  [[maybe_unused]] const ssize_t ignored = write(wake_descriptor, &one, sizeof one); // full means awake already
}

RunLoop::Handle PollRunLoop::every(std::chrono::milliseconds interval, Work work) {
  const auto timer = std::make_shared<Timer>(Timer{Clock::now() + interval, interval, std::move(work)});
  timers->push_back(timer);
  return std::make_unique<Link>([timer] { timer->ended = true; });
}

RunLoop::Handle PollRunLoop::watch(int descriptor, Work work) {
  const auto watch = std::make_shared<Watch>(Watch{descriptor, std::move(work)});
  watches->push_back(watch);
  return std::make_unique<Link>([watch] { watch->ended = true; });
}

void PollRunLoop::run() {
  for (;;) {
    {
      const std::lock_guard lock(mutex);
      if (quitting) {
        quitting = false;
        return;
      }
    }
    runOnce(std::chrono::hours(1));
  }
}

void PollRunLoop::quit() {
  {
    const std::lock_guard lock(mutex);
    quitting = true;
  }
  post([] {});
}

void PollRunLoop::drain() {
  while (runPosted()) {
  }
}

bool PollRunLoop::runPosted() {
  std::vector<Work> batch;
  {
    const std::lock_guard lock(mutex);
    batch.swap(posted);
  }
  for (const Work& work : batch) work();
  return !batch.empty();
}

bool PollRunLoop::runTimers() {
  timers->remove_if([](const auto& timer) { return timer->ended; });
  const auto now = Clock::now();
  bool any = false;
  for (const auto& timer : std::vector(timers->begin(), timers->end())) {
    if (timer->ended || timer->due > now) continue;
    timer->due += timer->interval;
    if (timer->due <= now) timer->due = now + timer->interval;
    timer->work();
    any = true;
  }
  return any;
}

int PollRunLoop::millisecondsToNextTimer() const {
  int wait = -1;
  for (const auto& timer : *timers) {
    if (timer->ended) continue;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(timer->due - Clock::now()).count();
    const int bounded = static_cast<int>(std::clamp<int64_t>(left, 0, 3'600'000));
    wait = wait < 0 ? bounded : std::min(wait, bounded);
  }
  return wait;
}

bool PollRunLoop::runOnce(std::chrono::milliseconds patience) {
  watches->remove_if([](const auto& watch) { return watch->ended; });
  const std::vector<std::shared_ptr<Watch>> watched(watches->begin(), watches->end());
  std::vector<pollfd> descriptors{{wake_descriptor, POLLIN, 0}};
  for (const auto& watch : watched) descriptors.push_back({watch->descriptor, POLLIN, 0});

  const auto to_timer = millisecondsToNextTimer();
  int64_t wait = patience.count();
  if (to_timer >= 0) wait = std::min<int64_t>(wait, to_timer);
  const timespec time{wait / 1000, (wait % 1000) * 1'000'000};
  if (ppoll(descriptors.data(), descriptors.size(), &time, nullptr) < 0 && errno != EINTR) return false;

  uint64_t count = 0;
  [[maybe_unused]] const ssize_t ignored = read(wake_descriptor, &count, sizeof count);
  bool any = runPosted();
  for (size_t i = 0; i < watched.size(); ++i) {
    if (descriptors[i + 1].revents == 0 || watched[i]->ended) continue;
    watched[i]->work();
    any = true;
  }
  return runTimers() || any;
}

} // namespace vurl
