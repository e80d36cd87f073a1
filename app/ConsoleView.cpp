#include "app/ConsoleView.h"

#include "app/Json.h"
#include "engine/AudioRing.h"
#include "platform/Log.h"

#include <sys/ioctl.h>

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>

namespace vurl {
namespace {

constexpr int kMostLooks = 25;   ///< at the disks, for 5 s: then a take is printed without waiting for them
constexpr size_t kMostTold = 10; ///< incidents of a take, on the terminal

std::vector<std::string> filesOf(const FinishedTake& take) {
  std::vector<std::string> files;
  for (int32_t file = 0; take.meta_data != nullptr && file < take.nr_files; ++file) {
    files.push_back(take.meta_data->filenameForFile(file));
  }
  return files;
}

double percentOfRing(int64_t samples) { return 100.0 * static_cast<double>(samples) / AudioRing::kRingSamples; }

Json asJson(const Incident& incident) {
  static constexpr std::array kKinds = {"samples lost", "overload", "time jump", "standstill"};
  Json object = {{"kind", kKinds[static_cast<size_t>(incident.kind)]}, {"position", incident.position}};
  const bool is_known = incident.kind != Incident::Kind::samples_lost || incident.amount != 0;
  const char* const unit = incident.kind == Incident::Kind::standstill ? "milliseconds" : "samples";
  if (incident.kind != Incident::Kind::overload) object[unit] = is_known ? Json(incident.amount) : Json(nullptr);
  return object;
}

/// Whether a few lines can be written without waiting: a reader that stalls must not hold up STOP.
bool takesOutput(int descriptor) {
  pollfd output{descriptor, POLLOUT, 0};
  return poll(&output, 1, 0) == 1;
}

void tellIncidents(const IncidentList& incidents) {
  if (incidents.size() == 0 || !takesOutput(STDERR_FILENO)) return; // the log has them, too
  std::fprintf(stderr, "vurl: The take had %s.\n", inWords(incidents).c_str());
  const size_t nr_told = std::min(incidents.first.size(), kMostTold);
  for (size_t i = 0; i < nr_told; ++i) std::fprintf(stderr, "vurl: %s.\n", inWords(incidents.first[i]).c_str());
  if (incidents.size() > nr_told) std::fprintf(stderr, "vurl: ... and more; the log has the first hundred.\n");
}

/// A longer line would wrap, and scroll.
int terminalWidth(int descriptor) {
  winsize size{};
  return ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

/// Whether `path`, a file or a folder with its slash, belongs to the take.
bool concerns(const FinishedTake& take, const std::string& path) {
  const auto files = filesOf(take);
  return std::any_of(files.begin(), files.end(), [&](const std::string& file) {
    return file == path || (path.ends_with('/') && file.substr(0, file.find_last_of('/') + 1) == path);
  });
}

} // namespace

ConsoleView::ConsoleView(bool as_json) : json(as_json), live(isatty(STDERR_FILENO) == 1) {}

ConsoleView::~ConsoleView() { clearLiveLine(); }

std::string ConsoleView::asJson(const Waiting& waiting) {
  const FinishedTake& take = waiting.take;
  Json object;
  object["files"] = filesOf(take);
  object["samples"] = take.meta_data ? take.meta_data->nrSamples() : 0;
  object["sample_rate"] = take.meta_data ? take.meta_data->sampleRate() : 0;
  object["timestamp"] = take.meta_data ? take.meta_data->timestamp() : 0;
  object["timecode"] = take.meta_data ? take.meta_data->timestampString() : "";
  object["longest_backlog_percent"] = std::round(percentOfRing(take.longest_backlog) * 100) / 100;
  object["reason"] = take.reason ? Json(*take.reason) : Json(nullptr);
  object["nr_incidents"] = take.incidents.size() + waiting.unsynced.size();
  object["incidents"] = Json::array();
  for (const Incident& incident : take.incidents.first) object["incidents"].push_back(vurl::asJson(incident));
  for (const auto& [path, error] : waiting.unsynced)
    object["incidents"].push_back({{"kind", "not on disk"}, {"file", path}, {"error", error}});
  return object.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void ConsoleView::tell(const std::string& words) {
  clearLiveLine();
  warn("%@", words);
}

void ConsoleView::showAlert(const std::string& message, const std::string& informative_text) {
  clearLiveLine();
  if (!takesOutput(STDERR_FILENO)) return log("%@ %@", message, informative_text);
  std::fprintf(stderr, "vurl: %s %s\n", message.c_str(), informative_text.c_str());
}

void ConsoleView::showCurrentTime(const std::string& timecode, bool is_locked) {
  current_time = timecode;
  locked = is_locked;
}

void ConsoleView::showTakeLength(const std::string& timecode) {
  length = timecode;
  showLiveLine();
}

void ConsoleView::showRing(const RingPositions& positions) {
  backlog_percent = percentOfRing(positions.device - positions.recording);
  longest_backlog_percent = percentOfRing(positions.longest_backlog);
  if (std::exchange(stands_still, positions.stands_still) != positions.stands_still) clearLiveLine(); // is told
  const bool synced = !is_synced || is_synced();
  if (std::exchange(was_synced, synced) && synced) printSynced(); // what failed has been told by now
  for (Waiting& waiting : waiting_takes) ++waiting.looks;
  if (!waiting_takes.empty() && waiting_takes.front().looks > kMostLooks) printSynced();
  printResults(false);
}

void ConsoleView::showLiveLine() {
  if (!live || !takesOutput(STDERR_FILENO)) return;
  const std::string line =
      text("%@ %-7s  take %@  ring %3.0f %%, at most %.0f %%  %@", current_time, locked ? "locked" : "no lock", length,
           backlog_percent, longest_backlog_percent, loudest.takeText());
  std::fprintf(stderr, "\r%.*s\x1b[K", terminalWidth(STDERR_FILENO) - 1, line.c_str());
  std::fflush(stderr);
  line_is_shown = true;
}

void ConsoleView::clearLiveLine() {
  if (!line_is_shown || !takesOutput(STDERR_FILENO)) return;
  std::fputs("\r\x1b[K", stderr);
  std::fflush(stderr);
  line_is_shown = false;
}

/// Writes no more at a time than what poll() promised room for.
void ConsoleView::printResults(bool wait) {
  while (!results.empty() && (wait || takesOutput(STDOUT_FILENO))) {
    const ssize_t written = write(STDOUT_FILENO, results.data(), std::min<size_t>(results.size(), PIPE_BUF));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      print_failed = true;
      results.clear();
      return;
    }
    results.erase(0, static_cast<size_t>(written));
  }
}

void ConsoleView::printSynced() {
  for (const Waiting& waiting : waiting_takes) results += asJson(waiting) + "\n";
  waiting_takes.clear();
}

bool ConsoleView::flush(bool wait) {
  clearLiveLine();
  printSynced();
  printResults(wait);
  return !print_failed;
}

void ConsoleView::takeFinished(const FinishedTake& take) {
  clearLiveLine();
  any_reason = any_reason || take.reason.has_value();
  was_synced = false;
  if (json) {
    waiting_takes.push_back({take, {}});
  } else {
    for (const std::string& file : filesOf(take)) results += file + "\n";
  }
  tellIncidents(take.incidents);
  printResults(false);
  if (!take.continues && when_finished) when_finished();
}

void ConsoleView::fileNotSynced(const std::string& path, const std::string& error) {
  for (Waiting& waiting : waiting_takes)
    if (concerns(waiting.take, path)) waiting.unsynced.emplace_back(path, error);
}

void ConsoleView::playbackFinished(const std::optional<std::string>& reason) {
  clearLiveLine();
  any_reason = any_reason || reason.has_value();
  if (when_played) when_played();
}

} // namespace vurl
