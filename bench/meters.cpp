// What the meters cost the main thread at a tick: microseconds, and how many pixels are painted, for moving and for
// silent channels. A tick hands levels to all 64 channels, shown or not, ten times a second.
#include "views/ChannelStripBox.h"

#include <benchmark/benchmark.h>

#include <QtCore/QEvent>
#include <QtGui/QPaintEvent>
#include <QtWidgets/QApplication>
#include <cmath>
#include <limits>

namespace {

using namespace vurl;

/// Counts the pixels that are painted anywhere in the application.
class PaintCounter : public QObject {
public:
  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() != QEvent::Paint) return false;
    for (const QRect& rect : static_cast<QPaintEvent*>(event)->region()) pixels += rect.width() * rect.height();
    return false;
  }

  int64_t pixels = 0;
};

void sendLevels(ChannelStripBox& box, int64_t tick, bool moving) {
  constexpr float kSilence = -std::numeric_limits<float>::infinity();
  for (uint32_t channel = 0; channel < ChannelStripBox::kMaxChannels; ++channel) {
    const auto phase = static_cast<float>(tick) * 0.7F + static_cast<float>(channel);
    const float peak = -20 + 15 * std::sin(phase);
    box.setPeak(moving ? peak : kSilence, moving ? peak - 6 : kSilence, channel);
  }
}

void tick(benchmark::State& state) {
  const bool moving = state.range(1) != 0;
  ChannelStripBox box;
  box.resize(1280, 440);
  box.setNrChannels(static_cast<int32_t>(state.range(0)));
  box.show();
  sendLevels(box, 0, moving);
  QCoreApplication::processEvents();

  PaintCounter counter;
  qApp->installEventFilter(&counter);
  int64_t ticks = 0;
  for (auto _ : state) {
    sendLevels(box, ++ticks, moving);
    QCoreApplication::processEvents();
  }
  state.counters["pixels/tick"] = benchmark::Counter(static_cast<double>(counter.pixels) / static_cast<double>(ticks));
}

BENCHMARK(tick)->ArgNames({"channels", "moving"})->ArgsProduct({{8, 64}, {0, 1}})->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  benchmark::Initialize(&argc, argv);
  const QApplication application(argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
