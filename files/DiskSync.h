// Brings takes from the system's memory to the disk itself, on a thread of its own that nobody waits for: while a take
// runs its data is written out about once a second, and its files are synced, once a second or, on a slow disk, for a
// fifth of the time; when they are closed they and their folders are synced. Without it half a minute of sound, or all
// that a young file holds, may be lost with the power, and a disk that fails says so to nobody. The engine
// (OutputFile.h) tells which files there are.
#pragma once

#include "files/FileLayer.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace vurl {

class DiskSync {
public:
  /// Told of a file that could not be brought to disk, with the errno. Called on the sync's thread, and must not wait.
  using Teller = std::function<void(const std::string& path, int error)>;

  static constexpr std::chrono::milliseconds kInterval{1000}; ///< between two writings-out of a take that runs
  static constexpr std::chrono::milliseconds kPatience{5000}; ///< with a disk that does not answer, at the end

  DiskSync(std::shared_ptr<FileLayer> layer, Teller teller, std::chrono::milliseconds patience = kPatience);

  /// Waits for what is still to be synced, `patience` at most. A thread whose disk does not answer is left behind,
  /// with a log line; it calls nobody any more.
  ~DiskSync();
  DiskSync(const DiskSync&) = delete;
  DiskSync& operator=(const DiskSync&) = delete;

  /// The file at `path` is being written. Thread: processing.
  void begin(const std::string& path);

  /// The files at `paths` are written and closed. Thread: processing.
  void end(const std::vector<std::string>& paths);

  /// Waits until all ended files are on disk or told as failed. False when that takes longer than `longest`. Thread:
  /// main.
  bool wait(std::chrono::milliseconds longest);

private:
  struct State;

  const std::chrono::milliseconds patience;
  const std::shared_ptr<State> state; ///< shared with the thread, which may outlive this object
  std::thread thread;
};

} // namespace vurl
