#include "files/CAFUtils.h"

#include "files/BWFUtils.h"
#include "files/HeaderFields.h"
#include "files/HeaderTexts.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <optional>
#include <string>

namespace vurl {
namespace {

constexpr int64_t kDataHeadSize = 16; ///< identifier, size and edit count
constexpr int64_t kChunkHeadSize = 12;
constexpr int64_t kFreeEnd = kHeaderSize - kDataHeadSize;
constexpr int64_t kDocumentOffset = 144; ///< where the iXML body begins
constexpr size_t kDocumentRoom = static_cast<size_t>(kFreeEnd - kChunkHeadSize - kDocumentOffset);
constexpr uint32_t kMarkerName = 1; ///< identifier of the one string

enum FormatFlags : uint32_t { FLOAT = 1, LITTLE_ENDIAN_SAMPLES = 2 };

/// How a marker tells the time at a frame rate.
struct MarkerRate {
  uint32_t frame_rate;
  uint32_t time_type;
  int32_t frames_per_second; ///< nominal
};

constexpr std::array<MarkerRate, 9> kMarkerRates{{
    {FRAME_RATE_24, 1, 24},
    {FRAME_RATE_25, 2, 25},
    {FRAME_RATE_30_DROP, 3, 30},
    {FRAME_RATE_30, 4, 30},
    {FRAME_RATE_29_97, 5, 30},
    {FRAME_RATE_29_97_DROP, 6, 30},
    {FRAME_RATE_60, 7, 60},
    {FRAME_RATE_59_94, 8, 60},
    {FRAME_RATE_23_976, 12, 24},
}};

/// The row of `frame_rate`, or null.
const MarkerRate* markerRate(int32_t frame_rate) {
  const auto* const found = std::find_if(kMarkerRates.begin(), kMarkerRates.end(), [&](const MarkerRate& rate) {
    return rate.frame_rate == static_cast<uint32_t>(frame_rate);
  });
  return found == kMarkerRates.end() ? nullptr : found;
}

int32_t addChunk(uint8_t* buffer, int64_t offset, const char* identifier, int64_t size) {
  return add_sint64_be(buffer, addIdentifier(buffer, offset, identifier), size);
}

/// The label of the take's start, its subframes in samples.
SMPTETime startLabel(const MetaData& meta_data, const MarkerRate* rate) {
  SMPTETime label;
  label.mType = static_cast<uint32_t>(meta_data.frameRate());
  const int32_t samples_per_frame = rate == nullptr ? 0 : meta_data.sampleRate() / rate->frames_per_second;
  label.mSubframeDivisor =
      static_cast<int16_t>(std::clamp<int32_t>(samples_per_frame, 0, std::numeric_limits<int16_t>::max()));
  spd_to_smpte(static_cast<int64_t>(meta_data.timestamp()), meta_data.sampleRate(), label);
  return label;
}

} // namespace

int64_t add_caf(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr) {
  constexpr std::array kWriters{add_caf_caff, add_caf_desc, add_caf_strg, add_caf_mark,
                                add_caf_ixml, add_caf_free, add_caf_data};
  const std::optional<MetaData> copy = headerFitting(meta_data, file_nr, kDocumentRoom - std::strlen(kIXMLPrologue));
  for (const auto& writer : kWriters) offset = writer(buffer, offset, copy ? *copy : meta_data, file_nr);
  return offset;
}

int64_t add_caf_caff(uint8_t* buffer, int64_t offset, const MetaData& /*meta_data*/, int32_t /*file_nr*/) {
  int32_t cursor = addIdentifier(buffer, offset, "caff");
  cursor = add_uint16_be(buffer, cursor, 1); // version
  return add_uint16_be(buffer, cursor, 0);   // flags
}

int64_t add_caf_desc(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr) {
  const auto tracks = static_cast<uint32_t>(meta_data.nrTracksForFile(file_nr));
  const int32_t depth = meta_data.bitDepth();
  int32_t cursor = addChunk(buffer, offset, "desc", 32);
  cursor = add_float64_be(buffer, cursor, meta_data.sampleRate());
  cursor = addIdentifier(buffer, cursor, "lpcm");
  if (depth == INTEGER16 || depth == INTEGER24) cursor = add_uint32_be(buffer, cursor, LITTLE_ENDIAN_SAMPLES);
  if (depth == FLOAT32) cursor = add_uint32_be(buffer, cursor, FLOAT | LITTLE_ENDIAN_SAMPLES);
  cursor = add_uint32_be(buffer, cursor, static_cast<uint32_t>(meta_data.bytes()) * tracks); // of a packet
  cursor = add_uint32_be(buffer, cursor, 1);                                                 // frames in a packet
  cursor = add_uint32_be(buffer, cursor, tracks);
  return add_uint32_be(buffer, cursor, static_cast<uint32_t>(meta_data.bits()));
}

int64_t add_caf_strg(uint8_t* buffer, int64_t offset, const MetaData& /*meta_data*/, int32_t /*file_nr*/) {
  int32_t cursor = addChunk(buffer, offset, "strg", 20);
  cursor = add_uint32_be(buffer, cursor, 1); // string
  cursor = add_uint32_be(buffer, cursor, kMarkerName);
  cursor = add_sint64_be(buffer, cursor, 0); // where it begins behind this table
  return add_string(buffer, cursor, "CAM");
}

int64_t add_caf_mark(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t /*file_nr*/) {
  const MarkerRate* const rate = markerRate(meta_data.frameRate());
  const SMPTETime label = startLabel(meta_data, rate);
  int32_t cursor = addChunk(buffer, offset, "mark", 36);
  if (rate != nullptr) cursor = add_uint32_be(buffer, cursor, rate->time_type);
  cursor = add_uint32_be(buffer, cursor, 1);      // marker
  cursor = addIdentifier(buffer, cursor, "rsyc"); // a region's point of synchronisation
  cursor = add_float64_be(buffer, cursor, 0);     // at the first sample
  cursor = add_uint32_be(buffer, cursor, kMarkerName);
  cursor = add_uint8(buffer, cursor, label.mHours);
  cursor = add_uint8(buffer, cursor, label.mMinutes);
  cursor = add_uint8(buffer, cursor, label.mSeconds);
  cursor = add_uint8(buffer, cursor, label.mFrames);
  cursor = add_uint32_be(buffer, cursor, static_cast<uint32_t>(label.mSubframes));
  return add_uint32_be(buffer, cursor, 0); // for all channels
}

int64_t add_caf_ixml(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr) {
  const std::string document = kIXMLPrologue + meta_data.iXMLForFile(file_nr);
  return addText(buffer, addChunk(buffer, offset, "iXML", static_cast<int64_t>(document.size())), document);
}

int64_t add_caf_free(uint8_t* buffer, int64_t offset, const MetaData& /*meta_data*/, int32_t /*file_nr*/) {
  const int64_t size = kFreeEnd - kChunkHeadSize - offset;
  return add_fixed_string(buffer, addChunk(buffer, offset, "free", size), "", static_cast<int32_t>(size));
}

int64_t add_caf_data(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr) {
  const int64_t size = meta_data.dataSizeForFile(file_nr);
  return add_uint32_be(buffer, addChunk(buffer, offset, "data", size == 0 ? -1 : size), 0); // edits
}

} // namespace vurl
