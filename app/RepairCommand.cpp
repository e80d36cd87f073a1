// vurl repair: completes the headers of takes that were cut off.
#include "app/Commands.h"
#include "app/HistoryControler.h"
#include "app/Json.h"
#include "app/SalvageTexts.h"
#include "app/SilentHistory.h"
#include "app/TakeFolders.h"
#include "files/Salvage.h"
#include "platform/PollRunLoop.h"
#include "platform/SettingsLock.h"
#include "platform/Text.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>

namespace vurl {
namespace {

const char* outcomeText(Salvage::Outcome outcome) {
  switch (outcome) {
  case Salvage::Outcome::none: return "complete";
  case Salvage::Outcome::in_use: return "in use";
  case Salvage::Outcome::cut: return "cut off";
  case Salvage::Outcome::completed: return "completed";
  case Salvage::Outcome::failed: return "failed";
  }
  return "";
}

/// Adds the file at `path`, or the take files of the folder there. Returns false, with the reason on standard error,
/// when it cannot be read.
bool addFiles(const std::string& path, std::vector<std::string>& files) {
  const int error = addTakeFiles(path, files);
  if (error == 0) return true;
  std::error_code ignored;
  const bool is_link = error == ENOTDIR && std::filesystem::is_symlink(path, ignored);
  if (error == ENOTDIR && !is_link) {
    files.push_back(path);
    return true;
  }
  const std::string reason = is_link ? "Links to files are not followed" : systemError(error);
  std::fprintf(stderr, "vurl: %s: %s.\n", printable(path).c_str(), reason.c_str());
  return false;
}

Json asJson(const Salvage& file) {
  return {{"file", file.path},
          {"outcome", outcomeText(file.outcome)},
          {"take", file.take_reference},
          {"samples", file.nr_frames},
          {"sample_rate", file.sample_rate},
          {"duration", file.duration},
          {"lost_bytes", file.lost_bytes},
          {"reason", file.reason.empty() ? Json(nullptr) : Json(file.reason)}};
}

void print(const Salvage& file) {
  std::string line = text("%@: %s", printable(file.path), outcomeText(file.outcome));
  if (file.nr_frames > 0) line += text(", %@, %qi samples", file.duration, file.nr_frames);
  if (file.lost_bytes > 0) line += text(", %qi bytes of a last frame cut away", file.lost_bytes);
  if (!file.reason.empty()) line += text(", %@", file.reason);
  std::printf("%s\n", line.c_str());
}

/// Adds the takes in the destination folders that have been completed to the reports there. The reports of a recorder
/// that runs are its own; one that starts meanwhile must not be held up, so that the lock is only looked at.
void report(const UserDefaults& defaults, const std::vector<SalvagedTake>& takes) {
  std::string reason;
  if (!SettingsLock::take(defaults.file(), reason)) {
    std::fprintf(stderr, "vurl: The reports stay as they are: %s\n", reason.c_str());
    return;
  }
  PollRunLoop run_loop;
  SilentHistory table;
  HistoryControler history(defaults, run_loop, table);
  history.loadHistoryAtOnce();
  history.reportSalvaged(takes);
}

} // namespace

int runRepair(const UserDefaults& defaults, const RepairOptions& options) {
  int exit_code = kExitFine;
  std::vector<std::string> paths;
  for (const std::string& path : options.paths.empty() ? destinationFolders(defaults) : options.paths)
    if (!addFiles(expandTilde(path), paths)) exit_code = kExitHarmed;
  paths.erase(std::unique(paths.begin(), paths.end()), paths.end());
  std::vector<Salvage> found;
  for (const std::string& path : paths) {
    Salvage file = salvageFile(path, defaults, options.dry_run);
    if (file.outcome == Salvage::Outcome::failed) exit_code = kExitHarmed;
    if (file.outcome == Salvage::Outcome::none) continue;
    if (!options.json) print(file);
    found.push_back(std::move(file));
  }
  const std::vector<SalvagedTake> takes = takesOf(found);
  const auto is_completed = [](const Salvage& file) { return file.outcome == Salvage::Outcome::completed; };
  if (std::any_of(found.begin(), found.end(), is_completed)) report(defaults, takes);
  if (options.json) {
    Json list = Json::array();
    for (const Salvage& file : found) list.push_back(asJson(file));
    printJson(list, JsonCharacters::ascii);
    return exit_code;
  }
  for (const SalvagedTake& take : takes) {
    const int64_t difference = take.longest().nr_frames - take.shortest().nr_frames;
    if (difference > 0) std::printf("The files of one take differ: %s.\n", salvageLine(take).c_str());
  }
  if (found.empty())
    std::fprintf(stderr, "vurl: Nothing to repair: %i files looked at.\n", static_cast<int>(paths.size()));
  return exit_code;
}

} // namespace vurl
