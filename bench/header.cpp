// What building the 131,072-byte header of a take file costs; a take writes one for each file at its start and its end.
#include "files/BWFUtils.h"
#include "platform/Text.h"

#include <benchmark/benchmark.h>

#include <array>

namespace {

using namespace vurl;

void buildHeader(benchmark::State& state) {
  UserDefaults defaults;
  defaults.setObject(std::string("S%s_T%3t_%y%m%d_%H%M%S"), "filename_format");
  MetaData take(defaults);
  take.setFileFormat(MetaData::kBWF);
  take.setBitDepth(INTEGER24);
  take.setSampleRate(48000);
  take.setNrFiles(1);
  take.setNrFolders(1);
  take.setNrChannels(static_cast<int32_t>(state.range(0)));
  for (int32_t channel = 0; channel < take.nrChannels(); ++channel) {
    take.setEnable(true, channel, 0);
    take.setName(text("channel %02i", channel + 1), channel);
  }
  std::array<uint8_t, kHeaderSize> area{};
  for (auto _ : state) {
    add_bwf(area.data(), 0, take, 0);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(buildHeader)->Arg(1)->Arg(64);

} // namespace
