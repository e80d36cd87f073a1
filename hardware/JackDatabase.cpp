#include "hardware/JackDatabase.h"

#include "platform/Log.h"
#include "platform/Text.h"

#include <unistd.h>

#include <chrono>
#include <system_error>
#include <thread>
#include <vector>

namespace vurl {
namespace {

using Paths = std::vector<std::filesystem::path>;

constexpr std::chrono::seconds kPatience{1};
constexpr std::chrono::milliseconds kPause{20};

/// The parts that programs share; what is stored stands beside them.
Paths parts() {
  Paths found;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(JackDatabase::folder(), error), end; !error && entry != end;
       entry.increment(error))
    if (entry->path().filename().string().starts_with("__db.0")) found.push_back(entry->path());
  return found;
}

bool isUnfinished() {
  std::error_code error;
  for (const auto& path : parts())
    if (std::filesystem::file_size(path, error) == 0 && !error) return true;
  return false;
}

} // namespace

std::filesystem::path JackDatabase::folder() { return text("/dev/shm/jack_db-%i", static_cast<int64_t>(getuid())); }

void JackDatabase::mend() {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (isUnfinished() && std::chrono::steady_clock::now() < end) std::this_thread::sleep_for(kPause);
  if (!isUnfinished()) return;
  log("A program has died while it made JACK's database in %@; it is made anew.", folder().string());
  std::error_code error;
  for (const auto& path : parts()) std::filesystem::remove(path, error);
}

} // namespace vurl
