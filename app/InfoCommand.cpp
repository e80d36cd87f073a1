// vurl info: what take files say of themselves.
#include "app/Commands.h"
#include "app/Json.h"
#include "app/TakeInfo.h"
#include "metadata/RateTexts.h"
#include "platform/Text.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace vurl {
namespace {

/// A line of the plain output: a key of the object, how it is told, and what stands behind its value.
struct Line {
  const char* key;
  const char* label;
  const char* unit;
};

constexpr auto kLines = std::to_array<Line>({{"format", "format", ""},
                                             {"sample_rate", "sample rate", " Hz"},
                                             {"device_sample_rate", "device's rate", " Hz"},
                                             {"bits", "sample format", " bits"},
                                             {"channels", "channels", ""},
                                             {"tracks", "tracks", ""},
                                             {"samples", "samples", ""},
                                             {"duration", "duration", ""},
                                             {"sample_offset", "samples begin at", " bytes"},
                                             {"timecode", "start timecode", ""},
                                             {"timecode_rate", "timecode rate", ""},
                                             {"timestamp", "start", " samples since midnight"},
                                             {"date", "date", ""},
                                             {"project", "project", ""},
                                             {"scene", "scene", ""},
                                             {"slate", "slate", ""},
                                             {"take", "take", ""},
                                             {"roll", "roll", ""},
                                             {"count", "count", ""},
                                             {"note", "note", ""},
                                             {"file_number", "file number", ""},
                                             {"files", "files of the take", ""},
                                             {"contact_info", "contact", ""},
                                             {"session_note", "session note", ""},
                                             {"ixml", "iXML", ""},
                                             {"ixml_fault", "", ""},
                                             {"chunk_fault", "chunks", ""}});

/// What the document tells in `element`; null without one, for the reader's "error" is no text of the user's.
template <typename Value>
Json told(const TakeInfo& info, const char* element, const Value& value) {
  return info.value(element) ? Json(value) : Json(nullptr);
}

/// A length as hours, minutes, seconds and milliseconds, whatever the timecode.
std::string clockText(int64_t samples, int32_t rate) {
  const int64_t second = rate > 0 ? rate : 1;
  const int64_t seconds = samples / second;
  return text("%02i:%02i:%02i.%03i", seconds / 3600, seconds / 60 % 60, seconds % 60, samples % second * 1000 / second);
}

void addHeader(const TakeInfo& info, Json& object) {
  const MetaData& take = info.meta_data;
  object["format"] = info.format;
  object["sample_rate"] = take.sampleRate();
  object["bits"] = info.bits;
  object["channels"] = info.nr_tracks;
  object["samples"] = info.nr_samples;
  object["duration"] = clockText(info.nr_samples, take.sampleRate());
  object["sample_offset"] = take.sampleOffset();
}

void addDocument(const TakeInfo& info, Json& object) {
  constexpr std::array kStates = {"none", "read", "broken"};
  constexpr const char* kSyncPoint = "SYNC_POINT_LIST/SYNC_POINT/SYNC_POINT_LOW";
  const MetaData& take = info.meta_data;
  const RateTexts known = rateTexts(take.frameRate());
  const auto flag = info.value("SPEED/TIMECODE_FLAG");
  const std::string rate = info.value("SPEED/TIMECODE_RATE").value_or("") + (flag ? " " + *flag : "");
  const bool is_known = rate.empty() || rate == text("%s %s", known.timecode, known.flag);
  Json tracks = Json::array();
  for (const auto& [channel, name] : info.tracks) tracks.push_back({{"channel", channel + 1}, {"name", name}});
  object["ixml"] = kStates[static_cast<size_t>(info.document)];
  object["ixml_fault"] = info.fault.empty() ? Json(nullptr) : Json(info.fault);
  object["tracks"] = told(info, "TRACK_LIST/TRACK_COUNT", tracks);
  object["timestamp"] = told(info, kSyncPoint, take.timestamp());
  object["timecode"] = is_known ? told(info, kSyncPoint, take.timestampString()) : Json(nullptr);
  object["timecode_rate"] = told(info, "SPEED/TIMECODE_RATE", rate);
  object["device_sample_rate"] = told(info, "SPEED/DIGITIZER_SAMPLE_RATE", take.originalSampleRate());
  object["date"] = take.originationDateString("%Y-%m-%d %H:%M:%S");
  object["project"] = told(info, "PROJECT", take.project());
  object["scene"] = told(info, "SCENE", take.scene());
  object["slate"] = told(info, "SLATE", take.slate());
  object["take"] = told(info, "TAKE", take.take());
  object["roll"] = told(info, "TAPE", take.roll());
  object["count"] = told(info, "COUNT", take.count());
  object["note"] = told(info, "NOTE", take.note());
  object["file_number"] = told(info, "FILE_SET/FILE_SET_INDEX", info.file_nr + 1);
  object["files"] = told(info, "FILE_SET/TOTAL_FILES", take.nrFiles());
  object["contact_info"] = told(info, "KELDARIS/CONTACT_INFO", take.contactInfo());
  object["session_note"] = told(info, "KELDARIS/SESSION_NOTE", take.sessionNote());
}

void addChunks(const std::vector<HeaderChunk>& chunks, Json& object) {
  object["chunks"] = Json::array();
  for (const auto& [identifier, offset, size] : chunks)
    object["chunks"].push_back({{"id", identifier}, {"offset", offset}, {"size", size}});
}

/// What is told of the file at `path`, and in `reason` why that is not all; null when it is nothing. A CAF file has
/// chunks to list and no header that the reader takes.
Json describe(const UserDefaults& defaults, const std::string& path, bool with_chunks, std::string& reason) {
  std::string chunk_fault;
  const auto chunks = chunksOfFile(path, chunk_fault);
  if (!chunks) {
    reason = chunk_fault + ".";
    return nullptr;
  }
  const bool is_caf = !chunks->empty() && chunks->front().identifier == "desc";
  Json object = {{"file", path}};
  if (is_caf) object["format"] = "Core Audio Format";
  if (const auto info = readTakeInfo(defaults, path, *chunks, reason)) {
    addHeader(*info, object);
    addDocument(*info, object);
  } else if (!with_chunks) {
    reason += is_caf ? ". Its chunks can be listed with --chunks." : ".";
    return nullptr;
  } else {
    reason = is_caf ? "" : reason + ".";
  }
  object["chunk_fault"] = chunk_fault.empty() ? Json(nullptr) : Json(chunk_fault);
  if (with_chunks) addChunks(*chunks, object);
  return object;
}

std::string plain(const Json& value) { return value.is_string() ? printable(value.get<std::string>()) : value.dump(); }

void printTracks(const Json& tracks) {
  const char* label = "tracks";
  for (const Json& track : tracks) {
    std::printf("  %-17s %2s %s\n", label, plain(track["channel"]).c_str(), plain(track["name"]).c_str());
    label = "";
  }
}

void print(const Json& object) {
  std::printf("%s\n", plain(object["file"]).c_str());
  for (const auto& [key, label, unit] : kLines) {
    const Json value = object.value(key, Json(nullptr));
    if (value.is_array()) printTracks(value);
    if (value.is_null() || value.is_array() || value == "") continue;
    std::printf("  %-17s %s%s\n", label, plain(value).c_str(), unit);
  }
  if (!object.contains("chunks")) return;
  std::printf("  %-5s  %14s  %14s\n", "chunk", "offset", "size");
  for (const Json& chunk : object["chunks"])
    std::printf("  %-5s  %14s  %14s\n", plain(chunk["id"]).c_str(), chunk["offset"].dump().c_str(),
                chunk["size"].dump().c_str());
}

} // namespace

int runInfo(const UserDefaults& defaults, const InfoOptions& options) {
  int exit_code = kExitFine;
  Json all = Json::array();
  for (const std::string& path : options.files) {
    std::string reason;
    const Json object = describe(defaults, path, options.chunks, reason);
    if (!object.is_null() && options.json) all.push_back(object);
    if (!object.is_null() && !options.json) print(object);
    if (reason.empty()) continue;
    std::fflush(stdout);
    std::fprintf(stderr, "vurl: %s: %s\n", printable(path).c_str(), printable(reason).c_str());
    exit_code = kExitHarmed;
  }
  // In ASCII, for other control characters than those of ASCII would pass as they are.
  if (options.json) printJson(all, JsonCharacters::ascii);
  return exit_code;
}

} // namespace vurl
