#include "app/Leaving.h"

#include "platform/Log.h"
#include "platform/NewThread.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace vurl {
namespace {

constexpr std::chrono::seconds kPatienceWithHeaders{2};
constexpr std::chrono::seconds kPatienceWithTheRest{5};
constexpr std::chrono::seconds kPatienceWithReports{30};
constexpr std::chrono::seconds kLongWait{3};

/// Ends the program with `exit_code` when it lives for longer than `patience`.
class Guard {
public:
  Guard(int exit_code, std::chrono::seconds patience) {
    auto thread = newThread([exit_code, patience, over = is_over] {
      std::this_thread::sleep_for(patience);
      if (over->load()) return;
      warn("A disk does not answer; the program ends without it.");
      std::_Exit(exit_code);
    });
    if (thread.joinable()) thread.detach();
  }
  ~Guard() { is_over->store(true); }
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;

private:
  const std::shared_ptr<std::atomic<bool>> is_over = std::make_shared<std::atomic<bool>>(false);
};

} // namespace

std::string awaited(const OutputFile& output_file) {
  const std::string folder = output_file.folderAtWork();
  return folder.empty() ? "the end of the take and its reports" : folder;
}

void leaveAtOnce(Recorder& recorder, UserDefaults& defaults, int exit_code) {
  const OutputFile& engine = recorder.output_file;
  const Guard guard(exit_code, kPatienceWithTheRest); // the settings may lie on the same disk
  const std::string what = awaited(engine);
  const bool all = engine.rescueHeaders(kPatienceWithHeaders);
  warn("The program was left while it waited for %@. %@", what,
       all ? "The take's files have their headers and hold what was written until then."
           : "Some of the take's files have no final header; they hold what was written until then.");
  defaults.synchronize();
  std::_Exit(exit_code);
}

void endOf(Recorder& recorder, int exit_code) {
  recorder.controller.stopWhenRunning();
  recorder.controller.waitForIdle();
  const Guard guard(exit_code, kPatienceWithReports);
  recorder.controller.applicationWillTerminate();
}

void LongWait::look(const OutputFile& output_file) {
  const auto now = std::chrono::steady_clock::now();
  if (!since) since = now;
  if (is_told || now - *since < kLongWait || output_file.state() == OutputFile::IDLE) return;
  is_told = true;
  std::fprintf(stderr, "vurl: Waiting for %s. Ctrl-C or SIGTERM leaves it unfinished.\n", awaited(output_file).c_str());
}

} // namespace vurl
