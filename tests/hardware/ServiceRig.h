// What the tests of audio services share: an I/O delegate that looks for faults in what a service hands over, an
// observer that notes its messages, a rig of the model, an input device and a service on a main loop, and the fixture
// around it.
#pragma once

#include "hardware/AlsaHardware.h"
#include "hardware/GeneratorHardware.h"
#include "hardware/InputDevice.h"
#include "hardware/JackHardware.h"
#include "platform/PollRunLoop.h"
#include "tests/support/JackServer.h"
#include "tests/support/Test.h"

#include <jack/jack.h>

#include <span>

namespace vurl {

inline auto buffersOf(const AudioBufferList& list) { return std::span(list.mBuffers, list.mNumberBuffers); }

inline auto samplesOf(const AudioBuffer& buffer) {
  return std::span(static_cast<float*>(buffer.mData), buffer.mDataByteSize / sizeof(float));
}

/// Counts cycles, and looks for faults in what a service hands over.
class CountingDelegate final : public AudioIODelegate {
public:
  OSStatus ioCycleForDevice(uint32_t device, const AudioTimeStamp&, const AudioBufferList& inputs,
                            const AudioTimeStamp& time, const AudioBufferList& outputs, const AudioTimeStamp&,
                            void*) noexcept override {
    uint32_t frames = 0;
    const uint32_t channels = countChannels(inputs, frames);
    if (countChannels(outputs, frames) != channels) fault = "inputs and outputs differ in number";
    for (const auto& buffer : buffersOf(outputs))
      for (float& sample : samplesOf(buffer)) // left behind, so that one not cleared before the next cycle is seen
        if (std::exchange(sample, 0.25F) != 0.0F) fault = "output not cleared";
    const double passed = time.mSampleTime - last_time.mSampleTime;
    if ((time.mFlags & kAudioTimeStampSampleTimeValid) == 0) fault = "no sample time";
    if (device == last_device && passed <= 0) fault = "sample time does not grow";
    if (device == last_device && passed != nr_frames) has_gap = true;
    last_device = device;
    last_time = time;
    nr_frames = frames;
    nr_channels = channels;
    if (in_cycle) in_cycle(inputs, outputs);
    nr_cycles = nr_cycles + 1;
    return 0;
  }

  std::atomic<int> nr_cycles = 0;
  std::atomic<uint32_t> nr_frames = 0;   ///< of the last cycle
  std::atomic<uint32_t> nr_channels = 0; ///< of the last cycle
  std::atomic<bool> has_gap = false;     ///< samples were missing between two cycles
  std::atomic<const char*> fault = nullptr;
  AudioTimeStamp last_time; ///< read it while no cycle runs
  std::function<void(const AudioBufferList& inputs, const AudioBufferList& outputs)> in_cycle;

private:
  uint32_t countChannels(const AudioBufferList& list, uint32_t& frames) {
    uint32_t channels = 0;
    for (const auto& buffer : buffersOf(list)) {
      const auto length = static_cast<uint32_t>(samplesOf(buffer).size() / buffer.mNumberChannels);
      if (std::exchange(frames, length) != length && channels > 0) fault = "buffers differ in length";
      channels += buffer.mNumberChannels;
    }
    return channels;
  }
  uint32_t last_device = 0;
};

/// A listener of the model, called from hear().
using Listener = std::function<void()>;
inline OSStatus hear(AudioObjectID, uint32_t, const AudioObjectPropertyAddress*, void* listener) {
  (*static_cast<Listener*>(listener))();
  return 0;
}

class NotingObserver final : public InputDeviceObserver {
public:
  void updateDevices() override { note("updateDevices"); }
  void updateSampleRates() override { note("updateSampleRates"); }
  void updateSampleRate() override { note("updateSampleRate"); }
  void updateClockSources() override { note("updateClockSources"); }
  void updateClockSource() override { note("updateClockSource"); }
  void updateDataSources() override { note("updateDataSources"); }
  void updateDataSource() override { note("updateDataSource"); }
  void updateBufferFrameSizeRange() override { note("updateBufferFrameSizeRange"); }
  void updateBufferFrameSize() override { note("updateBufferFrameSize"); }
  void updateChannels() override { note("updateChannels"); }
  void processorOverload() override { note("processorOverload"); }

  /// The messages since the last call, in order.
  std::vector<std::string> take() { return std::exchange(messages, {}); }

  bool has(const std::string& message) const { return std::ranges::count(messages, message) > 0; }

private:
  void note(const char* message) {
    EXPECT_EQ(std::this_thread::get_id(), main_thread) << message;
    messages.emplace_back(message);
  }
  std::vector<std::string> messages;
  const std::thread::id main_thread = std::this_thread::get_id();
};

class ServiceRig {
public:
  ServiceRig() {
    input_device.setObserver(&observer);
    input_device.awake();
  }
  virtual ~ServiceRig() = default;

  /// Runs the main loop until `done`, at most 20 seconds; returns whether it was done.
  bool wait(const std::function<bool()>& done, std::chrono::milliseconds patience = std::chrono::seconds(20)) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!done() && std::chrono::steady_clock::now() < deadline) run_loop.runOnce(std::chrono::milliseconds(5));
    return done();
  }
  void runFor(std::chrono::milliseconds time) {
    wait([] { return false; }, time);
  }
  bool waitForCycles(int count) {
    return wait([this, last = delegate.nr_cycles + count] { return delegate.nr_cycles >= last; });
  }

  /// The id of the device of this name, 0 when it is not listed.
  uint32_t find(const std::string& device_name) const {
    for (const auto& [id, listed] : input_device.devices())
      if (listed == device_name) return id;
    return 0;
  }

  /// The id of the service's own device.
  uint32_t device() const { return find(name()); }

  /// Selects the service's device; whether that brings cycles.
  bool select() {
    input_device.setSelectedDevice(device());
    const bool runs = waitForCycles(5);
    observer.take();
    return runs;
  }

  /// What the service's device is called.
  virtual std::string name() const = 0;

  /// Takes the device away, as its owner or its end would, and puts it back. It may take a while until that is seen.
  virtual void remove() = 0;
  virtual void putBack() = 0;

  /// Makes starts as quick as they can be; whether the device is still there.
  virtual bool makeQuick() { return device() != 0; }

  PollRunLoop run_loop;
  HardwareModel model;
  CountingDelegate delegate;
  NotingObserver observer;
  InputDevice input_device{model, run_loop, delegate};
};

class GeneratorRig final : public ServiceRig {
public:
  GeneratorRig() { generator.setPublished(true); }
  std::string name() const override { return "Vurl - Test Generator"; }
  void remove() override { generator.setPublished(false); }
  void putBack() override { generator.setPublished(true); }
  static constexpr size_t kNrRates = 6;
  GeneratorHardware generator{model, run_loop};
};

class JackRig final : public ServiceRig {
public:
  JackRig() {
    setenv("JACK_DEFAULT_SERVER", server.name().c_str(), 1);
    server.start();
    jack = std::make_unique<JackHardware>(model, run_loop, ownServers);
  }
  std::string name() const override { return "JACK - " + server.name(); }
  void remove() override { server.kill(); }
  void putBack() override { server.start(); }

  /// A server connects one port a period.
  bool makeQuick() override {
    server.stop();
    const bool is_gone = wait([&] { return device() == 0; });
    server.start(48000, 32, 1);
    return wait([&] { return device() != 0; }) && is_gone;
  }
  static constexpr size_t kNrRates = 1;

  /// The servers of this test program: those of others, which may run at the same time, are left alone.
  static std::vector<std::string> ownServers() {
    auto names = runningJackServers();
    std::erase_if(names, [](const auto& name) { return !name.starts_with(JackServer::namePrefix()); });
    return names;
  }

  JackServer server;
  std::unique_ptr<JackHardware> jack;
};

/// A configuration of ALSA for one test alone.
class AlsaConfig {
public:
  void write(const std::string& pcms) {
    writeFile(folder.file("alsa.conf"), pcms);
    setenv("ALSA_CONFIG_PATH", folder.file("alsa.conf").c_str(), 1);
  }
  TemporaryFolder folder;
};

/// A device of ALSA's own making that takes and gives silence, as fast as it is asked.
class AlsaRig final : public ServiceRig {
public:
  AlsaRig() : AlsaRig("pcm.silence { type null }") { putBack(); }
  explicit AlsaRig(const std::string& pcms, const std::string& device = "silence") : device_name("ALSA - " + device) {
    config.write(pcms);
    alsa = std::make_unique<AlsaHardware>(
        model, run_loop, [this] { return cards; }, openAlsaControls, nullptr);
  }
  std::string name() const override { return device_name; }
  void remove() override { alsa->setListed(""); }
  void putBack() override { alsa->setListed("silence"); }
  static constexpr size_t kNrRates = 14;

  const std::string device_name;
  AlsaConfig config;
  std::vector<AlsaName> cards;
  std::unique_ptr<AlsaHardware> alsa;
};

template <typename Rig>
class AudioServiceTest : public testing::Test {
protected:
  void SetUp() override {
    ASSERT_TRUE(rig.wait([&] { return rig.device() != 0; }));
    rig.run_loop.drain();
  }
  void TearDown() override {
    rig.input_device.unselectDevice();
    EXPECT_STREQ(rig.delegate.fault.load(), nullptr);
  }
  Rig rig;
};
using GeneratorTest = AudioServiceTest<GeneratorRig>;
using JackTest = AudioServiceTest<JackRig>;

/// Another program on the server, in this process.
using PeerClient = std::unique_ptr<jack_client_t, int (*)(jack_client_t*)>;
inline PeerClient makePeer(const JackServer& server, const char* name = "peer") {
  for (int i = 0; i < 500 && !std::ranges::count(JackRig::ownServers(), server.name()); i++) usleep(10'000);
  const auto options = static_cast<jack_options_t>(JackNoStartServer | JackServerName);
  auto* const peer = jack_client_open(name, options, nullptr, server.name().c_str());
  jack_set_process_callback(
      peer, [](jack_nframes_t, void*) { return 0; }, nullptr);
  return {peer, jack_client_close};
}

/// Makes the next cycle late.
inline auto sleepOnce(int milliseconds) {
  return [milliseconds](auto&, auto&) mutable {
    std::this_thread::sleep_for(std::chrono::milliseconds(std::exchange(milliseconds, 0)));
  };
}

} // namespace vurl
