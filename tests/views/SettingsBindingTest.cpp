#include "views/SettingsBinding.h"

#include <gtest/gtest.h>

#include <QtCore/QCoreApplication>
#include <QtGui/QInputMethodEvent>
#include <QtGui/QKeyEvent>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QSpinBox>

namespace vurl {
namespace {

void type(QWidget& control, const QString& keys) {
  for (const QChar key : keys) {
    QKeyEvent press(QEvent::KeyPress, key == '\n' ? Qt::Key_Return : 0, Qt::NoModifier, QString(key));
    QCoreApplication::sendEvent(&control, &press);
  }
}

struct SettingsBindingTest : testing::Test {
  UserDefaults defaults;
  std::vector<std::string> stored; ///< every value that "key" took
  UserDefaults::ObservationHandle observation =
      defaults.observe("key", [this](const std::string& key) { stored.push_back(defaults.stringForKey(key)); });
};

} // namespace

TEST_F(SettingsBindingTest, TextGoesBothWaysAndIsNotDisturbedWhileItIsTyped) {
  QLineEdit field;
  SettingsBinding::bind(field, defaults, "key");
  type(field, "ab");
  field.setCursorPosition(1);
  type(field, "x");
  EXPECT_EQ(field.cursorPosition(), 2); // what was just stored does not come back into the field
  QInputMethodEvent composing("´", {});
  QCoreApplication::sendEvent(&field, &composing);
  defaults.setObject(std::string("elsewhere"), "key");
  EXPECT_EQ(field.text(), "axb");
  QInputMethodEvent given_up("", {});
  QCoreApplication::sendEvent(&field, &given_up);
  QCoreApplication::processEvents();
  EXPECT_EQ(field.text(), "elsewhere");
  EXPECT_EQ(stored, (std::vector<std::string>{"a", "ab", "axb", "elsewhere"}));

  SettingsBinding::bind(field, defaults, "key", SettingsBinding::Write::when_finished); // in place of the first
  type(field, "!");
  defaults.setObject(std::string("again"), "key");
  EXPECT_EQ(defaults.stringForKey("key") + field.text().toStdString(), "againel!sewhere");
  type(field, "\n");
  EXPECT_EQ(defaults.stringForKey("key"), "el!sewhere");
}

TEST_F(SettingsBindingTest, FollowingNeverWrites) {
  defaults.setInteger(99, "key");
  QSpinBox number;
  number.setRange(1, 64);
  QComboBox menu;
  menu.addItem("five", 5);
  QCheckBox box;
  SettingsBinding::bind(number, defaults, "key");
  SettingsBinding::bind(menu, defaults, "key");
  SettingsBinding::bind(box, defaults, "key");
  EXPECT_TRUE(number.value() == 64 && menu.currentIndex() == -1 && box.isChecked());
  number.selectAll();
  type(number, "48");
  EXPECT_EQ(stored.back(), "99"); // not 4 on the way to 48
  type(number, "\n");
  Q_EMIT menu.activated(0);
  box.click();
  EXPECT_EQ(stored, (std::vector<std::string>{"99", "48", "5", "0"}));
}

} // namespace vurl
