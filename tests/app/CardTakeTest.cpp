// What a take makes of a card that is pulled, plugged in again, or turned by another program.
#include "tests/app/ControllerRig.h"
#include "tests/hardware/CardRig.h"

namespace vurl {

class CardTakeTest : public testing::Test, protected ControllerRig {
protected:
  void SetUp() override {
    writeFile(folder.file("alsa.conf"), PlayedCard::kPcm);
    setenv("ALSA_CONFIG_PATH", folder.file("alsa.conf").c_str(), 1);
    card.mixer.controls = {{0, "Clock Source", 0, true, {"Internal", "Word"}, 0}};
    defaults.setObject(std::string("ALSA - Box"), "selected_device");
    ring_delegate.pause = std::chrono::milliseconds(5); // 256 samples at 48 kHz
    card.plug();
    alsa = card.serve(model, run_loop);
    ASSERT_TRUE(goOn([&] { return chosen() == "ALSA - Box"; }));
  }
  void TearDown() override { input_device.unselectDevice(); }
  bool goOn(const std::function<bool()>& done) {
    for (int i = 0; i < 200 && !done(); i++) {
      run_loop.runOnce(std::chrono::milliseconds(20));
      time(1);
    }
    return done();
  }
  void record() {
    controller.recStopPressed(REC);
    ASSERT_TRUE(goOn([&] { return output_file.nrSamples() > 24000; }));
  }

  /// Waits for the end of the take; why it ended, or what is wrong with its file.
  std::string endOfTake() {
    if (!goOn([this, before = view.takes.size()] { return view.takes.size() > before; })) return "never";
    const auto bytes = fileBytes(view.takes.back().meta_data->filenameForFile(0));
    uint32_t riff_size = 0;
    std::memcpy(&riff_size, bytes.substr(0, 8).c_str() + 4, 4);
    if (bytes.size() < 131072 + 24000 || riff_size != bytes.size() - 8) return "incomplete";
    return view.takes.back().reason.value_or("stopped");
  }

  PlayedCard card;
  std::unique_ptr<AlsaHardware> alsa;
};

TEST_F(CardTakeTest, ACardPulledEndsTheTakeAndIsChosenAgain) {
  for (int i = 0; i < 2; i++) {
    record();
    card.pull();
    EXPECT_EQ(endOfTake(), "A device has been added or removed.");
    EXPECT_EQ(chosen(), "") << "the generator does not stand in for it";
    card.plug();
    EXPECT_TRUE(goOn([&] { return chosen() == "ALSA - Box"; }));
  }
}

TEST_F(CardTakeTest, ItEndsWhenAnotherProgramTurnsTheClockAndNotByARefusal) {
  record();
  card.mixer.refuses = true;
  EXPECT_TRUE(controller.choose(DeviceMenu::clock_source, 2));
  EXPECT_EQ(chosen(DeviceMenu::clock_source), "Internal");
  EXPECT_EQ(output_file.state(), OutputFile::State::RUNNING_RECORDING);
  card.mixer.change("Clock Source", 1);
  EXPECT_EQ(endOfTake(), "Current clock source has changed.");
  EXPECT_EQ(chosen(DeviceMenu::clock_source), "Word");
}

} // namespace vurl
