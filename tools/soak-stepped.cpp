// soak-stepped FOLDER FORMAT MINUTES PIECE: records takes of 64 channels from the test generator into FOLDER, MINUTES
// of sound in all, as fast as the computer can: the generator and the main loop go by a clock of this program's own.
// FORMAT is the setting "file_format", PIECE the setting "maximum_file_size" (MiB). Prints a line of JSON a piece, and
// waits while FOLDER holds more than three take files, for somebody to verify and delete them.
#include "app/ConsoleView.h"
#include "app/PreferencesController.h"
#include "app/Recorder.h"
#include "app/TakeFolders.h"
#include "platform/PollRunLoop.h"

#include <cstdio>
#include <cstdlib>
#include <thread>

namespace vurl {
namespace {

constexpr std::chrono::milliseconds kTick{100};
constexpr int64_t kTicksPerMinute = 600;
constexpr int64_t kTicksPerTake = 30 * kTicksPerMinute;
constexpr int kCyclesPerTick = 75; ///< of 64 samples at 48 kHz
constexpr size_t kMostFiles = 3;

/// A main loop whose timers all tick when they are told to.
class SteppedLoop final : public RunLoop {
public:
  void post(Work work) override { loop.post(std::move(work)); }
  Handle watch(int descriptor, Work work) override { return loop.watch(descriptor, std::move(work)); }
  Handle every(std::chrono::milliseconds /*interval*/, Work work) override {
    auto timer = std::make_shared<Work>(std::move(work));
    timers.push_back(timer);
    return std::make_unique<Kept>(std::move(timer));
  }
  void tick() {
    const auto due = timers;
    for (const auto& still : due)
      if (const auto timer = still.lock()) (*timer)();
    std::erase_if(timers, [](const auto& timer) { return timer.expired(); });
    loop.drain();
  }

private:
  struct Kept final : Registration {
    explicit Kept(std::shared_ptr<Work> timer) : kept(std::move(timer)) {}
    std::shared_ptr<Work> kept;
  };

  PollRunLoop loop;
  std::vector<std::weak_ptr<Work>> timers;
};

void prepare(UserDefaults& defaults, const std::vector<std::string>& arguments) {
  defaults.setObject(arguments[1], "path_for_folder00");
  defaults.setObject(arguments[1], "csv_folder");
  defaults.setObject(std::string("soak%t"), "filename_format");
  defaults.setObject(std::string(GeneratorHardware::kDisplayName), "selected_device");
  const std::pair<const char*, int64_t> numbers[] = {{"file_format", std::atoi(arguments[2].c_str())},
                                                     {"maximum_file_size", std::atoi(arguments[4].c_str())},
                                                     {"nr_channels", 64},
                                                     {"bit_depth", 2},
                                                     {"pre_record_time", 0},
                                                     {"frame_rate", 1},
                                                     {"time_source", 1}};
  for (const auto& [key, number] : numbers) defaults.setInteger(number, key);
}

bool hasRoom(const std::string& folder) {
  std::vector<std::string> files;
  addTakeFiles(folder, files);
  return files.size() <= kMostFiles;
}

int soak(const std::vector<std::string>& arguments) {
  UserDefaults defaults("");
  const PreferencesController preferences(defaults);
  prepare(defaults, arguments);
  SteppedLoop loop;
  HardwareModel model;
  GeneratorHardware generator(model, loop);
  generator.setPaced(false);
  generator.setPublished(true);
  ConsoleView view(true);
  Recorder recorder(defaults, loop, model, RecorderViews{view}, RecorderMeans{nullptr, [] {}, false});
  recorder.start();
  generator.setBufferFrameSize(generator.device(), 64);
  const auto tick = [&] {
    while (!hasRoom(arguments[1])) std::this_thread::sleep_for(std::chrono::milliseconds(20));
    generator.step(kCyclesPerTick);
    recorder.output_file.processingPass();
    loop.tick();
    view.flush();
  };
  for (int64_t left = std::atoll(arguments[3].c_str()) * kTicksPerMinute; left > 0; left -= kTicksPerTake) {
    recorder.controller.recStopPressed(REC);
    for (int64_t ticks = std::min(left, kTicksPerTake) + 2; ticks > 0; --ticks) tick();
    recorder.controller.recStopPressed(STOP);
    while (recorder.output_file.state() != OutputFile::IDLE) tick();
  }
  return view.harmed() || !recorder.disk_sync.wait(std::chrono::seconds(60)) ? 1 : 0;
}

} // namespace
} // namespace vurl

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv, argv + argc);
  return argc == 5 ? vurl::soak(arguments) : 2;
}
