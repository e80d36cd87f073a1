// What the output file engine takes from the settings and the ring into the record of a take, when its files are opened
// and again when they are closed.
#include "files/BWFUtils.h"
#include "files/OutputFile.h"
#include "platform/Log.h"

#include <sys/stat.h>

#include <algorithm>

namespace vurl {
namespace {

constexpr int64_t kSecondsPerDay = 86400;

} // namespace

/// Samples since midnight as a take stores them: a start before midnight belongs to the day before.
uint64_t OutputFile::timeOfDay(int64_t samples) const {
  if (samples < 0) samples += kSecondsPerDay * audio_ring.adjustedSampleRate();
  return static_cast<uint64_t>(std::max<int64_t>(samples, 0));
}

/// From where the samples ended, which the ring's recording position may have left behind by now.
void OutputFile::stampAtEnd() {
  const int64_t end = startPosition() + nrSamples();
  meta_data->setTimestamp(timeOfDay(audio_ring.timestampAt(static_cast<uint64_t>(end)) - nrSamples()));
}

/// A reason when the take's record cannot become files where the user will find them.
OutputFile::Reason OutputFile::whyNotRecordable() const {
  if (refusal_of_take) return refusal_of_take;
  if (meta_data->nrFiles() == 0) return "The take has no files.";
  for (int32_t file = 0; file < meta_data->nrFiles(); ++file) {
    if (meta_data->pathForFolder(meta_data->folderForFile(file)).empty()) {
      return text("File %i of the take has no folder.", file + 1);
    }
  }
  return std::nullopt;
}

void OutputFile::warnOfWhatIsMissing() const {
  if (!audio_ring.timecodeLock()) warn("The time source is not locked: the take's start time may be wrong.");
  if (meta_data->nrChannels() == 0) warn("The take has no channels: its files will hold no sound.");
  for (int32_t file = 0; file < meta_data->nrFiles(); ++file) {
    if (meta_data->nrChannels() > 0 && meta_data->nrTracksForFile(file) == 0) {
      warn("No channel is routed into file %i of the take: it will hold no sound.", file + 1);
    }
  }
}

void OutputFile::updateSystemData() {
  nr_samples.store(0, std::memory_order_release);
  start_position.store(audio_ring.recordingPosition(), std::memory_order_release);
  meta_data->setNrSamples(0);
  meta_data->setSampleOffset(kHeaderSize);
  meta_data->setOriginationDate(clock().seconds);
  meta_data->setTimestamp(timeOfDay(audio_ring.timestampAtRecordingPosition()));
  meta_data->setOriginalSampleRate(audio_ring.sampleRate());
  meta_data->setSampleRate(audio_ring.adjustedSampleRate());
  meta_data->setMaximumFileSize(std::clamp<int64_t>(defaults.integerForKey("maximum_file_size"), 0, 1LL << 40) << 20);

  const auto setting = [this](const char* key, int64_t low, int64_t high) {
    return static_cast<int32_t>(std::clamp(defaults.integerForKey(key), low, high));
  };
  meta_data->setFrameRate(setting("frame_rate", 0, INT32_MAX));
  meta_data->setNrChannels(static_cast<int32_t>(audio_ring.nrChannels())); // as wide as the ring's frames are
  meta_data->setNrFiles(setting("nr_files", 0, kMaximumFiles));
  meta_data->setNrFolders(setting("nr_folders", 0, INT32_MAX));
  meta_data->setBitDepth(setting("bit_depth", 0, INT32_MAX));
  meta_data->setFileFormat(setting("file_format", 0, INT32_MAX));
  updateRouting(meta_data->nrChannels(), meta_data->nrFiles());
}

void OutputFile::updateRouting(int32_t nr_channels, int32_t nr_files) {
  for (int32_t channel = 0; channel < nr_channels; ++channel) {
    meta_data->setName(defaults.stringForKey(text("name_for_channel%02i", channel)), channel);
    for (int32_t file = 0; file < nr_files; ++file) {
      meta_data->setEnable(defaults.boolForKey(text("channel%02i_in_file%03i", channel, file)), channel, file);
    }
  }
  for (int32_t folder = 0; folder < meta_data->nrFolders(); ++folder) {
    meta_data->setPath(defaults.stringForKey(text("path_for_folder%02i", folder)), folder);
  }
  for (int32_t file = 0; file < nr_files; ++file) {
    const int64_t folder = defaults.integerForKey(text("folder_for_file%03i", file));
    meta_data->setFolder(static_cast<int32_t>(std::clamp<int64_t>(folder, 0, INT32_MAX)), file);
    if (meta_data->folderForFile(file) >= 0 && meta_data->folderForFile(file) != folder) {
      warn("File %i is routed to folder %qi, which the take does not have; it goes to folder %i.", file + 1, folder + 1,
           meta_data->folderForFile(file) + 1);
    }
  }
  nameFiles();
}

void OutputFile::nameFiles() {
  for (int32_t file = 0; file < meta_data->nrFiles(); ++file) {
    meta_data->setFilename("", file); // else it stands
    meta_data->setFilename(meta_data->filenameForFile(file), file);
  }
}

bool OutputFile::someNameIsTaken() const {
  struct stat about {};
  for (int32_t file = 0; file < meta_data->nrFiles(); ++file) {
    if (lstat(meta_data->filenameForFile(file).c_str(), &about) == 0) return true;
  }
  return false;
}

/// A take that is under way must find names for its next files, with nobody there to choose some: when those of the
/// settings are taken, it is numbered as one that was cut short and goes on.
void OutputFile::takeFreeNames() {
  const std::string wanted = meta_data->filenameForFile(0);
  while (someNameIsTaken() && meta_data->count() < INT32_MAX) {
    raised_count = meta_data->count() + 1;
    meta_data->setCount(raised_count);
    nameFiles();
  }
  if (raised_count != 0) warn("%@ is there already: the take goes on in %@.", wanted, meta_data->filenameForFile(0));
}

void OutputFile::updateUserData() {
  meta_data->setProject(defaults.stringForKey("project"));
  meta_data->setScene(defaults.stringForKey("scene"));
  meta_data->setSlate(defaults.stringForKey("slate"));
  meta_data->setTake(defaults.stringForKey("take"));
  meta_data->setRoll(defaults.stringForKey("roll"));
  meta_data->setNote(defaults.stringForKey("note"));
  const int64_t count = raised_count != 0 ? raised_count : defaults.integerForKey("count");
  meta_data->setCount(static_cast<int32_t>(std::clamp<int64_t>(count, 0, INT32_MAX)));
  meta_data->setContactInfo(defaults.stringForKey("contact_info"));
  meta_data->setSessionNote(defaults.stringForKey("session_note"));
}

} // namespace vurl
