// One object of the audio hardware, known by its number: typed reading and setting of properties, and listening on
// behalf of a delegate. A failure is logged and read as a neutral value. Thread: main, throughout. AudioDevice,
// AudioStream and AudioSystemObject build on it.
#pragma once

#include "hardware/AudioHardware.h"
#include "hardware/AudioObjectDelegate.h"

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vurl {

class RunLoop;

/// Sends the delegate in `client_data` (an AudioObjectDelegate*) one message for each address, in order; selectors
/// without a message are passed over. Returns 0.
OSStatus audioObjectListener(AudioObjectID object, uint32_t nr_addresses, const AudioObjectPropertyAddress* addresses,
                             void* client_data);

class AudioObject {
public:
  struct FreeBlock {
    void operator()(void* block) const noexcept { std::free(block); }
  };
  using BufferListBlock = std::unique_ptr<AudioBufferList, FreeBlock>;

  AudioObject(AudioHardware& audio_hardware, AudioObjectID object_id)
      : hardware(audio_hardware), audio_object_id(object_id) {}

  /// Classes that listen end that in their own destructor, by setDelegate(nullptr).
  virtual ~AudioObject() = default;
  AudioObject(const AudioObject&) = delete;
  AudioObject& operator=(const AudioObject&) = delete;

  /// Stores who is told of changes (not owned; nullptr for nobody). Classes with something to listen to move their
  /// listeners from the old delegate to the new one.
  virtual void setDelegate(AudioObjectDelegate* new_delegate) { delegate = new_delegate; }

  AudioObjectID objectID() const { return audio_object_id; }

  /// Logs what the service knows about the object.
  void show() const { hardware.AudioObjectShow(audio_object_id); }

  /// Nothing when the object has none or reading failed.
  std::optional<std::string> name() const;
  std::optional<std::string> manufacturer() const;

  double getFloatProperty(const AudioObjectPropertyAddress& address) const; ///< 0.0 on failure
  uint32_t getIntProperty(const AudioObjectPropertyAddress& address) const; ///< 0 on failure
  uint32_t getIDProperty(const AudioObjectPropertyAddress& address) const;  ///< 0xFFFFFFFF on failure
  std::optional<std::string> getStringProperty(const AudioObjectPropertyAddress& address) const;

  /// Empty on failure, and silently when the object has no such property.
  std::vector<AudioObjectID> getArrayOfIDsProperty(const AudioObjectPropertyAddress& address) const;

  /// Null on failure, and silently when the object has no such property.
  BufferListBlock getAudioBufferListProperty(const AudioObjectPropertyAddress& address) const;

  std::optional<std::vector<AudioValueRange>>
  getArrayOfValueRangesProperty(const AudioObjectPropertyAddress& address) const;
  std::optional<AudioValueRange> getValueRangeProperty(const AudioObjectPropertyAddress& address) const;

  /// The text that the property gives for `id`; nothing on failure.
  std::optional<std::string> translateString(const AudioObjectPropertyAddress& address, uint32_t id) const;

  void setIntProperty(const AudioObjectPropertyAddress& address, uint32_t value);
  void setFloatProperty(const AudioObjectPropertyAddress& address, double value);
  void setIDProperty(const AudioObjectPropertyAddress& address, uint32_t value);
  void setRunLoopRefProperty(const AudioObjectPropertyAddress& address, RunLoop* value);

  /// Starts and ends sending the present delegate the property's changes.
  void listenForProperty(const AudioObjectPropertyAddress& address);
  void unlistenForProperty(const AudioObjectPropertyAddress& address);

protected:
  AudioHardware& hardware;
  AudioObjectDelegate* delegate = nullptr;

private:
  /// Bytes of a property whose size is not known beforehand.
  struct RawData {
    std::unique_ptr<void, FreeBlock> bytes;
    uint32_t size = 0;
  };

  template <typename Value>
  bool read(const AudioObjectPropertyAddress& address, Value& value) const;
  template <typename Value>
  void write(const AudioObjectPropertyAddress& address, const Value& value, const char* reporter);
  std::optional<RawData> readRaw(const AudioObjectPropertyAddress& address, const char* reporter) const;
  template <typename Value>
  std::optional<std::vector<Value>> readArray(const AudioObjectPropertyAddress& address) const;

  const AudioObjectID audio_object_id;
};

} // namespace vurl
