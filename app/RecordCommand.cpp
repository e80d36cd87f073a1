// vurl record: one take with all its pieces, from the start of the program to its end; or take after take, as the
// timecode's lock comes and goes, or as a user at a terminal works the transport by keys.
#include "app/Commands.h"
#include "app/ConsoleView.h"
#include "app/DeviceChoice.h"
#include "app/DeviceSession.h"
#include "app/DiskWatch.h"
#include "app/EndSignals.h"
#include "app/FolderTroubles.h"
#include "app/Leaving.h"
#include "app/NextTake.h"
#include "app/RecorderBus.h"
#include "app/TakeTexts.h"
#include "app/TerminalKeys.h"
#include "platform/Log.h"
#include "platform/PollRunLoop.h"
#include "platform/SettingsLock.h"

#include <unistd.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <memory>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace vurl {
namespace {

constexpr std::chrono::milliseconds kEndCheckInterval{20};     ///< while the end may be near
constexpr std::chrono::milliseconds kSeldomCheckInterval{100}; ///< each check costs as much as the rest of the loop
constexpr double kNear = 0.3;                                  ///< seconds
constexpr std::chrono::milliseconds kFolderCheckInterval{250};
constexpr int kChecksPerQuestion = 12; ///< the disks are asked less often than answers are looked for
constexpr std::chrono::milliseconds kPause{100};
constexpr std::chrono::seconds kPatienceWithADevice{10};
constexpr std::chrono::seconds kPatienceWithAClock{1};
constexpr const char* kKeyHelp = "r record   s stop   a abort   p play   q stop and quit";

class RecordCommand {
public:
  RecordCommand(UserDefaults& user_defaults, const RecordOptions& record_options)
      : defaults(user_defaults), options(record_options), session(defaults, run_loop), view(options.json) {}

  int run() {
    std::string reason;
    const auto lock = SettingsLock::take(defaults.file(), reason);
    if (!lock) return refuse(reason, kExitHarmed);
    if (!session.find(options.device, reason)) return refuse(reason, kExitUsage);
    if (options.auto_start) defaults.setForRun(true, "auto_start");
    follows_lock = defaults.boolForKey("auto_start");
    const auto recorder = std::make_unique<Recorder>(defaults, run_loop, session.services.model, RecorderViews{view},
                                                     RecorderMeans{nullptr, [this] { waitAWhile(); }});
    recorder_in_use = recorder.get();
    view.setIsSynced([&sync = recorder->disk_sync] { return sync.wait(std::chrono::milliseconds(0)); });
    session.choose(*recorder, true);
    recorder->start();
    run_loop.drain();
    if (!session.isSelected(*recorder, reason)) return refuse(reason, kExitHarmed);
    if (options.clock_source && !chooseClockSource(*recorder, reason)) return refuse(reason, kExitUsage);
    setTexts(recorder->controller);
    {
      const RecorderBus bus(defaults, run_loop, *recorder,
                            [&](TransportCommand command) { return press(command, *recorder); });
      record(*recorder);
    }
    printTakes(*recorder, false); // the disks of the reports may hang
    endOf(*recorder, kExitHarmed);
    const bool all_printed = printTakes(*recorder, true);
    harmed = harmed || recorder->nrUnsyncedFiles() > 0;
    if (follows_lock && nr_takes == 0)
      std::fprintf(stderr, "vurl: No timecode was locked; nothing has been recorded.\n");
    const int exit_code = harmed || view.harmed() || !all_printed ? kExitHarmed : kExitFine;
    DeviceSession::endSoon(exit_code);
    return exit_code;
  }

private:
  /// Prints what is left to be printed of the takes, once they are on disk; see ConsoleView::flush().
  bool printTakes(Recorder& recorder, bool wait) {
    if (!sync_is_late && !recorder.disk_sync.wait(DiskSync::kPatience)) {
      sync_is_late = true;
      warn("A disk does not answer: the take may not be on it yet.");
    }
    run_loop.drain();
    return view.flush(wait);
  }

  /// Stores what the user said about the take.
  void setTexts(MainMenuControler& controller) {
    const std::pair<const char*, const std::optional<std::string>&> said[] = {
        {"project", options.project}, {"scene", options.scene}, {"slate", options.slate},
        {"roll", options.roll},       {"note", options.note},   {"take", options.take}};
    TakeTexts texts;
    for (const auto& [key, value] : said)
      if (value) texts.emplace_back(key, *value);
    storeTakeTexts(texts, defaults, [&] { controller.sceneChanged(); });
    if (!texts.empty()) defaults.synchronize(); // the next take goes on from them, whatever becomes of this one
  }

  /// Has the device follow the clock that the user named, before any take runs that the change would end.
  bool chooseClockSource(Recorder& recorder, std::string& reason) {
    const auto& items = recorder.controller.menu(DeviceMenu::clock_source).items;
    std::vector<std::string> names;
    names.reserve(items.size());
    for (const auto& item : items) names.push_back(item.title);
    const auto index = findByName(names, *options.clock_source, "clock source", reason);
    if (!index) return false;
    recorder.controller.choose(DeviceMenu::clock_source, items[*index].tag);
    run_loop.drain();
    return true;
  }

  /// Once a command from outside was obeyed, the program stays for the next. Returns whether this one was.
  bool press(TransportCommand command, Recorder& recorder) {
    const bool obeyed = !ends && recorder.controller.recStopPressed(command);
    stays = stays || obeyed;
    return obeyed;
  }

  /// The keys are the transport's buttons. Once one of them was used, the program stays for the next.
  void pressed(char key, Recorder& recorder) {
    constexpr std::array<std::pair<char, TransportCommand>, 4> kKeys = {
        {{'r', REC}, {'s', STOP}, {'a', ABORT}, {'p', PLAY}}};
    for (const auto& [letter, command] : kKeys) {
      if (key != letter || ends) continue;
      stays = true;
      press(command, recorder);
    }
    if (key == 'q') endAfterTheTake(recorder);
  }

  /// A clock of the device's own tells the time with the first cycle: a take must not be stamped before.
  void awaitDeviceTime(const AudioRing& ring) {
    const int8_t source = ring.timeSource();
    if (source != COREAUDIO_SMPTE && source != COREAUDIO_WORD_CLOCK) return;
    const auto end = std::chrono::steady_clock::now() + kPatienceWithAClock;
    while (!ring.timecodeLock() && std::chrono::steady_clock::now() < end) run_loop.runOnce(kEndCheckInterval);
  }

  void record(Recorder& recorder) {
    if (!follows_lock) awaitDeviceTime(recorder.audio_ring);
    const TerminalKeys keys(run_loop, [&](char key) { pressed(key, recorder); });
    if (keys.areRead() && isatty(STDERR_FILENO) == 1) std::fprintf(stderr, "%s\n", kKeyHelp);
    view.setWhenFinished([this] {
      ++nr_takes;
      if (ends || !(follows_lock || stays)) run_loop.quit();
    });
    checkEvery(kEndCheckInterval, recorder);
    const auto folder_check = run_loop.every(kFolderCheckInterval, [&] { watchFolders(recorder); });
    if (follows_lock) {
      first_sample = recorder.audio_ring.devicePosition();
    } else {
      recorder.controller.startRecording(false);
    }
    signals.setAsked([&] {
      if (long_wait.isTold()) leaveAtOnce(recorder, defaults, kExitHarmed);
      endAfterTheTake(recorder);
    });
    run_loop.run();
    signals.setAsked({});
    view.setWhenFinished({});
    end_check.reset();
  }

  void checkEvery(std::chrono::milliseconds interval, Recorder& recorder) {
    if (end_check != nullptr && interval == check_interval) return;
    check_interval = interval;
    end_check = run_loop.every(interval, [this, &recorder] { checkEnd(recorder); });
  }

  /// Tells what is, or soon will be, wrong with the folders; nothing is refused. Disks that hang answer later.
  void watchFolders(const Recorder& recorder) {
    const OutputFile::State state = recorder.output_file.state();
    const bool was_recording =
        std::exchange(is_recording, state >= OutputFile::STARTING_RECORDING && state <= OutputFile::FINISHED_RECORDING);
    if (is_recording && !was_recording) folder_news.restart();
    if (folders.empty() || (is_recording && !was_recording)) {
      folders = foldersOf(nextTake(defaults, MetaData::kMaximumFiles, recorder.audio_ring.adjustedSampleRate()));
      paths.clear();
      for (const TakeFolder& folder : folders) paths.push_back(folder.path);
    }
    if (folder_checks++ % kChecksPerQuestion == 0) disks.ask(paths);
    for (const std::string& sentence : folder_news.look(folders, disks.answers(paths))) view.tell(sentence);
  }

  /// What the controller does while it waits for the engine and the loop stands still.
  void waitAWhile() {
    std::this_thread::sleep_for(kPause);
    signals.look();
    if (ends) long_wait.look(recorder_in_use->output_file);
  }

  void checkEnd(Recorder& recorder) {
    const OutputFile::State state = recorder.output_file.state();
    if (ends) long_wait.look(recorder.output_file);
    if (ends && state == OutputFile::IDLE) run_loop.quit();
    if (ends && state >= OutputFile::STARTING_PLAYBACK) recorder.controller.recStopPressed(STOP);
    if (timeIsUp(recorder)) {
      if (stays && !follows_lock)
        recorder.controller.stopWhenRunning();
      else
        endAfterTheTake(recorder);
    }
    const bool needs_device = follows_lock || state != OutputFile::IDLE;
    if (options.duration && needs_device && deviceStandsStill(recorder)) endForStandstill(recorder);
    checkEvery(endMayBeNear(recorder) ? kEndCheckInterval : kSeldomCheckInterval, recorder);
  }

  bool endMayBeNear(const Recorder& recorder) const {
    if (ends || !options.duration || told_to_end) return ends;
    if (!first_sample) return true;
    const auto passed = static_cast<double>(recorder.audio_ring.devicePosition() - *first_sample);
    return passed > (*options.duration - kNear) * recorder.audio_ring.sampleRate();
  }

  /// Ends the take that runs or is just starting, and the program with it, or the program at once when there is none.
  void endAfterTheTake(Recorder& recorder) {
    ends = true;
    defaults.setForRun(false, "auto_start");
    if (recorder.output_file.state() == OutputFile::IDLE) run_loop.quit();
    recorder.controller.stopWhenRunning();
  }

  /// Without the device's clock the end of a timed run would never come.
  void endForStandstill(Recorder& recorder) {
    const char* const reason = "The device has stopped delivering.";
    ends = true;
    defaults.setForRun(false, "auto_start");
    if (recorder.output_file.state() == OutputFile::IDLE) {
      warn(reason);
      harmed = true;
      run_loop.quit();
    }
    recorder.controller.stopRecording(reason);
  }

  /// Whether the device is as far past the first sample that counts as the user wants; true once, or
  /// once for each take of a user at the keys.
  bool timeIsUp(const Recorder& recorder) {
    const OutputFile::State state = recorder.output_file.state();
    if (state == OutputFile::IDLE && !follows_lock) {
      first_sample.reset();
      told_to_end = false;
    }
    if (!options.duration || told_to_end) return false;
    if (!first_sample && state >= OutputFile::RUNNING_RECORDING && state <= OutputFile::FINISHED_RECORDING) {
      first_sample = recorder.output_file.startPosition();
    }
    if (!first_sample) return false;
    const double samples = std::ceil(*options.duration * recorder.audio_ring.sampleRate());
    told_to_end = static_cast<double>(recorder.audio_ring.devicePosition() - *first_sample) >= samples;
    return told_to_end;
  }

  /// Whether nothing has arrived for so long that the wait for the end of a timed take makes no sense.
  bool deviceStandsStill(const Recorder& recorder) {
    const auto now = std::chrono::steady_clock::now();
    const int64_t position = recorder.audio_ring.devicePosition();
    if (position != last_position) last_progress = now;
    last_position = position;
    return now - last_progress > kPatienceWithADevice;
  }

  UserDefaults& defaults;
  const RecordOptions& options;
  PollRunLoop run_loop;
  EndSignals signals{run_loop};
  DeviceSession session;
  ConsoleView view;
  const Recorder* recorder_in_use = nullptr;
  DiskWatch disks;
  FolderNews folder_news;
  std::vector<TakeFolder> folders; ///< of the take in hand, or the next one
  std::vector<std::string> paths;
  int folder_checks = 0;
  bool is_recording = false;
  LongWait long_wait;
  bool follows_lock = false;
  bool ends = false;         ///< with the take in hand
  bool harmed = false;       ///< the device stood still while no take ran
  bool sync_is_late = false; ///< the user has been told
  int nr_takes = 0;
  std::optional<int64_t> first_sample; ///< of the take, or of the wait for timecode
  bool told_to_end = false;
  RunLoop::Handle end_check;
  std::chrono::milliseconds check_interval{};
  bool stays = false; ///< the user works the transport by keys
  int64_t last_position = -1;
  std::chrono::steady_clock::time_point last_progress;
};

} // namespace

int runRecord(UserDefaults& defaults, const RecordOptions& options) { return RecordCommand(defaults, options).run(); }

} // namespace vurl
