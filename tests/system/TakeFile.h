// What stands in a recorded file, read without any of the recorder's own code, and whether that is the sequence of
// samples that tests play. Plain values, any thread.
#pragma once

#include "tests/support/Sequence.h"
#include "tests/system/Workbench.h"

#include <numeric>

namespace vurl {

/// A Broadcast Wave or Core Audio Format file whose header says of what follows it, or else fails the test.
struct TakeFile {
  explicit TakeFile(const std::string& path) : bytes(fileBytes(path)) {
    bytes.resize(std::max(bytes.size(), kHeaderSize));
    bytes.starts_with("caff") ? readCAF(path) : readBWF(path);
    EXPECT_EQ(align, channels * bits / 8) << path;
    EXPECT_EQ(size, static_cast<uint64_t>(frames) * align) << path;
    EXPECT_EQ(frames % 256, 0) << path;
    EXPECT_GE(bytes.size(), kHeaderSize + size) << path;
  }

  void readBWF(const std::string& path) {
    channels = number(58, 2);
    align = number(68, 2);
    bits = number(70, 2);
    frames = static_cast<int64_t>(number(80, 4));
    size = number(kHeaderSize - 4, 4);
    EXPECT_EQ(bytes.substr(8, 4) + bytes.substr(kHeaderSize - 8, 4), "WAVEdata") << path;
    EXPECT_EQ(number(4, 4), kHeaderSize + size - 8) << path;
  }

  void readCAF(const std::string& path) {
    align = bigNumber(36, 4);
    channels = bigNumber(44, 4);
    bits = bigNumber(48, 4);
    size = bigNumber(kHeaderSize - 12, 8);
    frames = static_cast<int64_t>(size / align);
    EXPECT_EQ(bytes.substr(kHeaderSize - 16, 4), "data") << path;
  }

  uint64_t bigNumber(size_t at, size_t count) const {
    uint64_t value = 0;
    for (size_t i = at; i < at + count; ++i) value = value << 8 | static_cast<uint8_t>(bytes.at(i));
    return value;
  }

  uint64_t number(size_t at, size_t count) const {
    uint64_t value = 0;
    while (count-- > 0) value = value << 8 | static_cast<uint8_t>(bytes.at(at + count));
    return value;
  }

  uint64_t sample(uint64_t track, int64_t frame) const {
    return number(kHeaderSize + static_cast<uint64_t>(frame) * align + track * bits / 8, bits / 8);
  }

  static constexpr size_t kHeaderSize = 131072;
  std::string bytes; ///< the whole file
  uint64_t channels = 0, align = 0, bits = 0;
  uint64_t size = 0; ///< bytes of what the header calls samples
  int64_t frames = 0;
};

/// The channels of a file's tracks.
using Tracks = std::vector<uint32_t>;

inline Tracks firstChannels(uint64_t count) {
  Tracks tracks(count);
  std::iota(tracks.begin(), tracks.end(), 0U);
  return tracks;
}

/// What was found of the sequence in a file.
struct Heard {
  int64_t number = 0; ///< the sequence's number at the file's first frame, had it been played there already
  int64_t frames = 0; ///< in which all tracks had sound
};

/// Checks that each track is silent up to some frame and from there to its end the sequence, sample by sample, all
/// tracks at the same number. `channels` are those of the tracks; less than `total` samples of each have been played,
/// and what was played before number `since` cannot be in the file.
inline Heard expectSequence(const TakeFile& file, const Tracks& channels, int64_t total, int64_t since = 0) {
  EXPECT_EQ(file.channels, channels.size());
  const auto first_sound = [&](uint64_t track) {
    int64_t frame = 0;
    while (frame < file.frames && file.sample(track, frame) == 0) ++frame;
    return frame;
  };
  /// The first frame from `frame` on that is not what was played, when `number` stands at the beginning of the file.
  const auto first_fault = [&](uint64_t track, int64_t number, int64_t frame, int64_t end) {
    while (frame < end && file.sample(track, frame) == stored(played(channels[track], number + frame), file.bits))
      ++frame;
    return frame;
  };
  const int64_t first = first_sound(0), recognised = std::min(first + 16, file.frames);
  Heard heard{since - first, file.frames};
  EXPECT_LT(first, file.frames) << "nothing but silence";
  while (heard.number + first < total && first_fault(0, heard.number, first, recognised) < recognised) ++heard.number;
  for (uint64_t track = 0; track < channels.size(); ++track) {
    const int64_t start = first_sound(track), fault = first_fault(track, heard.number, start, file.frames);
    EXPECT_EQ(fault, file.frames) << "track " << track << " is wrong " << fault - start << " behind its first sound";
    heard.frames = std::min(heard.frames, file.frames - start);
  }
  return heard;
}

} // namespace vurl
