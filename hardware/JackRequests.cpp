#include "hardware/JackRequests.h"

#include <memory>
#include <system_error>
#include <thread>
#include <utility>

namespace vurl {

/// The end of the request made last. The library itself serves the whole process.
std::shared_future<void>& JackRequests::last() {
  static std::shared_future<void> end;
  return end;
}

bool JackRequests::carryOut(std::function<void()> work, std::chrono::milliseconds patience) {
  const auto end = std::make_shared<std::promise<void>>();
  const auto before = std::exchange(last(), end->get_future().share());
  try {
    std::thread([work = std::move(work), before, end] {
      if (before.valid()) before.wait();
      work();
      end->set_value();
    }).detach();
  } catch (const std::system_error&) {
    last() = before; // the system has no thread left
    return false;
  }
  return last().wait_for(patience) == std::future_status::ready;
}

bool JackRequests::areStuck() {
  return last().valid() && last().wait_for(std::chrono::seconds(0)) != std::future_status::ready;
}

} // namespace vurl
