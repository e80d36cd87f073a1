// A take file from anywhere: the lister of chunks, the header's reader with the import of iXML behind it, what the
// programs tell of the record, and its way into the history. The first byte of the input is even: the file follows;
// odd: an iXML document follows, for which a file is made.
#include "app/TakeInfo.h"
#include "app/TakeList.h"
#include "files/OutputFile.h"
#include "files/utils.h"
#include "fuzz/Rig.h"

namespace vurl::fuzz {
namespace {

std::string number(uint32_t value) {
  std::string bytes(4, '\0');
  add_uint32_le(reinterpret_cast<uint8_t*>(bytes.data()), 0, value);
  return bytes;
}

/// A stereo file of 24 bits with `document` and no samples.
std::string fileWith(std::string_view document) {
  const std::string format("\1\0\2\0\x80\xBB\0\0\0\x65\4\0\6\0\x18\0", 16);
  return "RIFF" + number(0) + "WAVEfmt " + number(16) + format + "iXML" +
         number(static_cast<uint32_t>(document.size())) + std::string(document) + "data" + number(0);
}

void checkChunks(const std::vector<HeaderChunk>& chunks, bool is_whole, int64_t file_size) {
  int64_t end = 8;
  for (const HeaderChunk& chunk : chunks) {
    require(chunk.offset >= end && chunk.offset + 8 <= file_size, "chunks stand in the file, one behind the other");
    end = chunk.offset + 8 + std::min(chunk.size, file_size);
    const bool is_last = &chunk == &chunks.back();
    require((is_last && (!is_whole || chunk.size == -1)) || (chunk.size >= 0 && end <= file_size),
            "only the last chunk of a list that is cut short runs past the file");
  }
}

void checkRecord(const MetaData& record, int32_t file_nr, int64_t file_size) {
  require(file_nr >= 0 && file_nr < MetaData::kMaximumFiles, "a file has a number");
  require(record.nrFiles() >= 1 && record.nrFiles() <= MetaData::kMaximumFiles, "a take has files, but not too many");
  require(record.sampleOffset() >= 8 && record.sampleOffset() <= file_size, "the samples begin within the file");
  require(record.nrSamples() >= 0 && record.nrSamples() <= UINT32_MAX, "a length fits its field");
  require(record.sampleRate() >= 0, "a rate is none below 0");
  require(static_cast<int64_t>(record.ixmlDocument().size()) <= file_size, "the document stands in the file");
  require(record.ixmlDocument().find('\0') == std::string::npos, "the document ends at its first zero byte");
}

/// As the history and the reports do with every file that they find.
void use(const MetaData& record, int32_t file_nr) {
  TakeList list;
  list.addFile(record, file_nr);
  list.addFile(record, 0);
  list.sort();
  for (const TakePointer& take : list.takes()) {
    require(take->reference.size() >= 32, "a take has a reference");
    static_cast<void>(take->reportText().size() + take->meta_data.csvLine().size());
    static_cast<void>(take->meta_data.frameNr() + take->meta_data.fileSizeForFile(file_nr));
  }
}

} // namespace
} // namespace vurl::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vurl;
  static const fuzz::ScratchFile file("take.wav");
  static const UserDefaults defaults;
  if (size == 0) return 0;
  const std::string_view rest = fuzz::characters(data + 1, size - 1);
  const std::string bytes = data[0] % 2 == 0 ? std::string(rest) : fuzz::fileWith(rest);
  const auto file_size = static_cast<int64_t>(bytes.size());
  file.write(bytes);

  std::string reason;
  const auto chunks = chunksOfFile(file.path(), reason);
  fuzz::require(chunks.has_value() || !reason.empty(), "a file that is refused is told why");
  if (!chunks) return 0;
  fuzz::checkChunks(*chunks, reason.empty(), file_size);

  const auto info = readTakeInfo(defaults, file.path(), *chunks, reason);
  fuzz::require(info.has_value() || !reason.empty(), "a header that is refused is told why");
  if (!info) return 0;
  fuzz::checkRecord(info->meta_data, info->file_nr, file_size);
  fuzz::use(info->meta_data, info->file_nr);
  return 0;
}
