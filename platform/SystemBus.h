// Calls to the services of the computer, over D-Bus's system bus: who else may keep it awake or give a thread priority.
// A bus or a service that is not there, or does not answer, is an error in the reply, and never holds anybody up for
// longer than the caller allows.
#pragma once

#include "platform/Descriptor.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace vurl {

/// A method of a service, and what it is given.
struct BusRequest {
  using Argument = std::variant<std::string, uint32_t, uint64_t>; ///< of the types s, u, t
  const char* service;
  const char* path;
  const char* interface;
  const char* method;
  std::vector<Argument> arguments;
};

struct BusReply {
  std::string error;     ///< why there is no answer, in words; empty when there is one
  int64_t number = 0;    ///< the answer's first value if it is a whole number, also within a variant
  Descriptor descriptor; ///< the answer's first value if it is one
};

/// One call that is under way. Thread: the one that made it.
class BusCall {
public:
  /// Connects to the bus and sends `request`; waits for neither.
  explicit BusCall(const BusRequest& request);
  ~BusCall();
  BusCall(const BusCall&) = delete;
  BusCall& operator=(const BusCall&) = delete;

  /// Does what can be done without waiting. Returns whether the call has ended, well or not.
  bool step();

  /// Waits until the call ends, at most for `patience`; a call that takes longer ends with an error.
  void wait(std::chrono::microseconds patience);

  /// Ends the call with an error, if it is still under way.
  void giveUp();

  /// What has come of the call once it has ended.
  BusReply& reply() { return answer; }

private:
  struct Connection;

  void end(int error);

  std::unique_ptr<Connection> connection;
  BusReply answer;
  bool has_ended = false;
};

/// Makes a call and waits for its end, at most for `patience`. Not real-time. Any thread but the main one when that
/// must not wait.
BusReply callSystemBus(const BusRequest& request, std::chrono::microseconds patience);

/// The value of `property` of `interface`, a whole number; waits as callSystemBus().
BusReply readBusProperty(const char* service, const char* path, const char* interface, const char* property,
                         std::chrono::microseconds patience);

} // namespace vurl
