#include "views/MeterView.h"

#include "tests/support/Test.h"

#include <QtCore/QCoreApplication>
#include <QtGui/QAccessible>
#include <QtGui/QImage>
#include <QtGui/QPaintEvent>
#include <QtGui/QScreen>
#include <map>

namespace vurl {

constexpr float kSilence = -std::numeric_limits<float>::infinity();
constexpr float kNoNumber = std::numeric_limits<float>::quiet_NaN();
/// The row `y` of a picture, as runs of columns: "g" is dark green, "Y" lit yellow, "w" the tick's white.
std::string rowRuns(const QImage& image, int y) {
  static const std::map<QRgb, char> kNames = {{0xFF268026, 'g'}, {0xFF808026, 'y'}, {0xFF802626, 'r'},
                                              {0xFF4DFF4D, 'G'}, {0xFFFFFF4D, 'Y'}, {0xFFFF4D4D, 'R'},
                                              {0xFF000000, 'b'}, {0xFFFFFFFF, 'w'}};
  std::string runs;
  for (int x = 0, length = 1; x < image.width(); ++x, ++length) {
    const QRgb colour = image.pixel(x, y);
    if (x + 1 == image.width() || image.pixel(x + 1, y) != colour)
      runs += kNames.at(colour) + std::to_string(std::exchange(length, 0));
  }
  return runs;
}

/// A meter on the screen, by default with 10 columns a dB from -46 to 0, whose hold runs on a clock of the test's own.
class Meter : public QObject {
public:
  explicit Meter(int width = 460) : view(nullptr, [this] { return now; }) {
    view.resize(width, 10);
    view.show();
    view.installEventFilter(this);
    QCoreApplication::processEvents();
  }

  /// Lets time pass, sends levels and returns which columns were painted for them, as "from-to".
  std::string send(int milliseconds, float peak, float rms) {
    now += std::chrono::milliseconds(milliseconds);
    painted = QRegion();
    view.setPeak(peak);
    view.setRms(rms);
    QCoreApplication::processEvents();
    std::string columns;
    for (const QRect& rect : painted) columns += text("%i-%i ", rect.left(), rect.right());
    return columns;
  }

  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() == QEvent::Paint) painted += static_cast<QPaintEvent*>(event)->region();
    return false;
  }

  std::chrono::steady_clock::time_point now;
  MeterView view;
  QRegion painted;
};

TEST(MeterView, PaintsLevelsAndHoldToThePixelAndOnlyTheColumnsThatChange) {
  // milliseconds, peak, RMS, the picture's upper row, and what was painted of it
  const std::tuple<int, float, float, std::string, std::string> steps[] = {
      {0, kSilence, kSilence, "g280y120r60", ""},
      {0, kNoNumber, kNoNumber, "g280y120r60", ""},
      {0, -46, -46, "g280y120r60", ""},
      {0, -18, -30, "G157w3G120y120r60", "0-281 "},
      {0, -6, -30, "G157w3G120Y120r60", "277-401 "},
      {0, -3, -30, "G157w3G120Y120R30r30", "397-431 "},
      {100, -20, -30, "G157w3G100g20y120r27R3r30", "259-431 "},
      {4900, -20, -31, "G147w3G110g20y120r27R3r30", "147-149 157-159 "},
      {1, -30, kSilence, "G160g120y120r60", "147-149 157-261 427-429 "}, // held for five seconds
      {100, -12, kSilence, "G280Y60y60r60", "157-341 "},
      {5000, -12, kSilence, "G280Y60y60r60", ""},
      {4000, -40, kSilence, "G60g220y57Y3y60r60", "59-341 "}, // a level as high as the hold renewed it
      {1001, 0, -12, "G280Y57w3Y60R60", "59-459 "},
      {5001, 3, -12, "G280Y57w3Y60R60", ""},
      {5001, kSilence, kSilence, "g280y120r60", "0-459 "}};
  Meter meter;
  for (const auto& [milliseconds, peak, rms, picture, painted] : steps) {
    SCOPED_TRACE(text("peak %g, rms %g", peak, rms));
    EXPECT_EQ(meter.send(milliseconds, peak, rms), painted);
    EXPECT_EQ(rowRuns(meter.view.grab().toImage(), 0), picture);
  }
  meter.send(0, kSilence, -30);
  const QImage image = meter.view.grab().toImage();
  EXPECT_EQ(rowRuns(image, image.height() - 1), "g157b3g120y120r60"); // the tick's lower half
  QAccessibleInterface* const told = QAccessible::queryAccessibleInterface(&meter.view);
  EXPECT_EQ(told->text(QAccessible::Value), "below -46 dB, hold below -46 dB");
  EXPECT_EQ(told->valueInterface()->currentValue(), -46);
}

/// Whatever way the level took, the screen shows what a fresh painting would. Also run at 1.5 and 2 pixels a point.
TEST(MeterView, LeavesNothingBehindOnTheScreen) {
  Meter meter(317);
  std::mt19937 random(1);
  std::uniform_real_distribution<float> level(-60, 6);
  for (int i = 0; i < 300; ++i) {
    meter.send(i % 7 == 0 ? 6000 : 100, i % 11 == 0 ? kSilence : level(random), level(random));
    const QImage shown = meter.view.screen()->grabWindow(meter.view.winId()).toImage();
    const QImage fresh = meter.view.grab().toImage().copy(shown.rect()); // this screen gives away no more pixels
    for (int y : {1, shown.height() - 2}) ASSERT_EQ(rowRuns(shown, y), rowRuns(fresh, y)) << "step " << i;
  }
}

} // namespace vurl
