// An ALSA device that stands before a JACK server: full duplex, losses, and a device that hangs.
#include "platform/guard/RealTimeGuard.h"
#include "tests/hardware/ServiceRig.h"

#include <fstream>

namespace vurl {
namespace {

/// A device over a JACK server.
class AlsaOverJack : public testing::Test {
protected:
  void SetUp() override { open(256); }
  void open(int frames) {
    rig.reset();
    peer.reset();
    server.stop();
    setenv("JACK_DEFAULT_SERVER", server.name().c_str(), 1);
    server.start(48000, frames);
    peer = makePeer(server);
    ASSERT_NE(peer, nullptr);
    rig = std::make_unique<AlsaRig>("pcm.jack { type jack playback_ports { 0 system:playback_1 1 system:playback_2 } "
                                    "capture_ports { 0 system:capture_1 1 system:capture_2 } hint.show on }",
                                    "jack");
    ASSERT_NE(rig->device(), 0U);
  }
  std::vector<std::string> ports(unsigned long direction) {
    const char** const names = jack_get_ports(peer.get(), "test_hardware.*", nullptr, direction);
    std::vector<std::string> result;
    for (const char** name = names; name != nullptr && *name != nullptr; name++) result.emplace_back(*name);
    jack_free(names);
    return result;
  }
  CapturedLog log;
  JackServer server;
  PeerClient peer{nullptr, jack_client_close};
  std::unique_ptr<AlsaRig> rig;
};

/// Another client of the server: plays a count into the device's first input, and looks for breaks in the count that
/// the device plays.
class Partner {
public:
  static constexpr float kStep = 0x1p-24F;
  static int64_t countOf(float sample) { return std::llround(sample / kStep); }

  Partner(const JackServer& server, const std::string& remote_input, const std::string& remote_output)
      : client(makePeer(server, "partner")),
        output(jack_port_register(client.get(), "out", JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput, 0)),
        input(jack_port_register(client.get(), "in", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0)) {
    jack_set_process_callback(client.get(), cycle, this);
    jack_set_xrun_callback(
        client.get(), [](void* self) { return static_cast<Partner*>(self)->nr_xruns++, 0; }, this);
    jack_activate(client.get());
    EXPECT_EQ(jack_connect(client.get(), "partner:out", remote_input.c_str()), 0);
    EXPECT_EQ(jack_connect(client.get(), remote_output.c_str(), "partner:in"), 0);
  }

  std::atomic<int> nr_xruns = 0;  ///< of the server
  std::atomic<int> nr_breaks = 0; ///< in what the device plays
  std::atomic<int64_t> last = 0;  ///< heard

private:
  static int cycle(jack_nframes_t nr_frames, void* partner) {
    auto& self = *static_cast<Partner*>(partner);
    auto* const played = static_cast<float*>(jack_port_get_buffer(self.output, nr_frames));
    const auto* const heard = static_cast<float*>(jack_port_get_buffer(self.input, nr_frames));
    for (jack_nframes_t i = 0; i < nr_frames; i++) {
      played[i] = static_cast<float>(++self.number) * kStep;
      const int64_t before = self.last, count = countOf(heard[i]);
      if (before > 0 && count != before + 1) self.nr_breaks++;
      self.last = count;
    }
    return 0;
  }
  int64_t number = 0;
  const PeerClient client; ///< its cycles end before what they work on goes
  jack_port_t *const output, *const input;
};

/// Milliseconds that the calling thread has waited for a processor; nothing where the system does not tell.
double waitedForProcessor() {
  double ran = 0, waited = 0;
  std::ifstream("/proc/thread-self/schedstat") >> ran >> waited;
  return waited / 1e6;
}

/// Holds what a device captures against the count that is played into it, and plays a count.
struct DuplexUser {
  void cycle(const AudioBufferList& inputs, const AudioBufferList& outputs, const CountingDelegate& delegate) {
    const uint32_t nr_frames = delegate.nr_frames;
    const double sample_time = delegate.last_time.mSampleTime, waited = waitedForProcessor();
    const bool is_told = nr_cycles++ > 0 && sample_time != next_sample_time;
    const bool has_starved = waited - waited_before > 1000.0 * nr_frames / 48000;
    bool has_jump = false;
    for (uint32_t i = 0; i < nr_frames; i++) {
      const int64_t count = Partner::countOf(samplesOf(inputs.mBuffers[0])[i * inputs.mBuffers[0].mNumberChannels]);
      has_jump = has_jump || (last > 0 && count != last + 1);
      last = count;
      auto& sample = samplesOf(outputs.mBuffers[0])[i * outputs.mBuffers[0].mNumberChannels];
      sample = static_cast<float>(++number) * Partner::kStep;
    }
    next_sample_time = sample_time + nr_frames;
    waited_before = waited;
    nr_starved += has_starved;
    nr_told += is_told;
    nr_untold += has_jump && !is_told;
    nr_unexplained += is_told && !has_starved;
  }
  int64_t nr_cycles = 0, number = 0, last = 0;
  int nr_starved = 0;     ///< cycles before which the thread waited for a processor, a cycle's length or longer
  int nr_told = 0;        ///< losses
  int nr_untold = 0;      ///< losses, too
  int nr_unexplained = 0; ///< of those told: the thread had not been waiting for a processor
  double next_sample_time = 0, waited_before = 0;
};

// A busy machine may keep the device's thread, or the server, from running in time. What is lost then must be told, and
// nothing else may be lost.
TEST_F(AlsaOverJack, LosesNothingInFullDuplexOrTellsIt) {
  for (const auto& [frames, seconds] : {std::pair{256, 30}, {64, 10}}) {
    if (frames != 256) open(frames);
    DuplexUser user;
    rig->delegate.in_cycle = [&](auto& inputs, auto& outputs) { user.cycle(inputs, outputs, rig->delegate); };
    rig->input_device.setSelectedDevice(rig->device());
    if (frames != 256) rig->input_device.setBufferFrameSize(static_cast<uint32_t>(frames));
    ASSERT_TRUE(rig->waitForCycles(5));
    EXPECT_EQ(rig->delegate.nr_frames, static_cast<uint32_t>(frames));
    rig->run_loop.drain();
    EXPECT_TRUE(frames == 256 || rig->observer.has("processorOverload")) << "other buffers cost sound";
    rig->observer.take();
    const auto inputs = ports(JackPortIsInput), outputs = ports(JackPortIsOutput);
    ASSERT_TRUE(!inputs.empty() && !outputs.empty());
    Partner partner(server, inputs[0], outputs[0]);
    EXPECT_TRUE(rig->wait([&] { return partner.last > 0; }));
    const int nr_breaks = partner.nr_breaks;
    rig->runFor(std::chrono::seconds(kRealTimeGuardWorks ? seconds : 5));
    const int nr_breaks_heard = partner.nr_breaks - nr_breaks;
    rig->runFor(std::chrono::milliseconds(300));
    rig->input_device.unselectDevice();
    SCOPED_TRACE(text("%i frames, %i losses told", frames, user.nr_told));
    EXPECT_GT(user.last, 4800) << "hardly anything has been captured";
    EXPECT_EQ(user.nr_untold, 0);
    EXPECT_EQ(user.nr_told > 0, rig->observer.has("processorOverload"));
    if (frames == 256 && kRealTimeGuardWorks && waitedForProcessor() > 0) {
      EXPECT_LE(user.nr_unexplained, partner.nr_xruns);
      EXPECT_LE(nr_breaks_heard, 2 * (user.nr_starved + partner.nr_xruns))
          << "silence between two counts is two breaks";
    }
  }
}

TEST_F(AlsaOverJack, LosesNothingWhileItIsHeldUpForAWhileAndTellsALossAfterLonger) {
  for (const int milliseconds : {250, 1000}) {
    rig->delegate.has_gap = false;
    rig->delegate.in_cycle = sleepOnce(milliseconds);
    rig->input_device.setSelectedDevice(rig->device());
    ASSERT_TRUE(rig->waitForCycles(200));
    rig->runFor(std::chrono::milliseconds(300));
    EXPECT_EQ(rig->delegate.has_gap, milliseconds == 1000);
    EXPECT_EQ(rig->observer.has("processorOverload"), milliseconds == 1000);
    rig->input_device.unselectDevice();
  }
}

TEST_F(AlsaOverJack, LetsGoOfADeviceThatHangs) {
  ASSERT_TRUE(rig->select());
  server.signal(SIGSTOP);
  EXPECT_TRUE(rig->wait([&] { return log.contains("The ALSA device jack delivers nothing."); }));
  const auto before = std::chrono::steady_clock::now();
  rig->input_device.unselectDevice();
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(4));
  EXPECT_TRUE(log.contains("The ALSA device jack does not answer: it could not be closed."));
  const int count = rig->delegate.nr_cycles;
  server.signal(SIGCONT);
  EXPECT_TRUE(rig->wait([&] { return ports(JackPortIsInput).empty() && ports(JackPortIsOutput).empty(); }));
  EXPECT_EQ(rig->delegate.nr_cycles, count);
  EXPECT_TRUE(rig->select());
}

} // namespace
} // namespace vurl
