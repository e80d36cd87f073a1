// A time source gives a take the stamp that it promises: with a live JACK server, where the sound itself tells which
// sample the take begins with. And what vurl tells of takes afterwards.
#include "tests/support/JackServer.h"
#include "tests/support/LibLTC.h"
#include "tests/system/Feed.h"

namespace vurl {

constexpr int64_t kRate = 48000, kFrame = kRate / 25;

TEST(TimeSources, StampTheVerySampleFromAJackServer) {
  const int64_t ltc_start = (9 * 3600 + 58 * 60 + 57) * kRate;
  JackServer server;
  server.start();
  const Home home(server.name());
  const Feed feed(server.name(), 2, libltcSignal(25, false, kRate, 60 * kRate));
  feed.roll(3600 * kRate);
  // clang-format off
  const std::tuple<int, int64_t, int64_t> cases[] = {
      {3, ltc_start, kFrame / 2}, {4, feed.transportLead(), kFrame / 80}, {5, feed.frameTimeLead(), 0}};
  // clang-format on
  for (const auto& [source, lead, tolerance] : cases) {
    SCOPED_TRACE(source);
    Words options = {"--device", server.name(), "--duration", source == 3 ? "8" : "1"};
    if (source == 3) options.emplace_back("--auto-start");
    const Take take = takesBy(home.recording({text("time_source=%i", source), text("filename_format=j%i", source),
                                              "nr_channels=2", "channel01_in_file000=false"},
                                             options))
                          .at(0);
    const Heard heard = expectSequence(TakeFile(take["files"][0]), {0}, feed.played());
    EXPECT_NEAR(static_cast<double>(take["timestamp"]), static_cast<double>(lead + heard.number),
                static_cast<double>(tolerance));
  }
}

TEST(Info, TellsWhatCanBeReadAndSaysWhatCannot) {
  const Home home;
  const Words options = {"--device", "generator", "--duration", "0.5"};
  const std::string escape = "scene=a\x7f\xe2\x80\xae\xc2\x9b";
  for (const Words& settings :
       {Words{"filename_format=good%f", "nr_files=2", "channel02_in_file001=true", "name_for_channel02=Boom", escape},
        Words{"filename_format=bad", "note=a & b"}, Words{"file_format=2"}})
    takesBy(home.recording(settings, options));
  const std::string takes = home.takes().string() + "/";
  writeFile(takes + "cut.wav", fileBytes(takes + "good1.wav").substr(0, 5000));
  const auto all = Take::parse(printedBy(home.vurl({"info", "--json", takes + "good2.wav", takes + "bad.wav"})));
  EXPECT_EQ(all[0]["tracks"], Take::parse(R"([{"channel":3,"name":"Boom"}])"));
  EXPECT_TRUE(all[0]["file_number"] == 2 && all[0]["files"] == 2);
  EXPECT_TRUE(all[0]["ixml"] == "read" && all[1]["ixml"] == "broken" && all[1]["note"].is_null());
  EXPECT_EQ(all[1]["channels"], 8) << "the header tells them without the document";
  Program vurl(
      home.vurl({"info", "--chunks", takes + "x.caf", takes + "cut.wav", takes + "none", takes + "good1.wav"}));
  EXPECT_EQ(vurl.wait(), 1);
  expectParts(vurl.errors(), {"cut.wav: ", "none: No such file or directory."});
  expectParts(vurl.output(), {"x.caf\n", "data           131056 ", "data           131064 ", "iXML  ", "cut.wav\n",
                              "runs past the end", "a\\x7f\\u202e\\u009b\n"});
}

} // namespace vurl
