// Fields of file headers as strings, so that a test writes a header down as it stands on disk.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>

namespace vurl {

/// The low bytes of `value`, least significant first as in this machine.
inline std::string le(uint64_t value, size_t size = 4) { return {reinterpret_cast<const char*>(&value), size}; }

/// The same, the other way round.
inline std::string be(uint64_t value, size_t size = 4) {
  std::string bytes = le(value, size);
  std::reverse(bytes.begin(), bytes.end());
  return bytes;
}

inline std::string field(const std::string& value, size_t width) {
  return value + std::string(width - value.size(), '\0');
}

} // namespace vurl
