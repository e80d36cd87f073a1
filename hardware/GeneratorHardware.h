// An audio device that needs no hardware: 64 inputs that carry tones and, the last, linear timecode, or the device's
// own outputs, paced by the computer's clock or stepped by a test. All calls belong to the main thread; the cycles run
// on a thread of the generator's own, or within step(). What a cycle does is GeneratorCycle.
#pragma once

#include "hardware/HardwareModel.h"
#include "platform/RealTime.h"
#include "platform/RunLoop.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>

namespace vurl {

class GeneratorCycle;

class GeneratorHardware final : public AudioService {
public:
  static constexpr const char* kDisplayName = "Vurl - Test Generator"; ///< "manufacturer - name"
  static constexpr uint32_t kNrStreams = 8;
  static constexpr uint32_t kChannelsPerStream = 8; ///< interleaved in one buffer
  static constexpr uint32_t kNrChannels = kNrStreams * kChannelsPerStream;
  static constexpr double kAmplitude = 0.1; ///< of tones and timecode: -20 dBFS

  enum DataSource : uint32_t { kTones = 1, kLoopBack = 2 };
  enum ClockSource : uint32_t { kInternal = 1, kExternal = 2 };

  /// What the external word clock is ahead of the generator's own count, in samples.
  static constexpr uint64_t kWordClockOffset = 172'800'000;

  /// The input that carries LTC (SMPTE ST 12-1) instead of a tone. It tells the time of the external clock, whichever
  /// clock is chosen; silent at frame rates that LTC cannot carry (60 and 59.94).
  static constexpr uint32_t kTimecodeChannel = kNrChannels - 1;

  /// The tone of a channel (0 to 62) in Hz.
  static constexpr uint32_t pitch(uint32_t channel) { return 100 * (channel + 1); }

  /// Nothing is published yet. `model` and `run_loop` must outlive this object.
  GeneratorHardware(HardwareModel& model, RunLoop& run_loop);
  ~GeneratorHardware() override;

  /// Shows the generator in the list of devices, behind all others, or takes it out.
  void setPublished(bool published);

  /// The id while published, else kAudioObjectUnknown.
  AudioObjectID device() const { return device_id; }

  /// Whether the clock paces the cycles (as at first) or step() does. Takes effect at the next start.
  void setPaced(bool paced) { is_paced = paced; }

  /// Has the generator's thread run `prepare` before its first cycle. Takes effect at the next start.
  void setThreadPreparation(ThreadPreparation prepare) { prepare_thread = std::move(prepare); }

  /// Runs cycles on the calling thread, when the device has been started unpaced; otherwise does nothing.
  void step(int nr_cycles);

  /// FrameRate of the timecode: the LTC's, and the external clock's.
  void setFrameRate(int32_t frame_rate);

  OSStatus start(AudioObjectID device, const IOProc& new_io) override;
  void stop(AudioObjectID device) override;
  OSStatus setNominalSampleRate(AudioObjectID device, double rate) override;
  OSStatus setBufferFrameSize(AudioObjectID device, uint32_t frames) override;
  OSStatus setDataSource(AudioObjectID device, uint32_t id) override;
  OSStatus setClockSource(AudioObjectID device, uint32_t id) override;

private:
  DeviceDescription describe() const;
  void configure(uint32_t rate, uint32_t frames);
  void startThread();
  void stopThread();
  void pace();
  void reportLosses();

  HardwareModel& model;
  std::unique_ptr<GeneratorCycle> cycle;
  AudioObjectID device_id = kAudioObjectUnknown;
  bool is_paced = true;
  bool stepped = false; ///< started, waiting for step()
  IOProc io;            ///< no proc while stopped
  ThreadPreparation prepare_thread;
  std::thread thread;
  std::mutex mutex; ///< guards `stopping`
  std::condition_variable stop_asked;
  bool stopping = false;
  std::atomic<uint32_t> nr_losses = 0; ///< written by the pacing thread only
  uint32_t nr_losses_told = 0;
  RunLoop::Handle loss_timer;
};

} // namespace vurl
