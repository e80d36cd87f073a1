// What ALSA has of its own, on PCMs that its plugins make of files, of nothing, and of faults to order.
#include "hardware/AlsaDevice.h"
#include "hardware/AlsaOwner.h"
#include "tests/hardware/ServiceRig.h"

#include <sys/stat.h>

#include <fcntl.h>

#include <bit>
#include <cstring>

namespace vurl {
namespace {

constexpr uint32_t kChannels = 3;
constexpr uint32_t kPeriod = 64;

/// The sample `value` / 2^31 as the format has it, by arithmetic on the value of its bytes.
std::string encoded(snd_pcm_format_t format, int64_t value) {
  int64_t number = value >> (32 - snd_pcm_format_width(format));
  if (snd_pcm_format_float(format) == 1) number = std::bit_cast<int32_t>(static_cast<float>(value) * 0x1p-31F);
  std::string bytes;
  for (int bits = snd_pcm_format_physical_width(format); bits > 0; bits -= 8, number >>= 8)
    bytes += static_cast<char>(number & 0xFF);
  if (snd_pcm_format_big_endian(format) == 1) std::ranges::reverse(bytes);
  return bytes;
}

/// Whole steps of 16 bits, the ends of the scale among them; every number another one.
int32_t testValue(size_t number) {
  if (number == 5) return INT32_MIN;
  if (number == 6) return 32767 << 16;
  return (static_cast<int32_t>(number * 7919 % 60000) - 30000) * 65536;
}
float testSample(size_t number) { return static_cast<float>(testValue(number)) * 0x1p-31F; }

/// Keeps the captured samples in order, and plays the test's values.
struct FileUser {
  static OSStatus run(AudioObjectID, const AudioTimeStamp*, const AudioBufferList* inputs, const AudioTimeStamp*,
                      AudioBufferList* outputs, const AudioTimeStamp*, void* self) {
    auto& user = *static_cast<FileUser*>(self);
    if (user.nr_frames < kFrames) user.frame(*inputs, *outputs);
    user.nr_frames = user.nr_frames + kPeriod;
    return 0;
  }

  void frame(const AudioBufferList& inputs, const AudioBufferList& outputs) {
    for (uint32_t i = 0; i < kPeriod * kChannels; i++) {
      const size_t number = nr_frames * kChannels + i;
      if (inputs.mNumberBuffers > 0) captured[number] = at(inputs, i);
      if (outputs.mNumberBuffers > 0) at(outputs, i) = testSample(number);
      if (outputs.mNumberBuffers > 0 && number == 6) at(outputs, i) = 7; // to be limited
    }
  }

  static float& at(const AudioBufferList& list, uint32_t number) {
    const bool is_interleaved = list.mNumberBuffers == 1;
    auto* const samples = static_cast<float*>(list.mBuffers[is_interleaved ? 0 : number % kChannels].mData);
    return samples[is_interleaved ? number : number / kChannels];
  }

  static constexpr uint32_t kFrames = 20 * kPeriod;
  std::vector<float> captured = std::vector<float>(kFrames * kChannels);
  std::atomic<uint32_t> nr_frames = 0;
};

class AlsaFiles : public testing::Test {
protected:
  void run(FileUser& user, snd_pcm_format_t format, snd_pcm_access_t access, bool captures) {
    config.write("pcm.in { type file slave.pcm { type null } file /dev/null infile \"" + config.folder.file("in") +
                 "\" format raw }\npcm.out { type file slave.pcm { type null } file \"" + config.folder.file("out") +
                 "\" format raw truncate true }\n");
    AlsaDeviceSetup setup{{}, {}, 48000, kPeriod};
    (captures ? setup.capture : setup.playback) = {captures ? "in" : "out", format, access, kChannels};
    int error = 0;
    const auto device = AlsaDevice::start(setup, {FileUser::run, 1, &user}, error);
    ASSERT_TRUE(device) << snd_strerror(error);
    for (int i = 0; i < 10000 && user.nr_frames < FileUser::kFrames && device->failure() == 0; i++) usleep(1000);
    EXPECT_EQ(device->failure(), 0);
    EXPECT_TRUE(device->stop());
  }
  AlsaConfig config;
};

// What is captured ends before the user does: the plugin delivers on, and tells nobody.
TEST_F(AlsaFiles, BothWaysBitForBitInEveryFormatAndLayout) {
  constexpr size_t kAll = size_t{FileUser::kFrames} * kChannels, kThere = size_t{17} * kPeriod * kChannels;
  for (const auto& format : alsaFormats()) {
    std::string bytes;
    for (size_t i = 0; i < kAll; i++) bytes += encoded(format.format, testValue(i));
    const bool is_float = snd_pcm_format_float(format.format) == 1;
    const auto full = encoded(format.format, is_float ? 0x80000000 : 0x7FFFFFFF);
    auto limited = bytes;
    limited.replace(6 * format.nr_bytes, format.nr_bytes, full);
    float highest = 0; // at 1.0 a sample of integers would turn into the lowest number of a file
    auto full_bytes = full;
    format.toFloats({reinterpret_cast<uint8_t*>(full_bytes.data()), format.nr_bytes}, {&highest, 1}, 1);
    EXPECT_TRUE(highest > 0.9999F && (is_float || highest < 1)) << highest;
    for (const auto access : {SND_PCM_ACCESS_MMAP_INTERLEAVED, SND_PCM_ACCESS_MMAP_NONINTERLEAVED,
                              SND_PCM_ACCESS_RW_INTERLEAVED, SND_PCM_ACCESS_RW_NONINTERLEAVED}) {
      SCOPED_TRACE(std::string(snd_pcm_format_name(format.format)) + " " + snd_pcm_access_name(access));
      FileUser capturing, playing;
      writeFile(config.folder.file("in"), bytes.substr(0, kThere * format.nr_bytes));
      run(capturing, format.format, access, true);
      size_t nr_wrong = 0;
      for (size_t i = 0; i < kThere; i++) nr_wrong += capturing.captured[i] != testSample(i);
      EXPECT_EQ(nr_wrong, 0U);
      run(playing, format.format, access, false);
      const auto written = fileBytes(config.folder.file("out"));
      const auto at = 3 * kPeriod * kChannels * format.nr_bytes; // behind the silence that the device begins with
      EXPECT_TRUE(written.size() >= at && written.compare(at, bytes.size(), limited) == 0);
    }
  }
}

TEST(AlsaClock, FollowsTheHardwaresCountFromEachStartOn) {
  constexpr uint64_t kNow = 5'000'000'000'000, kDay = 44100 * 86400ULL;
  const auto nanoseconds = [](uint64_t frames) { return frames * 1'000'000'000 / 44100; };
  AlsaClock clock(44100);
  // Counted by the hardware (0: it tells nothing), of which not fetched; our count, when; word clock and its moment.
  // clang-format off
  for (const auto& [counted, waiting, sample, told, word_clock, moment] :
       std::initializer_list<std::array<uint64_t, 6>>{
           {300, 300, 1000, kNow, 1000, kNow - nanoseconds(300)}, {512, 256, 1256, kNow - 7, 1256, kNow - 7 - nanoseconds(256)},
           {kDay + 256, 256, 9, kNow, 1000 + kDay, kNow - nanoseconds(256)}, {kDay + 266, 10, 9, 0, 1256 + kDay, kNow},
           {kDay + 266, 10, 9, kNow + 1, 1256 + kDay, kNow}, {0, 0, 77, 0, 77, kNow},
           {256, 256, 7000, kNow, 7000, kNow - nanoseconds(256)}}) {
    // clang-format on
    const AlsaReading reading{nanoseconds(counted), told, waiting};
    const auto time = clock.at(sample, kNow, counted == 0 ? std::nullopt : std::optional(reading));
    EXPECT_TRUE(time.word_clock == word_clock && time.host_time == moment) << sample << ": " << time.word_clock;
  }
  clock.restart();
  EXPECT_EQ(clock.at(50'000, kNow, AlsaReading{nanoseconds(256), kNow, 256}).word_clock, 50'000U);
}

class AlsaTest : public testing::Test {
protected:
  CapturedLog log;
};

TEST_F(AlsaTest, TellsWhatCannotBeUsedAndGoesOn) {
  AlsaRig rig("pcm.broken { type file slave.pcm missing file /dev/null format raw hint.show on }\n"
              "pcm.hidden { type null }\npcm.silence { type null hint.show yes }\n");
  rig.cards = {{"Pulled Out", "hw:CARD=gone,DEV=0", "hw:CARD=gone,DEV=0"}};
  rig.alsa->setListed(" hidden ,, nowhere");
  std::vector<std::string> names;
  for (const auto& device : rig.input_device.devices()) names.push_back(device.second);
  EXPECT_EQ(names, (std::vector<std::string>{"ALSA - silence", "ALSA - hidden"}));
  for (const auto* name : {"broken", "nowhere", "Pulled Out"})
    EXPECT_TRUE(log.contains(text("The ALSA device %@ cannot be used: ", name))) << name;
  rig.alsa->setListed("");
  EXPECT_EQ(rig.find("ALSA - hidden"), 0U);
  AlsaRig unreadable("pcm.silence { type");
  EXPECT_TRUE(unreadable.model.description(2) == nullptr && log.contains("cannot be read"));
}

/// A device with faults to order, of a plugin's making, that both directions have.
std::string faulty(const std::string& name, const std::string& faults) {
  return "pcm_type.faulty { lib \"" VURL_FAULTY_PCM "\" }\npcm." + name + " { type faulty " + faults +
         " hint.show on }\n";
}

TEST_F(AlsaTest, TellsWhyADeviceCannotBeStarted) {
  const std::tuple<const char*, const char*, bool, const char*> cases[] = {
      {"refusing", "refuses yes", false, "The ALSA device refusing cannot be used: Invalid argument."},
      {"held", "", true, "The ALSA device held is in use by another program."},
  };
  for (const auto& [name, faults, is_held, line] : cases) {
    SCOPED_TRACE(name);
    AlsaConfig config;
    config.write(faulty(name, faults));
    snd_pcm_t* other = nullptr;
    const int error = is_held ? snd_pcm_open(&other, name, SND_PCM_STREAM_CAPTURE, SND_PCM_NONBLOCK) : 0;
    ASSERT_EQ(error, 0);
    AlsaRig rig(faulty(name, faults), name);
    const auto device = rig.device();
    ASSERT_NE(device, 0U) << "it is listed all the same";
    rig.input_device.setSelectedDevice(device);
    EXPECT_TRUE(log.contains(line));
    rig.runFor(std::chrono::milliseconds(50));
    EXPECT_TRUE(rig.delegate.nr_cycles == 0 && !rig.model.isRunning(device));
    if (!is_held) continue;
    snd_pcm_close(other);
    EXPECT_TRUE(rig.select() && rig.model.isRunning(device));
  }
}

TEST_F(AlsaTest, ADriverThatDoesNotAnswerHoldsNobodyUp) {
  const TemporaryFolder folder;
  const auto pipe = folder.file("pipe"); // opening it waits for a writer
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const AlsaRig rig("pcm.stuck { type file slave.pcm { type null } file /dev/null infile \"" + pipe +
                    "\" format raw hint.show on }");
  int error = 0;
  const AlsaSetup capture{"stuck", SND_PCM_FORMAT_S16_LE, SND_PCM_ACCESS_RW_INTERLEAVED, 2};
  EXPECT_EQ(AlsaDevice::start({capture, {}, 48000, 256}, {}, error), nullptr);
  EXPECT_TRUE(error == -ETIMEDOUT && log.contains("The ALSA device stuck does not answer."));
  const int writer = ::open(pipe.c_str(), O_WRONLY | O_NONBLOCK); // lets those left behind come to their end
  usleep(300'000);
  ::close(writer);
}

TEST_F(AlsaTest, NamesTheProgramThatHoldsADevice) {
  const TemporaryFolder system;
  for (const auto& [file, content] :
       {std::pair{"asound/Box/pcm2c/sub0/status", "closed\n"},
        {"asound/Box/pcm2c/sub1/status", "state: RUNNING\nowner_pid   : 77\ndelay  : 0\n"},
        {"asound/Box/pcm3c/sub0/status", "state: RUNNING\nowner_pid   : 99\n"}, // it has ended meanwhile
        {"77/status", "Name:\tdata-loop\nTgid:\t70\n"},
        {"70/status", "Name:\tSound Server\nTgid:\t70\n"}}) {
    std::filesystem::create_directories((system.path / file).parent_path());
    writeFile(system.file(file), content);
  }
  EXPECT_EQ(alsaOwner("hw:CARD=Box,DEV=2", true, system.path), "Sound Server (process 70)");
  for (const auto* pcm : {"hw:CARD=Box,DEV=3", "hw:CARD=Box,DEV=4", "hw:CARD=Pox,DEV=2", "other"})
    EXPECT_EQ(alsaOwner(pcm, true, system.path), "") << pcm;
}

TEST_F(AlsaTest, EveryPcmOfACardIsADevice) {
  const auto devices = [](const std::vector<AlsaPcmInfo>& pcms) {
    std::string all;
    for (const auto& device : devicesOfCard("Big Box", "Box", pcms)) {
      all += device.name + ":";
      for (const auto& pcm : {device.capture, device.playback})
        all += " " + (pcm.empty() ? "-" : std::to_string(placeOfPcm(pcm).value_or(AlsaPlace{"", -1}).number));
      all += "; ";
    }
    return all;
  };
  EXPECT_EQ(devices({}) + devices({{0, "Midi", false, false}}), "");
  EXPECT_EQ(devices({{0, "USB Audio", true, true}}), "Big Box: 0 0; ");
  EXPECT_EQ(devices({{1, "Out", false, true}, {4, "In", true, false}}), "Big Box: 4 1; ");
  EXPECT_EQ(devices({{0, "Analog", true, true},
                     {2, "Alt", true, true},
                     {3, "HDMI", false, true},
                     {7, "HDMI", false, true},
                     {8, "", false, true}}),
            "Big Box: 0 0; Big Box, Alt: 2 2; Big Box, HDMI: - 3; Big Box, HDMI (PCM 7): - 7; Big Box, PCM 8: - 8; ");
}

TEST_F(AlsaTest, WaitsForADeviceThatIsNotAsReadyAsItSays) {
  AlsaRig rig(faulty("hesitant", "hesitates yes"), "hesitant");
  EXPECT_TRUE(rig.select() && rig.waitForCycles(20));
  rig.run_loop.drain();
  EXPECT_FALSE(rig.observer.has("processorOverload"));
}

TEST_F(AlsaTest, TakesOutADeviceThatEndsEarly) {
  const std::pair<std::string, const char*> cases[] = {
      {"pcm.short { type file slave.pcm { type null } file /dev/full format raw hint.show on }", "short"},
      {faulty("pulled", "frames 9600"), "pulled"}};
  for (const auto& [pcm, name] : cases) {
    AlsaRig rig(pcm, name);
    rig.input_device.setSelectedDevice(rig.device());
    EXPECT_TRUE(rig.wait([&] { return rig.device() == 0; }));
    EXPECT_TRUE(log.contains(text("The ALSA device %@ has failed: ", name)) && rig.observer.has("updateDevices"));
  }
}

} // namespace
} // namespace vurl
