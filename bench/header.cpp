// What the 131,072-byte header of a take file costs: building it, which a take does for each file at its start and its
// end, and reading it from disk with all that its document tells, which the history does for every file it finds.
#include "files/BWFUtils.h"
#include "files/CAFUtils.h"
#include "files/OutputFile.h"
#include "platform/Text.h"

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

using namespace vurl;

/// A take of one file with `channels` channels.
MetaData takeOf(UserDefaults& defaults, int64_t channels) {
  defaults.setObject(std::string("S%s_T%3t_%y%m%d_%H%M%S"), "filename_format");
  MetaData take(defaults);
  take.setFileFormat(MetaData::kBWF);
  take.setBitDepth(INTEGER24);
  take.setSampleRate(48000);
  take.setNrFiles(1);
  take.setNrFolders(1);
  take.setNrChannels(static_cast<int32_t>(channels));
  for (int32_t channel = 0; channel < take.nrChannels(); ++channel) {
    take.setEnable(true, channel, 0);
    take.setName(text("channel %02i", channel + 1), channel);
  }
  return take;
}

template <auto addHeader>
void buildHeader(benchmark::State& state) {
  UserDefaults defaults;
  const MetaData take = takeOf(defaults, state.range(0));
  std::array<uint8_t, kHeaderSize> area{};
  for (auto _ : state) {
    addHeader(area.data(), 0, take, 0);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(buildHeader<add_bwf>)->Name("buildHeader")->Arg(1)->Arg(64);
BENCHMARK(buildHeader<add_caf>)->Name("buildCAFHeader")->Arg(1)->Arg(64);

void readHeader(benchmark::State& state) {
  UserDefaults defaults;
  std::array<uint8_t, kHeaderSize> area{};
  add_bwf(area.data(), 0, takeOf(defaults, state.range(0)), 0);
  std::string path = (std::filesystem::temp_directory_path() / "vurl-bench-XXXXXX").string();
  const int descriptor = mkstemp(path.data());
  PosixFileLayer layer;
  if (descriptor < 0 || writeAll(layer, descriptor, area.data(), area.size()) != 0) state.SkipWithError("no file");
  close(descriptor);
  for (auto _ : state) {
    MetaData take(defaults);
    OutputFile::readHeader(path, take);
    if (take.nrTracksForFile(0) != state.range(0)) state.SkipWithError("another header");
  }
  unlink(path.c_str());
}
BENCHMARK(readHeader)->Arg(1)->Arg(64);

} // namespace
