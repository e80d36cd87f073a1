#include "app/RecorderBus.h"

#include "app/TakeFolders.h"
#include "app/TakeTexts.h"
#include "platform/Text.h"

#include <algorithm>
#include <span>
#include <utility>

namespace vurl {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kInterval{100};
constexpr uint32_t kTicksPerQuestion = 50; ///< to the disks
constexpr uint32_t kLongestWatch = 3600;   ///< seconds

/// The engine's states in a word each.
const char* wordFor(OutputFile::State state) {
  switch (state) {
  case OutputFile::IDLE: return "idle";
  case OutputFile::STARTING_RECORDING: return "starting";
  case OutputFile::RUNNING_RECORDING: return "recording";
  case OutputFile::BORDER_RECORDING:
  case OutputFile::STOPPING_RECORDING:
  case OutputFile::FINISHED_RECORDING: return "finishing";
  case OutputFile::STARTING_PLAYBACK:
  case OutputFile::RUNNING_PLAYBACK:
  case OutputFile::BORDER_PLAYBACK:
  case OutputFile::STOPPING_PLAYBACK:
  case OutputFile::FINISHED_PLAYBACK: return "playing";
  default: return "ended";
  }
}

} // namespace

RecorderBus::RecorderBus(UserDefaults& user_defaults, RunLoop& run_loop, Recorder& offered, Press how,
                         SessionBus::Claim claim)
    : defaults(user_defaults),
      recorder(offered),
      press(std::move(how)),
      settings(defaults.observe("",
                                [this](const std::string& key) {
                                  if (isTakeText(key)) changed.insert("metaData");
                                })),
      bus(run_loop, description(), claim),
      timer(run_loop.every(kInterval, [this] { look(); })) {}

BusObject RecorderBus::description() {
  const auto method = [this](const char* name, TransportCommand what) {
    return BusMethod{name, "", [=, this](uint32_t) { return command(what, name); }};
  };
  const auto watch = [this](uint32_t seconds) {
    told_until = Clock::now() + std::chrono::seconds(std::min(seconds, kLongestWatch));
    return std::string();
  };
  const auto texts = [this]() -> BusValue {
    const TakeTexts all = takeTexts(defaults);
    return std::map<std::string, std::string>(all.begin(), all.end());
  };
  return {"org.vurl.Recorder",
          "/org/vurl/Recorder",
          "org.vurl.Recorder",
          {{"metaData", "a{ss}", true, texts, [this](const BusEntries& entries) { return write(entries); }},
           {"state", "s", true, [this] { return state(); }},
           {"locked", "b", true, [this] { return recorder.audio_ring.timecodeLock(); }},
           {"files", "as", true,
            [this] {
              lookAtTake(); // who has just seen the state asks for them next
              return files;
            }},
           {"freeSpace", "a{st}", true, [this] { return free_space; }},
           {"timecode", "s", false, [this] { return recorder.controller.currentTime(); }},
           {"takeLength", "s", false, [this] { return recorder.controller.takeLength(); }},
           {"levels", "a(dd)", false, [this] { return levels(); }}},
          {method("Record", REC),
           method("Stop", STOP),
           method("Abort", ABORT),
           method("Play", PLAY),
           {"Watch", "u", watch}}};
}

std::string RecorderBus::command(TransportCommand what, const char* name) {
  const std::string before = state();
  if (what == PLAY && recorder.history_controler.selectedMetaData() == nullptr) return "There is no take to play.";
  return press(what) ? "" : text("%s is not possible while the recorder is %@.", name, before);
}

std::string RecorderBus::write(const BusEntries& texts) {
  std::string fault = takeTextsFault(texts, defaults);
  if (fault.empty()) storeTakeTexts(texts, defaults, [this] { recorder.controller.sceneChanged(); });
  return fault;
}

std::string RecorderBus::state() const { return wordFor(recorder.output_file.state()); }

/// Of the channels in use.
BusValue RecorderBus::levels() const {
  const auto& all = recorder.controller.levels();
  const auto used = std::clamp<int64_t>(defaults.integerForKey("nr_channels"), 0, static_cast<int64_t>(all.size()));
  std::vector<std::pair<double, double>> levels;
  for (const auto& [peak, rms] : std::span(all).first(static_cast<size_t>(used))) levels.emplace_back(peak, rms);
  return levels;
}

std::vector<std::string> RecorderBus::folders() const {
  std::vector<std::string> paths;
  for (const std::string& path : destinationFolders(defaults)) paths.push_back(expandTilde(path));
  return paths;
}

/// What changes by itself is looked at here, so that a change is told ten times a second at most.
void RecorderBus::look() {
  if (!bus.isServing()) return;
  if (const std::string now = state(); std::exchange(told_state, now) != now) changed.insert("state");
  if (const bool now = recorder.audio_ring.timecodeLock(); std::exchange(told_lock, now) != now)
    changed.insert("locked");
  lookAtTake();
  lookAtDisks();
  if (Clock::now() < told_until) changed.insert({"timecode", "takeLength", "levels"});
  if (!changed.empty() && bus.tell({changed.begin(), changed.end()})) changed.clear();
}

/// The record is the main thread's once the take is over.
void RecorderBus::lookAtTake() {
  const OutputFile::State state = recorder.output_file.state();
  const bool is_over = state == OutputFile::IDLE || state == OutputFile::FINISHED_RECORDING;
  const auto take = is_over && records ? recorder.output_file.metaData() : nullptr;
  records = state >= OutputFile::STARTING_RECORDING && state <= OutputFile::FINISHED_RECORDING;
  if (take == nullptr) return;
  std::vector<std::string> written;
  for (int32_t file = 0; file < std::min(take->nrFiles(), recorder.output_file.nrOpenedFiles()); ++file)
    written.push_back(take->filenameForFile(file));
  if (std::exchange(files, written) != written) changed.insert("files");
}

void RecorderBus::lookAtDisks() {
  const std::vector<std::string> paths = folders();
  if (ticks++ % kTicksPerQuestion == 0) disks.ask(paths);
  const DiskWatch::Rooms rooms = disks.answers(paths);
  std::map<std::string, uint64_t> found;
  for (size_t i = 0; i < paths.size(); ++i)
    if (rooms[i]) found[paths[i]] = static_cast<uint64_t>(std::max<int64_t>(rooms[i]->free_bytes, 0));
  if (std::exchange(free_space, found) != found) changed.insert("freeSpace");
}

} // namespace vurl
