// Cards by their controls and by their plug: which control chooses a source, and who hears of changes.
#include "hardware/RateWatch.h"
#include "tests/hardware/CardRig.h"
#include "tests/hardware/ServiceRig.h"

namespace vurl {
namespace {

using Names = std::vector<std::string>;
constexpr std::chrono::milliseconds kSecond{1000};

// As a studio interface, an on-board chip with two converters, and USB interfaces tell them, shortened.
// clang-format off
const std::vector<CardControl> kStudio = {
    {0, "IEC958 Input Connector", 0, true, {"Optical", "Coaxial", "Internal"}, 1},
    {0, "Preferred Sync Reference", 0, true, {"Word", "ADAT1"}, 0}, {0, "System Clock Mode", 0, false, {"Master"}, 0},
    {0, "Sample Clock Source", 0, true, {"AutoSync", "Internal 48.0 kHz", "Internal 96.0 kHz"}, 1}};
const std::vector<CardControl> kOnBoard = {
    {0, "Capture Source", 1, true, {"Line", "CD"}, 1}, {0, "Capture Source", 0, true, {"Mic", "Line"}, 0},
    {0, "Channel Mode", 0, true, {"2ch", "8ch"}, 0}};
const std::vector<CardControl> kUSB = {
    {0, "Line In 1 Level", 0, true, {"Line", "Inst"}, 0}, {0, "Box Clock Source", 0, true, {"Internal", "S/PDIF"}, 0},
    {0, "Analog In Capture Source", 0, true, {"Front", "Rear"}, 1}};
const std::vector<CardControl> kReadOnly = {
    {0, "Clock Source", 0, false, {"Internal", "Word"}, 1}, {0, "Input Source", 0, true, {}, 0}};
// clang-format on

TEST(CardSources, ByTheNamesOfTheControls) {
  const auto found = [](const std::vector<CardControl>& controls, std::optional<uint32_t> nth_capture) {
    PollRunLoop run_loop;
    CardMixer mixer{controls};
    auto opened = alsaControls((new CardMixer::Client(mixer))->ext.handle, CardSources::wants);
    DeviceDescription device;
    CardSources(std::move(opened), run_loop, nth_capture, [] {}).describe(device);
    const auto names = [](const std::vector<SourceDescription>& sources, uint32_t chosen) {
      std::string all;
      for (const auto& source : sources) all += (source.id == chosen ? "*" : "") + source.name + " ";
      return all;
    };
    return names(device.data_sources, device.data_source) + "| " + names(device.clock_sources, device.clock_source);
  };
  EXPECT_EQ(found(kStudio, 0), "Optical *Coaxial Internal | AutoSync *Internal 48.0 kHz Internal 96.0 kHz ");
  for (const uint32_t converter : {0U, 2U}) EXPECT_EQ(found(kOnBoard, converter), "*Mic Line | ");
  EXPECT_EQ(found(kOnBoard, 1), "Line *CD | ");
  EXPECT_EQ(found(kUSB, 0), "Front *Rear | *Internal S/PDIF ");
  EXPECT_EQ(found(kUSB, std::nullopt), "| *Internal S/PDIF ") << "it plays only";
  EXPECT_EQ(found(kReadOnly, 0), "| Internal *Word ");
}

TEST(RateWatch, TellsOnceOfADeviceThatIsOffForSeconds) {
  // Samples that come in each second, over and over; what is told of them.
  const std::pair<std::vector<uint64_t>, std::vector<uint32_t>> cases[] = {
      {{48000}, {}},
      {{44100}, {44100}},
      {{96000}, {96000}},
      {{0}, {}},
      {{48400, 47600}, {}},
      {{48000, 48000, 48000, 48000, 48000, 48000, 20000, 48000, 76000}, {}}}; // held up for a moment
  for (const auto& [seconds, expected] : cases) {
    RateWatch watch(48000);
    std::vector<uint32_t> told;
    uint64_t sample = 1'000'000;
    for (int tenth = 0; tenth < 300; tenth++, sample += seconds[static_cast<size_t>(tenth / 10) % seconds.size()] / 10)
      if (const auto rate = watch.look(sample, RateWatch::Moment(std::chrono::milliseconds(tenth * 100))))
        told.push_back(*rate);
    EXPECT_EQ(told, expected) << seconds[0];
  }
}

class CardTest : public testing::Test {
protected:
  void SetUp() override {
    card.mixer.controls = kStudio;
    card.plug();
    rig.alsa = card.serve(rig.model, rig.run_loop);
    ASSERT_TRUE(rig.select());
  }
  CapturedLog log;
  PlayedCard card;
  AlsaRig rig{PlayedCard::kPcm, "Box"};
};

TEST_F(CardTest, SourcesAreSetAndFollowOtherProgramsWhileItRuns) {
  auto& device = rig.input_device;
  device.setClockSource(1);
  rig.run_loop.drain();
  EXPECT_TRUE(card.mixer.at("Sample Clock Source").item == 0 && device.clockSource() == 1);
  EXPECT_EQ(rig.observer.take(), Names{"updateClockSource"});
  for (const uint32_t id : {0U, 4U}) device.setDataSource(id);
  card.mixer.refuses = true;
  device.setDataSource(1);
  rig.runFor(std::chrono::milliseconds(20));
  EXPECT_TRUE(device.dataSource() == 2 && log.contains("IEC958 Input Connector cannot be set"));
  EXPECT_EQ(rig.observer.take(), Names{});
  card.mixer.change("Preferred Sync Reference", 1);
  card.mixer.change("IEC958 Input Connector", 0);
  EXPECT_TRUE(rig.wait([&] { return device.dataSource() == 1; }));
  rig.run_loop.drain();
  EXPECT_EQ(rig.observer.take(), Names{"updateDataSource"});
  card.mixer.at("Sample Clock Source").items.pop_back();
  card.mixer.change("Sample Clock Source", 1);
  EXPECT_TRUE(rig.wait([&] { return rig.observer.has("updateClockSources"); }));
  card.mixer.is_gone = true;
  card.mixer.change("Sample Clock Source", 0); // to be heard once, not for ever
  rig.runFor(std::chrono::milliseconds(20));
  EXPECT_TRUE(device.dataSources().size() == 3 && device.clockSource() == 2 && rig.waitForCycles(5));
}

TEST_F(CardTest, ComesAndGoesWithinASecond) {
  const auto first = rig.device();
  card.plug(); // anew, faster than anybody looks
  EXPECT_TRUE(rig.wait([&] { return rig.device() != first; }, kSecond));
  EXPECT_TRUE(rig.wait([&] { return rig.observer.has("updateDevices"); }, kSecond));
  card.pull();
  EXPECT_TRUE(rig.wait([&] { return rig.device() == 0; }, kSecond));
  EXPECT_FALSE(log.contains("cannot be used"));
  card.plug();
  EXPECT_TRUE(rig.wait([&] { return rig.device() != 0; }, kSecond));
}

} // namespace
} // namespace vurl
