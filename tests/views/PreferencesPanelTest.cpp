#include "views/PreferencesPanel.h"

#include "app/ChannelLayoutControler.h"
#include "app/PreferencesController.h"
#include "app/SettingsKeys.h"
#include "tests/app/HistoryRig.h"

#include <QtCore/QMetaProperty>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QSpinBox>
#include <QtWidgets/QToolButton>

namespace vurl {

using namespace std::string_literals;

struct PreferencesPanelTest : HistoryRig {
  PreferencesPanelTest() {
    layout.resetMenus();
    panel.setControllers(layout, folders);
    panel.showTab("general");
  }

  template <typename Control = QWidget>
  Control* control(const std::string& name) const {
    return panel.findChild<Control*>(QString::fromStdString(name));
  }
  std::string example() const {
    QCoreApplication::processEvents();
    return control<QLabel>("example")->text().toStdString();
  }

  const PreferencesController preferences{defaults};
  PreferencesPanel panel{defaults};
  ChannelLayoutControler layout{defaults, panel};
  FolderControler folders{defaults, panel, history};
};

/// The value that a control shows, as stringForKey() would tell it.
std::string shownBy(const QWidget& control) {
  const auto* const menu = qobject_cast<const QComboBox*>(&control);
  const QVariant value = menu != nullptr ? menu->currentData() : control.metaObject()->userProperty().read(&control);
  if (value.typeId() == QMetaType::Bool) return value.toBool() ? "1" : "0";
  return value.toString().toStdString();
}

/// Does what a user does to have another value.
void change(QWidget& control) {
  if (auto* const box = qobject_cast<QAbstractButton*>(&control)) box->click();
  if (auto* const number = qobject_cast<QSpinBox*>(&control)) number->stepBy(number->value() > 1 ? -1 : 1);
  if (auto* const menu = qobject_cast<QComboBox*>(&control)) Q_EMIT menu->activated(menu->currentIndex() == 0 ? 1 : 0);
  if (auto* const field = qobject_cast<QLineEdit*>(&control)) {
    field->insert("!");
    Q_EMIT field->editingFinished();
  }
}

TEST_F(PreferencesPanelTest, EverySettingHasAControlThatIsBoundBothWays) {
  for (const SettingKey& row : settingKeys()) {
    SCOPED_TRACE(row.pattern);
    const std::string key(row.pattern);
    if (key.find('%') != std::string::npos) continue; // one of many, with a table or a row
    ASSERT_NE(control(key), nullptr);
    EXPECT_EQ(shownBy(*control(key)), defaults.stringForKey(key));
    const int64_t highest = std::min<int64_t>(row.highest, 200);
    const bool at_highest = defaults.integerForKey(key) == highest;
    if (row.kind == SettingKind::string) defaults.setObject("else"s + key, key);
    if (row.kind == SettingKind::boolean) defaults.setBool(!defaults.boolForKey(key), key);
    if (row.kind == SettingKind::integer) defaults.setInteger(at_highest ? row.lowest : highest, key);
    const std::string elsewhere = defaults.stringForKey(key);
    EXPECT_EQ(shownBy(*control(key)), elsewhere);
    change(*control(key));
    EXPECT_NE(defaults.stringForKey(key), elsewhere);
  }
}

TEST_F(PreferencesPanelTest, ShowsTheNextNamesWhileTheyAreTyped) {
  panel.showTab("files and naming");
  defaults.setInteger(6, "nr_files");
  auto* const format = control<QLineEdit>("filename_format");
  Q_EMIT format->textEdited("%s_%t");
  const std::string path = folder.path.string();
  EXPECT_EQ(example(),
            text("%@/1_1-f01.wav\n%@/1_1-f02.wav\n%@/1_1-f03.wav\n%@/1_1-f04.wav\nand 2 more", path, path, path, path));
  format->setCursorPosition(2);
  for (auto* const token : panel.findChildren<QToolButton*>()) {
    if (token->text().startsWith("%f ")) token->click();
  }
  EXPECT_EQ(defaults.stringForKey("filename_format"), "%s%f_%t");
  EXPECT_EQ(example().substr(path.size(), 9), "/11_1.wav");
  Q_EMIT format->textEdited("%%f"); // keeps the numbers away, and tells nothing apart
  EXPECT_NE(example().find("same name"), std::string::npos);
}

TEST_F(PreferencesPanelTest, LeavesTheSpaceBarToTheTransportButWhereTheKeyboardHasAUseForIt) {
  auto* const device = control<QLineEdit>("selected_device");
  auto* const box = control<QCheckBox>("monitoring");
  QSignalSpy toggled(&panel, &PreferencesPanel::toggleWanted);
  ASSERT_TRUE(QTest::qWaitForWindowActive(&panel));
  device->setFocus();
  QTest::keyClick(device, ' ');
  QTest::mouseClick(box, Qt::LeftButton, {}, {5, box->height() / 2});
  EXPECT_TRUE(device->text() == " " && box->isChecked() && toggled.empty());
  QTest::keyClick(panel.focusWidget() == nullptr ? &panel : panel.focusWidget(), ' ');
  EXPECT_TRUE(box->isChecked() && toggled.size() == 1);
  box->setFocus(Qt::TabFocusReason);
  QTest::keyClick(box, ' ');
  EXPECT_TRUE(!box->isChecked() && toggled.size() == 1);
}

TEST_F(PreferencesPanelTest, OpensPanelsThatKeepNothingFromBeingUsed) {
  control<QAbstractButton>("path_for_folder00")->click();
  auto* const chooser = panel.findChild<QFileDialog*>();
  ASSERT_TRUE(chooser != nullptr && !chooser->isModal() && chooser->directory() == QDir(folder.path.c_str()));
  chooser->setDirectory(QStringLiteral("/"));
  chooser->reject();
  EXPECT_EQ(defaults.stringForKey("path_for_folder00"), folder.path.string());
  defaults.setObject("12"s, "scene");
  for (const auto answer : {QMessageBox::Cancel, QMessageBox::NoButton}) {
    control<QAbstractButton>("restore_defaults")->click();
    auto* const question = panel.findChild<QMessageBox*>();
    ASSERT_TRUE(question != nullptr && !question->isModal());
    EXPECT_EQ(control<QLineEdit>("scene")->text(), "12");
    (answer == QMessageBox::Cancel ? question->button(answer) : control<QAbstractButton>("restore"))->click();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  }
  EXPECT_EQ(control<QLineEdit>("scene")->text(), "1");
  EXPECT_EQ(defaults.stringForKey("path_for_folder00"), "~/Recordings");
}

} // namespace vurl
