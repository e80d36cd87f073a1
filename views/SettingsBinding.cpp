#include "views/SettingsBinding.h"

#include <QtGui/QAction>
#include <QtGui/QInputMethodEvent>
#include <QtWidgets/QAbstractButton>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QSpinBox>
#include <algorithm>
#include <limits>
#include <memory>

namespace vurl {
namespace {

/// The item of `menu` that carries the value stored under `key`, or -1.
int indexOfStored(const QComboBox& menu, const UserDefaults& defaults, const std::string& key) {
  const int64_t integer = defaults.integerForKey(key);
  const QString string = QString::fromStdString(defaults.stringForKey(key));
  for (int i = 0; i < menu.count(); ++i) {
    const QVariant data = menu.itemData(i);
    const bool is_string = data.typeId() == QMetaType::QString;
    if (is_string ? data.toString() == string : data.toLongLong() == integer) return i;
  }
  return -1;
}

SettingValue valueOf(const QVariant& data) {
  if (data.typeId() == QMetaType::QString) return data.toString().toStdString();
  return static_cast<int64_t>(data.toLongLong());
}

void showText(QLineEdit& field, const QString& value) {
  if (field.text() == value) return;
  const int cursor = field.cursorPosition();
  field.setText(value);
  field.setCursorPosition(cursor);
}

} // namespace

SettingsBinding::SettingsBinding(QObject& control, UserDefaults& settings, std::string settings_key)
    : QObject(&control), defaults(settings), key(std::move(settings_key)) {}

SettingsBinding* SettingsBinding::make(QObject& control, UserDefaults& defaults, const std::string& key) {
  unbind(control);
  return std::unique_ptr<SettingsBinding>(new SettingsBinding(control, defaults, key)).release(); // the control owns it
}

void SettingsBinding::unbind(QObject& control) {
  delete control.findChild<SettingsBinding*>(QString(), Qt::FindDirectChildrenOnly);
}

void SettingsBinding::start(Show show_value) {
  show = std::move(show_value);
  observation = defaults.observe(key, [this](const std::string&) { showStored(); });
  showStored();
}

void SettingsBinding::showStored() {
  if (typing || composing) return;
  showing = true;
  show();
  showing = false;
}

void SettingsBinding::store(const SettingValue& value) {
  if (!showing) defaults.setObject(value, key);
}

void SettingsBinding::finishTyping() {
  typing = false;
  showStored();
}

bool SettingsBinding::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::InputMethod) {
    composing = !static_cast<QInputMethodEvent*>(event)->preeditString().isEmpty();
    if (!composing) QMetaObject::invokeMethod(this, &SettingsBinding::showStored, Qt::QueuedConnection);
  }
  return QObject::eventFilter(watched, event);
}

void SettingsBinding::bind(QLineEdit& field, UserDefaults& defaults, const std::string& key, Write write) {
  SettingsBinding* const binding = make(field, defaults, key);
  field.installEventFilter(binding);
  connect(&field, &QLineEdit::textEdited, binding, [binding, write](const QString& edited) {
    binding->typing = write == Write::when_finished;
    if (!binding->typing) binding->store(edited.toStdString());
  });
  connect(&field, &QLineEdit::editingFinished, binding, [binding, &field] {
    if (binding->typing) binding->store(field.text().toStdString());
    binding->finishTyping();
  });
  binding->start(
      [&field, binding] { showText(field, QString::fromStdString(binding->defaults.stringForKey(binding->key))); });
}

template <typename Control>
void SettingsBinding::bindCheckable(Control& control, UserDefaults& defaults, const std::string& key) {
  SettingsBinding* const binding = make(control, defaults, key);
  control.setCheckable(true);
  connect(&control, &Control::toggled, binding, [binding](bool on) { binding->store(on); });
  binding->start([&control, binding] { control.setChecked(binding->defaults.boolForKey(binding->key)); });
}

void SettingsBinding::bind(QAbstractButton& button, UserDefaults& defaults, const std::string& key) {
  bindCheckable(button, defaults, key);
}

void SettingsBinding::bind(QAction& action, UserDefaults& defaults, const std::string& key) {
  bindCheckable(action, defaults, key);
}

void SettingsBinding::bind(QSpinBox& field, UserDefaults& defaults, const std::string& key) {
  SettingsBinding* const binding = make(field, defaults, key);
  field.setKeyboardTracking(false); // on the way to 48 the setting must not pass through 4
  connect(&field, &QSpinBox::valueChanged, binding, [binding](int value) { binding->store(int64_t{value}); });
  connect(&field, &QSpinBox::editingFinished, binding, &SettingsBinding::finishTyping);
  if (const auto* text_field = field.findChild<QLineEdit*>())
    connect(text_field, &QLineEdit::textEdited, binding, [binding] { binding->typing = true; });
  binding->start([&field, binding] {
    constexpr int64_t kLowest = std::numeric_limits<int>::min();
    constexpr int64_t kHighest = std::numeric_limits<int>::max();
    field.setValue(static_cast<int>(std::clamp(binding->defaults.integerForKey(binding->key), kLowest, kHighest)));
  });
}

void SettingsBinding::bind(QComboBox& menu, UserDefaults& defaults, const std::string& key) {
  SettingsBinding* const binding = make(menu, defaults, key);
  connect(&menu, &QComboBox::activated, binding,
          [binding, &menu](int index) { binding->store(valueOf(menu.itemData(index))); });
  binding->start([&menu, binding] { menu.setCurrentIndex(indexOfStored(menu, binding->defaults, binding->key)); });
}

void SettingsBinding::follow(QObject& owner, UserDefaults& defaults, const std::string& key,
                             const std::function<void()>& follow) {
  // The owner's connection holds the observation, and goes with the owner.
  const std::shared_ptr observation = defaults.observe(key, [follow](const std::string&) { follow(); });
  connect(&owner, &QObject::destroyed, [observation] {});
  follow();
}

} // namespace vurl
