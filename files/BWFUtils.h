// The header block of Broadcast Wave files: RIFF/WAVE with bext (EBU Tech 3285), qttc and iXML chunks, or RF64 (EBU
// Tech 3306) once the file is larger than 4,293,918,719 bytes. The block always has 131,072 bytes, so that a header
// can be written anew over the old one without moving the samples. Stateless, any thread but the I/O thread; `offset`
// is a byte index into `buffer`. The document's space is kept by files/HeaderTexts.h.
#pragma once

#include "metadata/MetaData.h"

#include <cstdint>

namespace vurl {

/// Bytes of the header block; the samples follow.
constexpr int64_t kHeaderSize = 131072;

/// Writes the whole header block of file `file_nr` at `offset` 0 of `buffer`, which has kHeaderSize bytes. Texts too
/// long for it are shortened in it. Returns kHeaderSize.
int64_t add_bwf(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr);

/// Write one chunk at `offset` and return the offset behind it. The texts must fit: add_bwf() sees to that. For a bit
/// depth that is not known add_bwf_fmt() leaves the format tag out, for such a frame rate add_bwf_qttc() all but the
/// start frame; what follows then begins earlier.
int64_t add_bwf_riff(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr);
int64_t add_bwf_ds64(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr);
int64_t add_bwf_fmt(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr);
int64_t add_bwf_fact(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr);
int64_t add_bwf_bext(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr);
int64_t add_bwf_qttc(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr);
int64_t add_bwf_ixml(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr);
int64_t add_bwf_fill(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr);
int64_t add_bwf_data(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr);

/// Fills `meta_data` from the header at `offset` of `buffer`, which holds `length` bytes from a file that begins with
/// "RIFF" or "RF64"; at most kHeaderSize of them are looked at. The file becomes file 0 of `meta_data`. Returns the
/// result of get_bwf_ixml() for the last iXML chunk, of which the first 8 are read, or 0 without one; -1, and a log
/// line, for a header whose chunks run past those bytes, are shorter than their fields, or do not lead to a "data"
/// chunk: `meta_data` is then filled in part.
int32_t get_bwf(const uint8_t* buffer, int64_t offset, MetaData& meta_data, int64_t length);

/// Reads the 16 bytes of a fmt chunk's body: rate, bit depth (another than 16, 24 and 32 changes nothing) and number
/// of channels, of which 64 at most are enabled in file 0.
void get_bwf_fmt(const uint8_t* buffer, int64_t offset, MetaData& meta_data);

/// Reads the 4 bytes of a fact chunk's body, unless the take's length is known already. A large file's own 0xFFFFFFFF
/// is taken as it stands.
void get_bwf_fact(const uint8_t* buffer, int64_t offset, MetaData& meta_data);

/// Hands the iXML chunk's body of `chunk_size` bytes to MetaData::setIXML() and returns its result; -1 and a log line
/// when memory runs out.
int32_t get_bwf_ixml(const uint8_t* buffer, int64_t offset, MetaData& meta_data, uint32_t chunk_size);

} // namespace vurl
