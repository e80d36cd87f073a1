// The mark behind a meter that tells that its channel has clipped: hollow until then, filled from then on, until it is
// clicked. Main thread only.
#pragma once

#include <QtWidgets/QAbstractButton>

namespace vurl {

class ClipMark final : public QAbstractButton {
  Q_OBJECT

public:
  /// `channel_nr` counts from 0.
  ClipMark(int32_t channel_nr, QWidget* parent);

  bool isClipped() const { return clipped; }
  void setClipped(bool on);

  /// Clipped from here on, in dBFS. The highest positive value of a 16-bit converter is one step short of full scale.
  static constexpr float kClipLevel = -0.0003F;

Q_SIGNALS:
  /// The user wants the marks of all channels cleared.
  void clearAllWanted();

protected:
  void paintEvent(QPaintEvent* event) override;

private:
  void describe();

  const int32_t channel_nr;
  bool clipped = false;
};

} // namespace vurl
