#include "app/HistoryControler.h"

#include "app/SalvageTexts.h"
#include "app/SoundReport.h"
#include "app/TakeFolders.h"
#include "app/TakeReader.h"
#include "platform/Log.h"
#include "platform/NewThread.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <optional>
#include <utility>

namespace vurl {
namespace {

constexpr std::chrono::milliseconds kSlice{8}; ///< what a load takes of the main loop at a time
constexpr size_t kMostInSlice = 100;           ///< files, so that the progress is seen

/// The length of the longest file that has been completed; nothing when all have failed.
std::optional<int64_t> framesOf(const SalvagedTake& take) {
  std::optional<int64_t> longest;
  for (const Salvage& file : take.files)
    if (file.outcome == Salvage::Outcome::completed) longest = std::max(longest, std::optional(file.nr_frames));
  return longest;
}

} // namespace

/// A load that is under way.
struct HistoryControler::Loading {
  std::unique_ptr<TakeReader> reader;
  std::vector<Salvage> salvaged; ///< by a reader that was given up
  size_t nr_read = 0;
  bool is_silence_told = false;
  bool again = false; ///< the folders have changed meanwhile
  RunLoop::Handle timer;
};

HistoryControler::HistoryControler(const UserDefaults& user_defaults, RunLoop& loop, HistoryView& history_view,
                                   Opener open, TakeReader::Lister file_lister)
    : defaults(user_defaults),
      run_loop(loop),
      view(history_view),
      opener(std::move(open)),
      lister(std::move(file_lister)) {}

HistoryControler::~HistoryControler() {
  for (std::thread* const thread : {&saving, &printing}) {
    if (thread->joinable()) thread->join();
  }
}

void HistoryControler::loadHistory() {
  // For a folder that does not answer the user may have chosen another one now.
  if (loading != nullptr && !loading->is_silence_told) {
    loading->again = true;
    return;
  }
  beginLoading(true);
  // A timer leaves the loop's other timers and watches their turn after every slice, which a chain of posts need not.
  loading->timer = run_loop.every(std::chrono::milliseconds(1), [this] {
    if (!loadNextFiles()) finishLoading();
  });
}

void HistoryControler::loadHistoryAtOnce() {
  if (loading == nullptr) beginLoading(false);
  while (loadNextFiles()) loading->reader->wait();
  finishLoading();
}

void HistoryControler::beginLoading(bool salvages) {
  std::vector<std::string> paths;
  for (const std::string& folder : folders()) paths.push_back(expandTilde(folder));
  auto next = std::make_unique<Loading>();
  if (loading != nullptr) next->salvaged = salvagedByNow();
  loading = std::move(next);
  is_reading = true;
  loading->reader = std::make_unique<TakeReader>(defaults, std::move(paths), salvages, lister);
}

std::vector<Salvage> HistoryControler::salvagedByNow() const {
  std::vector<Salvage> found = loading->salvaged;
  const std::vector<Salvage> by_reader = loading->reader->salvaged();
  found.insert(found.end(), by_reader.begin(), by_reader.end());
  return found;
}

/// Lists what has been read until the slice is over. Returns whether there is, or will be, more.
bool HistoryControler::loadNextFiles() {
  TakeReader& reader = *loading->reader;
  tellSilence();
  if (!reader.isReading()) return true;
  const std::string last_folder = reader.lastFolder();
  if (loading->nr_read == 0 && !last_folder.empty()) setWebFolder(last_folder);
  const auto end = std::chrono::steady_clock::now() + kSlice;
  for (size_t i = 0; i < kMostInSlice && std::chrono::steady_clock::now() < end; i++) {
    auto header = reader.next();
    if (!header) break;
    if (header->file >= 0) list.addFile(std::move(header->record), header->file);
    loading->nr_read++;
  }
  view.showHistoryProgress(loading->nr_read, reader.nrFiles());
  return loading->nr_read < reader.nrFiles();
}

void HistoryControler::tellSilence() {
  const std::string folder = loading->reader->silentFolder();
  if (folder.empty()) return;
  setSilentFolder(folder);
  if (std::exchange(loading->is_silence_told, true)) return;
  if (tell_silence) return tell_silence(folder);
  warn("%@ does not answer; the history waits for it.", folder);
}

void HistoryControler::finishLoading() {
  const bool again = loading->again;
  const std::vector<SalvagedTake> saved = takesOf(salvagedByNow());
  loading.reset();
  list.sort();
  is_reading = again;
  setSilentFolder("");
  reload();
  noteSalvaged(saved);
  if (!saved.empty() && tell_salvaged) tell_salvaged(saved);
  if (again) {
    loadHistory();
  } else {
    rewritePartialReports();
  }
}

/// A take that was cut off never came to be reported. Those in Core Audio Format are told of only, as are all that the
/// history cannot read. Of lengths that no header holds the CSV report has the true one.
void HistoryControler::noteSalvaged(const std::vector<SalvagedTake>& saved) {
  const std::vector<TakePointer> listed = list.takes();
  for (const SalvagedTake& take : saved) {
    log("A take was cut off: %@", salvageLine(take));
    const auto entry = std::find_if(listed.begin(), listed.end(), [&](const TakePointer& each) {
      return each->reference == take.files[0].take_reference;
    });
    const auto nr_frames = framesOf(take);
    if (!nr_frames || entry == listed.end()) continue;
    salvaged.emplace_back((*entry)->meta_data).setNrSamples(*nr_frames);
    is_report_partial = true;
  }
}

void HistoryControler::reportSalvaged(const std::vector<SalvagedTake>& saved) {
  noteSalvaged(saved);
  rewritePartialReports();
  if (saving.joinable()) saving.join();
}

void HistoryControler::completeReports() {
  while (isLoading()) {
    if (!loading->reader->silentFolder().empty()) { // and may never answer
      noteSalvaged(takesOf(salvagedByNow()));
      loading.reset();
      break;
    }
    loading->reader->endSalvage();
    if (!salvagedByNow().empty()) is_report_partial = true; // told now or never: their headers are complete
    if (loading->reader->isReading() && !is_report_partial) break;
    if (loadNextFiles()) {
      loading->reader->wait();
    } else {
      finishLoading();
    }
  }
  if (saving.joinable()) saving.join();
}

void HistoryControler::rewritePartialReports() {
  if (!is_report_partial.exchange(false)) return;
  if (saving.joinable()) saving.join();
  saving = newThread([this, unreported = salvaged] {
    for (const MetaData& take : unreported) addToCSVOnce(take);
    saveHistory();
  });
  if (saving.joinable())
    salvaged.clear();
  else
    is_report_partial = true;
}

void HistoryControler::reload() {
  shown = list.takes();
  view.reloadHistory();
  if (!shown.empty()) view.selectHistoryRow(numberOfRows() - 1);
}

void HistoryControler::addMetaData(const std::shared_ptr<const MetaData>& meta_data) {
  list.append(*meta_data);
  run_loop.post([this, still = std::weak_ptr(alive)] {
    if (!still.expired()) reload();
  });
  addToCSV(*meta_data);
  if (is_reading) is_report_partial = true;
  saveHistory();
}

std::shared_ptr<const MetaData> HistoryControler::selectedMetaData() const {
  return metaDataOfRow(view.selectedHistoryRow());
}

std::shared_ptr<const MetaData> HistoryControler::metaDataOfRow(int32_t row) const {
  if (row < 0 || row >= numberOfRows()) return nullptr;
  const TakePointer& take = shown[static_cast<size_t>(row)];
  return {take, &take->meta_data};
}

void HistoryControler::setWebFolder(const std::string& path) {
  const std::lock_guard lock(folder_mutex);
  web_folder = path;
}

std::string HistoryControler::webFolder() const {
  const std::lock_guard lock(folder_mutex);
  return web_folder;
}

void HistoryControler::setSilentFolder(const std::string& path) {
  const std::lock_guard lock(folder_mutex);
  silent_folder = path;
}

std::string HistoryControler::silentFolder() const {
  const std::lock_guard lock(folder_mutex);
  return silent_folder;
}

void HistoryControler::print() {
  const std::string folder = expandTilde(webFolder());
  if (folder.empty() || is_printing.exchange(true)) return;
  if (printing.joinable()) printing.join();
  printing = newThread([this, folder] {
    std::string reason;
    const auto rendered = renderSoundReport(folder, list.takes(), reason);
    if (!rendered) log("Could not render the sound report of %@: %@", folder, reason);
    opener(rendered.value_or(soundReportXML(folder)));
    is_printing = false;
  });
  if (!printing.joinable()) is_printing = false;
}

std::string HistoryControler::objectValue(std::string_view column, int32_t row) const {
  const auto meta_data = metaDataOfRow(row);
  if (meta_data == nullptr) return "";
  const MetaData& take = *meta_data;
  if (column == "date") return take.originationDateString("%Y-%m-%d %H:%M:%S");
  if (column == "timecode") return take.timestampString();
  if (column == "duration") return take.durationString();
  if (column == "filename") return take.filenameForFile(0);
  if (column == "project") return take.project();
  if (column == "scene") return take.scene();
  if (column == "slate") return take.slate();
  if (column == "take") return take.take();
  if (column == "roll") return take.roll();
  if (column == "count") return text("%i", take.count());
  if (column == "note") return take.note();
  if (column == "sample_rate") return text("%i", take.sampleRate());
  return column == "bit_depth" ? take.bitDepthString() : "";
}

std::vector<std::string> HistoryControler::folders() const { return destinationFolders(defaults); }

} // namespace vurl
