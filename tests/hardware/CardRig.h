// A sound card of recorded lists, which a test plugs, pulls and turns: its PCM is one of ALSA's own making.
#pragma once

#include "tests/hardware/ServiceRig.h"

#include <sys/eventfd.h>

#include <unistd.h>

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

} // namespace vurl
