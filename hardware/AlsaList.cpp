#include "hardware/AlsaList.h"

#include "platform/Log.h"
#include "platform/Text.h"

#include <alsa/asoundlib.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>

namespace vurl {
namespace {

struct CloseControl {
  void operator()(snd_ctl_t* control) const { snd_ctl_close(control); }
};
struct DeleteConfig {
  void operator()(snd_config_t* config) const { snd_config_delete(config); }
};
struct CloseInput {
  void operator()(snd_input_t* input) const { snd_input_close(input); }
};
using Config = std::unique_ptr<snd_config_t, DeleteConfig>;

/// The PCM of the card's first device of this direction; empty when it has none.
std::string firstPcm(snd_ctl_t* control, const std::string& card, snd_pcm_stream_t direction) {
  snd_pcm_info_t* info = nullptr;
  snd_pcm_info_alloca(&info);
  for (int device = -1; snd_ctl_pcm_next_device(control, &device) == 0 && device >= 0;) {
    snd_pcm_info_set_device(info, static_cast<unsigned>(device));
    snd_pcm_info_set_subdevice(info, 0);
    snd_pcm_info_set_stream(info, direction);
    if (snd_ctl_pcm_info(control, info) == 0) return text("hw:CARD=%@,DEV=%i", card, device);
  }
  return {};
}

/// Nothing when the card has been removed meanwhile, or has no PCM.
std::optional<AlsaName> describeCard(int number) {
  snd_ctl_t* opened = nullptr;
  if (snd_ctl_open(&opened, text("hw:%i", number).c_str(), 0) < 0) return std::nullopt;
  const std::unique_ptr<snd_ctl_t, CloseControl> control(opened);
  snd_ctl_card_info_t* info = nullptr;
  snd_ctl_card_info_alloca(&info);
  if (snd_ctl_card_info(control.get(), info) < 0) return std::nullopt;
  const std::string id = snd_ctl_card_info_get_id(info);
  AlsaName card{snd_ctl_card_info_get_name(info), firstPcm(control.get(), id, SND_PCM_STREAM_CAPTURE),
                firstPcm(control.get(), id, SND_PCM_STREAM_PLAYBACK)};
  if (card.capture.empty() && card.playback.empty()) return std::nullopt;
  return card;
}

std::string environment(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::string() : value;
}

/// Where a user writes down PCMs of their own. The system's own files mark many that are no devices.
std::vector<std::string> userFiles() {
  if (const auto path = environment("ALSA_CONFIG_PATH"); !path.empty()) return {path};
  const auto home = environment("HOME");
  const auto config = environment("XDG_CONFIG_HOME");
  return {"/etc/asound.conf", home + "/.asoundrc", (config.empty() ? home + "/.config" : config) + "/alsa/asoundrc"};
}

Config loadConfig(const std::string& file) {
  snd_config_t* created = nullptr;
  if (snd_config_top(&created) < 0) return nullptr;
  Config config(created);
  snd_input_t* opened = nullptr;
  int error = snd_input_stdio_open(&opened, file.c_str(), "r");
  if (error >= 0) {
    const std::unique_ptr<snd_input_t, CloseInput> input(opened);
    error = snd_config_load(config.get(), opened);
  }
  if (error >= 0) return config;
  warn("The ALSA configuration %@ cannot be read: %@.", file, snd_strerror(error));
  return nullptr;
}

bool isMarked(snd_config_t* pcm) {
  snd_config_t* show = nullptr;
  return snd_config_search(pcm, "hint.show", &show) == 0 && snd_config_get_bool(show) == 1;
}

std::string trimmed(std::string_view word) {
  const auto first = word.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return std::string(word.substr(first, word.find_last_not_of(" \t") - first + 1));
}

} // namespace

std::vector<AlsaName> alsaCards() {
  std::vector<AlsaName> cards;
  for (int number = -1; snd_card_next(&number) == 0 && number >= 0;) {
    auto card = describeCard(number);
    if (!card) continue;
    const auto same = std::ranges::count(cards, card->name, &AlsaName::name);
    if (same > 0) card->name += text(" (%i)", same + 1);
    cards.push_back(std::move(*card));
  }
  return cards;
}

std::vector<AlsaName> markedAlsaPcms() {
  std::vector<AlsaName> marked;
  for (const auto& file : userFiles()) {
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(file, ignored)) continue;
    const Config config = loadConfig(file);
    snd_config_t* pcms = nullptr;
    if (!config || snd_config_search(config.get(), "pcm", &pcms) != 0) continue;
    if (snd_config_get_type(pcms) != SND_CONFIG_TYPE_COMPOUND) continue;
    for (auto at = snd_config_iterator_first(pcms); at != snd_config_iterator_end(pcms);
         at = snd_config_iterator_next(at)) {
      snd_config_t* const pcm = snd_config_iterator_entry(at);
      const char* id = nullptr;
      if (!isMarked(pcm) || snd_config_get_id(pcm, &id) != 0) continue;
      marked.push_back({id, id, id});
    }
  }
  return marked;
}

std::vector<AlsaName> listedAlsaPcms(std::string_view list) {
  std::vector<AlsaName> listed;
  while (!list.empty()) {
    const auto end = std::min(list.find(','), list.size());
    if (const auto name = trimmed(list.substr(0, end)); !name.empty()) listed.push_back({name, name, name});
    list.remove_prefix(std::min(end + 1, list.size()));
  }
  return listed;
}

std::string alsaOwner(const std::string& pcm, bool captures, const std::string& folder) {
  const std::string prefix = "hw:CARD=";
  const auto comma = pcm.find(",DEV=");
  if (!pcm.starts_with(prefix) || comma == std::string::npos) return {};
  const auto card = pcm.substr(prefix.size(), comma - prefix.size());
  std::ifstream status(text("%@/%@/pcm%@%@/sub0/status", folder, card, pcm.substr(comma + 5), captures ? "c" : "p"));
  for (std::string word; status >> word;) {
    int process = 0;
    std::string name;
    if (word != "owner_pid" || !(status >> word >> process)) continue;
    std::ifstream("/proc/" + std::to_string(process) + "/comm") >> name;
    return name.empty() ? std::string() : text("%@ (process %i)", name, process);
  }
  return {};
}

} // namespace vurl
