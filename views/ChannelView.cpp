#include "views/ChannelView.h"

#include "platform/Text.h"
#include "views/SettingsBinding.h"
#include "views/TextHint.h"

#include <QtGui/QKeyEvent>
#include <QtGui/QPainter>
#include <algorithm>
#include <cmath>

namespace vurl {
namespace {

constexpr int kFieldHeight = 18;
constexpr int kMeterHeight = 10;
constexpr int kTextSize = 12;      ///< pixels: the row's height does not grow with the desktop's font
constexpr int kTickStep = 2;       ///< dB
constexpr int kEmphasised = 3;     ///< every third step, so that it stands under a number of the scale
constexpr int kWideRow = 400;      ///< from here on there is room for a tick every dB
constexpr float kScaleLimit = 200; ///< dB; a longer scale gets no ticks

int topOf(int height, int row_height) { return static_cast<int>(std::floor((row_height - height) * 0.5)); }

} // namespace

ChannelView::ChannelView(int32_t channel, QWidget* parent)
    : QWidget(parent),
      channel_nr(channel),
      number_field(this),
      meter_view(this),
      clip_mark(channel, this),
      name_field(this) {
  setUpFields();
  describe();
  repositionChildren();
}

void ChannelView::setUpFields() {
  QFont small = font();
  small.setPixelSize(kTextSize);
  number_field.setFont(small);
  number_field.setText(QString::number(channel_nr + 1));
  number_field.setAlignment(Qt::AlignCenter);
  name_field.setFont(small);
  name_field.setFrame(false);
  name_field.setTextMargins(0, 0, 0, 0);
  showNameGround(false);
  name_field.installEventFilter(this);
  name_field.setPlaceholderText(tr("name"));
  connect(&name_field, &QLineEdit::returnPressed, &name_field, &QWidget::clearFocus); // back to the transport
  connect(&name_field, &QLineEdit::textChanged, this, &ChannelView::describe);
}

/// The name lies on the row, but for the one that is being edited.
void ChannelView::showNameGround(bool shown) {
  QPalette changed = name_field.palette();
  changed.setBrush(QPalette::Base, shown ? palette().base() : QBrush(Qt::transparent));
  name_field.setPalette(changed);
}

bool ChannelView::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::FocusIn || event->type() == QEvent::FocusOut) {
    showNameGround(event->type() == QEvent::FocusIn);
    if (event->type() == QEvent::FocusOut) name_field.home(false); // a long name shows its beginning
  }
  if (event->type() != QEvent::KeyPress || static_cast<QKeyEvent*>(event)->key() != Qt::Key_Escape)
    return QWidget::eventFilter(watched, event);
  name_field.clearFocus();
  return true;
}

void ChannelView::describe() {
  const int number = channel_nr + 1;
  name_field.setAccessibleName(tr("Name of channel %1").arg(number));
  meter_view.setAccessibleName(tr("Level of channel %1, %2").arg(number).arg(name_field.text()));
  name_field.setToolTip(name_field.text()); // for names that the field is too short for
}

void ChannelView::awakeFromNib(UserDefaults& defaults) {
  const std::string key = text("name_for_channel%02i", channel_nr);
  SettingsBinding::bind(name_field, defaults, key);
  TextHint::watch(name_field, defaults, key);
}

void ChannelView::setLevelEdgeLeft(int32_t left, int32_t right) {
  level_left = left;
  level_right = right;
}

void ChannelView::setStartValue(float value) {
  start_value = value;
  meter_view.setStartValue(value);
}

void ChannelView::setEndValue(float value) {
  end_value = value;
  meter_view.setEndValue(value);
}

void ChannelView::setPeak(float level) {
  meter_view.setPeak(level);
  if (level >= ClipMark::kClipLevel) clip_mark.setClipped(true);
}

void ChannelView::resizeEvent(QResizeEvent*) {
  if (!in_live_resize) repositionChildren();
}

void ChannelView::repositionChildren() {
  const int field_top = topOf(kFieldHeight, height());
  const int meter_width = std::max(0, width() - level_right - level_left);
  const int name_left = level_left + meter_width + 8;
  const double name_width = (level_right - 8) - height() * 0.5;
  number_field.setGeometry(height() / 2 - 2, field_top, 21, kFieldHeight);
  meter_view.setGeometry(level_left, topOf(kMeterHeight, height()), meter_width, kMeterHeight);
  clip_mark.setGeometry(level_left + meter_width, 0, 8, height());
  name_field.setGeometry(name_left, field_top, std::max(0, static_cast<int>(name_width)), kFieldHeight);
  update();
}

void ChannelView::viewWillStartLiveResize() {
  in_live_resize = true;
  showChildren(false);
}

void ChannelView::viewDidEndLiveResize() {
  in_live_resize = false;
  showChildren(true);
  repositionChildren();
}

void ChannelView::showChildren(bool shown) {
  for (QWidget* child : {static_cast<QWidget*>(&number_field), static_cast<QWidget*>(&meter_view),
                         static_cast<QWidget*>(&clip_mark), static_cast<QWidget*>(&name_field)})
    child->setVisible(shown);
  update();
}

void ChannelView::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  painter.setBrush(QColor::fromRgbF(0, 0, 0, 0.2F));
  painter.drawRoundedRect(rect(), height() * 0.5, height() * 0.5);
  if (!in_live_resize && meter_view.width() > 0) drawTicks(painter);
}

/// Ticks along the meter's lower edge, counted from the top of the scale as its numbers are.
void ChannelView::drawTicks(QPainter& painter) const {
  const float range = end_value - start_value;
  if (!(range > 0) || range >= kScaleLimit) return;
  painter.setRenderHint(QPainter::Antialiasing, false);
  const double scale = meter_view.width() / static_cast<double>(range);
  const int step = width() > kWideRow ? 1 : kTickStep;
  const double top = meter_view.geometry().bottom() + 1;
  QColor ink = palette().color(QPalette::WindowText);
  for (int down = 0; static_cast<float>(down) <= range; down += step) {
    const bool emphasised = down % (kTickStep * kEmphasised) == 0;
    ink.setAlphaF(emphasised ? 0.9F : 0.4F);
    const double x = std::floor(level_left + meter_view.width() - down * scale);
    painter.fillRect(QRectF(x, top, 1, down % kTickStep != 0 ? 3 : emphasised ? 5 : 4), ink);
  }
}

} // namespace vurl
