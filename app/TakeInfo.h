// What a take file says of itself: its header and its iXML document by the program's own reader, and its chunks.
// Thread: main. Next: app/InfoCommand.cpp, which prints it.
#pragma once

#include "files/HeaderChunks.h"
#include "metadata/MetaData.h"
#include "platform/XmlDocument.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vurl {

struct TakeInfo {
  enum class Document { none, read, broken };

  explicit TakeInfo(const UserDefaults& defaults) : meta_data(defaults) {}

  /// The text of `element`, a path within BWFXML; nothing when the document lacks it: the record then holds "error", 0,
  /// or, as rate, 24 frames.
  std::optional<std::string> value(const std::string& element) const;

  MetaData meta_data;     ///< as the reader filled it; an unreadable document has left "error" in its texts
  std::string format;     ///< "Broadcast Wave", "RF64", or "WAVE" without a bext chunk
  int32_t file_nr = 0;    ///< of the take's files, from 0
  int32_t nr_tracks = 0;  ///< channels of the file, as its format chunk says
  int32_t bits = 0;       ///< of a sample, as its format chunk says
  int64_t nr_samples = 0; ///< an RF64 file's from its ds64 chunk, where the reader finds only 4294967295; without a
                          ///< count in the header what the data chunk holds
  Document document = Document::none;
  std::string fault;                                   ///< why the document cannot be read
  XmlDocument elements;                                ///< of the document that was read
  std::vector<std::pair<int32_t, std::string>> tracks; ///< ring channel, from 0, and name, as the document has them
};

/// Reads the header of the file at `path`; `chunks` are those of the file. Nothing when it cannot be read, with the
/// reader's own words in `reason`. `defaults` must outlive the result.
std::optional<TakeInfo> readTakeInfo(const UserDefaults& defaults, const std::string& path,
                                     const std::vector<HeaderChunk>& chunks, std::string& reason);

} // namespace vurl
