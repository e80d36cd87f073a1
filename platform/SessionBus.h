// An object of this program on the user's session bus (D-Bus), for scripts: properties to read, to follow and to write,
// and methods. The bus is served from the main loop in small steps that wait for nobody: a flood of calls gets a few
// hundred answers a second and the rest of it stays with the bus; a bus that takes nothing is sent nothing. Without a
// bus the program goes on, with a line in the log. Thread: main. Errors: the D-Bus standard, "Standard Interfaces".
#pragma once

#include "platform/RunLoop.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace vurl {

/// What properties hold, each with its D-Bus signature. Texts go out with "?" for what the bus cannot carry.
using BusValue = std::variant<bool,                                    // b
                              std::string,                             // s
                              std::vector<std::string>,                // as
                              std::map<std::string, std::string>,      // a{ss}
                              std::map<std::string, uint64_t>,         // a{st}
                              std::vector<std::pair<double, double>>>; // a(dd)

/// Entries of an a{ss} as they came, in their order, 32 at most.
using BusEntries = std::vector<std::pair<std::string, std::string>>;

struct BusProperty {
  const char* name;
  const char* signature; ///< of what get() gives
  bool is_always_told;   ///< each change of it is told, to whoever follows PropertiesChanged
  std::function<BusValue()> get;
  /// For a property of the signature a{ss} that can be written: takes the entries, or returns why not, in UTF-8, which
  /// the caller gets as org.freedesktop.DBus.Error.InvalidArgs. None: it is for reading only.
  std::function<std::string(const BusEntries&)> set = {};
};

struct BusMethod {
  const char* name;
  const char* arguments; ///< signature: "" or "u"
  /// Does it, with the argument or 0, or returns why not, in UTF-8, which the caller gets as INTERFACE.Error.Refused.
  std::function<std::string(uint32_t)> call;
};

struct BusObject {
  const char* name; ///< the well-known name that the program asks for
  const char* path;
  const char* interface;
  std::vector<BusProperty> properties;
  std::vector<BusMethod> methods;
};

class SessionBus {
public:
  /// What becomes of the name when several programs want it: a recorder keeps it, a guest leaves it to a recorder.
  enum class Claim { keeps, yields };

  /// Connects to the session bus ($DBUS_SESSION_BUS_ADDRESS, or $XDG_RUNTIME_DIR/bus; sockets of this computer only)
  /// and offers `object` there; returns before that is done. The name goes to one program at a time; the others wait
  /// for it. `run_loop` and what the functions of `object` touch outlive the object.
  SessionBus(RunLoop& run_loop, BusObject object, Claim claim);
  ~SessionBus();
  SessionBus(const SessionBus&) = delete;
  SessionBus& operator=(const SessionBus&) = delete;

  /// Whether the bus has answered, and is still there.
  bool isServing() const;

  /// Tells all who follow what the properties called `names` hold now (signal PropertiesChanged). Returns false, having
  /// told nothing, without a bus and while one does not take what was told before.
  bool tell(const std::vector<std::string>& names);

private:
  struct Connection;
  const std::unique_ptr<Connection> connection;
};

} // namespace vurl
