// Asks how much room the disks under some folders have, on a thread for each: a network disk that has gone away must
// hold up neither the main loop, and STOP with it, nor the answers of the others. Thread: main.
#pragma once

#include "app/TakeFolders.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vurl {

class DiskWatch {
public:
  /// Asks about one folder, as diskRoom() does; tests bring their own.
  using Asker = std::function<std::optional<DiskRoom>(const std::string& path)>;

  explicit DiskWatch(Asker asker = diskRoom);
  ~DiskWatch();
  DiskWatch(const DiskWatch&) = delete;
  DiskWatch& operator=(const DiskWatch&) = delete;

  using Rooms = std::vector<std::optional<DiskRoom>>;

  /// Starts a question about each of `paths` but those whose last one is unanswered. Answers about other folders are
  /// forgotten. Returns at once.
  void ask(const std::vector<std::string>& paths);

  /// The last answer for each of `paths`; nothing for one that has not been answered yet.
  Rooms answers(const std::vector<std::string>& paths) const;

private:
  struct Shared;
  const Asker asker;
  std::shared_ptr<Shared> shared; ///< with the threads that ask, which may hang longer than the program runs
};

} // namespace vurl
