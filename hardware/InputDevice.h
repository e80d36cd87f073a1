// The input device controller: owns the selected device, answers questions about it, applies settings to it, and turns
// each change of the hardware into one message to its observer. Selecting a device starts its cycles into the I/O
// delegate given at construction. Thread: main. Next: the device menus of the application.
#pragma once

#include "hardware/AudioDevice.h"
#include "hardware/AudioSystemObject.h"
#include "hardware/InputDeviceObserver.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vurl {

class InputDevice final : private AudioObjectDelegate {
public:
  /// The three must outlive this object.
  InputDevice(AudioHardware& audio_hardware, RunLoop& main_loop, AudioIODelegate& ring)
      : hardware(audio_hardware), run_loop(main_loop), audio_ring(ring) {}

  /// Who is told of changes (not owned; nullptr for nobody).
  void setObserver(InputDeviceObserver* new_observer) { observer = new_observer; }

  /// Binds the hardware to the main loop, watches the device list, asks that the computer stay awake, and tells the
  /// observer of the devices there are. Once, when the observer is ready.
  void awake();

  int32_t selectedDevice() const;                              ///< object id, -1 for none
  bool hasStarted() const;                                     ///< the device; false for none
  int32_t sampleRate() const;                                  ///< Hz without fraction, -1 for no device
  int32_t dataSource() const;                                  ///< id, -1 for none
  int32_t clockSource() const;                                 ///< id, -1 for none
  uint32_t bufferFrameSize() const;                            ///< frames, 0 for no device
  std::optional<AudioValueRange> bufferFrameSizeRange() const; ///< frames

  /// All devices of the system, as "manufacturer - name" by object id.
  std::map<uint32_t, std::string> devices() const;

  /// The rates of the selected device in Hz without fraction, in the device's order.
  std::vector<int32_t> sampleRates() const;

  std::map<uint32_t, std::string> dataSources() const;
  std::map<uint32_t, std::string> clockSources() const;

  /// Names of the selected device's channels, for example "3 - Digital 1"; the index is the device's channel number.
  std::vector<std::string> inputs() const;
  std::vector<std::string> outputs() const;

  // These ask the selected device, if there is one; the observer hears when it has followed.
  void setDataSource(uint32_t id);
  void setClockSource(uint32_t id);
  void setBufferFrameSize(uint32_t frames);
  void setSampleRate(int32_t rate);

  /// Releases the selected device, takes the one with this id in its place, has the observer read everything anew, and
  /// starts I/O. An id that names no device gives one whose reads fail.
  void setSelectedDevice(uint32_t id);

  /// Releases the selected device and has the observer read everything anew.
  void unselectDevice();

private:
  void clockSourcesChanged() override;
  void clockSourceChanged() override;
  void devicesChanged() override;
  void bufferFrameSizeChanged() override;
  void bufferFrameSizeRangeChanged() override;
  void availableNominalSampleRatesChanged() override;
  void nominalSampleRateChanged() override;
  void processorOverload() override;
  void streamConfigurationChanged() override;
  void dataSourcesChanged() override;
  void dataSourceChanged() override;
  void streamsChanged() override;

  void tell(void (InputDeviceObserver::*message)());
  void tellEverything();
  std::vector<std::string> channelNames(uint32_t scope, const char* unnamed) const;

  AudioHardware& hardware;
  RunLoop& run_loop;
  AudioIODelegate& audio_ring;
  InputDeviceObserver* observer = nullptr;
  std::unique_ptr<AudioSystemObject> audio_system;
  std::unique_ptr<AudioDevice> selected_device;
};

} // namespace vurl
