#include "platform/SettingsLock.h"

#include "platform/Log.h"
#include "platform/SettingsFile.h"

#include <sys/file.h>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <utility>

namespace vurl {
namespace {

/// The file to lock: one beside the settings, or, where none can be made, the settings file itself, which cannot be
/// replaced by another there either. Returns -1, with errno, for none.
int openLockFile(const std::string& settings) {
  std::error_code ignored;
  std::filesystem::create_directories(std::filesystem::path(settings).parent_path(), ignored);
  const int beside = open((settings + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (beside >= 0) return beside;
  const int error = errno;
  const int itself = open(settings.c_str(), O_RDONLY | O_CLOEXEC);
  if (itself < 0) errno = error;
  return itself;
}

/// The process that has written its number into the lock file, in words.
std::string holderOf(int descriptor) {
  std::array<char, 24> bytes{};
  const ssize_t count = pread(descriptor, bytes.data(), bytes.size() - 1, 0);
  const int64_t pid = count > 0 ? leadingInteger(bytes.data()) : 0;
  return pid > 0 ? text(" (process %qi)", pid) : "";
}

bool isWritable(int descriptor) { return (fcntl(descriptor, F_GETFL) & O_ACCMODE) == O_RDWR; }

/// Tells those who come later. That it fails is no harm: they are told without the number.
void writeHolder(int descriptor) {
  if (!isWritable(descriptor)) return;
  const std::string pid = text("%i\n", getpid());
  if (ftruncate(descriptor, 0) < 0 || pwrite(descriptor, pid.data(), pid.size(), 0) < 0)
    log("The lock file could not be written, %s.", systemError(errno));
}

} // namespace

std::optional<SettingsLock> SettingsLock::take(const std::string& settings_path, std::string& reason) {
  if (settings_path.empty()) return SettingsLock(-1);
  const std::string settings = resolved(settings_path);
  SettingsLock lock(openLockFile(settings));
  if (lock.descriptor >= 0 && flock(lock.descriptor, LOCK_EX | LOCK_NB) == 0) {
    writeHolder(lock.descriptor);
    return lock;
  }
  if (lock.descriptor >= 0 && errno == EWOULDBLOCK) {
    reason = text("Another program%@ is recording with the settings %@. End it first, or record with other settings.",
                  isWritable(lock.descriptor) ? holderOf(lock.descriptor) : "", settings);
    return std::nullopt;
  }
  warn("The settings %@ could not be locked (%@): take care that no other program records with them.", settings,
       systemError(errno));
  return lock;
}

SettingsLock::SettingsLock(SettingsLock&& other) noexcept : descriptor(std::exchange(other.descriptor, -1)) {}

SettingsLock::~SettingsLock() {
  if (descriptor >= 0) close(descriptor);
}

} // namespace vurl
