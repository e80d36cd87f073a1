#include "platform/SessionBus.h"

#include "platform/Log.h"

#include <systemd/sd-bus.h>

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace vurl {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kTurn{20};
constexpr int kMostPerTurn = 16; ///< messages, read or written
constexpr uint64_t kMostUnsent = 8;
constexpr size_t kMostEntries = 32;
constexpr size_t kLongestEntry = 65536; ///< bytes
constexpr const char* kProperties = "org.freedesktop.DBus.Properties";

/// The socket of the session bus; empty when there is none on this computer.
std::string busAddress() {
  const char* const address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  if (address != nullptr && *address != '\0') {
    const std::string_view first = std::string_view(address).substr(0, std::strcspn(address, ";"));
    return first.starts_with("unix:") ? std::string(first) : "";
  }
  const char* const folder = std::getenv("XDG_RUNTIME_DIR");
  return folder != nullptr && *folder == '/' ? text("unix:path=%s/bus", folder) : "";
}

// What appends or reads returns a negative errno value when it fails.

int append(sd_bus_message* message, char type, const std::string& string) {
  return sd_bus_message_append_basic(message, type, wellFormed(string).c_str());
}

/// Appends an array with one call of `append_one` an element.
template <typename Elements, typename AppendOne>
int appendArray(sd_bus_message* message, const char* contents, const Elements& elements, AppendOne append_one) {
  int result = sd_bus_message_open_container(message, 'a', contents);
  for (const auto& element : elements)
    if (result >= 0) result = append_one(element);
  return result < 0 ? result : sd_bus_message_close_container(message);
}

struct Appender {
  sd_bus_message* message;

  int operator()(bool value) const { return sd_bus_message_append(message, "b", value ? 1 : 0); }
  int operator()(const std::string& value) const { return append(message, 's', value); }
  int operator()(const std::vector<std::string>& values) const {
    return appendArray(message, "s", values, [&](const auto& value) { return append(message, 's', value); });
  }
  int operator()(const std::map<std::string, std::string>& values) const {
    return appendArray(message, "{ss}", values, [&](const auto& entry) {
      return sd_bus_message_append(message, "{ss}", wellFormed(entry.first).c_str(), wellFormed(entry.second).c_str());
    });
  }
  int operator()(const std::map<std::string, uint64_t>& values) const {
    return appendArray(message, "{st}", values, [&](const auto& entry) {
      return sd_bus_message_append(message, "{st}", wellFormed(entry.first).c_str(), entry.second);
    });
  }
  int operator()(const std::vector<std::pair<double, double>>& values) const {
    return appendArray(message, "(dd)", values, [&](const auto& pair) {
      return sd_bus_message_append(message, "(dd)", pair.first, pair.second);
    });
  }
};

int append(sd_bus_message* message, const BusValue& value) { return std::visit(Appender{message}, value); }

/// Reads an a{ss} that anybody may have sent; -E2BIG for one beyond all reason.
int readEntries(sd_bus_message* message, BusEntries& entries) {
  int result = sd_bus_message_enter_container(message, 'a', "{ss}");
  const char *key = nullptr, *value = nullptr;
  while (result >= 0 && (result = sd_bus_message_read(message, "{ss}", &key, &value)) > 0) {
    const bool fits = std::strlen(key) <= kLongestEntry && std::strlen(value) <= kLongestEntry;
    if (!fits || entries.size() == kMostEntries) return -E2BIG;
    entries.emplace_back(key, value);
  }
  return result < 0 ? result : sd_bus_message_exit_container(message);
}

template <typename Members>
const auto& find(const Members& members, std::string_view name) { // the bus has asked for it, so it is there
  return *std::find_if(members.begin(), members.end(), [&](const auto& member) { return member.name == name; });
}

} // namespace

struct SessionBus::Connection {
  Connection(RunLoop& loop, BusObject offered, Claim what) : run_loop(loop), object(std::move(offered)), claim(what) {}
  ~Connection() { close(); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  int open();
  void close();
  void end(int error);
  void serve();
  void wait();
  bool isBackedUp() const;
  uint64_t nrUnsent() const;
  int tell(const std::vector<std::string>& names) const;

  static int call(sd_bus_message* message, void* me, sd_bus_error* error);
  static int get(sd_bus* bus, const char* path, const char* interface, const char* name, sd_bus_message* reply,
                 void* me, sd_bus_error* error);
  static int set(sd_bus* bus, const char* path, const char* interface, const char* name, sd_bus_message* value,
                 void* me, sd_bus_error* error);
  static int nameAnswered(sd_bus_message* message, void* me, sd_bus_error* error);

  RunLoop& run_loop;
  const BusObject object;
  const Claim claim;
  const std::string refused = std::string(object.interface) + ".Error.Refused";
  std::vector<sd_bus_vtable> table; ///< not touched any more once the bus has it
  sd_bus* bus = nullptr;
  bool has_answered = false;
  Clock::time_point turn_began;
  int served = 0;       ///< in this turn
  RunLoop::Handle news; ///< while all that came is served: watches for more
  RunLoop::Handle turn; ///< else: the next turn
  std::shared_ptr<bool> alive = std::make_shared<bool>(true);
};

/// Descriptors are not let in: those of a stranger would take the place of a take's files.
int SessionBus::Connection::open() {
  const std::string address = busAddress();
  if (address.empty()) return -ENOENT;
  table.push_back(sd_bus_vtable SD_BUS_VTABLE_START(0));
  for (const auto& [name, arguments, unused] : object.methods)
    table.push_back(sd_bus_vtable SD_BUS_METHOD(name, arguments, "", call, SD_BUS_VTABLE_UNPRIVILEGED));
  for (const auto& [name, signature, is_told, unused, setter] : object.properties) {
    if (setter)
      table.push_back(sd_bus_vtable SD_BUS_WRITABLE_PROPERTY(name, signature, get, set, 0, SD_BUS_VTABLE_UNPRIVILEGED));
    else
      table.push_back(sd_bus_vtable SD_BUS_PROPERTY(name, signature, get, 0, 0));
    if (is_told) table.back().flags |= SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE;
  }
  table.push_back(sd_bus_vtable SD_BUS_VTABLE_END);

  const uint64_t name_flags =
      SD_BUS_NAME_QUEUE | (claim == Claim::keeps ? SD_BUS_NAME_REPLACE_EXISTING : SD_BUS_NAME_ALLOW_REPLACEMENT);
  int result = sd_bus_new(&bus);
  if (result >= 0) result = sd_bus_set_address(bus, address.c_str());
  if (result >= 0) result = sd_bus_set_bus_client(bus, 1);
  if (result >= 0) result = sd_bus_negotiate_fds(bus, 0);
  if (result >= 0) result = sd_bus_start(bus);
  if (result >= 0) result = sd_bus_add_object_vtable(bus, nullptr, object.path, object.interface, table.data(), this);
  if (result >= 0) result = sd_bus_request_name_async(bus, nullptr, object.name, name_flags, nameAnswered, this);
  if (result >= 0) wait();
  return result;
}

void SessionBus::Connection::close() {
  news.reset();
  turn.reset();
  sd_bus_close_unref(bus);
  bus = nullptr;
}

void SessionBus::Connection::end(int error) {
  close();
  log("There is no session bus for scripts: %s.", systemError(-error));
}

int SessionBus::Connection::nameAnswered(sd_bus_message* message, void* me, sd_bus_error*) {
  constexpr uint32_t kOwner = 1; // DBUS_REQUEST_NAME_REPLY_PRIMARY_OWNER
  auto& self = *static_cast<Connection*>(me);
  uint32_t answer = 0;
  if (sd_bus_message_is_method_error(message, nullptr) > 0 || sd_bus_message_read(message, "u", &answer) < 0 ||
      answer != kOwner)
    log("Another program answers to %s on the session bus for now.", self.object.name);
  self.has_answered = true;
  return 1;
}

uint64_t SessionBus::Connection::nrUnsent() const {
  uint64_t number = 0;
  return sd_bus_get_n_queued_write(bus, &number) < 0 ? 0 : number;
}

/// Whether answers wait, and the bus takes none: what comes now is left where it is.
bool SessionBus::Connection::isBackedUp() const {
  if (nrUnsent() <= kMostUnsent) return false;
  pollfd socket{sd_bus_get_fd(bus), POLLOUT, 0};
  return poll(&socket, 1, 0) == 0;
}

void SessionBus::Connection::serve() {
  news.reset();
  turn.reset();
  if (bus == nullptr) return;
  const auto now = Clock::now();
  if (now - turn_began >= kTurn) {
    turn_began = now;
    served = 0;
  }
  for (int result = 1; result > 0 && served < kMostPerTurn && !isBackedUp(); ++served) {
    result = sd_bus_process(bus, nullptr);
    if (result < 0) return end(result);
  }
  wait();
}

/// With nothing left to do, for the socket; else, and until the bus has answered, for the next turn. What is seen on
/// the socket is posted: a main loop that holds work back while the recorder waits must hold back this, too.
void SessionBus::Connection::wait() {
  if (has_answered && served < kMostPerTurn && nrUnsent() == 0) {
    turn.reset();
    news = run_loop.watch(sd_bus_get_fd(bus), [this] {
      news.reset();
      run_loop.post([this, still = std::weak_ptr(alive)] {
        if (!still.expired()) serve();
      });
    });
  } else if (!turn) {
    news.reset();
    turn = run_loop.every(kTurn, [this] { serve(); });
  }
}

int SessionBus::Connection::call(sd_bus_message* message, void* me, sd_bus_error* error) {
  const auto& self = *static_cast<Connection*>(me);
  const BusMethod& method = find(self.object.methods, sd_bus_message_get_member(message));
  uint32_t argument = 0;
  if (*method.arguments != '\0') {
    if (const int result = sd_bus_message_read(message, "u", &argument); result < 0) return result;
  }
  const std::string refusal = method.call(argument);
  if (refusal.empty()) return sd_bus_reply_method_return(message, "");
  return sd_bus_error_set(error, self.refused.c_str(), wellFormed(refusal).c_str());
}

int SessionBus::Connection::get(sd_bus*, const char*, const char*, const char* name, sd_bus_message* reply, void* me,
                                sd_bus_error*) {
  const auto& self = *static_cast<Connection*>(me);
  return append(reply, find(self.object.properties, name).get());
}

int SessionBus::Connection::set(sd_bus*, const char*, const char*, const char* name, sd_bus_message* value, void* me,
                                sd_bus_error* error) {
  const auto& self = *static_cast<Connection*>(me);
  BusEntries entries;
  const int result = readEntries(value, entries);
  if (result < 0 && result != -E2BIG) return result;
  const std::string refusal =
      result == -E2BIG ? "There is too much of it." : find(self.object.properties, name).set(entries);
  return refusal.empty() ? 1 : sd_bus_error_set(error, SD_BUS_ERROR_INVALID_ARGS, wellFormed(refusal).c_str());
}

int SessionBus::Connection::tell(const std::vector<std::string>& names) const {
  sd_bus_message* message = nullptr;
  int result = sd_bus_message_new_signal(bus, &message, object.path, kProperties, "PropertiesChanged");
  if (result >= 0) result = sd_bus_message_append(message, "s", object.interface);
  if (result >= 0) {
    result = appendArray(message, "{sv}", names, [&](const std::string& name) {
      const BusProperty& property = find(object.properties, name);
      int one = sd_bus_message_open_container(message, 'e', "sv");
      if (one >= 0) one = sd_bus_message_append(message, "s", property.name);
      if (one >= 0) one = sd_bus_message_open_container(message, 'v', property.signature);
      if (one >= 0) one = append(message, property.get());
      if (one >= 0) one = sd_bus_message_close_container(message);
      return one < 0 ? one : sd_bus_message_close_container(message);
    });
  }
  if (result >= 0) result = sd_bus_message_append(message, "as", 0);
  if (result >= 0) result = sd_bus_send(bus, message, nullptr);
  sd_bus_message_unref(message);
  return result;
}

SessionBus::SessionBus(RunLoop& run_loop, BusObject object, Claim claim)
    : connection(std::make_unique<Connection>(run_loop, std::move(object), claim)) {
  if (const int result = connection->open(); result < 0) connection->end(result);
}

SessionBus::~SessionBus() = default;

bool SessionBus::isServing() const { return connection->bus != nullptr && connection->has_answered; }

bool SessionBus::tell(const std::vector<std::string>& names) {
  if (!isServing() || connection->nrUnsent() > 0) return false;
  const int result = connection->tell(names);
  if (result >= 0 && connection->nrUnsent() > 0) connection->wait();
  return result >= 0;
}

} // namespace vurl
