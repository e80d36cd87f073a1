#include "hardware/AudioDevice.h"

namespace vurl {

OSStatus audioDeviceIOProc(AudioObjectID device, const AudioTimeStamp* now, const AudioBufferList* input_data,
                           const AudioTimeStamp* input_time, AudioBufferList* output_data,
                           const AudioTimeStamp* output_time, void* client_data) noexcept {
  static_cast<AudioDevice*>(client_data)
      ->io_delegate->ioCycleForDevice(device, *now, *input_data, *input_time, *output_data, *output_time, client_data);
  return kAudioHardwareNoError;
}

AudioDevice::~AudioDevice() {
  setIODelegate(nullptr);
  setDelegate(nullptr);
}

void AudioDevice::setDelegate(AudioObjectDelegate* new_delegate) {
  if (delegate != nullptr) {
    unlistenAvailableNominalSampleRates();
    unlistenNominalSampleRate();
    unlistenDataSources();
    unlistenDataSource();
    unlistenClockSources();
    unlistenClockSource();
    unlistenStreamsForScope(kInput);
    unlistenStreamConfigurationForScope(kInput);
  }
  AudioObject::setDelegate(new_delegate);
  if (delegate != nullptr) {
    listenAvailableNominalSampleRates();
    listenNominalSampleRate();
    listenDataSources();
    listenDataSource();
    listenClockSources();
    listenClockSource();
    listenStreamsForScope(kInput);
    listenStreamConfigurationForScope(kInput);
  }
}

void AudioDevice::setIODelegate(AudioIODelegate* new_delegate) {
  if (io_delegate != nullptr) unlistenIO();
  io_delegate = new_delegate;
  if (io_delegate != nullptr) listenIO();
}

// A device that is gone refuses these calls; there is nothing to be done about it.
void AudioDevice::listenIO() {
  hardware.AudioDeviceAddIOProc(objectID(), audioDeviceIOProc, this);
  has_started = hardware.AudioDeviceStart(objectID(), audioDeviceIOProc) == kAudioHardwareNoError;
  listenProcessorOverload();
}

void AudioDevice::unlistenIO() {
  unlistenProcessorOverload();
  hardware.AudioDeviceStop(objectID(), audioDeviceIOProc);
  hardware.AudioDeviceRemoveIOProc(objectID(), audioDeviceIOProc);
}

std::vector<std::unique_ptr<AudioStream>> AudioDevice::streamsForScope(uint32_t scope) const {
  std::vector<std::unique_ptr<AudioStream>> streams;
  for (const AudioObjectID id : getArrayOfIDsProperty({kAudioDevicePropertyStreams, scope}))
    streams.push_back(std::make_unique<AudioStream>(hardware, id));
  return streams;
}

std::vector<uint32_t> AudioDevice::streamConfigurationForScope(uint32_t scope) const {
  std::vector<uint32_t> channels;
  const auto list = getAudioBufferListProperty(configuration(scope));
  for (uint32_t i = 0; list != nullptr && i < list->mNumberBuffers; i++)
    channels.push_back(list->mBuffers[i].mNumberChannels);
  return channels;
}

} // namespace vurl
