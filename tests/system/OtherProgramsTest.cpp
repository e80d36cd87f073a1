// Takes read by programs that know nothing of the recorder: all must find in a file what vurl reported of it.
#include "tests/system/Workbench.h"

namespace vurl {

TEST(OtherPrograms, FindWhatVurlReported) {
  const Home home;
  for (const auto& [depth, bits, channels] : {std::array{1, 16, 1}, {2, 24, 2}, {3, 32, 8}}) {
    SCOPED_TRACE(bits);
    const std::string name = text("g%i", depth);
    const Words settings = {"project=Night & <Day>", "filename_format=" + name, text("bit_depth=%i", depth),
                            text("nr_channels=%i", channels)};
    const Take take = takesBy(home.recording(settings, {"--device", "generator", "--duration", "0.7"})).at(0);
    const int64_t samples = take["samples"], timestamp = take["timestamp"];
    EXPECT_GE(samples, 30000);
    const std::string path = take["files"][0];
    const Words description = {"bPROJECT=Night & <Day>", "bFILENAME=" + name + ".wav"};
    // clang-format off
    const std::pair<Words, Words> programs[] = {
        {{"sndfile-info", path}, {"Sample Rate : 48000\n", text("Channels : %i\n", channels),
                                  text("Bit Width : %i\n", bits), text("Frames : %qi\n", samples)}},
        {{"sndfile-info", "--broadcast", path},
         {"Originator : Vurl Recorder\n", text("Time ref : 0x0%08x ", timestamp)}},
        {{"soxi", path}, {"Sample Rate : 48000\n", text("Channels : %i\n", channels), text(" = %qi samples ", samples),
                          text("Sample Encoding: %i-bit", bits)}},
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
