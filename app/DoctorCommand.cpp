// vurl doctor: whether the computer is fit for a shoot, and what to change if not.
#include "app/Commands.h"
#include "app/DeviceChecks.h"
#include "app/DiskChecks.h"
#include "app/Json.h"
#include "app/NextTake.h"
#include "app/Recorder.h"
#include "app/SystemChecks.h"
#include "platform/PollRunLoop.h"
#include "platform/SettingsLock.h"
#include "platform/Text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <set>

namespace vurl {
namespace {

constexpr std::array kMarks = {"fine", "note", "change"};
constexpr int32_t kUsualRate = 48000;

const char* markOf(const Finding& finding) { return kMarks[static_cast<size_t>(finding.mark)]; }
bool mustChange(const Finding& finding) { return finding.mark == Finding::Mark::change; }

/// A take that is being made must not wait for a measurement.
bool isRecorderRunning(const UserDefaults& defaults) {
  std::string reason;
  return !SettingsLock::take(defaults.file(), reason);
}

void append(std::vector<Finding>& findings, std::vector<Finding> more) {
  std::ranges::move(more, std::back_inserter(findings));
}

std::vector<Finding> lookAround(UserDefaults& defaults) {
  std::vector<Finding> findings = {checkRealTime(), checkLockedMemory(defaults.integerForKey("nr_channels")),
                                   checkProcessors(), checkSleep()};
  PollRunLoop run_loop;
  AudioServices services(defaults, run_loop);
  const auto rows = describeDevices(services.model);
  append(findings, checkDevices(rows, defaults));

  const DeviceRow* const device = deviceInUse(rows, defaults);
  const auto rate = device == nullptr ? kUsualRate : static_cast<int32_t>(std::lround(device->sample_rate));
  const auto folders = foldersOf(nextTake(defaults, MetaData::kMaximumFiles, rate));
  const bool measures = !isRecorderRunning(defaults);
  if (!measures) findings.push_back({"disk", Finding::Mark::note, "A recorder runs: the disks are left alone.", ""});
  std::vector<DiskState> disks;
  disks.reserve(folders.size());
  for (const TakeFolder& folder : folders) disks.push_back(examineDisk(folder, measures));
  append(findings, checkDisks(folders, disks));
  return findings;
}

Json asJson(const std::vector<Finding>& findings, bool all_fine) {
  Json list = Json::array();
  for (const Finding& finding : findings) {
    list.push_back({{"topic", finding.topic},
                    {"mark", markOf(finding)},
                    {"finding", finding.text},
                    {"advice", finding.advice.empty() ? Json(nullptr) : Json(finding.advice)}});
  }
  return {{"fine", all_fine}, {"findings", list}};
}

void print(const std::vector<Finding>& findings) {
  std::set<std::string> told;
  for (const Finding& finding : findings) {
    std::printf("%-6s  %s\n", markOf(finding), finding.text.c_str());
    if (finding.advice.empty()) continue;
    const bool is_new = told.insert(finding.advice).second;
    std::printf("        -> %s\n", is_new ? finding.advice.c_str() : "The same helps as above.");
  }
  const auto count = std::ranges::count_if(findings, mustChange);
  if (count == 0)
    std::printf("All is well.\n");
  else
    std::printf("%s\n", count == 1 ? "One thing should change." : text("%qu things should change.", count).c_str());
}

} // namespace

int runDoctor(UserDefaults& defaults, bool json) {
  const auto findings = lookAround(defaults);
  const bool all_fine = std::ranges::none_of(findings, mustChange);
  if (json)
    printJson(asJson(findings, all_fine));
  else
    print(findings);
  return all_fine ? kExitFine : kExitHarmed;
}

} // namespace vurl
