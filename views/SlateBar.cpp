#include "views/SlateBar.h"

#include "views/SettingControls.h"
#include "views/SettingsBinding.h"
#include "views/WheelGuard.h"

#include <QtWidgets/QGridLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QSpinBox>
#include <array>
#include <tuple>
#include <utility>

namespace vurl {
namespace {

/// Setting, title, share of the width.
constexpr std::array<std::tuple<const char*, const char*, int>, 6> kFields = {{
    {"project", QT_TRANSLATE_NOOP("vurl::SlateBar", "P&roject"), 4},
    {"scene", QT_TRANSLATE_NOOP("vurl::SlateBar", "S&cene"), 3},
    {"slate", QT_TRANSLATE_NOOP("vurl::SlateBar", "S&late"), 2},
    {"take", QT_TRANSLATE_NOOP("vurl::SlateBar", "&Take"), 2},
    {"roll", QT_TRANSLATE_NOOP("vurl::SlateBar", "R&oll"), 2},
    {"note", QT_TRANSLATE_NOOP("vurl::SlateBar", "&Note"), 8},
}};

constexpr int kMaximumCount = 1000000000;

QLabel* labelFor(QWidget& field, const QString& title) {
  auto* const label = owned<QLabel>(title);
  label->setBuddy(&field);
  field.setAccessibleName(QString(title).remove(QLatin1Char('&')));
  return label;
}

} // namespace

SlateBar::SlateBar(UserDefaults& user_defaults, QWidget* parent) : QWidget(parent), defaults(user_defaults) {
  auto* const grid = owned<QGridLayout>(this);
  grid->setContentsMargins(0, 0, 0, 0);
  grid->setVerticalSpacing(1);
  int column = 0;
  for (const auto& [key, title, stretch] : kFields) {
    QLineEdit* const field = addField(key, tr(title), column++, stretch);
    const std::string_view name = key;
    if (name != "scene" && name != "slate") continue;
    connect(field, &QLineEdit::textEdited, this, [this] { scene_edited = true; });
    connect(field, &QLineEdit::editingFinished, this, &SlateBar::finishEditing);
  }
  addCount(column);
}

QLineEdit* SlateBar::addField(const char* key, const QString& title, int column, int stretch) {
  QLineEdit* const field = settingField(defaults, key);
  connect(field, &QLineEdit::returnPressed, field, &QLineEdit::clearFocus);
  auto* const grid = static_cast<QGridLayout*>(layout());
  grid->addWidget(labelFor(*field, title), 0, column);
  grid->addWidget(field, 1, column);
  grid->setColumnStretch(column, stretch);
  return field;
}

void SlateBar::addCount(int column) {
  count = owned<QSpinBox>();
  count->setRange(0, kMaximumCount);
  count->setToolTip(tr("The part of the take: counts up when a take is cut short"));
  count->setFixedWidth(72);
  count->setFocusPolicy(Qt::StrongFocus);
  WheelGuard::protect(*count);
  SettingsBinding::bind(*count, defaults, "count");
  connect(count->findChild<QLineEdit*>(), &QLineEdit::returnPressed, count, &QSpinBox::clearFocus);
  auto* const grid = static_cast<QGridLayout*>(layout());
  grid->addWidget(labelFor(*count, tr("Count")), 0, column);
  grid->addWidget(count, 1, column);
}

/// Texts are stored as they are typed; a number is when its field is left.
void SlateBar::finishEditing() {
  if (count->hasFocus()) count->clearFocus();
  if (std::exchange(scene_edited, false)) Q_EMIT sceneChanged();
}

} // namespace vurl
