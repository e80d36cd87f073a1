#include "app/HistoryControler.h"

#include "app/SoundReport.h"
#include "files/OutputFile.h"
#include "platform/Log.h"

#include <dirent.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <utility>

namespace vurl {
namespace {

constexpr std::chrono::milliseconds kSlice{8}; ///< what a load takes of the main loop at a time

bool isTakeFile(std::string_view name) { return name.ends_with(".wav") || name.ends_with(".caf"); }

/// The full paths of the take files in `folder` by the order of their names, behind those in `paths`. False, with a log
/// line, when there is no such folder.
bool addTakeFiles(const std::string& folder, std::vector<std::string>& paths) {
  DIR* const directory = opendir(folder.c_str());
  if (directory == nullptr) {
    log("Could not open dir %@: %s", folder, systemError(errno));
    return false;
  }
  const auto first = static_cast<std::ptrdiff_t>(paths.size());
  while (const dirent* const entry = readdir(directory)) {
    if (isTakeFile(entry->d_name)) paths.push_back(folder + '/' + entry->d_name);
  }
  if (closedir(directory) != 0) log("Could not close dir %@: @s", folder);
  std::sort(paths.begin() + first, paths.end());
  return true;
}

} // namespace

/// A load that is under way.
struct HistoryControler::Loading {
  std::vector<std::string> paths;
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
  // A timer leaves the loop's other timers and watches their turn after every slice, which a chain of posts need not.
  loading->timer = run_loop.every(std::chrono::milliseconds(1), [this] {
    if (!loadNextFiles()) finishLoading();
  });
}

void HistoryControler::loadHistoryAtOnce() {
  if (loading == nullptr) beginLoading();
  while (loadNextFiles()) {
  }
  finishLoading();
}

void HistoryControler::beginLoading() {
  loading = std::make_unique<Loading>();
  is_reading = true;
  loading->paths = filesOfFolders();
}

std::vector<std::string> HistoryControler::filesOfFolders() {
  std::vector<std::string> paths;
  for (const std::string& folder : folders()) {
    const std::string path = expandTilde(folder);
    if (addTakeFiles(path, paths)) setWebFolder(path);
  }
  return paths;
}

/// Reads files until the slice is over. Returns whether there are more.
bool HistoryControler::loadNextFiles() {
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
  loading.reset();
  list.sort();
  is_reading = again;
  reload();
  if (again) {
    loadHistory();
  } else {
    rewritePartialReports();
  }
}

void HistoryControler::completeReports() {
  while (isLoading() && is_report_partial) loadHistoryAtOnce();
  if (saving.joinable()) saving.join();
}

void HistoryControler::rewritePartialReports() {
  if (!is_report_partial.exchange(false)) return;
  if (saving.joinable()) saving.join();
  saving = std::thread([this] { saveHistory(); });
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
  printing = std::thread([this, folder] {
    std::string reason;
    const auto rendered = renderSoundReport(folder, list.takes(), reason);
    if (!rendered) log("Could not render the sound report of %@: %@", folder, reason);
    opener(rendered.value_or(soundReportXML(folder)));
    is_printing = false;
  });
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

std::vector<std::string> HistoryControler::folders() const {
  std::vector<std::string> paths;
  const int64_t nr_folders = std::clamp<int64_t>(defaults.integerForKey("nr_folders"), 0, 16);
  for (int64_t folder = 0; folder < nr_folders; folder++) {
    paths.push_back(defaults.stringForKey(text("path_for_folder%02i", folder)));
  }
  return paths;
}

} // namespace vurl
