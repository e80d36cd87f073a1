#include "app/TakeReader.h"

#include "files/OutputFile.h"
#include "platform/Log.h"
#include "platform/NewThread.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <utility>

namespace vurl {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kPatience{2};
constexpr std::chrono::milliseconds kWait{20};

} // namespace

struct TakeReader::Shared {
  enum class Stage { salvaging, reading, over };

  Shared(const UserDefaults& users, std::vector<std::string> paths_of_folders, bool salvage, Lister file_lister)
      : blank(users), folders(std::move(paths_of_folders)), salvages(salvage), lister(std::move(file_lister)) {
    settings.registerDefaults(users.all());
  }

  /// What the thread does.
  void run() {
    std::vector<std::string> paths = list();
    if (salvages) completeAll(paths);
    enter(Stage::reading);
    for (const std::string& path : paths) {
      if (!begin(folderOf(path))) break;
      Header header{blank, 0};
      header.file = OutputFile::readHeader(path, header.record);
      if (header.file < 0) log("Not a take that can be listed: %@", path);
      const std::lock_guard lock(mutex);
      headers.push_back(std::move(header));
      changed.notify_one();
    }
    enter(Stage::over);
  }

  std::vector<std::string> list() {
    std::vector<std::string> paths;
    for (const std::string& folder : folders) {
      if (!begin(folder)) break;
      const int error = lister(folder, paths);
      if (error != 0) log("Could not open dir %@: %s", folder, systemError(error));
      const std::lock_guard lock(mutex);
      if (error == 0) last_folder = folder;
      nr_files = paths.size();
    }
    return paths;
  }

  void completeAll(const std::vector<std::string>& paths) {
    for (const std::string& path : paths) {
      if (!begin(folderOf(path)) || isSalvageOver()) break;
      Salvage found = salvageFile(path, settings, false);
      const bool has_failed = found.outcome == Salvage::Outcome::failed;
      if (has_failed && found.nr_frames == 0) {
        log("%@ cannot be looked at: %@", path, found.reason); // nobody knows whether it was cut off
        continue;
      }
      const std::lock_guard lock(mutex);
      if (has_failed || found.outcome == Salvage::Outcome::completed) salvaged.push_back(std::move(found));
    }
  }

  static std::string folderOf(const std::string& path) { return path.substr(0, path.find_last_of('/')); }

  /// Notes what the disk is asked about from now on. False when nobody wants to know any more.
  bool begin(const std::string& folder) {
    const std::lock_guard lock(mutex);
    asked_about = folder;
    asked_at = Clock::now();
    return !is_given_up;
  }

  bool isSalvageOver() {
    const std::lock_guard lock(mutex);
    return is_salvage_over;
  }

  void enter(Stage next) {
    const std::lock_guard lock(mutex);
    stage = next;
    changed.notify_all();
  }

  /// With the mutex held.
  bool isSilent() const { return stage != Stage::over && Clock::now() - asked_at > kPatience; }

  const MetaData blank; ///< knows the program's own settings, and does not look at them while a header is read
  const std::vector<std::string> folders;
  const bool salvages;
  const Lister lister;
  UserDefaults settings; ///< a copy, for the thread may outlive the program's own

  mutable std::mutex mutex; ///< guards what follows
  std::condition_variable changed;
  Stage stage = Stage::salvaging;
  std::string asked_about;
  Clock::time_point asked_at = Clock::now();
  size_t nr_files = 0;
  std::string last_folder;
  std::vector<Salvage> salvaged;
  std::deque<Header> headers;
  bool is_salvage_over = false;
  bool is_given_up = false;
};

TakeReader::TakeReader(const UserDefaults& defaults, std::vector<std::string> folders, bool salvages, Lister lister)
    : shared(std::make_shared<Shared>(defaults, std::move(folders), salvages, std::move(lister))),
      thread(newThread([state = shared] { state->run(); })) {
  if (!thread.joinable()) shared->run(); // rather late than not at all
}

TakeReader::~TakeReader() {
  if (!thread.joinable()) return;
  std::unique_lock lock(shared->mutex);
  shared->is_given_up = true;
  while (shared->stage != Shared::Stage::over && !shared->isSilent()) shared->changed.wait_for(lock, kWait);
  const bool is_over = shared->stage == Shared::Stage::over;
  lock.unlock();
  if (is_over) {
    thread.join();
  } else {
    log("%@ does not answer; its takes are not in the history.", silentFolder());
    thread.detach();
  }
}

void TakeReader::endSalvage() {
  const std::lock_guard lock(shared->mutex);
  shared->is_salvage_over = true;
}

bool TakeReader::isReading() const {
  const std::lock_guard lock(shared->mutex);
  return shared->stage != Shared::Stage::salvaging;
}

size_t TakeReader::nrFiles() const {
  const std::lock_guard lock(shared->mutex);
  return shared->nr_files;
}

std::string TakeReader::lastFolder() const {
  const std::lock_guard lock(shared->mutex);
  return shared->last_folder;
}

std::optional<TakeReader::Header> TakeReader::next() {
  const std::lock_guard lock(shared->mutex);
  if (shared->headers.empty()) return std::nullopt;
  std::optional<Header> header(std::move(shared->headers.front()));
  shared->headers.pop_front();
  return header;
}

void TakeReader::wait() {
  std::unique_lock lock(shared->mutex);
  shared->changed.wait_for(lock, kWait,
                           [this] { return !shared->headers.empty() || shared->stage == Shared::Stage::over; });
}

std::vector<Salvage> TakeReader::salvaged() const {
  const std::lock_guard lock(shared->mutex);
  return shared->salvaged;
}

std::string TakeReader::silentFolder() const {
  const std::lock_guard lock(shared->mutex);
  return shared->isSilent() ? shared->asked_about : "";
}

} // namespace vurl
