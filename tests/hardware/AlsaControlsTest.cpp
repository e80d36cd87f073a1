// Controls as ALSA's library hands them over, of a card that stands in the library itself.
#include "hardware/AlsaControls.h"

#include "tests/support/Test.h"

#include <alsa/asoundlib.h>
#include <alsa/control_external.h>
#include <sys/eventfd.h>

#include <unistd.h>

namespace vurl {
namespace {

using Name = const char*;
constexpr std::array<Name, 3> kNames = {"Capture Source", "Master Playback Volume", "Clock Source"};
constexpr std::array<Name, 3> kItems = {"Mic", "Line", "CD"};

/// Elements 0 and 2 are enumerated, the last one can only be read. Element 0 has two channels.
struct PluginCard {
  PluginCard() {
    callbacks.elem_count = [](auto*) { return 3; };
    callbacks.elem_list = [](auto*, unsigned offset, snd_ctl_elem_id_t* id) {
      snd_ctl_elem_id_set_interface(id, SND_CTL_ELEM_IFACE_MIXER);
      snd_ctl_elem_id_set_name(id, kNames.at(offset));
      snd_ctl_elem_id_set_index(id, offset == 2 ? 5 : 0);
      return 0;
    };
    callbacks.find_elem = [](auto*, const snd_ctl_elem_id_t* id) -> snd_ctl_ext_key_t {
      return snd_ctl_elem_id_get_numid(id) - 1;
    };
    callbacks.get_attribute = [](auto*, auto key, int* type, unsigned* access, unsigned* count) {
      *type = key == 1 ? SND_CTL_ELEM_TYPE_INTEGER : SND_CTL_ELEM_TYPE_ENUMERATED;
      *access = key == 0 ? SND_CTL_EXT_ACCESS_READWRITE : SND_CTL_EXT_ACCESS_READ;
      *count = key == 0 ? 2 : 1;
      return 0;
    };
    callbacks.get_enumerated_info = [](auto*, auto key, unsigned* items) { return *items = key == 0 ? 3 : 2, 0; };
    callbacks.get_enumerated_name = [](auto*, auto, unsigned item, char* name, size_t size) {
      return std::snprintf(name, size, "%s", kItems.at(item)), 0;
    };
    callbacks.read_enumerated = [](snd_ctl_ext_t* of, auto key, unsigned* items) {
      return *items = key == 0 ? self(of).channels[0] : 1, 0;
    };
    callbacks.write_enumerated = [](snd_ctl_ext_t* of, auto, unsigned* items) {
      std::copy_n(items, 2, self(of).channels.begin());
      return self(of).error;
    };
    callbacks.subscribe_events = [](auto*, int) {};
    callbacks.read_event = [](snd_ctl_ext_t* of, snd_ctl_elem_id_t* id, unsigned* mask) {
      auto& told = self(of).to_tell;
      if (told.empty()) return self(of).is_gone ? -ENODEV : -EAGAIN;
      snd_ctl_elem_id_set_name(id, told.back());
      told.pop_back();
      *mask = SND_CTL_EVENT_MASK_VALUE;
      return 1;
    };
    ext.version = SND_CTL_EXT_VERSION;
    ext.callback = &callbacks;
    ext.private_data = this;
    ext.poll_fd = descriptor;
    EXPECT_EQ(snd_ctl_ext_create(&ext, "test", SND_CTL_NONBLOCK), 0);
  }
  ~PluginCard() { ::close(descriptor); }
  static PluginCard& self(snd_ctl_ext_t* of) { return *static_cast<PluginCard*>(of->private_data); }

  std::array<unsigned, 2> channels = {1, 1};
  std::vector<Name> to_tell;
  int error = 1; ///< it has changed
  bool is_gone = false;
  const int descriptor = eventfd(0, EFD_CLOEXEC);
  snd_ctl_ext_callback_t callbacks{};
  snd_ctl_ext_t ext{};
};

TEST(AlsaControls, AreReadSetAndHeardOf) {
  PluginCard card;
  const auto controls = alsaControls(card.ext.handle, [](const std::string& name) { return name.ends_with("Source"); });
  ASSERT_TRUE(controls && controls->descriptor() == card.descriptor);
  const auto all = controls->read();
  ASSERT_EQ(all.size(), 2U);
  EXPECT_TRUE(all[0].name == "Capture Source" && all[0].is_settable && all[0].item == 1 && all[0].index == 0);
  EXPECT_EQ(all[0].items, (std::vector<std::string>{"Mic", "Line", "CD"}));
  EXPECT_TRUE(all[1].name == "Clock Source" && !all[1].is_settable && all[1].item == 1 && all[1].index == 5);
  EXPECT_TRUE(controls->set(all[0].number, 2));
  EXPECT_EQ(card.channels, (std::array<unsigned, 2>{2, 2}));
  EXPECT_EQ(controls->read().at(0).item, 2U);
  card.error = -EPERM;
  EXPECT_FALSE(controls->set(all[0].number, 0) || controls->set(all[1].number, 0));
  using enum CardControls::News;
  EXPECT_EQ(controls->takeNews(), none);
  card.to_tell = {kNames[1]};
  EXPECT_EQ(controls->takeNews(), none);
  card.to_tell = {kNames[1], kNames[0], kNames[1]};
  EXPECT_EQ(controls->takeNews(), changed);
  EXPECT_TRUE(card.to_tell.empty());
  card.is_gone = true;
  EXPECT_EQ(controls->takeNews(), gone);
}

} // namespace
} // namespace vurl
