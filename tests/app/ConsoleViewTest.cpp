#include "app/ConsoleView.h"

#include "tests/support/Test.h"

#include <nlohmann/json.hpp>

namespace vurl {

TEST(ConsoleView, ATakeIsPrintedWithAllItsIncidentsOnceItsFilesAreOnDisk) {
  using enum Incident::Kind;
  const UserDefaults defaults;
  const auto take = std::make_shared<MetaData>(defaults);
  take->setNrFiles(1);
  take->setNrFolders(1);
  take->setPath("/sound", 0);
  take->setFilename("/sound/take.wav", 0);
  FinishedTake finished{take, 1, {}, false, 0, {}};
  finished.incidents.first = {{samples_lost, 256, 0}, {time_jump, 512, -48000}, {standstill, 768, 600}};
  finished.incidents.counts = {1, 0, 1, 1};
  bool is_synced = false;
  ConsoleView view(true);
  view.setIsSynced([&] { return is_synced; });
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  view.takeFinished(finished);
  for (int look = 0; look < 3; ++look) view.showRing({}); // if it were printed now, what follows would be missing
  is_synced = true;
  view.showRing({}); // what failed may be told behind this look
  view.fileNotSynced("/sound/", "Input/output error");
  view.fileNotSynced("/other/take.wav", "Input/output error");
  view.showRing({});
  const auto printed = nlohmann::json::parse(testing::internal::GetCapturedStdout());
  EXPECT_EQ(printed["nr_incidents"], 4);
  EXPECT_EQ(printed["incidents"], nlohmann::json::parse(R"([
      {"kind": "samples lost", "position": 256, "samples": null},
      {"kind": "time jump", "position": 512, "samples": -48000},
      {"kind": "standstill", "position": 768, "milliseconds": 600},
      {"kind": "not on disk", "file": "/sound/", "error": "Input/output error"}])"));
  EXPECT_NE(testing::internal::GetCapturedStderr().find("had 3 incidents: samples lost once"), std::string::npos);
}

} // namespace vurl
