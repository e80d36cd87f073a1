// The application controller's view on a terminal: results on standard output, what went wrong on standard error, and,
// where that is a terminal, one live line with timecode and lock, length, how full the ring is, and the loudest peaks.
// Main thread.
#pragma once

#include "app/LoudestChannels.h"
#include "app/MainWindowView.h"

#include <deque>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace vurl {

class ConsoleView final : public MainWindowView {
public:
  /// With `json` each finished take is printed as one JSON object, otherwise as one line a file.
  explicit ConsoleView(bool json);
  ~ConsoleView() override;

  /// Called after each take that no further piece follows.
  void setWhenFinished(std::function<void()> callback) { when_finished = std::move(callback); }

  /// Called at the end of each playback.
  void setWhenPlayed(std::function<void()> callback) { when_played = std::move(callback); }

  /// How to find out whether all finished takes are on disk: what is printed as JSON waits for that, for a while.
  void setIsSynced(std::function<bool()> look) { is_synced = std::move(look); }

  /// Tells the user something, as warn() does, without spoiling the live line.
  void tell(const std::string& words);

  /// Prints what is left to print, or as much of it as can be printed without a `wait` for whoever reads it. Returns
  /// whether nothing has failed.
  bool flush(bool wait = true);

  /// Whether a take has ended with a reason so far.
  bool harmed() const { return any_reason; }

  void showTransport(TransportCommand, TransportColour) override {}
  void showBusy(bool) override {}
  void showAlert(const std::string& message, const std::string& informative_text) override;
  void setPeak(float peak_db, float, uint32_t channel) override { loudest.setPeak(peak_db, channel); }
  void showCurrentTime(const std::string& timecode, bool locked) override;
  void showTakeLength(const std::string& timecode) override;
  void showRing(const RingPositions& positions) override;
  void showMenu(DeviceMenu, const PopupMenu&) override {}
  void showPullMenu(const std::array<PullMenu::Item, 3>&) override {}
  void showBufferSizeRange(double, double) override {}
  void showBufferSize(uint32_t) override {}
  void takeFinished(const FinishedTake& take) override;
  void fileNotSynced(const std::string& path, const std::string& error) override;
  void playbackFinished(const std::optional<std::string>& reason) override;

private:
  /// A take that is not printed yet, because a file of it may still fail to come to disk.
  struct Waiting {
    FinishedTake take;
    std::vector<std::pair<std::string, std::string>> unsynced; ///< paths, with what went wrong
    int looks = 0;                                             ///< at the disks, since it has finished
  };

  static std::string asJson(const Waiting& waiting);
  void printSynced();
  void showLiveLine();
  void clearLiveLine();
  void printResults(bool wait);

  const bool json;
  const bool live;
  std::function<void()> when_finished;
  std::function<void()> when_played;
  std::function<bool()> is_synced;
  bool was_synced = false; ///< at the last look
  bool stands_still = false;
  std::deque<Waiting> waiting_takes;
  bool any_reason = false;
  bool print_failed = false;
  std::string results; ///< not printed yet: a reader that stalls must not hold up the next piece of a take
  bool line_is_shown = false;
  LoudestChannels loudest;
  bool locked = false;
  std::string current_time = "--:--:--:--";
  std::string length = "00:00:00:00";
  double backlog_percent = 0;
  double longest_backlog_percent = 0; ///< of this take, or the last one
};

} // namespace vurl
