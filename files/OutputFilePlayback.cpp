// How the output file engine plays a take: block by block its files are read into the ring ahead of the device, whose
// cycles play what lies ahead of them before live input takes its place. Sample k of the take belongs to the ring
// position k behind the one at which the playback was started; what is read too late for its position goes unheard.
#include "files/OutputFile.h"
#include "platform/Log.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace vurl {
namespace {

/// Samples, at 48 kHz and below, between the I/O cycle under way and the nearest block that is stored: time for this
/// thread to store it, even if others hold it up, before the device gets there.
constexpr int64_t kDistance = 1024;
constexpr int64_t kRateOfDistance = 48000;

/// Samples kept silent behind the last block: the longest cycle that may reach over the end of what is to be played.
constexpr uint32_t kSilenceBehind = 8192;

static_assert(OutputFile::kRingFullLimit + OutputFile::kBlockLength + kSilenceBehind < AudioRing::kRingSamples,
              "neither block nor silence may reach round to the live samples");

} // namespace

void OutputFile::playbackPass(State current) {
  if (current == STARTING_PLAYBACK) publish(current, startingPlayback());
  audio_ring.idleRecord();
  if (still_passes == kPassesUntilSilence) stopWithoutDevice();
  if (state() == RUNNING_PLAYBACK) {
    publish(RUNNING_PLAYBACK, runningPlayback()); // also at once behind the start, so that little of it is missed
  } else if (current == STOPPING_PLAYBACK) {
    const Reason error = closeMovieForPlayback();
    if (!reasonIsHeld()) setReason(error);
    publish(current, BORDER_PLAYBACK);
  } else if (current == BORDER_PLAYBACK) {
    publish(current, borderPlayback());
  }
}

OutputFile::State OutputFile::startingPlayback() {
  audio_ring.applyWantedChannels();
  audio_ring.idleRecord();
  playback_start_position = audio_ring.devicePosition();
  fill_position = playback_start_position;
  audio_ring.setPlaybackPosition(playback_start_position);
  nr_samples.store(0, std::memory_order_release);
  nr_starts = 0;
  if (!setReason(openMovieForPlayback())) return RUNNING_PLAYBACK;
  closeLeftOvers();
  return IDLE;
}

OutputFile::State OutputFile::runningPlayback() {
  const State next = addingToMovieForPlayback();
  return stop_pressed.load(std::memory_order_acquire) ? STOPPING_PLAYBACK : next;
}

OutputFile::State OutputFile::borderPlayback() {
  nr_samples.store(audio_ring.devicePosition() - playback_start_position, std::memory_order_release);
  if (stop_pressed.exchange(false)) audio_ring.abortPlayback();
  if (audio_ring.playbackPosition() > audio_ring.devicePosition()) return BORDER_PLAYBACK;
  nr_samples.store(nr_samples_to_play, std::memory_order_release);
  return FINISHED_PLAYBACK;
}

/// Nobody hears what is played, and nobody would end it.
void OutputFile::stopWithoutDevice() {
  if (!reasonIsHeld()) setReason("The device has stopped delivering.");
  stop_pressed.store(true, std::memory_order_release);
}

// Opening

OutputFile::Reason OutputFile::openMovieForPlayback() {
  closeLeftOvers();
  nr_opened_files = 0;
  measureFrames();
  warnOfWhatIsPlayed();
  has_files_to_read = false;
  noteFolders();
  for (int32_t file = 0; file < meta_data->nrFiles() && !stop_pressed.load(std::memory_order_acquire); ++file) {
    workAt(file);
    const std::string name = meta_data->filenameForFile(file);
    const int descriptor = file_layer.openForReading(name);
    if (descriptor < 0) {
      warn("Couldn't find audio file '%@' to read from.", name);
      continue;
    }
    fds[static_cast<size_t>(file)] = descriptor;
    if (file_layer.seek(descriptor, meta_data->sampleOffset()) < 0) {
      log("The samples of '%@' cannot be reached: %s.", name, systemError(errno));
      return "Could not seek to end of header.";
    }
    has_files_to_read = has_files_to_read || file_frame_sizes[static_cast<size_t>(file)] > 0;
  }
  nr_samples_to_play = std::max<int64_t>(meta_data->nrSamples(), 0);
  nr_samples_left = nr_samples_to_play;
  return std::nullopt;
}

/// The files were written with the take's channels, however few or many are in use now.
void OutputFile::measureFrames() {
  for (int32_t file = 0; file < meta_data->nrFiles(); ++file) {
    file_frame_sizes[static_cast<size_t>(file)] = meta_data->blockAlignForFile(file);
  }
  meta_data->setNrChannels(std::min(meta_data->nrChannels(), static_cast<int32_t>(audio_ring.nrChannels())));
}

void OutputFile::warnOfWhatIsPlayed() const {
  bool has_more_channels = false;
  for (int32_t file = 0; file < meta_data->nrFiles(); ++file) {
    if (meta_data->blockAlignForFile(file) != file_frame_sizes[static_cast<size_t>(file)]) has_more_channels = true;
  }
  if (has_more_channels) {
    warn("The take has channels beyond the %i that are in use: they are not played.", meta_data->nrChannels());
  }
  if (std::all_of(file_frame_sizes.begin(), file_frame_sizes.begin() + meta_data->nrFiles(),
                  [](int32_t size) { return size == 0; })) {
    warn("The take does not tell which channels its files hold: nothing of it will be heard.");
  }
  const int32_t rate = audio_ring.adjustedSampleRate();
  if (rate != meta_data->sampleRate()) {
    warn("The take has %i samples in a second and is played with %i.", meta_data->sampleRate(), rate);
  }
}

// Filling ahead

OutputFile::State OutputFile::addingToMovieForPlayback() {
  for (;;) {
    audio_ring.idleRecord();
    nr_samples.store(audio_ring.devicePosition() - playback_start_position, std::memory_order_release);
    if (state() != RUNNING_PLAYBACK || stop_pressed.load(std::memory_order_acquire)) return RUNNING_PLAYBACK;
    if (static_cast<double>(fill_position - audio_ring.recordingPosition()) > kRingFullLimit) return RUNNING_PLAYBACK;
    if (isPlayedThrough()) return STOPPING_PLAYBACK;
    if (setReason(addToMovieForPlayback())) return STOPPING_PLAYBACK;
  }
}

/// A take whose length is no multiple of a block goes on until a file ends; without a file it must end by itself.
bool OutputFile::isPlayedThrough() const { return nr_samples_left == 0 || (nr_samples_left < 0 && !has_files_to_read); }

OutputFile::Reason OutputFile::addToMovieForPlayback() {
  const bool is_stored = beginBlock();
  for (int32_t file = 0; file < meta_data->nrFiles(); ++file) {
    const int descriptor = fds[static_cast<size_t>(file)];
    if (descriptor < 0) continue;
    workAt(file);
    const auto frame_size = static_cast<size_t>(file_frame_sizes[static_cast<size_t>(file)]);
    const int error = readAll(file_layer, descriptor, block.data(), frame_size * kBlockLength);
    // The read may have taken long: each time the device's distance is looked at anew.
    if (error != 0) {
      if (is_stored && deviceKeepsAway()) audio_ring.clearWithLength(kBlockLength); // of the files before this one
      return text("Could not read samples from file, %s.", systemError(error));
    }
    if (is_stored && deviceKeepsAway()) storeBlock(file);
  }
  if (is_stored) audio_ring.skipPlaybackRingWithLength(kBlockLength);
  fill_position += kBlockLength;
  nr_samples_left -= kBlockLength;
  return std::nullopt;
}

/// Whether neither the I/O cycle under way nor one that begins soon can touch the next block.
bool OutputFile::deviceKeepsAway() const {
  const int64_t distance = std::max<int64_t>(kDistance, kDistance * audio_ring.sampleRate() / kRateOfDistance);
  return fill_position - audio_ring.devicePosition() >= distance + int64_t{audio_ring.cycleLength()};
}

/// Makes the ring ready for the block at `fill_position`, silent for the channels that no file covers; silence reaches
/// further still, over the end. Returns false when the device is there already: then the block goes unheard, and the
/// ring's playback position stays until a later block is in time.
bool OutputFile::beginBlock() {
  if (!deviceKeepsAway()) return false;
  if (audio_ring.playbackPosition() == fill_position) {
    audio_ring.clearWithLength(kBlockLength, kSilenceBehind);
    return true;
  }
  tellWhatWentUnheard();
  audio_ring.startPlaybackAt(fill_position);
  audio_ring.clearWithLength(kBlockLength + kSilenceBehind);
  return true;
}

/// The start always costs some samples; an interruption is worth a warning, but not one for each.
void OutputFile::tellWhatWentUnheard() {
  const int64_t first = audio_ring.playbackPosition() - playback_start_position;
  const int64_t last = fill_position - playback_start_position;
  if (nr_starts == 0) log("The first %qi samples of the take go unheard.", last);
  if (nr_starts == 1) warn("The files come too late: samples %qi to %qi of the take go unheard.", first, last);
  ++nr_starts;
}

/// Puts one file's block into the ring. Channels that are not in use stand at the end of each frame: they are dropped.
void OutputFile::storeBlock(int32_t file) {
  const auto frame_size = static_cast<size_t>(file_frame_sizes[static_cast<size_t>(file)]);
  const auto used_size = static_cast<size_t>(meta_data->blockAlignForFile(file));
  for (size_t frame = 1; frame < kBlockLength && used_size < frame_size; ++frame) {
    std::memmove(&block[frame * used_size], &block[frame * frame_size], used_size);
  }
  audio_ring.readBuffer(block.data(), kBlockLength, meta_data->channelMaskForFile(file),
                        static_cast<uint32_t>(meta_data->bitDepth()));
}

OutputFile::Reason OutputFile::closeMovieForPlayback() {
  Reason first;
  for (int& descriptor : fds) {
    if (descriptor < 0) continue;
    const int result = file_layer.close(std::exchange(descriptor, -1));
    if (result < 0 && !first) first = text("Could not close audio file, %s.", systemError(errno));
  }
  return first;
}

} // namespace vurl
