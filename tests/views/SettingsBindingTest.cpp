#include "views/SettingsBinding.h"

#include <gtest/gtest.h>

#include <QtCore/QCoreApplication>
#include <QtGui/QInputMethodEvent>
#include <QtTest/QTest>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QSpinBox>

namespace vurl {

struct SettingsBindingTest : testing::Test {
  UserDefaults defaults;
  std::vector<std::string> stored; ///< every value that "key" took
  UserDefaults::ObservationHandle observation =
      defaults.observe("key", [this](const std::string& key) { stored.push_back(defaults.stringForKey(key)); });
};

TEST_F(SettingsBindingTest, TextGoesBothWaysAndIsNotDisturbedWhileItIsTyped) {
  QLineEdit field;
  SettingsBinding::bind(field, defaults, "key");
  QTest::keyClicks(&field, "ab");
  field.setCursorPosition(1);
  QTest::keyClicks(&field, "x");
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
  QTest::keyClicks(&field, "!");
  defaults.setObject(std::string("again"), "key");
  EXPECT_EQ(defaults.stringForKey("key") + field.text().toStdString(), "againel!sewhere");
  QTest::keyClick(&field, Qt::Key_Return);
  EXPECT_EQ(defaults.stringForKey("key"), "el!sewhere");
}

TEST_F(SettingsBindingTest, FollowingNeverWrites) {
  defaults.setInteger(99, "key");
  QSpinBox number;
  number.setRange(1, 64);
  SettingsBinding::bind(number, defaults, "key");
  EXPECT_EQ(number.value(), 64);
  number.selectAll();
  QTest::keyClicks(&number, "48");
  EXPECT_EQ(stored.back(), "99"); // not 4 on the way to 48
  QTest::keyClick(&number, Qt::Key_Return);
  EXPECT_EQ(stored, (std::vector<std::string>{"99", "48"}));
}

} // namespace vurl
