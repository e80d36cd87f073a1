// A ring on a device made of plain memory. Every input sample tells its channel and its position, so that a sample
// found anywhere can be checked. Buffers are exactly as large as told: a sanitizer sees any step beyond.
#pragma once

#include "engine/AudioRing.h"
#include "engine/SampleFormat.h"
#include "platform/Text.h"

#include <memory>
#include <vector>

namespace vurl {

/// The sample of device input `channel` at `position`: above 0, below 1, exact in 24-bit and float.
inline float model(int32_t channel, int64_t position) {
  return static_cast<float>(channel * 65536 + position % 65521 + 1) * 0x1p-23F;
}

struct RingRig {
  explicit RingRig(int32_t nr_channels) {
    defaults.setInteger(nr_channels, "nr_channels");
    for (int32_t i = 0; i < 64; ++i) route(i, i, i);
    ring = std::make_unique<AudioRing>(
        defaults, [this] { return now; }, nullptr);
  }

  void route(int32_t channel, int32_t input, int32_t output) {
    defaults.setInteger(input, text("input_for_channel%02i", channel));
    defaults.setInteger(output, text("output_for_channel%02i", channel));
  }

  /// One cycle of `n` samples on a device whose buffers have the channels in `shape`, in and out. The outputs hold
  /// `before` when it begins; returned is what they hold after it.
  std::vector<std::vector<float>> cycle(uint32_t n, const std::vector<uint32_t>& shape, float before = 0) {
    std::vector<std::vector<float>> in, out;
    std::vector<AudioBuffer> in_list, out_list;
    int32_t channel = 0;
    for (const uint32_t width : shape) {
      in.emplace_back();
      out.emplace_back(size_t{width} * n, before);
      for (uint32_t i = 0; i < n * width; ++i) {
        in.back().push_back(model(channel + static_cast<int32_t>(i % width), ring->devicePosition() + i / width));
      }
      in_list.push_back({width, n * width * 4, in.back().data()});
      out_list.push_back({width, n * width * 4, out.back().data()});
      channel += static_cast<int32_t>(width);
    }
    const auto count = static_cast<uint32_t>(shape.size());
    ring->ioCycle({count, in_list.data()}, {}, {count, out_list.data()}, {});
    return out;
  }

  /// `n` samples of one ring channel from the recording position on.
  std::vector<float> recorded(int32_t channel, uint32_t n) const {
    ChannelMask mask = 0;
    BitSet(&mask, channel);
    std::vector<float> samples(n);
    ring->fillBuffer(reinterpret_cast<uint8_t*>(samples.data()), n, mask, FLOAT32);
    return samples;
  }

  /// Puts `n` samples of `value` into all channels at the playback position, and moves it.
  void play(uint32_t n, float value) {
    Bytes block(size_t{n} * ring->nrChannels() * 3);
    for (size_t at = 0; at < block.size(); at += 3) convertToSample24(block.data(), at, value);
    ring->readBuffer(block.data(), n, -1, INTEGER24);
    ring->skipPlaybackRingWithLength(n);
  }

  using Bytes = std::vector<uint8_t>;
  UserDefaults defaults;
  WallTime now;
  std::unique_ptr<AudioRing> ring;
};

} // namespace vurl
