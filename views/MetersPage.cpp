#include "views/MetersPage.h"

#include "app/TextWarnings.h"
#include "views/ChannelHeader.h"
#include "views/MeterView.h"
#include "views/SettingControls.h"
#include "views/SettingsBinding.h"

#include <QtWidgets/QFormLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QSlider>
#include <QtWidgets/QSpinBox>
#include <QtWidgets/QVBoxLayout>
#include <cstdint>

namespace vurl {
namespace {

constexpr int kHeaderHeight = 10;
constexpr int kMeterHeight = 16;
constexpr int kLeft = 14; // room for the outer numbers of the scale
constexpr int kRight = 40;
constexpr int kTriedAtFirst = -14; // dB
constexpr int kPeakAboveRms = 12;  // dB

} // namespace

MetersPage::MetersPage(UserDefaults& user_defaults) : defaults(user_defaults) {
  auto* const page = owned<QVBoxLayout>(this);
  QFormLayout* const rows = addGroup(*page, tr("Scale in dBFS"));
  addRow(*rows, tr("Bottom"), settingNumber(defaults, "start_value", tr(" dB")));
  addRow(*rows, tr("Warning, yellow from"), settingNumber(defaults, "warn_value", tr(" dB")));
  addRow(*rows, tr("Error, red from"), settingNumber(defaults, "error_value", tr(" dB")));
  addRow(*rows, tr("Top"), settingNumber(defaults, "end_value", tr(" dB")));
  auto* const order = hintLabel({});
  rows->addRow(order);
  for (const char* const key : {"start_value", "warn_value", "error_value", "end_value"})
    SettingsBinding::follow(*order, defaults, key, [this, order] {
      order->setText(QString::fromStdString(meterScaleWarning(defaults)));
      order->setHidden(order->text().isEmpty());
    });
  addExample(*page);
  page->addStretch();
}

void MetersPage::addExample(QVBoxLayout& page) {
  QFormLayout* const rows = addGroup(page, tr("Example"));
  auto* const header = owned<ChannelHeader>();
  header->setFixedHeight(kHeaderHeight);
  auto* const meter = owned<MeterView>();
  meter->setFixedHeight(kMeterHeight);
  meter->setAccessibleName(tr("Example of a meter"));
  auto* const level = owned<QSlider>(Qt::Horizontal);
  level->setRange(INT16_MIN, INT16_MAX); // until the scale is known
  level->setValue(kTriedAtFirst);
  auto* const edge = owned<QWidget>();
  auto* const inset = owned<QVBoxLayout>(edge);
  inset->setContentsMargins(kLeft, 0, kRight, 0);
  inset->addWidget(meter);
  header->setLevelEdgeLeft(kLeft, kRight);
  rows->addRow(header);
  rows->addRow(edge);
  addRow(*rows, tr("Try a level"), level);

  const auto show = [meter](int peak) {
    meter->setRms(static_cast<float>(peak - kPeakAboveRms));
    meter->setPeak(static_cast<float>(peak));
  };
  connect(level, &QSlider::valueChanged, meter, show);
  const auto rescale = [this, header, meter, level, show] {
    const auto value = [this](const char* key) { return static_cast<float>(defaults.integerForKey(key)); };
    header->setStartValue(value("start_value"));
    header->setEndValue(value("end_value"));
    meter->setStartValue(value("start_value"));
    meter->setWarnValue(value("warn_value"));
    meter->setErrorValue(value("error_value"));
    meter->setEndValue(value("end_value"));
    level->setRange(static_cast<int>(value("start_value")), static_cast<int>(value("end_value")));
    show(level->value());
    header->update();
    meter->update();
  };
  for (const char* const key : {"start_value", "warn_value", "error_value", "end_value"})
    SettingsBinding::follow(*meter, defaults, key, rescale);
}

} // namespace vurl
