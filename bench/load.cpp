// The highest load that the whole recorder takes without loss: the test generator is stepped without pacing, and waits
// only while the ring is as full as it may well be; a minute of 64 channels goes to a RAM disk.
#include "app/PreferencesController.h"
#include "app/Recorder.h"
#include "bench/Figures.h"
#include "bench/RecordBed.h"
#include "platform/PollRunLoop.h"

#include <chrono>
#include <filesystem>
#include <limits>

namespace {

using namespace vurl;
using Clock = std::chrono::steady_clock;

constexpr int64_t kRate = 48000, kLength = 60 * kRate;
constexpr int64_t kMostBacklog = AudioRing::kRingSamples / 2;

/// Keeps the takes that were finished.
struct TakesView final : MainWindowView {
  std::vector<FinishedTake> takes;

  void showTransport(TransportCommand, TransportColour) override {}
  void showBusy(bool) override {}
  void showAlert(const std::string& message, const std::string& details) override {
    std::printf("%s %s\n", message.c_str(), details.c_str());
  }
  void setPeak(float, float, uint32_t) override {}
  void showCurrentTime(const std::string&, bool) override {}
  void showTakeLength(const std::string&) override {}
  void showRing(const RingPositions&) override {}
  void showMenu(DeviceMenu, const PopupMenu&) override {}
  void showPullMenu(const std::array<PullMenu::Item, 3>&) override {}
  void showBufferSizeRange(double, double) override {}
  void showBufferSize(uint32_t) override {}
  void takeFinished(const FinishedTake& take) override { takes.push_back(take); }
  void playbackFinished(const std::optional<std::string>&) override {}
};

double secondsSince(Clock::time_point begin) { return std::chrono::duration<double>(Clock::now() - begin).count(); }

double processorSeconds() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// From the first cycle of a minute of sound to the end of its files; both are infinite when it went wrong.
struct Seconds {
  double by_clock = std::numeric_limits<double>::infinity();
  double of_processor = by_clock; ///< of all threads together
};

Seconds recordMinute() {
  const TemporaryFolder folder;
  UserDefaults defaults;
  const PreferencesController registered(defaults);
  routeIntoFiles(defaults, {}, folder.path.string());
  defaults.setInteger(ZERO, "time_source");
  defaults.setObject(std::string(GeneratorHardware::kDisplayName), "selected_device");
  PollRunLoop run_loop;
  HardwareModel model;
  GeneratorHardware generator(model, run_loop);
  generator.setPaced(false);
  generator.setPublished(true);
  TakesView view;
  Recorder recorder(defaults, run_loop, model, {view});
  const AudioRing& ring = recorder.audio_ring;
  recorder.start();
  run_loop.drain();
  recorder.controller.recStopPressed(REC);
  while (recorder.output_file.state() == OutputFile::STARTING_RECORDING) run_loop.runOnce(std::chrono::milliseconds(1));

  const auto begin = Clock::now();
  const double processor_begin = processorSeconds();
  const int64_t end = ring.devicePosition() + kLength;
  for (bool is_stopped = false; view.takes.empty() && secondsSince(begin) < 120;) {
    run_loop.runOnce(std::chrono::milliseconds(0));
    if (ring.devicePosition() - ring.recordingPosition() > kMostBacklog) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
      continue;
    }
    generator.step(is_stopped ? 1 : 16);
    if (is_stopped) std::this_thread::sleep_for(std::chrono::milliseconds(5)); // the engine wakes ten times a second
    if (ring.devicePosition() < end || is_stopped) continue;
    recorder.controller.recStopPressed(STOP);
    is_stopped = true;
  }
  const Seconds seconds{secondsSince(begin), processorSeconds() - processor_begin};
  if (view.takes.empty() || view.takes[0].reason || view.takes[0].meta_data->nrSamples() < kLength - 256) return {};
  const auto size = std::filesystem::file_size(view.takes[0].meta_data->filenameForFile(0));
  return size >= static_cast<uint64_t>(view.takes[0].meta_data->nrSamples()) * 64 * 3 ? seconds : Seconds{};
}

} // namespace

int main() {
  useRamDisk();
  std::vector<double> by_clock, of_processor;
  for (int repetition = 0; repetition < repetitions(); ++repetition) {
    const Seconds seconds = recordMinute();
    by_clock.push_back(60 / seconds.by_clock);
    of_processor.push_back(60 / seconds.of_processor);
  }
  const std::string work = "60 s without loss to a RAM disk, stepped by the generator";
  tellRow(work, "x 64 channels at 48 kHz, by the clock", "≥ 40", Figure(std::move(by_clock)));
  tellRow(work, "x 64 channels at 48 kHz, by CPU time of all threads", "≥ 40", Figure(std::move(of_processor)));
}
