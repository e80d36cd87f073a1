// Takes read by programs that know nothing of the recorder: all must find in a file what vurl reported of it.
#include "hardware/GeneratorHardware.h"
#include "tests/system/Workbench.h"

namespace vurl {

/// Bit depth, bits, channels, and what one of the programs calls that.
constexpr std::tuple<int, int, int, const char*> kEncodings[] = {{1, 16, 1, "16-bit Signed Integer PCM"},
                                                                 {2, 24, 2, "24-bit Signed Integer PCM"},
                                                                 {3, 32, 8, "32-bit Floating Point PCM"}};

TEST(OtherPrograms, FindWhatVurlReported) {
  const Home home;
  for (const auto& [depth, bits, channels, encoding] : kEncodings) {
    SCOPED_TRACE(encoding);
    const std::string name = text("g%i", depth);
    const Words settings = {"project=Night & <Day>",
                            "scene=12A",
                            "take=7",
                            "increment_take=false",
                            "time_source=5",
                            "filename_format=" + name,
                            text("bit_depth=%i", depth),
                            text("nr_channels=%i", channels)};
    Program vurl(home.recording(settings, {"--device", "generator", "--clock-source", "ext", "--duration", "0.7"}));
    ASSERT_EQ(vurl.wait(), 0) << vurl.errors();
    const Take take = takeOf(vurl);
    const int64_t samples = take["samples"], timestamp = take["timestamp"];
    EXPECT_GE(samples, 30000);
    EXPECT_EQ(timestamp, GeneratorHardware::kWordClockOffset);
    const std::string path = take["files"][0];
    const Take info = Take::parse(printedBy(home.vurl({"info", "--json", path}))).at(0);
    EXPECT_EQ(info["samples"], take["samples"]);
    EXPECT_EQ(info["ixml"], "broken") << "texts stand in the document as they are";
    const Words description = {"bPROJECT=Night & <Day>", "bSCENE=12A", "bTAKE=7", "bFILENAME=" + name + ".wav"};
    // clang-format off
    const std::pair<Words, Words> programs[] = {
        {{"sndfile-info", path}, {"Sample Rate : 48000\n", text("Channels : %i\n", channels),
                                  text("Bit Width : %i\n", bits), text("Frames : %qi\n", samples)}},
        {{"sndfile-info", "--broadcast", path},
         {"Originator : Vurl Recorder\n", text("Time ref : 0x0%08x ", timestamp)}},
        {{"soxi", path}, {"Sample Rate : 48000\n", text("Channels : %i\n", channels), text(" = %qi samples ", samples),
                          text("Sample Encoding: %@\n", encoding)}},
        {{"ffprobe", "-v", "error", "-show_format", "-show_streams", path},
         {"sample_rate=48000\n", text("channels=%i\n", channels), text("bits_per_sample=%i\n", bits),
          text("duration_ts=%qi\n", samples), "encoded_by=Vurl Recorder\n", text("time_reference=%qi\n", timestamp)}},
        {{"mediainfo", "-f", path},
         {"Sampling rate : 48000\n", text("Channel(s) : %i\n", channels), text("Bit depth : %i\n", bits),
          text("Samples count : %qi\n", samples), "Producer : Vurl Recorder\n",
          text("Delay : %.6f\n", static_cast<double>(timestamp) / 48)}}};
    // clang-format on
    for (const auto& [program, told] : programs) {
      const std::string printed = printedBy(program);
      expectParts(printed, told);
      if (program.size() > 2) expectParts(printed, description);
    }
  }
}

} // namespace vurl
