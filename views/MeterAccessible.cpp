#include "views/MeterAccessible.h"

#include "views/MeterView.h"

#include <algorithm>
#include <cmath>
#include <memory>

namespace vurl {
namespace {

QAccessibleInterface* make(const QString&, QObject* object) {
  auto* const view = qobject_cast<MeterView*>(object);
  return view == nullptr ? nullptr : std::make_unique<MeterAccessible>(view).release(); // Qt's cache owns it
}

QString decibels(float level, float lowest) {
  if (level <= lowest) return MeterView::tr("below %1 dB").arg(std::lround(lowest));
  return MeterView::tr("%1 dB").arg(std::lround(level));
}

} // namespace

MeterAccessible::MeterAccessible(MeterView* view) : QAccessibleWidget(view, QAccessible::ProgressBar) {}

void MeterAccessible::install() { [[maybe_unused]] static const bool once = (QAccessible::installFactory(make), true); }

const MeterView& MeterAccessible::meter() const { return *static_cast<const MeterView*>(widget()); }

void* MeterAccessible::interface_cast(QAccessible::InterfaceType type) {
  if (type == QAccessible::ValueInterface) return static_cast<QAccessibleValueInterface*>(this);
  return QAccessibleWidget::interface_cast(type);
}

QString MeterAccessible::text(QAccessible::Text which) const {
  if (which != QAccessible::Value) return QAccessibleWidget::text(which);
  const float lowest = meter().startValue();
  return MeterView::tr("%1, hold %2").arg(decibels(meter().peakLevel(), lowest), decibels(meter().holdLevel(), lowest));
}

QVariant MeterAccessible::currentValue() const {
  const float highest = std::max(meter().startValue(), meter().endValue());
  return static_cast<int>(std::lround(std::clamp(meter().peakLevel(), meter().startValue(), highest)));
}

QVariant MeterAccessible::maximumValue() const { return static_cast<int>(std::lround(meter().endValue())); }
QVariant MeterAccessible::minimumValue() const { return static_cast<int>(std::lround(meter().startValue())); }

} // namespace vurl
