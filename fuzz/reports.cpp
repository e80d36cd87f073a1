// Texts of the user's, as hostile as they come, in everything that is written of a take: headers of both formats with
// their documents, the CSV line, the XML report, and the page made of that. By the first byte of the input a
// report follows that somebody else has written, or the texts of two takes, for headers or for a report.
#include "app/SoundReport.h"
#include "files/BWFUtils.h"
#include "files/CAFUtils.h"
#include "fuzz/Rig.h"
#include "platform/Resources.h"
#include "platform/StyleSheet.h"
#include "platform/WholeFile.h"
#include "platform/XmlDocument.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <array>

namespace vurl::fuzz {
namespace {

constexpr int64_t kSamples = 48000;

using Texts = std::array<std::string, 10>; ///< the eight of the slate, a channel's name, a folder

MetaData recordOf(const Texts& texts, const UserDefaults& defaults, int64_t date) {
  MetaData record(defaults);
  record.setOriginationDate(date);
  record.setSampleRate(48000);
  record.setFrameRate(FRAME_RATE_25);
  record.setNrChannels(8);
  record.setNrFiles(2);
  record.setNrFolders(1);
  record.setFileFormat(MetaData::kBWF);
  record.setBitDepth(INTEGER24);
  record.setSampleOffset(kHeaderSize);
  record.setNrSamples(kSamples);
  record.setEnable(true, 3, 0);
  record.setEnable(true, 5, 1);
  constexpr std::array kSetters{&MetaData::setProject,     &MetaData::setScene,      &MetaData::setSlate,
                                &MetaData::setTake,        &MetaData::setRoll,       &MetaData::setNote,
                                &MetaData::setContactInfo, &MetaData::setSessionNote};
  for (size_t i = 0; i < kSetters.size(); i++) (record.*kSetters[i])(texts[i]);
  record.setName(texts[8], 3);
  record.setPath(texts[9], 0);
  return record;
}

/// A note that is long does not fit into a header.
void checkHeaders(MetaData record, bool is_long) {
  record.setFilename(record.filenameForFile(0), 0); // as for every take that is recorded
  std::string note = record.note();
  while (is_long && note.size() < 100'000) note += note + '.';
  record.setNote(note);
  std::vector<uint8_t> block(kHeaderSize);
  require(add_bwf(block.data(), 0, record, 0) == kHeaderSize, "a header fills its block");
  MetaData back = record;
  back.setNrSamples(0);
  require(get_bwf(block.data(), 0, back, kHeaderSize) >= 0, "a header can be read");
  require(back.nrSamples() == kSamples && back.sampleOffset() == kHeaderSize && back.bitDepth() == INTEGER24,
          "a header tells of its samples");
  block.resize(kHeaderSize + 4); // the writer stores that much behind
  require(add_caf(block.data(), 0, record, 0) == kHeaderSize, "a header fills its block");
}

std::string resource(const char* type) {
  std::string reason;
  return readWholeFile(Resources::path("soundreport", type).value_or(""), reason).value_or("");
}

/// The program's own reading of a report, and the page.
void checkPage(const std::string& xml, const std::vector<TakePointer>& takes) {
  std::string reason;
  static const std::string style = resource("css");
  static const auto sheet = StyleSheet::parse(resource("xsl"), reason);
  require(sheet.has_value(), "the stylesheet can be read");
  const std::string input = soundReportInput(xml, takes);
  require(XmlDocument::parse(input, reason).has_value() || input.size() > 4'000'000,
          "a report can be read whatever it holds");
  const auto page = sheet->apply(input, {{"style", style}}, reason);
  require(page.has_value() && page->find("</html>") != std::string::npos, "a page is made of every report");
  for (const char* const element : {"<script", "<iframe", "<img", "<object", "<base"})
    require(page->find(element) == std::string::npos, "no text becomes an element of the page");
}

enum Kind : uint8_t { a_report, for_headers, for_a_report = 3 };

void checkTexts(FuzzedDataProvider& input, Kind kind) {
  UserDefaults defaults;
  defaults.setObject(input.ConsumeRandomLengthString(20), "filename_format");
  const bool is_long = input.ConsumeIntegral<uint8_t>() > 250;
  std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n<BWFXML-LIST>\r\n";
  TakeList list;
  for (const int64_t date : {1237043366, 1237043400}) {
    Texts texts;
    for (auto& text : texts) text = input.ConsumeRandomLengthString(200);
    const MetaData record = recordOf(texts, defaults, date);
    if (kind != for_a_report) checkHeaders(record, is_long);
    list.append(record);
    xml += list.takes().back()->reportText() + "\r\n";
  }
  if (kind == for_a_report) checkPage(xml + "</BWFXML-LIST>\r\n", list.takes());
}

} // namespace
} // namespace vurl::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vurl;
  if (size == 0) return 0;
  FuzzedDataProvider input(data + 1, size - 1);
  const auto kind = static_cast<fuzz::Kind>(data[0] % 4);
  if (kind == fuzz::a_report) {
    fuzz::checkPage(input.ConsumeRemainingBytesAsString(), {});
  } else {
    fuzz::checkTexts(input, kind);
  }
  return 0;
}
