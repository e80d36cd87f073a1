// What stands in a recorded file, read without any of the recorder's own code, and the sequence of samples that tests
// play: every sample is known from its channel and its number. Plain values, any thread.
#pragma once

#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace vurl {

/// Sample number `frame` of `channel`: noise of all magnitudes down to -48 dB, with more bits than an integer file has.
inline float played(uint32_t channel, int64_t frame) {
  uint64_t bits = (static_cast<uint64_t>(frame) * 64 + channel + 1) * 0x9E3779B97F4A7C15U;
  bits = (bits ^ (bits >> 29)) * 0xBF58476D1CE4E5B9U;
  bits ^= bits >> 32;
  const auto mantissa = static_cast<int32_t>(bits) / 128 * 128;
  constexpr std::array kScales = {0x1p-31F, 0x1p-32F, 0x1p-33F, 0x1p-34F, 0x1p-35F, 0x1p-36F, 0x1p-37F, 0x1p-38F};
  return static_cast<float>(mantissa) * kScales[bits % kScales.size()];
}

/// The bytes that a file of `bits` bits holds for a value inside full scale.
inline std::array<char, 4> stored(float value, int bits) {
  auto word = static_cast<uint32_t>(static_cast<int32_t>(std::trunc(static_cast<double>(value) * 0x1p31)));
  if (bits == 32) std::memcpy(&word, &value, sizeof word);
  std::array<char, 4> bytes{};
  for (int i = 0; i < bits / 8; ++i) bytes[static_cast<size_t>(i)] = static_cast<char>(word >> (32 - bits + 8 * i));
  return bytes;
}

/// A Broadcast Wave file whose header says of what follows it, or else fails the test.
struct TakeFile {
  explicit TakeFile(const std::string& path) : bytes(fileBytes(path)) {
    if (bytes.size() < kHeaderSize || bytes.substr(8, 4) != "WAVE") {
      ADD_FAILURE() << path << " has no header";
      return;
    }
    channels = static_cast<uint32_t>(number(58, 2));
    rate = static_cast<int>(number(60, 4));
    align = number(68, 2);
    bits = static_cast<int>(number(70, 2));
    const uint64_t size = number(kHeaderSize - 4, 4);
    frames = static_cast<int64_t>(number(80, 4));
    EXPECT_EQ(align, channels * static_cast<uint64_t>(bits) / 8) << path;
    EXPECT_EQ(bytes.substr(kHeaderSize - 8, 4), "data") << path;
    EXPECT_EQ(size, static_cast<uint64_t>(frames) * align) << path;
    EXPECT_EQ(number(4, 4), kHeaderSize + size - 8) << path;
    EXPECT_EQ(frames % 256, 0) << path;
    EXPECT_GE(bytes.size(), kHeaderSize + size) << path;
    samples = bytes.substr(kHeaderSize, size);
  }

  uint64_t number(size_t at, size_t size) const {
    uint64_t value = 0;
    while (size-- > 0) value = value << 8 | static_cast<uint8_t>(bytes[at + size]);
    return value;
  }

  /// The file that this one and the `next` piece would have been without a break.
  void append(const TakeFile& next) {
    EXPECT_TRUE(next.channels == channels && next.bits == bits && next.rate == rate);
    samples += next.samples;
    frames += next.frames;
  }

  const char* at(uint32_t track, int64_t frame) const {
    return samples.data() + static_cast<size_t>(frame) * align + track * static_cast<size_t>(bits / 8);
  }

  bool isPlayed(uint32_t track, int64_t frame, uint32_t channel, int64_t number_played) const {
    return std::memcmp(at(track, frame), stored(played(channel, number_played), bits).data(),
                       static_cast<size_t>(bits / 8)) == 0;
  }

  /// The first frame of a track that is not silent; the number of frames if all are.
  int64_t firstSound(uint32_t track) const {
    int64_t frame = 0;
    while (frame < frames && std::memcmp(at(track, frame), "\0\0\0", static_cast<size_t>(bits / 8)) == 0) ++frame;
    return frame;
  }

  static constexpr size_t kHeaderSize = 131072;
  std::string bytes;   ///< the whole file
  std::string samples; ///< what the header calls samples
  uint32_t channels = 0;
  int rate = 0;
  int bits = 0;
  uint64_t align = 0;
  int64_t frames = 0;
};

/// What was found of the sequence in a file.
struct Heard {
  int64_t number = 0; ///< the sequence's number at the file's first frame, had it been played there already
  int64_t frames = 0; ///< in which all tracks had sound
};

/// Checks that each track is silent up to some frame and from there to its end the sequence, sample by sample, all
/// tracks at the same number. `channels` are those of the tracks; less than `total` samples of each have been played.
inline Heard expectSequence(const TakeFile& file, const std::vector<uint32_t>& channels, int64_t total) {
  EXPECT_EQ(file.channels, channels.size());
  const int64_t first = file.firstSound(0);
  int64_t number = 0;
  const auto begins_here = [&] {
    for (int64_t i = 0; i < 16 && first + i < file.frames; ++i)
      if (!file.isPlayed(0, first + i, channels[0], number + i)) return false;
    return true;
  };
  while (number < total && !begins_here()) ++number;
  if (number == total || first == file.frames) {
    ADD_FAILURE() << "nothing of the sequence in " << file.frames << " frames";
    return {};
  }
  number -= first;
  int64_t last_start = 0;
  for (uint32_t track = 0; track < channels.size(); ++track) {
    const int64_t start = file.firstSound(track);
    last_start = std::max(last_start, start);
    for (int64_t frame = start; frame < file.frames; ++frame) {
      if (file.isPlayed(track, frame, channels[track], number + frame)) continue;
      ADD_FAILURE() << "track " << track << " is wrong at frame " << frame << " of " << file.frames << ", "
                    << frame - start << " behind its first sound";
      return {};
    }
  }
  return {number, file.frames - last_start};
}

} // namespace vurl
