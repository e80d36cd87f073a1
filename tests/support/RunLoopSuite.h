// What every main loop must do. A test program instantiates the suite with a type that owns a loop and runs it:
// `loop` (the RunLoop), `run()` until `quit()`, and `runFor(duration)`.
#pragma once

#include "platform/RunLoop.h"

#include <gtest/gtest.h>
#include <sys/eventfd.h>

#include <unistd.h>

#include <string>
#include <thread>

namespace vurl {

template <typename Runner>
class RunLoopSuite : public testing::Test {};

TYPED_TEST_SUITE_P(RunLoopSuite);

TYPED_TEST_P(RunLoopSuite, RunsPostedWorkInOrderOnItsOwnThread) {
  TypeParam runner;
  std::string order;
  std::thread other([&runner, &order, main_thread = std::this_thread::get_id()] {
    for (const char letter : {'a', 'b', 'c'})
      runner.loop.post(
          [&order, letter, main_thread] { order += std::this_thread::get_id() == main_thread ? letter : '!'; });
    runner.loop.post([&] { runner.loop.post([&] { runner.quit(); }); });
  });
  runner.run();
  other.join();
  EXPECT_EQ(order, "abc");
}

TYPED_TEST_P(RunLoopSuite, TimersAndWatchesEndWithTheirHandleWhichMayOutliveTheLoop) {
  RunLoop::Handle timer, watch, unused;
  int ticks = 0, calls = 0;
  const int readable = eventfd(1, 0);
  {
    TypeParam runner;
    unused = runner.loop.every(std::chrono::hours(1), [] {});
    timer = runner.loop.every(std::chrono::milliseconds(1), [&] {
      if (++ticks < 3) return;
      timer.reset(); // from within its own callback
      runner.quit();
    });
    runner.run();
    watch = runner.loop.watch(readable, [&] {
      if (++calls == 2) watch.reset();
      runner.quit();
    });
    for (int i = 0; i < 2; ++i) runner.run();
    runner.runFor(std::chrono::milliseconds(5));
  }
  unused.reset();
  close(readable);
  EXPECT_EQ(ticks, 3);
  EXPECT_EQ(calls, 2);
}

REGISTER_TYPED_TEST_SUITE_P(RunLoopSuite, RunsPostedWorkInOrderOnItsOwnThread,
                            TimersAndWatchesEndWithTheirHandleWhichMayOutliveTheLoop);

} // namespace vurl
