#include "app/TakeInfo.h"

#include "files/OutputFile.h"
#include "files/utils.h"
#include "platform/Log.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <utility>

namespace vurl {
namespace {

constexpr int64_t kFormatBody = 16;

const HeaderChunk* findChunk(const std::vector<HeaderChunk>& chunks, const char* identifier) {
  const auto found =
      std::find_if(chunks.begin(), chunks.end(), [&](const auto& c) { return c.identifier == identifier; });
  return found == chunks.end() ? nullptr : &*found;
}

/// Reads the header, and what the reader has to say when it fails.
int32_t readHeader(const std::string& path, MetaData& meta_data, std::string& reason) {
  Log::Sink before = Log::setSink([&reason](std::string_view line) { reason = line; });
  const int32_t file_nr = OutputFile::readHeader(path, meta_data);
  Log::setSink(std::move(before));
  if (file_nr >= 0) reason.clear(); // what it said of the document is told by the document's own fault
  return file_nr;
}

/// What the format chunk alone says. The record knows 16, 24 and 32 bits only, and a document has changed its tracks.
struct Format {
  int32_t nr_tracks = 0;
  int32_t block_align = 0; ///< bytes of a frame
  int32_t bits = 0;
};

Format readFormat(const std::string& path, const HeaderChunk* chunk) {
  std::array<char, kFormatBody> body{};
  if (chunk == nullptr || chunk->size < kFormatBody) return {};
  std::ifstream file(path, std::ios::binary);
  if (!file.seekg(chunk->offset + 8) || !file.read(body.data(), body.size())) return {};
  const auto field = [&body](int32_t offset) {
    uint16_t value = 0;
    get_uint16_le(reinterpret_cast<const uint8_t*>(body.data()), offset, value);
    return int32_t{value};
  };
  return {field(2), field(12), field(14)};
}

void readDocument(TakeInfo& info) {
  if (info.meta_data.ixmlDocument().empty()) return;
  auto document = XmlDocument::parse(info.meta_data.ixmlDocument(), info.fault);
  info.document = document ? TakeInfo::Document::read : TakeInfo::Document::broken;
  if (!document) return;
  const auto track_value = [&](int32_t track, const char* element) {
    return document->firstValue(text(".//BWFXML/TRACK_LIST/TRACK[%i]/%s", track, element)).value_or("");
  };
  const std::string count = document->firstValue(".//BWFXML/TRACK_LIST/TRACK_COUNT").value_or("");
  for (int32_t track = 1; track <= std::min<int64_t>(leadingInteger(count), MetaData::kMaximumChannels); ++track) {
    const auto channel = static_cast<int32_t>(leadingInteger(track_value(track, "CHANNEL_INDEX")));
    info.tracks.emplace_back(channel - 1, track_value(track, "NAME"));
  }
  info.elements = std::move(*document);
}

} // namespace

std::optional<std::string> TakeInfo::value(const std::string& element) const {
  return elements.firstValue(".//BWFXML/" + element);
}

std::optional<TakeInfo> readTakeInfo(const UserDefaults& defaults, const std::string& path,
                                     const std::vector<HeaderChunk>& chunks, std::string& reason) {
  TakeInfo info(defaults);
  info.file_nr = readHeader(path, info.meta_data, reason);
  if (info.file_nr < 0) return std::nullopt;
  const bool is_large = findChunk(chunks, "ds64") != nullptr;
  info.format = is_large ? "RF64" : findChunk(chunks, "bext") != nullptr ? "Broadcast Wave" : "WAVE";
  const Format format = readFormat(path, findChunk(chunks, "fmt "));
  info.nr_tracks = format.nr_tracks;
  info.bits = format.bits;
  info.nr_samples = info.meta_data.nrSamples();
  const HeaderChunk* const data = findChunk(chunks, "data");
  const bool is_counted = findChunk(chunks, "fact") != nullptr && info.nr_samples != 0 && !is_large;
  if (!is_counted && data != nullptr && format.block_align > 0) info.nr_samples = data->size / format.block_align;
  readDocument(info);
  return info;
}

} // namespace vurl
