#include "files/CutHeader.h"

#include "engine/SampleFormat.h"
#include "files/BWFUtils.h"
#include "files/CAFUtils.h"
#include "files/CutDocument.h"
#include "files/HeaderTexts.h"
#include "files/utils.h"
#include "platform/Log.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <string_view>

namespace vurl {
namespace {

// Where things stand in a header; none of it moves with the texts.
constexpr int32_t kDs64 = 12;
constexpr int32_t kFmt = 48;
constexpr int32_t kFact = 72;
constexpr int32_t kBext = 84;
constexpr int32_t kOriginator = kBext + 8 + 256;
constexpr int32_t kDocument = 732; ///< or behind it, by the length of the coding history
constexpr int32_t kData = kHeaderSize - 8;
constexpr int32_t kCAFDesc = 8;
constexpr int32_t kCAFString = 80;
constexpr int32_t kCAFMark = 84;
constexpr int32_t kCAFDocument = 144;
constexpr int32_t kCAFData = kHeaderSize - 16;
constexpr uint32_t kUnknownSize = 0xFFFFFFFF;
constexpr const char* kOriginatorText = "Vurl Recorder";

std::string_view characters(const uint8_t* block, int64_t offset, size_t size) {
  return {reinterpret_cast<const char*>(block) + offset, size};
}

bool stands(const uint8_t* block, int64_t offset, std::string_view identifier) {
  return characters(block, offset, identifier.size()) == identifier;
}

uint32_t littleEndian(const uint8_t* block, int32_t offset) {
  uint32_t value = 0;
  get_uint32_le(block, offset, value);
  return value;
}

uint32_t bigEndian(const uint8_t* block, int32_t offset) {
  uint32_t value = 0;
  get_uint32_be(block, offset, value);
  return value;
}

uint64_t largeSize(const uint8_t* block) {
  uint64_t value = 0;
  get_uint64_le(block, kDs64 + 16, value);
  return value;
}

/// The bytes of samples that a header tells of; 0 when it says that there are none in one of the places at least: the
/// last header may have come to disk in part.
uint64_t toldByBWF(const uint8_t* block) {
  const uint32_t data_size = littleEndian(block, kData + 4);
  if (stands(block, 0, "RF64")) {
    const uint64_t large = largeSize(block);
    return data_size == kUnknownSize || static_cast<uint32_t>(large) == data_size ? large : 0;
  }
  return data_size == kUnknownSize || littleEndian(block, 4) == kHeaderSize - 8 ? 0 : data_size;
}

uint64_t toldByCAF(const uint8_t* block) {
  const uint64_t told = uint64_t{bigEndian(block, kCAFData + 4)} << 32 | bigEndian(block, kCAFData + 8);
  return told == std::numeric_limits<uint64_t>::max() ? 0 : told;
}

} // namespace

std::optional<CutHeader> CutHeader::read(const uint8_t* block, int64_t file_size) {
  const bool has_caf_magic = stands(block, 0, "caff");
  auto header = has_caf_magic ? readCAF(block) : readBWF(block);
  if (!header || !header->measure(file_size)) return std::nullopt;
  const uint64_t told = has_caf_magic ? toldByCAF(block) : toldByBWF(block);
  header->is_torn = !header->findDocument(block);
  if (!header->is_torn && told != 0) return std::nullopt;
  // Nobody has written behind the samples of a header that came to disk in part.
  if (header->is_torn && told != 0 && told < static_cast<uint64_t>(file_size - kHeaderSize)) return std::nullopt;
  if (header->is_torn && !header->mendDocument(block)) return std::nullopt;
  header->take_reference = takeReferenceOf(header->document);
  return header;
}

std::optional<CutHeader> CutHeader::readBWF(const uint8_t* block) {
  const bool is_own = (stands(block, 0, "RIFF") || stands(block, 0, "RF64")) && stands(block, 8, "WAVE") &&
                      (stands(block, kDs64, "JUNK") || stands(block, kDs64, "ds64")) &&
                      littleEndian(block, kDs64 + 4) == 28 && stands(block, kFmt, "fmt ") &&
                      littleEndian(block, kFmt + 4) == 16 && stands(block, kFact, "fact") &&
                      littleEndian(block, kFact + 4) == 4 && stands(block, kBext, "bext") &&
                      stands(block, kOriginator, kOriginatorText) && stands(block, kData, "data");
  if (!is_own) return std::nullopt;
  CutHeader header;
  uint16_t channels = 0;
  uint16_t bits = 0;
  get_uint16_le(block, kFmt + 10, channels);
  get_uint16_le(block, kFmt + 22, bits);
  header.nr_tracks = channels;
  header.bits = bits;
  header.sample_rate =
      static_cast<int32_t>(std::min<uint32_t>(littleEndian(block, kFmt + 12), std::numeric_limits<int32_t>::max()));
  return header;
}

std::optional<CutHeader> CutHeader::readCAF(const uint8_t* block) {
  const bool is_own = stands(block, kCAFDesc, "desc") && stands(block, kCAFDesc + 20, "lpcm") &&
                      stands(block, kCAFString, "CAM") && stands(block, kCAFMark, "mark") &&
                      stands(block, kCAFData, "data");
  if (!is_own) return std::nullopt;
  CutHeader header;
  header.is_caf = true;
  header.nr_tracks = static_cast<int32_t>(bigEndian(block, kCAFDesc + 36));
  header.bits = static_cast<int32_t>(bigEndian(block, kCAFDesc + 40));
  uint64_t rate_bits = uint64_t{bigEndian(block, kCAFDesc + 12)} << 32 | bigEndian(block, kCAFDesc + 16);
  double rate = 0;
  std::memcpy(&rate, &rate_bits, sizeof rate);
  if (!(rate >= 0 && rate < 1e9)) return std::nullopt;
  header.sample_rate = static_cast<int32_t>(std::lround(rate));
  return header;
}

/// Whether the format is one of ours and a whole frame is there.
bool CutHeader::measure(int64_t file_size) {
  constexpr std::array<int32_t, 3> kBits{16, 24, 32};
  if (nr_tracks < 1 || nr_tracks > MetaData::kMaximumChannels) return false;
  if (std::find(kBits.begin(), kBits.end(), bits) == kBits.end()) return false;
  frame_size = nr_tracks * bits / 8;
  nr_frames = (file_size - kHeaderSize) / frame_size;
  return nr_frames > 0;
}

int64_t CutHeader::chunkHeadSize() const { return is_caf ? 12 : 8; }
int64_t CutHeader::samplesChunk() const { return is_caf ? kCAFData : kData; }

/// Goes from chunk to chunk and finds the iXML document on the way; a header without one can be completed as well.
/// Returns whether the chunks lead to the samples.
bool CutHeader::findDocument(const uint8_t* block) {
  const int64_t end = samplesChunk();
  const int64_t head = chunkHeadSize();
  int64_t position = is_caf ? kCAFDesc : kDs64;
  while (position + head <= end) {
    const auto place = static_cast<int32_t>(position);
    if (block[position] == 0 || (is_caf && bigEndian(block, place + 4) != 0)) return false;
    const int64_t size = is_caf ? bigEndian(block, place + 8) : littleEndian(block, place + 4);
    if (position + head + size > end) return false;
    if (document_offset == 0 && stands(block, position, "iXML")) {
      document_offset = position + head;
      document = characters(block, document_offset, static_cast<size_t>(size));
    }
    position += head + size;
    const bool is_padded = !is_caf && size % 2 != 0 && position < end && block[position] == 0;
    if (is_padded) position++;
  }
  return position == end;
}

/// Has the document end before the samples' chunk. Returns false for what never was a header of ours.
bool CutHeader::mendDocument(const uint8_t* block) {
  const std::string_view prologue = kIXMLPrologue;
  const int64_t room = samplesChunk() - chunkHeadSize() - document_offset;
  if (document_offset < (is_caf ? kCAFDocument : kDocument)) return false;
  if (room < static_cast<int64_t>(prologue.size())) return false;
  const std::string_view area = characters(block, document_offset, static_cast<size_t>(room));
  if (!area.starts_with(prologue)) return false;
  document = mendedDocument(area, document.size());
  return true;
}

int64_t CutHeader::wholeSize() const { return kHeaderSize + nr_frames * frame_size; }

/// As much of the take's record as the sizes need.
MetaData CutHeader::record(const UserDefaults& defaults) const {
  constexpr std::array<std::pair<int32_t, int32_t>, 3> kDepths{{{16, INTEGER16}, {24, INTEGER24}, {32, FLOAT32}}};
  MetaData meta_data(defaults);
  meta_data.setFileFormat(is_caf ? MetaData::kCAF : MetaData::kBWF);
  meta_data.setSampleOffset(kHeaderSize);
  meta_data.setNrChannels(nr_tracks);
  meta_data.setNrFiles(1);
  for (int32_t channel = 0; channel < nr_tracks; channel++) meta_data.setEnable(true, channel, 0);
  for (const auto& [nr_bits, depth] : kDepths)
    if (bits == nr_bits) meta_data.setBitDepth(depth);
  meta_data.setSampleRate(sample_rate);
  meta_data.setFrameRate(static_cast<int32_t>(frameRateOf(document)));
  meta_data.setNrSamples(nr_frames);
  return meta_data;
}

std::string CutHeader::complete(uint8_t* block, const UserDefaults& defaults) const {
  const MetaData meta_data = record(defaults);
  if (is_caf) {
    add_caf_data(block, kCAFData, meta_data, 0);
  } else {
    add_bwf_riff(block, 0, meta_data, 0);
    add_bwf_ds64(block, kDs64, meta_data, 0);
    add_bwf_fact(block, kFact, meta_data, 0);
    add_bwf_data(block, kData, meta_data, 0);
  }
  std::string completed = document;
  std::string duration = meta_data.durationString();
  if (!tellDuration(completed, nr_frames, duration))
    log("The document of a take that was cut off does not tell its duration");
  std::copy(completed.begin(), completed.end(), block + document_offset);
  if (is_torn) addFiller(block, meta_data);
  return duration;
}

/// Makes the chunk of the document as long as it is, and has what is left up to the samples filled.
void CutHeader::addFiller(uint8_t* block, const MetaData& meta_data) const {
  const auto size = static_cast<uint32_t>(document.size());
  const auto size_end = static_cast<int32_t>(document_offset);
  if (is_caf) {
    add_uint32_be(block, size_end - 4, size);
    add_caf_free(block, document_offset + size, meta_data, 0);
  } else {
    add_uint32_le(block, size_end - 4, size);
    add_bwf_fill(block, document_offset + size, meta_data, 0);
  }
}

} // namespace vurl
