// Takes and repairs whose program is killed at random moments. VURL_TORTURE=ROUNDS:SEED runs more of them by hand.
#include "tests/support/JackServer.h"
#include "tests/system/Feed.h"

#include <map>

namespace vurl {

struct Torture : testing::Test {
  Torture() {
    const char* const wish = std::getenv("VURL_TORTURE");
    unsigned seed = 1;
    if (wish != nullptr) std::sscanf(wish, "%d:%u", &rounds, &seed);
    random.seed(seed);
  }

  int upTo(int largest) { return std::uniform_int_distribution(0, largest)(random); }

  /// One polyphonic file, or a mono file a channel, in pieces of 2 MiB or whole; either format.
  Words someSettings(int round) {
    const bool is_mono = upTo(1) == 0;
    Words settings = {"nr_channels=8",
                      "pre_record_time=1",
                      text("filename_format=t%i", round),
                      text("maximum_file_size=%i", upTo(1) * 2),
                      text("file_format=%i", upTo(4) == 0 ? 2 : 3),
                      text("nr_files=%i", is_mono ? 8 : 1)};
    for (int channel = 0; is_mono && channel < 8; ++channel) {
      settings.push_back(text("channel%02i_in_file000=%i", channel, channel == 0 ? 1 : 0));
      settings.push_back(text("channel%02i_in_file%03i=1", channel, channel));
    }
    return settings;
  }

  /// Kills a repair in its middle, and has the next one do the work.
  void repair() {
    Program killed(home.vurl({"repair"}));
    sleepFor(upTo(25));
    killed.signal(SIGKILL);
    killed.wait();
    printedBy(home.vurl({"repair"}));
    EXPECT_EQ(printedBy(home.vurl({"repair"})), "");
  }

  /// Checks a file by its samples and by other programs. Returns the sequence's number at its end.
  int64_t check(const std::string& path) {
    SCOPED_TRACE(path);
    if (path.ends_with(".caf")) {
      expectParts(printedBy({"ffprobe", "-v", "error", "-show_entries", "stream=codec_type", path}), {"audio"});
      return -1;
    }
    if (std::filesystem::file_size(path) <= TakeFile::kHeaderSize) return -1; // made, and no block written yet
    const TakeFile file(path);
    expectParts(printedBy({"sndfile-info", path}), {text("Frames : %qi\n", file.frames)});
    Tracks tracks = firstChannels(file.channels);
    if (file.channels == 1) tracks[0] = static_cast<uint32_t>(std::stoi(path.substr(path.find("-f") + 2)) - 1);
    const bool is_sound = file.bytes.find_first_not_of('\0', TakeFile::kHeaderSize) != std::string::npos;
    if (!is_sound) return -1; // what was there before the feed was connected
    const Heard heard = expectSequence(file, tracks, feed->played());
    return heard.number + file.frames;
  }

  /// Whether some file that is not among `known` has come to its samples.
  bool hasNewSound(const std::map<std::string, std::string>& known) const {
    const Words files = home.takeFiles();
    return std::any_of(files.begin(), files.end(), [&](const std::string& path) {
      return !known.contains(path) && std::filesystem::file_size(path) > TakeFile::kHeaderSize;
    });
  }

  int rounds = kSlow ? 2 : 4;
  std::mt19937 random;
  JackServer server;
  Home home{server.name()};
  std::optional<Feed> feed;
};

TEST_F(Torture, KilledTakesAndRepairsLoseNothing) {
  server.start();
  feed.emplace(server.name(), 8);
  std::map<std::string, std::string> known; ///< files of earlier rounds
  std::vector<int64_t> missing;             ///< samples between the last one on disk and the kill
  for (int round = 0; round < rounds; ++round) {
    SCOPED_TRACE(text("round %i", round));
    int64_t killed_at = 0;
    {
      Program vurl(home.recording(someSettings(round), {"--device", server.name()}));
      if (upTo(7) == 0) {
        sleepFor(upTo(1000)); // while it starts
      } else {
        EXPECT_TRUE(eventually([&] { return hasNewSound(known); })) << vurl.errors();
        sleepFor(upTo(2500));
      }
      killed_at = feed->played();
      vurl.signal(SIGKILL);
    }
    repair();
    int64_t reached = -1;
    for (const std::string& path : home.takeFiles()) {
      if (known.contains(path)) continue;
      reached = std::max(reached, check(path));
      known[path] = fileBytes(path);
    }
    if (reached >= 0) missing.push_back(killed_at - reached);
  }
  for (const auto& [path, bytes] : known) EXPECT_TRUE(fileBytes(path) == bytes) << path << " was touched";
  std::sort(missing.begin(), missing.end());
  ASSERT_TRUE(kSlow || !missing.empty());
  if (missing.empty()) return;
  std::printf("%zu takes were cut off with samples; missing at the kill: median %lld, most %lld\n", missing.size(),
              static_cast<long long>(missing[missing.size() / 2]), static_cast<long long>(missing.back()));
  EXPECT_LT(missing[missing.size() / 2], 96000); // 12,800 and a pass of 4,800, where the machine has time
}

} // namespace vurl
