// A history over folders of take files that a test writes, stepped by the test.
#pragma once

#include "app/HistoryControler.h"
#include "files/BWFUtils.h"
#include "platform/PollRunLoop.h"
#include "tests/support/Test.h"

namespace vurl {

struct RecordingHistoryView final : HistoryView {
  int32_t reloads = 0, row = -1;
  size_t done = 0, total = 0;

  void reloadHistory() override { reloads++; }
  void selectHistoryRow(int32_t selected) override { row = selected; }
  int32_t selectedHistoryRow() const override { return row; }
  void showHistoryProgress(size_t files_done, size_t files) override { done = files_done, total = files; }
};

struct HistoryRig : testing::Test {
  HistoryRig() {
    defaults.setObject(std::string("report"), "csv_filename_format");
    defaults.setObject(folder.path.string(), "csv_folder");
    useFolders({folder.path.string()});
  }

  void useFolders(const std::vector<std::string>& paths) {
    defaults.setInteger(static_cast<int64_t>(paths.size()), "nr_folders");
    for (size_t i = 0; i < paths.size(); i++) defaults.setObject(paths[i], text("path_for_folder%02i", i));
  }

  /// A take of `nr_files` files named "NAME1.wav" and so on, `minute` minutes into the day; file n carries channel n.
  MetaData take(const std::string& name, int64_t minute, int32_t nr_files = 1) const {
    MetaData take(defaults, [minute] { return WallTime{1700000000 + minute * 60, 0, 0}; });
    // clang-format off
    take.setFileFormat(MetaData::kBWF); take.setBitDepth(INTEGER24); take.setSampleRate(48000);
    take.setOriginalSampleRate(48000); take.setFrameRate(FRAME_RATE_25); take.setNrFiles(nr_files);
    take.setNrChannels(8); take.setNrSamples(48000 * 61); take.setTimestamp(uint64_t{48000} * 3600); take.setCount(1);
    take.setSampleOffset(kHeaderSize); take.setProject("Film"); take.setScene("3"); take.setSlate(name); take.setTake("2");
    // clang-format on
    for (int32_t file = 0; file < nr_files; file++) {
      take.setEnable(true, file, file);
      take.setName(text("mic %i", file), file);
      take.setFilename(folder.file(text("%@%i.wav", name, file + 1)), file);
    }
    return take;
  }

  static void writeHeader(const MetaData& take, int32_t file, const std::string& path) {
    std::string area(kHeaderSize, '\0');
    add_bwf(reinterpret_cast<uint8_t*>(area.data()), 0, take, file);
    writeFile(path, area);
  }
  static void writeFiles(const MetaData& take) {
    for (int32_t file = 0; file < take.nrFiles(); file++) writeHeader(take, file, take.filenameForFile(file));
  }

  std::string rows(std::string_view column) const {
    std::string cells;
    for (int32_t row = 0; row < history.numberOfRows(); row++) cells += history.objectValue(column, row) + " ";
    return cells;
  }

  void finish(const MetaData& meta_data) { history.addMetaData(std::make_shared<const MetaData>(meta_data)); }

  TemporaryFolder folder;
  CapturedLog log;
  UserDefaults defaults;
  PollRunLoop run_loop;
  RecordingHistoryView view;
  std::vector<std::string> opened;
  const HistoryControler::Opener opener = [this](const std::string& path) { return opened.push_back(path), true; };
  HistoryControler history{defaults, run_loop, view, opener};
};

} // namespace vurl
