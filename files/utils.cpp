#include "files/utils.h"

#include "platform/FileBytes.h"
#include "platform/Log.h"
#include "platform/OwnLinks.h"

#include <fcntl.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <cstring>

namespace vurl {
namespace {

int32_t addLittleEndian(uint8_t* buffer, int32_t offset, uint64_t value, int32_t size) noexcept {
  for (int32_t i = 0; i < size; i++) buffer[offset + i] = static_cast<uint8_t>(value >> (8 * i));
  return offset + size;
}

int32_t addBigEndian(uint8_t* buffer, int32_t offset, uint64_t value, int32_t size) noexcept {
  for (int32_t i = 0; i < size; i++) buffer[offset + i] = static_cast<uint8_t>(value >> (8 * (size - 1 - i)));
  return offset + size;
}

template <typename Value>
int32_t getLittleEndian(const uint8_t* buffer, int32_t offset, Value& value) noexcept {
  constexpr int32_t kSize = sizeof(Value);
  uint64_t bits = 0;
  for (int32_t i = kSize - 1; i >= 0; i--) bits = bits << 8 | buffer[offset + i];
  value = static_cast<Value>(bits);
  return offset + kSize;
}

/// Copies from one descriptor to the other. Returns the message of what failed, with errno, or nullptr.
const char* copyBytes(int source, int destination) noexcept {
  char block[8192];
  ssize_t size = sizeof block;
  while (size == sizeof block) {
    size = read(source, block, sizeof block);
    if (size < 0) return "Could not read src for copy %s: %s";
    if (const int error = writeAll(destination, {block, static_cast<size_t>(size)}); error != 0) {
      errno = error;
      return "Could not write dst for copy %s: %s";
    }
  }
  return nullptr;
}

} // namespace

int32_t add_uint64_le(uint8_t* buffer, int32_t offset, uint64_t value) noexcept {
  return addLittleEndian(buffer, offset, value, 8);
}

int32_t add_uint64_be(uint8_t* buffer, int32_t offset, uint64_t value) noexcept {
  return addBigEndian(buffer, offset, value, 8);
}

int32_t add_sint64_be(uint8_t* buffer, int32_t offset, int64_t value) noexcept {
  return addBigEndian(buffer, offset, static_cast<uint64_t>(value), 8);
}

int32_t add_float64_be(uint8_t* buffer, int32_t offset, double value) noexcept {
  return addBigEndian(buffer, offset, std::bit_cast<uint64_t>(value), 8);
}

int32_t add_uint32_le(uint8_t* buffer, int32_t offset, uint32_t value) noexcept {
  return addLittleEndian(buffer, offset, value, 4);
}

int32_t add_uint32_be(uint8_t* buffer, int32_t offset, uint32_t value) noexcept {
  return addBigEndian(buffer, offset, value, 4);
}

int32_t add_uint16_le(uint8_t* buffer, int32_t offset, int32_t value) noexcept {
  return addLittleEndian(buffer, offset, static_cast<uint64_t>(value), 2);
}

int32_t add_uint16_be(uint8_t* buffer, int32_t offset, int32_t value) noexcept {
  return addBigEndian(buffer, offset, static_cast<uint64_t>(value), 2);
}

int32_t add_uint8(uint8_t* buffer, int32_t offset, int32_t value) noexcept {
  return addLittleEndian(buffer, offset, static_cast<uint64_t>(value), 1);
}

int32_t add_fixed_string(uint8_t* buffer, int32_t offset, const char* string, int32_t size) noexcept {
  const size_t width = static_cast<size_t>(size);
  const size_t length = strnlen(string, width);
  std::memcpy(buffer + offset, string, length);
  std::memset(buffer + offset + length, 0, width - length);
  return offset + size;
}

int32_t add_string(uint8_t* buffer, int32_t offset, const char* string) noexcept {
  return add_fixed_string(buffer, offset, string, static_cast<int32_t>(std::strlen(string)) + 1);
}

int32_t get_uint64_le(const uint8_t* buffer, int32_t offset, uint64_t& value) noexcept {
  return getLittleEndian(buffer, offset, value);
}

int32_t get_uint32_le(const uint8_t* buffer, int32_t offset, uint32_t& value) noexcept {
  return getLittleEndian(buffer, offset, value);
}

int32_t get_uint32_be(const uint8_t* buffer, int32_t offset, uint32_t& value) noexcept {
  value = 0;
  for (int32_t i = 0; i < 4; i++) value = value << 8 | buffer[offset + i];
  return offset + 4;
}

int32_t get_uint16_le(const uint8_t* buffer, int32_t offset, uint16_t& value) noexcept {
  return getLittleEndian(buffer, offset, value);
}

int32_t copy(const char* path1, const char* path2) {
  const auto failed = [path1](const char* message) {
    log(message, path1, systemError(errno));
    return -1;
  };
  const int source = open(path1, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (source < 0) return failed("Could not open src for copy %s: %s");
  const int destination = openPastOwnLinks(path2, O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK);
  if (destination < 0) {
    const int32_t result = failed("Could not open dst for copy %s: %s");
    close(source);
    return result;
  }
  int32_t result = 0;
  const auto check = [&](const char* message) {
    if (message != nullptr && result == 0) result = failed(message);
  };
  check(copyBytes(source, destination));
  check(close(source) == 0 ? nullptr : "Could not close src for copy %s: %s");
  check(close(destination) == 0 ? nullptr : "Could not close dst for copy %s: %s");
  return result;
}

} // namespace vurl
