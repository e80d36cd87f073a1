#include "app/SystemChecks.h"

#include "engine/AudioRing.h"
#include "platform/RealTime.h"
#include "platform/SleepInhibitor.h"
#include "platform/Text.h"

#include <sys/mman.h>
#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <set>
#include <thread>

namespace vurl {
namespace {

using Mark = Finding::Mark;

constexpr std::chrono::seconds kPatience{2};
constexpr int64_t kMebibyte = 1 << 20;

/// 0, or the error number of the lock. No page is touched.
int tryToLock(size_t size) {
  void* const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (memory == MAP_FAILED) return errno;
  const int error = mlock2(memory, size, MLOCK_ONFAULT) == 0 ? 0 : errno;
  munmap(memory, size);
  return error;
}

std::string lockLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_MEMLOCK, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return "";
  return text(" (the limit is %qu MiB)", limit.rlim_cur / static_cast<rlim_t>(kMebibyte));
}

} // namespace

Finding checkRealTime() {
  std::string reason;
  auto way = RealTime::Way::none;
  std::thread([&] { way = RealTime::request(reason); }).join();
  switch (way) {
  case RealTime::Way::own_right: return {"real_time", Mark::fine, "Audio threads get real-time priority.", ""};
  case RealTime::Way::service:
    return {"real_time", Mark::fine, "Audio threads get real-time priority from RealtimeKit.", ""};
  default:
    return {"real_time", Mark::change,
            text("Audio threads get no real-time priority: other programs may make them late (%s).", reason),
            realTimeAdvice()};
  }
}

Finding checkLockedMemory(int64_t nr_channels) {
  const int64_t channels = std::clamp<int64_t>(nr_channels, 1, AudioRing::kMaxChannels);
  const int64_t size = channels * AudioRing::kRingSamples * int64_t{sizeof(float)};
  const std::string need = text("the %qu MiB that %qu channels need", size / kMebibyte, channels);
  const int error = tryToLock(static_cast<size_t>(size));
  if (error == 0) return {"locked_memory", Mark::fine, text("The ring can lock %s.", need), ""};
  return {"locked_memory", Mark::change,
          text("The ring cannot lock %s%s: when memory runs short, sound may be lost. %s.", need, lockLimit(),
               systemError(error)),
          realTimeAdvice()};
}

Finding checkProcessors(const std::string& folder) {
  std::set<std::string> governors;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    std::ifstream file(entry.path() / "cpufreq" / "scaling_governor");
    if (std::string name; file >> name) governors.insert(name);
  }
  if (governors.empty())
    return {"processor", Mark::note, "The system does not tell how it drives the processors' speed.", ""};
  std::string names;
  for (const auto& name : governors) names += (names.empty() ? "" : ", ") + name;
  if (names == "performance") return {"processor", Mark::fine, "The processors' governor is performance.", ""};
  return {"processor", Mark::change,
          text("The processors' governor is %s: they are slow when a burst of work begins.", names),
          "Choose the governor performance: \"powerprofilesctl set performance\", or \"sudo cpupower frequency-set -g "
          "performance\" (package linux-cpupower)."};
}

Finding checkSleep() {
  const BusReply reply = callSystemBus(inhibitSleep(), kPatience);
  if (reply.descriptor.isOpen())
    return {"sleep", Mark::fine, "The computer does not fall asleep by itself while a recorder runs.", ""};
  return {"sleep", Mark::change, text("The computer cannot be kept from falling asleep (%s).", reply.error),
          "Switch automatic suspend off in the desktop's power settings."};
}

} // namespace vurl
