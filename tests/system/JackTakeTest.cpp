// Takes of the whole program from a live JACK server, held sample by sample against what another client played.
#include "tests/support/JackServer.h"
#include "tests/system/Feed.h"
#include "tests/system/TakeFile.h"
#include "tests/system/Workbench.h"

#include <gtest/gtest.h>

#include <numeric>
#include <optional>

namespace vurl {
namespace {

const std::string kDeviceGone = "A device has been added or removed.";

/// A JACK server, a client that plays, and a user who records.
struct Studio {
  explicit Studio(uint32_t channels) : nr_channels(channels), home(server.name()) { open(); }
  ~Studio() {
    if (!feed) open(); // only a server that ends in good order gives its place among the system's few back
  }
  Studio(const Studio&) = delete;
  Studio& operator=(const Studio&) = delete;

  void open() {
    server.start();
    feed.emplace(server.name(), nr_channels);
  }

  /// Kills the server. Returns how much the feed had played.
  int64_t killServer() {
    server.kill();
    const int64_t total = feed->played();
    feed.reset();
    return total;
  }

  Program record(double seconds, const Words& settings) const {
    const Words options = {"--duration", std::to_string(seconds)};
    return Program(home.recording(server.name(), settings, options), home.environment());
  }

  const uint32_t nr_channels;
  JackServer server;
  Home home;
  std::optional<Feed> feed;
};

using Tracks = std::vector<uint32_t>;

Tracks firstChannels(uint32_t count) {
  Tracks tracks(count);
  std::iota(tracks.begin(), tracks.end(), 0U);
  return tracks;
}

/// The settings that route each file's tracks, with every second file in a second folder.
Words routing(const std::vector<Tracks>& files, const std::string& second_folder) {
  Words settings = {"nr_channels=64", "nr_files=" + std::to_string(files.size()), "nr_folders=2",
                    "path_for_folder01=" + second_folder};
  const auto digits = [](size_t number, size_t width) {
    const std::string written = std::to_string(number);
    return std::string(width - written.size(), '0') + written;
  };
  for (size_t channel = 0; channel < 64; ++channel) {
    settings.push_back("channel" + digits(channel, 2) + "_in_file000=false");
  }
  for (size_t file = 0; file < files.size(); ++file) {
    settings.push_back("folder_for_file" + digits(file, 3) + "=" + std::to_string(file % 2));
    for (const uint32_t channel : files[file])
      settings.push_back("channel" + digits(channel, 2) + "_in_file" + digits(file, 3) + "=true");
  }
  return settings;
}

TEST(JackTake, IsBitExactInAllChannelsAndFiles) {
  const Tracks all = firstChannels(64);
  std::vector<Tracks> mono_and_stereo;
  for (const uint32_t channel : all) mono_and_stereo.push_back({channel});
  mono_and_stereo.push_back({0, 1});
  mono_and_stereo.push_back({9, 62});
  const int whole = kSlow ? 4 : 10;
  const struct {
    const char* name;
    std::string depth;
    int bits;
    int seconds;
    std::vector<Tracks> files;
  } cases[] = {
      {"24 bits, one file", "2", 24, whole, {all}},
      {"24 bits, mono and stereo files in two folders", "2", 24, whole, mono_and_stereo},
      {"16 bits", "1", 16, 3, {all}},
      {"32 bits", "3", 32, 3, {all}},
  };
  Studio studio(64);
  const std::string second_folder = studio.home.file("Second");
  std::filesystem::create_directory(second_folder);
  for (const auto& [name, depth, bits, seconds, files] : cases) {
    SCOPED_TRACE(name);
    Words settings = routing(files, second_folder);
    settings.insert(settings.end(),
                    {"bit_depth=" + depth, "filename_format=take" + depth + "x" + std::to_string(files.size())});
    Program vurl = studio.record(seconds, settings);
    ASSERT_EQ(vurl.wait(), 0) << vurl.errors();
    const Take take = takeOf(vurl);
    ASSERT_EQ(take.files.size(), files.size());
    EXPECT_GE(take.samples, seconds * 48000 - 256);
    std::optional<int64_t> number;
    for (size_t i = 0; i < files.size(); ++i) {
      SCOPED_TRACE(take.files[i]);
      const TakeFile file(take.files[i]);
      EXPECT_EQ(file.bits, bits);
      EXPECT_EQ(file.frames, take.samples);
      EXPECT_EQ(std::filesystem::path(take.files[i]).parent_path(),
                i % 2 == 0 ? studio.home.takes() : std::filesystem::path(second_folder));
      const Heard heard = expectSequence(file, files[i], studio.feed->played());
      EXPECT_GE(heard.frames, (seconds - 2) * 48000);
      if (!number) number = heard.number;
      EXPECT_EQ(heard.number, *number) << "the files are not in step";
    }
  }
}

TEST(JackTake, GoesOnInTheNextFileWithoutLosingASample) {
  const Studio studio(8);
  Program vurl = studio.record(6, {"maximum_file_size=2", "filename_format=T%t"});
  ASSERT_EQ(vurl.wait(), 0) << vurl.errors();
  const auto takes = takesIn(vurl.output());
  ASSERT_GE(takes.size(), 3U);
  TakeFile whole(takes[0].files.at(0));
  for (size_t i = 0; i < takes.size(); ++i) {
    ASSERT_EQ(takes[i].files, Words{studio.home.takes() / ("T" + std::to_string(i + 1) + ".wav")});
    EXPECT_TRUE(takes[i].reason.is_null()) << takes[i].reason;
    const TakeFile piece(takes[i].files[0]);
    EXPECT_EQ(piece.frames, takes[i].samples);
    EXPECT_LT(piece.bytes.size(), (2U << 20) + 256 * piece.align);
    EXPECT_EQ(piece.bytes.size() >= 2U << 20, i + 1 < takes.size());
    if (i > 0) whole.append(piece);
  }
  EXPECT_GE(whole.frames, 6 * 48000 - 256);
  EXPECT_GE(expectSequence(whole, firstChannels(8), studio.feed->played()).frames, 4 * 48000);
}

TEST(JackTake, IsCompleteWhenTheServerIsKilled) {
  Studio studio(8);
  for (unsigned i = 0; i < (kSlow ? 3 : 10); ++i) {
    SCOPED_TRACE(i);
    if (!studio.feed) studio.open();
    const std::string name = "killed" + std::to_string(i);
    Program vurl = studio.record(60, {"filename_format=" + name, "count=1"});
    ASSERT_TRUE(studio.home.hasGrownTo(name + ".wav", TakeFile::kHeaderSize + 600000 + 40000 * i));
    const int64_t total = studio.killServer();
    EXPECT_EQ(vurl.wait(), 1);
    EXPECT_NE(vurl.errors().find(kDeviceGone), std::string::npos) << vurl.errors();
    const Take take = takeOf(vurl);
    EXPECT_EQ(take.reason, kDeviceGone);
    const TakeFile file(take.files[0]);
    EXPECT_EQ(file.frames, take.samples);
    expectSequence(file, firstChannels(8), total);
    EXPECT_NE(printedBy({"sndfile-info", take.files[0]}).find("Channels    : 8"), std::string::npos);
  }
}

TEST(JackTake, GoesOnWhenThePeriodChanges) {
  const Studio studio(8);
  Program vurl = studio.record(4, {});
  for (const auto& [seconds, period] : {std::pair{1U, 512U}, {2U, 128U}}) {
    ASSERT_TRUE(studio.home.hasGrownTo("x.wav", TakeFile::kHeaderSize + seconds * 48000U * 24));
    studio.feed->setPeriod(period);
  }
  EXPECT_EQ(vurl.wait(), 0) << vurl.errors();
  const Take take = takeOf(vurl);
  const TakeFile file(take.files[0]);
  EXPECT_GE(file.frames, 4 * 48000 - 512);
  EXPECT_GE(expectSequence(file, firstChannels(8), studio.feed->played()).frames, 2 * 48000);
}

} // namespace
} // namespace vurl
