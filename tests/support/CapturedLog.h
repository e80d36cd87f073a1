// Collects the log lines of a test in place of the system log.
#pragma once

#include "platform/Log.h"

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

namespace vurl {

class CapturedLog {
public:
  CapturedLog() {
    before = Log::setSink([this](std::string_view line) {
      const std::lock_guard lock(mutex);
      collected.emplace_back(line);
    });
  }
  ~CapturedLog() { Log::setSink(std::move(before)); }

  std::vector<std::string> lines() const {
    const std::lock_guard lock(mutex);
    return collected;
  }

  bool contains(const std::string& part) const {
    return std::ranges::any_of(lines(), [&](const auto& line) { return line.find(part) != std::string::npos; });
  }

private:
  mutable std::mutex mutex; ///< also keeps the object from being copied
  std::vector<std::string> collected;
  Log::Sink before;
};

} // namespace vurl
