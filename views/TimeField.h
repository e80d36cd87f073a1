// Big fixed-width digits with a line of words beneath, dark on a light ground like a display, whatever the desktop's
// palette. Main thread only.
#pragma once

#include <QtWidgets/QWidget>

namespace vurl {

class TimeField final : public QWidget {
  Q_OBJECT

public:
  explicit TimeField(QWidget* parent = nullptr);

  void setTime(const QString& digits);
  void setColour(const QColor& colour);
  void setWords(const QString& text);

  const QString& time() const { return digits; }
  const QString& words() const { return caption; }

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

protected:
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;

private:
  static QFont digitFont(int pixels);
  static int widthOf(int pixels);

  QString digits = QStringLiteral("--:--:--:--");
  QString caption;
  QColor ink = Qt::black;
  int digit_pixels = 0; ///< of the font that fits the width
};

} // namespace vurl
