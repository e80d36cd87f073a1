// What reading a folder of one-file takes into the history costs, and writing the report of them. The time for ten
// times the takes tells whether anything walks the list.
#include "app/HistoryControler.h"
#include "app/SilentHistory.h"
#include "bench/Shoot.h"
#include "platform/PollRunLoop.h"
#include "tests/support/TemporaryFolder.h"

#include <benchmark/benchmark.h>

#include <map>
#include <memory>

namespace {

using namespace vurl;

/// A folder of `count` takes, made once.
struct Shoot {
  explicit Shoot(int64_t count) {
    defaults.setObject(std::string("T%t"), "filename_format");
    defaults.setInteger(1, "nr_folders");
    defaults.setObject(folder.path.string(), "path_for_folder00");
    writeTakes(folder.path.string(), count);
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
  mutable SilentHistory view;
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
