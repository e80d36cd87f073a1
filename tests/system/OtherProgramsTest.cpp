// Takes read by programs that know nothing of the recorder: all must find in a file what vurl reported of it.
#include "files/BWFUtils.h"
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
                            "filename_format=" + name,
                            text("bit_depth=%i", depth),
                            text("nr_channels=%i", channels)};
    Program vurl(home.recording(settings, {"--device", "generator", "--duration", "0.7"}));
    ASSERT_EQ(vurl.wait(), 0) << vurl.errors();
    const Take take = takeOf(vurl);
    const int64_t samples = take["samples"], timestamp = take["timestamp"];
    EXPECT_GE(samples, 30000);
    const std::string path = take["files"][0];
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

TEST(OtherPrograms, CountTheFourBytesOfEditsInACAFFileAsASample) {
  const Home home;
  Program vurl(home.recording({"file_format=2", "nr_channels=2"}, {"--device", "generator", "--duration", "0.7"}));
  ASSERT_EQ(vurl.wait(), 0) << vurl.errors();
  const Take take = takeOf(vurl);
  const std::string path = take["files"][0], counted = std::to_string(int64_t{take["samples"]} - 1);
  expectParts(printedBy({"sndfile-info", path}), {"Channels : 2\n", "Bits / channel : 24\n", "Frames : " + counted});
  expectParts(printedBy({"soxi", path}), {"24-bit Signed Integer PCM\n", " = " + counted + " samples "});
  expectParts(printedBy({"ffprobe", "-v", "error", "-show_streams", path}), {"nb_frames=" + counted + "\n"});
}

TEST(OtherPrograms, OpenAFileOfMoreThanFourGigabytes) {
  const TemporaryFolder folder;
  const UserDefaults defaults;
  MetaData take(defaults);
  take.setSampleOffset(kHeaderSize);
  take.setSampleRate(48000);
  take.setBitDepth(INTEGER16);
  take.setNrChannels(1);
  take.setEnable(true, 0, 0);
  take.setNrSamples(2300000000);
  std::string header(kHeaderSize, '\0');
  add_bwf(reinterpret_cast<uint8_t*>(header.data()), 0, take, 0);
  const std::string path = folder.file("large.wav");
  writeFile(path, header);
  std::filesystem::resize_file(path, static_cast<uintmax_t>(take.fileSizeForFile(0))); // takes no room on disk
  expectParts(printedBy({"sndfile-info", path}), {"RF64\n", "Frames : 2300000000\n"});
  expectParts(printedBy({"ffprobe", "-v", "error", "-show_streams", path}), {"duration_ts=2300000000\n"});
}

} // namespace vurl
