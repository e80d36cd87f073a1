#include "hardware/UdevMonitor.h"

#include <libudev.h>
#include <unistd.h>

#include <cerrno>

namespace vurl {
namespace {

struct Unref {
  void operator()(udev* library) const { udev_unref(library); }
  void operator()(udev_monitor* monitor) const { udev_monitor_unref(monitor); }
  void operator()(udev_device* device) const { udev_device_unref(device); }
};
using Monitor = std::unique_ptr<udev_monitor, Unref>;

class UdevMonitor final : public PlugMonitor {
public:
  explicit UdevMonitor(Monitor opened) : monitor(std::move(opened)) {}

  int descriptor() const override { return udev_monitor_get_fd(monitor.get()); }

  // When too much came at once, the system says so in place of what it dropped.
  bool takeNews() override {
    bool has_news = false;
    for (;;) {
      errno = 0;
      const std::unique_ptr<udev_device, Unref> device(udev_monitor_receive_device(monitor.get()));
      if (!device && errno != ENOBUFS) return has_news;
      has_news = true;
    }
  }

private:
  Monitor monitor;
};

} // namespace

std::unique_ptr<PlugMonitor> openUdevMonitor() {
  if (::access("/run/udev/control", F_OK) != 0) return nullptr;
  const std::unique_ptr<udev, Unref> library(udev_new()); // the monitor keeps it
  if (!library) return nullptr;
  Monitor monitor(udev_monitor_new_from_netlink(library.get(), "udev"));
  if (!monitor || udev_monitor_filter_add_match_subsystem_devtype(monitor.get(), "sound", nullptr) < 0) return nullptr;
  if (udev_monitor_enable_receiving(monitor.get()) < 0) return nullptr;
  return std::make_unique<UdevMonitor>(std::move(monitor));
}

} // namespace vurl
