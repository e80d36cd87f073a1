#include "platform/SettingsFile.h"

#include "platform/FileBytes.h"
#include "platform/Text.h"

#include <sys/file.h>
#include <sys/stat.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>

namespace vurl {
namespace {

constexpr std::chrono::milliseconds kPatience{1000};
constexpr std::chrono::milliseconds kRetryInterval{5};

int openFolderOf(const std::string& path) {
  const std::string folder = std::filesystem::path(path).parent_path().string();
  return open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

/// Writes `bytes` to `descriptor` and syncs it; returns 0 or the errno of the step that failed.
int writeAndSync(int descriptor, const std::string& bytes) {
  if (const int error = writeAll(descriptor, bytes); error != 0) return error;
  return fsync(descriptor) < 0 ? errno : 0;
}

} // namespace

std::string resolved(const std::string& path) {
  std::error_code failed;
  const std::filesystem::path target = std::filesystem::weakly_canonical(path, failed);
  return failed ? path : target.string();
}

int replaceFile(const std::string& name, const std::string& bytes) {
  const std::string path = resolved(name); // a link stays a link
  std::string fresh = path + ".XXXXXX";
  const int descriptor = mkostemp(fresh.data(), O_CLOEXEC);
  if (descriptor < 0) return errno;
  int error = writeAndSync(descriptor, bytes);
  if (close(descriptor) < 0 && error == 0) error = errno;
  if (error == 0 && rename(fresh.c_str(), path.c_str()) < 0) error = errno;
  if (error != 0) {
    unlink(fresh.c_str());
    return error;
  }
  const int folder_descriptor = openFolderOf(path);
  if (folder_descriptor < 0) return errno;
  error = fsync(folder_descriptor) < 0 ? errno : 0;
  close(folder_descriptor);
  return error == EINVAL ? 0 : error; // some file systems cannot sync a folder
}

std::optional<std::string> setAside(const std::string& path) {
  std::string aside = path + ".unreadable";
  for (int number = 2; access(aside.c_str(), F_OK) == 0; ++number) aside = text("%s.unreadable-%i", path, number);
  if (rename(path.c_str(), aside.c_str()) < 0) return std::nullopt;
  return aside;
}

FileStamp FileStamp::of(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) < 0) return {};
  return {status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

WriteTurn::WriteTurn(const std::string& path) : descriptor(openFolderOf(resolved(path))) {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (descriptor >= 0 && flock(descriptor, LOCK_EX | LOCK_NB) < 0 && errno == EWOULDBLOCK &&
         std::chrono::steady_clock::now() < end)
    std::this_thread::sleep_for(kRetryInterval);
}

WriteTurn::~WriteTurn() {
  if (descriptor >= 0) close(descriptor);
}

} // namespace vurl
