#include "app/DiskWatch.h"

#include "platform/Log.h"

#include <map>
#include <mutex>
#include <system_error>
#include <thread>

namespace vurl {

struct DiskWatch::Shared {
  mutable std::mutex mutex;
  bool asking = false;
  std::map<std::string, std::optional<DiskRoom>> rooms;
};

DiskWatch::DiskWatch() : shared(std::make_shared<Shared>()) {}

DiskWatch::~DiskWatch() = default;

void DiskWatch::ask(const std::vector<std::string>& paths) {
  {
    const std::lock_guard lock(shared->mutex);
    if (shared->asking) return;
    shared->asking = true;
  }
  try {
    std::thread([state = shared, paths] {
      std::map<std::string, std::optional<DiskRoom>> rooms;
      for (const std::string& path : paths) rooms[path] = diskRoom(path);
      const std::lock_guard lock(state->mutex);
      state->rooms = std::move(rooms);
      state->asking = false;
    }).detach();
  } catch (const std::system_error& error) {
    log("The disks could not be asked for their room: %s", error.what());
    const std::lock_guard lock(shared->mutex);
    shared->asking = false;
  }
}

DiskWatch::Rooms DiskWatch::answers(const std::vector<std::string>& paths) const {
  const std::lock_guard lock(shared->mutex);
  Rooms rooms;
  rooms.reserve(paths.size());
  for (const std::string& path : paths) {
    const auto found = shared->rooms.find(path);
    rooms.push_back(found == shared->rooms.end() ? std::nullopt : found->second);
  }
  return rooms;
}

} // namespace vurl
