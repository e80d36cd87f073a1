#include "hardware/JackServerList.h"

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

namespace vurl {
namespace {

constexpr unsigned long kListening = 0x10000;

/// The server's name in a socket path "FOLDER/jack_NAME_USER_NUMBER"; empty for any other path.
std::string serverName(const std::string& path, uint32_t user) {
  const std::string prefix = "/jack_";
  const std::string user_part = "_" + std::to_string(user);
  const auto begin = path.rfind(prefix);
  const auto number = path.rfind('_');
  if (begin == std::string::npos || path.find('/', begin + 1) != std::string::npos) return {};
  const auto name = begin + prefix.size();
  if (number < name + user_part.size()) return {};
  const auto end = number - user_part.size();
  return path.compare(end, user_part.size(), user_part) == 0 ? path.substr(name, end - name) : std::string();
}

} // namespace

std::vector<std::string> jackServersIn(std::istream& table, uint32_t user) {
  std::set<std::string> names;
  for (std::string line; std::getline(table, line);) {
    std::istringstream fields(line);
    std::string number, references, protocol, flags, type, state, inode, path;
    if (!(fields >> number >> references >> protocol >> flags >> type >> state >> inode >> path)) continue;
    if ((std::strtoul(flags.c_str(), nullptr, 16) & kListening) == 0) continue;
    if (auto name = serverName(path, user); !name.empty()) names.insert(std::move(name));
  }
  return {names.begin(), names.end()};
}

std::vector<std::string> runningJackServers() {
  std::ifstream table("/proc/net/unix");
  return jackServersIn(table, getuid());
}

std::string defaultJackServer() {
  const char* const name = std::getenv("JACK_DEFAULT_SERVER");
  return name != nullptr && *name != '\0' ? name : "default";
}

} // namespace vurl
