#include "views/GeneralPage.h"

#include "engine/AudioRing.h"
#include "timecode/ltc.h"
#include "views/SettingControls.h"
#include "views/SettingsBinding.h"

#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QFormLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QSpinBox>
#include <QtWidgets/QVBoxLayout>

namespace vurl {

GeneralPage::GeneralPage(UserDefaults& user_defaults) : defaults(user_defaults) {
  auto* const page = owned<QVBoxLayout>(this);
  addInputs(*page);
  addTime(*page);
  addTakes(*page);
  page->addStretch();
}

void GeneralPage::addInputs(QVBoxLayout& page) {
  QFormLayout* const rows = addGroup(page, tr("Device"));
  QLineEdit* const device = settingField(defaults, "selected_device");
  device->setPlaceholderText(tr("the first one that is there"));
  device->setToolTip(tr("The name of the device that is taken when the program starts, and when devices come and go. "
                        "The device menu stores it."));
  addRow(*rows, tr("Preferred device"), device);
  QLineEdit* const alsa = settingField(defaults, "alsa_devices");
  // Each half-typed name would be opened as a device, and the list of devices would change, which ends a take.
  SettingsBinding::bind(*alsa, defaults, "alsa_devices", SettingsBinding::Write::when_finished);
  alsa->setPlaceholderText(tr("none"));
  alsa->setToolTip(tr("Names of ALSA PCMs that are listed besides the cards, with commas between them."));
  addRow(*rows, tr("Further ALSA devices"), alsa);
  QCheckBox* const generator = settingBox(defaults, "show_generator", tr("Offer the test generator among the devices"));
  generator->setToolTip(tr("Changes the list of devices, which ends a take that is running."));
  rows->addRow(generator);
  rows->addRow(settingBox(defaults, "monitoring", tr("Monitoring: hear the inputs on the outputs")));
}

void GeneralPage::addTime(QVBoxLayout& page) {
  QFormLayout* const rows = addGroup(page, tr("Time"));
  addRow(*rows, tr("Time source"),
         settingMenu(defaults, "time_source",
                     {{tr("Zero: every take starts at 00:00:00:00"), ZERO},
                      {tr("Session: since the program started"), SESSION},
                      {tr("Time of day"), TIME_OF_DAY},
                      {tr("LTC, found on any channel"), LTC},
                      {tr("Timecode of the device"), COREAUDIO_SMPTE},
                      {tr("Word clock of the device"), COREAUDIO_WORD_CLOCK}}));
  addRow(*rows, tr("Frame rate"),
         settingMenu(defaults, "frame_rate",
                     {{"23.976", FRAME_RATE_23_976},
                      {"24", FRAME_RATE_24},
                      {"25", FRAME_RATE_25},
                      {"29.97", FRAME_RATE_29_97},
                      {tr("29.97 drop"), FRAME_RATE_29_97_DROP},
                      {"30", FRAME_RATE_30},
                      {tr("30 drop"), FRAME_RATE_30_DROP},
                      {"59.94", FRAME_RATE_59_94},
                      {"60", FRAME_RATE_60}}));
  addRow(
      *rows, tr("Pull"),
      settingMenu(defaults, "pull", {{tr("None"), 0}, {tr("Down by a thousandth"), 1}, {tr("Up by a thousandth"), 2}}));
  rows->addRow(settingBox(defaults, "stamp_at_end", tr("Reckon a take's start time from its end")));
}

void GeneralPage::addTakes(QVBoxLayout& page) {
  QFormLayout* const rows = addGroup(page, tr("Takes"));
  addRow(*rows, tr("Pre-record time"), settingNumber(defaults, "pre_record_time", tr(" s")));
  rows->addRow(QString(), hintLabel(tr("Reaches back 80 % of the ring at most: some 17 seconds at 48 kHz.")));
  rows->addRow(settingBox(defaults, "new_take_on_rec", tr("REC during a take begins the next one without a gap")));
  rows->addRow(settingBox(defaults, "auto_start", tr("Follow the timecode: record while the time source is locked")));
}

} // namespace vurl
