// A JACK client that keeps what the recorder's outputs carry, whenever a recorder is there. Thread: main; the rest is
// its own.
#pragma once

#include "tests/system/JackPeer.h"

namespace vurl {

class Ear : public JackPeer {
public:
  /// Hears at most `seconds` of each channel at 48 kHz.
  Ear(const std::string& server, uint32_t nr_channels, uint32_t seconds)
      : JackPeer("ear", server, nr_channels, JackPortIsInput, "out_"),
        sound(nr_channels, std::vector<float>(size_t{seconds} * 48000)) {
    activate(hear, this);
  }
  ~Ear() { leave(); }

  /// Samples heard so far, and of those one channel's that were not silent.
  size_t heard() const { return count; }
  size_t sounding(uint32_t channel) const {
    const auto first = sound[channel].begin();
    return static_cast<size_t>(std::count_if(first, first + std::ptrdiff_t(heard()), [](float s) { return s != 0; }));
  }

  /// Checks that from some frame on channel `channels[t]` carried the integer `file`'s track t to its end, all tracks
  /// in step, and nothing behind; returns how many of the file's frames went unheard.
  int64_t expectPlayed(const TakeFile& file, const Tracks& channels) const {
    const auto value = [&](uint32_t track, size_t at) { return stored(sound[channels[track]][at], file.bits); };
    size_t start = 0;
    for (uint32_t track = 0; track < channels.size(); ++track) { // one is connected after the other
      size_t begin = 0;
      while (begin < heard() && value(track, begin) == 0) ++begin;
      start = std::max(start, begin);
    }
    int64_t unheard = 0;
    const auto follows = [&](int64_t frames) {
      int64_t i = 0;
      while (i < frames && value(0, start + size_t(i)) == file.sample(0, unheard + i)) ++i;
      return i == frames;
    };
    while (unheard + 32 < file.frames && !(file.sample(0, unheard) != 0 && follows(32))) ++unheard;
    const auto frames = static_cast<size_t>(file.frames - unheard);
    EXPECT_LT(start + frames, heard()) << "it has not been played to its end";
    for (uint32_t track = 0; track < channels.size(); ++track) {
      size_t i = 0;
      while (i < frames && value(track, start + i) == file.sample(track, unheard + int64_t(i))) ++i;
      EXPECT_EQ(i, frames) << "track " << track << " is wrong there";
      while (start + i < heard() && value(track, start + i) == 0) ++i;
      EXPECT_EQ(start + i, heard()) << "track " << track << " sounds behind its end";
    }
    return unheard;
  }

private:
  static int hear(jack_nframes_t nr_frames, void* ear) {
    auto& self = *static_cast<Ear*>(ear);
    const size_t begin = self.count, room = std::min<size_t>(nr_frames, self.sound[0].size() - begin);
    for (size_t channel = 0; channel < self.ports.size(); ++channel)
      std::copy_n(self.buffer(channel, nr_frames), room, self.sound[channel].begin() + std::ptrdiff_t(begin));
    self.count = begin + room;
    return 0;
  }

  std::vector<std::vector<float>> sound; ///< before `count`: heard
  std::atomic<size_t> count = 0;
};

} // namespace vurl
