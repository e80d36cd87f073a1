#include "views/SettingControls.h"

#include "app/SettingsKeys.h"
#include "views/SettingsBinding.h"
#include "views/TextHint.h"
#include "views/WheelGuard.h"

#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QFormLayout>
#include <QtWidgets/QGroupBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QSpinBox>

namespace vurl {
namespace {

constexpr int kLabelLetters = 18;

template <typename Control>
Control* bound(Control* control, UserDefaults& defaults, const std::string& key) {
  control->setObjectName(QString::fromStdString(key));
  SettingsBinding::bind(*control, defaults, key);
  return control;
}

} // namespace

void takeNoFocus(QAbstractButton& button) {
  button.setFocusPolicy(Qt::TabFocus);
  QObject::connect(&button, &QAbstractButton::pressed, &button, [&button] {
    QWidget* const field = button.window()->focusWidget();
    if (field != nullptr && field != &button) field->clearFocus();
  });
}

QCheckBox* settingBox(UserDefaults& defaults, const std::string& key, const QString& title) {
  auto* const box = owned<QCheckBox>(title);
  takeNoFocus(*box);
  return bound(box, defaults, key);
}

QComboBox* settingMenu(UserDefaults& defaults, const std::string& key, std::initializer_list<SettingItem> items) {
  auto* const menu = owned<QComboBox>();
  for (const SettingItem& item : items) menu->addItem(item.title, static_cast<qlonglong>(item.value));
  WheelGuard::protect(*menu);
  return bound(menu, defaults, key);
}

QSpinBox* settingNumber(UserDefaults& defaults, const std::string& key, const QString& unit) {
  auto* const number = owned<QSpinBox>();
  const SettingKey* const row = findSettingKey(key);
  if (row != nullptr) number->setRange(static_cast<int>(row->lowest), static_cast<int>(row->highest));
  number->setSuffix(unit);
  WheelGuard::protect(*number);
  return bound(number, defaults, key);
}

QLineEdit* settingField(UserDefaults& defaults, const std::string& key) {
  QLineEdit* const field = bound(owned<QLineEdit>(), defaults, key);
  TextHint::watch(*field, defaults, key);
  return field;
}

QPushButton* quietButton(const QString& title) {
  auto* const button = owned<QPushButton>(title);
  button->setAutoDefault(false);
  takeNoFocus(*button);
  return button;
}

QFormLayout* addGroup(QVBoxLayout& page, const QString& title) {
  auto* const box = owned<QGroupBox>(title);
  auto* const rows = owned<QFormLayout>(box);
  rows->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
  page.addWidget(box);
  return rows;
}

void addRow(QFormLayout& group, const QString& title, QWidget* control) {
  group.addRow(title + QLatin1Char(':'), control);
  control->setAccessibleName(title);
  QWidget* const label = group.labelForField(control);
  label->setMinimumWidth(kLabelLetters * label->fontMetrics().averageCharWidth()); // one column down the page
}

QLabel* hintLabel(const QString& words) {
  auto* const label = owned<QLabel>(words);
  label->setWordWrap(true);
  label->setTextFormat(Qt::PlainText);
  QSizePolicy wide(QSizePolicy::Expanding, QSizePolicy::Preferred);
  wide.setHeightForWidth(true);
  label->setSizePolicy(wide);
  label->setForegroundRole(QPalette::PlaceholderText);
  return label;
}

} // namespace vurl
