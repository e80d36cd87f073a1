// What a screen reader is told about a MeterView: a read-only value on the meter's scale, and a text with peak and
// hold. It asks when it wants to know: a meter that reported its every move would talk without end. Main thread.
#pragma once

#include <QtWidgets/QAccessibleWidget>

namespace vurl {

class MeterView;

class MeterAccessible final : public QAccessibleWidget, public QAccessibleValueInterface {
public:
  explicit MeterAccessible(MeterView* view);

  /// Makes Qt use this class for every MeterView. Repeated calls do nothing.
  static void install();

  void* interface_cast(QAccessible::InterfaceType type) override;
  QString text(QAccessible::Text which) const override;

  /// The peak in whole dB, limited to the scale.
  QVariant currentValue() const override;
  void setCurrentValue(const QVariant&) override {}
  QVariant maximumValue() const override;
  QVariant minimumValue() const override;
  QVariant minimumStepSize() const override { return 1; }

private:
  const MeterView& meter() const;
};

} // namespace vurl
