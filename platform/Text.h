// Texts of the system, built from printf-style formats.
#pragma once

#include <fmt/args.h>
#include <fmt/printf.h>

#include <string>
#include <string_view>

namespace vurl {

/// Expands `format` with the arguments in `store`. The directives are those of printf, and two of this system's own:
/// "%@" takes a string, "%qu" and "%qi" a 64-bit number. Never throws: a format that does not fit its arguments comes
/// back as it stands. Any thread; allocates.
std::string expandText(std::string_view format, fmt::printf_args arguments) noexcept;

/// Builds one text of the system, for example text("Could not open audio file '%@', %s.", name, systemError(errno)).
/// Strings may be std::string, std::string_view or a C string. Any thread but the I/O thread.
template <typename... Arguments>
std::string text(std::string_view format, const Arguments&... arguments) noexcept {
  return expandText(format, fmt::make_format_args<fmt::printf_context>(arguments...));
}

/// The system's own words for an `errno` value, for example "No such file or directory". Any thread.
std::string systemError(int error_number) noexcept;

/// The bytes of the first `count` code points of `string`, which is UTF-8; all of it when it has no more. A byte that
/// is no part of valid UTF-8 counts as one code point.
std::string_view firstCodePoints(std::string_view string, size_t count) noexcept;

/// The number of code points in `string`, counted as firstCodePoints() does.
size_t nrCodePoints(std::string_view string) noexcept;

/// The longest beginning of `string` that has no more than `size` bytes and ends between two code points.
std::string_view firstBytes(std::string_view string, size_t size) noexcept;

/// `string` fit for a terminal: control characters, characters that turn the reading direction, and bytes that are no
/// UTF-8 are written as escapes, "\n", "\x1b" or "\u202e". For texts from outside. Any thread.
std::string printable(std::string_view string);

/// `string` with "?" for each NUL and each byte that is no part of valid UTF-8: for those who take nothing else. Any
/// thread.
std::string wellFormed(std::string_view string);

/// The integer that `string` begins with, after blanks and an optional sign; 0 when it begins with none. Values
/// beyond 64 bits are limited to the nearest. "7b" gives 7, "b7" gives 0.
int64_t leadingInteger(std::string_view string) noexcept;

/// `path` with a leading "~" replaced by the user's home directory ($HOME, or the user database when it is not set).
std::string expandTilde(const std::string& path);

} // namespace vurl
