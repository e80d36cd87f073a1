// The header of a take file whose program died while it recorded: it still says that there are no samples. Knows the
// two layouts of this system's own files (BWFUtils.h, CAFUtils.h) and no others, and completes a header from the
// length of its file. Works on bytes; files/Salvage.h brings them from disk and back. Any thread but the I/O thread.
#pragma once

#include "metadata/MetaData.h"
#include "platform/UserDefaults.h"

#include <cstdint>
#include <optional>
#include <string>

namespace vurl {

class CutHeader {
public:
  /// The header in the kHeaderSize bytes of `block`, from a file of `file_size` bytes. Nothing when it is not laid out
  /// as this program's are, when it tells of samples already and its chunks lead to them, or when not one whole frame
  /// stands behind it.
  static std::optional<CutHeader> read(const uint8_t* block, int64_t file_size);

  bool isCAF() const { return is_caf; }

  /// In Hz.
  int32_t sampleRate() const { return sample_rate; }

  /// Whole frames in the file.
  int64_t nrFrames() const { return nr_frames; }

  /// Bytes up to the end of the last whole frame.
  int64_t wholeSize() const;

  /// The reference that all files of the take share; empty when the document has none.
  std::string takeReference() const { return take_reference; }

  /// Writes into `block`, whose header this is, every size, the RF64 form (EBU Tech 3306) when the file is large, and
  /// the duration in the iXML document, which takes room from the document's spare blanks. Where the chunks do not lead
  /// to the samples, as of a last header that came to disk in part, they do then. Returns the duration as timecode.
  /// `defaults` is needed for a record, not looked into.
  std::string complete(uint8_t* block, const UserDefaults& defaults) const;

private:
  CutHeader() = default;
  static std::optional<CutHeader> readBWF(const uint8_t* block);
  static std::optional<CutHeader> readCAF(const uint8_t* block);
  bool measure(int64_t file_size);
  int64_t chunkHeadSize() const; ///< bytes
  int64_t samplesChunk() const;  ///< byte index
  bool findDocument(const uint8_t* block);
  bool mendDocument(const uint8_t* block);
  void addFiller(uint8_t* block, const MetaData& meta_data) const;
  MetaData record(const UserDefaults& defaults) const;

  bool is_caf = false;
  bool is_torn = false; ///< the chunks do not lead to the samples
  int32_t sample_rate = 0;
  int32_t nr_tracks = 0;
  int32_t bits = 0;
  int32_t frame_size = 0; ///< bytes
  int64_t nr_frames = 0;
  int64_t document_offset = 0;
  std::string document; ///< iXML, with its spare blanks
  std::string take_reference;
};

} // namespace vurl
