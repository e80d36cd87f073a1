#include "app/FolderSpace.h"

#include "platform/Text.h"

#include <filesystem>

namespace vurl {

std::optional<uint64_t> freeSpaceOfFolder(const std::string& path) {
  const std::filesystem::path folder = expandTilde(path);
  std::error_code error;
  if (!std::filesystem::is_directory(folder, error)) return std::nullopt;
  const auto space = std::filesystem::space(folder, error);
  return error ? std::nullopt : std::optional<uint64_t>(space.available);
}

} // namespace vurl
