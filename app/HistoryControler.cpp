#include "app/HistoryControler.h"

#include "app/SalvageTexts.h"
#include "app/SoundReport.h"
#include "app/TakeFolders.h"
#include "files/OutputFile.h"
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
  ~Loading() {
    is_given_up = true;
    if (salvager.joinable()) salvager.join();
  }

  std::vector<std::string> paths;
  std::vector<Salvage> salvaged; ///< the salvager's own while it runs
  std::atomic<bool> is_salvaging = false;
  std::atomic<bool> is_given_up = false;
  std::thread salvager;
  size_t next = 0;
  bool again = false; ///< the folders have changed meanwhile
  RunLoop::Handle timer;
};

HistoryControler::HistoryControler(const UserDefaults& user_defaults, RunLoop& loop, HistoryView& history_view,
                                   Opener open)
    : defaults(user_defaults), run_loop(loop), view(history_view), opener(std::move(open)) {}

HistoryControler::~HistoryControler() {
  for (std::thread* const thread : {&saving, &printing}) {
    if (thread->joinable()) thread->join();
  }
}

void HistoryControler::loadHistory() {
  if (loading != nullptr) {
    loading->again = true;
    return;
  }
  beginLoading();
  beginSalvage();
  // A timer leaves the loop's other timers and watches their turn after every slice, which a chain of posts need not.
  loading->timer = run_loop.every(std::chrono::milliseconds(1), [this] {
    if (!loadNextFiles()) finishLoading();
  });
}

void HistoryControler::loadHistoryAtOnce() {
  if (loading == nullptr) beginLoading();
  if (loading->salvager.joinable()) loading->salvager.join();
  while (loadNextFiles()) {
  }
  finishLoading();
}

void HistoryControler::beginLoading() {
  loading = std::make_unique<Loading>();
  is_reading = true;
  loading->paths = filesOfFolders();
}

void HistoryControler::beginSalvage() {
  loading->is_salvaging = true;
  loading->salvager = newThread([this, &load = *loading] {
    for (const std::string& path : load.paths) {
      if (load.is_given_up) break;
      Salvage found = salvageFile(path, defaults, false);
      const bool has_failed = found.outcome == Salvage::Outcome::failed;
      if (has_failed && found.nr_frames == 0) {
        log("%@ cannot be looked at: %@", path, found.reason); // nobody knows whether it was cut off
      } else if (has_failed || found.outcome == Salvage::Outcome::completed) {
        load.salvaged.push_back(std::move(found));
      }
    }
    load.is_salvaging = false;
  });
  if (!loading->salvager.joinable()) loading->is_salvaging = false; // the next start sees to it
}

std::vector<std::string> HistoryControler::filesOfFolders() {
  std::vector<std::string> paths;
  for (const std::string& folder : folders()) {
    const std::string path = expandTilde(folder);
    if (const int error = addTakeFiles(path, paths); error != 0) {
      log("Could not open dir %@: %s", path, systemError(error));
    } else {
      setWebFolder(path);
    }
  }
  return paths;
}

/// Reads files until the slice is over. Returns whether there are more.
bool HistoryControler::loadNextFiles() {
  if (loading->is_salvaging) return true;
  const auto end = std::chrono::steady_clock::now() + kSlice;
  while (loading->next < loading->paths.size() && std::chrono::steady_clock::now() < end) {
    MetaData record(defaults);
    const int32_t file = OutputFile::readHeader(loading->paths[loading->next], record);
    if (file >= 0) {
      list.addFile(std::move(record), file);
    } else {
      log("Not a take that can be listed: %@", loading->paths[loading->next]);
    }
    loading->next++;
  }
  view.showHistoryProgress(loading->next, loading->paths.size());
  return loading->next < loading->paths.size();
}

void HistoryControler::finishLoading() {
  const bool again = loading->again;
  if (loading->salvager.joinable()) loading->salvager.join();
  const std::vector<SalvagedTake> saved = takesOf(loading->salvaged);
  loading.reset();
  list.sort();
  is_reading = again;
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
  if (isLoading() && loading->salvager.joinable()) {
    loading->is_given_up = true;
    loading->salvager.join();
    if (!loading->salvaged.empty()) is_report_partial = true; // told now or never: their headers are complete
  }
  while (isLoading() && is_report_partial) loadHistoryAtOnce();
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
  const std::lock_guard lock(web_folder_mutex);
  web_folder = path;
}

std::string HistoryControler::webFolder() const {
  const std::lock_guard lock(web_folder_mutex);
  return web_folder;
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
