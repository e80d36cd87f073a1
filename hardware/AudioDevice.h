// One audio device: its properties, the listeners that follow its delegate, and its I/O cycle, which it forwards to an
// I/O delegate. All calls belong to the main thread; audioDeviceIOProc() alone runs on the service's I/O thread.
// Destroying a device stops its I/O, then ends its listening. InputDevice owns the selected one.
#pragma once

#include "hardware/AudioIODelegate.h"
#include "hardware/AudioObject.h"
#include "hardware/AudioStream.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vurl {

/// Forwards one cycle to the I/O delegate of the AudioDevice in `client_data`. Thread: I/O. Wait-free. Returns 0.
OSStatus audioDeviceIOProc(AudioObjectID device, const AudioTimeStamp* now, const AudioBufferList* input_data,
                           const AudioTimeStamp* input_time, AudioBufferList* output_data,
                           const AudioTimeStamp* output_time, void* client_data) noexcept;

class AudioDevice final : public AudioObject {
public:
  using Address = AudioObjectPropertyAddress;
  using AudioObject::AudioObject;
  ~AudioDevice() override;

  /// Ends listening for the old delegate and listens for the new one: to the rates, the rate, the data and clock
  /// sources and those chosen, the input streams and their configuration.
  void setDelegate(AudioObjectDelegate* new_delegate) override;

  /// Stops the cycles into the old I/O delegate, and starts them into the new one (not owned; nullptr for none). When
  /// this returns the old one is no longer called.
  void setIODelegate(AudioIODelegate* new_delegate);

  /// Whether the device did not refuse to start its cycles, when there was last somebody to hand them to.
  bool hasStarted() const { return has_started; }

  /// Fresh wrappers of the streams on one side (input or output scope), in the service's order.
  std::vector<std::unique_ptr<AudioStream>> streamsForScope(uint32_t scope) const;

  /// The channels in each buffer of the I/O cycle on one side; empty when that is not known.
  std::vector<uint32_t> streamConfigurationForScope(uint32_t scope) const;

  // Sources are read on the input side but watched on the whole device.
  auto availableNominalSampleRates() const { return getArrayOfValueRangesProperty(kRates); } ///< Hz
  auto nominalSampleRate() const { return getFloatProperty(kRate); }                         ///< Hz
  auto dataSources() const { return getArrayOfIDsProperty(kDataSources); }
  auto dataSource() const { return getIDProperty(kDataSource); }
  auto dataSourceNameForID(uint32_t id) const { return translateString(kDataSourceName, id); }
  auto clockSources() const { return getArrayOfIDsProperty(kClockSources); }
  auto clockSource() const { return getIDProperty(kClockSource); }
  auto clockSourceNameForID(uint32_t id) const { return translateString(kClockSourceName, id); }
  auto bufferFrameSizeRange() const { return getValueRangeProperty(kSizeRange); } ///< frames
  auto bufferFrameSize() const { return getIntProperty(kSize); }                  ///< frames

  void setNominalSampleRate(double rate) { setFloatProperty(kRate, rate); }
  void setDataSource(uint32_t id) { setIDProperty(kDataSource, id); }
  void setClockSource(uint32_t id) { setIDProperty(kClockSource, id); }
  void setBufferFrameSize(uint32_t frames) { setIntProperty(kSize, frames); }

  void listenStreamsForScope(uint32_t scope) { listenForProperty({kAudioDevicePropertyStreams, scope}); }
  void unlistenStreamsForScope(uint32_t scope) { unlistenForProperty({kAudioDevicePropertyStreams, scope}); }
  void listenStreamConfigurationForScope(uint32_t scope) { listenForProperty(configuration(scope)); }
  void unlistenStreamConfigurationForScope(uint32_t scope) { unlistenForProperty(configuration(scope)); }
  void listenAvailableNominalSampleRates() { listenForProperty(kRates); }
  void unlistenAvailableNominalSampleRates() { unlistenForProperty(kRates); }
  void listenNominalSampleRate() { listenForProperty(kRate); }
  void unlistenNominalSampleRate() { unlistenForProperty(kRate); }
  void listenDataSources() { listenForProperty(watched(kDataSources)); }
  void unlistenDataSources() { unlistenForProperty(watched(kDataSources)); }
  void listenDataSource() { listenForProperty(watched(kDataSource)); }
  void unlistenDataSource() { unlistenForProperty(watched(kDataSource)); }
  void listenClockSources() { listenForProperty(watched(kClockSources)); }
  void unlistenClockSources() { unlistenForProperty(watched(kClockSources)); }
  void listenClockSource() { listenForProperty(watched(kClockSource)); }
  void unlistenClockSource() { unlistenForProperty(watched(kClockSource)); }
  void listenBufferFrameSizeRange() { listenForProperty(kSizeRange); }
  void unlistenBufferFrameSizeRange() { unlistenForProperty(kSizeRange); }
  void listenBufferFrameSize() { listenForProperty(kSize); }
  void unlistenBufferFrameSize() { unlistenForProperty(kSize); }
  void listenProcessorOverload() { listenForProperty(kOverload); }
  void unlistenProcessorOverload() { unlistenForProperty(kOverload); }

private:
  static constexpr uint32_t kGlobal = kAudioObjectPropertyScopeGlobal;
  static constexpr uint32_t kInput = kAudioDevicePropertyScopeInput;
  static constexpr Address kRates{kAudioDevicePropertyAvailableNominalSampleRates, kGlobal, 0};
  static constexpr Address kRate{kAudioDevicePropertyNominalSampleRate, kGlobal, 0};
  static constexpr Address kDataSources{kAudioDevicePropertyDataSources, kInput, 0};
  static constexpr Address kDataSource{kAudioDevicePropertyDataSource, kInput, 0};
  static constexpr Address kDataSourceName{kAudioDevicePropertyDataSourceNameForIDCFString, kInput, 0};
  static constexpr Address kClockSources{kAudioDevicePropertyClockSources, kInput, 0};
  static constexpr Address kClockSource{kAudioDevicePropertyClockSource, kInput, 0};
  static constexpr Address kClockSourceName{kAudioDevicePropertyClockSourceNameForIDCFString, kInput, 0};
  static constexpr Address kSizeRange{kAudioDevicePropertyBufferFrameSizeRange, kGlobal, 0};
  static constexpr Address kSize{kAudioDevicePropertyBufferFrameSize, kGlobal, 0};
  static constexpr Address kOverload{kAudioDeviceProcessorOverload, kGlobal, 0};

  static constexpr Address watched(const Address& read) { return {read.mSelector, kGlobal, read.mElement}; }
  static constexpr Address configuration(uint32_t scope) { return {kAudioDevicePropertyStreamConfiguration, scope, 0}; }

  friend OSStatus audioDeviceIOProc(AudioObjectID, const AudioTimeStamp*, const AudioBufferList*, const AudioTimeStamp*,
                                    AudioBufferList*, const AudioTimeStamp*, void*) noexcept;

  void listenIO();
  void unlistenIO();

  AudioIODelegate* io_delegate = nullptr; ///< written only while no cycle runs
  bool has_started = false;
};

} // namespace vurl
