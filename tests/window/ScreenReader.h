// Tells the programs of a Desktop that somebody reads their windows, so that they describe these on the bus. Thread:
// main.
#pragma once

#include "tests/window/Element.h"

#include <QtCore/QCoreApplication>
#include <QtDBus/QDBusVirtualObject>

namespace vurl {

class ScreenReader final : public QDBusVirtualObject {
public:
  ScreenReader() {
    EXPECT_TRUE(Element::bus().registerVirtualObject("/org/a11y/bus", this));
    EXPECT_TRUE(Element::bus().registerService("org.a11y.Bus"));
  }

  /// The next program that shows up.
  Element program() {
    std::vector<Element> programs;
    EXPECT_TRUE(eventually([&] {
      QCoreApplication::processEvents(); // answers the programs' questions
      programs = Element::registry().children();
      return !programs.empty();
    }));
    return programs.empty() ? Element() : programs.back();
  }

  QString introspect(const QString&) const override { return {}; }

  bool handleMessage(const QDBusMessage& question, const QDBusConnection& bus) override {
    if (question.member() == QLatin1String("GetAddress"))
      return bus.send(question.createReply(qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS")));
    if (question.member() == QLatin1String("Get")) // "ScreenReaderEnabled"
      return bus.send(question.createReply(QVariant::fromValue(QDBusVariant(true))));
    return false;
  }

private:
  int count = 0;
  QCoreApplication application{count, nullptr};
};

} // namespace vurl
