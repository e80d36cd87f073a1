// The I/O cycle into the capture ring under interposed allocation, locking and logging, with every audio service.
#include "engine/AudioRing.h"
#include "hardware/RingDelegate.h"
#include "platform/UserDefaults.h"
#include "tests/hardware/ServiceRig.h"
#include "tests/support/RealTimeGuard.cpp" // the interposed calls, once in this program

#include <gtest/gtest.h>

#include <algorithm>

namespace vurl {
namespace {

/// Does one thing that is not allowed.
class BadDelegate final : public AudioIODelegate {
public:
  explicit BadDelegate(void (*deed)()) : misdeed(deed) {}
  OSStatus ioCycleForDevice(uint32_t, const AudioTimeStamp&, const AudioBufferList&, const AudioTimeStamp&,
                            const AudioBufferList&, const AudioTimeStamp&, void*) noexcept override {
    misdeed();
    return 0;
  }

private:
  void (*misdeed)();
};

std::string* volatile escaped = nullptr;

TEST(RealTimeGuardDeathTest, Bites) {
  if (!kRealTimeGuardWorks) GTEST_SKIP() << "sanitizers interpose the same calls";
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  static std::mutex mutex;
  const struct {
    void (*deed)();
    const char* message;
  } cases[] = {
      {[] { escaped = new std::string; }, "malloc"},
      {[] { std::free(std::exchange(escaped, nullptr)); }, "free"},
      {[] { mutex.lock(); }, "pthread_mutex_lock"},
      {[] { syslog(LOG_DEBUG, "test"); }, "syslog"},
      {[] { (void)!::write(STDERR_FILENO, "", 0); }, "write"},
  };
  for (const auto& [deed, message] : cases) {
    BadDelegate bad(deed);
    GuardedDelegate guard(bad);
    EXPECT_DEATH(guard.ioCycleForDevice(0, {}, {}, {}, {}, {}, nullptr), message);
  }
}

/// Cycles of a rig's device go into a ring instead of the rig's own delegate.
template <typename Rig>
void runRing() {
  Rig rig;
  UserDefaults defaults;
  defaults.registerDefaults({{"nr_channels", int64_t{64}}, {"monitoring", true}, {"frame_rate", int64_t{1}}});
  AudioRing ring(defaults, systemWallTime, nullptr);
  RingDelegate ring_delegate(ring);
  GuardedDelegate guard(ring_delegate);
  rig.input_device.awake();
  ASSERT_TRUE(rig.wait([&] { return rig.find(rig.name()) != 0; }));
  InputDevice device(rig.model, rig.run_loop, guard);
  device.awake();
  for (const int64_t source : {1, 2, 4, 5}) { // times of which the cycle has to take care
    defaults.setInteger(source, "time_source");
    device.setSelectedDevice(rig.find(rig.name()));
    device.setClockSource(GeneratorHardware::kExternal);
    const int before = guard.nr_cycles;
    EXPECT_TRUE(rig.wait([&] { return guard.nr_cycles >= before + 30; }));
  }
  device.unselectDevice();
  EXPECT_EQ(ring.devicePosition(), int64_t{guard.nr_cycles} * 256);
}

TEST(RealTimeCycle, OfTheGeneratorIsClean) { runRing<GeneratorRig>(); }

TEST(RealTimeCycle, OfJackIsClean) { runRing<JackRig>(); }

} // namespace
} // namespace vurl
