// Files that come with the program.
#pragma once

#include <optional>
#include <string>

namespace vurl {

class Resources {
public:
  /// The full path of resource `name` of `type`, for example path("userdefaults", "plist"), or nothing when the
  /// program was installed without it. The folder is ../share/vurl-recorder as seen from the program's own folder:
  /// the build tree is laid out as an installed prefix is. Any thread.
  static std::optional<std::string> path(const std::string& name, const std::string& type);
};

} // namespace vurl
