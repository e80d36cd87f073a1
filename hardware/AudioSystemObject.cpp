#include "hardware/AudioSystemObject.h"

namespace vurl {
namespace {

constexpr AudioObjectPropertyAddress kDevices{kAudioHardwarePropertyDevices, kAudioObjectPropertyScopeGlobal, 0};

} // namespace

void AudioSystemObject::setDelegate(AudioObjectDelegate* new_delegate) {
  if (delegate != nullptr) unlistenDevices();
  AudioObject::setDelegate(new_delegate);
  if (delegate != nullptr) listenDevices();
}

std::vector<std::unique_ptr<AudioDevice>> AudioSystemObject::allDevices() const {
  std::vector<std::unique_ptr<AudioDevice>> devices;
  for (const AudioObjectID id : getArrayOfIDsProperty(kDevices))
    devices.push_back(std::make_unique<AudioDevice>(hardware, id));
  return devices;
}

void AudioSystemObject::setSleepingIsAllowed(bool allowed) {
  setIntProperty({kAudioHardwarePropertySleepingIsAllowed, kAudioObjectPropertyScopeGlobal}, allowed ? 1 : 0);
}

void AudioSystemObject::setRunLoop(RunLoop* run_loop) {
  setRunLoopRefProperty({kAudioHardwarePropertyRunLoop, kAudioObjectPropertyScopeGlobal}, run_loop);
}

void AudioSystemObject::listenDevices() { listenForProperty(kDevices); }

void AudioSystemObject::unlistenDevices() { unlistenForProperty(kDevices); }

} // namespace vurl
