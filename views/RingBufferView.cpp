#include "views/RingBufferView.h"

#include "engine/AudioRing.h"
#include "files/OutputFile.h"
#include "platform/Resources.h"

#include <QtGui/QHelpEvent>
#include <QtGui/QPainter>
#include <QtWidgets/QToolTip>
#include <algorithm>
#include <cmath>
#include <numbers>

namespace vurl {
namespace {

constexpr double kSide = 40; ///< the picture's extent in points, scaled with the view
constexpr double kRadius = 12.5;
constexpr double kStroke = 15;

const QColor kPreRecord = QColor::fromRgbF(0.3F, 0.6F, 1.0F);
const QColor kBacklog = QColor::fromRgbF(1.0F, 0.25F, 0.25F);
const QColor kReadAhead = QColor::fromRgbF(1.0F, 0.85F, 0.2F);

bool isRecording(int64_t state) {
  return state >= OutputFile::STARTING_RECORDING && state <= OutputFile::FINISHED_RECORDING;
}
bool isPlaying(int64_t state) {
  return state >= OutputFile::STARTING_PLAYBACK && state <= OutputFile::FINISHED_PLAYBACK;
}

/// Radians, counted against the clock from three o'clock.
double angleOf(int64_t position) {
  constexpr double kTurn = 2 * std::numbers::pi;
  return kTurn - kTurn * static_cast<double>(position & AudioRing::kRingMask) / AudioRing::kRingSamples;
}

int64_t stretch(int64_t from, int64_t to) { return std::clamp<int64_t>(to - from, 0, AudioRing::kRingSamples); }

QPixmap loadPicture() {
  const auto path = Resources::path("RingBufferView", "png");
  return path ? QPixmap(QString::fromStdString(*path)) : QPixmap();
}

} // namespace

RingBufferView::RingBufferView(QWidget* parent) : QWidget(parent), picture(loadPicture()) {
  setAccessibleName(tr("Capture ring"));
}

void RingBufferView::set(int64_t& field, int64_t value) {
  field = value;
  update();
}

void RingBufferView::setDevicePosition(int64_t position) { set(device_position, position); }
void RingBufferView::setRecordingPosition(int64_t position) { set(recording_position, position); }
void RingBufferView::setPlaybackPosition(int64_t position) { set(playback_position, position); }
void RingBufferView::setBorderPosition(int64_t position) { set(border_position, position); }

void RingBufferView::setState(int32_t new_state) {
  if (state == new_state) return;
  set(state, new_state);
  setAccessibleDescription(description()); // told once a state, not with every sample
}

bool RingBufferView::hasBorder() const { return isRecording(state) && border_position > recording_position; }

int64_t RingBufferView::recordingEnd() const {
  return hasBorder() ? std::min(border_position, device_position) : device_position;
}

QString RingBufferView::description() const {
  const auto percent = [](int64_t samples) {
    return QString::number(std::lround(100.0 * static_cast<double>(samples) / AudioRing::kRingSamples));
  };
  const QString behind = percent(stretch(recording_position, recordingEnd()));
  if (isRecording(state)) return tr("Recording: %1 % of the ring waits to be written").arg(behind);
  if (isPlaying(state))
    return tr("Playing: %1 % of the ring is read ahead").arg(percent(stretch(device_position, playback_position)));
  return tr("Pre-record: %1 % of the ring").arg(behind);
}

bool RingBufferView::event(QEvent* event) {
  if (event->type() != QEvent::ToolTip) return QWidget::event(event);
  QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), description(), this);
  return true;
}

void RingBufferView::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
  const double scale = std::min(width(), height()) / kSide;
  painter.translate(width() * 0.5, height() * 0.5);
  painter.scale(scale, scale);
  painter.drawPixmap(QRectF(-kSide / 2, -kSide / 2, kSide, kSide), picture, QRectF(picture.rect()));

  if (isPlaying(state)) {
    drawStretch(painter, device_position, playback_position, kReadAhead);
  } else {
    drawStretch(painter, recording_position, recordingEnd(), isRecording(state) ? kBacklog : kPreRecord);
  }
  const QColor ink = palette().color(QPalette::WindowText);
  if (hasBorder()) drawHand(painter, border_position, ink, 1);
  drawHand(painter, device_position, ink, 2);
}

void RingBufferView::drawStretch(QPainter& painter, int64_t from, int64_t to, const QColor& colour) const {
  const double share = static_cast<double>(stretch(from, to)) / AudioRing::kRingSamples;
  const double start = angleOf(from) * 180 / std::numbers::pi * 16; // Qt counts sixteenths of a degree
  painter.setPen(QPen(colour, kStroke, Qt::SolidLine, Qt::FlatCap));
  const QRectF circle(-kRadius, -kRadius, 2 * kRadius, 2 * kRadius);
  if (share > 0) painter.drawArc(circle, static_cast<int>(std::lround(start)), -static_cast<int>(share * 360 * 16));
}

void RingBufferView::drawHand(QPainter& painter, int64_t position, const QColor& colour, double width) const {
  const double angle = angleOf(position);
  const QPointF direction(std::cos(angle), -std::sin(angle)); // the screen's y grows downwards
  painter.setPen(QPen(colour, width, Qt::SolidLine, Qt::FlatCap));
  painter.drawLine(direction * (kRadius - kStroke / 2), direction * (kRadius + kStroke / 2));
}

} // namespace vurl
