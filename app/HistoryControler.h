// The history of takes: those found in the destination folders and those recorded since, as a table, as the XML report
// in every folder and as lines of the CSV report. The engine hands it each finished take (files/FinishedTakes.h); the
// table is a HistoryView. Everything is for the main thread but what says otherwise; the list in the middle
// (app/TakeList.h) is safe for both, and the table shows it as it stood at the last reload.
#pragma once

#include "app/HistoryView.h"
#include "app/TakeFolders.h"
#include "app/TakeList.h"
#include "app/TakeReader.h"
#include "files/FinishedTakes.h"
#include "files/Salvage.h"
#include "platform/Desktop.h"
#include "platform/RunLoop.h"
#include "platform/UserDefaults.h"

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace vurl {

class HistoryControler final : public FinishedTakes {
public:
  /// The identifiers of the table's columns.
  static constexpr std::array<std::string_view, 13> kColumns{"date",  "timecode",    "duration", "filename", "project",
                                                             "scene", "slate",       "take",     "roll",     "count",
                                                             "note",  "sample_rate", "bit_depth"};

  /// Shows the file at a full path to the user; false when that cannot be.
  using Opener = std::function<bool(const std::string& path)>;

  /// `defaults`, `run_loop` and `view` outlive the history, and the history outlives the thread that calls
  /// addMetaData(). Tests bring their own `lister`.
  HistoryControler(const UserDefaults& defaults, RunLoop& run_loop, HistoryView& view, Opener opener = openWithDesktop,
                   TakeReader::Lister lister = addTakeFiles);
  ~HistoryControler() override;
  HistoryControler(const HistoryControler&) = delete;
  HistoryControler& operator=(const HistoryControler&) = delete;

  /// Tells the user of takes that were cut off and found again.
  using SalvageTeller = std::function<void(const std::vector<SalvagedTake>& takes)>;

  /// Reads the take files of all destination folders into the list: on a thread (app/TakeReader.h), which waits for the
  /// disks and completes the files that were cut off before it reads the first one. The list takes them over in slices
  /// between which the main loop goes on; when all are there it is sorted, the table reloaded and its last row
  /// selected. Nothing leaves the list. Called while it runs, it reads the folders once more behind that, or at once
  /// when a disk does not answer. Reports that finished takes brought about meanwhile lack takes; they are written once
  /// more in the end, on a thread of their own.
  /// When all is read the teller is told of the takes that were cut off, and the thread that writes the reports gives
  /// them their line in the CSV report and their place in the XML report.
  void loadHistory();

  /// Reports the takes among `saved` that are in the list, as loadHistory() does with those it found itself. Returns
  /// when the reports are written.
  void reportSalvaged(const std::vector<SalvagedTake>& saved);

  /// Who is told of takes that were saved, on the main thread; nobody at first.
  void setSalvageTeller(SalvageTeller teller) { tell_salvaged = std::move(teller); }

  /// Who is told, on the main thread and once a load, of a folder that has not answered for two seconds; the load goes
  /// on when it does. A warning at first.
  void setSilenceTeller(std::function<void(const std::string& folder)> teller) { tell_silence = std::move(teller); }

  /// Reads while the caller waits, for a program that has nothing else to do, and leaves files as they are.
  void loadHistoryAtOnce();

  bool isLoading() const { return loading != nullptr; }

  /// Makes whole the reports that were written while the folders were still being read, reading what is left of them;
  /// otherwise, and when a folder does not answer, does nothing. For the end of the program.
  void completeReports();

  /// Lists a finished take, appends it to the CSV report and rewrites the XML reports. The table follows on the main
  /// loop. Thread: any, the engine's processing thread as a rule.
  void addMetaData(const std::shared_ptr<const MetaData>& meta_data) override;

  /// The take of the selected row, or nothing.
  std::shared_ptr<const MetaData> selectedMetaData() const;

  /// The take of a row, or nothing.
  std::shared_ptr<const MetaData> metaDataOfRow(int32_t row) const;

  /// Writes the XML report, with its stylesheets beside it, into every folder; the first failure ends that, with a log
  /// line. A folder that a load waits for is left out: the load makes up for that. Any thread; a second one waits.
  void saveHistory();

  /// The XML report: the iXML documents of the takes' first files, with the user's texts as they are. Any thread.
  std::string bwfXMLList() const;

  /// Appends the take's line to its CSV report, which is made with its header when it is missing. Any thread; a second
  /// one waits.
  void addToCSV(const MetaData& meta_data);

  /// The same unless the report has that line. Any thread; a second one waits.
  void addToCSVOnce(const MetaData& meta_data);

  /// The folder whose report print() opens. Any thread.
  void setWebFolder(const std::string& path);
  std::string webFolder() const;

  /// Renders the report of webFolder() for reading and printing, and opens it in the user's browser; the XML as it is
  /// when it cannot be rendered. Works on a thread of its own.
  void print();

  /// The destination folders as they are stored. Any thread.
  std::vector<std::string> folders() const;

  /// The takes as they stand now. Any thread.
  std::vector<TakePointer> takes() const { return list.takes(); }

  int32_t numberOfRows() const { return static_cast<int32_t>(shown.size()); }

  /// What stands in a cell; empty for a row or a column that there is not.
  std::string objectValue(std::string_view column, int32_t row) const;

private:
  struct Loading;

  void beginLoading(bool salvages);
  std::vector<Salvage> salvagedByNow() const;
  bool loadNextFiles();
  void tellSilence();
  void setSilentFolder(const std::string& path);
  std::string silentFolder() const;
  void finishLoading();
  void noteSalvaged(const std::vector<SalvagedTake>& saved);
  void rewritePartialReports();
  void reload();

  const UserDefaults& defaults;
  RunLoop& run_loop;
  HistoryView& view;
  const Opener opener;
  const TakeReader::Lister lister;
  SalvageTeller tell_salvaged;
  std::function<void(const std::string& folder)> tell_silence;
  TakeList list;
  std::vector<TakePointer> shown; ///< the table's rows
  std::unique_ptr<Loading> loading;
  std::vector<MetaData> salvaged;              ///< takes that still lack their line in the CSV report
  mutable std::mutex folder_mutex;             ///< guards the next two
  std::string web_folder;                      ///< as stored or with its "~" expanded
  std::string silent_folder;                   ///< with a disk that a load waits for; empty when all answer
  std::mutex report_mutex;                     ///< held while reports are written
  std::mutex csv_mutex;                        ///< held while a CSV report is read or written
  std::atomic<bool> is_reading = false;        ///< the list does not hold all takes yet
  std::atomic<bool> is_report_partial = false; ///< a report was written meanwhile
  std::thread saving;
  std::thread printing;
  std::atomic<bool> is_printing = false;
  std::shared_ptr<bool> alive = std::make_shared<bool>(true); ///< posted work looks whether the history still is
};

} // namespace vurl
