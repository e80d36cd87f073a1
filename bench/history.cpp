// What reading a folder of one-file takes into the history costs, and writing the report of them. The time for ten
// times the takes tells whether anything walks the list.
#include "app/HistoryControler.h"
#include "files/BWFUtils.h"
#include "platform/PollRunLoop.h"
#include "platform/Text.h"
#include "tests/support/TemporaryFolder.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <memory>

namespace {

using namespace vurl;

class NoTable final : public HistoryView {
public:
  void reloadHistory() override {}
  void selectHistoryRow(int32_t /*row*/) override {}
  int32_t selectedHistoryRow() const override { return -1; }
  void showHistoryProgress(size_t /*done*/, size_t /*total*/) override {}
};

/// A header with holes in the file where it is zero: a header is 128 KiB, and the takes are thousands.
void writeSparse(const std::string& path, const std::vector<uint8_t>& bytes) {
  constexpr size_t kBlock = 4096;
  const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  bool fine = ftruncate(descriptor, static_cast<off_t>(bytes.size())) == 0;
  for (size_t at = 0; at < bytes.size(); at += kBlock) {
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(at);
    if (std::all_of(begin, begin + kBlock, [](uint8_t byte) { return byte == 0; })) continue;
    fine = fine && pwrite(descriptor, &*begin, kBlock, static_cast<off_t>(at)) == kBlock;
  }
  close(descriptor);
  if (!fine) throw std::filesystem::filesystem_error("The takes could not be written", {});
}

/// A folder of `count` takes, made once.
struct Shoot {
  explicit Shoot(int64_t count) {
    defaults.setObject(std::string("T%t"), "filename_format");
    defaults.setInteger(1, "nr_folders");
    defaults.setObject(folder.path.string(), "path_for_folder00");
    std::vector<uint8_t> area(static_cast<size_t>(kHeaderSize));
    for (int64_t number = 0; number < count; number++) {
      MetaData take(defaults, [number] { return WallTime{1500000000 + number * 60, 0, 0}; });
      take.setFileFormat(MetaData::kBWF);
      take.setBitDepth(INTEGER24);
      take.setSampleRate(48000);
      take.setTake(text("%05i", number));
      take.setNrFiles(1);
      take.setNrFolders(1);
      take.setPath(folder.path.string(), 0);
      take.setNrChannels(8);
      for (int32_t channel = 0; channel < 8; channel++) take.setEnable(true, channel, 0);
      add_bwf(area.data(), 0, take, 0);
      writeSparse(take.filenameForFile(0), area);
    }
  }

  static const Shoot& of(int64_t count) {
    static std::map<int64_t, std::unique_ptr<Shoot>> shoots;
    auto& shoot = shoots[count];
    if (shoot == nullptr) shoot = std::make_unique<Shoot>(count);
    return *shoot;
  }

  TemporaryFolder folder;
  UserDefaults defaults;
  mutable PollRunLoop run_loop;
  mutable NoTable view;
};

void loadHistory(benchmark::State& state) {
  const Shoot& shoot = Shoot::of(state.range(0));
  HistoryControler(shoot.defaults, shoot.run_loop, shoot.view)
      .loadHistoryAtOnce(); // the files are in memory from now on
  for (auto _ : state) {
    HistoryControler history(shoot.defaults, shoot.run_loop, shoot.view);
    history.loadHistoryAtOnce();
    if (history.numberOfRows() != state.range(0)) state.SkipWithError("Takes are missing");
  }
  state.SetComplexityN(state.range(0));
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(loadHistory)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond)->Complexity(benchmark::oN);

/// What the end of a take costs with so many takes listed: the report is rewritten whole.
void addMetaData(benchmark::State& state) {
  const Shoot& shoot = Shoot::of(state.range(0));
  HistoryControler history(shoot.defaults, shoot.run_loop, shoot.view);
  history.loadHistoryAtOnce();
  history.saveHistory(); // makes the texts of all takes once
  const auto take = history.metaDataOfRow(0);
  for (auto _ : state) history.addMetaData(take);
}
BENCHMARK(addMetaData)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond)->Iterations(5);

} // namespace
