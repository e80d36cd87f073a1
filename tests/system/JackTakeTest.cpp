// Takes of the whole program from a live JACK server, held sample by sample against what another client played.
#include "tests/support/JackServer.h"
#include "tests/system/Ear.h"
#include "tests/system/Feed.h"

namespace vurl {

/// A JACK server, a client that plays, and a user who records.
struct Studio {
  explicit Studio(uint32_t channels) : home(server.name()) {
    server.start();
    feed.emplace(server.name(), channels);
  }

  /// What is reported by a recording that goes on for at least `seconds` once all that is played arrives.
  std::vector<Take> takes(int seconds, const Words& settings) const {
    Program vurl(home.recording(settings, {"--device", server.name()}), Program::Stdin::keyboard);
    EXPECT_TRUE(eventually([&] { return feed->isConnected(); })) << vurl.errors();
    const int64_t end = feed->played() + int64_t{seconds} * 48000 + 512;
    EXPECT_TRUE(eventually([&] { return feed->played() > end; }));
    vurl.type('q');
    EXPECT_EQ(vurl.wait(), 0) << vurl.errors();
    return takesOf(vurl);
  }

  JackServer server;
  Home home;
  std::optional<Feed> feed;
};

/// The settings that route each file's tracks, with every second file in a second folder.
Words routing(const std::vector<Tracks>& files, const std::string& second_folder) {
  Words settings = {"nr_channels=64", text("nr_files=%i", files.size()), "nr_folders=2",
                    "path_for_folder01=" + second_folder};
  for (const uint32_t channel : firstChannels(64)) settings.push_back(text("channel%02i_in_file000=false", channel));
  for (size_t file = 0; file < files.size(); ++file) {
    settings.push_back(text("folder_for_file%03i=%i", file, file % 2));
    for (const uint32_t channel : files[file]) settings.push_back(text("channel%02i_in_file%03i=true", channel, file));
  }
  return settings;
}

TEST(JackTake, IsBitExactInAllChannelsAndFiles) {
  const Tracks all = firstChannels(64);
  std::vector<Tracks> mono_and_stereo = {{0, 1}, {9, 62}};
  for (const uint32_t channel : all) mono_and_stereo.push_back({channel});
  const int whole = kSlow ? 4 : 10;
  const std::tuple<int, uint64_t, int, std::vector<Tracks>> cases[] = {
      {2, 24, whole, {all}}, {2, 24, whole, mono_and_stereo}, {1, 16, 3, {all}}, {3, 32, 3, {all}}};
  Studio studio(64);
  // As a program leaves it that is killed while it makes this part: whoever opens it dies.
  const std::string shared = text("/dev/shm/jack_db-%i/__db.003", getuid());
  std::filesystem::remove(shared);
  writeFile(shared, "");
  const std::filesystem::path folders[] = {studio.home.takes(), studio.home.file("Second")};
  std::filesystem::create_directory(folders[1]);
  for (const auto& [depth, bits, seconds, files] : cases) {
    SCOPED_TRACE(text("%i files of %i bits", files.size(), bits));
    Words settings = routing(files, folders[1]);
    settings.push_back(text("bit_depth=%i", depth));
    settings.push_back(text("filename_format=take%ix%i", depth, files.size()));
    const Take take = studio.takes(seconds, settings).at(0);
    ASSERT_EQ(take["files"].size(), files.size());
    EXPECT_GE(take["longest_backlog_percent"], 1.2) << "what waits before it is written";
    EXPECT_LT(take["longest_backlog_percent"], 90);
    std::optional<int64_t> number;
    for (size_t i = 0; i < files.size(); ++i) {
      const std::filesystem::path path = std::string(take["files"][i]);
      SCOPED_TRACE(path);
      const TakeFile file(path);
      EXPECT_EQ(file.bits, bits);
      EXPECT_EQ(file.frames, take["samples"]);
      EXPECT_EQ(path.parent_path(), folders[i % 2]);
      const Heard heard = expectSequence(file, files[i], studio.feed->played());
      EXPECT_GE(heard.frames, seconds * 48000);
      EXPECT_EQ(heard.number, number.value_or(heard.number)) << "the files are not in step";
      number = heard.number;
    }
  }
}

TEST(JackTake, GoesOnInTheNextFileWithoutLosingASample) {
  const Studio studio(8);
  const auto takes = studio.takes(6, {"maximum_file_size=2", "filename_format=T%t", "time_source=1"});
  ASSERT_GE(takes.size(), 3U);
  TakeFile whole(takes[0]["files"][0]);
  for (size_t i = 0; i < takes.size(); ++i) {
    EXPECT_TRUE(takes[i]["reason"].is_null()) << takes[i];
    const TakeFile piece(takes[i]["files"][0]);
    EXPECT_EQ(piece.frames, takes[i]["samples"]);
    EXPECT_LT(piece.bytes.size(), (2U << 20) + 256 * piece.align);
    EXPECT_EQ(piece.bytes.size() >= 2U << 20, i + 1 < takes.size());
    if (i == 0) continue;
    EXPECT_EQ(takes[i]["timestamp"], int64_t{takes[i - 1]["timestamp"]} + int64_t{takes[i - 1]["samples"]});
    whole.bytes += piece.bytes.substr(TakeFile::kHeaderSize);
    whole.frames += piece.frames;
  }
  EXPECT_GE(expectSequence(whole, firstChannels(8), studio.feed->played()).frames, 6 * 48000);
  expectParts(studio.home.settings(), {"<string>JACK - " + studio.server.name() + "</string>"}); // remembered
}

/// Takes of 16 channels, one of which no file holds, played through the outputs of the same numbers.
TEST(JackTake, IsPlayedSampleBySample) {
  Studio studio(16);
  const std::vector<Tracks> files = {{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13}, {15}};
  Words settings = routing(files, studio.home.takes());
  settings[0] = "nr_channels=16";
  settings.insert(settings.end(), {"filename_format=T%t", "pre_record_time=4"});
  Program vurl(studio.home.recording(settings, {"--device", studio.server.name()}), Program::Stdin::keyboard);
  const auto has_reported = [&](size_t count) { return eventually([&] { return takesOf(vurl).size() >= count; }); };
  ASSERT_TRUE(studio.home.hasGrownTo("T1-f01.wav", TakeFile::kHeaderSize + 3 * 48000 * 42));
  vurl.type('s');
  ASSERT_TRUE(has_reported(1));
  {
    const Ear ear(studio.server.name(), 16, 60);
    vurl.type('p');
    ASSERT_TRUE(eventually([&] { return ear.sounding(0) > 48000; }));
    vurl.type('r'); // ends the playback, and the new take reaches back into it
    ASSERT_TRUE(studio.home.hasGrownTo("T2-f01.wav", TakeFile::kHeaderSize + 5 * 48000 * 42));
    EXPECT_LT(ear.sounding(0), 3 * 48000U);
  }
  vurl.type('q');
  ASSERT_EQ(vurl.wait(), 0) << vurl.errors();
  const Take take = takesOf(vurl).at(0);
  for (size_t i = 0; i < 2; ++i) { // live input behind the playback
    const TakeFile second(takesOf(vurl).at(1)["files"][i]);
    EXPECT_EQ(expectSequence(second, files[i], studio.feed->played()).frames, second.frames);
  }

  const Ear ear(studio.server.name(), 16, 60);
  printedBy(studio.home.vurl({"play", "1", "--device", studio.server.name(), "--set", "nr_channels=16"}));
  for (size_t i = 0; i < 2; ++i) EXPECT_LT(ear.expectPlayed(TakeFile(take["files"][i]), files[i]), 2 * 48000);
  EXPECT_EQ(ear.sounding(14), 0U) << "no file holds it";
}

} // namespace vurl
