#include "engine/AudioRing.h"

#include "engine/RingRuns.h"
#include "engine/SampleFormat.h"
#include "platform/Log.h"
#include "platform/RealTime.h"
#include "platform/Text.h"

#include <sys/mman.h>

#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <utility>

namespace vurl {

namespace {

constexpr size_t kChannelBytes = size_t{AudioRing::kRingSamples} * sizeof(float);
constexpr size_t kLockReserve = 1 << 20; ///< bytes that the user may still lock when the ring has what it wants

int32_t limited(int64_t value) noexcept {
  return static_cast<int32_t>(
      std::clamp<int64_t>(value, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()));
}

/// Whether the user may lock `kLockReserve` more: a JACK client that cannot lock its memory cannot be opened at all,
/// and the usual limit of a desktop's user is that of two channels.
bool isReserveLeft() {
  void* const reserve = mmap(nullptr, kLockReserve, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (reserve == MAP_FAILED) return false;
  const bool is_left = mlock(reserve, kLockReserve) == 0;
  munmap(reserve, kLockReserve);
  return is_left;
}

/// Returns whether `memory` is locked.
bool lockPages(void* memory) {
  const bool is_locked = mlock(memory, kChannelBytes) == 0;
  if (is_locked && isReserveLeft()) return true;
  if (is_locked) munlock(memory, kChannelBytes);
  errno = is_locked ? ENOMEM : errno;
  std::perror("Could not lock pages");
  return false;
}

/// Fresh pages of zeros, null without memory. A page lies between two channels, for cells of the same index that stand
/// a power of two apart would push each other out of the processor's caches.
void* mapChannel() {
  const size_t size = kChannelBytes + static_cast<size_t>(sysconf(_SC_PAGESIZE));
  void* const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return memory == MAP_FAILED ? nullptr : memory;
}

float* allocateChannel(bool& is_locked) {
  void* const memory = mapChannel();
  if (memory == nullptr) {
    std::perror("Could not alloc pages");
    return nullptr;
  }
  is_locked = lockPages(memory);
  if (!is_locked) std::memset(memory, 0, kChannelBytes); // has the system give the pages now, as the lock does
  return static_cast<float*>(memory);
}

} // namespace

AudioRing::AudioRing(UserDefaults& defaults_, WallClock clock_, PullMenu* pull_menu_)
    : defaults(defaults_), clock(std::move(clock_)), pull_menu(pull_menu_) {
  bind("nr_channels", &AudioRing::loadNrChannels);
  bind("monitoring", &AudioRing::loadMonitoring);
  bind("time_source", &AudioRing::loadTimeSource);
  bind("frame_rate", &AudioRing::loadFrameRate);
  bind("pre_record_time", &AudioRing::loadPreRecordTime);
  bind("pull", &AudioRing::loadPull);
  for (uint32_t channel = 0; channel < kMaxChannels; ++channel) {
    observe(text("input_for_channel%02i", channel), &AudioRing::loadRouting);
    observe(text("output_for_channel%02i", channel), &AudioRing::loadRouting);
  }
  loadRouting();
  applyWantedChannels();
}

AudioRing::~AudioRing() {
  for (const auto& channel : io.ring) {
    float* const memory = channel.load(std::memory_order_acquire);
    if (memory == nullptr) continue;
    munmap(memory, kChannelBytes + static_cast<size_t>(sysconf(_SC_PAGESIZE)));
  }
}

// Settings

void AudioRing::observe(const std::string& key, void (AudioRing::*load)()) {
  observations.push_back(defaults.observe(key, [this, load](const std::string&) { (this->*load)(); }));
}

void AudioRing::bind(const char* key, void (AudioRing::*load)()) {
  observe(key, load);
  (this->*load)();
}

int32_t AudioRing::setting(const std::string& key) const { return limited(defaults.integerForKey(key)); }

void AudioRing::loadNrChannels() { wanted_channels.store(setting("nr_channels"), std::memory_order_release); }
void AudioRing::loadMonitoring() { setMonitoring(defaults.boolForKey("monitoring")); }
void AudioRing::loadTimeSource() { setTimeSource(static_cast<int8_t>(setting("time_source"))); }
void AudioRing::loadFrameRate() { setFrameRate(setting("frame_rate")); }
void AudioRing::loadPreRecordTime() { setPreRecordTime(setting("pre_record_time")); }
void AudioRing::loadPull() { setPull(setting("pull")); }

/// Any change of a route reloads the whole table.
void AudioRing::loadRouting() {
  for (uint32_t channel = 0; channel < kMaxChannels; ++channel) {
    io.inputs[channel].store(setting(text("input_for_channel%02i", channel)), std::memory_order_release);
    io.outputs[channel].store(setting(text("output_for_channel%02i", channel)), std::memory_order_release);
  }
}

void AudioRing::setPull(int32_t code) noexcept {
  pull_code.store(code, std::memory_order_release);
  const int64_t rate = sampleRate();
  const int64_t offset = code == 1 ? -(rate / 1000) : code == 2 ? rate / 1000 : 0;
  io.adjusted_sample_rate.store(limited(rate + offset), std::memory_order_release);
}

void AudioRing::setSampleRate(int32_t rate) {
  sample_rate.store(rate, std::memory_order_release);
  setPull(pull());
  if (pull_menu == nullptr) return;
  const auto item = [](int64_t hertz, int32_t tag) { return PullMenu::Item{text("%i Hz", hertz), tag}; };
  const int64_t offset = rate / 1000;
  pull_menu->setPullItems({item(rate - offset, 1), item(rate, 0), item(rate + offset, 2)});
}

// Channels

void AudioRing::allocateChannels(uint32_t n) {
  for (uint32_t channel = 0; channel < std::min(n, kMaxChannels); ++channel) {
    if (cells(channel) != nullptr) continue;
    bool is_locked = true;
    io.ring[channel].store(allocateChannel(is_locked), std::memory_order_release);
    if (is_locked || std::exchange(told_of_locks, true)) continue;
    warn("The ring's memory is not locked: when memory runs short, sound may be lost. %s", realTimeAdvice());
  }
}

void AudioRing::setNrChannels(int32_t n) {
  const auto count = static_cast<uint32_t>(std::clamp<int32_t>(n, 0, kMaxChannels));
  if (count > nrChannels()) allocateChannels(count);
  io.nr_channels.store(count, std::memory_order_release);
}

void AudioRing::applyWantedChannels() { setNrChannels(wanted_channels.load(std::memory_order_acquire)); }

// Positions

void AudioRing::setPlaybackPosition(int64_t position) noexcept {
  io.playback_position.store(position, std::memory_order_release);
}

void AudioRing::startPlaybackAt(int64_t position) noexcept {
  io.playback_start.store(position, std::memory_order_release);
  setPlaybackPosition(position);
}

void AudioRing::skipRecordingRingWithLength(uint32_t n) noexcept {
  io.recording_position.store(recordingPosition() + n, std::memory_order_release);
}

void AudioRing::skipPlaybackRingWithLength(uint32_t n) noexcept { setPlaybackPosition(playbackPosition() + n); }

void AudioRing::idleRecord() noexcept {
  const int64_t wanted = int64_t{preRecordTime()} * adjustedSampleRate();
  const int64_t window = std::clamp<int64_t>(wanted, 0, static_cast<int64_t>(kPreRecordLimit));
  const int64_t position = std::max(recordingPosition(), devicePosition() - window);
  io.recording_position.store(position, std::memory_order_release);
}

// Blocks

/// The cells of the active channels in `channels`, in ascending order; returns how many there are. A channel without
/// memory counts, as null.
uint32_t AudioRing::findCells(ChannelMask channels, std::array<float*, kMaxChannels>& found) const noexcept {
  const uint32_t nr_channels = nrChannels();
  uint32_t nr_found = 0;
  for (uint64_t left = BitNumbers(channels); left != 0; left &= left - 1) {
    const auto channel = static_cast<uint32_t>(std::countr_zero(left));
    if (channel >= nr_channels) break;
    found[nr_found++] = cells(channel);
  }
  return nr_found;
}

int32_t AudioRing::fillBuffer(uint8_t* buffer, uint32_t length, ChannelMask channels, uint32_t depth) const noexcept {
  // What lies below the device position was stored before it: this load makes those cells safe to read.
  (void)devicePosition();
  std::array<float*, kMaxChannels> found;
  const uint32_t tracks = findCells(channels, found);
  const size_t stride = size_t{tracks} * sampleSize(depth);
  forEachRun(recordingPosition(), length, [&](uint32_t index, uint32_t done, uint32_t count) {
    std::array<const float*, kMaxChannels> run;
    for (uint32_t i = 0; i < tracks; ++i) run[i] = found[i] == nullptr ? nullptr : found[i] + index;
    interleave(run.data(), tracks, count, buffer + done * stride, depth);
  });
  return static_cast<int32_t>(stride * length);
}

void AudioRing::readBuffer(const uint8_t* buffer, uint32_t length, ChannelMask channels, uint32_t depth) noexcept {
  (void)devicePosition(); // the I/O thread is done with the cells that lie behind it
  std::array<float*, kMaxChannels> found;
  const uint32_t tracks = findCells(channels, found);
  const size_t stride = size_t{tracks} * sampleSize(depth);
  forEachRun(playbackPosition(), length, [&](uint32_t index, uint32_t done, uint32_t count) {
    std::array<float*, kMaxChannels> run;
    for (uint32_t i = 0; i < tracks; ++i) run[i] = found[i] == nullptr ? nullptr : found[i] + index;
    deinterleave(buffer + done * stride, run.data(), tracks, count, depth);
  });
}

void AudioRing::clearWithLength(uint32_t n, uint32_t ahead) noexcept {
  (void)devicePosition(); // as in readBuffer()
  const uint32_t nr_channels = nrChannels();
  forEachRun(playbackPosition() + ahead, n, [&](uint32_t index, uint32_t, uint32_t count) {
    for (uint32_t channel = 0; channel < nr_channels; ++channel) {
      if (float* const ring = cells(channel)) std::fill_n(ring + index, count, 0.0F);
    }
  });
}

} // namespace vurl
