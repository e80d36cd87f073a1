// Cards by their controls: which of them choose sources, and who hears of changes.
#include "hardware/RateWatch.h"
#include "tests/hardware/CardRig.h"
#include "tests/hardware/ServiceRig.h"

namespace vurl {
namespace {

using Items = std::vector<std::string>;

/// As a studio interface, an on-board chip with two converters, and two USB interfaces tell them, shortened.
const std::vector<CardControl> kStudio = {
    {3, "IEC958 Input Connector", 0, true, {"Optical", "Coaxial", "Internal"}, 1},
    {9, "Preferred Sync Reference", 0, true, {"Word", "ADAT1"}, 0},
    {7, "System Clock Mode", 0, false, {"Master", "Slave"}, 1},
    {8, "Sample Clock Source", 0, true, {"AutoSync", "Internal 48.0 kHz", "Internal 96.0 kHz"}, 1}};
const std::vector<CardControl> kOnBoard = {{11, "Capture Source", 1, true, {"Line", "CD"}, 1},
                                           {10, "Capture Source", 0, true, {"Mic", "Line"}, 0},
                                           {12, "Channel Mode", 0, true, {"2ch", "8ch"}, 0}};
const std::vector<CardControl> kUSB = {{1, "Line In 1 Level", 0, true, {"Line", "Inst"}, 0},
                                       {2, "Box Clock Source", 0, true, {"Internal", "S/PDIF"}, 0},
                                       {4, "Analog In Capture Source", 0, true, {"Front", "Rear"}, 1}};
const std::vector<CardControl> kReadOnly = {{1, "Clock Source", 0, false, {"Internal", "Word"}, 1},
                                            {2, "Input Source", 0, true, {}, 0}};

TEST(CardSources, ByTheNamesOfTheControls) {
  const auto found = [](const std::vector<CardControl>& controls, std::optional<uint32_t> nth_capture) {
    PollRunLoop run_loop;
    CardMixer mixer{controls};
    const CardSources sources(std::make_unique<RecordedControls>(mixer), run_loop, nth_capture, [] {});
    DeviceDescription device;
    sources.describe(device);
    std::string all;
    for (const auto& [list, current] :
         {std::pair{device.data_sources, device.data_source}, {device.clock_sources, device.clock_source}}) {
      for (const auto& source : list) all += (source.id == current ? "*" : "") + source.name + " ";
      all += "| ";
    }
    return all;
  };
  EXPECT_EQ(found(kStudio, 0), "Optical *Coaxial Internal | AutoSync *Internal 48.0 kHz Internal 96.0 kHz | ");
  EXPECT_EQ(found(kOnBoard, 0), "*Mic Line | | ");
  EXPECT_EQ(found(kOnBoard, 1), "Line *CD | | ");
  EXPECT_EQ(found(kOnBoard, 2), "*Mic Line | | ");
  EXPECT_EQ(found(kUSB, 0), "Front *Rear | *Internal S/PDIF | ");
  EXPECT_EQ(found(kUSB, std::nullopt), "| *Internal S/PDIF | ") << "it plays only";
  EXPECT_EQ(found(kReadOnly, 0), "| Internal *Word | ");
  EXPECT_TRUE(CardSources::wants("Digital CAPTURE SOURCE") && !CardSources::wants("Master Playback Switch"));
}

TEST(RateWatch, TellsOnceOfADeviceThatIsOffForSeconds) {
  // Samples that come in each second, over and over; what is told of them.
  const std::pair<std::vector<uint64_t>, std::vector<uint32_t>> cases[] = {
      {{48000}, {}},
      {{44100}, {44100}},
      {{96000}, {96000}},
      {{48400, 47600}, {}},
      {{0}, {}},
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
    mixer.controls = kStudio;
    card.plug();
    rig.alsa = card.serve(rig.model, rig.run_loop);
    rig.input_device.awake();
    ASSERT_NE(rig.find("ALSA - Box"), 0U);
    rig.input_device.setSelectedDevice(rig.find("ALSA - Box"));
    ASSERT_TRUE(rig.waitForCycles(5));
    rig.observer.take();
  }
  CapturedLog log;
  PlayedCard card;
  CardMixer& mixer = card.mixer;
  TemporaryFolder folder;
  AlsaRig rig{std::string(PlayedCard::kPcm) +
              "\npcm.late { type file slave.pcm { type null } file /dev/null infile \"" + folder.file("in") +
              "\" format raw }"};
};

TEST_F(CardTest, SourcesAreSetAndFollowOtherProgramsWhileItRuns) {
  EXPECT_EQ(rig.input_device.dataSources(),
            (std::map<uint32_t, std::string>{{1, "Optical"}, {2, "Coaxial"}, {3, "Internal"}}));
  EXPECT_TRUE(rig.input_device.dataSource() == 2 && rig.input_device.clockSource() == 2);
  rig.input_device.setClockSource(1);
  rig.run_loop.drain();
  EXPECT_TRUE(mixer.at("Sample Clock Source").item == 0 && rig.input_device.clockSource() == 1);
  EXPECT_EQ(rig.observer.take(), Items{"updateClockSource"});
  for (const uint32_t id : {0U, 4U}) rig.input_device.setDataSource(id);
  mixer.refuses = true;
  rig.input_device.setDataSource(1);
  rig.runFor(std::chrono::milliseconds(20));
  EXPECT_EQ(rig.input_device.dataSource(), 2);
  EXPECT_EQ(rig.observer.take(), Items{});
  mixer.at("IEC958 Input Connector").item = 0;
  mixer.happen();
  EXPECT_TRUE(rig.wait([&] { return rig.input_device.dataSource() == 1; }));
  rig.run_loop.drain();
  EXPECT_EQ(rig.observer.take(), Items{"updateDataSource"});
  mixer.at("Sample Clock Source").items.pop_back();
  mixer.happen();
  EXPECT_TRUE(rig.wait([&] { return rig.observer.has("updateClockSources"); }));
  mixer.is_gone = true;
  mixer.happen(); // to be heard once, not for ever
  rig.runFor(std::chrono::milliseconds(20));
  EXPECT_EQ(rig.input_device.dataSources().size(), 3U);
  EXPECT_TRUE(rig.waitForCycles(5));
}

TEST_F(CardTest, ComesAndGoesWithinASecond) {
  constexpr std::chrono::milliseconds kSecond{1000};
  const auto first = rig.find("ALSA - Box");
  card.plug(); // anew, faster than anybody looks
  EXPECT_TRUE(rig.wait([&] { return rig.find("ALSA - Box") != first; }, kSecond));
  EXPECT_TRUE(rig.wait([&] { return rig.observer.has("updateDevices"); }, kSecond));
  for (int i = 0; i < 3; i++) {
    card.pull();
    EXPECT_TRUE(rig.wait([&] { return rig.find("ALSA - Box") == 0; }, kSecond));
    card.plug();
    EXPECT_TRUE(rig.wait([&] { return rig.find("ALSA - Box") != 0; }, kSecond));
  }
  rig.input_device.setSelectedDevice(rig.find("ALSA - Box"));
  EXPECT_TRUE(rig.waitForCycles(5));
  rig.input_device.unselectDevice();
  EXPECT_FALSE(log.contains("cannot"));
}

TEST_F(CardTest, WhatWaitsForACardIsTriedAgainAndToldOnce) {
  const auto is_told = [](const std::string& line) { return line.find("Late cannot be used") != std::string::npos; };
  card.devices.push_back({"Late", "late", ""});
  rig.alsa->poll();
  card.tell();
  rig.runFor(std::chrono::milliseconds(400));
  EXPECT_EQ(std::ranges::count_if(log.lines(), is_told), 1);
  EXPECT_EQ(rig.find("ALSA - Late"), 0U);
  writeFile(folder.file("in"), "");
  card.tell();
  EXPECT_TRUE(rig.wait([&] { return rig.find("ALSA - Late") != 0; }, std::chrono::seconds(1)));
}

} // namespace
} // namespace vurl
