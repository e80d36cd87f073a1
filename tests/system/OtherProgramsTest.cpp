// Takes read by programs that know nothing of the recorder: all must find in a file what vurl reported of it.
#include "platform/Text.h"
#include "tests/system/Workbench.h"

#include <gtest/gtest.h>

namespace vurl {
namespace {

TEST(OtherPrograms, FindWhatVurlReported) {
  const Home home;
  const Words settings = {"project=Night & <Day>", "scene=12A", "take=7", "increment_take=false"};
  const struct {
    int depth, bits, channels;
    const char* encoding;
  } cases[] = {{1, 16, 1, "16-bit Signed Integer PCM"},
               {2, 24, 2, "24-bit Signed Integer PCM"},
               {3, 32, 8, "32-bit Floating Point PCM"}};
  for (const auto& [depth, bits, channels, encoding] : cases) {
    SCOPED_TRACE(encoding);
    const std::string name = text("g%i", depth);
    Words words = home.recording("generator", settings, {"--duration", "0.7", "--set", "filename_format=" + name});
    words.insert(words.end(), {"--set", text("bit_depth=%i", depth), "--set", text("nr_channels=%i", channels)});
    Program vurl(words, home.environment());
    ASSERT_EQ(vurl.wait(), 0) << vurl.errors();
    const auto& [files, samples, timestamp, reason] = takeOf(vurl);
    EXPECT_GE(samples, 30000);
    const std::string path = files[0];
    const Words description = {"bPROJECT=Night & <Day>", "bSCENE=12A", "bTAKE=7", "bFILENAME=" + name + ".wav"};
    const struct {
      Words words, told, described;
    } programs[] = {
        {{"sndfile-info", path},
         {"Sample Rate : 48000\n", text("Channels    : %i\n", channels), text("Bit Width     : %i\n", bits),
          text("Frames      : %qi\n", samples)},
         {}},
        {{"sndfile-info", "--broadcast", path},
         {"Originator               : Vurl Recorder\n", text("Time ref                 : 0x0%08x ", timestamp)},
         description},
        {{"soxi", path},
         {"Sample Rate    : 48000\n", text("Channels       : %i\n", channels), text(" = %qi samples ", samples),
          text("Sample Encoding: %@\n", encoding)},
         {}},
        {{"ffprobe", "-v", "error", "-show_format", "-show_streams", path},
         {"sample_rate=48000\n", text("channels=%i\n", channels), text("bits_per_sample=%i\n", bits),
          text("duration_ts=%qi\n", samples), "TAG:encoded_by=Vurl Recorder\n",
          text("TAG:time_reference=%qi\n", timestamp)},
         description},
        {{"mediainfo", "--Output=Audio;%SamplingRate% %Channels% %BitDepth% %SamplingCount% %Delay%ms", path},
         {text("48000 %i %i %qi %.6fms", channels, bits, samples, static_cast<double>(timestamp) / 48)},
         {}},
        {{"mediainfo", "--Output=General;%Producer%: %Description%", path}, {"Vurl Recorder: "}, description},
    };
    for (const auto& [program, told, described] : programs) {
      const std::string output = printedBy(program);
      for (const auto& part : told) EXPECT_NE(output.find(part), std::string::npos) << part << " in\n" << output;
      for (const auto& part : described) EXPECT_NE(output.find(part), std::string::npos) << part << " in\n" << output;
    }
  }
}

} // namespace
} // namespace vurl
