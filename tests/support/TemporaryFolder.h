// A folder of its own for each test, gone afterwards with all that is in it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace vurl {

class TemporaryFolder {
public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "vurl-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::filesystem::filesystem_error(name, {});
    path = name;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  TemporaryFolder(TemporaryFolder&&) = delete;

  std::string file(const std::string& name) const { return (path / name).string(); }

  std::filesystem::path path;
};

/// All bytes of a file; empty when it cannot be read.
inline std::string fileBytes(const std::string& path) {
  std::stringstream bytes;
  bytes << std::ifstream(path, std::ios::binary).rdbuf();
  return bytes.str();
}

inline void writeFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

} // namespace vurl
