#include "views/MeterView.h"

#include "views/MeterAccessible.h"

#include <QtGui/QPainter>
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace vurl {
namespace {

constexpr int kTickWidth = 3;
constexpr auto kHoldTime = std::chrono::seconds(5);

struct ZoneColour {
  QColor unlit;
  QColor lit;
};

const ZoneColour kGreen = {QColor::fromRgbF(0.15F, 0.5F, 0.15F), QColor::fromRgbF(0.3F, 1.0F, 0.3F)};
const ZoneColour kYellow = {QColor::fromRgbF(0.5F, 0.5F, 0.15F), QColor::fromRgbF(1.0F, 1.0F, 0.3F)};
const ZoneColour kRed = {QColor::fromRgbF(0.5F, 0.15F, 0.15F), QColor::fromRgbF(1.0F, 0.3F, 0.3F)};

/// What is no number counts as silence.
float cleaned(float level) { return std::isnan(level) ? -std::numeric_limits<float>::infinity() : level; }

} // namespace

MeterView::MeterView(QWidget* parent, Clock hold_clock)
    : QWidget(parent), clock(std::move(hold_clock)), hold_timestamp(clock()) {
  setAttribute(Qt::WA_OpaquePaintEvent); // the row behind it is not painted again with every level
  MeterAccessible::install();
}

double MeterView::limited(float level) const {
  if (!(level > start_value)) return start_value;
  return std::min(level, std::max(start_value, end_value));
}

/// Pixels per dB; 0 for a scale without extent.
double MeterView::scale() const {
  const double range = static_cast<double>(end_value) - start_value;
  return range > 0 ? width() / range : 0;
}

int MeterView::columnOf(float level) const {
  return static_cast<int>(std::floor((limited(level) - start_value) * scale()));
}

void MeterView::invalidateTick(float level) { update(columnOf(level) - kTickWidth, 0, kTickWidth, height()); }

void MeterView::invalidateBar(float from, float to) {
  const int low = columnOf(std::min(from, to)) - 1;
  const int high = columnOf(std::max(from, to));
  update(low, 0, high - low + 2, height());
}

void MeterView::setRms(float level) {
  const float before = rms;
  rms = cleaned(level);
  if (limited(before) == limited(rms)) return;
  invalidateTick(before);
  invalidateTick(rms);
}

void MeterView::setPeak(float level) {
  const float before = peak;
  peak = cleaned(level);
  if (limited(before) != limited(peak)) invalidateBar(before, peak);
  updateHold();
}

void MeterView::updateHold() {
  const auto now = clock();
  if (peak < hold && now - hold_timestamp <= kHoldTime) return;
  hold_timestamp = now;
  const float before = hold;
  hold = peak;
  if (limited(before) == limited(hold)) return;
  invalidateTick(before);
  invalidateTick(hold);
}

void MeterView::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.fillRect(rect(), kRed.unlit); // seen only when the scale's values are out of order
  drawUnlitZones(painter);
  drawLitBar(painter);
  drawTicks(painter);
}

struct MeterView::Zone {
  float from;
  float to;
  const ZoneColour& colour;
};

std::array<MeterView::Zone, 3> MeterView::zones() const {
  return {{{start_value, warn_value, kGreen}, {warn_value, error_value, kYellow}, {error_value, end_value, kRed}}};
}

/// Each width counts from the peak, so that a dark zone runs on into the next, which is painted over it.
void MeterView::drawUnlitZones(QPainter& painter) const {
  const double level = limited(peak);
  for (const Zone& zone : zones()) {
    if (zone.to <= peak) continue;
    const double x = std::floor((std::max<double>(zone.from, level) - start_value) * scale());
    painter.fillRect(QRectF(x, 0, std::ceil((zone.to - level) * scale()), height()), zone.colour.unlit);
  }
}

void MeterView::drawLitBar(QPainter& painter) const {
  const double level = limited(peak);
  for (const Zone& zone : zones()) {
    const double width = (std::min<double>(level, zone.to) - zone.from) * scale();
    if (peak < zone.from || width <= 0) continue;
    painter.fillRect(QRectF((zone.from - start_value) * scale(), 0, width, height()), zone.colour.lit);
  }
}

void MeterView::drawTicks(QPainter& painter) const {
  const double half = height() * 0.5;
  const int rms_x = columnOf(rms) - kTickWidth;
  painter.fillRect(QRectF(rms_x, half, kTickWidth, half), Qt::black);
  painter.fillRect(QRectF(rms_x, 0, kTickWidth, half), Qt::white);
  const ZoneColour& zone = hold > error_value ? kRed : hold > warn_value ? kYellow : kGreen;
  painter.fillRect(columnOf(hold) - kTickWidth, 0, kTickWidth, height(), zone.lit);
}

} // namespace vurl
