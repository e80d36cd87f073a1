#include "views/ChannelStripBox.h"

#include "views/SettingsBinding.h"

#include <QtGui/QResizeEvent>
#include <algorithm>
#include <cmath>

namespace vurl {
namespace {

constexpr int kLevelLeft = 35;
constexpr int kLevelRight = 120;
constexpr int kHeaderHeight = 10;
constexpr int kRowHeight = 22;
constexpr int kRowStep = 26;  ///< from one row to the next
constexpr int kAboveRows = 8; ///< from the box's top to the rows' first step
constexpr int kColumnGap = 4;
constexpr int kColumnHint = 560; ///< a good width of a column

/// Nothing tells that a window's edge is being dragged but sizes that keep following each other quickly (a layout that
/// settles gives two or three), and nothing tells the end but their staying out.
constexpr int kDragging = 100; ///< ms
constexpr int kQuickResizes = 3;
constexpr int kDragged = 150; ///< ms

} // namespace

ChannelStripBox::ChannelStripBox(QWidget* parent) : QWidget(parent) {
  for (uint32_t i = 0; i < kMaxChannels; ++i) {
    channel_views[i] = std::make_unique<ChannelView>(static_cast<int32_t>(i), this);
    channel_views[i]->setLevelEdgeLeft(kLevelLeft, kLevelRight);
    channel_views[i]->hide();
    connect(&channel_views[i]->clipMark(), &ClipMark::clearAllWanted, this, &ChannelStripBox::clearClipMarks);
    channel_headers[i] = std::make_unique<ChannelHeader>(this);
    channel_headers[i]->setLevelEdgeLeft(kLevelLeft, kLevelRight);
    channel_headers[i]->hide();
  }
  setStartValue(start_value);
  setWarnValue(warn_value);
  setErrorValue(error_value);
  setEndValue(end_value);
  live_resize_end.setSingleShot(true);
  live_resize_end.setInterval(kDragged);
  connect(&live_resize_end, &QTimer::timeout, this, &ChannelStripBox::viewDidEndLiveResize);
}

void ChannelStripBox::awakeFromNib(UserDefaults& defaults) {
  struct Bound {
    const char* key;
    void (ChannelStripBox::*set)(int32_t);
  };
  static constexpr std::array kBound = {
      Bound{"start_value", &ChannelStripBox::setStartValue}, Bound{"warn_value", &ChannelStripBox::setWarnValue},
      Bound{"error_value", &ChannelStripBox::setErrorValue}, Bound{"end_value", &ChannelStripBox::setEndValue},
      Bound{"nr_channels", &ChannelStripBox::setNrChannels},
  };
  for (const Bound& bound : kBound) {
    SettingsBinding::follow(*this, defaults, bound.key, [this, &defaults, &bound] {
      (this->*bound.set)(static_cast<int32_t>(std::clamp<int64_t>(defaults.integerForKey(bound.key), -1000, 1000)));
    });
  }
  for (const auto& view : channel_views) view->awakeFromNib(defaults);
}

void ChannelStripBox::setStartValue(int32_t value) {
  start_value = value;
  for (const auto& view : channel_views) view->setStartValue(static_cast<float>(value));
  for (const auto& header : channel_headers) header->setStartValue(static_cast<float>(value));
  redraw();
}

void ChannelStripBox::setWarnValue(int32_t value) {
  warn_value = value;
  for (const auto& view : channel_views) view->setWarnValue(static_cast<float>(value));
  redraw();
}

void ChannelStripBox::setErrorValue(int32_t value) {
  error_value = value;
  for (const auto& view : channel_views) view->setErrorValue(static_cast<float>(value));
  redraw();
}

void ChannelStripBox::setEndValue(int32_t value) {
  end_value = value;
  for (const auto& view : channel_views) view->setEndValue(static_cast<float>(value));
  for (const auto& header : channel_headers) header->setEndValue(static_cast<float>(value));
  redraw();
}

/// Meters paint every pixel of theirs, so that what lies behind them is not redrawn with them, nor they with it.
void ChannelStripBox::redraw() {
  update();
  for (const auto& view : channel_views) view->meter().update();
}

void ChannelStripBox::setNrChannels(int32_t n) {
  nr_channels = static_cast<uint32_t>(std::clamp<int32_t>(n, 0, kMaxChannels));
  repositionChildren();
  updateGeometry();
  update();
}

void ChannelStripBox::setPeak(float peak, float rms, uint32_t channel) {
  if (channel >= kMaxChannels) return;
  channel_views[channel]->setPeak(peak);
  channel_views[channel]->setRms(rms);
}

void ChannelStripBox::clearClipMarks() {
  for (const auto& view : channel_views) view->clipMark().setClipped(false);
}

/// A box too low for a row shows neither rows nor headers.
void ChannelStripBox::repositionChildren() {
  const auto rows = static_cast<uint32_t>(std::max(0, height() - kAboveRows) / kRowStep);
  const uint32_t columns = rows == 0 ? 0 : (nr_channels + rows - 1) / rows;
  nr_channel_headers = columns;
  const int column_width = columns == 0 ? 0 : (width() + kColumnGap) / static_cast<int>(columns) - kColumnGap;
  for (uint32_t column = 0; column < columns; ++column) placeColumn(column, rows, column_width);
  for (uint32_t i = 0; i < kMaxChannels; ++i) {
    channel_headers[i]->setVisible(i < columns);
    channel_views[i]->setVisible(columns != 0 && i < nr_channels);
  }
}

void ChannelStripBox::placeColumn(uint32_t column, uint32_t rows, int column_width) {
  const int x = (column_width + kColumnGap) * static_cast<int>(column);
  const int shown_width = std::max(0, column_width);
  channel_headers[column]->setGeometry(x, 0, shown_width, kHeaderHeight);
  const uint32_t first = column * rows;
  const uint32_t last = std::min(first + rows, nr_channels);
  for (uint32_t i = first; i < last; ++i) {
    const int bottom = kAboveRows + static_cast<int>(i - first + 1) * kRowStep;
    channel_views[i]->setGeometry(x, bottom - kRowHeight, shown_width, kRowHeight);
  }
}

void ChannelStripBox::resizeEvent(QResizeEvent*) {
  noteResize();
  repositionChildren();
}

void ChannelStripBox::noteResize() {
  const bool follows = isVisible() && since_resize.isValid() && since_resize.elapsed() < kDragging;
  quick_resizes = follows ? quick_resizes + 1 : 0;
  since_resize.start();
  if (live_resize_end.isActive())
    live_resize_end.start();
  else if (quick_resizes >= kQuickResizes)
    viewWillStartLiveResize();
}

void ChannelStripBox::viewWillStartLiveResize() {
  live_resize_end.start();
  for (const auto& view : channel_views) view->viewWillStartLiveResize();
  for (const auto& header : channel_headers) header->viewWillStartLiveResize();
}

void ChannelStripBox::viewDidEndLiveResize() {
  for (const auto& view : channel_views) view->viewDidEndLiveResize();
  for (const auto& header : channel_headers) header->viewDidEndLiveResize();
  repositionChildren();
  update();
}

/// Rows in one column, from 17 channels on in two, from 33 on in as many as it takes.
QSize ChannelStripBox::sizeHint() const {
  const int rows = std::clamp<int>(static_cast<int>(nr_channels), 1, 16);
  const int columns = std::clamp<int>((static_cast<int>(nr_channels) + rows - 1) / rows, 1, 2);
  return {columns * kColumnHint, kAboveRows + rows * kRowStep};
}

QSize ChannelStripBox::minimumSizeHint() const { return {kColumnHint / 2, kAboveRows + kRowStep}; }

} // namespace vurl
