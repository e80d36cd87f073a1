// Tells that sound cards may have come or gone. A seam: UdevMonitor asks the system, tests play events. Thread: main.
#pragma once

#include <functional>
#include <memory>

namespace vurl {

class PlugMonitor {
public:
  virtual ~PlugMonitor() = default;

  /// Has something to read when there is news.
  virtual int descriptor() const = 0;

  /// Takes all news that waits; returns whether there was any of sound cards.
  virtual bool takeNews() = 0;
};

} // namespace vurl
