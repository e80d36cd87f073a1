// The header block of Core Audio Format files (file version 1): desc, strg, mark and iXML chunks, a free chunk that
// fills the block, and the head of the data chunk. All numbers are big-endian, the samples behind are little-endian.
// The block always has 131,072 bytes, so that a header can be written anew over the old one without moving the samples.
// The start time stands as a marker at the first sample, with its SMPTE label (ST 12-1). Stateless, any thread but the
// I/O thread; `offset` is a byte index into `buffer`. See BWFUtils.h for the other format; CAF headers are not read
// back.
#pragma once

#include "metadata/MetaData.h"

#include <cstdint>

namespace vurl {

/// Writes the whole header block of file `file_nr` at `offset` 0 of `buffer`, which has kHeaderSize bytes (BWFUtils.h).
/// Texts too long for it are shortened in it. Returns kHeaderSize.
int64_t add_caf(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr);

/// Write one chunk at `offset` and return the offset behind it. The texts must fit: add_caf() sees to that. For a bit
/// depth that is not known add_caf_desc() leaves the format flags out, for such a frame rate add_caf_mark() the type of
/// the time; what follows then begins earlier.
int64_t add_caf_caff(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr);
int64_t add_caf_desc(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr);
int64_t add_caf_strg(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr);
int64_t add_caf_mark(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr);
int64_t add_caf_ixml(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr);
int64_t add_caf_free(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr);

/// The size is that of the samples alone, without the 4 bytes of the edit count that stand before them; -1, for a file
/// of unknown length, as long as there are none.
int64_t add_caf_data(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr);

} // namespace vurl
