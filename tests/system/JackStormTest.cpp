// A JACK server that is killed, started again and changed under takes and playback, beside one recorder that lives
// through all of it. VURL_TORTURE=ROUNDS:SEED has more of it by hand.
#include "tests/support/JackServer.h"
#include "tests/system/Ear.h"
#include "tests/system/Feed.h"
#include "tests/system/HardTimes.h"

namespace vurl {

struct JackStorm : HardTimes {
  enum Event { killed, ended, another_period, other_ports, kNrEvents };

  /// What the log tells of each event.
  static constexpr std::array kStory = {"JACK server gone", "JACK server gone", "has changed its buffers from", ""};

  JackStorm() : HardTimes(kSlow ? 2 : kNrEvents) { open(); }

  /// A server with another number of ports, and a feed that begins anew.
  void open() {
    period = 128 << upTo(3);
    server.start(48000, period, std::array{2, 16, 64}[static_cast<size_t>(upTo(2))]);
    feed.emplace(server.name(), 8);
  }

  /// The microphones' ports are unplugged, and a client comes, listens and goes.
  void changePorts() const {
    feed->unplugInterface();
    const Ear neighbour(server.name(), 8, 1);
    EXPECT_TRUE(eventually([&] { return neighbour.isConnected(); }));
  }

  void strike(Event event) {
    if (event == another_period) feed->setPeriod(static_cast<jack_nframes_t>(period = period > 64 ? period / 2 : 1024));
    if (event == other_ports) changePorts();
    if (event == killed) server.kill();
    if (event == ended) server.stop();
  }

  int countInLog(const std::string& words) const {
    const std::string log = vurl->errors();
    int count = 0;
    for (size_t at = log.find(words); at != std::string::npos; at = log.find(words, at + 1)) ++count;
    return count;
  }

  /// Starts a take. Returns its file.
  std::string record() {
    const Words known = home.takeFiles();
    std::string path;
    EXPECT_TRUE(eventually([&] { return feed->isConnected(); })) << "the device is not back";
    EXPECT_TRUE(eventually([&] {
      if (path.empty()) vurl->type('r'), sleepFor(100); // not heard while a playback is being closed
      for (const std::string& file : home.takeFiles())
        if (std::find(known.begin(), known.end(), file) == known.end()) path = file;
      return !path.empty() && std::filesystem::file_size(path) > TakeFile::kHeaderSize + 24 * 24000;
    })) << vurl->errors();
    return path;
  }

  void expectReported(size_t count) const {
    EXPECT_TRUE(eventually([&] { return takesOf(*vurl).size() >= count; })) << vurl->errors();
  }

  void check(const std::string& path, int64_t total) const {
    SCOPED_TRACE(path);
    expectSequence(TakeFile(path), firstChannels(8), total);
    expectReadable(path, {"-v", "error", "-xerror"});
    printedBy({"sndfile-info", path});
  }

  void run(int round) {
    const auto event = static_cast<Event>(round % kNrEvents);
    const bool plays = (round + round / kNrEvents) % 2 == 1;
    SCOPED_TRACE(text("round %i, event %i, during %s", round, event, plays ? "playback" : "a take"));
    const std::string path = record();
    const size_t nr_takes = takesOf(*vurl).size() + 1;
    const int story = countInLog(kStory[event]);
    sleepFor(upTo(500));
    if (plays) {
      vurl->type('s');
      expectReported(nr_takes);
      vurl->type('p');
      sleepFor(150 + upTo(500));
    }
    strike(event);
    const bool is_gone = event == killed || event == ended;
    const int64_t total = feed->played();
    if (is_gone) feed.reset();
    if (!is_gone) sleepFor(300), vurl->type('s');
    expectReported(nr_takes);
    const Take take = takesOf(*vurl).at(nr_takes - 1);
    EXPECT_EQ(take["reason"], plays || !is_gone ? Take() : "A device has been added or removed.");
    EXPECT_EQ(take["samples"], TakeFile(path).frames);
    if (is_gone) open();
    EXPECT_TRUE(eventually([&] { return kStory[event][0] == '\0' || countInLog(kStory[event]) > story; }));
    check(path, is_gone ? total : feed->played());
  }

  int period = 0; ///< of the server, in samples
  JackServer server;
  Home home{server.name()};
  std::optional<Feed> feed;
  std::optional<Program> vurl;
};

TEST_F(JackStorm, LeavesEveryTakeReadableAndTheDeviceComesBack) {
  vurl.emplace(home.recording({"nr_channels=8", "pre_record_time=0", "new_take_on_rec=false", "filename_format=T%t"},
                              {"--device", server.name(), "--verbose"}),
               Program::Stdin::keyboard);
  // The first take begins by itself.
  ASSERT_TRUE(home.hasGrownTo("T1.wav", TakeFile::kHeaderSize + 24 * 24000)) << vurl->errors();
  vurl->type('s');
  expectReported(1);
  for (int round = 0; round < rounds && !HasFatalFailure(); ++round) run(round);
  vurl->type('q');
  EXPECT_NE(vurl->wait(), -1);
}

} // namespace vurl
