#include "platform/PollRunLoop.h"

#include "tests/support/RunLoopSuite.h"

namespace vurl {

struct PollRunner {
  PollRunLoop loop;
  void run() { loop.run(); }
  void quit() { loop.quit(); }
  void runFor(std::chrono::milliseconds duration) { loop.runOnce(duration); }
};

INSTANTIATE_TYPED_TEST_SUITE_P(PollRunLoop, RunLoopSuite, PollRunner);

} // namespace vurl
