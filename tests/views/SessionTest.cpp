// An hour of a mixer's work in the whole window, on a device and a clock that the test steps: what a take, a look at
// the preferences or a message leaves behind would add up over a day.
#include "tests/views/SessionRig.h"
#include "views/LayoutMatrixView.h"

#include <malloc.h>

#include <QtWidgets/QFileDialog>
#include <QtWidgets/QPushButton>

namespace vurl {

constexpr int kCycles = 120;          ///< of work
constexpr int kTicksPerCycle = 300;   ///< 30 s
constexpr int kWarmUp = 24;           ///< cycles until everything has been done at least twice
constexpr size_t kBytesPerTake = 900; ///< beyond its row: indices and the like take some 650, a widget 600 more

auto nrEntries(const char* folder) { return std::distance(std::filesystem::directory_iterator(folder), {}); }
size_t bytesInUse() {
  const struct mallinfo2 heap = mallinfo2(); // zero under the sanitizers, which have leak checks of their own
  return heap.uordblks + heap.hblkhd;
}

struct SessionTest : SessionRig {
  void press(Qt::Key key) {
    window.activateWindow();
    QCoreApplication::processEvents();
    QTest::keyClick(&window.history(), key);
  }

  void record(int cycle) {
    if (cycle % 3 == 0) type("scene", QString::number(cycle / 3));
    click(REC);
    reach("RECORDING");
    time(30 + cycle % 4 * 10);
    if (cycle % 10 == 4) {
      const SteppedDevice plugged(model, "Plugged"); // ends the take with an alert
      time(10);
    } else {
      click(cycle % 7 == 3 ? ABORT : STOP);
      nr_whole_takes += cycle % 7 == 3 ? 0 : 1;
    }
    reach("Stopped");
    EXPECT_EQ(window.messages().isVisible(), cycle % 10 == 4);
    press(Qt::Key_Escape);
    EXPECT_FALSE(window.messages().isVisible());
  }

  void play() {
    click(PLAY);
    reach("Playing");
    time(20);
    click(STOP);
    reach("Stopped");
  }

  void changeLayout(int cycle) {
    panel.showTab("layout");
    time(2);
    Q_EMIT panel.findChild<LayoutMatrixView*>()->cellClicked(1, cycle % 3); // the input of a channel
    recorder.channel_layout_controler.autoConfiguration(cycle % 2);         // files: one, or one a channel
    time(2);
  }

  void changeFolder() {
    panel.showTab("folders");
    panel.findChild<QPushButton*>("path_for_folder00")->click();
    auto* const chooser = panel.findChild<QFileDialog*>();
    chooser->setDirectory(QString::fromStdString(home.file(nr_changes++ % 2 == 0 ? "two" : "one")));
    chooser->QDialog::done(QDialog::Accepted);
    time(2);
    for (int patience = 20000; patience > 0 && recorder.history_controler.isLoading(); --patience) {
      run_loop.advance(std::chrono::milliseconds(1));
      std::this_thread::sleep_for(std::chrono::milliseconds(1)); // files are looked at on a thread of its own
    }
    EXPECT_FALSE(recorder.history_controler.isLoading());
  }

  void work(int cycle) {
    const int end = ticks_gone + kTicksPerCycle;
    record(cycle);
    play();
    if (cycle % 4 == 1) changeLayout(cycle);
    if (cycle % 6 == 5) changeFolder();
    const auto tabs = {"general", "counters", "meters", "files and naming"};
    if (cycle % 5 == 2) panel.showTab(std::data(tabs)[cycle / 5 % 4]);
    time(2);
    panel.close();
    time(std::max(0, end - ticks_gone));
  }

  /// What the process holds when nothing is under way.
  struct Holdings {
    int64_t descriptors = 0, threads = 0;
    size_t bytes = 0, rows = 0;
  };
  Holdings holdings() const {
    constexpr int kPatience = 5000; // ms, for the threads that ask the disks
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    std::ignore = QTest::qWaitFor([] { return nrEntries("/proc/self/task") <= 3; }, kPatience);
    return {nrEntries("/proc/self/fd"), nrEntries("/proc/self/task"), bytesInUse(),
            recorder.history_controler.takes().size()};
  }

  /// The bytes that the history's rows need, from row `first` on: those of their copies.
  size_t bytesOfRows(size_t first) const {
    const auto takes = recorder.history_controler.takes();
    std::vector<TakePointer> copies(takes.size());
    const size_t before = bytesInUse();
    for (size_t row = first; row < takes.size(); ++row) {
      copies[row] = std::make_shared<const ListedTake>(takes[row]->meta_data, takes[row]->files);
      copies[row]->reportText();
    }
    return bytesInUse() - before;
  }

  int nr_whole_takes = 0;
  int nr_changes = 0;
};

TEST_F(SessionTest, AnHourOfTakesLeavesNothingBehindButThem) {
  const auto log_before = Log::setSink([](std::string_view) {});
  int cycle = 0;
  while (cycle < kWarmUp && !HasFatalFailure()) work(cycle++);
  const Holdings first = holdings();
  while (cycle < kCycles && !HasFatalFailure()) work(cycle++);
  const Holdings last = holdings();
  Log::setSink(log_before);

  EXPECT_GE(ticks_gone, kCycles * kTicksPerCycle);        // an hour
  EXPECT_GE(static_cast<int>(last.rows), nr_whole_takes); // those that were cut short come with the folders
  EXPECT_LE(static_cast<int>(last.rows), kCycles);
  EXPECT_EQ(last.descriptors, first.descriptors);
  EXPECT_LE(last.threads, first.threads);
  const size_t needed = bytesOfRows(first.rows) + (kCycles - kWarmUp) * kBytesPerTake;
  EXPECT_LE(last.bytes, first.bytes + needed);
}

} // namespace vurl
