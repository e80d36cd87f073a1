// What holds for every audio service, run on each; then what JACK has of its own.
#include "engine/AudioRing.h"
#include "hardware/DeviceList.h"
#include "hardware/JackServerList.h"
#include "hardware/RingDelegate.h"
#include "platform/UserDefaults.h"
#include "platform/guard/RealTimeGuard.h"
#include "tests/hardware/ServiceRig.h"

#include <jack/transport.h>

#include <syslog.h>

#include <shared_mutex>

namespace vurl {

using Services = testing::Types<GeneratorRig, JackRig, AlsaRig>;
TYPED_TEST_SUITE(AudioServiceTest, Services);

TYPED_TEST(AudioServiceTest, RunsWhatItListsAndFollowsWhatIsSetWithinItsChoices) {
  constexpr bool has_choices = std::is_same_v<TypeParam, GeneratorRig>; // of data and clock sources
  auto& device = this->rig.input_device;
  const auto rows = describeDevices(this->rig.model);
  const auto row = std::ranges::find(rows, this->rig.device(), &DeviceRow::id);
  ASSERT_TRUE(row != rows.end() && this->rig.select());
  EXPECT_TRUE(row->nr_inputs == 64 && row->nr_outputs == 64 && this->rig.delegate.nr_channels == 64);
  EXPECT_TRUE(row->buffer_frame_size == 256 && this->rig.delegate.nr_frames == 256 && row->sample_rate == 48000);
  EXPECT_EQ(device.inputs().size() + device.outputs().size(), 128U);
  const DeviceDescription described = *this->rig.model.description(this->rig.device());
  EXPECT_EQ(std::ranges::count(described.nominal_sample_rates, described.nominal_sample_rate), 1);
  for (const auto* streams : {&described.inputs, &described.outputs})
    for (const StreamDescription& stream : *streams) EXPECT_NE(stream.name, "");
  int nr_changes = 0;
  Listener count = [&nr_changes] { nr_changes++; };
  this->rig.model.AudioObjectAddPropertyListener(
      row->id, {kAudioDevicePropertyBufferFrameSize, kAudioObjectPropertyScopeGlobal}, hear, &count);
  const auto range = device.bufferFrameSizeRange().value_or(AudioValueRange{});
  const auto below = static_cast<uint32_t>(range.mMinimum) - 1, above = static_cast<uint32_t>(range.mMaximum) + 1;
  for (const auto& [asked, frames] : {std::pair{512U, 512U}, {64U, 64U}, {256U, 256U}, {below, 256U}, {above, 256U}}) {
    device.setBufferFrameSize(asked);
    EXPECT_EQ(device.bufferFrameSize(), frames);
    EXPECT_TRUE(this->rig.waitForCycles(5));
    EXPECT_EQ(this->rig.delegate.nr_frames, frames);
  }
  this->rig.runFor(std::chrono::milliseconds(50));
  EXPECT_EQ(nr_changes, 3);
  auto rates = device.sampleRates();
  EXPECT_EQ(rates.size(), TypeParam::kNrRates);
  for (const int32_t rate : rates) {
    device.setSampleRate(rate);
    EXPECT_EQ(device.sampleRate(), rate);
    EXPECT_TRUE(this->rig.waitForCycles(2));
  }
  device.setSampleRate(12345);
  EXPECT_EQ(device.sampleRate(), rates.back());
  EXPECT_EQ(device.dataSources().size() + device.clockSources().size(), has_choices ? 4U : 0U);
  EXPECT_EQ(device.dataSources().count(uint32_t(device.dataSource())), has_choices ? 1U : 0U);
  for (const int id : {2, 1, 3}) { // there is no third one
    device.setDataSource(static_cast<uint32_t>(id));
    device.setClockSource(static_cast<uint32_t>(id));
    EXPECT_EQ(device.dataSource(), !has_choices ? -1 : id == 3 ? 1 : id);
    EXPECT_EQ(device.clockSource(), device.dataSource());
  }
  this->rig.run_loop.drain();
  EXPECT_EQ(this->rig.observer.has("updateSampleRate"), TypeParam::kNrRates > 1);
  for (const auto* message : {"updateDataSource", "updateClockSource"})
    EXPECT_EQ(this->rig.observer.has(message), has_choices);
}

TYPED_TEST(AudioServiceTest, RunsTheRingWithoutAnyCallThatMayWait) {
  UserDefaults defaults;
  defaults.registerDefaults({{"nr_channels", int64_t{64}}, {"monitoring", true}, {"frame_rate", int64_t{1}}});
  AudioRing ring(defaults, systemWallTime, nullptr);
  RingDelegate guarded(ring);
  CountingDelegate& delegate = this->rig.delegate;
  delegate.in_cycle = [&](const AudioBufferList& inputs, const AudioBufferList& outputs) {
    const RealTimeGuard guard;
    guarded.ioCycleForDevice(0, {}, inputs, delegate.last_time, outputs, {}, nullptr);
  };
  for (const int64_t source : {1, 2, 4, 5}) { // times of which the cycle has to take care
    defaults.setInteger(source, "time_source");
    this->rig.input_device.setSelectedDevice(this->rig.device());
    this->rig.input_device.setClockSource(GeneratorHardware::kExternal);
    EXPECT_TRUE(this->rig.waitForCycles(30));
  }
  this->rig.input_device.unselectDevice();
  EXPECT_EQ(ring.devicePosition(), int64_t{delegate.nr_cycles} * 256);
}

TEST(RealTimeGuardDeathTest, Bites) {
  if (!kRealTimeGuardWorks) GTEST_SKIP() << "sanitizers interpose the same calls";
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  static std::string* volatile escaped = nullptr;
  static std::mutex mutex;
  static std::shared_mutex shared;
  static std::atomic<int> never = 0;
  // clang-format off
  std::vector<std::pair<void (*)(), const char*>> cases = {
      {[] { escaped = new std::string; }, "malloc"}, {[] { std::free(std::exchange(escaped, nullptr)); }, "free"},
      {[] { mutex.lock(); }, "pthread_mutex_lock"},
      {[] { shared.lock_shared(); }, "pthread_rwlock_rdlock"}, {[] { syslog(LOG_DEBUG, "test"); }, "syslog"},
      {[] { log("test"); }, "not allowed on the I/O thread"}, {[] { (void)!::write(STDERR_FILENO, "", 0); }, "write"}};
  if (RealTimeGuard::catchesSystemCalls()) // whatever name they are made by
    cases.insert(cases.end(), {{[] { std::fputs("test", stderr); }, "system call 1\n"}, {[] { usleep(1); }, "system call 230\n"},
                               {[] { never.wait(0); }, "system call (24|202)\n"}, {[] { (void)!::getppid(); }, "system call 110\n"}});
  // clang-format on
  for (const auto& [deed, message] : cases) {
    const auto cycle = [deed = deed] {
      const RealTimeGuard guard;
      deed();
    };
    EXPECT_DEATH(cycle(), message);
  }
}

TEST(JackServerList, KnowsServersByTheirListeningSockets) {
  const auto socket = [](const char* flags, const char* path) {
    return text("ffff9c1d: 00000002 00000000 %s 0001 01 21405 %s\n", flags, path);
  };
  std::istringstream table(
      "Num RefCount\n" + socket("00010000", "/dev/shm/jack_default_1000_0") +
      socket("00010000", "/dev/shm/jack_my_2_1000_0") + socket("00010000", "") +
      socket("00000000", "/dev/shm/jack_connection_1000_0") + socket("00010000", "/dev/shm/jack_other_1001_0") +
      socket("00010000", "/dev/shm/jack_other_11000_0") + socket("00010000", "/dev/shm/jack__1000_0") +
      socket("00010000", "/dev/shm/jack_1000_0") + socket("00010000", "/dev/jack_a_1000_0/socket"));
  EXPECT_EQ(jackServersIn(table, 1000), (std::vector<std::string>{"default", "my_2"}));
}

TYPED_TEST(AudioServiceTest, LimitsWhatGoesOutAndTellsSoOnceARun) {
  if (std::is_same_v<TypeParam, AlsaRig>) GTEST_SKIP() << "what goes out is tested with files";
  constexpr float kInfinity = std::numeric_limits<float>::infinity(), kNaN = std::numeric_limits<float>::quiet_NaN();
  constexpr std::pair<float, float> kCases[] = {
      {2, 1}, {-1.0000001F, -1}, {kNaN, 0}, {kInfinity, 1}, {-kInfinity, -1}, {1, 1}, {-0.9999999F, -0.9999999F}};
  const CapturedLog log;
  std::atomic<bool> is_limited = false;
  this->rig.delegate.in_cycle = [&](const AudioBufferList& inputs, const AudioBufferList& outputs) {
    bool all = true;
    const size_t last = samplesOf(outputs.mBuffers[0]).size() - 1;
    for (size_t i = 0; i < std::size(kCases); ++i) {
      const size_t at = last - i * 31;
      all = all && samplesOf(inputs.mBuffers[0])[at] == kCases[i].second;
      samplesOf(outputs.mBuffers[0])[at] = kCases[i].first;
    }
    is_limited = all;
  };
  for (int run = 1; run <= 2; ++run) {
    ASSERT_TRUE(this->rig.select());
    this->rig.input_device.setDataSource(GeneratorHardware::kLoopBack);
    if constexpr (requires { this->rig.server; }) {
      jack_connect(makePeer(this->rig.server).get(), "vurl-recorder:out_1", "vurl-recorder:in_1");
    }
    EXPECT_TRUE(this->rig.wait([&] { return is_limited.load(); }));
    this->rig.runFor(std::chrono::milliseconds(300));
    this->rig.input_device.unselectDevice();
    const auto told = [](const std::string& line) { return line.find("beyond full scale") != std::string::npos; };
    EXPECT_EQ(std::ranges::count_if(log.lines(), told), run);
  }
}

TEST_F(JackTest, SharesTheServerWithAnotherProgram) {
  const auto peer = makePeer(rig.server);
  ASSERT_NE(peer, nullptr);
  const auto connects = [&](const std::string& from, const std::string& to) {
    return jack_port_connected_to(jack_port_by_name(peer.get(), from.c_str()), to.c_str()) != 0;
  };
  jack_port_register(peer.get(), "out", JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput, 0);
  jack_port_register(peer.get(), "in", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0);
  ASSERT_EQ(jack_activate(peer.get()), 0);
  ASSERT_EQ(jack_connect(peer.get(), "peer:out", "system:playback_2"), 0);
  ASSERT_EQ(jack_connect(peer.get(), "system:capture_2", "peer:in"), 0);
  ASSERT_TRUE(rig.select());
  for (const std::string number : {"1", "2", "64"}) {
    EXPECT_TRUE(connects("system:capture_" + number, "vurl-recorder:in_" + number));
    EXPECT_EQ(connects("vurl-recorder:out_" + number, "system:playback_" + number), number != "2");
  }
  ASSERT_EQ(jack_set_buffer_size(peer.get(), 1024), 0);
  EXPECT_TRUE(rig.wait([&] { return rig.delegate.nr_frames == 1024 && rig.input_device.bufferFrameSize() == 1024; }));
  rig.input_device.setBufferFrameSize(700);
  EXPECT_EQ(rig.input_device.bufferFrameSize(), 512U);
  rig.input_device.unselectDevice();
  const auto& time = rig.delegate.last_time;
  EXPECT_EQ(time.mFlags & kAudioTimeStampSMPTETimeValid, 0U) << "the transport stands still";
  EXPECT_EQ(static_cast<double>(time.mWordClockTime), time.mSampleTime);
}

// A server that does not wait for a late client goes on without its samples.
TEST_F(JackTest, GoesToAnotherServerAndBackAndTellsWhatItWasTooLateFor) {
  JackServer impatient;
  impatient.start(44100, 128, 2, false);
  const auto impatient_name = "JACK - " + impatient.name();
  ASSERT_TRUE(rig.select());
  ASSERT_TRUE(rig.wait([&] { return rig.find(impatient_name) != 0; })); // found while the first one runs
  for (int i = 0; i < 5; i++) {
    const bool first = i % 2 == 1;
    rig.input_device.setSelectedDevice(rig.find(first ? rig.name() : impatient_name));
    EXPECT_EQ(rig.input_device.sampleRate(), first ? 48000 : 44100);
    EXPECT_TRUE(rig.wait([&] { return rig.delegate.nr_frames == (first ? 256U : 128U); }));
    EXPECT_EQ(rig.delegate.nr_channels, first ? 64U : 8U);
  }
  rig.input_device.unselectDevice();
  rig.observer.take();
  rig.delegate.has_gap = false;
  rig.delegate.in_cycle = sleepOnce(200);
  rig.input_device.setSelectedDevice(rig.find(impatient_name));
  EXPECT_TRUE(rig.wait([&] { return rig.delegate.has_gap && rig.observer.has("processorOverload"); }));
  rig.input_device.unselectDevice();
}

// The interface is played by the server's dummy: it is one that its ports' names give away.
TEST_F(JackTest, AnInterfaceLosesWhatItsServerIsTooLateForAndADummyDoesNot) {
  const auto peer = makePeer(rig.server);
  ASSERT_EQ(jack_activate(peer.get()), 0);
  const std::pair<const char*, std::function<void(bool)>> kTroubles[] = {
      {"held up", [&](bool begins) { rig.server.signal(begins ? SIGSTOP : SIGCONT); }},
      {"resized", [&](bool begins) { jack_set_buffer_size(peer.get(), begins ? 512 : 256); }},
      {"freewheeling", [&](bool begins) { jack_set_freewheel(peer.get(), begins ? 1 : 0); }}};
  for (const bool has_interface : {false, true}) {
    if (has_interface) jack_port_unset_alias(jack_port_by_name(peer.get(), "system:capture_1"), "dummy_pcm:dummy:out1");
    for (const auto& [name, trouble] : kTroubles) {
      SCOPED_TRACE(name);
      ASSERT_TRUE(rig.select());
      rig.delegate.has_gap = false;
      trouble(true);
      const int count = rig.delegate.nr_cycles;
      rig.runFor(std::chrono::milliseconds(300));
      EXPECT_TRUE(name != std::string("freewheeling") || rig.delegate.nr_cycles <= count + 1);
      trouble(false);
      EXPECT_TRUE(rig.waitForCycles(20));
      rig.runFor(std::chrono::milliseconds(300));
      EXPECT_EQ(rig.observer.has("processorOverload"), has_interface || name == std::string("freewheeling"));
      EXPECT_FALSE(rig.delegate.has_gap && !has_interface && name == std::string("held up"));
    }
  }
}

// Asking for a port's connections waits a long period when one is under way, and this peer's always are.
TEST_F(JackTest, StartsThoughOtherProgramsConnectionsHoldUpItsOwn) {
  rig.server.stop();
  ASSERT_TRUE(rig.wait([&] { return rig.device() == 0; }));
  rig.server.start(8000, 4096);
  ASSERT_TRUE(rig.wait([&] { return rig.device() != 0; }));
  const auto peer = makePeer(rig.server);
  jack_port_register(peer.get(), "out", JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput, 0);
  ASSERT_EQ(jack_activate(peer.get()), 0);
  std::atomic<bool> ends = false;
  std::thread connecting([&] {
    for (bool connects = true; !ends; connects = !connects, std::this_thread::sleep_for(std::chrono::milliseconds(2)))
      (connects ? jack_connect : jack_disconnect)(peer.get(), "peer:out", "system:playback_1");
  });
  EXPECT_TRUE(rig.select());
  EXPECT_NE(jack_port_connected(jack_port_by_name(peer.get(), "vurl-recorder:in_64")), 0);
  ends = true;
  connecting.join();
}

TEST_F(JackTest, LetsGoOfAServerThatHangsAndTakesItAgain) {
  const CapturedLog log;
  ASSERT_TRUE(rig.select());
  rig.server.signal(SIGSTOP);
  const auto before = std::chrono::steady_clock::now();
  rig.input_device.unselectDevice();
  const int count = rig.delegate.nr_cycles;
  rig.input_device.setSelectedDevice(rig.device()); // is refused at once
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(2900));
  EXPECT_TRUE(log.contains("does not answer: it could not be closed."));
  rig.server.signal(SIGCONT);
  for (int i = 0; i < 20 && rig.delegate.nr_cycles == count; i++) {
    rig.input_device.setSelectedDevice(rig.device());
    rig.wait([&] { return rig.delegate.nr_cycles > count; }, std::chrono::seconds(1));
  }
  EXPECT_GT(rig.delegate.nr_cycles, count);
}

} // namespace vurl
