#include "hardware/AlsaControls.h"

#include "platform/Log.h"
#include "platform/Text.h"

#include <alsa/asoundlib.h>

#include <poll.h>

#include <algorithm>
#include <cerrno>

namespace vurl {
namespace {

constexpr unsigned kMostItems = 1024; ///< more come of a fault only

struct FreeList {
  void operator()(snd_ctl_elem_list_t* list) const {
    snd_ctl_elem_list_free_space(list);
    snd_ctl_elem_list_free(list);
  }
};
struct FreeEvent {
  void operator()(snd_ctl_event_t* event) const { snd_ctl_event_free(event); }
};
struct CloseControl {
  void operator()(snd_ctl_t* control) const { snd_ctl_close(control); }
};

class AlsaControls final : public CardControls {
public:
  AlsaControls(snd_ctl_t* opened, bool (*wants_control)(const std::string&)) : card(opened), wants(wants_control) {
    snd_ctl_event_t* allocated = nullptr;
    if (snd_ctl_event_malloc(&allocated) == 0) event.reset(allocated);
    pollfd descriptor_of_card{-1, 0, 0};
    if (event && snd_ctl_subscribe_events(opened, 1) >= 0 &&
        snd_ctl_poll_descriptors(opened, &descriptor_of_card, 1) == 1)
      watched = descriptor_of_card.fd;
  }

  std::vector<CardControl> read() override;
  bool set(uint32_t number, uint32_t item) override;
  int descriptor() const override { return watched; }
  News takeNews() override;

private:
  bool describe(snd_ctl_elem_info_t* info, CardControl& control);

  std::unique_ptr<snd_ctl_t, CloseControl> card;
  std::unique_ptr<snd_ctl_event_t, FreeEvent> event;
  bool (*wants)(const std::string& name);
  int watched = -1;
};

std::vector<CardControl> AlsaControls::read() {
  snd_ctl_elem_list_t* allocated = nullptr;
  if (snd_ctl_elem_list_malloc(&allocated) < 0) return {};
  const std::unique_ptr<snd_ctl_elem_list_t, FreeList> list(allocated);
  if (snd_ctl_elem_list(card.get(), allocated) < 0) return {};
  if (snd_ctl_elem_list_alloc_space(allocated, snd_ctl_elem_list_get_count(allocated)) < 0) return {};
  if (snd_ctl_elem_list(card.get(), allocated) < 0) return {};
  snd_ctl_elem_info_t* info = nullptr;
  snd_ctl_elem_info_alloca(&info);
  std::vector<CardControl> found;
  for (unsigned i = 0; i < snd_ctl_elem_list_get_used(allocated); i++) {
    CardControl control;
    control.number = snd_ctl_elem_list_get_numid(allocated, i);
    control.name = snd_ctl_elem_list_get_name(allocated, i);
    control.index = snd_ctl_elem_list_get_index(allocated, i);
    if (!wants(control.name)) continue;
    snd_ctl_elem_info_clear(info);
    snd_ctl_elem_info_set_numid(info, control.number);
    if (snd_ctl_elem_info(card.get(), info) >= 0 && describe(info, control)) found.push_back(std::move(control));
  }
  return found;
}

/// Whether the control is one of items that can be read. `info` is filled in already.
bool AlsaControls::describe(snd_ctl_elem_info_t* info, CardControl& control) {
  if (snd_ctl_elem_info_get_type(info) != SND_CTL_ELEM_TYPE_ENUMERATED) return false;
  if (snd_ctl_elem_info_is_readable(info) == 0 || snd_ctl_elem_info_is_inactive(info) != 0) return false;
  control.is_settable = snd_ctl_elem_info_is_writable(info) != 0;
  const unsigned nr_items = std::min(snd_ctl_elem_info_get_items(info), kMostItems);
  for (unsigned i = 0; i < nr_items; i++) {
    snd_ctl_elem_info_set_item(info, i);
    if (snd_ctl_elem_info(card.get(), info) < 0) return false;
    control.items.emplace_back(snd_ctl_elem_info_get_item_name(info));
  }
  snd_ctl_elem_value_t* value = nullptr;
  snd_ctl_elem_value_alloca(&value);
  snd_ctl_elem_value_set_numid(value, control.number);
  if (snd_ctl_elem_read(card.get(), value) < 0) return false;
  control.item = snd_ctl_elem_value_get_enumerated(value, 0);
  return true;
}

bool AlsaControls::set(uint32_t number, uint32_t item) {
  snd_ctl_elem_info_t* info = nullptr;
  snd_ctl_elem_info_alloca(&info);
  snd_ctl_elem_info_set_numid(info, number);
  if (snd_ctl_elem_info(card.get(), info) < 0) return false;
  snd_ctl_elem_value_t* value = nullptr;
  snd_ctl_elem_value_alloca(&value);
  snd_ctl_elem_value_set_numid(value, number);
  for (unsigned i = 0; i < snd_ctl_elem_info_get_count(info); i++) snd_ctl_elem_value_set_enumerated(value, i, item);
  const int error = snd_ctl_elem_write(card.get(), value);
  if (error < 0) warn("The control %@ cannot be set: %@.", snd_ctl_elem_info_get_name(info), snd_strerror(error));
  return error >= 0;
}

CardControls::News AlsaControls::takeNews() {
  News news = News::none;
  for (;;) {
    const int result = snd_ctl_read(card.get(), event.get());
    if (result == -EINTR) continue;
    if (result == 0 || result == -EAGAIN) return news;
    if (result < 0) return News::gone;
    if (snd_ctl_event_get_type(event.get()) == SND_CTL_EVENT_ELEM && wants(snd_ctl_event_elem_get_name(event.get())))
      news = News::changed;
  }
}

} // namespace

std::unique_ptr<CardControls> alsaControls(snd_ctl_t* opened, bool (*wants)(const std::string& name)) {
  auto controls = std::make_unique<AlsaControls>(opened, wants);
  if (controls->descriptor() < 0) return nullptr;
  return controls;
}

std::unique_ptr<CardControls> openAlsaControls(const std::string& card, bool (*wants)(const std::string& name)) {
  snd_ctl_t* opened = nullptr;
  if (snd_ctl_open(&opened, text("hw:CARD=%@", card).c_str(), SND_CTL_NONBLOCK) < 0) return nullptr;
  return alsaControls(opened, wants);
}

} // namespace vurl
