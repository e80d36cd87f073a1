// An ALSA device as it can be chosen: its names, what it can do, and how it is to be opened. Thread: main. AlsaHardware
// keeps one for each device.
#pragma once

#include "hardware/AlsaDevice.h"
#include "hardware/AlsaList.h"
#include "hardware/HardwareModel.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace vurl {

class AlsaProfile {
public:
  explicit AlsaProfile(AlsaName names) : name(std::move(names)) {}

  /// Finds out what the device can do at the rate in `setup` or, where it has none such, at another one, and completes
  /// `setup` with that. A direction that cannot be had is left out as long as there is the other one. Returns a
  /// negative errno value on failure, then nothing changes: -EBUSY when another program has the device, -ETIMEDOUT when
  /// its driver does not answer within two seconds.
  int probe();

  DeviceDescription describe() const;

  /// Warns that the device failed with this negative errno value, and who holds it.
  void tellFailure(int error) const;

  const AlsaName name;
  AlsaDeviceSetup setup;
  std::vector<double> rates; ///< Hz, rising
  AudioValueRange period_frames;

private:
  int probeAtRate(uint32_t rate);
};

} // namespace vurl
