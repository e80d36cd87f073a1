// What the tests of an audio service share: a main loop, the model, an input device, and waiting on the main loop.
#pragma once

#include "hardware/GeneratorHardware.h"
#include "hardware/InputDevice.h"
#include "hardware/JackHardware.h"
#include "platform/PollRunLoop.h"
#include "tests/hardware/CountingDelegate.h"
#include "tests/hardware/NotingObserver.h"
#include "tests/support/JackServer.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace vurl {

class ServiceRig {
public:
  ServiceRig() { input_device.setObserver(&observer); }
  virtual ~ServiceRig() = default;

  /// Runs the main loop until `done`, at most 20 seconds; returns whether it was done.
  bool wait(const std::function<bool()>& done) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!done()) {
      if (std::chrono::steady_clock::now() > deadline) return false;
      run_loop.runOnce(std::chrono::milliseconds(10));
    }
    return true;
  }

  void runFor(std::chrono::milliseconds time) {
    const auto end = std::chrono::steady_clock::now() + time;
    while (std::chrono::steady_clock::now() < end) run_loop.runOnce(std::chrono::milliseconds(5));
  }

  bool waitForCycles(int count) {
    const int before = delegate.nr_cycles;
    return wait([&] { return delegate.nr_cycles >= before + count; });
  }

  /// The id of the device of this name, 0 when it is not listed.
  uint32_t find(const std::string& name) const {
    for (const auto& [id, device_name] : input_device.devices())
      if (device_name == name) return id;
    return 0;
  }

  /// What the service's device is called.
  virtual std::string name() const = 0;

  PollRunLoop run_loop;
  HardwareModel model;
  CountingDelegate delegate;
  NotingObserver observer;
  InputDevice input_device{model, run_loop, delegate};
};

class GeneratorRig final : public ServiceRig {
public:
  GeneratorRig() { generator.setPublished(true); }
  std::string name() const override { return "Vurl - Test Generator"; }
  GeneratorHardware generator{model, run_loop};
};

class JackRig final : public ServiceRig {
public:
  JackRig() {
    setenv("JACK_DEFAULT_SERVER", server.name().c_str(), 1);
    server.start();
    jack = std::make_unique<JackHardware>(model, run_loop, ownServers);
  }
  ~JackRig() override {
    input_device.unselectDevice();
    jack.reset();
  }
  std::string name() const override { return "JACK - " + server.name(); }

  /// The servers of this test program: those of others, which may run at the same time, are left alone.
  static std::vector<std::string> ownServers() {
    auto names = runningJackServers();
    std::erase_if(names, [](const auto& name) { return name.rfind(JackServer::namePrefix(), 0) != 0; });
    return names;
  }

  JackServer server;
  std::unique_ptr<JackHardware> jack;
};

} // namespace vurl
