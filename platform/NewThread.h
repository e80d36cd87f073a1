// Threads in a system that may have none left: std::thread throws there, which would end the program and its take.
#pragma once

#include <system_error>
#include <thread>
#include <utility>

namespace vurl {

/// A thread that runs `work`. Not joinable when the system has no thread left; then `work` has gone without being run.
template <typename Work>
std::thread newThread(Work work) noexcept {
  try {
    return std::thread(std::move(work));
  } catch (const std::system_error&) {
    return {};
  }
}

} // namespace vurl
