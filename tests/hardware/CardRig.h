// A sound card that a test plugs and pulls, and whose mixer, a recorded list, it turns. The mixer stands in ALSA's own
// library; its PCM is one of ALSA's making that runs as fast as it is asked.
#pragma once

#include "hardware/AlsaHardware.h"

#include <alsa/asoundlib.h>
#include <alsa/control_external.h>
#include <sys/eventfd.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace vurl {

/// All controls have two channels; numbers are not looked at.
struct CardMixer {
  struct Client;
  CardControl& at(const std::string& name) { return *std::ranges::find(controls, name, &CardControl::name); }

  /// As another program does.
  void change(const std::string& name, uint32_t item);

  std::vector<CardControl> controls;
  bool refuses = false;
  bool is_gone = false;
  std::vector<Client*> clients = {};
};

struct CardMixer::Client {
  explicit Client(CardMixer& of) : mixer(of) {
    ext.version = SND_CTL_EXT_VERSION;
    ext.private_data = this;
    ext.poll_fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    ext.callback = callbacks();
    snd_ctl_ext_create(&ext, "mixer", SND_CTL_NONBLOCK);
    mixer.clients.push_back(this);
  }
  ~Client() {
    std::erase(mixer.clients, this);
    ::close(ext.poll_fd);
  }
  static Client& of(snd_ctl_ext_t* ext) { return *static_cast<Client*>(ext->private_data); }
  static CardControl& control(snd_ctl_ext_t* ext, size_t key) { return of(ext).mixer.controls.at(key); }
  static int nextEvent(snd_ctl_ext_t* ext, snd_ctl_elem_id_t* id, unsigned* mask) {
    auto& [mixer, told, unused] = of(ext);
    eventfd_t count = 0;
    if (mixer.is_gone) return -ENODEV;
    eventfd_read(ext->poll_fd, &count);
    if (told.empty()) return -EAGAIN;
    snd_ctl_elem_id_set_name(id, told.back().c_str());
    told.pop_back();
    *mask = SND_CTL_EVENT_MASK_VALUE;
    return 1;
  }
  // clang-format off
  static const snd_ctl_ext_callback_t* callbacks() {
    static snd_ctl_ext_callback_t all{};
    all.close = [](auto* e) { delete &of(e); };
    all.elem_count = [](auto* e) { return static_cast<int>(of(e).mixer.controls.size()); };
    all.elem_list = [](auto* e, unsigned offset, snd_ctl_elem_id_t* id) {
      snd_ctl_elem_id_set_name(id, control(e, offset).name.c_str());
      return snd_ctl_elem_id_set_index(id, control(e, offset).index), 0; };
    all.find_elem = [](auto*, auto* id) -> snd_ctl_ext_key_t { return snd_ctl_elem_id_get_numid(id) - 1; };
    all.get_attribute = [](auto* e, auto key, int* type, unsigned* access, unsigned* count) {
      *access = control(e, key).is_settable ? SND_CTL_EXT_ACCESS_READWRITE : SND_CTL_EXT_ACCESS_READ;
      return *type = SND_CTL_ELEM_TYPE_ENUMERATED, *count = 2, 0; };
    all.get_enumerated_info = [](auto* e, auto key, unsigned* items) {
      return *items = static_cast<unsigned>(control(e, key).items.size()), 0; };
    all.get_enumerated_name = [](auto* e, auto key, unsigned item, char* name, size_t size) {
      const auto& items = control(e, key).items; // may be none
      return std::snprintf(name, size, "%s", item < items.size() ? items[item].c_str() : ""), 0; };
    all.read_enumerated = [](auto* e, auto key, unsigned* items) { return items[0] = items[1] = control(e, key).item, 0; };
    all.write_enumerated = [](auto* e, auto key, unsigned* items) {
      if (of(e).mixer.refuses || items[0] != items[1]) return -EPERM;
      return of(e).mixer.change(control(e, key).name, items[0]), 1; };
    all.subscribe_events = [](auto*, int) {};
    all.read_event = nextEvent;
    return &all;
  }
  // clang-format on

  CardMixer& mixer;
  std::vector<std::string> told = {};
  snd_ctl_ext_t ext{};
};

inline void CardMixer::change(const std::string& name, uint32_t item) {
  at(name).item = item;
  for (Client* const client : clients) {
    client->told.push_back(name);
    eventfd_write(client->ext.poll_fd, 1);
  }
}

/// The card "Box". ALSA's configuration must hold kPcm.
class PlayedCard {
public:
  static constexpr const char* kPcm =
      "pcm.hw { @args [ CARD DEV ] @args.CARD { type string } @args.DEV { type integer } type null }";

  std::unique_ptr<AlsaHardware> serve(HardwareModel& model, RunLoop& run_loop) {
    const auto open = [this](const std::string& card, auto wants) {
      return card == "Box" ? alsaControls((new CardMixer::Client(mixer))->ext.handle, wants) : nullptr;
    };
    return std::make_unique<AlsaHardware>(
        model, run_loop, [this] { return devices; }, open, std::make_unique<Plugs>(news));
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
  struct Plugs final : PlugMonitor {
    explicit Plugs(int descriptor) : news(descriptor) {}
    ~Plugs() override { ::close(news); }
    int descriptor() const override { return news; }
    bool takeNews() override {
      eventfd_t count = 0;
      return eventfd_read(news, &count) == 0;
    }
    const int news;
  };
  const int news = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK); ///< the monitor's, once served
  uint64_t nr_pluggings = 0;
};

} // namespace vurl
