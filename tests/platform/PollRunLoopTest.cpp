#include "platform/PollRunLoop.h"

#include <gtest/gtest.h>
#include <sys/eventfd.h>

#include <unistd.h>

#include <thread>

namespace vurl {

using std::chrono::milliseconds;

TEST(PollRunLoop, RunsPostedWorkInOrderOnItsOwnThread) {
  PollRunLoop loop;
  std::string order;
  std::thread other([&loop, &order, main_thread = std::this_thread::get_id()] {
    for (const char letter : {'a', 'b', 'c'})
      loop.post([&order, letter, main_thread] { order += std::this_thread::get_id() == main_thread ? letter : '!'; });
    loop.post([&] { loop.post([&] { loop.quit(); }); });
  });
  loop.run();
  other.join();
  EXPECT_EQ(order, "abc");
}

TEST(PollRunLoop, TimersAndWatchesEndWithTheirHandleWhichMayOutliveTheLoop) {
  RunLoop::Handle timer, watch, unused;
  int ticks = 0, calls = 0;
  const int readable = eventfd(1, 0);
  {
    PollRunLoop loop;
    unused = loop.every(std::chrono::hours(1), [] {});
    timer = loop.every(milliseconds(1), [&] {
      if (++ticks == 3) timer.reset(); // from within its own callback
    });
    while (timer) loop.runOnce(milliseconds(1000));
    watch = loop.watch(readable, [&] {
      if (++calls == 2) watch.reset();
      loop.quit();
    });
    for (int i = 0; i < 2; ++i) loop.run();
    loop.runOnce(milliseconds(5));
  }
  unused.reset();
  close(readable);
  EXPECT_EQ(ticks, 3);
  EXPECT_EQ(calls, 2);
}

} // namespace vurl
