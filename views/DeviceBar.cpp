#include "views/DeviceBar.h"

#include "engine/AudioRing.h"
#include "timecode/ltc.h"
#include "views/SettingControls.h"
#include "views/SettingsBinding.h"
#include "views/WheelGuard.h"

#include <QtCore/QSignalBlocker>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QGridLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QSlider>
#include <array>
#include <cmath>

namespace vurl {
namespace {

struct Named {
  const char* name;
  int code;
};

constexpr std::array kTimeSources = {
    Named{QT_TRANSLATE_NOOP("vurl::DeviceBar", "Zero"), ZERO},
    Named{QT_TRANSLATE_NOOP("vurl::DeviceBar", "Session"), SESSION},
    Named{QT_TRANSLATE_NOOP("vurl::DeviceBar", "Time of day"), TIME_OF_DAY},
    Named{QT_TRANSLATE_NOOP("vurl::DeviceBar", "LTC"), LTC},
    Named{QT_TRANSLATE_NOOP("vurl::DeviceBar", "Device timecode"), COREAUDIO_SMPTE},
    Named{QT_TRANSLATE_NOOP("vurl::DeviceBar", "Device word clock"), COREAUDIO_WORD_CLOCK},
};

constexpr std::array kFrameRates = {
    Named{"23.976", FRAME_RATE_23_976},
    Named{"24", FRAME_RATE_24},
    Named{"25", FRAME_RATE_25},
    Named{"29.97", FRAME_RATE_29_97},
    Named{"29.97 drop", FRAME_RATE_29_97_DROP},
    Named{"30", FRAME_RATE_30},
    Named{"30 drop", FRAME_RATE_30_DROP},
    Named{"59.94", FRAME_RATE_59_94},
    Named{"60", FRAME_RATE_60},
};

template <typename Table>
void fill(QComboBox& menu, const Table& names) {
  for (const auto& [name, code] : names) menu.addItem(DeviceBar::tr(name), code);
}

} // namespace

DeviceBar::DeviceBar(UserDefaults& user_defaults, QWidget* parent) : QWidget(parent), defaults(user_defaults) {
  auto* const grid = owned<QGridLayout>(this);
  grid->setContentsMargins(0, 0, 0, 0);
  grid->setVerticalSpacing(1);
  device_menus[static_cast<size_t>(DeviceMenu::device)] = addMenu(tr("Device"), 150, 4);
  device_menus[static_cast<size_t>(DeviceMenu::data_source)] = addMenu(tr("Source"), 90, 2);
  device_menus[static_cast<size_t>(DeviceMenu::sample_rate)] = addMenu(tr("Sample rate"), 90, 1);
  device_menus[static_cast<size_t>(DeviceMenu::clock_source)] = addMenu(tr("Clock"), 90, 2);
  for (size_t i = 0; i < device_menus.size(); ++i) {
    connect(device_menus[i], &QComboBox::activated, this, [this, i](int index) {
      Q_EMIT chosen(static_cast<DeviceMenu>(i), device_menus[i]->itemData(index).toLongLong());
    });
  }
  addBufferSlider();
  pull_menu = addMenu(tr("Pull"), 90, 1);
  time_source_menu = addMenu(tr("Time source"), 100, 2);
  fill(*time_source_menu, kTimeSources);
  SettingsBinding::bind(*time_source_menu, defaults, "time_source");
  frame_rate_menu = addMenu(tr("Frame rate"), 84, 1);
  fill(*frame_rate_menu, kFrameRates);
  SettingsBinding::bind(*frame_rate_menu, defaults, "frame_rate");
  auto* const monitoring = owned<QCheckBox>(tr("on"));
  monitoring->setFocusPolicy(Qt::TabFocus);
  SettingsBinding::bind(*monitoring, defaults, "monitoring");
  add(*monitoring, tr("Monitoring"), 0);
}

void DeviceBar::add(QWidget& control, const QString& title, int stretch) {
  auto* const grid = static_cast<QGridLayout*>(layout());
  const int column = grid->columnCount();
  auto* const label = owned<QLabel>(title);
  label->setBuddy(&control);
  if (control.accessibleName().isEmpty()) control.setAccessibleName(title);
  grid->addWidget(label, 0, column);
  grid->addWidget(&control, 1, column);
  grid->setColumnStretch(column, stretch);
}

/// Menus are worked by the mouse or reached by the tab key: a click leaves the keyboard to the transport.
QComboBox* DeviceBar::addMenu(const QString& title, int width, int stretch) {
  auto* const menu = owned<QComboBox>();
  menu->setMinimumWidth(width);
  menu->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  menu->setFocusPolicy(Qt::TabFocus);
  WheelGuard::protect(*menu);
  add(*menu, title, stretch);
  return menu;
}

void DeviceBar::addBufferSlider() {
  auto* const box = owned<QWidget>();
  auto* const row = owned<QHBoxLayout>(box);
  row->setContentsMargins(0, 0, 0, 0);
  buffer_slider = owned<QSlider>(Qt::Horizontal);
  buffer_slider->setTracking(false); // each value restarts the device
  buffer_slider->setFocusPolicy(Qt::TabFocus);
  WheelGuard::protect(*buffer_slider);
  buffer_slider->setMinimumWidth(70);
  buffer_slider->setAccessibleName(tr("Buffer size"));
  buffer_label = owned<QLabel>();
  buffer_label->setMinimumWidth(fontMetrics().horizontalAdvance(QStringLiteral("00000")));
  row->addWidget(buffer_slider, 1);
  row->addWidget(buffer_label);
  connect(buffer_slider, &QSlider::sliderMoved, this, [this](int frames) { buffer_label->setNum(frames); });
  connect(buffer_slider, &QSlider::valueChanged, this,
          [this](int frames) { Q_EMIT bufferSizeChosen(static_cast<quint32>(frames)); });
  add(*box, tr("Buffer, frames"), 2);
}

void DeviceBar::showMenu(DeviceMenu which, const PopupMenu& popup) {
  QComboBox& shown = menu(which);
  const QSignalBlocker quiet(shown);
  shown.clear();
  for (const auto& item : popup.items) shown.addItem(QString::fromStdString(item.title), qint64{item.tag});
  shown.setCurrentIndex(popup.selected);
  shown.setEnabled(popup.enabled);
  shown.setToolTip(shown.currentText());
}

void DeviceBar::showPullMenu(const std::array<PullMenu::Item, 3>& items) {
  pull_menu->clear();
  for (const auto& item : items) pull_menu->addItem(QString::fromStdString(item.title), item.tag);
  SettingsBinding::bind(*pull_menu, defaults, "pull");
}

void DeviceBar::showBufferSizeRange(double lowest, double highest) {
  const QSignalBlocker quiet(buffer_slider);
  buffer_slider->setRange(static_cast<int>(std::lround(lowest)), static_cast<int>(std::lround(highest)));
  buffer_slider->setEnabled(highest > lowest);
}

void DeviceBar::showBufferSize(uint32_t frames) {
  const QSignalBlocker quiet(buffer_slider);
  buffer_slider->setValue(static_cast<int>(frames));
  buffer_label->setText(QString::number(frames));
}

QString DeviceBar::frameRateWords() const {
  return frame_rate_menu->currentText().isEmpty() ? QString() : tr("%1 fps").arg(frame_rate_menu->currentText());
}

QString DeviceBar::timeSourceWords() const { return time_source_menu->currentText(); }

} // namespace vurl
