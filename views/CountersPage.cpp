#include "views/CountersPage.h"

#include "views/SettingControls.h"

#include <QtWidgets/QCheckBox>
#include <QtWidgets/QFormLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QSpinBox>
#include <QtWidgets/QVBoxLayout>

namespace vurl {

CountersPage::CountersPage(UserDefaults& user_defaults) : defaults(user_defaults) {
  auto* const page = owned<QVBoxLayout>(this);
  addNextTake(*page);
  addSteps(*page);
  page->addStretch();
}

void CountersPage::addNextTake(QVBoxLayout& page) {
  QFormLayout* const rows = addGroup(page, tr("Next take"));
  addRow(*rows, tr("Project"), settingField(defaults, "project"));
  QLineEdit* const scene = settingField(defaults, "scene");
  connect(scene, &QLineEdit::textEdited, this, &CountersPage::sceneChanged);
  addRow(*rows, tr("Scene"), scene);
  QLineEdit* const slate = settingField(defaults, "slate");
  connect(slate, &QLineEdit::textEdited, this, &CountersPage::sceneChanged);
  addRow(*rows, tr("Slate"), slate);
  addRow(*rows, tr("Take"), settingField(defaults, "take"));
  addRow(*rows, tr("Roll"), settingField(defaults, "roll"));
  addRow(*rows, tr("Note"), settingField(defaults, "note"));
  addRow(*rows, tr("Count"), settingNumber(defaults, "count"));
  rows->addRow(QString(), hintLabel(tr("The part of the take: counts up when a take is cut short; 1 otherwise.")));
}

void CountersPage::addSteps(QVBoxLayout& page) {
  QFormLayout* const steps = addGroup(page, tr("After each take"));
  steps->addRow(settingBox(defaults, "increment_take", tr("Take moves on by one")));
  steps->addRow(settingBox(defaults, "increment_slate", tr("Slate moves on by one")));
  steps->addRow(settingBox(defaults, "increment_roll", tr("Roll moves on by one")));
  steps->addRow(settingBox(defaults, "clear_note", tr("Note is cleared")));
  QFormLayout* const scene = addGroup(page, tr("When the scene changes"));
  scene->addRow(settingBox(defaults, "reset_take", tr("Take goes back to 1")));
}

} // namespace vurl
