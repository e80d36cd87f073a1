#include "files/DiskSync.h"

#include "platform/Log.h"

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
#include <thread>
#include <utility>

namespace vurl {
namespace {

constexpr int kRest = 4; ///< times as long as the syncs of a running take have taken

std::string folderOf(const std::string& path) { return path.substr(0, path.find_last_of('/') + 1); }

} // namespace

struct DiskSync::State {
  std::mutex mutex; ///< guards what follows; never held during a call into the layer
  std::condition_variable changed;
  std::vector<std::string> begun; ///< not seen by the thread yet
  std::vector<std::string> ended;
  bool is_syncing = false; ///< files that had ended
  bool ends = false;
  bool has_ended = false;
  bool is_left_behind = false;
  Teller teller;

  std::shared_ptr<FileLayer> layer;  ///< the thread's from here on
  std::map<std::string, int> open;   ///< descriptors of the files that are being written
  std::set<std::string> new_folders; ///< of these files, not synced yet
  std::set<std::string> failed;      ///< of these files, told
  std::chrono::steady_clock::time_point next_sync;

  bool isSynced() const { return ended.empty() && !is_syncing; }
  void run();
  void follow(const std::vector<std::string>& files);
  void writeOut();
  void syncOpenFiles();
  void sync(const std::vector<std::string>& files);
  int syncFile(const std::string& path);
  void tell(const std::string& path, int error);
  void tellOnce(const std::string& path, int error) {
    if (failed.insert(path).second) tell(path, error);
  }
};

void DiskSync::State::run() {
  std::unique_lock lock(mutex);
  for (;;) {
    const auto is_called = [this] { return ends || !ended.empty() || !begun.empty(); };
    if (open.empty()) {
      changed.wait(lock, is_called);
    } else {
      changed.wait_for(lock, kInterval, is_called);
    }
    if (ends && ended.empty()) break;
    const auto new_files = std::exchange(begun, {});
    const auto done = std::exchange(ended, {});
    is_syncing = !done.empty();
    lock.unlock();
    follow(new_files);
    sync(done);
    writeOut();
    lock.lock();
    is_syncing = false;
    changed.notify_all();
  }
  lock.unlock();
  for (const auto& [path, descriptor] : open) [[maybe_unused]] const int result = layer->close(descriptor);
  lock.lock();
  has_ended = true;
  changed.notify_all();
}

/// A file that is open from the start can be synced whatever becomes of its name.
void DiskSync::State::follow(const std::vector<std::string>& files) {
  for (const std::string& path : files) {
    new_folders.insert(folderOf(path));
    const int descriptor = layer->openForReading(path);
    if (descriptor >= 0 && !open.emplace(path, descriptor).second) {
      [[maybe_unused]] const int result = layer->close(descriptor);
    }
  }
}

void DiskSync::State::writeOut() {
  for (const auto& [path, descriptor] : open) [[maybe_unused]] const int result = layer->startWriting(descriptor);
  if (!open.empty() && std::chrono::steady_clock::now() >= next_sync) syncOpenFiles();
}

/// Samples are found behind a power failure when the disk knows of their file, and how long it is. A disk that takes
/// its time for that gets more of it for the samples.
void DiskSync::State::syncOpenFiles() {
  const auto start = std::chrono::steady_clock::now();
  for (const auto& [path, descriptor] : open)
    if (layer->sync(descriptor) < 0) tellOnce(path, errno);
  for (const std::string& folder : std::exchange(new_folders, {}))
    if (layer->syncFolder(folder) < 0) tell(folder, errno);
  const auto end = std::chrono::steady_clock::now();
  next_sync = end + std::max<std::chrono::nanoseconds>(kInterval, kRest * (end - start));
}

void DiskSync::State::sync(const std::vector<std::string>& files) {
  std::set<std::string> folders;
  for (const std::string& path : files) {
    folders.insert(folderOf(path));
    if (const int error = syncFile(path); error != 0) tellOnce(path, error);
    failed.erase(path);
  }
  for (const std::string& folder : folders)
    if (layer->syncFolder(folder) < 0) tell(folder, errno);
}

/// Returns 0 or the errno. A file that is gone has been taken away by its user.
int DiskSync::State::syncFile(const std::string& path) {
  const auto known = open.find(path);
  const int descriptor = known != open.end() ? known->second : layer->openForReading(path);
  if (known != open.end()) open.erase(known);
  if (descriptor < 0) return errno == ENOENT ? 0 : errno;
  const int error = layer->sync(descriptor) < 0 ? errno : 0;
  const bool is_closed = layer->close(descriptor) == 0;
  return error != 0 || is_closed ? error : errno;
}

void DiskSync::State::tell(const std::string& path, int error) {
  log("%@ could not be brought to disk: %s", path, systemError(error));
  const std::lock_guard lock(mutex);
  if (!is_left_behind && teller) teller(path, error);
}

DiskSync::DiskSync(std::shared_ptr<FileLayer> layer, Teller teller, std::chrono::milliseconds at_the_end)
    : patience(at_the_end), state(std::make_shared<State>()) {
  state->layer = std::move(layer);
  state->teller = std::move(teller);
  thread = std::thread([its_state = state] { its_state->run(); });
}

DiskSync::~DiskSync() {
  std::unique_lock lock(state->mutex);
  state->ends = true;
  state->changed.notify_all();
  const bool has_ended = state->changed.wait_for(lock, patience, [this] { return state->has_ended; });
  state->is_left_behind = true;
  lock.unlock();
  if (has_ended) {
    thread.join();
  } else {
    log("A disk does not answer: the last take may not be on it yet");
    thread.detach();
  }
}

void DiskSync::begin(const std::string& path) {
  const std::lock_guard lock(state->mutex);
  state->begun.push_back(path);
  state->changed.notify_all();
}

void DiskSync::end(const std::vector<std::string>& paths) {
  const std::lock_guard lock(state->mutex);
  state->ended.insert(state->ended.end(), paths.begin(), paths.end());
  state->changed.notify_all();
}

bool DiskSync::wait(std::chrono::milliseconds longest) {
  std::unique_lock lock(state->mutex);
  return state->changed.wait_for(lock, longest, [this] { return state->isSynced(); });
}

} // namespace vurl
