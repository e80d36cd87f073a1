#include "views/TextHint.h"

#include <gtest/gtest.h>

#include <QtGui/QAction>
#include <QtWidgets/QLineEdit>

namespace vurl {

TEST(TextHint, WarnsOfWhatOtherProgramsChokeOn) {
  const std::tuple<const char*, const char*, const char*> cases[] = {
      // key, typed, a part of the warning; empty for none at all
      {"scene", "12", ""},
      {"scene", "12A", "reads 012."}, // the width takes numbers only
      {"roll", "R 1", ""},            // not in the names
      {"note", "dog & cat", "iXML"},
      {"note", "say \"cut\"", "CSV"},
      {"session_note", "say \"cut\"", ""},
      {"name_for_channel03", "Böom", "reads B_om."}};
  UserDefaults defaults;
  defaults.setObject(std::string("%3s_%%r%c"), "filename_format");
  for (const auto& [key, typed, warned] : cases) {
    QLineEdit field;
    TextHint::watch(field, defaults, key);
    field.setText(typed);
    const QAction* const sign = field.actions().front();
    EXPECT_EQ(sign->isVisible(), *warned != 0) << typed;
    EXPECT_NE(sign->toolTip().indexOf(warned), -1) << sign->toolTip().toStdString();
  }
}

} // namespace vurl
