// The history: reading folders, merging files into takes, finished takes and their CSV line.
#include "app/SalvageTexts.h"
#include "tests/app/HistoryRig.h"

#include <sys/stat.h>

#include <unistd.h>

#include <latch>

namespace vurl {

using HistoryTest = HistoryRig;

TEST_F(HistoryTest, filesOfATakeBecomeOneRowInWhateverOrder) {
  const MetaData written = take("x", 0, 3);
  std::array<int32_t, 3> order{0, 1, 2};
  do {
    const TemporaryFolder own;
    useFolders({own.path.string()});
    const auto path = [&](size_t i) { return own.file(text("%i.wav", i)); }; // read in the order of the names
    for (size_t i = 0; i < 3; i++) writeHeader(written, order[i], path(i));
    HistoryControler read(defaults, run_loop, view);
    for (int times = 0; times < 2; times++) { // reading again changes nothing
      read.loadHistoryAtOnce();
      ASSERT_EQ(read.numberOfRows(), 1);
      const auto merged = read.metaDataOfRow(0);
      for (size_t i = 0; i < 3; i++) {
        EXPECT_EQ(merged->filenameForFile(order[i]), path(i));
        EXPECT_EQ(merged->channelMaskForFile(order[i]), written.channelMaskForFile(order[i]));
      }
    }
  } while (std::next_permutation(order.begin(), order.end()));
}

TEST_F(HistoryTest, entriesThatAreNoTakesAreLeftOut) {
  writeFiles(take("b", 2));
  writeFiles(take("a", 5));
  writeHeader(take("upper", 1), 0, folder.file("c.WAV"));
  std::filesystem::create_directory(folder.file("d.wav"));
  writeFile(folder.file("g.wav"), fileBytes(folder.file("a1.wav")).substr(0, 5000));
  writeFile(folder.file("h.caf"), "caff");
  useFolders({folder.file("missing"), folder.path.string(), folder.file("a1.wav")});
  history.loadHistoryAtOnce();
  EXPECT_EQ(rows("slate"), "b a "); // by their time
  EXPECT_TRUE(view.reloads == 1 && view.done == 5 && view.total == 5);
  EXPECT_EQ(history.webFolder(), folder.path);
  for (const char* const line : {"/d.wav", "/g.wav", "/h.caf", "missing: No such file", "a1.wav: Not a directory"})
    EXPECT_TRUE(log.contains(line)) << line;
  EXPECT_EQ(history.selectedMetaData()->slate(), "a");
  view.row = 0;
  EXPECT_EQ(history.selectedMetaData()->slate(), "b");
  EXPECT_EQ(history.objectValue("bit_depth", 0) + history.objectValue("duration", 0), "24 bit00:01:01:00");
  EXPECT_EQ(history.objectValue("nonsense", 0) + history.objectValue("take", 2) + history.objectValue("take", -1), "");
}

TEST_F(HistoryTest, takesEndAndFoldersChangeWhileTheFoldersAreRead) {
  constexpr int32_t kTakes = 400;
  for (int32_t i = 0; i < kTakes; i++) writeFiles(take(text("t%03i-", i), i));
  MetaData early = take("t000-", 0); // was read while it ran, and its stamp moved at the end
  early.setTimestamp(777);
  const MetaData late = take("u", kTakes);
  const TemporaryFolder other;
  writeHeader(take("v", kTakes + 1), 0, other.file("v.wav"));

  int ticks = 0;
  const auto transport = run_loop.every(std::chrono::milliseconds(1), [&] {
    if (view.done == 0 || ++ticks != 1) return;
    EXPECT_LT(view.done, view.total);
    std::thread([&] { // the processing thread
      for (const MetaData& ended : {early, late}) writeFiles(ended), finish(ended);
    })
        .join();
    useFolders({other.path.string(), folder.path.string()});
    history.loadHistory();
  });
  history.loadHistory();
  while (history.isLoading()) run_loop.runOnce(std::chrono::milliseconds(1000));
  EXPECT_GE(ticks, 3);
  EXPECT_EQ(history.numberOfRows(), kTakes + 2);
  EXPECT_NE(rows("slate").find("t399- u v "), std::string::npos);
  EXPECT_EQ(view.reloads, 4); // two takes, two loads
  EXPECT_TRUE(history.metaDataOfRow(0)->playback());
  const auto is_complete = [&] { return fileBytes(other.file("soundreport.xml")) == history.bwfXMLList(); };
  for (int patience = 800; !is_complete() && patience > 0; patience--) usleep(5000);
  EXPECT_TRUE(is_complete());
}

TEST_F(HistoryTest, aFolderThatHangsHoldsUpNothing) {
  const TemporaryFolder hung;
  const auto answers = std::make_shared<std::latch>(1);
  HistoryControler read(defaults, run_loop, view, opener,
                        [answers, path = hung.path.string()](auto& name, auto& paths) {
                          if (name == path) answers->wait();
                          return addTakeFiles(name, paths);
                        });
  std::string told;
  read.setSilenceTeller([&](const std::string& name) { told += name; });
  writeFiles(take("before", 0));
  useFolders({hung.path.string(), folder.path.string()});
  read.loadHistory();
  while (told.empty()) run_loop.runOnce(std::chrono::milliseconds(1000));
  EXPECT_EQ(told, hung.path);
  read.addMetaData(std::make_shared<const MetaData>(take("after", 1)));
  EXPECT_TRUE(std::filesystem::exists(folder.file("soundreport.xml")) && std::filesystem::is_empty(hung.path));
  useFolders({folder.path.string()});
  read.loadHistory(); // the user has chosen another
  while (read.isLoading()) run_loop.runOnce(std::chrono::milliseconds(1000));
  EXPECT_EQ(read.objectValue("slate", 0) + " " + read.objectValue("slate", 1), "before after");
  useFolders({hung.path.string()});
  read.loadHistory();
  read.addMetaData(std::make_shared<const MetaData>(take("last", 2)));
  read.completeReports();
  EXPECT_FALSE(read.isLoading());
  answers->count_down(); // whoever was left behind goes on, and must touch nothing
}

TEST_F(HistoryTest, aFinishedTakeIsReportedEverywhere) {
  const TemporaryFolder second;
  ASSERT_EQ(mkfifo(second.file("pipe.csv").c_str(), 0600), 0);
  useFolders({folder.path.string(), folder.file("missing"), second.path.string()});
  const MetaData first = take("x", 0, 2);
  finish(first);
  EXPECT_EQ(history.numberOfRows(), 0); // the table follows on the main loop
  run_loop.drain();
  EXPECT_EQ(rows("slate") + history.selectedMetaData()->slate(), "x x");
  const MetaData next = take("y", 1);
  finish(next);
  EXPECT_EQ(fileBytes(folder.file("report.csv")), MetaData::csvHeader() + first.csvLine() + next.csvLine());

  const std::string report = fileBytes(folder.file("soundreport.xml"));
  EXPECT_EQ(report, "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n"
                    "<?xml-stylesheet type=\"text/xsl\" href=\"soundreport.xsl\" ?>\r\n<BWFXML-LIST>\r\n" +
                        first.iXMLForFile(0) + "\r\n" + next.iXMLForFile(0) + "\r\n</BWFXML-LIST>\r\n");
  for (const char* const style : {"soundreport.xsl", "soundreport.css"})
    EXPECT_FALSE(fileBytes(folder.file(style)).empty()) << style;
  EXPECT_FALSE(std::filesystem::exists(second.file("soundreport.xml"))); // the one before it cannot be written
  for (const auto& path : {folder.file("missing"), second.path.string()}) {
    defaults.setObject(path, "csv_folder");
    defaults.setObject(std::string("pipe"), "csv_filename_format");
    finish(next); // nobody reads the pipe
  }
  for (const char* const line : {"soundreport.xml: No such file", "csv file: No such file", "csv file: No such device"})
    EXPECT_TRUE(log.contains(line)) << line;
}

TEST_F(HistoryTest, reportsAreWrittenThroughTheUsersOwnLinksOnly) {
  const TemporaryFolder elsewhere;
  const std::string victim = elsewhere.file("victim");
  for (const char* const name : {"soundreport.xml", "soundreport.xsl", "soundreport.css", "report.csv"})
    for (const uid_t owner : {geteuid(), uid_t{65534}}) {
      SCOPED_TRACE(text("%s of user %i", name, owner));
      writeFile(victim, "precious");
      std::filesystem::remove(folder.file(name));
      std::filesystem::create_symlink("relative", folder.file(name));
      std::filesystem::create_symlink(victim, folder.file("relative"));
      if (lchown(folder.file("relative").c_str(), owner, owner) != 0) continue; // only root makes links for others
      finish(take("x", 0));
      EXPECT_EQ(fileBytes(victim) == "precious", owner != geteuid());
      std::filesystem::remove(folder.file("relative"));
    }
}

TEST_F(HistoryTest, takesThatWereCutOffAreCompletedReportedAndTold) {
  MetaData died = take("died", 1, 2);
  died.setNrSamples(0);
  writeFiles(died);
  for (const int64_t file : {0, 1}) // the second one is longer than its header will tell
    std::filesystem::resize_file(died.filenameForFile(static_cast<int32_t>(file)),
                                 static_cast<uint64_t>(kHeaderSize + 3 * (256 + file * 1600000000)));
  std::vector<SalvagedTake> told;
  history.setSalvageTeller([&](const auto& takes) { told = takes; });
  history.loadHistoryAtOnce(); // for looking only
  EXPECT_TRUE(told.empty() && rows("duration") == "00:00:00:00 ") << rows("duration");
  HistoryControler next(defaults, run_loop, view);
  next.setSalvageTeller([&](const auto& takes) { told = takes; });
  next.loadHistory();
  while (next.isLoading()) run_loop.runOnce(std::chrono::milliseconds(5));
  next.completeReports();
  ASSERT_EQ(told.size(), 1U);
  EXPECT_EQ(salvageMessage(told), "1 take was cut off and has been completed.");
  EXPECT_EQ(salvageDetails(told),
            "died1.wav and 1 more file: 09:15:33:08 long, the shortest file 1600000000 samples less.");
  ASSERT_EQ(next.numberOfRows(), 1);
  EXPECT_EQ(next.metaDataOfRow(0)->nrSamples(), 256);
  MetaData true_one = *next.metaDataOfRow(0);
  true_one.setNrSamples(1600000256);
  const std::string line = true_one.csvLine(), csv = fileBytes(folder.file("report.csv"));
  EXPECT_TRUE(csv.find(line) != std::string::npos && csv.find(line) == csv.rfind(line)) << csv;
  EXPECT_NE(fileBytes(folder.file("soundreport.xml")).find("<DURATION_SAMPLES>256<"), std::string::npos);
}

} // namespace vurl
