#include "app/DiskWatch.h"

#include "platform/Log.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace vurl {

struct DiskWatch::Shared {
  struct Answer {
    bool asking = false;
    std::optional<DiskRoom> room;
    bool had_own_disk = false;
  };

  mutable std::mutex mutex;
  std::map<std::string, Answer> answers;
};

DiskWatch::DiskWatch(Asker who_asks) : asker(std::move(who_asks)), shared(std::make_shared<Shared>()) {}

DiskWatch::~DiskWatch() = default;

void DiskWatch::ask(const std::vector<std::string>& paths) {
  const std::lock_guard lock(shared->mutex);
  std::erase_if(shared->answers, [&](const auto& known) {
    return !known.second.asking && std::find(paths.begin(), paths.end(), known.first) == paths.end();
  });
  for (const std::string& path : paths) {
    auto& answer = shared->answers[path];
    if (answer.asking) continue;
    try {
      std::thread([state = shared, ask_about = asker, path] {
        auto room = ask_about(path);
        const std::lock_guard answered(state->mutex);
        const bool had = state->answers[path].had_own_disk;
        if (room) room->has_lost_disk = had && room->is_system;
        state->answers[path] = {false, room, had || (room && room->disk != 0 && !room->is_system)};
      }).detach();
      answer.asking = true;
    } catch (const std::system_error& error) {
      log("The disks could not be asked for their room: %s", error.what());
    }
  }
}

DiskWatch::Rooms DiskWatch::answers(const std::vector<std::string>& paths) const {
  const std::lock_guard lock(shared->mutex);
  Rooms rooms;
  rooms.reserve(paths.size());
  for (const std::string& path : paths) {
    const auto found = shared->answers.find(path);
    rooms.push_back(found == shared->answers.end() ? std::nullopt : found->second.room);
  }
  return rooms;
}

} // namespace vurl
