#include "app/SalvageTexts.h"

#include "platform/Text.h"

#include <algorithm>

namespace vurl {
namespace {

constexpr size_t kLinesShown = 5;

bool hasFailed(const Salvage& file) { return file.outcome == Salvage::Outcome::failed; }

std::string counted(size_t number, const char* thing) {
  return text("%i %s%s", static_cast<int64_t>(number), thing, number == 1 ? "" : "s");
}

} // namespace

std::string salvageMessage(const std::vector<SalvagedTake>& takes) {
  const auto nr_failed = static_cast<size_t>(std::count_if(takes.begin(), takes.end(), [](const SalvagedTake& take) {
    return std::any_of(take.files.begin(), take.files.end(), hasFailed);
  }));
  const char* const were = takes.size() == 1 ? "was" : "were";
  if (nr_failed == takes.size())
    return counted(takes.size(), "take") + text(" %s cut off and cannot be completed.", were);
  const std::string rest = nr_failed == 0 ? "" : text(" %i could not be.", static_cast<int64_t>(nr_failed));
  const char* const have = takes.size() == 1 ? "has" : "have";
  return counted(takes.size(), "take") + text(" %s cut off and %s been completed.%s", were, have, rest);
}

std::string salvageLine(const SalvagedTake& take) {
  const Salvage& first = take.files.front();
  std::string line = printable(first.path.substr(first.path.find_last_of('/') + 1));
  if (take.files.size() > 1) line += " and " + counted(take.files.size() - 1, "more file");
  if (!take.longest().duration.empty()) line += text(": %@ long", take.longest().duration);
  const int64_t difference = take.longest().nr_frames - take.shortest().nr_frames;
  if (difference > 0) line += text(", the shortest file %qi samples less", difference);
  const auto failed = std::find_if(take.files.begin(), take.files.end(), hasFailed);
  if (failed != take.files.end()) line += text(", not completed: %@", failed->reason);
  return line;
}

std::string salvageDetails(const std::vector<SalvagedTake>& takes) {
  std::string details;
  for (size_t i = 0; i < std::min(takes.size(), kLinesShown); i++)
    details += (i == 0 ? "" : " ") + salvageLine(takes[i]) + '.';
  if (takes.size() > kLinesShown) details += text(" And %i more.", static_cast<int64_t>(takes.size() - kLinesShown));
  return details;
}

} // namespace vurl
