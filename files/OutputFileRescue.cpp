// What can be done for a take when a disk does not answer and the user will not wait, and what is said of one that had
// to go without a header.
#include "files/BWFUtils.h"
#include "files/OutputFile.h"
#include "platform/Text.h"

#include <sys/stat.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <filesystem>
#include <system_error>

namespace vurl {
namespace {

/// Shared with threads that may hang until the process is gone.
struct Rescue {
  std::mutex mutex;
  std::condition_variable done;
  int32_t nr_waiting = 0;
};

/// No link that has taken the file's name since is followed. Also cuts off what no header tells of: the block that the
/// file has received and a later one of the take has not.
bool writeHeaderInto(const std::string& path, const std::vector<uint8_t>& area, int64_t file_size) {
  PosixFileLayer layer;
  const int descriptor = open(path.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) return false;
  struct stat about {};
  bool is_written = fstat(descriptor, &about) == 0 && S_ISREG(about.st_mode) && about.st_size >= file_size;
  is_written = is_written && writeAll(layer, descriptor, area.data(), area.size()) == 0;
  if (is_written && about.st_size > file_size) is_written = ftruncate(descriptor, file_size) == 0;
  return close(descriptor) == 0 && is_written;
}

void writeOnAThread(const std::shared_ptr<Rescue>& rescue, const std::string& path, std::vector<uint8_t> area,
                    int64_t file_size) {
  try {
    std::thread([rescue, path, area = std::move(area), file_size] {
      if (!writeHeaderInto(path, area, file_size)) return; // counts as one that hangs: it has no header
      const std::lock_guard lock(rescue->mutex);
      rescue->nr_waiting -= 1;
      rescue->done.notify_one();
    }).detach();
  } catch (const std::system_error&) { // no more threads: the header stays as it was
  }
}

} // namespace

/// To a reason that speaks of something else: the start of the program looks for such files.
void OutputFile::addAdvice(int nr_without_header) {
  const std::lock_guard lock(reason_mutex);
  if (!held_reason) return;
  *held_reason += text(" %i files have got no header: when their disk is in order, start the program again, which "
                       "completes them.",
                       nr_without_header);
}

void OutputFile::noteFolders() {
  std::vector<std::string> folders;
  folders.reserve(static_cast<size_t>(std::max(meta_data->nrFiles(), 0)));
  for (int32_t file = 0; file < meta_data->nrFiles(); ++file) {
    folders.push_back(std::filesystem::path(meta_data->filenameForFile(file)).parent_path().string());
  }
  const std::lock_guard lock(reason_mutex);
  folders_of_files = std::move(folders);
}

std::string OutputFile::folderAtWork() const {
  const int32_t file = file_at_work.load(std::memory_order_acquire);
  const std::lock_guard lock(reason_mutex);
  if (file < 0 || static_cast<size_t>(file) >= folders_of_files.size()) return "";
  return folders_of_files[static_cast<size_t>(file)];
}

/// The files are opened anew: their descriptors are the processing thread's.
bool OutputFile::rescueHeaders(std::chrono::milliseconds patience) const {
  const State now = state();
  if (now < RUNNING_RECORDING || now > STOPPING_RECORDING) return true;
  const int64_t nr_written = nrSamples(); // first: with it the processing thread has handed over the record
  MetaData take = *meta_data;
  take.setNrSamples(nr_written);
  const auto rescue = std::make_shared<Rescue>();
  rescue->nr_waiting = take.nrFiles();
  for (int32_t file = 0; file < take.nrFiles(); ++file) {
    std::vector<uint8_t> area(static_cast<size_t>(kHeaderSize));
    addHeader(area.data(), take, file);
    writeOnAThread(rescue, take.filenameForFile(file), std::move(area), take.fileSizeForFile(file));
  }
  std::unique_lock lock(rescue->mutex);
  return rescue->done.wait_for(lock, patience, [&] { return rescue->nr_waiting == 0; });
}

} // namespace vurl
