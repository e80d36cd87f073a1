// vurl history and vurl report: the takes that there are, and what is told of them.
#include "app/Commands.h"
#include "app/HistoryControler.h"
#include "app/Json.h"
#include "app/SilentHistory.h"
#include "app/SoundReport.h"
#include "platform/PollRunLoop.h"
#include "platform/Text.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <set>

namespace vurl {
namespace {

/// Shows a terminal how far the reading is; rows are printed in the end.
class ReadingView final : public SilentHistory {
public:
  void showHistoryProgress(size_t done, size_t total) override {
    if (!is_terminal || total < kMany) return;
    std::fprintf(stderr, "\rReading takes: %zu of %zu%s", done, total, done == total ? "\r\033[K" : "");
  }

private:
  static constexpr size_t kMany = 500; ///< fewer are read before anyone looks
  const bool is_terminal = isatty(STDERR_FILENO) == 1;
};

/// The history as it is on disk.
struct ReadHistory {
  explicit ReadHistory(const UserDefaults& defaults) : controler(defaults, run_loop, view) {
    controler.loadHistoryAtOnce();
  }

  PollRunLoop run_loop;
  ReadingView view;
  HistoryControler controler;
};

using Row = std::vector<std::string>;

std::vector<Row> tableOf(const HistoryControler& history) {
  std::vector<Row> rows{{"#"}};
  rows[0].insert(rows[0].end(), HistoryControler::kColumns.begin(), HistoryControler::kColumns.end());
  for (int32_t row = 0; row < history.numberOfRows(); row++) {
    Row& cells = rows.emplace_back(Row{text("%i", row + 1)});
    for (const std::string_view column : HistoryControler::kColumns) {
      cells.push_back(printable(history.objectValue(column, row)));
    }
  }
  return rows;
}

void printTable(const std::vector<Row>& rows) {
  std::vector<size_t> widths(rows[0].size());
  for (const Row& row : rows) {
    for (size_t i = 0; i < row.size(); i++) widths[i] = std::max(widths[i], nrCodePoints(row[i]));
  }
  for (const Row& row : rows) {
    std::string line;
    for (size_t i = 0; i < row.size(); i++) {
      line += row[i];
      if (i + 1 < row.size()) line.append(widths[i] - nrCodePoints(row[i]) + 2, ' ');
    }
    std::printf("%s\n", line.c_str());
  }
}

Json asJson(const HistoryControler& history) {
  Json list = Json::array();
  for (int32_t row = 0; row < history.numberOfRows(); row++) {
    Json take = Json::object();
    for (const std::string_view column : HistoryControler::kColumns) {
      take[std::string(column)] = history.objectValue(column, row);
    }
    list.push_back(std::move(take));
  }
  return list;
}

} // namespace

int runHistory(UserDefaults& defaults, bool json) {
  const ReadHistory history(defaults);
  if (json) {
    printJson(asJson(history.controler));
  } else if (history.controler.numberOfRows() == 0) {
    std::fprintf(stderr, "vurl: There are no takes in the destination folders.\n");
  } else {
    printTable(tableOf(history.controler));
  }
  return kExitFine;
}

int runReport(UserDefaults& defaults, bool open) {
  const ReadHistory history(defaults);
  int exit_code = kExitFine;
  std::string last;
  std::set<std::string> rendered;
  for (const std::string& stored : history.controler.folders()) {
    const std::string folder = expandTilde(stored);
    if (folder.empty() || !rendered.insert(folder).second) continue;
    std::string reason;
    const auto page = renderSoundReport(folder, history.controler.takes(), reason);
    if (page) {
      std::printf("%s\n", page->c_str());
      last = *page;
    } else {
      std::fprintf(stderr, "vurl: The sound report of %s could not be rendered: %s\n", folder.c_str(), reason.c_str());
      exit_code = kExitHarmed;
    }
  }
  if (!open || last.empty() || openWithDesktop(last)) return exit_code;
  std::fprintf(stderr, "vurl: %s could not be shown in the browser.\n", last.c_str());
  return kExitHarmed;
}

} // namespace vurl
