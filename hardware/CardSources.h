// The data and clock sources of one device, made of its card's controls: which control that is goes by its name, an
// item of it is a source. Changes by other programs are noticed on the main loop. Thread: main.
#pragma once

#include "hardware/CardControls.h"
#include "hardware/HardwareModel.h"
#include "platform/RunLoop.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace vurl {

class CardSources {
public:
  /// Reads the controls and watches them. `nth_capture` is the device's number among the card's devices that capture,
  /// from 0; nothing for one that does not, which has no data sources. `changed` is called on the main loop when a
  /// source is another one, or there are others. `controls` may be null: then there are no sources.
  CardSources(std::unique_ptr<CardControls> controls, RunLoop& run_loop, std::optional<uint32_t> nth_capture,
              std::function<void()> changed);
  CardSources(const CardSources&) = delete;
  CardSources& operator=(const CardSources&) = delete;

  /// Fills in the sources and which are in force.
  void describe(DeviceDescription& description) const;

  /// Asks for another source. Returns whether the card took it; describe() tells what is in force then.
  bool setDataSource(uint32_t id);
  bool setClockSource(uint32_t id);

  /// Whether a control of this name may choose a data or a clock source.
  static bool wants(const std::string& name);

private:
  void read();
  void hear();
  bool set(const std::optional<CardControl>& control, uint32_t id);

  std::unique_ptr<CardControls> controls;
  const std::optional<uint32_t> nth_capture;
  const std::function<void()> changed;
  std::optional<CardControl> data;
  std::optional<CardControl> clock;
  RunLoop::Handle watch;
};

} // namespace vurl
