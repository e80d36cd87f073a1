#include "metadata/MetaData.h"
#include "metadata/RateTexts.h"
#include "platform/Text.h"

#include <string>

// The texts in the headers of take files. Every line ends in "\r\n".

namespace vurl {
namespace {

constexpr size_t kDescriptionLength = 255; ///< characters
constexpr size_t kSparePadding = 2048;     ///< bytes that let a later header grow in place

uint32_t low(uint64_t value) { return static_cast<uint32_t>(value); }
uint32_t high(uint64_t value) { return static_cast<uint32_t>(value >> 32); }

std::string lastPathComponent(const std::string& path) { return path.substr(path.find_last_of('/') + 1); }

/// The lines that tell sample size and encoding; none for a format that is not known.
const char* encodingLines(int32_t bit_depth) {
  switch (bit_depth) {
  case INTEGER16:
    return "\t\t\t<AUDIO_BIT_DEPTH>16</AUDIO_BIT_DEPTH>\r\n"
           "\t\t\t<AUDIO_ENCODING>PCM int</AUDIO_ENCODING>\r\n";
  case INTEGER24:
    return "\t\t\t<AUDIO_BIT_DEPTH>24</AUDIO_BIT_DEPTH>\r\n"
           "\t\t\t<AUDIO_ENCODING>PCM int</AUDIO_ENCODING>\r\n";
  case FLOAT32:
    return "\t\t\t<AUDIO_BIT_DEPTH>32</AUDIO_BIT_DEPTH>\r\n"
           "\t\t\t<AUDIO_ENCODING>PCM float</AUDIO_ENCODING>\r\n";
  default: return "";
  }
}

} // namespace

std::string MetaData::bwfOriginatorReferenceForFile(int32_t file) const {
  return text("KLDQX400000%@%03i%04i", originationDateString("%Y%m%d%H%M%S"), start_timestamp % 1000,
              int64_t{file} + 1);
}

std::string MetaData::bwfDescriptionForFile(int32_t file) const {
  const std::string speed = rateTexts(frame_rate).speed;
  std::string description = text("bPROJECT=%@\r\nbSCENE=%@\r\nbSLATE=%@\r\nbTAKE=%@\r\nbTAPE=%@\r\n", texts.project,
                                 texts.scene, texts.slate, texts.take, texts.roll);
  if (!speed.empty()) description += text("bSPEED=%@\r\n", speed);
  description += text("bFILENAME=%@\r\nbNOTE=%@\r\n", lastPathComponent(filenameForFile(file)), texts.note);
  return std::string(firstCodePoints(description, kDescriptionLength));
}

std::string MetaData::bwfCodingHistoryForFile(int32_t file) const {
  const int32_t tracks = nrTracksForFile(file);
  const std::string mode = tracks == 1 ? "mono" : tracks == 2 ? "stereo" : text("%ich", tracks);
  std::string history =
      text("A=PCM,F=%i,W=32,M=%@\r\nA=PCM,F=%i,W=%i,M=%@\r\n", original_sample_rate, mode, sample_rate, bits(), mode);
  if (history.size() % 2 != 0) history += ' ';
  return history;
}

std::string MetaData::iXMLForFile(int32_t file) const {
  std::string document = "<BWFXML>\r\n\t<IXML_VERSION>1.5</IXML_VERSION>\r\n";
  document += takeElements(file);
  document += speedElement();
  document += syncPointElement();
  document += fileSetElement(file);
  document += trackListElement(file);
  document += bextElement(file);
  document += ownElement();
  document += "</BWFXML>\r\n";
  document.append(kSparePadding, ' ');
  if (document.size() % 2 != 0) document += ' ';
  return document;
}

std::string MetaData::takeElements(int32_t file) const {
  return text("\t<PROJECT>%@</PROJECT>\r\n"
              "\t<SCENE>%@</SCENE>\r\n"
              "\t<SLATE>%@</SLATE>\r\n"
              "\t<TAKE>%@</TAKE>\r\n"
              "\t<TAPE>%@</TAPE>\r\n"
              "\t<COUNT>%i</COUNT>\r\n"
              "\t<FILE_UID>%@</FILE_UID>\r\n"
              "\t<NOTE>%@</NOTE>\r\n",
              texts.project, texts.scene, texts.slate, texts.take, texts.roll, piece_count,
              bwfOriginatorReferenceForFile(file), texts.note);
}

std::string MetaData::speedElement() const {
  const RateTexts rate = rateTexts(frame_rate);
  std::string element = "\t<SPEED>\r\n";
  if (*rate.timecode != '\0') {
    element += text("\t\t<TIMECODE_RATE>%s</TIMECODE_RATE>\r\n"
                    "\t\t<TIMECODE_FLAG>%s</TIMECODE_FLAG>\r\n",
                    rate.timecode, rate.flag);
  }
  element += text("\t\t\t<HARDWARE_SAMPLE_RATE>%i</HARDWARE_SAMPLE_RATE>\r\n"
                  "\t\t\t<DIGITIZER_SAMPLE_RATE>%i</DIGITIZER_SAMPLE_RATE>\r\n"
                  "\t\t\t<FILE_SAMPLE_RATE>%i</FILE_SAMPLE_RATE>\r\n",
                  original_sample_rate, original_sample_rate, sample_rate);
  element += encodingLines(bit_depth);
  element += text("\t\t\t<TIMESTAMP_TEXT>%@</TIMESTAMP_TEXT>\r\n"
                  "\t\t\t<TIMESTAMP_SAMPLES_SINCE_MIDNIGHT_LO>%u</TIMESTAMP_SAMPLES_SINCE_MIDNIGHT_LO>\r\n"
                  "\t\t\t<TIMESTAMP_SAMPLES_SINCE_MIDNIGHT_HI>%u</TIMESTAMP_SAMPLES_SINCE_MIDNIGHT_HI>\r\n"
                  "\t\t\t<TIMESTAMP_SAMPLE_RATE>%i</TIMESTAMP_SAMPLE_RATE>\r\n"
                  "\t\t\t<DURATION_SAMPLES>%qu</DURATION_SAMPLES>\r\n"
                  "\t\t\t<DURATION_TEXT>%@</DURATION_TEXT>\r\n"
                  "\t</SPEED>\r\n",
                  timestampString(), low(start_timestamp), high(start_timestamp), sample_rate,
                  static_cast<uint64_t>(nr_samples), durationString());
  return element;
}

std::string MetaData::syncPointElement() const {
  return text("\t<SYNC_POINT_LIST>\r\n"
              "\t\t<SYNC_POINT>\r\n"
              "\t\t\t<SYNC_POINT_TYPE>ABSOLUTE</SYNC_POINT_TYPE>\r\n"
              "\t\t\t<SYNC_POINT_FUNCTION>SLATE_GENERIC</SYNC_POINT_FUNCTION>\r\n"
              "\t\t\t<SYNC_POINT_COMMENT>TC1</SYNC_POINT_COMMENT>\r\n"
              "\t\t\t<SYNC_POINT_LOW>%u</SYNC_POINT_LOW>\r\n"
              "\t\t\t<SYNC_POINT_HIGH>%u</SYNC_POINT_HIGH>\r\n"
              "\t\t\t<SYNC_POINT_EVENT_DURATION>0</SYNC_POINT_EVENT_DURATION>\r\n"
              "\t\t</SYNC_POINT>\r\n"
              "\t</SYNC_POINT_LIST>\r\n",
              low(start_timestamp), high(start_timestamp));
}

std::string MetaData::fileSetElement(int32_t file) const {
  return text("\t<FILE_SET>\r\n"
              "\t\t<TOTAL_FILES>%i</TOTAL_FILES>\r\n"
              "\t\t<FAMILY_UID>%@</FAMILY_UID>\r\n"
              "\t\t<FAMILY_NAME>%@/%@</FAMILY_NAME>\r\n"
              "\t\t<FILE_SET_INDEX>%i</FILE_SET_INDEX>\r\n"
              "\t</FILE_SET>\r\n",
              nr_files, bwfOriginatorReferenceForFile(-1), texts.scene, texts.take, int64_t{file} + 1);
}

std::string MetaData::trackListElement(int32_t file) const {
  const ChannelMask mask = channelMaskForFile(file);
  std::string element = text("\t<TRACK_LIST>\r\n"
                             "\t\t<TRACK_COUNT>%i</TRACK_COUNT>\r\n",
                             nrTracksForFile(file));
  int32_t track = 0;
  for (int32_t channel = 0; channel < kMaximumChannels; channel++) {
    if (!BitTst(&mask, channel)) continue;
    track++;
    element += text("\t\t<TRACK>\r\n"
                    "\t\t\t<CHANNEL_INDEX>%i</CHANNEL_INDEX>\r\n"
                    "\t\t\t<INTERLEAVE_INDEX>%i</INTERLEAVE_INDEX>\r\n"
                    "\t\t\t<NAME>%@</NAME>\r\n"
                    "\t\t</TRACK>\r\n",
                    channel + 1, track, nameForChannel(channel));
  }
  return element + "\t</TRACK_LIST>\r\n";
}

std::string MetaData::bextElement(int32_t file) const {
  return text("\t<BEXT>\r\n"
              "\t\t<BWF_DESCRIPTION>%@</BWF_DESCRIPTION>\r\n"
              "\t\t<BWF_ORIGINATOR>%@</BWF_ORIGINATOR>\r\n"
              "\t\t<BWF_ORIGINATOR_REFERENCE>%@</BWF_ORIGINATOR_REFERENCE>\r\n"
              "\t\t<BWF_ORIGINATION_DATE>%@</BWF_ORIGINATION_DATE>\r\n"
              "\t\t<BWF_ORIGINATION_TIME>%@</BWF_ORIGINATION_TIME>\r\n"
              "\t\t<BWF_TIMEREFERENCE_LOW>%u</BWF_TIMEREFERENCE_LOW>\r\n"
              "\t\t<BWF_TIMEREFERENCE_HIGH>%u</BWF_TIMEREFERENCE_HIGH>\r\n"
              "\t\t<BWF_VERSION>%@</BWF_VERSION>\r\n"
              "\t\t<BWF_UMID></BWF_UMID>\r\n"
              "\t\t<BWF_RESERVED></BWF_RESERVED>\r\n"
              "\t\t<BWF_CODING_HISTORY>%@</BWF_CODING_HISTORY>\r\n"
              "\t</BEXT>\r\n",
              bwfDescriptionForFile(file), bwfOriginator(), bwfOriginatorReferenceForFile(file), bwfOriginationDate(),
              bwfOriginationTime(), low(start_timestamp), high(start_timestamp), bwfVersion(),
              bwfCodingHistoryForFile(file));
}

std::string MetaData::ownElement() const {
  return text("\t<KELDARIS>\r\n"
              "\t\t<CONTACT_INFO>%@</CONTACT_INFO>\r\n"
              "\t\t<SESSION_NOTE>%@</SESSION_NOTE>\r\n"
              "\t</KELDARIS>\r\n",
              texts.contact_info, texts.session_note);
}

} // namespace vurl
