#include "app/Startup.h"

#include "app/SettingsKeys.h"
#include "platform/Text.h"

#include <sys/resource.h>

#include <csignal>

namespace vurl {

void prepareProcess() {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  for (const auto resource : {RLIMIT_NOFILE, RLIMIT_MEMLOCK, RLIMIT_RTPRIO}) {
    rlimit limit{};
    if (getrlimit(resource, &limit) != 0 || limit.rlim_cur == limit.rlim_max) continue;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(resource, &limit);
  }
}

bool applySettings(UserDefaults& defaults, const std::vector<std::string>& settings, std::string& reason) {
  for (const std::string& setting : settings) {
    const size_t equals = setting.find('=');
    std::string fault = "it is written KEY=VALUE.";
    const auto value = equals == std::string::npos
                           ? std::nullopt
                           : parseSetting(setting.substr(0, equals), setting.substr(equals + 1), fault);
    if (!value) {
      reason = text("--set %@: %@", setting, fault);
      return false;
    }
    defaults.setForRun(*value, setting.substr(0, equals));
  }
  return true;
}

} // namespace vurl
