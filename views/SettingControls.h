// Controls of settings as the preferences show them: made, named after their key, bound to it (views/SettingsBinding.h)
// and handed to the layout or the parent that will own them. Main thread only; the settings outlive all controls.
#pragma once

#include "platform/UserDefaults.h"

#include <QtCore/QString>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>

class QAbstractButton;
class QCheckBox;
class QComboBox;
class QFormLayout;
class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;
class QVBoxLayout;
class QWidget;

namespace vurl {

/// A new object that a layout, an item or a parent is about to own.
template <typename Object, typename... Arguments>
Object* owned(Arguments&&... arguments) {
  return std::make_unique<Object>(std::forward<Arguments>(arguments)...).release();
}

struct SettingItem {
  QString title;
  int64_t value;
};

QCheckBox* settingBox(UserDefaults& defaults, const std::string& key, const QString& title);
QComboBox* settingMenu(UserDefaults& defaults, const std::string& key, std::initializer_list<SettingItem> items);
/// `unit` stands behind the number. The range is that of the table of settings.
QSpinBox* settingNumber(UserDefaults& defaults, const std::string& key, const QString& unit = {});
/// With a warning sign where the text may do harm.
QLineEdit* settingField(UserDefaults& defaults, const std::string& key);

/// Leaves the space bar to the transport when `button` is clicked: only the tab key brings the keyboard there. What was
/// being typed is finished by the click.
void takeNoFocus(QAbstractButton& button);

/// A push button that Enter, pressed in a field, does not press, and that takes no focus.
QPushButton* quietButton(const QString& title);

/// A titled group at the end of `page`, to be filled with rows.
QFormLayout* addGroup(QVBoxLayout& page, const QString& title);
/// A row of `group`; the title also names the control to a screen reader.
void addRow(QFormLayout& group, const QString& title, QWidget* control);
/// Some words of explanation, smaller and in the background.
QLabel* hintLabel(const QString& words);

} // namespace vurl
