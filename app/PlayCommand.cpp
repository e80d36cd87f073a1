// vurl play: one take through the device's outputs, from the start of the program to its end.
#include "app/Commands.h"
#include "app/ConsoleView.h"
#include "app/DeviceSession.h"
#include "app/EndSignals.h"
#include "app/Leaving.h"
#include "app/RecorderBus.h"
#include "app/TerminalKeys.h"
#include "files/OutputFile.h"
#include "platform/Log.h"
#include "platform/PollRunLoop.h"

#include <unistd.h>

#include <charconv>
#include <filesystem>
#include <memory>

namespace vurl {
namespace {

constexpr std::chrono::milliseconds kStopCheckInterval{20};

using Take = std::shared_ptr<const MetaData>;

/// A place in the history, counted from 1; nothing when `word` is no number.
std::optional<int32_t> placeIn(const std::string& word) {
  int32_t place = 0;
  const auto* const end = word.data() + word.size();
  const auto result = std::from_chars(word.data(), end, place);
  return result.ec == std::errc() && result.ptr == end ? std::optional(place) : std::nullopt;
}

bool hasFile(const MetaData& take, const std::filesystem::path& path) {
  std::error_code error;
  for (int32_t file = 0; file < take.nrFiles(); ++file) {
    if (std::filesystem::equivalent(take.filenameForFile(file), path, error) && !error) return true;
  }
  return false;
}

bool canBeRead(const MetaData& take) {
  for (int32_t file = 0; file < take.nrFiles(); ++file) {
    if (access(take.filenameForFile(file).c_str(), R_OK) == 0) return true;
  }
  return false;
}

class PlayCommand {
public:
  PlayCommand(UserDefaults& user_defaults, const PlayOptions& play_options)
      : defaults(user_defaults), options(play_options), session(defaults, run_loop), view(false) {}

  int run() {
    std::string reason;
    if (!session.find(options.device, reason)) return refuse(reason, kExitUsage);
    defaults.setForRun(false, "auto_start"); // a lock that comes or goes would end the playback
    const auto recorder = std::make_unique<Recorder>(defaults, run_loop, session.services.model, RecorderViews{view});
    session.choose(*recorder, false);
    recorder->start();
    run_loop.drain();
    if (!session.isSelected(*recorder, reason)) return refuse(reason, kExitHarmed);
    const Take take = awaitTake(recorder->history_controler, reason);
    if (!ends && take == nullptr) return refuse(reason, kExitUsage);
    if (!ends && !canBeRead(*take)) return refuse("None of the take's files can be read.", kExitHarmed);
    if (!ends) play(*recorder, take);
    endOf(*recorder, kExitHarmed);
    const int exit_code = view.flush() && !view.harmed() ? kExitFine : kExitHarmed;
    DeviceSession::endSoon(exit_code);
    return exit_code;
  }

private:
  /// Reads the history and finds the take that the user means: the last one, one by its place, or one by any of its
  /// files. A file outside the destination folders is a take of its own.
  Take awaitTake(const HistoryControler& history, std::string& reason) {
    signals.setAsked([this] { ends = true; });
    while (history.isLoading() && !ends) run_loop.runOnce(kStopCheckInterval);
    signals.setAsked({});
    const int32_t rows = history.numberOfRows();
    if (!options.take) {
      reason = "There are no takes in the destination folders.";
      return history.metaDataOfRow(rows - 1);
    }
    if (std::error_code error; std::filesystem::exists(*options.take, error)) {
      for (int32_t row = 0; row < rows; ++row) {
        Take take = history.metaDataOfRow(row);
        if (hasFile(*take, *options.take)) return take;
      }
      return singleFile(reason);
    }
    const auto place = placeIn(*options.take);
    reason = place ? text("There is no take number %i: the history has %i.", *place, rows)
                   : text("There is no file \"%@\".", *options.take);
    return place ? history.metaDataOfRow(*place - 1) : nullptr;
  }

  Take singleFile(std::string& reason) const {
    auto take = std::make_shared<MetaData>(defaults);
    reason = text("\"%@\" is no take that can be played.", *options.take);
    if (OutputFile::readHeader(*options.take, *take) < 0) return nullptr;
    take->setNrFiles(1);
    return take;
  }

  void play(Recorder& recorder, const Take& take) {
    view.setWhenPlayed([this] { run_loop.quit(); });
    signals.setAsked([&] {
      if (long_wait.isTold()) leaveAtOnce(recorder, defaults, kExitHarmed);
      ends = true;
    });
    const TerminalKeys keys(run_loop, [this](char key) { ends = ends || key == 's' || key == 'q'; });
    const auto stop_check = run_loop.every(kStopCheckInterval, [&] {
      if (!ends) return;
      recorder.controller.stopWhenRunning();
      long_wait.look(recorder.output_file);
    });
    const RecorderBus bus(
        defaults, run_loop, recorder,
        [this](TransportCommand command) {
          const bool is_end = command == STOP || command == ABORT;
          ends = ends || is_end;
          return is_end; // others record
        },
        SessionBus::Claim::yields);
    recorder.controller.startPlayback(take);
    run_loop.run();
    view.setWhenPlayed({});
    signals.setAsked({});
  }

  UserDefaults& defaults;
  const PlayOptions& options;
  PollRunLoop run_loop;
  EndSignals signals{run_loop};
  DeviceSession session;
  ConsoleView view;
  LongWait long_wait;
  bool ends = false; ///< the user wants no more of it
};

} // namespace

int runPlay(UserDefaults& defaults, const PlayOptions& options) { return PlayCommand(defaults, options).run(); }

} // namespace vurl
