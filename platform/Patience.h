// Calls that may never come back, into a driver or to a disk, kept off the thread that asks. Any thread but the I/O
// thread.
#pragma once

#include <chrono>
#include <future>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

namespace vurl {

/// Runs `work` on a thread of its own and waits for its result, `patience` at most. Nothing when it takes longer: then
/// its thread is left behind, and does away with the result should it ever come. So `work` must own all that it
/// touches. Nothing as well when the system has no thread left.
template <typename Work>
auto withPatience(std::chrono::milliseconds patience, Work work) -> std::optional<decltype(work())> {
  std::promise<decltype(work())> promise;
  auto result = promise.get_future();
  try {
    std::thread([work = std::move(work), promise = std::move(promise)]() mutable {
      promise.set_value(work());
    }).detach();
  } catch (const std::system_error&) {
    return std::nullopt;
  }
  if (result.wait_for(patience) != std::future_status::ready) return std::nullopt;
  return result.get();
}

} // namespace vurl
