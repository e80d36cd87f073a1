#include "app/NextTake.h"

#include "platform/Text.h"

#include <algorithm>
#include <set>
#include <string>

namespace vurl {
namespace {

void setTexts(MetaData& take, const UserDefaults& defaults) {
  take.setProject(defaults.stringForKey("project"));
  take.setScene(defaults.stringForKey("scene"));
  take.setSlate(defaults.stringForKey("slate"));
  take.setTake(defaults.stringForKey("take"));
  take.setRoll(defaults.stringForKey("roll"));
  take.setNote(defaults.stringForKey("note"));
  take.setContactInfo(defaults.stringForKey("contact_info"));
  take.setSessionNote(defaults.stringForKey("session_note"));
}

void setRouting(MetaData& take, const UserDefaults& defaults, int32_t files) {
  for (int32_t folder = 0; folder < take.nrFolders(); ++folder)
    take.setPath(defaults.stringForKey(text("path_for_folder%02i", folder)), folder);
  for (int32_t channel = 0; channel < take.nrChannels(); ++channel)
    take.setName(defaults.stringForKey(text("name_for_channel%02i", channel)), channel);
  for (int32_t file = 0; file < std::min(files, take.nrFiles()); ++file) {
    const int64_t folder = defaults.integerForKey(text("folder_for_file%03i", file));
    take.setFolder(static_cast<int32_t>(std::clamp<int64_t>(folder, 0, INT32_MAX)), file);
    for (int32_t channel = 0; channel < take.nrChannels(); ++channel)
      take.setEnable(defaults.boolForKey(text("channel%02i_in_file%03i", channel, file)), channel, file);
  }
}

/// Samples since local midnight.
uint64_t timeOfDay(const MetaData& take) {
  int64_t seconds = 0;
  for (const char* const unit : {"%H", "%M", "%S"})
    seconds = seconds * 60 + leadingInteger(take.originationDateString(unit));
  return static_cast<uint64_t>(seconds) * static_cast<uint64_t>(take.sampleRate());
}

} // namespace

MetaData nextTake(const UserDefaults& defaults, int32_t files, int32_t sample_rate, const WallClock& clock) {
  const auto setting = [&](const char* key) {
    return static_cast<int32_t>(std::clamp<int64_t>(defaults.integerForKey(key), 0, INT32_MAX));
  };
  MetaData take(defaults, clock);
  take.setOriginalSampleRate(sample_rate);
  take.setSampleRate(sample_rate);
  take.setFrameRate(setting("frame_rate"));
  take.setTimestamp(timeOfDay(take));
  take.setNrChannels(setting("nr_channels"));
  take.setNrFiles(setting("nr_files"));
  take.setNrFolders(setting("nr_folders"));
  take.setBitDepth(setting("bit_depth"));
  take.setFileFormat(setting("file_format"));
  take.setCount(setting("count"));
  take.setMaximumFileSize(std::clamp<int64_t>(defaults.integerForKey("maximum_file_size"), 0, 1LL << 40) << 20);
  setTexts(take, defaults);
  setRouting(take, defaults, files);
  return take;
}

std::string nextTakeWarning(const MetaData& take) {
  if (take.nrFiles() == 0) return "The take has no files.";
  for (int32_t file = 0; file < take.nrFiles(); ++file) {
    if (take.pathForFolder(take.folderForFile(file)).empty()) return text("File %i has no folder.", file + 1);
  }
  return namesCollide(take) ? "Some files would have the same name." : "";
}

bool namesCollide(const MetaData& take) {
  std::set<std::string> names;
  for (int32_t file = 0; file < take.nrFiles(); ++file) {
    if (!names.insert(take.filenameForFile(file)).second) return true;
  }
  return false;
}

} // namespace vurl
