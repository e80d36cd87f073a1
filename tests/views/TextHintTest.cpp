#include "views/TextHint.h"

#include <gtest/gtest.h>

#include <QtGui/QAction>
#include <QtWidgets/QLineEdit>

namespace vurl {

TEST(TextHint, WarnsOfWhatOtherProgramsChokeOn) {
  struct Case {
    const char* key;
    const char* typed;
    const char* warned; ///< a part of it; empty for no warning at all
  };
  const Case cases[] = {
      {"scene", "12", ""},
      {"scene", "12A", "reads 012."}, // the width takes numbers only
      {"scene", "A/12 b", "reads A_12_b."},
      {"roll", "R 1", ""}, // not in the names
      {"note", "dog & cat", "iXML"},
      {"note", "say \"cut\"", "CSV"},
      {"session_note", "say \"cut\"", ""},
      {"name_for_channel03", "Böom", "reads B_om."},
      {"csv_folder", "a&b", ""},
  };
  UserDefaults defaults;
  defaults.setObject(std::string("%3s_%%r%c"), "filename_format");
  for (const Case& given : cases) {
    QLineEdit field;
    TextHint::watch(field, defaults, given.key);
    field.setText(given.typed);
    const QAction* const sign = field.actions().front();
    EXPECT_EQ(sign->isVisible(), *given.warned != 0) << given.typed;
    EXPECT_NE(sign->toolTip().indexOf(given.warned), -1) << sign->toolTip().toStdString();
  }
}

} // namespace vurl
