#include "files/BWFUtils.h"

#include "files/HeaderFields.h"
#include "files/HeaderTexts.h"
#include "platform/Log.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <string_view>

namespace vurl {
namespace {

constexpr int64_t kLargestRiff = 4293918719; ///< bytes of the largest file that is not RF64
constexpr int64_t kFillerEnd = kHeaderSize - 8;
constexpr uint32_t kSeeDs64 = 0xFFFFFFFF; ///< stands where the ds64 chunk has the number
constexpr int32_t kMostDocuments = 8;     ///< iXML chunks that are read
constexpr int32_t kDescriptionWidth = 256;
constexpr int32_t kBextFixedSize = 602;   ///< the bext body up to the coding history
constexpr int64_t kFixedChunksSize = 732; ///< the block up to the iXML body, but for the coding history

/// What a timecode track tells of a rate.
struct TrackRate {
  uint32_t frame_rate;
  uint32_t time_scale;
  uint32_t frame_duration;
  uint32_t frames_per_second;
  uint32_t drop_frame;
};

constexpr std::array<TrackRate, 9> kTrackRates{{
    {FRAME_RATE_24, 24000, 1000, 24, 0},
    {FRAME_RATE_25, 25000, 1000, 25, 0},
    {FRAME_RATE_30_DROP, 30000, 1000, 30, 1},
    {FRAME_RATE_30, 30000, 1000, 30, 0},
    {FRAME_RATE_29_97, 30000, 1001, 30, 0},
    {FRAME_RATE_29_97_DROP, 30000, 1001, 30, 1},
    {FRAME_RATE_60, 60000, 1000, 60, 0},
    {FRAME_RATE_59_94, 60000, 1001, 60, 0},
    {FRAME_RATE_23_976, 24000, 1001, 24, 0},
}};

bool isLarge(const MetaData& meta_data, int32_t file_nr) { return meta_data.fileSizeForFile(file_nr) > kLargestRiff; }

uint64_t riffSize(const MetaData& meta_data, int32_t file_nr) {
  return static_cast<uint64_t>(meta_data.fileSizeForFile(file_nr)) - 8;
}

int32_t addChunk(uint8_t* buffer, int64_t offset, const char* identifier, int64_t size) {
  return add_uint32_le(buffer, addIdentifier(buffer, offset, identifier), static_cast<uint32_t>(size));
}

struct Chunk {
  std::string_view identifier;
  uint32_t size;
  int64_t body; ///< byte index
};

/// The chunk whose header begins at `offset`, when that header lies within the `held` bytes of `buffer`.
std::optional<Chunk> chunkAt(const uint8_t* buffer, int64_t offset, int64_t held) {
  if (offset > held - 8) return std::nullopt;
  Chunk chunk{{reinterpret_cast<const char*>(buffer) + offset, 4}, 0, offset + 8};
  get_uint32_le(buffer, fieldOffset(offset + 4), chunk.size);
  return chunk;
}

/// A chunk that the reader looks into, and the least body that it can read.
struct KnownChunk {
  const char* identifier;
  uint32_t smallest_size;
};

constexpr std::array<KnownChunk, 3> kKnownChunks{{{"fmt ", 16}, {"fact", 4}, {"iXML", 0}}};

/// Whether the body of `chunk` is as long as its fields and lies within the `held` bytes; of other chunks only the
/// next chunk's place counts.
bool isReadable(const Chunk& chunk, int64_t held) {
  const auto* const known = std::find_if(kKnownChunks.begin(), kKnownChunks.end(),
                                         [&](const KnownChunk& each) { return chunk.identifier == each.identifier; });
  return known == kKnownChunks.end() || (chunk.size >= known->smallest_size && chunk.body + chunk.size <= held);
}

/// What the "data" chunk tells: where the samples begin and, when no other chunk told, how many there are.
void getData(const Chunk& data, MetaData& meta_data) {
  meta_data.setSampleOffset(data.body);
  const int32_t block_align = meta_data.blockAlignForFile(0);
  if (meta_data.nrSamples() == 0 && block_align != 0)
    meta_data.setNrSamples(data.size / static_cast<uint32_t>(block_align));
}

/// The record to write the header from: `meta_data`, or a copy that is kept in `fitting`.
const MetaData& fittingRecord(const MetaData& meta_data, int32_t file_nr, std::optional<MetaData>& fitting) {
  constexpr size_t kRoom = static_cast<size_t>(kFillerEnd - 8 - kFixedChunksSize);
  const size_t taken = meta_data.bwfCodingHistoryForFile(file_nr).size() + std::strlen(kIXMLPrologue);
  fitting = headerFitting(meta_data, file_nr, kRoom - taken);
  return fitting ? *fitting : meta_data;
}

} // namespace

int64_t add_bwf(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr) {
  constexpr std::array kWriters{add_bwf_riff, add_bwf_ds64, add_bwf_fmt,  add_bwf_fact, add_bwf_bext,
                                add_bwf_qttc, add_bwf_ixml, add_bwf_fill, add_bwf_data};
  std::optional<MetaData> copy;
  const MetaData& fitting = fittingRecord(meta_data, file_nr, copy);
  for (const auto& writer : kWriters) offset = writer(buffer, offset, fitting, file_nr);
  return offset;
}

int64_t add_bwf_riff(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr) {
  const bool large = isLarge(meta_data, file_nr);
  int32_t cursor = addIdentifier(buffer, offset, large ? "RF64" : "RIFF");
  cursor = add_uint32_le(buffer, cursor, large ? kSeeDs64 : static_cast<uint32_t>(riffSize(meta_data, file_nr)));
  return addIdentifier(buffer, cursor, "WAVE");
}

int64_t add_bwf_ds64(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr) {
  const bool large = isLarge(meta_data, file_nr);
  int32_t cursor = addChunk(buffer, offset, large ? "ds64" : "JUNK", 28);
  cursor = add_uint64_le(buffer, cursor, large ? riffSize(meta_data, file_nr) : 0);
  cursor = add_uint64_le(buffer, cursor, large ? static_cast<uint64_t>(meta_data.dataSizeForFile(file_nr)) : 0);
  cursor = add_uint64_le(buffer, cursor, large ? static_cast<uint64_t>(meta_data.nrSamples()) : 0);
  return add_uint32_le(buffer, cursor, 0); // no sizes of further chunks
}

int64_t add_bwf_fmt(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr) {
  int32_t cursor = addChunk(buffer, offset, "fmt ", 16);
  const int32_t depth = meta_data.bitDepth();
  if (depth == INTEGER16 || depth == INTEGER24) cursor = add_uint16_le(buffer, cursor, 1); // PCM
  if (depth == FLOAT32) cursor = add_uint16_le(buffer, cursor, 3);                         // IEEE float
  cursor = add_uint16_le(buffer, cursor, meta_data.nrTracksForFile(file_nr));
  cursor = add_uint32_le(buffer, cursor, static_cast<uint32_t>(meta_data.sampleRate()));
  cursor = add_uint32_le(buffer, cursor, static_cast<uint32_t>(meta_data.byteRateForFile(file_nr)));
  cursor = add_uint16_le(buffer, cursor, meta_data.blockAlignForFile(file_nr));
  return add_uint16_le(buffer, cursor, meta_data.bits());
}

int64_t add_bwf_fact(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr) {
  const auto nr_samples = static_cast<uint32_t>(meta_data.nrSamples());
  return add_uint32_le(buffer, addChunk(buffer, offset, "fact", 4),
                       isLarge(meta_data, file_nr) ? kSeeDs64 : nr_samples);
}

int64_t add_bwf_bext(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr) {
  const std::string history = meta_data.bwfCodingHistoryForFile(file_nr);
  const std::string description = meta_data.bwfDescriptionForFile(file_nr);
  int32_t cursor = addChunk(buffer, offset, "bext", kBextFixedSize + static_cast<int64_t>(history.size()) + 2);
  cursor = add_fixed_string(buffer, cursor, description.c_str(), kDescriptionWidth);
  cursor = add_fixed_string(buffer, cursor, meta_data.bwfOriginator().c_str(), 32);
  cursor = add_fixed_string(buffer, cursor, meta_data.bwfOriginatorReferenceForFile(file_nr).c_str(), 32);
  cursor = add_fixed_string(buffer, cursor, meta_data.bwfOriginationDate().c_str(), 10);
  cursor = add_fixed_string(buffer, cursor, meta_data.bwfOriginationTime().c_str(), 8);
  cursor = add_uint64_le(buffer, cursor, meta_data.timestamp());
  cursor = add_uint16_le(buffer, cursor, 1);          // version
  cursor = add_fixed_string(buffer, cursor, "", 64);  // UMID
  cursor = add_fixed_string(buffer, cursor, "", 190); // reserved
  cursor = addText(buffer, cursor, history);
  return add_fixed_string(buffer, cursor, "", 2);
}

int64_t add_bwf_qttc(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t /*file_nr*/) {
  int32_t cursor = addChunk(buffer, offset, "qttc", 20);
  cursor = add_uint32_be(buffer, cursor, static_cast<uint32_t>(meta_data.frameNr()));
  const auto code = static_cast<uint32_t>(meta_data.frameRate());
  for (const TrackRate& rate : kTrackRates) {
    if (rate.frame_rate != code) continue;
    cursor = add_uint32_le(buffer, cursor, rate.time_scale);
    cursor = add_uint32_le(buffer, cursor, rate.frame_duration);
    cursor = add_uint32_le(buffer, cursor, rate.frames_per_second);
    cursor = add_uint32_le(buffer, cursor, rate.drop_frame);
  }
  return cursor;
}

int64_t add_bwf_ixml(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr) {
  const std::string document = kIXMLPrologue + meta_data.iXMLForFile(file_nr);
  return addText(buffer, addChunk(buffer, offset, "iXML", static_cast<int64_t>(document.size())), document);
}

int64_t add_bwf_fill(uint8_t* buffer, int64_t offset, const MetaData& /*meta_data*/, int32_t /*file_nr*/) {
  const int64_t size = kFillerEnd - 8 - offset;
  return add_fixed_string(buffer, addChunk(buffer, offset, "JUNK", size), "", static_cast<int32_t>(size));
}

int64_t add_bwf_data(uint8_t* buffer, int64_t offset, const MetaData& meta_data, int32_t file_nr) {
  return addChunk(buffer, offset, "data", meta_data.dataSizeForFile(file_nr));
}

int32_t get_bwf(const uint8_t* buffer, int64_t offset, MetaData& meta_data, int64_t length) {
  meta_data.setFileFormat(MetaData::kBWF);
  meta_data.setNrChannels(MetaData::kMaximumChannels);
  meta_data.setNrFiles(1);
  const int64_t held = std::min(length, kHeaderSize);
  int32_t result = 0;
  int32_t documents = 0;
  int64_t position = offset + 12; // behind the form type
  while (const auto chunk = chunkAt(buffer, position, held)) {
    if (!isReadable(*chunk, held)) {
      log("Chunk '%@' of the header is broken", chunk->identifier);
      return -1;
    }
    if (chunk->identifier == "fmt ") get_bwf_fmt(buffer, chunk->body, meta_data);
    if (chunk->identifier == "fact") get_bwf_fact(buffer, chunk->body, meta_data);
    if (chunk->identifier == "iXML" && documents++ < kMostDocuments) {
      result = get_bwf_ixml(buffer, chunk->body, meta_data, chunk->size);
    }
    if (chunk->identifier == "data") {
      getData(*chunk, meta_data);
      return result;
    }
    position = chunk->body + chunk->size;
  }
  log("The header has no data chunk");
  return -1;
}

void get_bwf_fmt(const uint8_t* buffer, int64_t offset, MetaData& meta_data) {
  uint16_t channels = 0;
  uint32_t sample_rate = 0;
  uint16_t bits = 0;
  get_uint16_le(buffer, fieldOffset(offset + 2), channels);
  get_uint32_le(buffer, fieldOffset(offset + 4), sample_rate);
  get_uint16_le(buffer, fieldOffset(offset + 14), bits);
  constexpr uint32_t kHighestRate = std::numeric_limits<int32_t>::max();
  meta_data.setSampleRate(static_cast<int32_t>(std::min(sample_rate, kHighestRate)));
  if (bits == 16) meta_data.setBitDepth(INTEGER16);
  if (bits == 24) meta_data.setBitDepth(INTEGER24);
  if (bits == 32) meta_data.setBitDepth(FLOAT32);
  const int32_t tracks = std::min<int32_t>(channels, MetaData::kMaximumChannels);
  for (int32_t channel = 0; channel < tracks; channel++) meta_data.setEnable(true, channel, 0);
}

void get_bwf_fact(const uint8_t* buffer, int64_t offset, MetaData& meta_data) {
  uint32_t nr_samples = 0;
  get_uint32_le(buffer, fieldOffset(offset), nr_samples);
  if (meta_data.nrSamples() == 0) meta_data.setNrSamples(nr_samples);
}

int32_t get_bwf_ixml(const uint8_t* buffer, int64_t offset, MetaData& meta_data, uint32_t chunk_size) {
  try {
    const char* const body = reinterpret_cast<const char*>(buffer) + offset;
    return meta_data.setIXML({body, chunk_size});
  } catch (const std::bad_alloc&) {
    log("Could not allocate tmp");
    return -1;
  }
}

} // namespace vurl
