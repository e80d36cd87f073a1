// The capture ring as a circle: where the device writes, and how much of the ring lies between it and the file engine:
// the pre-record window while idle, the backlog during a take, what is read ahead during playback. Positions run
// clockwise from three o'clock. Main thread only.
#pragma once

#include <QtGui/QPixmap>
#include <QtWidgets/QWidget>
#include <cstdint>

namespace vurl {

class RingBufferView final : public QWidget {
  Q_OBJECT

public:
  explicit RingBufferView(QWidget* parent = nullptr);

  /// Positions in samples since the ring was made, as AudioRing counts them; a border of AudioRing::kNoBorder is none.
  void setDevicePosition(int64_t position);
  void setRecordingPosition(int64_t position);
  void setPlaybackPosition(int64_t position);
  void setBorderPosition(int64_t position);

  /// An OutputFile::State.
  void setState(int32_t state);

  /// What the picture shows, in words.
  QString description() const;

  QSize sizeHint() const override { return {44, 44}; }
  QSize minimumSizeHint() const override { return {40, 40}; }

protected:
  void paintEvent(QPaintEvent* event) override;
  bool event(QEvent* event) override;

private:
  void set(int64_t& field, int64_t value);
  bool hasBorder() const;
  int64_t recordingEnd() const; ///< where what is still to be written ends
  void drawStretch(QPainter& painter, int64_t from, int64_t to, const QColor& colour) const;
  void drawHand(QPainter& painter, int64_t position, const QColor& colour, double width) const;

  const QPixmap picture; ///< the empty ring
  int64_t device_position = 0;
  int64_t recording_position = 0;
  int64_t playback_position = 0;
  int64_t border_position = INT64_MIN;
  int64_t state = 0;
};

} // namespace vurl
