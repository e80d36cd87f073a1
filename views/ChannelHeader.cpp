#include "views/ChannelHeader.h"

#include <QtGui/QPainter>
#include <cmath>

namespace vurl {
namespace {

constexpr int kLabelStep = 6; ///< dB
constexpr int kTextSize = 9;  ///< pixels
constexpr int kNarrow = 300;  ///< points; up to here the numbers would run into each other
constexpr int kLabelWidth = 40;
constexpr int kLabelHeight = 22;
constexpr int kLabelIndent = 2; ///< of the text within its frame

} // namespace

ChannelHeader::ChannelHeader(QWidget* parent) : QWidget(parent) {
  QFont small = font();
  small.setPixelSize(kTextSize);
  setFont(small);
}

void ChannelHeader::setLevelEdgeLeft(int32_t left, int32_t right) {
  level_left = left;
  level_right = right;
}

void ChannelHeader::viewWillStartLiveResize() {
  in_live_resize = true;
  update();
}

void ChannelHeader::viewDidEndLiveResize() {
  in_live_resize = false;
  update();
}

void ChannelHeader::paintEvent(QPaintEvent*) {
  const float range = end_value - start_value;
  if (in_live_resize || width() <= kNarrow || !(range > 0)) return;
  QPainter painter(this);
  const double scale = (width() - level_left - level_right) / static_cast<double>(range);
  const bool crowded = kLabelStep * scale < fontMetrics().horizontalAdvance("-00");
  const int step = crowded ? 2 * kLabelStep : kLabelStep;
  for (int value = static_cast<int>(end_value); static_cast<float>(value) >= start_value; value -= step) {
    const QString label = QString::asprintf(value == 0 ? "%3i dbFS" : "%3i", value);
    const int x = level_left + static_cast<int>(std::floor((value - double{start_value}) * scale)) - 10;
    const QRect frame(x, height() - 11, kLabelWidth, kLabelHeight);
    painter.drawText(frame.adjusted(kLabelIndent, 0, 0, 0), Qt::AlignLeft | Qt::AlignTop | Qt::TextDontClip, label);
  }
}

} // namespace vurl
