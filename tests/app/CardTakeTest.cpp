// What a take makes of a card that is pulled, plugged in again, or turned by another program.
#include "tests/app/ControllerRig.h"
#include "tests/hardware/CardRig.h"

namespace vurl {
namespace {

class CardTakeTest : public testing::Test {
protected:
  void SetUp() override {
    writeFile(rig.folder.file("alsa.conf"), PlayedCard::kPcm);
    setenv("ALSA_CONFIG_PATH", rig.folder.file("alsa.conf").c_str(), 1);
    card.mixer.controls = {{1, "Clock Source", 0, true, {"Internal", "Word"}, 0}};
    rig.defaults.setObject(std::string("ALSA - Box"), "selected_device");
    rig.defaults.setInteger(2, "nr_channels");
    rig.ring_delegate.pause = std::chrono::milliseconds(5); // 256 samples at 48 kHz
    alsa = card.serve(rig.model, rig.run_loop);
    card.plug();
    ASSERT_TRUE(goOn([&] { return device() == "ALSA - Box"; }));
  }
  void TearDown() override {
    rig.input_device.unselectDevice();
    alsa.reset();
  }
  bool goOn(const std::function<bool()>& done) {
    for (int i = 0; i < 200 && !done(); i++) {
      rig.run_loop.runOnce(std::chrono::milliseconds(20));
      rig.time(1);
    }
    return done();
  }
  std::string device() const {
    const auto* const item = rig.controller.menu(DeviceMenu::device).selectedItem();
    return item == nullptr ? "" : item->title;
  }
  void record() {
    rig.controller.recStopPressed(REC);
    ASSERT_TRUE(goOn([&] { return rig.output_file.nrSamples() > 24000; }));
  }

  /// Waits for the end of the take; why it ended, or what is wrong with its file.
  std::string endOfTake() {
    const size_t nr_takes = rig.view.takes.size();
    if (!goOn([&] { return rig.view.takes.size() > nr_takes; })) return "never";
    const auto& take = rig.view.takes.back();
    const auto bytes = fileBytes(take.meta_data->filenameForFile(0));
    uint32_t riff_size = 0;
    std::memcpy(&riff_size, bytes.substr(0, 8).c_str() + 4, 4);
    if (take.nr_files != 1 || bytes.size() < 131072 + 24000 || riff_size != bytes.size() - 8) return "incomplete";
    return take.reason.value_or("stopped");
  }

  PlayedCard card;
  ControllerRig rig;
  std::unique_ptr<AlsaHardware> alsa;
};

TEST_F(CardTakeTest, ACardPulledEndsTheTakeAndIsChosenAgain) {
  for (int i = 0; i < 2; i++) {
    record();
    card.pull();
    EXPECT_EQ(endOfTake(), "A device has been added or removed.");
    EXPECT_EQ(device(), "") << "the generator does not stand in for it";
    card.plug();
    EXPECT_TRUE(goOn([&] { return device() == "ALSA - Box"; }));
  }
  record();
  rig.controller.recStopPressed(STOP);
  EXPECT_EQ(endOfTake(), "stopped");
}

TEST_F(CardTakeTest, AnotherProgramThatTurnsTheClockEndsTheTake) {
  record();
  card.mixer.refuses = true;
  EXPECT_TRUE(rig.controller.choose(DeviceMenu::clock_source, 2));
  EXPECT_EQ(rig.controller.menu(DeviceMenu::clock_source).selectedItem()->title, "Internal");
  EXPECT_EQ(rig.output_file.state(), OutputFile::State::RUNNING_RECORDING) << "a refusal changes nothing";
  card.mixer.at("Clock Source").item = 1;
  card.mixer.happen();
  EXPECT_EQ(endOfTake(), "Current clock source has changed.");
  EXPECT_EQ(rig.controller.menu(DeviceMenu::clock_source).selectedItem()->title, "Word");
}

} // namespace
} // namespace vurl
