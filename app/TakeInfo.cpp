#include "app/TakeInfo.h"

#include "files/BWFUtils.h"
#include "files/OutputFile.h"
#include "platform/Log.h"
#include "platform/XmlDocument.h"

#include <algorithm>
#include <array>
#include <fstream>

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

/// The format chunk alone: a document that cannot be read has taken the tracks out of the record.
int32_t tracksOfFormat(const UserDefaults& defaults, const std::string& path, const HeaderChunk* chunk) {
  std::array<char, kFormatBody> body{};
  if (chunk == nullptr || chunk->size < kFormatBody) return 0;
  std::ifstream file(path, std::ios::binary);
  if (!file.seekg(chunk->offset + 8) || !file.read(body.data(), body.size())) return 0;
  MetaData format(defaults);
  format.setNrChannels(MetaData::kMaximumChannels);
  get_bwf_fmt(reinterpret_cast<const uint8_t*>(body.data()), 0, format);
  return format.nrTracksForFile(0);
}

void readDocument(TakeInfo& info) {
  if (info.meta_data.ixmlDocument().empty()) return;
  const auto document = XmlDocument::parse(info.meta_data.ixmlDocument(), info.fault);
  info.document = document ? TakeInfo::Document::read : TakeInfo::Document::broken;
  if (!document) return;
  info.tells_rate = document->firstValue(".//BWFXML/SPEED/TIMECODE_RATE").has_value();
  const auto track_value = [&](int32_t track, const char* element) {
    return document->firstValue(text(".//BWFXML/TRACK_LIST/TRACK[%i]/%s", track, element)).value_or("");
  };
  const std::string count = document->firstValue(".//BWFXML/TRACK_LIST/TRACK_COUNT").value_or("");
  for (int32_t track = 1; track <= std::min<int64_t>(leadingInteger(count), MetaData::kMaximumChannels); ++track) {
    const auto channel = static_cast<int32_t>(leadingInteger(track_value(track, "CHANNEL_INDEX")));
    info.tracks.emplace_back(channel - 1, track_value(track, "NAME"));
  }
}

} // namespace

std::optional<TakeInfo> readTakeInfo(const UserDefaults& defaults, const std::string& path,
                                     const std::vector<HeaderChunk>& chunks, std::string& reason) {
  TakeInfo info(defaults);
  info.file_nr = readHeader(path, info.meta_data, reason);
  if (info.file_nr < 0) return std::nullopt;
  const bool is_large = findChunk(chunks, "ds64") != nullptr;
  info.format = is_large ? "RF64" : findChunk(chunks, "bext") != nullptr ? "Broadcast Wave" : "WAVE";
  info.nr_tracks = tracksOfFormat(defaults, path, findChunk(chunks, "fmt "));
  info.nr_samples = info.meta_data.nrSamples();
  const HeaderChunk* const data = findChunk(chunks, "data");
  const int64_t frame = int64_t{info.nr_tracks} * info.meta_data.bytes();
  if (is_large && data != nullptr && frame > 0) info.nr_samples = data->size / frame;
  readDocument(info);
  return info;
}

} // namespace vurl
