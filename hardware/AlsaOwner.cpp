#include "hardware/AlsaOwner.h"

#include "hardware/AlsaList.h"
#include "platform/Text.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string_view>

namespace vurl {
namespace {

/// What stands behind "NAME:" in the file, without the space before it; empty when there is no such line.
std::string valueIn(const std::string& file, std::string_view name) {
  std::ifstream lines(file);
  for (std::string line; std::getline(lines, line);) {
    const auto colon = line.find(':');
    if (colon == std::string::npos || !line.starts_with(name)) continue;
    if (line.find_first_not_of(" \t", name.size()) != colon) continue;
    const auto first = line.find_first_not_of(" \t", colon + 1);
    return first == std::string::npos ? std::string() : line.substr(first);
  }
  return {};
}

/// The card may name the thread that opened it, which need not be called as its program is.
std::string describeProcess(const std::string& owner, const std::string& system) {
  const auto process = valueIn(text("%@/%@/status", system, owner), "Tgid");
  const auto name = valueIn(text("%@/%@/status", system, process), "Name");
  return name.empty() ? std::string() : text("%@ (process %@)", name, process);
}

} // namespace

std::string alsaOwner(const std::string& pcm, bool captures, const std::string& system) {
  const auto place = placeOfPcm(pcm);
  if (!place) return {};
  const auto folder = text("%@/asound/%@/pcm%i%@", system, place->card, place->number, captures ? "c" : "p");
  std::error_code error;
  for (std::filesystem::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
    const auto owner = valueIn((at->path() / "status").string(), "owner_pid");
    if (auto found = owner.empty() ? std::string() : describeProcess(owner, system); !found.empty()) return found;
  }
  return {};
}

} // namespace vurl
