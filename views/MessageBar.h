// Messages beneath the transport, newest first, which never wait for an answer: everything stays in reach.
// Main thread only.
#pragma once

#include <QtCore/QList>
#include <QtWidgets/QFrame>
#include <functional>

class QLabel;
class QPushButton;

namespace vurl {

class MessageBar final : public QFrame {
  Q_OBJECT

public:
  explicit MessageBar(QWidget* parent = nullptr);

  /// Shows a message until it is dismissed; one that is shown already is not repeated. With `action`, the bar also
  /// offers a button of that name, which calls `act` and dismisses the message.
  void show(const QString& message, const QString& details, const QString& action = {},
            const std::function<void()>& act = {});

  void dismiss();

  /// What is shown now, message and details; empty when nothing is.
  QString text() const;

  QPushButton& actionButton() { return *action_button; }

protected:
  void paintEvent(QPaintEvent* event) override;

private:
  struct Message {
    QString message;
    QString details;
    QString action;
    std::function<void()> act;
  };

  void showNewest();

  QList<Message> messages;
  QLabel* label;
  QPushButton* action_button;
  QPushButton* dismiss_button;
};

} // namespace vurl
