// Asks how much room the disks under some folders have, on a thread of its own: a network disk that has gone away must
// not hold up the main loop, and STOP with it. Thread: main.
#pragma once

#include "app/TakeFolders.h"

#include <memory>
#include <string>
#include <vector>

namespace vurl {

class DiskWatch {
public:
  DiskWatch();
  ~DiskWatch();
  DiskWatch(const DiskWatch&) = delete;
  DiskWatch& operator=(const DiskWatch&) = delete;

  using Rooms = std::vector<std::optional<DiskRoom>>;

  /// Starts a question about `paths`; nothing while the last one is unanswered. Returns at once.
  void ask(const std::vector<std::string>& paths);

  /// The last answer for each of `paths`; nothing for one that has not been answered yet.
  Rooms answers(const std::vector<std::string>& paths) const;

private:
  struct Shared;
  std::shared_ptr<Shared> shared; ///< with the thread that asks, which may hang longer than the program runs
};

} // namespace vurl
