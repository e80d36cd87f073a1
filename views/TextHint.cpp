#include "views/TextHint.h"

#include "app/TextWarnings.h"

#include <QtGui/QAction>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QStyle>
#include <QtWidgets/QToolTip>
#include <memory>

namespace vurl {

void TextHint::watch(QLineEdit& field, UserDefaults& defaults, const std::string& key) {
  static_cast<void>(std::unique_ptr<TextHint>(new TextHint(field, defaults, key)).release()); // the field owns it
}

TextHint::TextHint(QLineEdit& watched, UserDefaults& settings, std::string settings_key)
    : QObject(&watched),
      field(watched),
      defaults(settings),
      key(std::move(settings_key)),
      sign(watched.addAction(watched.style()->standardIcon(QStyle::SP_MessageBoxWarning), QLineEdit::TrailingPosition)),
      format(settings.observe("filename_format", [this](const std::string&) { update(); })) {
  connect(&field, &QLineEdit::textChanged, this, &TextHint::update);
  connect(sign, &QAction::triggered, this, &TextHint::showTip);
  update();
}

/// The tip is for the pointer, the description for those who cannot see the sign.
void TextHint::update() {
  QStringList sentences;
  for (const std::string& warning : textWarnings(defaults, key, field.text().toStdString()))
    sentences += QString::fromStdString(warning);
  sign->setVisible(!sentences.isEmpty());
  sign->setToolTip(sentences.join('\n'));
  field.setAccessibleDescription(sentences.join(' '));
}

void TextHint::showTip() { QToolTip::showText(field.mapToGlobal(QPoint(0, field.height())), sign->toolTip(), &field); }

} // namespace vurl
