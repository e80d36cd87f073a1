// soak-verify feed|generator FILE ...: holds every sample of Broadcast Wave, RF64 or CAF files against what was played:
// the known sequence of soak-feed, or the test generator's tones and timecode (at 25 frames a second). Reads in pieces,
// so that files may be of any size. Prints a line of JSON a file, and fails when one cannot be read.
#include "engine/SampleFormat.h"
#include "hardware/GeneratorHardware.h"
#include "tests/support/Sequence.h"
#include "timecode/LTCEncoder.h"
#include "timecode/ltc.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <numbers>
#include <optional>
#include <string>
#include <vector>

namespace vurl {
namespace {

constexpr int64_t kPieceFrames = 4096;
constexpr int64_t kFarthestJump = 1 << 22;
constexpr size_t kMostTold = 20; ///< jumps

uint64_t number(const uint8_t* bytes, size_t count) {
  uint64_t value = 0;
  while (count-- > 0) value = value << 8 | bytes[count];
  return value;
}

uint64_t bigNumber(const uint8_t* bytes, size_t count) {
  uint64_t value = 0;
  for (size_t i = 0; i < count; ++i) value = value << 8 | bytes[i];
  return value;
}

/// What follows the chunks before the samples of a RIFF/WAVE or RF64 file, read in pieces.
struct TakeStream {
  explicit TakeStream(const char* path) : file(path, std::ios::binary) {
    uint8_t head[12], chunk[8], content[40];
    if (!read(head, sizeof head)) return;
    if (std::memcmp(head, "caff", 4) == 0) readCAF();
    if (std::memcmp(head + 8, "WAVE", 4) != 0) return;
    uint64_t long_size = 0;
    while (read(chunk, sizeof chunk)) {
      uint64_t chunk_size = number(chunk + 4, 4);
      if (std::memcmp(chunk, "data", 4) == 0) {
        if (long_size != 0) chunk_size = long_size;
        frames = align > 0 ? static_cast<int64_t>(chunk_size / align) : 0;
        return;
      }
      const auto wanted = std::min<uint64_t>(chunk_size, sizeof content);
      if (!read(content, wanted)) return;
      if (std::memcmp(chunk, "ds64", 4) == 0) long_size = number(content + 8, 8);
      if (std::memcmp(chunk, "fmt ", 4) == 0) {
        channels = static_cast<uint32_t>(number(content + 2, 2));
        rate = static_cast<uint32_t>(number(content + 4, 4));
        align = number(content + 12, 2);
        bits = number(content + 14, 2);
      }
      file.seekg(static_cast<std::streamoff>(chunk_size + chunk_size % 2 - wanted), std::ios::cur);
    }
  }
  /// By the places that the program's own files have.
  void readCAF() {
    uint8_t description[32], data[16];
    double hertz = 0;
    file.seekg(20);
    if (!read(description, sizeof description)) return;
    file.seekg(131072 - 16);
    if (!read(data, sizeof data) || std::memcmp(data, "data", 4) != 0) return;
    const uint64_t bytes = bigNumber(data + 4, 8), rate_bits = bigNumber(description, 8);
    std::memcpy(&hertz, &rate_bits, sizeof hertz);
    rate = static_cast<uint32_t>(hertz);
    align = bigNumber(description + 16, 4);
    channels = static_cast<uint32_t>(bigNumber(description + 24, 4));
    bits = bigNumber(description + 28, 4);
    frames = align > 0 ? static_cast<int64_t>(bytes / align) : 0;
  }
  bool read(uint8_t* bytes, uint64_t size) {
    return static_cast<bool>(file.read(reinterpret_cast<char*>(bytes), static_cast<std::streamsize>(size)));
  }
  std::ifstream file;
  uint32_t channels = 0, rate = 0;
  uint64_t align = 0, bits = 0;
  int64_t frames = 0; ///< 0 for a file that is none
};

struct FeedSource {
  static constexpr int64_t kRecognised = 16; ///< frames that tell a place in the sequence
  explicit FeedSource(const TakeStream& take) : bits(take.bits) {}
  uint64_t at(uint32_t channel, int64_t place) { return stored(played(channel, place), bits); }
  static bool isFrame(const uint8_t* /*bytes*/, int64_t /*place*/) { return false; }
  static int64_t period() { return 1; }
  uint64_t bits;
};

/// 24-bit files only.
struct GeneratorSource {
  static constexpr int64_t kRecognised = 4000; ///< a frame of timecode
  explicit GeneratorSource(const TakeStream& take) : rate(take.rate), tone(rate), timecode(kPieceFrames) {
    for (uint32_t i = 0; i < rate; ++i)
      tone[i] = inFile(static_cast<float>(GeneratorHardware::kAmplitude * std::sin(2 * std::numbers::pi * i / rate)));
    if (take.channels != GeneratorHardware::kNrChannels || take.align != kTones + 3 || rate % kPeriods != 0) return;
    for (uint32_t place = 0; place < rate / kPeriods; ++place)
      for (uint32_t channel = 0; channel < GeneratorHardware::kTimecodeChannel; ++channel)
        for (uint32_t byte = 0; byte < 3; ++byte)
          frames.push_back(static_cast<uint8_t>(at(channel, place) >> 8 * byte));
  }
  /// Frames after which all tones repeat themselves.
  int64_t period() const { return frames.empty() ? 1 : rate / kPeriods; }
  /// Whether all channels of a frame are right: the tones repeat themselves together.
  bool isFrame(const uint8_t* bytes, int64_t place) {
    if (frames.empty()) return false;
    const auto row = static_cast<uint64_t>(place) % (rate / kPeriods);
    return std::memcmp(bytes, &frames[row * kTones], kTones) == 0 &&
           number(bytes + kTones, 3) == at(GeneratorHardware::kTimecodeChannel, place);
  }
  static uint64_t inFile(float value) {
    uint8_t bytes[3];
    convertToSample24(bytes, 0, value);
    return number(bytes, sizeof bytes);
  }
  uint64_t at(uint32_t channel, int64_t place) {
    const auto time = static_cast<uint64_t>(place);
    if (channel != GeneratorHardware::kTimecodeChannel)
      return tone[time % rate * GeneratorHardware::pitch(channel) % rate];
    if (place < first_timecode || place >= first_timecode + kPieceFrames) {
      encodeLTC(timecode.data(), 1, kPieceFrames, time + GeneratorHardware::kWordClockOffset, rate, FRAME_RATE_25,
                static_cast<float>(GeneratorHardware::kAmplitude));
      first_timecode = place;
    }
    return inFile(timecode[static_cast<size_t>(place - first_timecode)]);
  }
  static constexpr uint32_t kPeriods = 100;                                   ///< a second, of all tones together
  static constexpr uint64_t kTones = 3 * GeneratorHardware::kTimecodeChannel; ///< bytes of a frame
  uint32_t rate;
  std::vector<uint64_t> tone;
  std::vector<uint8_t> frames; ///< the tones of a period as in a file of all channels
  std::vector<float> timecode;
  int64_t first_timecode = -kPieceFrames - 1;
};

/// Follows the sequence through a take. Each channel may be silent until it was connected; behind that it is the
/// sequence, in step with the others, or is counted as wrong.
template <typename Source>
class Verifier {
public:
  explicit Verifier(TakeStream& stream) : take(stream), source(stream), is_sounding(take.channels, false) {}

  bool run() {
    std::vector<uint8_t> pieces(2 * static_cast<size_t>(kPieceFrames) * take.align);
    piece = pieces.data();
    int64_t length = 0; // frames at hand: two pieces, so that those to come can be looked at
    for (int64_t done = 0; done < take.frames;) {
      const int64_t more = std::min(2 * kPieceFrames, take.frames - done) - length;
      const auto have = static_cast<size_t>(length) * take.align, wanted = static_cast<size_t>(more) * take.align;
      if (!take.read(&pieces[have], wanted)) return false;
      length += more;
      const int64_t count = std::min(kPieceFrames, length);
      for (frame = 0; frame < count; ++frame) verifyFrame(done + frame, length);
      done += count;
      length -= count;
      std::memmove(pieces.data(), &pieces[static_cast<size_t>(count) * take.align],
                   static_cast<size_t>(length) * take.align);
    }
    return true;
  }

  void print(const char* path) const {
    std::printf("{\"file\": \"%s\", \"frames\": %lld, \"rate\": %u, \"channels\": %u, \"silent\": %lld, "
                "\"verified\": %lld, \"lost\": %lld, \"wrong\": %lld, \"jumps\": [",
                path, static_cast<long long>(take.frames), take.rate, take.channels, static_cast<long long>(nr_silent),
                static_cast<long long>(nr_verified), static_cast<long long>(nr_lost), static_cast<long long>(nr_wrong));
    for (size_t i = 0; i < std::min(jumps.size(), kMostTold); ++i)
      std::printf("%s[%lld, %lld]", i > 0 ? ", " : "", static_cast<long long>(jumps[i].first),
                  static_cast<long long>(jumps[i].second));
    std::printf("], \"nr_jumps\": %zu}\n", jumps.size());
  }

private:
  uint64_t sample(int64_t at, uint32_t channel) const {
    return number(piece + static_cast<uint64_t>(at) * take.align + channel * take.bits / 8, take.bits / 8);
  }

  /// Whether the channel is at `place` of the sequence here, as far as the piece reaches.
  bool matches(uint32_t channel, int64_t place, int64_t length) {
    const int64_t count = std::min(Source::kRecognised, length - frame);
    int64_t i = 0;
    while (i < count && sample(frame + i, channel) == source.at(channel, place + i)) ++i;
    return i == count;
  }

  /// All sounding channels have to agree where one alone repeats itself.
  std::optional<int64_t> find(int64_t first, int64_t end, int64_t length) {
    int64_t place = std::max<int64_t>(first, 0);
    const int64_t step = source.period(), aligned = place + step;
    while (step > 1 && is_sounding[0] && place < aligned && !matches(0, place, length)) ++place;
    for (; place < end; place += step) {
      uint32_t channel = take.channels; // the last one may be the only one that does not repeat itself
      while (channel > 0 && (!is_sounding[channel - 1] || matches(channel - 1, place, length))) --channel;
      if (channel == 0) return place;
    }
    return std::nullopt;
  }

  void verifyFrame(int64_t at, int64_t length) {
    if (have_sounded && offset && source.isFrame(piece + static_cast<uint64_t>(frame) * take.align, at + *offset)) {
      ++nr_verified;
      return;
    }
    bool all_sound = true, is_right = true;
    for (uint32_t channel = 0; channel < take.channels; ++channel) {
      if (!is_sounding[channel] && sample(frame, channel) != 0) is_sounding[channel] = true;
      all_sound = all_sound && is_sounding[channel];
      is_right =
          is_right && (!is_sounding[channel] || (offset && sample(frame, channel) == source.at(channel, at + *offset)));
    }
    if (!all_sound) nr_silent = at + 1;
    have_sounded = all_sound;
    if (!is_right && !relocate(at, length))
      ++nr_wrong;
    else if (offset)
      ++nr_verified;
  }

  bool relocate(int64_t at, int64_t length) {
    if (at < next_search) return false;
    const int64_t expected = at + offset.value_or(0);
    auto place = find(expected, expected + kFarthestJump * (offset ? 1 : 100), length);
    if (!place && offset) place = find(expected - kFarthestJump, expected, length);
    if (!place) next_search = at + take.rate; // a search takes long
    if (!place) return false;
    if (offset) jumps.emplace_back(at, *place - expected);
    if (offset) nr_lost += std::abs(*place - expected);
    offset = *place - at;
    return true;
  }

  TakeStream& take;
  Source source;
  const uint8_t* piece = nullptr;
  int64_t frame = 0;             ///< of the piece
  std::vector<bool> is_sounding; ///< channels
  bool have_sounded = false;     ///< all of them
  std::optional<int64_t> offset; ///< what the sequence is ahead of the file
  int64_t next_search = 0;
  int64_t nr_silent = 0, nr_verified = 0, nr_lost = 0, nr_wrong = 0; ///< frames
  std::vector<std::pair<int64_t, int64_t>> jumps;                    ///< frame of the file, and samples
};

template <typename Source>
bool verify(const char* path) {
  TakeStream take(path);
  Verifier<Source> verifier(take);
  const bool is_whole = take.frames > 0 && verifier.run();
  if (is_whole)
    verifier.print(path);
  else
    std::fprintf(stderr, "soak-verify: %s cannot be read to its end\n", path);
  return is_whole;
}

} // namespace
} // namespace vurl

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  const bool generated = std::strcmp(argv[1], "generator") == 0;
  bool all_well = true;
  for (int i = 2; i < argc; ++i)
    all_well = (generated ? vurl::verify<vurl::GeneratorSource>(argv[i]) : vurl::verify<vurl::FeedSource>(argv[i])) &&
               all_well;
  return all_well ? 0 : 1;
}
