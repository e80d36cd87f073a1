#include "hardware/JackServerList.h"
#include "tests/hardware/ServiceRig.h"

#include <gtest/gtest.h>
#include <jack/jack.h>
#include <jack/transport.h>

#include <sstream>

namespace vurl {
namespace {

TEST(JackServerList, KnowsServersByTheirListeningSockets) {
  const struct {
    const char* flags;
    const char* path;
    const char* expected;
  } cases[] = {
      {"00010000", "/dev/shm/jack_default_1000_0", "default"},
      {"00010000", "/dev/shm/jack_my_2_cards_1000_0", "my_2_cards"},
      {"00000000", "/dev/shm/jack_default_1000_0", ""}, // a connection
      {"00010000", "/dev/shm/jack_default_1001_0", ""}, // another user's
      {"00010000", "/dev/shm/jack_default_11000_0", ""},
      {"00010000", "/dev/shm/jack__1000_0", ""},
      {"00010000", "/dev/shm/jack_1000_0", ""},
      {"00010000", "/dev/jack_a_1000_0/socket", ""},
      {"00010000", "", ""},
  };
  for (const auto& [flags, path, expected] : cases) {
    std::istringstream table("Num       RefCount Protocol Flags    Type St Inode Path\n"
                             "ffff9c1d4d4b3c00: 00000002 00000000 " +
                             std::string(flags) + " 0001 01 21405 " + path + "\n");
    const auto names = jackServersIn(table, 1000);
    EXPECT_EQ(names.empty() ? "" : names[0], expected) << path;
  }
}

/// Another program on the server, in this process.
class Peer {
public:
  explicit Peer(const std::string& server)
      : client(jack_client_open("peer", static_cast<jack_options_t>(JackNoStartServer | JackServerName), nullptr,
                                server.c_str())) {
    jack_set_process_callback(
        client, [](jack_nframes_t, void*) { return 0; }, nullptr);
    jack_set_xrun_callback(
        client, [](void* self) { return static_cast<Peer*>(self)->nr_xruns++, 0; }, this);
  }
  ~Peer() {
    if (client != nullptr) jack_client_close(client);
  }
  bool connects(const char* from, const char* to) const {
    const char** const names = jack_port_get_all_connections(client, jack_port_by_name(client, from));
    bool found = false;
    for (const char** name = names; name != nullptr && *name != nullptr; name++)
      found = found || std::string(*name) == to;
    jack_free(names);
    return found;
  }
  jack_client_t* const client;
  std::atomic<int> nr_xruns = 0;
};

class JackHardwareTest : public testing::Test {
protected:
  JackHardwareTest() {
    rig.input_device.awake();
    EXPECT_TRUE(rig.wait([&] { return rig.find(rig.name()) != 0; }));
  }
  void select() {
    rig.input_device.setSelectedDevice(rig.find(rig.name()));
    ASSERT_TRUE(rig.waitForCycles(3));
  }
  JackRig rig;
};

TEST_F(JackHardwareTest, ConnectsToThePhysicalPortsThatAreFree) {
  const Peer peer(rig.server.name());
  ASSERT_NE(peer.client, nullptr);
  jack_port_register(peer.client, "out", JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput, 0);
  jack_port_register(peer.client, "in", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0);
  ASSERT_EQ(jack_activate(peer.client), 0);
  ASSERT_EQ(jack_connect(peer.client, "peer:out", "system:playback_2"), 0);
  ASSERT_EQ(jack_connect(peer.client, "system:capture_2", "peer:in"), 0);
  select();
  EXPECT_TRUE(peer.connects("vurl-recorder:in_1", "system:capture_1"));
  EXPECT_TRUE(peer.connects("vurl-recorder:in_2", "system:capture_2"));
  EXPECT_TRUE(peer.connects("vurl-recorder:in_64", "system:capture_64"));
  EXPECT_TRUE(peer.connects("vurl-recorder:out_1", "system:playback_1"));
  EXPECT_FALSE(peer.connects("vurl-recorder:out_2", "system:playback_2"));
  EXPECT_TRUE(peer.connects("vurl-recorder:out_64", "system:playback_64"));
}

TEST_F(JackHardwareTest, FollowsABufferSizeThatAnotherProgramSets) {
  select();
  const Peer peer(rig.server.name());
  ASSERT_EQ(jack_set_buffer_size(peer.client, 1024), 0);
  EXPECT_TRUE(rig.wait([&] { return rig.delegate.nr_frames == 1024 && rig.input_device.bufferFrameSize() == 1024; }));
  rig.input_device.setBufferFrameSize(700);
  EXPECT_EQ(rig.input_device.bufferFrameSize(), 512U);
}

TEST_F(JackHardwareTest, StampsWithTransportAndFrameTime) {
  rig.jack->setFrameRate(FRAME_RATE_30);
  select();
  rig.input_device.unselectDevice();
  const uint32_t flags = rig.delegate.last_input_time.mFlags;
  EXPECT_NE(flags & kAudioTimeStampWordClockTimeValid, 0U);
  EXPECT_EQ(flags & kAudioTimeStampSMPTETimeValid, 0U);
  const Peer peer(rig.server.name());
  jack_transport_locate(peer.client, 48000 * 60 * 61);
  jack_transport_start(peer.client);
  select();
  ASSERT_TRUE(rig.waitForCycles(50));
  rig.input_device.unselectDevice();
  const auto& stamp = rig.delegate.last_input_time;
  ASSERT_NE(stamp.mFlags & kAudioTimeStampSMPTETimeValid, 0U);
  EXPECT_EQ(stamp.mSMPTETime.mHours, 1);
  EXPECT_EQ(stamp.mSMPTETime.mMinutes, 1);
  EXPECT_EQ(stamp.mSMPTETime.mType, uint32_t{FRAME_RATE_30});
  EXPECT_EQ(static_cast<double>(stamp.mWordClockTime), stamp.mSampleTime);
}

TEST_F(JackHardwareTest, OneServerAtATimeButAllInTheList) {
  JackServer other;
  other.start(44100, 128, 2);
  const auto other_name = "JACK - " + other.name();
  select();
  ASSERT_TRUE(rig.wait([&] { return rig.find(other_name) != 0; })); // found while the first one runs
  for (int i = 0; i < 3; i++) {
    rig.input_device.setSelectedDevice(rig.find(other_name));
    EXPECT_EQ(rig.input_device.sampleRate(), 44100);
    EXPECT_EQ(rig.input_device.inputs().size(), 8U);
    EXPECT_TRUE(rig.wait([&] { return rig.delegate.nr_frames == 128 && rig.delegate.nr_channels == 8; }));
    rig.input_device.setSelectedDevice(rig.find(rig.name()));
    EXPECT_EQ(rig.input_device.sampleRate(), 48000);
    EXPECT_EQ(rig.input_device.inputs().size(), 64U);
    EXPECT_TRUE(rig.wait([&] { return rig.delegate.nr_frames == 256 && rig.delegate.nr_channels == 64; }));
  }
  other.stop();
  EXPECT_TRUE(rig.wait([&] { return rig.find(other_name) == 0; }));
  EXPECT_TRUE(rig.waitForCycles(3));
  EXPECT_STREQ(rig.delegate.fault.load(), nullptr);
}

TEST_F(JackHardwareTest, ALateServerThatLosesNothingIsNoOverload) {
  Peer peer(rig.server.name());
  ASSERT_EQ(jack_activate(peer.client), 0);
  select();
  rig.server.signal(SIGSTOP);
  rig.runFor(std::chrono::milliseconds(300));
  rig.server.signal(SIGCONT);
  EXPECT_TRUE(rig.wait([&] { return peer.nr_xruns > 0; }));
  rig.runFor(std::chrono::milliseconds(300));
  EXPECT_FALSE(rig.observer.has("processorOverload"));
}

TEST_F(JackHardwareTest, ACycleThatWasMissedIsAnOverload) {
  JackServer impatient;
  impatient.start(48000, 256, 8, false);
  const auto name = "JACK - " + impatient.name();
  ASSERT_TRUE(rig.wait([&] { return rig.find(name) != 0; }));
  SlowDelegate slow{std::chrono::milliseconds(200)};
  InputDevice device(rig.model, rig.run_loop, slow);
  device.setObserver(&rig.observer);
  device.awake();
  device.setSelectedDevice(rig.find(name));
  EXPECT_TRUE(rig.wait([&] { return slow.has_gap && rig.observer.has("processorOverload"); }));
}

TEST_F(JackHardwareTest, SurvivesAServerThatIsKilledAndFindsItAgain) {
  for (int i = 0; i < 10; i++) {
    if (i % 3 != 2) select(); // with cycles, or with the client merely open
    rig.observer.take();
    rig.server.kill();
    ASSERT_TRUE(rig.wait([&] { return rig.find(rig.name()) == 0 && rig.observer.has("updateDevices"); })) << i;
    rig.input_device.unselectDevice();
    const int count = rig.delegate.nr_cycles;
    rig.observer.take();
    rig.server.start();
    ASSERT_TRUE(rig.wait([&] { return rig.find(rig.name()) != 0 && rig.observer.has("updateDevices"); })) << i;
    EXPECT_EQ(rig.delegate.nr_cycles, count);
  }
  select();
  EXPECT_STREQ(rig.delegate.fault.load(), nullptr);
}

} // namespace
} // namespace vurl
