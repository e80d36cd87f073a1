// What the writers of both header layouts share on top of the field writers. Any thread. Who uses it: BWFUtils and
// CAFUtils.
#pragma once

#include "files/utils.h"

#include <cstdint>
#include <string>

namespace vurl {

/// An offset in a header, as the field writers take it.
inline int32_t fieldOffset(int64_t offset) { return static_cast<int32_t>(offset); }

/// The four characters of a chunk's identifier.
inline int32_t addIdentifier(uint8_t* buffer, int64_t offset, const char* identifier) {
  return add_fixed_string(buffer, fieldOffset(offset), identifier, 4);
}

/// A text without an end.
inline int32_t addText(uint8_t* buffer, int32_t offset, const std::string& string) {
  return add_fixed_string(buffer, offset, string.c_str(), static_cast<int32_t>(string.size()));
}

} // namespace vurl
