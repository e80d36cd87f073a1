// The audio hardware of this computer as one tree: the devices of all services, their streams and properties, and who
// listens to them. Everything belongs to the main thread; only notify() may come from other threads (never the I/O
// thread). Services are AudioService; what a device consists of is DeviceDescription.
#pragma once

#include "hardware/AudioHardware.h"
#include "hardware/AudioService.h"
#include "platform/RunLoop.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vurl {

/// A stream of a device: `nr_channels` channels that share one buffer of the I/O cycle, interleaved.
struct StreamDescription {
  std::string name; ///< empty for none
  uint32_t nr_channels = 0;
  bool operator==(const StreamDescription&) const = default;
};

/// A data or clock source to choose from.
struct SourceDescription {
  uint32_t id = 0;
  std::string name;
  bool operator==(const SourceDescription&) const = default;
};

/// All that the model tells about a device. Without sources, the properties of sources do not exist.
struct DeviceDescription {
  std::string manufacturer;
  std::string name;
  int sort_order = 0; ///< devices with a lower one come first in the list; equal ones in order of publishing
  std::vector<StreamDescription> inputs;
  std::vector<StreamDescription> outputs;
  std::vector<double> nominal_sample_rates; ///< Hz
  double nominal_sample_rate = 0;           ///< Hz
  AudioValueRange buffer_frame_size_range;  ///< frames
  uint32_t buffer_frame_size = 0;           ///< frames
  std::vector<SourceDescription> data_sources;
  uint32_t data_source = 0;
  std::vector<SourceDescription> clock_sources;
  uint32_t clock_source = 0;
};

class HardwareModel final : public AudioHardware {
public:
  /// A device as the model holds it.
  struct Device {
    AudioObjectID id = kAudioObjectUnknown;
    AudioService* service = nullptr;
    DeviceDescription description;
    std::vector<AudioObjectID> input_ids;  ///< of the streams, in order
    std::vector<AudioObjectID> output_ids; ///< of the streams, in order
    IOProc io;
    bool running = false;
  };

  HardwareModel();
  ~HardwareModel() override;
  HardwareModel(const HardwareModel&) = delete;
  HardwareModel& operator=(const HardwareModel&) = delete;

  /// Adds a device of `service`, which must unpublish it before either goes, and notifies the list of devices. Returns
  /// the device's id.
  AudioObjectID publish(AudioService& service, DeviceDescription description);

  /// Stops the device if it runs, takes it out, and notifies the list of devices.
  void unpublish(AudioObjectID device);

  /// Replaces the description and notifies the properties that differ, in one call for each listener.
  void update(AudioObjectID device, DeviceDescription description);

  /// The present description, or nullptr when there is no such device.
  const DeviceDescription* description(AudioObjectID device) const;

  /// Whether the device was started and did not refuse. Thread: main.
  bool isRunning(AudioObjectID device) const;

  /// Has the listeners of `addresses` called on the main loop, later. A listener removed by then is left out; nothing
  /// comes of it when no main loop has been set. Any thread but the I/O thread; allocates, does not wait.
  void notify(AudioObjectID object, std::vector<AudioObjectPropertyAddress> addresses);

  /// Notifies that the device lost samples. Any thread but the I/O thread.
  void notifyOverload(AudioObjectID device);

  /// What was last set; true at first.
  bool sleepingIsAllowed() const { return sleeping_is_allowed != 0; }

  /// Has `apply` told of what is set, each time from now on: it sees to the computer's sleep.
  void setSleepSwitch(std::function<void(bool sleeping_is_allowed)> apply) { sleep_switch = std::move(apply); }

  void AudioObjectShow(AudioObjectID object) const override;
  bool AudioObjectHasProperty(AudioObjectID object, const AudioObjectPropertyAddress& address) const override;
  OSStatus AudioObjectGetPropertyDataSize(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                          uint32_t& size) const override;
  OSStatus AudioObjectGetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address, uint32_t& size,
                                      void* data) const override;
  OSStatus AudioObjectSetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address, uint32_t size,
                                      const void* data) override;
  OSStatus AudioObjectAddPropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                          AudioObjectPropertyListenerProc listener, void* client_data) override;
  OSStatus AudioObjectRemovePropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                             AudioObjectPropertyListenerProc listener, void* client_data) override;
  OSStatus AudioDeviceAddIOProc(AudioObjectID device, AudioDeviceIOProc proc, void* client_data) override;
  OSStatus AudioDeviceStart(AudioObjectID device, AudioDeviceIOProc proc) override;
  OSStatus AudioDeviceStop(AudioObjectID device, AudioDeviceIOProc proc) override;
  OSStatus AudioDeviceRemoveIOProc(AudioObjectID device, AudioDeviceIOProc proc) override;

private:
  struct Listener {
    AudioObjectID object;
    AudioObjectPropertyAddress address;
    AudioObjectPropertyListenerProc proc;
    void* client_data;
    bool operator==(const Listener&) const = default;
    bool matches(AudioObjectID changed_object, const AudioObjectPropertyAddress& changed) const;
  };

  struct Value;
  Value value(AudioObjectID object, const AudioObjectPropertyAddress& address) const;
  const StreamDescription* stream(AudioObjectID id) const;
  std::vector<AudioObjectID> sortedDevices() const;
  std::vector<AudioObjectID> newIDs(size_t count);
  Device* deviceWithProc(AudioObjectID device, AudioDeviceIOProc proc);
  bool exists(AudioObjectID object) const;
  OSStatus setSystemProperty(uint32_t selector, uint32_t size, const void* data);
  void deliver(AudioObjectID object, const std::vector<AudioObjectPropertyAddress>& addresses);

  std::map<AudioObjectID, Device> devices;
  std::vector<Listener> listeners;
  AudioObjectID last_id = kAudioObjectSystemObject;
  uint32_t sleeping_is_allowed = 1;
  std::function<void(bool)> sleep_switch;
  std::atomic<RunLoop*> run_loop = nullptr;
  std::shared_ptr<HardwareModel*> self; ///< gone with the model; deliveries under way look before they touch it
};

} // namespace vurl
