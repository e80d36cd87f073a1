#include "platform/Resources.h"

#include <filesystem>

namespace vurl {

std::optional<std::string> Resources::path(const std::string& name, const std::string& type) {
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) return std::nullopt;
  const auto resource = program.parent_path().parent_path() / "share" / "vurl-recorder" / (name + "." + type);
  if (!std::filesystem::is_regular_file(resource, error)) return std::nullopt;
  return resource.string();
}

} // namespace vurl
