#include "files/OutputFile.h"

#include "engine/SampleFormat.h"
#include "files/BWFUtils.h"
#include "files/CAFUtils.h"
#include "platform/Log.h"

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

namespace vurl {
namespace {

constexpr int32_t kManyFiles = 16;
constexpr int64_t kMostBlocks = 16; ///< that a file gets at a time; 85 ms at 48 kHz

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
  collectIncidents(current);
  switch (current) {
  case IDLE:
    audio_ring.applyWantedChannels();
    if (!keeps_position) audio_ring.idleRecord();
    break;
  case EXIT: publish(EXIT, GONE); break;
  case STARTING_RECORDING:
  case RUNNING_RECORDING:
  case BORDER_RECORDING:
  case STOPPING_RECORDING: publish(current, recordingPass(current)); break;
  case STARTING_PLAYBACK:
  case RUNNING_PLAYBACK:
  case BORDER_PLAYBACK:
  case STOPPING_PLAYBACK: playbackPass(current); break;
  default: break; // the finished states wait for the controller
  }
  workAt(-1);
}

OutputFile::State OutputFile::recordingPass(State current) {
  if (current == STARTING_RECORDING) {
    audio_ring.applyWantedChannels();
    const bool is_continued = keeps_position.exchange(false);
    if (!is_continued) audio_ring.idleRecord();
    if (setReason(openMovieForRecording(is_continued))) {
      syncFiles();
      return FINISHED_RECORDING;
    }
    return stop_pressed.load(std::memory_order_acquire) ? BORDER_RECORDING : RUNNING_RECORDING;
  }
  if (current != STOPPING_RECORDING) return addingToMovieForRecording();
  keeps_position.store(restartIsPending(), std::memory_order_release);
  if (!keeps_position) audio_ring.idleRecord();
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

/// What the last take left to be told, and a STOP that came too late for it.
void OutputFile::renounceReason() {
  if (reason()) restart_flag.store(false, std::memory_order_release);
  stop_pressed.store(false, std::memory_order_release);
}

void OutputFile::startWith(bool continued, const Reason& refusal) {
  renounceReason();
  if (!continued) keeps_position.store(false, std::memory_order_release);
  refusal_of_take = refusal;
  meta_data = std::make_shared<MetaData>(defaults, clock);
  setState(STARTING_RECORDING);
}

void OutputFile::startWith(const MetaData& take) {
  renounceReason();
  keeps_position.store(false, std::memory_order_release);
  meta_data = std::make_shared<MetaData>(take);
  setState(STARTING_PLAYBACK);
}

void OutputFile::stop(const Reason& why) { stopAt(audio_ring.devicePosition(), why); }

/// A take that is just starting reads `stop_pressed` when its files are open, and again in its first pass.
void OutputFile::stopAt(int64_t border, const Reason& why) {
  setReason(why);
  int32_t expected = state();
  if (expected == RUNNING_RECORDING || expected == STARTING_RECORDING) audio_ring.setBorderPosition(border);
  stop_pressed.store(true, std::memory_order_release);
  if (expected == RUNNING_RECORDING) current_state.compare_exchange_strong(expected, BORDER_RECORDING);
  if (expected == RUNNING_PLAYBACK) current_state.compare_exchange_strong(expected, STOPPING_PLAYBACK);
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

/// Counts the passes in which the device has not moved since STOP, or in a playback: a device that is gone must not
/// keep a take open.
void OutputFile::noteDeviceProgress(State current) {
  const int64_t position = audio_ring.devicePosition();
  const bool waits = current == BORDER_RECORDING || current == RUNNING_PLAYBACK || current == BORDER_PLAYBACK;
  still_passes = waits && position == last_device_position ? still_passes + 1 : 0;
  last_device_position = position;
  if (current == BORDER_RECORDING && still_passes == kPassesUntilStandstill) {
    warn("The device has stopped delivering; the take is completed with what has arrived.");
  }
}

/// Outside a take those are kept that the next one may reach back to.
void OutputFile::collectIncidents(State current) {
  incidents.collect();
  if (current == RUNNING_RECORDING || current == BORDER_RECORDING) {
    nr_incidents.store(incidents.sizeFrom(startPosition()), std::memory_order_release);
  } else if (current != STOPPING_RECORDING) {
    incidents.forgetBefore(audio_ring.recordingPosition());
  }
}

void OutputFile::closeIncidents() {
  incidents.collect();
  incidents_of_take = incidents.give(startPosition(), startPosition() + nrSamples(), keeps_position);
  nr_incidents.store(incidents_of_take.size(), std::memory_order_release);
  std::string line = text("close movie, %@", inWords(incidents_of_take));
  for (const Incident& incident : incidents_of_take.first) line += "; " + inWords(incident);
  log("%@", line);
}

bool OutputFile::mustWait(State current, int64_t backlog) {
  const bool device_stands = current == BORDER_RECORDING && still_passes >= kPassesUntilStandstill;
  return backlog < kMinimumBacklog && !device_stands;
}

OutputFile::State OutputFile::addingToMovieForRecording() {
  if (stop_pressed.load(std::memory_order_acquire)) publish(RUNNING_RECORDING, BORDER_RECORDING);
  for (;;) {
    const State current = state();
    const int64_t recorded = audio_ring.recordingPosition();
    if (current == BORDER_RECORDING && audio_ring.borderPosition() - recorded < kBlockLength) return STOPPING_RECORDING;
    if (current != RUNNING_RECORDING && current != BORDER_RECORDING) return current;
    if (mustWait(current, audio_ring.devicePosition() - recorded)) return current;
    if (setReason(addToMovieForRecording(nrBlocksAtOnce(current))) || restartIsPending()) return STOPPING_RECORDING;
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

bool OutputFile::ringIsFull() {
  const int64_t backlog = audio_ring.devicePosition() - audio_ring.recordingPosition();
  if (backlog > longestBacklog()) longest_backlog.store(backlog, std::memory_order_release);
  return static_cast<double>(backlog) > kRingFullLimit;
}

/// Takes of many files get several blocks with one write each: calls to the system are most of what they cost. Never
/// more than would be written in this pass block by block.
uint32_t OutputFile::nrBlocksAtOnce(State current) const {
  if (meta_data->nrFiles() < kManyFiles) return 1;
  const int64_t recorded = audio_ring.recordingPosition();
  int64_t samples = audio_ring.devicePosition() - recorded - kMinimumBacklog + kBlockLength;
  if (current == BORDER_RECORDING) samples = std::min(samples, audio_ring.borderPosition() - recorded);
  int64_t nr_blocks = std::min<int64_t>(samples / kBlockLength, kMostBlocks);
  for (int32_t file = 0; file < meta_data->nrFiles(); ++file) {
    const int64_t size = int64_t{meta_data->blockAlignForFile(file)} * kBlockLength;
    if (size == 0) continue;
    nr_blocks = std::min(nr_blocks, static_cast<int64_t>(block.size()) / size);
    const int64_t maximum = meta_data->maximumFileSize();
    if (maximum != 0) nr_blocks = std::min(nr_blocks, (maximum - meta_data->fileSizeForFile(file) + size - 1) / size);
  }
  return static_cast<uint32_t>(std::max<int64_t>(nr_blocks, 1));
}

/// Where not every file took all, they get block by block what each of them takes, so that the take is as long as it
/// can be; the failure ends it all the same.
OutputFile::Reason OutputFile::addToMovieForRecording(uint32_t nr_blocks) {
  Reason failure = addBlocks(nr_blocks);
  if (!failure || nr_blocks == 1 || ringIsFull()) return failure;
  for (int32_t file = 0; file < meta_data->nrFiles(); ++file) cutTornBlock(file); // the others may need the room
  for (int32_t file = 0; file < meta_data->nrFiles(); ++file) {
    if (file_layer.seek(fds[static_cast<size_t>(file)], meta_data->fileSizeForFile(file)) < 0) return failure;
  }
  for (uint32_t i = 0; i < nr_blocks && !addBlocks(1); ++i) {
  }
  return failure;
}

OutputFile::Reason OutputFile::addBlocks(uint32_t nr_blocks) {
  const auto depth = static_cast<uint32_t>(meta_data->bitDepth());
  const uint32_t length = nr_blocks * kBlockLength;
  block_is_torn = true;
  for (int32_t file = 0; file < meta_data->nrFiles(); ++file) {
    if (ringIsFull()) return "Ring buffer full"; // a write may have stalled since the last look
    workAt(file);
    const int32_t size = audio_ring.fillBuffer(block.data(), length, meta_data->channelMaskForFile(file), depth);
    const int error = writeAll(file_layer, fds[static_cast<size_t>(file)], block.data(), static_cast<size_t>(size));
    if (error != 0) return text("Could not write samples to file, %s.", systemError(error));
  }
  block_is_torn = false;
  audio_ring.skipRecordingRingWithLength(length);
  meta_data->setNrSamples(meta_data->nrSamples() + length);
  nr_samples.store(meta_data->nrSamples(), std::memory_order_release);
  return std::nullopt;
}

OutputFile::Reason OutputFile::openMovieForRecording(bool is_continued) {
  closeLeftOvers();
  nr_opened_files = 0;
  block_is_torn = false;
  longest_backlog.store(0, std::memory_order_release);
  incidents_of_take = {};
  nr_incidents.store(0, std::memory_order_release);
  raised_count = 0;
  updateUserData();
  updateSystemData();
  if (is_continued) takeFreeNames();
  log("open movie, fds: %x", printed(tableAddress()));
  if (Reason refusal = whyNotRecordable()) return refusal;
  warnOfWhatIsMissing();
  noteFolders();
  for (int32_t file = 0; file < meta_data->nrFiles(); ++file) {
    workAt(file);
    const std::string name = meta_data->filenameForFile(file);
    const int descriptor = file_layer.createExclusive(name);
    if (descriptor < 0) return text("Could not open audio file '%@', %s.", name, systemError(errno));
    fds[static_cast<size_t>(file)] = descriptor;
    ++nr_opened_files;
    if (disk_sync != nullptr) disk_sync->begin(name);
    if (Reason error = writeHeader(file)) return error;
  }
  return std::nullopt;
}

/// `area` is kHeaderSize bytes of zero.
void OutputFile::addHeader(uint8_t* area, const MetaData& take, int32_t file) {
  if (take.fileFormat() == MetaData::kBWF) add_bwf(area, 0, take, file);
  if (take.fileFormat() == MetaData::kCAF) add_caf(area, 0, take, file);
}

OutputFile::Reason OutputFile::writeHeader(int32_t file) {
  std::array<uint8_t, kHeaderSize> area{};
  addHeader(area.data(), *meta_data, file);
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
  nr_samples.store(meta_data->nrSamples(), std::memory_order_release); // hands the record to rescueHeaders()
  log("close movie, nrFiles: %i", meta_data->nrFiles());
  Reason first;
  int nr_without_header = 0;
  for (int32_t file = 0; file < meta_data->nrFiles(); ++file) {
    workAt(file);
    if (block_is_torn) cutTornBlock(file);
    log("close movie, write header: %i", file);
    Reason error = writeHeader(file);
    nr_without_header += error.has_value();
    Reason close_error = closeFile(file);
    if (!error) error = std::move(close_error);
    if (error && first) log("%@", *error);
    if (error && !first) first = std::move(error);
  }
  if (nr_without_header > 0) addAdvice(nr_without_header);
  closeIncidents();
  syncFiles();
  workAt(-1);
  return first;
}

/// Takes away what has come to the file of a block that another file has not got: no header tells of it, and behind a
/// header without samples it would look like a take that was cut off. On a full disk the header may need the room.
void OutputFile::cutTornBlock(int32_t file) {
  const int result = file_layer.truncate(fds[static_cast<size_t>(file)], meta_data->fileSizeForFile(file));
  if (result < 0) log("The end of file %i could not be cut off, %s.", file + 1, systemError(errno));
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

void OutputFile::syncFiles() const {
  if (disk_sync == nullptr) return;
  std::vector<std::string> paths;
  paths.reserve(static_cast<size_t>(nr_opened_files));
  for (int32_t file = 0; file < nr_opened_files; ++file) paths.push_back(meta_data->filenameForFile(file));
  disk_sync->end(paths);
}

void OutputFile::closeLeftOvers() {
  for (int& descriptor : fds) {
    if (descriptor < 0) continue;
    if (file_layer.close(descriptor) < 0) log("A file of the last take could not be closed, %s.", systemError(errno));
    descriptor = -1;
  }
}

} // namespace vurl
