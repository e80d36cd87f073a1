// The files that tell of the history beside the takes: XML in every folder, CSV for the session.
#include "app/HistoryControler.h"
#include "app/SoundReport.h"
#include "files/FileLayer.h"
#include "files/utils.h"
#include "platform/Log.h"
#include "platform/OwnLinks.h"
#include "platform/Resources.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace vurl {
namespace {

// A FIFO in a report's place fails to open rather than to keep the processing thread waiting.
constexpr int kWrite = O_WRONLY | O_CREAT | O_NONBLOCK;

int writeText(int descriptor, const std::string& text) {
  PosixFileLayer layer;
  return writeAll(layer, descriptor, reinterpret_cast<const uint8_t*>(text.data()), text.size());
}

/// Writes the report to `path`. False, with a log line, at the first step that fails.
bool writeXML(const std::string& path, const std::string& report) {
  const int descriptor = openPastOwnLinks(path, kWrite | O_TRUNC);
  if (descriptor < 0) {
    log("Could not open soundreport.xml: %s", systemError(errno));
    return false;
  }
  if (const int error = writeText(descriptor, report); error != 0) {
    log("Could not write to soundreport.xml file: %s", systemError(error));
    close(descriptor);
    return false;
  }
  if (close(descriptor) == 0) return true;
  log("Could not close soundreport.xml file: %s", systemError(errno));
  return false;
}

void copyStyles(const std::string& folder) {
  for (const char* const type : {"xsl", "css"}) {
    if (const auto style = Resources::path("soundreport", type)) {
      copy(style->c_str(), (folder + "/soundreport." + type).c_str());
    } else {
      log("The program has no soundreport.%s", type);
    }
  }
}

/// Whether the take's CSV report has its line.
bool isInCSV(const MetaData& meta_data) {
  PosixFileLayer layer;
  const int descriptor = layer.openForReading(meta_data.csvFilename());
  if (descriptor < 0) return false;
  std::string report;
  std::array<char, 65536> piece{};
  ssize_t size = 0;
  while ((size = layer.read(descriptor, piece.data(), piece.size())) > 0)
    report.append(piece.data(), static_cast<size_t>(size));
  close(descriptor);
  return report.find(meta_data.csvLine()) != std::string::npos;
}

void appendToCSV(const MetaData& meta_data) {
  const std::string path = meta_data.csvFilename();
  int descriptor = openPastOwnLinks(path, kWrite | O_APPEND | O_EXCL);
  const bool is_new = descriptor >= 0;
  if (!is_new) descriptor = openPastOwnLinks(path, kWrite | O_APPEND);
  if (descriptor < 0) {
    log("Could not open csv file: %s", systemError(errno));
    return;
  }
  if (const int error = is_new ? writeText(descriptor, MetaData::csvHeader()) : 0; error != 0) {
    log("Could not write header to csv file: %s", systemError(error));
    close(descriptor);
    return;
  }
  if (const int error = writeText(descriptor, meta_data.csvLine()); error != 0) {
    log("Could not write to csv file: %s", systemError(error));
  }
  if (close(descriptor) != 0) log("Could not close csv file: %s", systemError(errno));
}

} // namespace

std::string HistoryControler::bwfXMLList() const {
  std::string report = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n"
                       "<?xml-stylesheet type=\"text/xsl\" href=\"soundreport.xsl\" ?>\r\n"
                       "<BWFXML-LIST>\r\n";
  for (const TakePointer& take : list.takes()) report += take->reportText() + "\r\n";
  return report + "</BWFXML-LIST>\r\n";
}

void HistoryControler::saveHistory() {
  const std::vector<std::string> stored = folders();
  if (stored.empty()) return;
  const std::lock_guard lock(report_mutex);
  const std::string report = bwfXMLList();
  for (const std::string& folder : stored) {
    const std::string path = expandTilde(folder);
    if (path == silentFolder()) continue; // the processing thread must not wait for it
    if (!writeXML(soundReportXML(path), report)) return;
    copyStyles(path);
    setWebFolder(folder);
  }
}

void HistoryControler::addToCSV(const MetaData& meta_data) {
  const std::lock_guard lock(csv_mutex);
  appendToCSV(meta_data);
}

void HistoryControler::addToCSVOnce(const MetaData& meta_data) {
  const std::lock_guard lock(csv_mutex);
  if (!isInCSV(meta_data)) appendToCSV(meta_data);
}

} // namespace vurl
