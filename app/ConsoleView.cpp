#include "app/ConsoleView.h"

#include "engine/AudioRing.h"
#include "platform/Text.h"

#include <nlohmann/json.hpp>
#include <sys/ioctl.h>

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>

namespace vurl {
namespace {

using Json = nlohmann::ordered_json;

std::vector<std::string> filesOf(const FinishedTake& take) {
  std::vector<std::string> files;
  for (int32_t file = 0; take.meta_data != nullptr && file < take.nr_files; ++file) {
    files.push_back(take.meta_data->filenameForFile(file));
  }
  return files;
}

double percentOfRing(int64_t samples) { return 100.0 * static_cast<double>(samples) / AudioRing::kRingSamples; }

std::string asJson(const FinishedTake& take) {
  Json object;
  object["files"] = filesOf(take);
  object["samples"] = take.meta_data ? take.meta_data->nrSamples() : 0;
  object["sample_rate"] = take.meta_data ? take.meta_data->sampleRate() : 0;
  object["timestamp"] = take.meta_data ? take.meta_data->timestamp() : 0;
  object["timecode"] = take.meta_data ? take.meta_data->timestampString() : "";
  object["longest_backlog_percent"] = std::round(percentOfRing(take.longest_backlog) * 100) / 100;
  object["reason"] = take.reason ? Json(*take.reason) : Json(nullptr);
  return object.dump(-1, ' ', false, Json::error_handler_t::replace);
}

bool takesOutput(int descriptor) {
  pollfd output{descriptor, POLLOUT, 0};
  return poll(&output, 1, 0) == 1;
}

/// A longer line would wrap, and scroll.
int terminalWidth(int descriptor) {
  winsize size{};
  return ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

} // namespace

ConsoleView::ConsoleView(bool as_json) : json(as_json), live(isatty(STDERR_FILENO) == 1) {}

ConsoleView::~ConsoleView() { clearLiveLine(); }

void ConsoleView::showAlert(const std::string& message, const std::string& informative_text) {
  clearLiveLine();
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
  if (!line_is_shown) return;
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

bool ConsoleView::flush() {
  clearLiveLine();
  printResults(true);
  return !print_failed;
}

void ConsoleView::takeFinished(const FinishedTake& take) {
  clearLiveLine();
  any_reason = any_reason || take.reason.has_value();
  if (json) {
    results += asJson(take) + "\n";
  } else {
    for (const std::string& file : filesOf(take)) results += file + "\n";
  }
  printResults(false);
  if (!take.continues && when_finished) when_finished();
}

void ConsoleView::playbackFinished(const std::optional<std::string>& reason) {
  clearLiveLine();
  any_reason = any_reason || reason.has_value();
  if (when_played) when_played();
}

} // namespace vurl
