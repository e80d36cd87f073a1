#include "platform/PollRunLoop.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <thread>

namespace vurl {
namespace {

using std::chrono::milliseconds;

TEST(PollRunLoop, RunsPostedWorkInOrderOnItsOwnThread) {
  PollRunLoop loop;
  const auto main_thread = std::this_thread::get_id();
  std::string order;
  bool on_main = true;
  std::thread other([&] {
    for (const char letter : {'a', 'b', 'c'}) {
      loop.post([&, letter] {
        order += letter;
        on_main = on_main && std::this_thread::get_id() == main_thread;
      });
    }
    loop.post([&] { loop.post([&] { loop.quit(); }); });
  });
  loop.run();
  other.join();
  EXPECT_EQ(order, "abc");
  EXPECT_TRUE(on_main);
}

TEST(PollRunLoop, TimersAndWatchesEndWithTheirHandle) {
  PollRunLoop loop;
  int ticks = 0;
  RunLoop::Handle timer;
  timer = loop.every(milliseconds(1), [&] {
    if (++ticks == 3) timer.reset(); // from within its own callback
  });
  int pipe_ends[2];
  ASSERT_EQ(pipe(pipe_ends), 0);
  int reads = 0;
  RunLoop::Handle watch = loop.watch(pipe_ends[0], [&] {
    char byte = 0;
    if (read(pipe_ends[0], &byte, 1) == 1) ++reads;
    watch.reset();
    loop.quit();
  });
  while (timer) loop.runOnce(milliseconds(1000));
  ASSERT_EQ(write(pipe_ends[1], "xy", 2), 2);
  loop.run();
  loop.runOnce(milliseconds(5));
  EXPECT_EQ(ticks, 3);
  EXPECT_EQ(reads, 1) << "a watch that ended does not run again";
  close(pipe_ends[0]);
  close(pipe_ends[1]);
}

TEST(PollRunLoop, AHandleMayOutliveTheLoop) {
  RunLoop::Handle timer;
  {
    PollRunLoop loop;
    timer = loop.every(milliseconds(1), [] {});
  }
  timer.reset();
}

} // namespace
} // namespace vurl
