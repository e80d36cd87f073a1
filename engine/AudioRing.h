// The capture ring: the last 2^20 samples of up to 64 channels, between the device's I/O cycle and everything else.
// The I/O thread copies input into the ring and mixes the ring into the outputs; the processing thread takes blocks out
// (recording) and puts blocks in (playback) and moves the positions; the main thread sets routing, rates and sources.
// Nothing is locked: each position has one writer, and the distances kept between them do the rest.
// Next: engine/SampleFormat.h (blocks), engine/AudioIO.h (one cycle's records), engine/ChannelMask.h (sets of
// channels).
#pragma once

#include "engine/AudioIO.h"
#include "engine/ChannelMask.h"
#include "engine/CycleWatch.h"
#include "engine/LevelMeter.h"
#include "engine/PullMenu.h"
#include "platform/UserDefaults.h"
#include "platform/WallClock.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace vurl {

/// Where the time of a take's first sample comes from, as stored in the setting "time_source".
enum TimeSource : int32_t {
  ZERO = 0,                 ///< every take starts at 0
  SESSION = 1,              ///< samples since the ring was made
  TIME_OF_DAY = 2,          ///< the computer's local time of day
  LTC = 3,                  ///< timecode heard on a ring channel
  COREAUDIO_SMPTE = 4,      ///< the timecode in the device's input time stamp
  COREAUDIO_WORD_CLOCK = 5, ///< the word-clock time in the device's input time stamp
};

class AudioRing {
public:
  static constexpr uint32_t kMaxChannels = 64;
  static constexpr uint32_t kRingSamples = 1U << 20;             ///< samples kept of each channel
  static constexpr uint32_t kRingMask = kRingSamples - 1;        ///< position & kRingMask is the index of its cell
  static constexpr int64_t kNoBorder = INT64_MIN;                ///< border position before any was set
  static constexpr double kPreRecordLimit = kRingSamples * 0.80; ///< samples that pre-record may take of the ring

  /// Takes the settings "nr_channels", "monitoring", "time_source", "frame_rate", "pre_record_time", "pull" and the
  /// routing as they are, allocates the channels, and follows the settings from then on. `pull_menu` may be null.
  /// `defaults` and `pull_menu` outlive the ring.
  AudioRing(UserDefaults& defaults, WallClock clock, PullMenu* pull_menu);

  /// Frees the channels. No I/O cycle may be under way.
  ~AudioRing();
  AudioRing(const AudioRing&) = delete;
  AudioRing& operator=(const AudioRing&) = delete;

  // Channels

  /// Allocates the missing buffers among channels 0 to n - 1 (at most 64): page-aligned, locked into memory, silent. A
  /// failure is printed to standard error and the channel works on without a lock, or, without memory, stays silent.
  /// How to allow the lock is told once. Thread: that of setNrChannels(). Not real-time.
  void allocateChannels(uint32_t n);

  /// Sets the number of active channels, limited to 0 to 64, allocating first when it grows; a smaller count keeps its
  /// buffers. While a take is open the count must stand: the settings' count comes in through applyWantedChannels().
  /// Thread: processing (the constructor before that).
  void setNrChannels(int32_t n);
  uint32_t nrChannels() const noexcept { return io.nr_channels.load(std::memory_order_acquire); }

  /// Makes the count last set in "nr_channels" the number of active channels. Called by the file engine while it is
  /// idle and right before it opens a take, so that a take keeps its count. Thread: processing.
  void applyWantedChannels();

  // Rates, monitoring, pre-record. Getters: any thread.

  /// Code of the timecode's frame rate, see timecode/ltc.h.
  int32_t frameRate() const noexcept { return frame_rate.load(std::memory_order_acquire); }
  void setFrameRate(int32_t code) noexcept { frame_rate.store(code, std::memory_order_release); }

  /// Seconds that a take reaches back before its start.
  int32_t preRecordTime() const noexcept { return pre_record_time.load(std::memory_order_acquire); }
  void setPreRecordTime(int32_t seconds) noexcept { pre_record_time.store(seconds, std::memory_order_release); }

  /// 0 none, 1 a thousandth down, 2 a thousandth up; any other code as 0. Sets adjustedSampleRate().
  int32_t pull() const noexcept { return pull_code.load(std::memory_order_acquire); }
  void setPull(int32_t code) noexcept;

  /// The device's nominal rate in Hz, 0 while there is no device. Setting it also sets adjustedSampleRate() and fills
  /// the pull menu anew. Thread: main.
  int32_t sampleRate() const noexcept { return sample_rate.load(std::memory_order_acquire); }
  void setSampleRate(int32_t rate);

  /// The rate after pull, in Hz: the rate of takes and of all time arithmetic.
  int32_t adjustedSampleRate() const noexcept { return io.adjusted_sample_rate.load(std::memory_order_acquire); }

  /// Whether the outputs carry the ring while nothing is played back.
  bool monitoring() const noexcept { return io.monitoring.load(std::memory_order_acquire); }
  void setMonitoring(bool on) noexcept { io.monitoring.store(on, std::memory_order_release); }

  // Positions, in samples since the ring was made. Getters: any thread.

  /// First sample of the I/O cycle to come. Written by the I/O thread.
  int64_t devicePosition() const noexcept { return io.device_position.load(std::memory_order_acquire); }
  /// Next sample to be recorded; never beyond the device. Written by the processing thread.
  int64_t recordingPosition() const noexcept { return io.recording_position.load(std::memory_order_acquire); }
  /// Next sample to be filled with a take's sound; beyond the device while there is something to play. Written by the
  /// processing thread.
  int64_t playbackPosition() const noexcept { return io.playback_position.load(std::memory_order_acquire); }
  /// Samples of the last I/O cycle; one that is under way has most likely as many. Written by the I/O thread.
  uint32_t cycleLength() const noexcept { return io.cycle_length.load(std::memory_order_acquire); }
  /// Where the take in hand ends, or kNoBorder. Written by the main thread.
  int64_t borderPosition() const noexcept { return border_position.load(std::memory_order_acquire); }

  /// Thread: processing.
  void setPlaybackPosition(int64_t position) noexcept;
  /// Sets the playback position, and keeps what the ring holds before it from the outputs: the device may still have
  /// to pass cells there that nobody has filled. Thread: processing.
  void startPlaybackAt(int64_t position) noexcept;
  /// Thread: main.
  void setBorderPosition(int64_t position) noexcept { border_position.store(position, std::memory_order_release); }
  /// Drops what is still to be played: the next cycle is a recording one. Thread: processing.
  void abortPlayback() noexcept { startPlaybackAt(devicePosition()); }
  /// Moves the recording position on by `n` samples; what lies before it may be overwritten. Thread: processing.
  void skipRecordingRingWithLength(uint32_t n) noexcept;
  /// Moves the playback position on by `n` samples; what lies before it may be played. Thread: processing.
  void skipPlaybackRingWithLength(uint32_t n) noexcept;

  /// Drags the recording position behind the device by at most the pre-record time, or 838,860 samples if that is
  /// less; it never moves back. Called on every pass of the file engine outside a take. Thread: processing.
  void idleRecord() noexcept;

  // Blocks. Thread: processing. Wait-free.

  /// Copies the next `length` samples of the active channels in `channels` out of the ring, interleaved in ascending
  /// order in format `depth` (engine/SampleFormat.h), from recordingPosition() on. Does not move the position.
  /// Returns the bytes written: length x tracks x sample size.
  int32_t fillBuffer(uint8_t* buffer, uint32_t length, ChannelMask channels, uint32_t depth) const noexcept;

  /// Copies `length` interleaved frames of the active channels in `channels` into the ring, from playbackPosition()
  /// on. Does not move the position.
  void readBuffer(const uint8_t* buffer, uint32_t length, ChannelMask channels, uint32_t depth) noexcept;

  /// Writes `n` samples of silence to every active channel, from `ahead` samples behind playbackPosition() on. Does not
  /// move the position.
  void clearWithLength(uint32_t n, uint32_t ahead = 0) noexcept;

  /// The kRingSamples cells of a channel below kMaxChannels, null while it has none. They are being written while they
  /// are read, but for the stretch between recordingPosition() and devicePosition(). Thread: any but the I/O thread.
  const float* channelBuffer(uint32_t channel) const noexcept { return cells(channel); }

  // The device

  /// One I/O cycle: input into the ring, its levels measured, ring added to the outputs, device position moved on.
  /// While the playback position lies ahead the outputs come first, then the levels: they play and measure what stands
  /// in the ring before input overwrites it. Buffers
  /// may be interleaved or not; one that is missing or too short counts as silence, and is never passed over its end.
  /// Returns 0. Thread: I/O. Wait-free: neither allocates nor locks nor logs nor throws.
  OSStatus ioCycle(const AudioBufferList& input_data, const AudioTimeStamp& input_time,
                   const AudioBufferList& output_data, const AudioTimeStamp& output_time) noexcept;

  // Incidents

  /// Notes what the main thread has found out about the sound that arrives. Thread: main.
  void noteIncident(const Incident& incident) noexcept { found_by_main.add(incident); }

  /// Takes an incident that has not been taken yet, in no order; false when there is none. Thread: processing.
  bool takeIncident(Incident& incident) noexcept { return watch.queue.take(incident) || found_by_main.take(incident); }

  /// How many incidents there were no room for; they are lost but for this number, which only grows. Any thread.
  uint64_t nrUnlistedIncidents() const noexcept { return watch.queue.nrDropped() + found_by_main.nrDropped(); }

  // Levels of the ring channels, see engine/LevelMeter.h; any channel number. Thread: main.

  float peakForChannel(uint32_t channel) noexcept { return io.levels.peakForChannel(channel); }
  float rmsForChannel(uint32_t channel) noexcept { return io.levels.rmsForChannel(channel); }

  // Time

  /// A code of TimeSource; codes beyond the list give time 0 and no lock. Setting it reads the clock when it is
  /// TIME_OF_DAY. Thread: main; the getter any.
  int8_t timeSource() const noexcept { return io.time_source.load(std::memory_order_acquire); }
  void setTimeSource(int8_t source);

  /// The time at ring position `position`, in samples at the adjusted rate: since midnight for sources that know the
  /// day, and negative for a position before midnight. With ZERO and SESSION it also renews the offset that later
  /// sources start from: a source that has told nothing yet goes on from the one before. Thread: main or processing.
  int64_t timestampAt(uint64_t position) noexcept;
  int64_t timestampAtDevicePosition() noexcept { return timestampAt(static_cast<uint64_t>(devicePosition())); }
  int64_t timestampAtRecordingPosition() noexcept { return timestampAt(static_cast<uint64_t>(recordingPosition())); }

  /// Whether the time source tells the time at present: a device by its last cycle, LTC while its last readings were
  /// good for the most part. What one source told never counts as another's lock. Any thread.
  bool timecodeLock() const noexcept;

  /// With TIME_OF_DAY, sets the time of the device position to the computer's local time of day; otherwise does
  /// nothing. From then on the device's clock alone counts. Thread: main; after every change at the device.
  void parseTODTime();

  /// With LTC, reads the timecode before the device position from one ring channel; otherwise does nothing. While
  /// nothing is locked each call tries the next channel. There is no lock until 192,000 samples of input lie behind
  /// the last playback. Thread: main; a few times a second.
  void parseLTCTime() noexcept;

private:
  /// All that the I/O thread touches. Its rules: plain acquire loads and release stores, no read-modify-write; each
  /// field has one writing thread, by which they are grouped. Cells have no order of their own: whoever has read or
  /// written some stores its position afterwards, and whoever is to touch them next loads that position first.
  struct Shared {
    // I/O thread
    std::atomic<uint32_t> cycle_length{0};
    alignas(64) std::atomic<int64_t> device_position{0};
    std::atomic<int64_t> device_timestamp{0};     ///< as `timestamp`, by the device's own clock
    std::atomic<int8_t> device_source{ZERO};      ///< which source `device_timestamp` is from; ZERO when from none
    std::atomic<int8_t> device_lock_source{ZERO}; ///< which source the last cycle told; ZERO when none

    // processing thread; a buffer is stored before a count that includes it
    alignas(64) std::atomic<int64_t> recording_position{0};
    std::atomic<int64_t> playback_position{0};
    std::atomic<int64_t> playback_start{0}; ///< outputs are silent before it; never beyond `playback_position`
    std::atomic<uint32_t> nr_channels{0};
    std::array<std::atomic<float*>, kMaxChannels> ring{};

    // main thread
    alignas(64) std::array<std::atomic<int32_t>, kMaxChannels> inputs{};
    std::array<std::atomic<int32_t>, kMaxChannels> outputs{};
    std::atomic<int32_t> adjusted_sample_rate{0};
    std::atomic<int8_t> time_source{ZERO};
    std::atomic<bool> monitoring{false};

    // I/O and main thread, by rules of its own
    alignas(64) LevelMeter levels;
  };
  static_assert(std::atomic<int64_t>::is_always_lock_free && std::atomic<int32_t>::is_always_lock_free &&
                std::atomic<float*>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

  float* cells(uint32_t channel) const noexcept { return io.ring[channel].load(std::memory_order_acquire); }
  uint32_t findCells(ChannelMask channels, std::array<float*, kMaxChannels>& found) const noexcept;
  void inputCycle(const AudioBufferList& input_data, int64_t position, uint32_t n) noexcept;
  void outputCycle(const AudioBufferList& output_data, int64_t position, uint32_t n) noexcept;
  void levelsCycleForNrSamples(uint32_t n) noexcept;

  void observe(const std::string& key, void (AudioRing::*load)());
  void bind(const char* key, void (AudioRing::*load)());
  int32_t setting(const std::string& key) const;
  void parseCATime(const AudioTimeStamp& input_time) noexcept;
  int64_t timeOffset() const noexcept;
  void renewTimestamp(int8_t source, int64_t offset) noexcept;
  void loadNrChannels();
  void loadMonitoring();
  void loadTimeSource();
  void loadFrameRate();
  void loadPreRecordTime();
  void loadPull();
  void loadRouting();

  UserDefaults& defaults;
  WallClock clock;
  PullMenu* pull_menu;
  bool told_of_locks = false; ///< Thread: processing.
  Shared io;
  std::atomic<int32_t> wanted_channels{0};
  std::atomic<int64_t> border_position{kNoBorder};
  std::atomic<int32_t> pre_record_time{0};
  std::atomic<int32_t> pull_code{0};
  std::atomic<int32_t> sample_rate{0};
  std::atomic<int32_t> frame_rate{0};

  /// Time = position + `timestamp`, unless the device tells it. Set by the main thread; for ZERO and SESSION by the
  /// processing thread too, see renewTimestamp().
  std::atomic<int64_t> timestamp{0};
  std::atomic<int32_t> timecode_lock{0}; ///< confidence in the LTC, 0 to 5. Written by the main thread.
  uint32_t timecode_channel_nr = 0;      ///< channel searched for LTC. Main thread.

  CycleWatch watch;             ///< I/O thread
  TimeJumps device_time_jumps;  ///< I/O thread
  int8_t watched_source = ZERO; ///< by `device_time_jumps`
  TimeJumps ltc_jumps;          ///< main thread
  int64_t ltc_losses = 0;       ///< lost samples when LTC was last read. Main thread.
  int64_t ltc_settles_at = 0;   ///< ring position from which LTC is read from behind the last loss. Main thread.
  IncidentQueue found_by_main;
  std::vector<UserDefaults::ObservationHandle> observations; ///< last: ends first
};

} // namespace vurl
