#include "files/OutputFile.h"

#include "engine/SampleFormat.h"
#include "files/BWFUtils.h"
#include "platform/Log.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace vurl {
namespace {

constexpr int64_t kSecondsPerDay = 86400;

uint64_t printed(const void* address) { return reinterpret_cast<uintptr_t>(address); }

} // namespace

OutputFile::OutputFile(AudioRing& ring, const UserDefaults& settings, FileLayer& layer, FinishedTakes* takes,
                       WallClock wall_clock)
    : audio_ring(ring), defaults(settings), file_layer(layer), history(takes), clock(std::move(wall_clock)) {
  fds.fill(-1);
  log("init movie, fds: %x", printed(tableAddress()));
}

OutputFile::~OutputFile() {
  stopThread();
  closeLeftOvers();
}

void OutputFile::startThread(std::chrono::milliseconds period) {
  thread = std::thread([this, period] {
    while (state() != GONE) {
      processingPass();
      std::this_thread::sleep_for(period);
    }
  });
}

void OutputFile::stopThread() {
  if (!thread.joinable()) return;
  setState(EXIT);
  thread.join();
}

void OutputFile::processingPass() {
  const State current = state();
  noteDeviceProgress(current);
  switch (current) {
  case IDLE:
    audio_ring.applyWantedChannels();
    audio_ring.idleRecord();
    break;
  case EXIT: publish(EXIT, GONE); break;
  case STARTING_RECORDING:
  case RUNNING_RECORDING:
  case BORDER_RECORDING:
  case STOPPING_RECORDING: publish(current, recordingPass(current)); break;
  default: break; // the finished states wait for the controller
  }
}

OutputFile::State OutputFile::recordingPass(State current) {
  if (current == STARTING_RECORDING) {
    stop_pressed.store(false, std::memory_order_release);
    audio_ring.applyWantedChannels();
    audio_ring.idleRecord();
    return setReason(openMovieForRecording()) ? FINISHED_RECORDING : RUNNING_RECORDING;
  }
  if (current != STOPPING_RECORDING) return addingToMovieForRecording();
  audio_ring.idleRecord();
  const Reason error = closeMovieForRecording();
  if (!reasonIsHeld()) {
    setReason(error);
    if (history != nullptr) history->addMetaData(meta_data);
  }
  return FINISHED_RECORDING;
}

/// Stores the outcome of a step unless somebody changed the state during it. A STOP that came meanwhile stands, unless
/// the step found that the take must be closed at once.
void OutputFile::publish(State before, State after) {
  int32_t expected = before;
  if (current_state.compare_exchange_strong(expected, after)) return;
  if (before == RUNNING_RECORDING && expected == BORDER_RECORDING && after == STOPPING_RECORDING) {
    current_state.compare_exchange_strong(expected, after);
  }
}

void OutputFile::startWith() {
  meta_data.reset();
  if (reason()) restart_flag.store(false, std::memory_order_release);
  meta_data = std::make_shared<MetaData>(defaults, clock);
  setState(STARTING_RECORDING);
}

void OutputFile::stop(const Reason& why) {
  setReason(why);
  stop_pressed.store(true, std::memory_order_release);
  int32_t expected = state();
  if (expected == RUNNING_RECORDING) {
    audio_ring.setBorderPosition(audio_ring.devicePosition());
    current_state.compare_exchange_strong(expected, BORDER_RECORDING);
  } else if (expected == RUNNING_PLAYBACK) {
    current_state.compare_exchange_strong(expected, STOPPING_PLAYBACK);
  }
}

void OutputFile::fileBreak() {
  if (state() == RUNNING_RECORDING) restart_flag.store(true, std::memory_order_release);
}

OutputFile::State OutputFile::state() const {
  return static_cast<State>(current_state.load(std::memory_order_acquire));
}

void OutputFile::setState(State new_state) { current_state.store(new_state, std::memory_order_release); }

OutputFile::Reason OutputFile::reason() {
  const std::lock_guard lock(reason_mutex);
  return std::exchange(held_reason, std::nullopt);
}

bool OutputFile::setReason(const Reason& why) {
  if (!why) return false;
  const std::lock_guard lock(reason_mutex);
  held_reason = why;
  return true;
}

bool OutputFile::reasonIsHeld() const {
  const std::lock_guard lock(reason_mutex);
  return held_reason.has_value();
}

bool OutputFile::restart() { return restart_flag.exchange(false); }

/// Counts the passes in which the device has not moved since STOP: a device that is gone must not keep a take open.
void OutputFile::noteDeviceProgress(State current) {
  const int64_t position = audio_ring.devicePosition();
  const bool still = current == BORDER_RECORDING && position == last_device_position;
  still_passes = still ? still_passes + 1 : 0;
  last_device_position = position;
  if (still_passes == kPassesUntilStandstill) {
    warn("The device has stopped delivering; the take is completed with what has arrived.");
  }
}

bool OutputFile::mustWait(State current, int64_t backlog) {
  const bool device_stands = current == BORDER_RECORDING && still_passes >= kPassesUntilStandstill;
  return backlog < kMinimumBacklog && !device_stands;
}

OutputFile::State OutputFile::addingToMovieForRecording() {
  for (;;) {
    const State current = state();
    const int64_t recorded = audio_ring.recordingPosition();
    if (current == BORDER_RECORDING && audio_ring.borderPosition() - recorded < kBlockLength) return STOPPING_RECORDING;
    if (current != RUNNING_RECORDING && current != BORDER_RECORDING) return current;
    const int64_t backlog = audio_ring.devicePosition() - recorded;
    if (mustWait(current, backlog)) return current;
    if (static_cast<double>(backlog) > kRingFullLimit) {
      setReason("Ring buffer full");
      return STOPPING_RECORDING;
    }
    if (setReason(addToMovieForRecording()) || restartIsPending()) return STOPPING_RECORDING;
    if (someFileIsFull()) {
      restart_flag.store(true, std::memory_order_release);
      return STOPPING_RECORDING;
    }
  }
}

bool OutputFile::someFileIsFull() const {
  const int64_t maximum = meta_data->maximumFileSize();
  if (maximum == 0) return false;
  for (int32_t file = 0; file < meta_data->nrFiles(); ++file) {
    if (meta_data->fileSizeForFile(file) >= maximum) return true;
  }
  return false;
}

OutputFile::Reason OutputFile::addToMovieForRecording() {
  const auto depth = static_cast<uint32_t>(meta_data->bitDepth());
  for (int32_t file = 0; file < meta_data->nrFiles(); ++file) {
    const int32_t size = audio_ring.fillBuffer(block.data(), kBlockLength, meta_data->channelMaskForFile(file), depth);
    const int error = writeAll(file_layer, fds[static_cast<size_t>(file)], block.data(), static_cast<size_t>(size));
    if (error != 0) return text("Could not write samples to file, %s.", systemError(error));
  }
  audio_ring.skipRecordingRingWithLength(kBlockLength);
  meta_data->setNrSamples(meta_data->nrSamples() + kBlockLength);
  nr_samples.store(meta_data->nrSamples(), std::memory_order_release);
  return std::nullopt;
}

OutputFile::Reason OutputFile::openMovieForRecording() {
  closeLeftOvers();
  nr_opened_files = 0;
  updateUserData();
  updateSystemData();
  log("open movie, fds: %x", printed(tableAddress()));
  if (meta_data->fileFormat() == MetaData::kCAF) return "This version does not write CAF files.";
  warnOfSilentFiles();
  for (int32_t file = 0; file < meta_data->nrFiles(); ++file) {
    const std::string name = meta_data->filenameForFile(file);
    const int descriptor = file_layer.createExclusive(name);
    if (descriptor < 0) return text("Could not open audio file '%@', %s.", name, systemError(errno));
    fds[static_cast<size_t>(file)] = descriptor;
    ++nr_opened_files;
    if (Reason error = writeHeader(file)) return error;
  }
  return std::nullopt;
}

void OutputFile::warnOfSilentFiles() const {
  if (meta_data->nrChannels() == 0) warn("The take has no channels: its files will hold no sound.");
  for (int32_t file = 0; file < meta_data->nrFiles(); ++file) {
    if (meta_data->nrChannels() > 0 && meta_data->nrTracksForFile(file) == 0) {
      warn("No channel is routed into file %i of the take: it will hold no sound.", file + 1);
    }
  }
}

OutputFile::Reason OutputFile::writeHeader(int32_t file) {
  std::array<uint8_t, kHeaderSize> area{};
  if (meta_data->fileFormat() == MetaData::kBWF) add_bwf(area.data(), 0, *meta_data, file);
  const int descriptor = fds[static_cast<size_t>(file)];
  if (file_layer.seek(descriptor, 0) < 0) return text("Could not seek to start of header.", systemError(errno));
  const int error = writeAll(file_layer, descriptor, area.data(), area.size());
  if (error != 0) {
    log("The header could not be written: %s.", systemError(error));
    return "Could not write header.";
  }
  return std::nullopt;
}

/// Every file gets its final header and is closed, also behind one that failed: what can still be made readable is.
/// The first failure is the one that is told.
OutputFile::Reason OutputFile::closeMovieForRecording() {
  updateUserData();
  if (defaults.boolForKey("stamp_at_end")) stampAtEnd();
  log("close movie, nrFiles: %i", meta_data->nrFiles());
  Reason first;
  for (int32_t file = 0; file < meta_data->nrFiles(); ++file) {
    log("close movie, write header: %i", file);
    Reason error = writeHeader(file);
    Reason close_error = closeFile(file);
    if (!error) error = std::move(close_error);
    if (error && first) log("%@", *error);
    if (error && !first) first = std::move(error);
  }
  return first;
}

OutputFile::Reason OutputFile::closeFile(int32_t file) {
  int& descriptor = fds[static_cast<size_t>(file)];
  log("close movie, close: %i", file);
  log("close movie, fds: %x", printed(tableAddress()));
  log("close movie, fd0: %i", fds[0]);
  log("close movie, fd: %i", descriptor);
  const int result = file_layer.close(std::exchange(descriptor, -1));
  if (result < 0) return text("Could not close audio file, %s.", systemError(errno));
  return std::nullopt;
}

void OutputFile::closeLeftOvers() {
  for (int& descriptor : fds) {
    if (descriptor < 0) continue;
    if (file_layer.close(descriptor) < 0) log("A file of the last take could not be closed, %s.", systemError(errno));
    descriptor = -1;
  }
}

/// Samples since midnight as a take stores them: a start before midnight belongs to the day before.
uint64_t OutputFile::timeOfDay(int64_t samples) const {
  if (samples < 0) samples += kSecondsPerDay * audio_ring.adjustedSampleRate();
  return static_cast<uint64_t>(std::max<int64_t>(samples, 0));
}

void OutputFile::stampAtEnd() {
  meta_data->setTimestamp(timeOfDay(audio_ring.timestampAtRecordingPosition() - nrSamples()));
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
    if (folder >= meta_data->nrFolders()) {
      warn("File %i is routed to folder %i, which the take does not have; it goes to folder %i.", file + 1, folder + 1,
           meta_data->nrFolders());
    }
    meta_data->setFolder(static_cast<int32_t>(std::clamp<int64_t>(folder, 0, INT32_MAX)), file);
    meta_data->setFilename(meta_data->filenameForFile(file), file);
  }
}

void OutputFile::updateUserData() {
  meta_data->setProject(defaults.stringForKey("project"));
  meta_data->setScene(defaults.stringForKey("scene"));
  meta_data->setSlate(defaults.stringForKey("slate"));
  meta_data->setTake(defaults.stringForKey("take"));
  meta_data->setRoll(defaults.stringForKey("roll"));
  meta_data->setNote(defaults.stringForKey("note"));
  meta_data->setCount(static_cast<int32_t>(std::clamp<int64_t>(defaults.integerForKey("count"), 0, INT32_MAX)));
  meta_data->setContactInfo(defaults.stringForKey("contact_info"));
  meta_data->setSessionNote(defaults.stringForKey("session_note"));
}

} // namespace vurl
