#include "platform/OwnLinks.h"

#include "platform/Descriptor.h"

#include <sys/stat.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <filesystem>
#include <optional>
#include <string_view>

namespace vurl {
namespace {

constexpr int kMostLinks = 40; ///< in a row, as the system itself follows them

/// Where the link at `path` points. Its owner and its text are read from one and the same link.
std::optional<std::string> targetOfOwnLink(const std::string& path) {
  const Descriptor link(open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  struct stat status {};
  if (!link.isOpen() || fstat(link.get(), &status) != 0 || !S_ISLNK(status.st_mode)) return std::nullopt;
  if (status.st_uid != geteuid() && status.st_uid != 0) return std::nullopt;
  char target[PATH_MAX];
  const ssize_t size = readlinkat(link.get(), "", target, sizeof target);
  if (size <= 0 || size == sizeof target) return std::nullopt;
  const std::string_view text(target, static_cast<size_t>(size));
  return (std::filesystem::path(path).parent_path() / text).string();
}

} // namespace

int openPastOwnLinks(const std::string& path, int flags) {
  std::string place = path;
  for (int nr_links = 0; nr_links <= kMostLinks; ++nr_links) {
    const int descriptor = open(place.c_str(), flags | O_NOFOLLOW | O_CLOEXEC, 0666);
    if (descriptor >= 0 || errno != ELOOP) return descriptor;
    const auto target = targetOfOwnLink(place);
    if (!target) break;
    place = *target;
  }
  errno = ELOOP;
  return -1;
}

} // namespace vurl
