// A ring on a device made of plain memory. Every input sample tells its channel and its position, so that a sample
// found anywhere can be checked. Buffers are exactly as large as told: a sanitizer sees any step beyond.
#pragma once

#include "engine/AudioRing.h"
#include "engine/SampleFormat.h"
#include "tests/support/Test.h"

namespace vurl {

using Samples = std::vector<float>;

/// The sample of device input `channel` at `position`: above 0, below 1, exact as 24-bit integer and as float.
inline int32_t model24(int64_t channel, int64_t position) {
  return static_cast<int32_t>(channel * 65536 + position % 65521 + 1);
}
inline float model(int64_t channel, int64_t position) {
  return static_cast<float>(model24(channel, position)) * 0x1p-23F;
}

struct RingRig {
  explicit RingRig(int64_t nr_channels) {
    defaults.setInteger(nr_channels, "nr_channels");
    for (int i = 0; i < 64; ++i) route(i, i, i);
    ring->applyWantedChannels();
  }

  void route(int channel, int64_t input, int64_t output) {
    defaults.setInteger(input, text("input_for_channel%02i", channel));
    defaults.setInteger(output, text("output_for_channel%02i", channel));
  }

  /// One cycle of `n` samples on a device whose buffers have the channels in `shape`, in and out. The outputs hold
  /// `before` when it begins; returned is what they hold after it.
  std::vector<Samples> cycle(uint32_t n, const std::vector<uint32_t>& shape, float before = 0) {
    std::vector<Samples> in, out;
    std::vector<AudioBuffer> in_list, out_list;
    int64_t channel = 0;
    for (const uint32_t width : shape) {
      Samples& samples = in.emplace_back();
      for (uint32_t i = 0; i < n * width; ++i)
        samples.push_back(model(channel + i % width, ring->devicePosition() + i / width));
      in_list.push_back({width, n * width * 4, samples.data()});
      out_list.push_back({width, n * width * 4, out.emplace_back(n * width, before).data()});
      channel += width;
    }
    const auto count = static_cast<uint32_t>(shape.size());
    ring->ioCycle({count, in_list.data()}, {}, {count, out_list.data()}, {});
    return out;
  }

  /// One cycle on a device with one input that carries `samples`.
  void feed(Samples samples, const AudioTimeStamp& time = {}) {
    AudioBuffer buffer{1, static_cast<uint32_t>(samples.size() * sizeof(float)), samples.data()};
    ring->ioCycle({1, &buffer}, time, {}, {});
  }

  /// `n` samples of one ring channel from the recording position on.
  Samples recorded(int32_t channel, uint32_t n) const {
    ChannelMask mask = 0;
    BitSet(&mask, channel);
    Samples samples(n);
    ring->fillBuffer(reinterpret_cast<uint8_t*>(samples.data()), n, mask, FLOAT32);
    return samples;
  }

  /// Puts `n` samples of `value` into all channels at the playback position, and moves it.
  void play(uint32_t n, float value) {
    std::vector<uint8_t> block(size_t{n} * ring->nrChannels() * 3);
    for (size_t at = 0; at < block.size(); at += 3) convertToSample24(block.data(), at, value);
    ring->readBuffer(block.data(), n, -1, INTEGER24);
    ring->skipPlaybackRingWithLength(n);
  }

  UserDefaults defaults;
  WallTime now;
  // clang-format off
  std::unique_ptr<AudioRing> ring = std::make_unique<AudioRing>(defaults, [this] { return now; }, nullptr);
  // clang-format on
};

} // namespace vurl
