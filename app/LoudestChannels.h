// The few channels with the loudest peaks, as one short text that stands still enough to be read. Thread: main. Used by
// ConsoleView.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace vurl {

class LoudestChannels {
public:
  static constexpr size_t kShown = 3;
  static constexpr float kSilence = -90; ///< dBFS below which a channel is not listed
  static constexpr float kAdvantage = 6; ///< dB by which another must be louder to take the place of one that is listed

  LoudestChannels() { forgetPeaks(); }

  /// Notes a reading of a channel below 64, in dBFS.
  void setPeak(float peak_db, uint32_t channel);

  /// The loudest readings since the last call in the order of their channels, counted from 1, for example
  /// " 1 -12  64  -3 dBFS": at most 27 columns.
  std::string takeText();

private:
  struct Channel {
    float peak;
    bool is_listed;
  };

  void forgetPeaks();

  std::array<Channel, 64> channels{};
};

} // namespace vurl
