#include "hardware/AlsaList.h"

#include "platform/Log.h"
#include "platform/Text.h"

#include <alsa/asoundlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <utility>

namespace vurl {
namespace {

constexpr std::string_view kPrefix = "hw:CARD=";
constexpr std::string_view kDevice = ",DEV=";

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

bool has(snd_ctl_t* control, snd_pcm_info_t* info, snd_pcm_stream_t direction) {
  snd_pcm_info_set_stream(info, direction);
  return snd_ctl_pcm_info(control, info) == 0;
}

std::vector<AlsaPcmInfo> pcmsOf(snd_ctl_t* control) {
  std::vector<AlsaPcmInfo> pcms;
  snd_pcm_info_t* info = nullptr;
  snd_pcm_info_alloca(&info);
  for (int number = -1; snd_ctl_pcm_next_device(control, &number) == 0 && number >= 0;) {
    snd_pcm_info_set_device(info, static_cast<unsigned>(number));
    snd_pcm_info_set_subdevice(info, 0);
    AlsaPcmInfo pcm;
    pcm.number = number;
    pcm.captures = has(control, info, SND_PCM_STREAM_CAPTURE);
    if (pcm.captures) pcm.name = snd_pcm_info_get_name(info);
    pcm.plays = has(control, info, SND_PCM_STREAM_PLAYBACK);
    if (pcm.plays && pcm.name.empty()) pcm.name = snd_pcm_info_get_name(info);
    pcms.push_back(std::move(pcm));
  }
  return pcms;
}

struct Card {
  std::string name;
  std::string identifier;
  std::vector<AlsaPcmInfo> pcms;
};

/// Nothing when the card has been removed meanwhile.
std::optional<Card> askCard(int number) {
  snd_ctl_t* opened = nullptr;
  if (snd_ctl_open(&opened, text("hw:%i", number).c_str(), SND_CTL_NONBLOCK) < 0) return std::nullopt;
  const std::unique_ptr<snd_ctl_t, CloseControl> control(opened);
  snd_ctl_card_info_t* info = nullptr;
  snd_ctl_card_info_alloca(&info);
  if (snd_ctl_card_info(control.get(), info) < 0) return std::nullopt;
  return Card{snd_ctl_card_info_get_name(info), snd_ctl_card_info_get_id(info), pcmsOf(control.get())};
}

/// The card's control file is made anew each time.
uint64_t pluggingOf(int number) {
  struct stat found {};
  return ::stat(text("/dev/snd/controlC%i", number).c_str(), &found) == 0 ? found.st_ino : 0;
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

std::vector<AlsaName> devicesOfCard(const std::string& card, const std::string& identifier,
                                    const std::vector<AlsaPcmInfo>& pcms) {
  const auto pcmName = [&](const AlsaPcmInfo& pcm) {
    return text("%@%@%@%i", kPrefix, identifier, kDevice, pcm.number);
  };
  const auto first_in = std::ranges::find(pcms, true, &AlsaPcmInfo::captures);
  const auto first_out = std::ranges::find(pcms, true, &AlsaPcmInfo::plays);
  std::vector<AlsaName> devices;
  if (first_in == pcms.end() && first_out == pcms.end()) return devices;
  devices.push_back(
      {card, first_in == pcms.end() ? "" : pcmName(*first_in), first_out == pcms.end() ? "" : pcmName(*first_out)});
  for (auto pcm = pcms.begin(); pcm != pcms.end(); ++pcm) {
    const bool captures = pcm->captures && pcm != first_in;
    const bool plays = pcm->plays && pcm != first_out;
    if (!captures && !plays) continue;
    auto name = text("%@, %@", card, pcm->name.empty() ? text("PCM %i", pcm->number) : pcm->name);
    if (std::ranges::count(devices, name, &AlsaName::name) > 0) name += text(" (PCM %i)", pcm->number);
    devices.push_back({name, captures ? pcmName(*pcm) : "", plays ? pcmName(*pcm) : ""});
  }
  return devices;
}

std::optional<AlsaPlace> placeOfPcm(const std::string& pcm) {
  const auto comma = pcm.find(kDevice);
  if (!pcm.starts_with(kPrefix) || comma == std::string::npos) return std::nullopt;
  return AlsaPlace{pcm.substr(kPrefix.size(), comma - kPrefix.size()), std::atoi(&pcm[comma + kDevice.size()])};
}

std::vector<AlsaName> alsaCards() {
  std::vector<AlsaName> devices;
  std::vector<std::string> names;
  for (int number = -1; snd_card_next(&number) == 0 && number >= 0;) {
    const uint64_t plugging = pluggingOf(number);
    const auto card = askCard(number);
    if (!card) continue;
    const auto same = std::ranges::count(names, card->name);
    names.push_back(card->name);
    for (auto& device :
         devicesOfCard(same > 0 ? text("%@ (%i)", card->name, same + 1) : card->name, card->identifier, card->pcms)) {
      device.plugging = plugging;
      devices.push_back(std::move(device));
    }
  }
  return devices;
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

} // namespace vurl
