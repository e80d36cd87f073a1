// Real-time priority and the computer's sleep, with stand-ins for the services that grant them.
#include "platform/PollRunLoop.h"
#include "platform/RealTime.h"
#include "platform/SleepInhibitor.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/Test.h"

#include <linux/capability.h>
#include <sys/resource.h>
#include <sys/syscall.h>

namespace vurl {
namespace {

using Services = PrivateBus::Services;
using Clock = std::chrono::steady_clock;

/// Runs `work` as a user who may not raise priorities, on a thread of its own.
void withoutPriority(const std::function<void()>& work) {
  rlimit before{};
  getrlimit(RLIMIT_RTPRIO, &before);
  const rlimit none{0, before.rlim_max};
  setrlimit(RLIMIT_RTPRIO, &none);
  std::thread([&] {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    constexpr __user_cap_data_struct kNoCapability[2]{};
    syscall(SYS_capset, &header, kNoCapability);
    work();
  }).join();
  setrlimit(RLIMIT_RTPRIO, &before);
}

/// Takes the processor for itself.
void spin(int milliseconds) {
  const auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
  while (Clock::now() < end) {
  }
}

/// With no service, with one that refuses, one that keeps silent, and a bus that stands still.
void onEveryBadBus(const std::function<void(const CapturedLog&)>& work) {
  for (const auto services : {Services::none, Services::refuse, Services::keep_silent, Services::grant}) {
    SCOPED_TRACE(static_cast<int>(services));
    const PrivateBus bus(services);
    ASSERT_EQ(bus.isServing(), services != Services::none);
    if (services == Services::grant) bus.signal(SIGSTOP);
    work(CapturedLog());
  }
}

int policy() { return sched_getscheduler(0) & ~SCHED_RESET_ON_FORK; }

} // namespace

TEST(RealTime, OfAThreadsOwnRightEndsWhenItNeverPauses) {
  std::thread([] {
    std::string reason;
    if (RealTime::request(reason) != RealTime::Way::own_right) GTEST_SKIP() << reason;
    EXPECT_EQ(policy(), SCHED_FIFO);
    for (int i = 0; i < 20; ++i) {
      spin(20);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(policy(), SCHED_FIFO) << "it paused";
    spin(500);
    EXPECT_EQ(policy(), SCHED_OTHER);
  }).join();
}

TEST(RealTime, ComesFromRealtimeKitWithinItsLimitsWhereTheRightIsMissing) {
  const PrivateBus bus(Services::grant);
  ASSERT_TRUE(bus.isServing());
  withoutPriority([&] {
    std::string reason;
    ASSERT_EQ(RealTime::request(reason), RealTime::Way::service) << reason;
    EXPECT_EQ(bus.priorities(), std::vector<std::string>{text("%i %i 20", getpid(), gettid())});
    rlimit time{};
    getrlimit(RLIMIT_RTTIME, &time);
    EXPECT_LE(time.rlim_max, static_cast<rlim_t>(PrivateBus::kMostTime));
    EXPECT_LT(time.rlim_cur, time.rlim_max);
    if (policy() != SCHED_RR) GTEST_SKIP() << "the stand-in may not give priorities itself";
    spin(400); // the kernel would kill it at 200
    EXPECT_EQ(policy(), SCHED_OTHER) << "it ran for too long";
  });
}

TEST(RealTime, SaysOnceWhatWouldHelpAndWaitsForNobody) {
  onEveryBadBus([](const CapturedLog& log) {
    RealTime real_time;
    const auto start = Clock::now();
    for (int i = 0; i < 2; ++i) withoutPriority([&] { real_time.prepareThread(); });
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(2500));
    ASSERT_EQ(log.lines().size(), 1U);
    for (const char* part : {"no real-time priority", "RealtimeKit", "@audio - rtprio 95", "limits.d/audio.conf"})
      EXPECT_TRUE(log.contains(part)) << part << " in " << log.lines()[0];
  });
}

TEST(SleepInhibitor, HoldsTheLoginServicesLockUntilSleepIsAllowed) {
  const PrivateBus bus(Services::grant);
  ASSERT_TRUE(bus.isServing());
  PollRunLoop run_loop;
  std::optional<SleepInhibitor> inhibitor(std::in_place, run_loop);
  for (size_t round = 1; round <= 2; ++round) {
    for (int i = 0; i < 2; ++i) inhibitor->setSleepingIsAllowed(false);
    for (int i = 0; i < 200 && !inhibitor->isHeld(); ++i) run_loop.runOnce(std::chrono::milliseconds(50));
    ASSERT_EQ(bus.inhibitors().size(), round);
    EXPECT_TRUE(bus.inhibitors().back().starts_with("sleep|Vurl Recorder|")) << bus.inhibitors().back();
    EXPECT_TRUE(bus.inhibitors().back().ends_with("|block"));
    EXPECT_EQ(bus.nrHeld(), 1);
    round == 1 ? inhibitor->setSleepingIsAllowed(true) : inhibitor.reset();
    EXPECT_EQ(bus.nrHeld(), 0);
  }
}

TEST(SleepInhibitor, GoesOnWithALogLineAndNeverHoldsUpTheMainLoop) {
  onEveryBadBus([](const CapturedLog& log) {
    PollRunLoop run_loop;
    SleepInhibitor inhibitor(run_loop, std::chrono::milliseconds(300));
    auto longest = Clock::duration::zero();
    const auto end = Clock::now() + std::chrono::seconds(1);
    for (auto before = Clock::now(); before < end; before = Clock::now()) {
      if (inhibitor.isHeld() || !log.lines().empty()) break;
      inhibitor.setSleepingIsAllowed(false);
      run_loop.runOnce(std::chrono::milliseconds(20));
      longest = std::max(longest, Clock::now() - before);
    }
    EXPECT_FALSE(inhibitor.isHeld());
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_TRUE(log.contains("may fall asleep")) << log.lines()[0];
    EXPECT_LT(longest, std::chrono::milliseconds(200));
  });
}

} // namespace vurl
