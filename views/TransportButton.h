// One segment of the transport control: a shape and a word, lit while the transport does what it says. It never takes
// the keyboard's focus. Main thread only.
#pragma once

#include <QtWidgets/QAbstractButton>

namespace vurl {

class TransportButton final : public QAbstractButton {
  Q_OBJECT

public:
  enum class Shape { circle, square, cross, triangle };

  /// `lit` is the ground while the button is lit.
  TransportButton(Shape shape, const QString& word, const QColor& lit, QWidget* parent = nullptr);

  bool isLit() const { return is_lit; }
  void setLit(bool on);

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override { return sizeHint(); }

protected:
  void paintEvent(QPaintEvent* event) override;
  void enterEvent(QEnterEvent* event) override;
  void leaveEvent(QEvent* event) override;

private:
  void drawShape(QPainter& painter, const QRectF& box, const QColor& colour) const;

  const Shape shape;
  const QColor lit_colour;
  bool is_lit = false;
};

} // namespace vurl
