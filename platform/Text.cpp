#include "platform/Text.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <utility>
#include <vector>

namespace vurl {
namespace {

/// The printf format for fmt: "%@" becomes "%s", "%qu" and "%qi" become "%d" with fmt's own knowledge of the type.
std::string plainFormat(std::string_view format) {
  std::string plain;
  plain.reserve(format.size());
  for (size_t i = 0; i < format.size(); ++i) {
    plain += format[i];
    if (format[i] != '%' || i + 1 == format.size()) continue;
    if (format[i + 1] == '@') {
      plain += 's';
      ++i;
    } else if (format[i + 1] == 'q') {
      ++i;
    } else if (format[i + 1] == '%') {
      plain += '%';
      ++i;
    }
  }
  return plain;
}

/// Whether code point `c` does something to a terminal rather than to be read: C0 and C1 controls, marks and overrides
/// of the direction, separators of lines.
bool isControl(uint32_t c) noexcept {
  constexpr std::pair<uint32_t, uint32_t> kRanges[] = {
      {0, 0x1F}, {0x7F, 0x9F}, {0x200E, 0x200F}, {0x2028, 0x202E}, {0x2066, 0x2069}};
  return std::any_of(std::begin(kRanges), std::end(kRanges),
                     [c](const auto& range) { return c >= range.first && c <= range.second; });
}

/// The number of the code point that has `bytes`, two of them or more.
uint32_t codePoint(std::string_view bytes) noexcept {
  uint32_t value = static_cast<unsigned char>(bytes[0]) & (0xFFU >> (bytes.size() + 1));
  for (const char byte : bytes.substr(1)) value = value << 6 | (static_cast<unsigned char>(byte) & 0x3FU);
  return value;
}

/// The length of the code point that `string` (not empty) begins with; 1 for a byte that begins none.
size_t codePointLength(std::string_view string) noexcept {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(string[i]); };
  const unsigned first = byte(0);
  const size_t length = first < 0xC2 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : first < 0xF5 ? 4 : 1;
  if (length > string.size()) return 1;
  const unsigned lowest = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;  // else it could be said in fewer bytes
  const unsigned highest = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF; // surrogates; beyond U+10FFFF
  if (length > 1 && (byte(1) < lowest || byte(1) > highest)) return 1;
  for (size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0U) != 0x80U) return 1;
  }
  return length;
}

} // namespace

std::string expandText(std::string_view format, fmt::printf_args arguments) noexcept {
  try {
    return fmt::vsprintf(std::string_view(plainFormat(format)), arguments);
  } catch (...) {
    return std::string(format);
  }
}

std::string systemError(int error_number) noexcept {
  char buffer[256] = "";
  return strerror_r(error_number, buffer, sizeof buffer);
}

std::string_view firstCodePoints(std::string_view string, size_t count) noexcept {
  size_t end = 0;
  while (count > 0 && end < string.size()) {
    end += codePointLength(string.substr(end));
    --count;
  }
  return string.substr(0, end);
}

size_t nrCodePoints(std::string_view string) noexcept {
  size_t count = 0;
  for (; !string.empty(); ++count) string.remove_prefix(codePointLength(string));
  return count;
}

std::string_view firstBytes(std::string_view string, size_t size) noexcept {
  size_t end = 0;
  while (end < string.size()) {
    const size_t next = end + codePointLength(string.substr(end));
    if (next > size) break;
    end = next;
  }
  return string.substr(0, end);
}

std::string printable(std::string_view string) {
  std::string result;
  while (!string.empty()) {
    const std::string_view bytes = string.substr(0, codePointLength(string));
    const bool is_single = bytes.size() == 1;
    const uint32_t c = is_single ? static_cast<unsigned char>(bytes[0]) : codePoint(bytes);
    if (c == '\n') {
      result += "\\n";
    } else if (isControl(c) || (is_single && c > 0x7F)) {
      result += text(is_single ? "\\x%02x" : "\\u%04x", c);
    } else {
      result += bytes;
    }
    string.remove_prefix(bytes.size());
  }
  return result;
}

std::string wellFormed(std::string_view string) {
  std::string result;
  while (!string.empty()) {
    const std::string_view bytes = string.substr(0, codePointLength(string));
    const bool is_stray = bytes.size() == 1 && (bytes[0] == '\0' || static_cast<unsigned char>(bytes[0]) > 0x7F);
    result += is_stray ? "?" : bytes;
    string.remove_prefix(bytes.size());
  }
  return result;
}

int64_t leadingInteger(std::string_view string) noexcept {
  constexpr std::string_view kBlanks = " \t\r\n";
  const size_t begin = string.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) return 0;
  string.remove_prefix(begin);
  const bool negative = string.front() == '-';
  if (negative || string.front() == '+') string.remove_prefix(1);
  int64_t value = 0; // kept negative: its range is the wider one
  for (const char c : string) {
    if (c < '0' || c > '9') break;
    if (__builtin_mul_overflow(value, 10, &value) || __builtin_sub_overflow(value, c - '0', &value)) {
      return negative ? std::numeric_limits<int64_t>::min() : std::numeric_limits<int64_t>::max();
    }
  }
  if (negative) return value;
  return value == std::numeric_limits<int64_t>::min() ? std::numeric_limits<int64_t>::max() : -value;
}

std::string expandTilde(const std::string& path) {
  if (path.empty() || path[0] != '~' || (path.size() > 1 && path[1] != '/')) return path;
  const char* home = std::getenv("HOME");
  if (home != nullptr && *home != '\0') return home + path.substr(1);
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr) {
    return found->pw_dir + path.substr(1);
  }
  return path;
}

} // namespace vurl
