// The audio hardware as a tree of numbered objects with addressed properties: what every service looks like from
// above. Reading, setting and listening belong to the main thread; the I/O proc runs on the service's own thread.
// HardwareModel implements this for all services; next, AudioObject wraps it.
#pragma once

#include "engine/AudioIO.h"

#include <compare>
#include <cstdint>

namespace vurl {

/// The 32-bit value of a four-character code, the first character in the highest byte.
constexpr uint32_t fourCharCode(const char (&code)[5]) noexcept {
  uint32_t value = 0;
  for (int i = 0; i < 4; i++) value = value << 8 | static_cast<unsigned char>(code[i]);
  return value;
}

/// Number of the system, a device or a stream; never used again for another one.
using AudioObjectID = uint32_t;

/// What is asked of an object: the property, the side of the device, and the element of it.
struct AudioObjectPropertyAddress {
  uint32_t mSelector = 0;
  uint32_t mScope = 0;
  uint32_t mElement = 0;
  auto operator<=>(const AudioObjectPropertyAddress&) const = default;
};

/// Values from `mMinimum` to `mMaximum`, both included.
struct AudioValueRange {
  double mMinimum = 0;
  double mMaximum = 0;
  bool operator==(const AudioValueRange&) const = default;
};

/// The data of the properties that name a source: a source id goes in, its name comes out.
struct AudioValueTranslation {
  const void* mInputData = nullptr; ///< a uint32_t
  uint32_t mInputDataSize = 0;
  void* mOutputData = nullptr; ///< a std::string
  uint32_t mOutputDataSize = 0;
};

inline constexpr AudioObjectID kAudioObjectSystemObject = 1;
inline constexpr AudioObjectID kAudioObjectUnknown = 0;
inline constexpr uint32_t kAudioObjectPropertyElementMaster = 0;

/// Matches every selector, scope or element when listening.
inline constexpr uint32_t kAudioObjectPropertySelectorWildcard = fourCharCode("****");
inline constexpr uint32_t kAudioObjectPropertyScopeWildcard = fourCharCode("****");
inline constexpr uint32_t kAudioObjectPropertyElementWildcard = 0xFFFFFFFF;

inline constexpr uint32_t kAudioObjectPropertyScopeGlobal = fourCharCode("glob");
inline constexpr uint32_t kAudioDevicePropertyScopeInput = fourCharCode("inpt");
inline constexpr uint32_t kAudioDevicePropertyScopeOutput = fourCharCode("outp");

/// Selectors, with the type of the data in each.
enum AudioPropertySelector : uint32_t {
  kAudioObjectPropertyName = fourCharCode("lnam"),                         ///< std::string
  kAudioObjectPropertyManufacturer = fourCharCode("lmak"),                 ///< std::string
  kAudioDevicePropertyStreams = fourCharCode("stm#"),                      ///< AudioObjectID[]
  kAudioDevicePropertyStreamConfiguration = fourCharCode("slay"),          ///< AudioBufferList, then its AudioBuffer[]
  kAudioDevicePropertyAvailableNominalSampleRates = fourCharCode("nsr#"),  ///< AudioValueRange[], Hz
  kAudioDevicePropertyNominalSampleRate = fourCharCode("nsrt"),            ///< double, Hz
  kAudioDevicePropertyDataSources = fourCharCode("ssc#"),                  ///< uint32_t[]
  kAudioDevicePropertyDataSource = fourCharCode("ssrc"),                   ///< uint32_t
  kAudioDevicePropertyDataSourceNameForIDCFString = fourCharCode("lscn"),  ///< AudioValueTranslation
  kAudioDevicePropertyClockSources = fourCharCode("csc#"),                 ///< uint32_t[]
  kAudioDevicePropertyClockSource = fourCharCode("csrc"),                  ///< uint32_t
  kAudioDevicePropertyClockSourceNameForIDCFString = fourCharCode("lcsn"), ///< AudioValueTranslation
  kAudioDevicePropertyBufferFrameSizeRange = fourCharCode("fsz#"),         ///< AudioValueRange, frames
  kAudioDevicePropertyBufferFrameSize = fourCharCode("fsiz"),              ///< uint32_t, frames
  kAudioDeviceProcessorOverload = fourCharCode("over"),                    ///< notified only
  kAudioHardwarePropertyDevices = fourCharCode("dev#"),                    ///< AudioObjectID[]
  kAudioHardwarePropertySleepingIsAllowed = fourCharCode("slep"),          ///< uint32_t, 0 or 1
  kAudioHardwarePropertyRunLoop = fourCharCode("rnlp"),                    ///< RunLoop*, set only
};

/// Results of a call; 0 is success.
enum AudioHardwareStatus : OSStatus {
  kAudioHardwareNoError = 0,
  kAudioHardwareUnknownPropertyError = fourCharCode("who?"),
  kAudioHardwareBadObjectError = fourCharCode("!obj"),
  kAudioHardwareBadPropertySizeError = fourCharCode("!siz"),
  kAudioHardwareIllegalOperationError = fourCharCode("nope"),
  kAudioHardwareBadDeviceError = fourCharCode("!dev"),
};

/// Told of changed properties: one call for each change, with all addresses that changed. The result is ignored.
using AudioObjectPropertyListenerProc = OSStatus (*)(AudioObjectID object, uint32_t nr_addresses,
                                                     const AudioObjectPropertyAddress* addresses, void* client_data);

/// One I/O cycle. Thread: the service's I/O thread; must not allocate, lock, log or throw.
using AudioDeviceIOProc = OSStatus (*)(AudioObjectID device, const AudioTimeStamp* now,
                                       const AudioBufferList* input_data, const AudioTimeStamp* input_time,
                                       AudioBufferList* output_data, const AudioTimeStamp* output_time,
                                       void* client_data);

/// Property data is passed as raw bytes of the type listed beside its selector. A text is a std::string that the caller
/// has constructed; its size is sizeof(std::string). In a buffer list the AudioBuffer entries follow the head in the
/// same block, and the reader sets `mBuffers` to them. All calls: main thread.
class AudioHardware {
public:
  virtual ~AudioHardware() = default;

  /// Logs what there is to know about the object.
  virtual void AudioObjectShow(AudioObjectID object) const = 0;

  virtual bool AudioObjectHasProperty(AudioObjectID object, const AudioObjectPropertyAddress& address) const = 0;

  /// Stores the bytes that the property has now in `size`.
  virtual OSStatus AudioObjectGetPropertyDataSize(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                                  uint32_t& size) const = 0;

  /// Reads the property into the `size` bytes at `data`, and stores the bytes read in `size`. A list is cut off where
  /// `data` ends; any other value needs its full size.
  virtual OSStatus AudioObjectGetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                              uint32_t& size, void* data) const = 0;

  /// Asks for a new value. The change is notified when it has come about.
  virtual OSStatus AudioObjectSetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                              uint32_t size, const void* data) = 0;

  /// Registers `listener` with `client_data` for the property, which the object need not have. Registering the same
  /// again changes nothing.
  virtual OSStatus AudioObjectAddPropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                                  AudioObjectPropertyListenerProc listener, void* client_data) = 0;

  /// Ends what was registered with the same four arguments; no call follows, not even of a change made before. Works
  /// for objects that are gone, too.
  virtual OSStatus AudioObjectRemovePropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                                     AudioObjectPropertyListenerProc listener, void* client_data) = 0;

  /// Installs the I/O proc of a device, which has room for one.
  virtual OSStatus AudioDeviceAddIOProc(AudioObjectID device, AudioDeviceIOProc proc, void* client_data) = 0;

  /// Starts cycles into the installed proc.
  virtual OSStatus AudioDeviceStart(AudioObjectID device, AudioDeviceIOProc proc) = 0;

  /// Stops the cycles: when this returns none is under way and none follows.
  virtual OSStatus AudioDeviceStop(AudioObjectID device, AudioDeviceIOProc proc) = 0;

  /// Takes the I/O proc out, stopping it if need be.
  virtual OSStatus AudioDeviceRemoveIOProc(AudioObjectID device, AudioDeviceIOProc proc) = 0;
};

} // namespace vurl
