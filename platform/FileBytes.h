// Bytes to and from a descriptor, all of a piece: calls that the system cut short or interrupted go on where they
// stopped. Any thread but the I/O thread; all wait for the disk.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vurl {

/// Appends what follows in the file to `bytes`. Returns 0 or the errno.
[[nodiscard]] int readToEnd(int descriptor, std::string& bytes);

/// Writes all of `bytes` where the file stands. Returns 0 or the errno; EIO when the system takes nothing.
[[nodiscard]] int writeAll(int descriptor, std::string_view bytes) noexcept;

/// Read and write all `size` bytes at byte `offset` of the file, wherever it stands. Return 0 or the errno; ENODATA for
/// a file that ends before, ENOSPC for one that takes nothing.
[[nodiscard]] int readAt(int descriptor, uint8_t* bytes, size_t size, int64_t offset) noexcept;
[[nodiscard]] int writeAt(int descriptor, const uint8_t* bytes, size_t size, int64_t offset) noexcept;

} // namespace vurl
