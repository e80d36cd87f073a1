// The scale in dBFS above a column of meters. Main thread only.
#pragma once

#include <QtWidgets/QWidget>

namespace vurl {

class ChannelHeader final : public QWidget {
  Q_OBJECT

public:
  explicit ChannelHeader(QWidget* parent = nullptr);

  /// How far the meters lie in from the left and from the right edge, in points.
  void setLevelEdgeLeft(int32_t left, int32_t right);

  /// The ends of the scale, in dBFS; the caller redraws.
  void setStartValue(float value) { start_value = value; }
  void setEndValue(float value) { end_value = value; }

  /// While the window's size is being dragged, no scale is drawn.
  void viewWillStartLiveResize();
  void viewDidEndLiveResize();

protected:
  void paintEvent(QPaintEvent* event) override;

private:
  int32_t level_left = 0;
  int32_t level_right = 0;
  float start_value = -46.0F;
  float end_value = 0.0F;
  bool in_live_resize = false;
};

} // namespace vurl
