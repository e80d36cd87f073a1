// What the window costs: from the start of the process to its first paint, with the history of a long shoot in the
// folder, a second with 64 moving meters, and a whole repaint of the largest layout. The first paint is measured in a
// process of its own each time, which is this program, wired like the desktop program.
#include "app/PreferencesController.h"
#include "app/Startup.h"
#include "bench/Shoot.h"
#include "tests/support/TemporaryFolder.h"
#include "views/LayoutMatrixView.h"
#include "views/MainWindow.h"
#include "views/PreferencesPanel.h"
#include "views/QtRunLoop.h"

#include <benchmark/benchmark.h>

#include <QtCore/QEventLoop>
#include <QtCore/QTimer>
#include <QtWidgets/QApplication>
#include <QtWidgets/QScrollBar>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace {

using namespace vurl;

constexpr const char* kFirstPaint = "--first-paint";

int64_t nowInMicroseconds() {
  using namespace std::chrono;
  return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

/// Ends the program when a whole frame of `window` has been painted.
class FirstPaint : public QObject {
public:
  explicit FirstPaint(QWidget& window) { window.installEventFilter(this); }

  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() == QEvent::Paint && !painted) {
      painted = true;
      QMetaObject::invokeMethod(
          this,
          [this] {
            at = nowInMicroseconds(), processor = std::clock() * 1000000 / CLOCKS_PER_SEC, QCoreApplication::quit();
          },
          Qt::QueuedConnection); // the children are painted by then
    }
    return QObject::eventFilter(watched, event);
  }

  int64_t at = 0;
  int64_t processor = 0;

private:
  bool painted = false;
};

/// Starts as the desktop program does. Tells the microseconds since `begin` at the first paint, those that the
/// processor was at work, and how many takes of the history had been read by then.
int paintOnce(const std::string& folder, int64_t begin) {
  QtRunLoop run_loop;
  UserDefaults defaults(folder + "/settings.plist");
  UserDefaults memory(folder + "/settings.window.plist");
  const PreferencesController registered(defaults);
  defaults.setForRun(folder + "/takes", "path_for_folder00");
  AudioServices services(defaults, run_loop);
  MainWindow window(defaults, memory);
  PreferencesPanel preferences(defaults, &window);
  Recorder recorder(defaults, run_loop, services.model, RecorderViews{window, &window.history(), &preferences});
  window.setRecorder(&recorder);
  window.setPreferences(&preferences);
  FirstPaint first(window);
  window.show();
  recorder.start();
  QApplication::exec();
  std::printf("%lld %lld %zu\n", static_cast<long long>(first.at - begin), static_cast<long long>(first.processor),
              recorder.history_controler.takes().size());
  window.setPreferences(nullptr);
  window.setRecorder(nullptr);
  return 0;
}

void firstPaint(benchmark::State& state) {
  const TemporaryFolder home;
  std::filesystem::create_directory(home.file("takes"));
  writeTakes(home.file("takes"), state.range(0));
  double read = 0;
  double processor = 0;
  for (auto _ : state) {
    const std::string command =
        text("/proc/%i/exe %s %s %qi", getpid(), kFirstPaint, home.path.string(), nowInMicroseconds());
    FILE* const child = popen(command.c_str(), "r");
    long long microseconds = 0;
    long long at_work = 0;
    size_t takes = 0;
    if (child == nullptr || std::fscanf(child, "%lld %lld %zu", &microseconds, &at_work, &takes) != 3)
      state.SkipWithError("No paint");
    if (child != nullptr) pclose(child);
    state.SetIterationTime(static_cast<double>(microseconds) / 1e6);
    processor += static_cast<double>(at_work) / 1000;
    read += static_cast<double>(takes);
  }
  state.counters["processor ms"] = benchmark::Counter(processor, benchmark::Counter::kAvgIterations);
  state.counters["takes read"] = benchmark::Counter(read, benchmark::Counter::kAvgIterations);
}
BENCHMARK(firstPaint)
    ->ArgName("takes")
    ->Arg(0)
    ->Arg(1000)
    ->Iterations(5)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

/// What the controller shows in the `tick`th tenth of a second of a take.
void showTick(MainWindow& window, int64_t tick) {
  const int64_t position = tick * 4800;
  if (tick % 2 == 0) {
    window.showRing({position, position - 4800, position, INT64_MIN, OutputFile::RUNNING_RECORDING, 9600});
    window.showTransport(REC, TransportColour::red);
  } else {
    const std::string time = text("10:00:%02qi:%02qi", tick / 10 % 60, tick % 10 * 2);
    window.showCurrentTime(time, true);
    window.showTakeLength(time);
  }
  for (uint32_t channel = 0; channel < 64; ++channel) {
    const float peak = -20 + 15 * std::sin(static_cast<float>(tick) * 0.7F + static_cast<float>(channel));
    window.setPeak(peak, peak - 6, channel);
  }
}

/// A second of a take in a window of 64 channels; the time is what the process was at work in it.
void movingMeters(benchmark::State& state) {
  UserDefaults defaults;
  UserDefaults memory;
  const PreferencesController registered(defaults);
  defaults.setInteger(64, "nr_channels");
  MainWindow window(defaults, memory);
  window.show();
  int64_t tick = 0;
  const auto second = [&] {
    for (int i = 0; i < 10; ++i) {
      showTick(window, ++tick);
      QEventLoop pause;
      QTimer::singleShot(100, Qt::PreciseTimer, &pause, &QEventLoop::quit);
      pause.exec();
    }
  };
  second();
  for (auto _ : state) {
    const auto begin = std::clock();
    second();
    state.SetIterationTime(static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC);
  }
}
BENCHMARK(movingMeters)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);

/// A repaint of all that is seen of 64 inputs and outputs and 200 files; with the pointer moving or at rest.
void repaintMatrix(benchmark::State& state) {
  UserDefaults defaults;
  LayoutMatrix matrix(defaults);
  matrix.setNrChannels(64);
  matrix.setNrFiles(200);
  matrix.setNrFolders(8);
  std::vector<std::string> names;
  names.reserve(64);
  for (int i = 0; i < 64; ++i) names.push_back(text("Channel %i", i + 1));
  matrix.setInputNames(names);
  matrix.setOutputNames(names);
  for (int i = 0; i < 64; ++i) defaults.setBool(true, text("channel%02i_in_file%03i", i, i));
  LayoutMatrixView view(matrix);
  view.resize(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
  view.matrixChanged();
  view.show();
  QCoreApplication::processEvents();
  for (auto _ : state) view.viewport()->repaint();
}
BENCHMARK(repaintMatrix)
    ->ArgNames({"width", "height"})
    ->Args({800, 600})
    ->Args({2560, 1440})
    ->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  const bool is_child = argc == 4 && std::strcmp(argv[1], kFirstPaint) == 0;
  const std::vector<std::string> words(argv, argv + argc);
  const QApplication application(argc, argv);
  if (is_child) return paintOnce(words[2], std::stoll(words[3]));
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
