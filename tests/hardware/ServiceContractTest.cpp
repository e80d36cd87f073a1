// What every service's device does when it is started and stopped over and over, and when it is taken away.
#include "platform/guard/RealTimeGuard.h"
#include "tests/hardware/ServiceRig.h"

namespace vurl {

template <typename Rig>
class ServiceContractTest : public AudioServiceTest<Rig> {};

using Services = testing::Types<GeneratorRig, JackRig, AlsaRig>;
TYPED_TEST_SUITE(ServiceContractTest, Services);

TYPED_TEST(ServiceContractTest, StartsAndStopsAThousandTimes) {
  constexpr int kTimes = kRealTimeGuardWorks ? 1000 : 100; // sanitizers make it slow
  ASSERT_TRUE(this->rig.makeQuick());
  this->rig.run_loop.drain();
  this->rig.observer.take();
  CountingDelegate& delegate = this->rig.delegate;
  int count = delegate.nr_cycles;
  for (int i = 0; i < kTimes; i++) {
    ASSERT_EQ(delegate.nr_cycles, count) << "a cycle behind stop " << i;
    AudioDevice audio(this->rig.model, this->rig.device());
    audio.setIODelegate(&delegate);
    for (int waits = 0; delegate.nr_cycles == count && waits < 200'000; waits++) usleep(100);
    audio.setIODelegate(nullptr);
    ASSERT_GT(delegate.nr_cycles, count) << i;
    count = delegate.nr_cycles;
    if (i % 100 == 99) this->rig.run_loop.drain();
  }
  EXPECT_FALSE(this->rig.observer.has("updateDevices"));
  EXPECT_TRUE(this->rig.select());
}

TYPED_TEST(ServiceContractTest, IsRemovedWhileItRunsAndComesBack) {
  for (int i = 0; i < 6; i++) {
    ASSERT_TRUE(i % 3 == 2 || this->rig.select()) << i; // merely known, or with cycles
    this->rig.observer.take();
    const uint32_t before = this->rig.device();
    this->rig.remove();
    ASSERT_TRUE(this->rig.wait([&] { return this->rig.device() == 0; })) << i;
    const int count = this->rig.delegate.nr_cycles;
    EXPECT_TRUE(this->rig.wait([&] { return this->rig.observer.has("updateDevices"); })) << i;
    EXPECT_EQ(this->rig.input_device.sampleRate(), i % 3 == 2 ? -1 : 0);
    EXPECT_TRUE(this->rig.input_device.inputs().empty() && this->rig.input_device.sampleRates().empty());
    this->rig.input_device.setBufferFrameSize(64);
    EXPECT_EQ(this->rig.delegate.nr_cycles, count);
    this->rig.input_device.unselectDevice();
    this->rig.putBack();
    ASSERT_TRUE(this->rig.wait([&] { return this->rig.device() != 0; })) << i;
    EXPECT_NE(this->rig.device(), before);
  }
  EXPECT_TRUE(this->rig.select());
}

} // namespace vurl
