// One channel's row: its number, its meter with a scale, its clip mark, and its name, which the user edits in place.
// Levels are in dBFS. Main thread only.
#pragma once

#include "platform/UserDefaults.h"
#include "views/ClipMark.h"
#include "views/MeterView.h"

#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>

namespace vurl {

class ChannelView final : public QWidget {
  Q_OBJECT

public:
  /// `channel_nr` counts from 0; the row shows it from 1.
  explicit ChannelView(int32_t channel_nr, QWidget* parent = nullptr);

  /// Ties the name to the channel's setting, which changes with every keystroke. `defaults` outlives the row.
  void awakeFromNib(UserDefaults& defaults);

  /// Where the meter begins, from the row's left edge, and ends, from its right edge, in points.
  void setLevelEdgeLeft(int32_t left, int32_t right);

  /// The meter's scale; the caller redraws.
  void setStartValue(float value);
  void setWarnValue(float value) { meter_view.setWarnValue(value); }
  void setErrorValue(float value) { meter_view.setErrorValue(value); }
  void setEndValue(float value);

  /// A peak of full scale sets the clip mark, until it is clicked.
  void setPeak(float level);
  void setRms(float level) { meter_view.setRms(level); }

  /// While the window's size is being dragged, the row is an empty capsule.
  void viewWillStartLiveResize();
  void viewDidEndLiveResize();

  MeterView& meter() { return meter_view; }
  ClipMark& clipMark() { return clip_mark; }
  QLineEdit& nameField() { return name_field; }

protected:
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

private:
  void setUpFields();
  void showNameGround(bool shown);
  void repositionChildren();
  void showChildren(bool shown);
  void describe();
  void drawTicks(QPainter& painter) const;

  const int32_t channel_nr;
  QLabel number_field;
  MeterView meter_view;
  ClipMark clip_mark;
  QLineEdit name_field;
  int32_t level_left = 0;
  int32_t level_right = 0;
  float start_value = -46.0F;
  float end_value = 0.0F;
  bool in_live_resize = false;
};

} // namespace vurl
