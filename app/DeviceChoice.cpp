#include "app/DeviceChoice.h"

#include "platform/Text.h"

#include <algorithm>
#include <cctype>

namespace vurl {
namespace {

std::string lowered(std::string string) {
  std::transform(string.begin(), string.end(), string.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return string;
}

std::string listed(const std::vector<std::string>& names) {
  std::string list;
  for (const std::string& name : names) list += (list.empty() ? "\"" : ", \"") + name + "\"";
  return list.empty() ? "none" : list;
}

} // namespace

std::optional<size_t> findByName(const std::vector<std::string>& names, const std::string& wanted, const char* kind,
                                 std::string& reason) {
  std::vector<size_t> holding;
  for (size_t i = 0; i < names.size(); ++i) {
    if (lowered(names[i]) == lowered(wanted)) return i;
    if (!wanted.empty() && lowered(names[i]).find(lowered(wanted)) != std::string::npos) holding.push_back(i);
  }
  if (holding.size() == 1) return holding[0];
  std::vector<std::string> meant(holding.size());
  std::transform(holding.begin(), holding.end(), meant.begin(), [&](size_t i) { return names[i]; });
  reason = holding.empty() ? text("There is no %@ \"%@\". There are: %@.", kind, wanted, listed(names))
                           : text("More than one %@ is meant by \"%@\": %@.", kind, wanted, listed(meant));
  return std::nullopt;
}

} // namespace vurl
