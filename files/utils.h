// Fields of file headers in a byte buffer, stored and read in the byte order that the name says, and the copying of
// whole files. The field functions touch the buffer at `offset` and return the offset behind the field, so that calls
// chain; they check no bounds, never fail and never allocate. Any thread. Who uses it: BWFUtils.
#pragma once

#include <cstdint>

namespace vurl {

int32_t add_uint64_le(uint8_t* buffer, int32_t offset, uint64_t value) noexcept;
int32_t add_uint64_be(uint8_t* buffer, int32_t offset, uint64_t value) noexcept;
int32_t add_sint64_be(uint8_t* buffer, int32_t offset, int64_t value) noexcept;
int32_t add_uint32_le(uint8_t* buffer, int32_t offset, uint32_t value) noexcept;
int32_t add_uint32_be(uint8_t* buffer, int32_t offset, uint32_t value) noexcept;

/// IEEE 754 double, most significant byte first.
int32_t add_float64_be(uint8_t* buffer, int32_t offset, double value) noexcept;

/// Store the low 16, or 8, bits of `value`.
int32_t add_uint16_le(uint8_t* buffer, int32_t offset, int32_t value) noexcept;
int32_t add_uint16_be(uint8_t* buffer, int32_t offset, int32_t value) noexcept;
int32_t add_uint8(uint8_t* buffer, int32_t offset, int32_t value) noexcept;

/// A field of `size` bytes: `string` without its end, cut to the field, with zero bytes behind where it is shorter.
int32_t add_fixed_string(uint8_t* buffer, int32_t offset, const char* string, int32_t size) noexcept;

/// `string` with its terminating zero byte.
int32_t add_string(uint8_t* buffer, int32_t offset, const char* string) noexcept;

/// Read a field into `value`.
int32_t get_uint64_le(const uint8_t* buffer, int32_t offset, uint64_t& value) noexcept;
int32_t get_uint32_le(const uint8_t* buffer, int32_t offset, uint32_t& value) noexcept;
int32_t get_uint32_be(const uint8_t* buffer, int32_t offset, uint32_t& value) noexcept;
int32_t get_uint16_le(const uint8_t* buffer, int32_t offset, uint16_t& value) noexcept;

/// Copies the file at `path1` to `path2`, which is made, or emptied first. Returns 0; on failure logs the step that
/// failed, with `path1` whichever side it concerns, and returns -1; what was copied until then stays. Blocks on the
/// file system.
int32_t copy(const char* path1, const char* path2);

} // namespace vurl
