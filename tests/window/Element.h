// A part of a running program's windows as a screen reader finds it (AT-SPI 2 on D-Bus). Elements are found once and
// then asked as often as needed; one that has gone answers with nothing. Thread: main.
#pragma once

#include "tests/window/Desktop.h"

#include <QtCore/QRect>
#include <QtDBus/QDBusArgument>
#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusMessage>

namespace vurl {

class Element {
public:
  enum State : uint32_t { active = 1, focused = 12, showing = 25 };

  Element() = default;

  static QDBusConnection& bus() {
    static QDBusConnection connection =
        QDBusConnection::connectToBus(qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS"), "test");
    return connection;
  }

  /// What all programs hang from.
  static Element registry() { return {"org.a11y.atspi.Registry", "/org/a11y/atspi/accessible/root"}; }

  bool exists() const { return !path.isEmpty(); }
  std::string name() const { return property("Accessible", "Name").toString().toStdString(); }
  std::string description() const { return property("Accessible", "Description").toString().toStdString(); }
  std::string text() const { return ask("Text", "GetText", {0, -1}).value(0).toString().toStdString(); }
  std::string role() const { return ask("Accessible", "GetRoleName").value(0).toString().toStdString(); }
  int rows() const { return property("Table", "NRows").toInt(); }

  bool is(State state) const {
    QList<uint> words;
    const QVariantList answer = ask("Accessible", "GetState");
    if (!answer.isEmpty()) answer[0].value<QDBusArgument>() >> words;
    return words.value(state / 32) >> state % 32 & 1U;
  }

  /// In pixels of the screen.
  QRect place() const {
    int x = 0, y = 0, width = 0, height = 0;
    const QVariantList answer = ask("Component", "GetExtents", {0U});
    if (answer.isEmpty()) return {};
    const auto rectangle = answer[0].value<QDBusArgument>();
    rectangle.beginStructure();
    rectangle >> x >> y >> width >> height;
    rectangle.endStructure();
    return {x, y, width, height};
  }

  std::vector<Element> children() const {
    std::vector<Element> found;
    const QVariantList answer = ask("Accessible", "GetChildren");
    if (answer.isEmpty()) return found;
    const auto list = answer[0].value<QDBusArgument>();
    for (list.beginArray(); !list.atEnd();) found.push_back(reference(list));
    list.endArray();
    return found;
  }

  Element cell(int row, int column) const {
    const QVariantList answer = ask("Table", "GetAccessibleAt", {row, column});
    return answer.isEmpty() ? Element() : reference(answer[0].value<QDBusArgument>());
  }

  /// The first part of this, however deep, of that name and kind that is on the screen; tables keep their cells.
  Element find(const std::string& wanted, const std::string& kind = "") const {
    for (const Element& child : children()) {
      if (!child.is(showing)) continue;
      const std::string role = child.role();
      if ((kind.empty() || role == kind) && child.name() == wanted) return child;
      if (role == "table" || role == "combo box") continue;
      if (const Element found = child.find(wanted, kind); found.exists()) return found;
    }
    return {};
  }

  void click() const {
    const QPoint point = place().center();
    Desktop::clickAt(point.x(), point.y());
  }

private:
  Element(const QString& bus_name, const QString& object) : service(bus_name), path(object) {}

  static Element reference(const QDBusArgument& argument) {
    QString bus_name;
    QDBusObjectPath object;
    argument.beginStructure();
    argument >> bus_name >> object;
    argument.endStructure();
    return {bus_name, object.path()};
  }

  QVariantList ask(const QString& interface, const QString& method, const QVariantList& arguments = {}) const {
    const bool full = interface.contains('.');
    auto call = QDBusMessage::createMethodCall(service, path, full ? interface : "org.a11y.atspi." + interface, method);
    call.setArguments(arguments);
    const QDBusMessage answer = bus().call(call, QDBus::Block, kPatience);
    return answer.type() == QDBusMessage::ReplyMessage ? answer.arguments() : QVariantList();
  }

  QVariant property(const QString& interface, const QString& key) const {
    const QVariantList answer = ask("org.freedesktop.DBus.Properties", "Get", {"org.a11y.atspi." + interface, key});
    return answer.isEmpty() ? QVariant() : answer[0].value<QDBusVariant>().variant();
  }

  static constexpr int kPatience = 60000; ///< ms
  QString service;
  QString path;
};

} // namespace vurl
