// One channel's level as a horizontal bar: the peak in the colours of three zones, the RMS level as a black and white
// tick, and the highest peak of the last five seconds as a coloured one. Levels and scale are in dBFS; a level may be
// anything, minus infinity and NaN included, and is limited to the scale before it becomes a pixel. Main thread only.
//
// A new level repaints the columns that it changes and no others.
#pragma once

#include <QtWidgets/QWidget>
#include <array>
#include <chrono>
#include <functional>

class QPainter;

namespace vurl {

class MeterView final : public QWidget {
  Q_OBJECT

public:
  using Clock = std::function<std::chrono::steady_clock::time_point()>;

  /// The hold is timed by `clock`.
  explicit MeterView(QWidget* parent = nullptr, Clock clock = std::chrono::steady_clock::now);

  /// The scale: its left edge, where the yellow and the red zone begin, its right edge. The caller redraws.
  void setStartValue(float value) { start_value = value; }
  void setWarnValue(float value) { warn_value = value; }
  void setErrorValue(float value) { error_value = value; }
  void setEndValue(float value) { end_value = value; }
  float startValue() const { return start_value; }
  float endValue() const { return end_value; }

  /// Moves the bar. The hold follows a rise at once, and the first level after five seconds without one.
  void setPeak(float level);
  void setRms(float level);
  float peakLevel() const { return peak; }
  float holdLevel() const { return hold; }

protected:
  void paintEvent(QPaintEvent* event) override;

private:
  double limited(float level) const;
  double scale() const;
  int columnOf(float level) const;
  void invalidateTick(float level);
  void invalidateBar(float from, float to);
  void updateHold();
  struct Zone; ///< a stretch of the scale, in dBFS, and its colours
  std::array<Zone, 3> zones() const;
  void drawUnlitZones(QPainter& painter) const;
  void drawLitBar(QPainter& painter) const;
  void drawTicks(QPainter& painter) const;

  Clock clock;
  float start_value = -46.0F;
  float warn_value = -18.0F;
  float error_value = -6.0F;
  float end_value = 0.0F;
  float rms = -50.0F;
  float peak = -50.0F;
  float hold = -50.0F;
  std::chrono::steady_clock::time_point hold_timestamp;
};

} // namespace vurl
