#include "views/TimeField.h"

#include "views/SettingControls.h"

#include <QtGui/QFontDatabase>
#include <QtGui/QPainter>
#include <QtWidgets/QAccessibleWidget>

namespace vurl {
namespace {

constexpr int kHeight = 76;
constexpr int kDigitPixels = 46; ///< in a window that is wide enough
constexpr int kLeastDigitPixels = 34;
constexpr int kMargin = 12;
constexpr int kCaptionHeight = 20;
const QColor kGround(244, 245, 238);
const QColor kEdge(150, 152, 140);
const QColor kCaptionInk(70, 70, 66);

/// Tells a screen reader the time when it asks; it would talk without end if it were told of every change.
class AccessibleTime final : public QAccessibleWidget {
public:
  explicit AccessibleTime(TimeField* field) : QAccessibleWidget(field, QAccessible::Clock) {}

  QString text(QAccessible::Text which) const override {
    const auto* const field = static_cast<const TimeField*>(widget());
    return which == QAccessible::Value ? field->time() : QAccessibleWidget::text(which);
  }
};

QAccessibleInterface* makeAccessible(const QString&, QObject* object) {
  auto* const field = qobject_cast<TimeField*>(object);
  return field == nullptr ? nullptr : owned<AccessibleTime>(field); // Qt's cache owns it
}

} // namespace

TimeField::TimeField(QWidget* parent) : QWidget(parent) {
  setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Fixed);
  [[maybe_unused]] static const bool once = (QAccessible::installFactory(makeAccessible), true);
}

void TimeField::setTime(const QString& time_digits) {
  if (digits == time_digits) return;
  digits = time_digits;
  update();
}

void TimeField::setColour(const QColor& colour) {
  if (ink == colour) return;
  ink = colour;
  update();
}

void TimeField::setWords(const QString& text) {
  if (caption == text) return;
  caption = text;
  setAccessibleDescription(text);
  updateGeometry();
  update();
}

QFont TimeField::digitFont(int pixels) {
  QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
  fixed.setPixelSize(pixels);
  fixed.setBold(true);
  return fixed;
}

int TimeField::widthOf(int pixels) {
  return 2 * kMargin + QFontMetrics(digitFont(pixels)).horizontalAdvance(QStringLiteral("00:00:00:00"));
}

QSize TimeField::sizeHint() const { return {widthOf(kDigitPixels), kHeight}; }

QSize TimeField::minimumSizeHint() const { return {widthOf(kLeastDigitPixels), kHeight}; }

void TimeField::resizeEvent(QResizeEvent*) {
  digit_pixels = kDigitPixels;
  while (digit_pixels > kLeastDigitPixels && widthOf(digit_pixels) > width()) --digit_pixels;
}

void TimeField::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(kEdge);
  painter.setBrush(kGround);
  painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 5, 5);
  const QRect inner = rect().adjusted(kMargin, 3, -kMargin, -3);
  painter.setFont(digitFont(digit_pixels));
  painter.setPen(ink);
  painter.drawText(inner.adjusted(0, 0, 0, -kCaptionHeight), Qt::AlignCenter, digits);
  painter.setFont(font());
  painter.setPen(kCaptionInk);
  const QString shown = painter.fontMetrics().elidedText(caption, Qt::ElideRight, inner.width());
  painter.drawText(inner.adjusted(0, inner.height() - kCaptionHeight, 0, 0), Qt::AlignCenter, shown);
}

} // namespace vurl
