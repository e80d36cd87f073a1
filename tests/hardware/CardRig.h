// A sound card of recorded lists, which a test plugs and pulls, and whose mixer it turns. Its PCM is one of ALSA's own
// making that runs as fast as it is asked.
#pragma once

#include "hardware/AlsaHardware.h"

#include <sys/eventfd.h>

#include <unistd.h>

#include <algorithm>

namespace vurl {

/// The mixer of a card, which outlives those who have it open.
struct CardMixer {
  std::vector<CardControl> controls;
  bool refuses = false;
  bool is_gone = false;
  std::vector<int> listeners = {};

  CardControl& at(const std::string& name) { return *std::ranges::find(controls, name, &CardControl::name); }

  /// As another program does.
  void happen() {
    for (const int listener : listeners) eventfd_write(listener, 1);
  }
};

class RecordedControls final : public CardControls {
public:
  explicit RecordedControls(CardMixer& of) : mixer(of) { mixer.listeners.push_back(news); }
  ~RecordedControls() override {
    std::erase(mixer.listeners, news);
    ::close(news);
  }
  std::vector<CardControl> read() override { return mixer.is_gone ? std::vector<CardControl>{} : mixer.controls; }
  bool set(uint32_t number, uint32_t item) override {
    if (mixer.refuses) return false;
    std::ranges::find(mixer.controls, number, &CardControl::number)->item = item;
    mixer.happen();
    return true;
  }
  int descriptor() const override { return news; }
  News takeNews() override {
    eventfd_t count = 0;
    if (mixer.is_gone) return News::gone;
    return eventfd_read(news, &count) == 0 ? News::changed : News::none;
  }

private:
  CardMixer& mixer;
  const int news = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
};

/// Gives back what it is lent, so that the test can tell news through it.
class PlayedPlugs final : public PlugMonitor {
public:
  explicit PlayedPlugs(int news_descriptor) : news(news_descriptor) {}
  int descriptor() const override { return news; }
  bool takeNews() override {
    eventfd_t count = 0;
    return eventfd_read(news, &count) == 0;
  }

private:
  const int news;
};

/// The card "Box". ALSA's configuration must hold kPcm.
class PlayedCard {
public:
  static constexpr const char* kPcm =
      "pcm.hw { @args [ CARD DEV ] @args.CARD { type string } @args.DEV { type integer } type null }";
  ~PlayedCard() { ::close(news); }

  std::unique_ptr<AlsaHardware> serve(HardwareModel& model, RunLoop& run_loop) {
    const auto open = [this](const std::string& card, auto) {
      return card == "Box" ? std::make_unique<RecordedControls>(mixer) : nullptr;
    };
    return std::make_unique<AlsaHardware>(
        model, run_loop, [this] { return devices; }, open, std::make_unique<PlayedPlugs>(news));
  }
  void pull() {
    devices.clear();
    tell();
  }
  void plug() {
    devices = devicesOfCard("Box", "Box", {{0, "Analog", true, true}});
    devices.front().plugging = ++nr_pluggings;
    tell();
  }

  void tell() const { eventfd_write(news, 1); }

  CardMixer mixer;
  std::vector<AlsaName> devices;

private:
  const int news = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  uint64_t nr_pluggings = 0;
};

} // namespace vurl
