#include "platform/SystemBus.h"

#include "platform/Text.h"

#include <systemd/sd-bus.h>

#include <fcntl.h>

#include <algorithm>
#include <cerrno>

namespace vurl {
namespace {

using Clock = std::chrono::steady_clock;

/// Those that read and write return a negative errno value when they fail.
int append(sd_bus_message* message, const BusRequest::Argument& argument) {
  if (const auto* const string = std::get_if<std::string>(&argument))
    return sd_bus_message_append(message, "s", string->c_str());
  if (const auto* const number = std::get_if<uint32_t>(&argument)) return sd_bus_message_append(message, "u", *number);
  return sd_bus_message_append(message, "t", std::get<uint64_t>(argument));
}

template <typename Number>
int readNumber(sd_bus_message* message, char type, BusReply& reply) {
  Number number = 0;
  const int result = sd_bus_message_read_basic(message, type, &number);
  if (result > 0) reply.number = static_cast<int64_t>(number);
  return result;
}

int readValue(sd_bus_message* message, BusReply& reply) {
  char type = 0;
  const char* contents = nullptr;
  if (const int result = sd_bus_message_peek_type(message, &type, &contents); result <= 0) return result;
  int handle = -1;
  switch (type) {
  case SD_BUS_TYPE_VARIANT:
    if (const int result = sd_bus_message_enter_container(message, type, contents); result < 0) return result;
    return readValue(message, reply);
  case SD_BUS_TYPE_INT32: return readNumber<int32_t>(message, type, reply);
  case SD_BUS_TYPE_UINT32: return readNumber<uint32_t>(message, type, reply);
  case SD_BUS_TYPE_INT64: return readNumber<int64_t>(message, type, reply);
  case SD_BUS_TYPE_UINT64: return readNumber<uint64_t>(message, type, reply);
  case SD_BUS_TYPE_UNIX_FD: // the message closes its own
    if (const int result = sd_bus_message_read_basic(message, type, &handle); result < 0) return result;
    reply.descriptor = Descriptor(fcntl(handle, F_DUPFD_CLOEXEC, 3));
    return reply.descriptor.isOpen() ? 1 : -errno;
  default: return 0;
  }
}

} // namespace

struct BusCall::Connection {
  sd_bus* bus = nullptr;
  sd_bus_slot* slot = nullptr;
  sd_bus_message* answered = nullptr;

  Connection() = default;
  ~Connection() {
    sd_bus_message_unref(answered);
    sd_bus_slot_unref(slot);
    sd_bus_close_unref(bus);
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  static int keep(sd_bus_message* message, void* connection, sd_bus_error*) {
    static_cast<Connection*>(connection)->answered = sd_bus_message_ref(message);
    return 0;
  }

  int open() { return sd_bus_open_system(&bus); }

  int send(const BusRequest& request) {
    sd_bus_message* message = nullptr;
    int result =
        sd_bus_message_new_method_call(bus, &message, request.service, request.path, request.interface, request.method);
    for (const auto& argument : request.arguments)
      if (result >= 0) result = append(message, argument);
    if (result >= 0) result = sd_bus_call_async(bus, &slot, message, keep, this, 0);
    sd_bus_message_unref(message);
    return result;
  }
};

BusCall::BusCall(const BusRequest& request) : connection(std::make_unique<Connection>()) {
  const int opened = connection->open();
  const int result = opened < 0 ? opened : connection->send(request);
  if (result < 0) end(result);
  if (opened < 0) answer.error = text("no system bus: %s", answer.error);
}

BusCall::~BusCall() = default;

void BusCall::end(int error) {
  if (error < 0) answer.error = systemError(-error);
  connection.reset();
  has_ended = true;
}

bool BusCall::step() {
  if (has_ended) return true;
  int result = 1;
  while (result > 0 && connection->answered == nullptr) result = sd_bus_process(connection->bus, nullptr);
  sd_bus_message* const answered = connection->answered;
  if (answered == nullptr) {
    if (result < 0) end(result);
    return has_ended;
  }
  if (const sd_bus_error* const error = sd_bus_message_get_error(answered); error != nullptr)
    answer.error = error->message != nullptr ? error->message : error->name;
  end(answer.error.empty() ? readValue(answered, answer) : 0);
  return true;
}

void BusCall::wait(std::chrono::microseconds patience) {
  const auto deadline = Clock::now() + patience;
  while (!step()) {
    const auto left = std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now()).count();
    if (left <= 0) return giveUp();
    const int result = sd_bus_wait(connection->bus, static_cast<uint64_t>(left));
    if (result < 0 && result != -EINTR) end(result);
  }
}

void BusCall::giveUp() {
  if (!has_ended) end(-ETIMEDOUT);
}

BusReply callSystemBus(const BusRequest& request, std::chrono::microseconds patience) {
  BusCall call(request);
  call.wait(patience);
  return std::move(call.reply());
}

BusReply readBusProperty(const char* service, const char* path, const char* interface, const char* property,
                         std::chrono::microseconds patience) {
  return callSystemBus({service, path, "org.freedesktop.DBus.Properties", "Get", {interface, property}}, patience);
}

} // namespace vurl
