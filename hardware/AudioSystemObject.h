// The audio hardware as a whole: which devices there are, whether the computer may sleep, and the main loop on which
// changes are told. Thread: main.
#pragma once

#include "hardware/AudioDevice.h"
#include "hardware/AudioObject.h"

#include <memory>
#include <vector>

namespace vurl {

class AudioSystemObject final : public AudioObject {
public:
  explicit AudioSystemObject(AudioHardware& audio_hardware) : AudioObject(audio_hardware, kAudioObjectSystemObject) {}
  ~AudioSystemObject() override { setDelegate(nullptr); }

  /// Ends watching the device list for the old delegate and watches it for the new one.
  void setDelegate(AudioObjectDelegate* new_delegate) override;

  /// Fresh wrappers of all devices, in the service's order.
  std::vector<std::unique_ptr<AudioDevice>> allDevices() const;

  /// Whether the computer may go to sleep by itself.
  void setSleepingIsAllowed(bool allowed);

  /// Has changes delivered on `run_loop`, which must live as long as changes may come.
  void setRunLoop(RunLoop* run_loop);

  void listenDevices();
  void unlistenDevices();
};

} // namespace vurl
