// A line of plain text that gives way when there is no room for it: its middle goes, and the tooltip has the whole.
// Main thread only.
#pragma once

#include <QtWidgets/QLabel>

namespace vurl {

class ElidedLabel final : public QLabel {
  Q_OBJECT

public:
  explicit ElidedLabel(QWidget* parent = nullptr);

  QSize minimumSizeHint() const override;

protected:
  void paintEvent(QPaintEvent* event) override;
  bool event(QEvent* event) override;
};

} // namespace vurl
