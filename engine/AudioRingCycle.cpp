// The I/O thread's side of the ring. Nothing here may allocate, lock, log, make a system call or throw.
#include "engine/AudioRing.h"
#include "engine/RingRuns.h"

#include <algorithm>
#include <cstring>

namespace vurl {

namespace {

/// One device channel within a cycle's buffers.
struct Lane {
  float* first = nullptr; ///< null when there is nothing to read or write
  uint32_t stride = 0;    ///< floats from one sample to the next
  uint32_t frames = 0;    ///< samples that the buffer holds
};

/// Finds device channels in a buffer list. Channels asked for in ascending order cost one walk through the list in
/// all.
class LaneFinder {
public:
  explicit LaneFinder(const AudioBufferList& list_) noexcept : list(list_) {}

  /// The lane of device channel `channel`; an empty one when the device has no such channel.
  Lane find(int32_t channel) noexcept {
    if (channel < 0 || list.mBuffers == nullptr) return {};
    const auto wanted = static_cast<uint64_t>(channel);
    if (wanted < channels_before) {
      buffer_nr = 0;
      channels_before = 0;
    }
    for (; buffer_nr < list.mNumberBuffers; ++buffer_nr) {
      const AudioBuffer& buffer = list.mBuffers[buffer_nr];
      if (wanted < channels_before + buffer.mNumberChannels) return lane(buffer, wanted - channels_before);
      channels_before += buffer.mNumberChannels;
    }
    return {};
  }

private:
  static Lane lane(const AudioBuffer& buffer, uint64_t offset) noexcept {
    const uint32_t frames = buffer.mDataByteSize / buffer.mNumberChannels / uint32_t{sizeof(float)};
    if (buffer.mData == nullptr || frames == 0) return {};
    return {static_cast<float*>(buffer.mData) + offset, buffer.mNumberChannels, frames};
  }

  const AudioBufferList& list;
  uint32_t buffer_nr = 0;
  uint64_t channels_before = 0; ///< channels of the buffers before `buffer_nr`
};

/// The cycle's samples by the shape of the list's first buffer. Returns false when the list has no buffer.
bool countSamples(const AudioBufferList& list, uint32_t& n) noexcept {
  if (list.mNumberBuffers == 0 || list.mBuffers == nullptr) return false;
  const AudioBuffer& first = list.mBuffers[0];
  n = first.mNumberChannels == 0 ? 0 : first.mDataByteSize / first.mNumberChannels / uint32_t{sizeof(float)};
  return true;
}

void copyIn(float* cells, const Lane& lane, uint32_t done, uint32_t count) noexcept {
  const uint32_t present = lane.frames > done ? std::min(count, lane.frames - done) : 0;
  const float* const from = present == 0 ? nullptr : lane.first + size_t{done} * lane.stride;
  if (lane.stride == 1 && present != 0) {
    std::memcpy(cells, from, present * sizeof(float));
  } else {
    for (uint32_t k = 0; k < present; ++k) cells[k] = from[size_t{k} * lane.stride];
  }
  std::fill(cells + present, cells + count, 0.0F);
}

void addOut(const float* cells, const Lane& lane, uint32_t done, uint32_t count) noexcept {
  float* const to = lane.first + size_t{done} * lane.stride;
  if (lane.stride == 1) {
    for (uint32_t k = 0; k < count; ++k) to[k] += cells[k];
  } else {
    for (uint32_t k = 0; k < count; ++k) to[size_t{k} * lane.stride] += cells[k];
  }
}

} // namespace

OSStatus AudioRing::ioCycle(const AudioBufferList& input_data, const AudioTimeStamp& input_time,
                            const AudioBufferList& output_data, const AudioTimeStamp&) noexcept {
  watch.look(input_time, devicePosition());
  parseCATime(input_time);
  // The cells that this cycle overwrites were last read before the recording position passed them, those that it plays
  // were written before the playback position did: both are loaded ahead of any cell.
  (void)recordingPosition();
  const int64_t playback = playbackPosition();
  const int64_t position = devicePosition();

  uint32_t n = 0;
  if (!countSamples(input_data, n)) countSamples(output_data, n);
  n = std::min(n, kRingSamples);
  watch.count(n);

  if (playback > position) {
    outputCycle(output_data, position, n);
    levelsCycleForNrSamples(n);
    inputCycle(input_data, position, n);
  } else {
    inputCycle(input_data, position, n);
    levelsCycleForNrSamples(n);
    if (monitoring()) outputCycle(output_data, position, n);
  }
  io.cycle_length.store(n, std::memory_order_release);
  io.device_position.store(position + n, std::memory_order_release);
  return 0;
}

void AudioRing::inputCycle(const AudioBufferList& input_data, int64_t position, uint32_t n) noexcept {
  const uint32_t nr_channels = nrChannels();
  LaneFinder lanes(input_data);
  for (uint32_t channel = 0; channel < nr_channels; ++channel) {
    float* const ring = cells(channel);
    if (ring == nullptr) continue;
    const Lane lane = lanes.find(io.inputs[channel].load(std::memory_order_acquire));
    forEachRun(position, n,
               [&](uint32_t index, uint32_t done, uint32_t count) { copyIn(ring + index, lane, done, count); });
  }
}

/// What lies before the playback's start is left out.
void AudioRing::outputCycle(const AudioBufferList& output_data, int64_t position, uint32_t n) noexcept {
  const int64_t unheard = io.playback_start.load(std::memory_order_acquire) - position;
  const auto begin = static_cast<uint32_t>(std::clamp<int64_t>(unheard, 0, n));
  const uint32_t nr_channels = nrChannels();
  LaneFinder lanes(output_data);
  for (uint32_t channel = 0; channel < nr_channels; ++channel) {
    const float* const ring = cells(channel);
    const Lane lane = lanes.find(io.outputs[channel].load(std::memory_order_acquire));
    if (ring == nullptr || lane.first == nullptr) continue;
    const uint32_t end = std::max(begin, std::min(n, lane.frames));
    forEachRun(position + begin, end - begin,
               [&](uint32_t index, uint32_t done, uint32_t count) { addOut(ring + index, lane, begin + done, count); });
  }
}

void AudioRing::levelsCycleForNrSamples(uint32_t n) noexcept {
  const int64_t position = devicePosition();
  const uint32_t nr_channels = nrChannels();
  for (uint32_t channel = 0; channel < nr_channels; ++channel) {
    const float* const ring = cells(channel);
    if (ring == nullptr) continue;
    forEachRun(position, n,
               [&](uint32_t index, uint32_t, uint32_t count) { io.levels.add(channel, ring + index, count); });
  }
}

} // namespace vurl
