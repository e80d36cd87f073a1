// The record of one take: its channels, files and folders and who goes into whom, formats, rates, times, the slate
// texts of the user, and the names and documents that are made of all that. A record is a value: whoever shares one
// between threads copies it or no longer changes it; the calls take no locks and may come from any thread but the I/O
// thread. The engine fills one for each take, BWFUtils (files/BWFUtils.h) writes it into headers and reads it back.
#pragma once

#include "engine/ChannelMask.h"
#include "engine/SampleFormat.h"
#include "platform/UserDefaults.h"
#include "platform/WallClock.h"
#include "timecode/ltc.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vurl {

class XmlDocument;

/// Channels count from 0 to 63, files from 0 to 511, folders from 0 to 7. A number outside these reads as a neutral
/// value (0, no channels, an empty text), and writing there changes nothing. Texts are UTF-8.
class MetaData {
public:
  static constexpr int32_t kMaximumChannels = 64;
  static constexpr int32_t kMaximumFiles = 512;
  static constexpr int32_t kMaximumFolders = 8;
  static constexpr int32_t kCAF = 2; ///< fileFormat() of CAF files
  static constexpr int32_t kBWF = 3; ///< fileFormat() of Broadcast Wave files

  /// An empty take that starts now. `defaults` must outlive the record and its copies: the name formats are read from
  /// it whenever a name is made.
  explicit MetaData(const UserDefaults& defaults, const WallClock& clock = systemWallTime);

  /// Whether the take can be played back, rather than being recorded.
  bool playback() const { return is_playback; }
  void setPlayback(bool value) { is_playback = value; }

  /// The device's nominal rate, in Hz.
  int32_t originalSampleRate() const { return original_sample_rate; }
  void setOriginalSampleRate(int32_t value) { original_sample_rate = value; }

  /// The rate written into the files, in Hz.
  int32_t sampleRate() const { return sample_rate; }
  void setSampleRate(int32_t value) { sample_rate = value; }

  /// A FrameRate code.
  int32_t frameRate() const { return frame_rate; }
  void setFrameRate(int32_t value) { frame_rate = value; }

  /// Ring channels in use, 0 to 64; a number beyond is limited. Channels at or above it are left out of every file
  /// but kept in its routing, so that they come back when the number grows.
  int32_t nrChannels() const { return nr_channels; }
  void setNrChannels(int32_t value);

  /// Files of the take, limited to 0 to 512.
  int32_t nrFiles() const { return nr_files; }
  void setNrFiles(int32_t value);

  /// Destination folders, limited to 0 to 8.
  int32_t nrFolders() const { return nr_folders; }
  void setNrFolders(int32_t value);

  /// kCAF or kBWF; files of any other format are named "txt".
  int32_t fileFormat() const { return file_format; }
  void setFileFormat(int32_t value) { file_format = value; }

  /// A BitDepth code; any other counts as 16 bits.
  int32_t bitDepth() const { return bit_depth; }
  void setBitDepth(int32_t value) { bit_depth = value; }

  /// Samples since midnight at sampleRate() when the take starts.
  uint64_t timestamp() const { return start_timestamp; }
  void setTimestamp(uint64_t value) { start_timestamp = value; }

  /// Bytes before the first sample in each file.
  int64_t sampleOffset() const { return sample_offset; }
  void setSampleOffset(int64_t value) { sample_offset = value; }

  /// Length of the take in sample frames.
  int64_t nrSamples() const { return nr_samples; }
  void setNrSamples(int64_t value) { nr_samples = value; }

  /// The size at which a file is broken off and the next take begins; the engine keeps bytes here.
  int64_t maximumFileSize() const { return maximum_file_size; }
  void setMaximumFileSize(int64_t value) { maximum_file_size = value; }

  /// When the take starts by the wall clock, in seconds since 1970-01-01 00:00:00 UTC; all texts show it in the
  /// system's time zone.
  int64_t originationDate() const { return origination_date; }
  void setOriginationDate(int64_t seconds) { origination_date = seconds; }

  /// originationDate() in local time, formatted by strftime's `format`; a date beyond the calendar shows as 1970.
  std::string originationDateString(const char* format) const;

  const std::string& project() const { return texts.project; }
  void setProject(const std::string& value) { texts.project = value; }
  const std::string& scene() const { return texts.scene; }
  void setScene(const std::string& value) { texts.scene = value; }
  const std::string& slate() const { return texts.slate; }
  void setSlate(const std::string& value) { texts.slate = value; }
  const std::string& take() const { return texts.take; }
  void setTake(const std::string& value) { texts.take = value; }
  const std::string& roll() const { return texts.roll; }
  void setRoll(const std::string& value) { texts.roll = value; }
  const std::string& note() const { return texts.note; }
  void setNote(const std::string& value) { texts.note = value; }
  const std::string& contactInfo() const { return texts.contact_info; }
  void setContactInfo(const std::string& value) { texts.contact_info = value; }
  const std::string& sessionNote() const { return texts.session_note; }
  void setSessionNote(const std::string& value) { texts.session_note = value; }

  /// The take's piece: 1 for the first set of files, higher after file breaks.
  int32_t count() const { return piece_count; }
  void setCount(int32_t value) { piece_count = value; }

  /// The iXML document found in a file's header, as it stood there; empty when there was none.
  const std::string& ixmlDocument() const { return ixml_document; }
  void setIXMLDocument(const std::string& document) { ixml_document = document; }

  const std::string& nameForChannel(int32_t channel) const;
  void setName(const std::string& name, int32_t channel);

  /// The path as it was set; it may begin with "~".
  const std::string& pathForFolder(int32_t folder) const;
  void setPath(const std::string& path, int32_t folder);

  /// The folder that `file` goes to. A folder beyond the take's becomes the last of them, a negative one the first;
  /// -1 when the take has no folders.
  int32_t folderForFile(int32_t file) const;
  void setFolder(int32_t folder, int32_t file);

  /// Routes `channel` into `file`, or takes it out.
  void setEnable(bool enable, int32_t channel, int32_t file);

  /// The channels in `file`: those routed into it that are in use.
  ChannelMask channelMaskForFile(int32_t file) const;

  /// How many channels that are.
  int32_t nrTracksForFile(int32_t file) const;

  /// Size of one sample: 16, 24 or 32 bits, 2, 3 or 4 bytes.
  int32_t bits() const;
  int32_t bytes() const;

  /// Bytes of one sample frame of `file`, its bytes in a second, its samples' bytes and all its bytes with the header.
  int32_t blockAlignForFile(int32_t file) const;
  int32_t byteRateForFile(int32_t file) const;
  int64_t dataSizeForFile(int32_t file) const;
  int64_t fileSizeForFile(int32_t file) const;

  /// Fills in the label of timestamp(), or of `samples`, at the take's rates, with 80 subframes in a frame. The type
  /// of a 23.976 label is told as 24, which other readers of the record know.
  void smpteTimestamp(SMPTETime& smpte_time) const { smpteTimestamp(smpte_time, start_timestamp); }
  void smpteTimestamp(SMPTETime& smpte_time, uint64_t samples) const;

  /// The number of the take's first label within the day.
  int32_t frameNr() const;

  /// Labels as "hh:mm:ss:ff": of `counter` samples, of the take's start, of its length.
  std::string timestampStringForCounter(uint64_t counter) const;
  std::string timestampString() const { return timestampStringForCounter(start_timestamp); }
  std::string durationString() const { return timestampStringForCounter(static_cast<uint64_t>(nr_samples)); }

  /// Orders takes by the time of their start: below 0, 0 or above 0, by bwfOriginatorReferenceForFile(-1).
  int32_t compare(const MetaData& other) const;

  /// Moves what stands at file 0 to `file`, and leaves file 0 without channels and name. Nothing for file 0.
  void moveToFile(int32_t file);

  /// Takes over from `other`, read from a single file, what stands at its file 0: at each of this take's files for
  /// which `other` has a name. `file` makes no difference.
  void combine(const MetaData& other, int32_t file);

  /// Freezes the full path of `file`; an empty one thaws it.
  void setFilename(const std::string& filename, int32_t file);

  /// The full path of `file`, frozen or made now from folder, setting "filename_format", counter, number and format.
  std::string filenameForFile(int32_t file) const;

  /// The full path of the CSV report, from the settings "csv_folder" and "csv_filename_format".
  std::string csvFilename() const;

  /// Replaces the tokens (%s scene, %3t take with three digits, ...) in `format` by what they stand for in file
  /// `file_nr`. With `for_filename`, all but ASCII letters, digits, "-", "_" and "." become "_". A token that is not
  /// known stays, without its width; one that the format's end cuts short stays as it is.
  std::string stringWithFormat(std::string_view format, bool for_filename, uint32_t file_nr) const;

  /// The description of EBU Tech 3285's bext chunk: at most 255 characters, lines "bKEY=value" ended by "\r\n".
  std::string bwfDescriptionForFile(int32_t file) const;
  std::string bwfOriginator() const { return "Vurl Recorder"; }

  /// 32 characters that no other file has; with `file` -1 they stand for the take, and sort takes by their start.
  std::string bwfOriginatorReferenceForFile(int32_t file) const;
  std::string bwfOriginationDate() const { return originationDateString("%Y-%m-%d"); }
  std::string bwfOriginationTime() const { return originationDateString("%H:%M:%S"); }
  std::string bwfVersion() const { return "1.0"; }

  /// The coding history after EBU R98: a line for the capture, one for the file; its length in bytes is even.
  std::string bwfCodingHistoryForFile(int32_t file) const;

  /// The whole iXML 1.5 document of `file` without a prologue, with 2048 blanks behind, or 2049 for an even length in
  /// bytes. Texts stand in it as the user wrote them, markup characters too.
  std::string iXMLForFile(int32_t file) const;

  /// The first line of a CSV report, with its line feed.
  static std::string csvHeader();

  /// The take's line of a CSV report, with its line feed; only file 0 is named. Texts stand in it as the user wrote
  /// them, quotes and commas too.
  std::string csvLine() const;

  /// bitDepth() in words: "16 bit", "24 bit", "32 bit"; empty for any other code.
  const char* bitDepthString() const;

  /// Fills the record from an iXML document (iXML 1.5 and earlier, also other recorders'), keeps it as ixmlDocument(),
  /// and returns which file of the take it is from, 0 to 511. The document ends at its first zero byte. What it tells
  /// of tracks becomes file 0; rates, sample format, length and name are the file header's to tell, and nrChannels()
  /// must have been set before. There is no failure: a text that is missing becomes "error", a number 0, the frame rate
  /// and the origination date stay as they are; so does a whole document that is not well-formed, with a log line. A
  /// number out of its range is limited to it; a track without a channel index is left out.
  int32_t setIXML(const std::string& document);

  /// The string value of the first node that `xpath` selects in `document`; "error" when there is none.
  static std::string getValueWithXMLPath(const XmlDocument& document, const std::string& xpath);

private:
  struct Token;
  struct Texts {
    std::string project, scene, slate, take, roll, note, contact_info, session_note;
  };

  /// What is known of one file. A history holds thousands of records, most of them of few files.
  struct FileSlot {
    ChannelMask channel_mask = 0;          ///< as the user routed
    ChannelMask adjusted_channel_mask = 0; ///< of these, the channels in use
    int32_t folder = 0;
    std::string filename; ///< frozen path; empty: made on demand
  };

  static bool hasFile(int32_t file) { return file >= 0 && file < kMaximumFiles; }
  const FileSlot& slot(int32_t file) const;
  FileSlot& writableSlot(int32_t file);

  std::string expandToken(const Token& token, bool for_filename, uint32_t file_nr) const;
  std::string trackWord(int32_t file) const;
  std::string takeElements(int32_t file) const;
  std::string speedElement() const;
  std::string syncPointElement() const;
  std::string fileSetElement(int32_t file) const;
  std::string trackListElement(int32_t file) const;
  std::string bextElement(int32_t file) const;
  std::string ownElement() const;

  const UserDefaults* defaults;
  bool is_playback = false;
  int32_t original_sample_rate = 0;
  int32_t sample_rate = 0;
  int32_t frame_rate = 0;
  int32_t nr_channels = 0;
  int32_t nr_files = 0;
  int32_t nr_folders = 0;
  int32_t file_format = 0;
  std::vector<FileSlot> slots; ///< of the files up to the last that anything is known of
  std::array<std::string, kMaximumChannels> channel_names;
  std::array<std::string, kMaximumFolders> path_for_folder;
  uint64_t start_timestamp = 0;
  int64_t sample_offset = 0;
  int64_t nr_samples = 0;
  int32_t bit_depth = 0;
  int64_t maximum_file_size = 2047;
  int64_t origination_date;
  Texts texts;
  int32_t piece_count = 0;
  std::string ixml_document;
};

} // namespace vurl
