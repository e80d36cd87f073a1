#include "views/MessageBar.h"

#include "views/SettingControls.h"

#include <QtGui/QAccessible>
#include <QtGui/QPainter>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QStyle>

namespace vurl {
namespace {

const QColor kGround(255, 236, 179);
const QColor kEdge(214, 158, 46);

} // namespace

MessageBar::MessageBar(QWidget* parent)
    : QFrame(parent),
      label(owned<QLabel>()),
      action_button(owned<QPushButton>()),
      dismiss_button(owned<QPushButton>(tr("Dismiss"))) {
  auto* const icon = owned<QLabel>();
  icon->setPixmap(style()->standardIcon(QStyle::SP_MessageBoxWarning).pixmap(24, 24));
  label->setTextFormat(Qt::RichText);
  label->setWordWrap(true);
  label->setTextInteractionFlags(Qt::TextSelectableByMouse);
  QPalette dark_on_light = label->palette();
  dark_on_light.setColor(QPalette::WindowText, Qt::black);
  label->setPalette(dark_on_light);
  auto* const row = owned<QHBoxLayout>(this);
  row->setContentsMargins(10, 6, 10, 6);
  row->addWidget(icon);
  row->addWidget(label, 1);
  for (QPushButton* button : {action_button, dismiss_button}) {
    button->setFocusPolicy(Qt::NoFocus);
    row->addWidget(button);
  }
  connect(dismiss_button, &QPushButton::clicked, this, &MessageBar::dismiss);
  connect(action_button, &QPushButton::clicked, this, [this] {
    if (messages.isEmpty()) return;
    const auto act = messages.last().act;
    dismiss();
    if (act) act();
  });
  setAccessibleName(tr("Messages"));
  hide();
}

void MessageBar::show(const QString& message, const QString& details, const QString& action,
                      const std::function<void()>& act) {
  messages.removeIf([&](const Message& known) { return known.message == message && known.details == details; });
  messages.append({message, details, action, act});
  showNewest();
  QAccessibleEvent alert(this, QAccessible::Alert);
  QAccessible::updateAccessibility(&alert);
}

void MessageBar::dismiss() {
  if (!messages.isEmpty()) messages.removeLast();
  showNewest();
}

QString MessageBar::text() const {
  return messages.isEmpty() ? QString() : messages.last().message + QLatin1Char('\n') + messages.last().details;
}

void MessageBar::showNewest() {
  setVisible(!messages.isEmpty());
  if (messages.isEmpty()) return;
  const Message& newest = messages.last();
  label->setText(
      QStringLiteral("<b>%1</b>&nbsp;&nbsp;%2").arg(newest.message.toHtmlEscaped(), newest.details.toHtmlEscaped()));
  action_button->setVisible(!newest.action.isEmpty());
  action_button->setText(newest.action);
  const auto older = messages.size() - 1;
  dismiss_button->setText(older == 0 ? tr("Dismiss") : tr("Dismiss (%1 more)").arg(older));
  setAccessibleDescription(text());
}

void MessageBar::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setPen(kEdge);
  painter.setBrush(kGround);
  painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

} // namespace vurl
