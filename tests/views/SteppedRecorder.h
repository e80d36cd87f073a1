// Time and sound for a whole recorder as the test says: a main loop whose timers go by a clock of the test's own.
#pragma once

#include "tests/hardware/SteppedDevice.h"
#include "views/QtRunLoop.h"

#include <vector>

namespace vurl {

/// Qt's loop, but for the timers.
class SteppedRunLoop final : public RunLoop {
public:
  void post(Work work) override { qt.post(std::move(work)); }
  Handle watch(int descriptor, Work work) override { return qt.watch(descriptor, std::move(work)); }
  Handle every(std::chrono::milliseconds interval, Work work) override {
    auto timer = std::make_shared<Timer>(Timer{interval, now + interval, std::move(work)});
    timers.push_back(timer);
    return std::make_unique<Kept>(std::move(timer));
  }

  /// Every timer that has become due ticks once.
  void advance(std::chrono::milliseconds by) {
    now += by;
    const auto due = timers;
    for (const auto& still : due) {
      const auto timer = still.lock();
      if (timer == nullptr || timer->next > now) continue;
      timer->next = now + timer->interval;
      timer->work();
    }
    std::erase_if(timers, [](const auto& timer) { return timer.expired(); });
  }

private:
  struct Timer {
    std::chrono::milliseconds interval, next;
    Work work;
  };
  struct Kept final : Registration {
    explicit Kept(std::shared_ptr<Timer> kept) : timer(std::move(kept)) {}
    std::shared_ptr<Timer> timer;
  };

  QtRunLoop qt;
  std::chrono::milliseconds now{0};
  std::vector<std::weak_ptr<Timer>> timers;
};

} // namespace vurl
