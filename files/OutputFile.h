// The output file engine: turns the capture ring into take files. Its processing thread wakes every 100 ms and runs a
// small state machine; the main thread starts, stops and splits takes and acknowledges finished ones. A take is a set
// of files that all receive every 256-sample block; each begins with a header area of 131,072 bytes that is written at
// the start and again, with the final sizes, at the end. See BWFUtils.h for the header, AudioRing.h for the source.
// The same thread plays takes back (OutputFilePlayback.cpp): it reads their files into the ring ahead of the device.
#pragma once

#include "engine/AudioRing.h"
#include "files/DiskSync.h"
#include "files/FileLayer.h"
#include "files/FinishedTakes.h"
#include "files/TakeIncidents.h"
#include "metadata/MetaData.h"
#include "platform/UserDefaults.h"
#include "platform/WallClock.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace vurl {

class OutputFile {
public:
  enum State : int32_t {
    IDLE = 0,               ///< nothing open; the pre-record window is kept up to date
    EXIT = 1,               ///< the thread is asked to end
    GONE = 2,               ///< the thread has ended
    STARTING_RECORDING = 3, ///< opens the files of a new take
    RUNNING_RECORDING = 4,  ///< writes blocks
    BORDER_RECORDING = 5,   ///< stop was pressed: writes up to the border
    STOPPING_RECORDING = 6, ///< rewrites the headers and closes
    FINISHED_RECORDING = 7, ///< done; waits for the controller
    STARTING_PLAYBACK = 8,  ///< opens the files of a take to play
    RUNNING_PLAYBACK = 9,   ///< reads blocks into the ring
    BORDER_PLAYBACK = 10,   ///< files closed; the ring still plays out
    STOPPING_PLAYBACK = 11, ///< closes the files
    FINISHED_PLAYBACK = 12, ///< done; waits for the controller
  };

  /// A text that tells what went wrong; nothing when all went well.
  using Reason = std::optional<std::string>;

  static constexpr uint32_t kBlockLength = 256;         ///< samples that every file receives at a time
  static constexpr int64_t kMinimumBacklog = 12800;     ///< samples that must wait in the ring before writing
  static constexpr double kRingFullLimit = 943718.4;    ///< samples of backlog that end a take: 90 % of the ring
  static constexpr int32_t kMaximumFiles = 512;         ///< files of one take
  static constexpr int32_t kPassesUntilStandstill = 10; ///< passes without a new sample before a stop stops waiting
  static constexpr int32_t kPassesUntilSilence = 100;   ///< passes without a new sample that end a playback
  static constexpr std::chrono::milliseconds kPeriod{100};

  /// The collaborators must outlive the engine. `history` may be null. No thread runs until startThread().
  OutputFile(AudioRing& audio_ring, const UserDefaults& defaults, FileLayer& file_layer, FinishedTakes* history,
             WallClock clock = systemWallTime);

  /// Stops the thread and closes what is still open.
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  /// Has the files of takes brought to disk by `sync`, which outlives the engine. Before the thread starts.
  void setDiskSync(DiskSync& sync) { disk_sync = &sync; }

  /// Starts the processing thread, which runs processingPass() every `period`.
  void startThread(std::chrono::milliseconds period = kPeriod);

  /// Asks the processing thread to end after the pass in hand and waits for it. A take that runs is left as it is:
  /// stop it first.
  void stopThread();

  /// One pass of the state machine. Thread: processing (or a test without a thread).
  void processingPass();

  /// Starts a new take on the next pass. A reason held from before is dropped, and with it a pending restart. With
  /// `continued` the take begins at the sample where the piece before it ended, however short the pre-record time is.
  /// With `refusal`, no file is made and that text is the take's reason. The state must be IDLE.
  void startWith(bool continued = false, const Reason& refusal = std::nullopt);

  /// Plays `take` through the outputs from the next pass on. What is played is a copy: `take` stays as it is. The
  /// settings say how many channels are in use; further ones in the files are left out. A file that cannot be opened
  /// is logged, and silent. A reason held from before is dropped. The state must be IDLE.
  /// The playback ends in FINISHED_PLAYBACK, with a reason when a file ended early or could not be read, or the device
  /// stood still; when the files could not be made ready the state is IDLE again, with a reason.
  void startWith(const MetaData& take);
  void startWith(const MetaData*) = delete; // not `continued`

  /// Ends the take at the device position of now. With `why`, that text becomes the take's reason: it is closed but
  /// kept out of the history. A playback closes its files on the next pass and falls silent on the one after.
  /// A take or playback that is just starting stops as soon as its files are open. Nothing happens in IDLE and the
  /// FINISHED states, but that `why` is held.
  void stop(const Reason& why);

  /// The same with the end at ring position `border`, where an earlier STOP was meant to end the take.
  void stopAt(int64_t border, const Reason& why);

  /// Ends this take and asks for the next one at once, without a gap. Only while a take runs.
  void fileBreak();

  /// The engine's state. Any thread.
  State state() const;

  /// Acknowledges a finished take with IDLE; the controller does it in the FINISHED states only.
  void setState(State state);

  /// The reason of the take, once: a second call returns nothing. Threads: main, processing.
  Reason reason();

  /// Holds `why`, replacing an earlier text, and returns whether there was one. Threads: main, processing.
  bool setReason(const Reason& why);

  /// Whether the finished take must be followed by the next one at once; reading clears it.
  bool restart();

  /// The same, left as it is.
  bool restartIsPending() const { return restart_flag.load(std::memory_order_acquire); }

  /// Samples written in this take, or in the last one; during playback those that the device has moved on since its
  /// start, and behind it the take's length. Any thread.
  int64_t nrSamples() const { return nr_samples.load(std::memory_order_acquire); }

  /// Ring position of the first sample of this take, or of the last one. Any thread.
  int64_t startPosition() const { return start_position.load(std::memory_order_acquire); }

  /// The most samples that have waited in the ring during this take, or the last one; those before its start, which it
  /// reaches back to, among them. Any thread.
  int64_t longestBacklog() const { return longest_backlog.load(std::memory_order_acquire); }

  /// How many incidents this take, or the last one, has had so far. Any thread.
  uint64_t nrIncidents() const { return nr_incidents.load(std::memory_order_acquire); }

  /// The incidents of the last take that has been recorded. Threads: as for metaData().
  const IncidentList& incidentsOfTake() const { return incidents_of_take; }

  /// Files of this take that have been made, from the first on. Threads: as for metaData().
  int32_t nrOpenedFiles() const { return nr_opened_files; }

  /// Fills `meta_data`, a fresh record, from the header of the take file `filename`, RIFF or RF64; the file becomes its
  /// file 0, and until the header tells better the file's modification time is the origination date. Returns the file's
  /// place in its take, 0 to 511; -1, and a log line, for a file that cannot be read, is no regular file, has another
  /// format (CAF is written only), or a header that get_bwf() refuses. Any thread but the I/O thread; waits for the
  /// disk, but not for a pipe or a device.
  static int32_t readHeader(const std::string& filename, MetaData& meta_data);

  /// The record of the take; it belongs to the processing thread except in IDLE and FINISHED_RECORDING. May be null.
  /// In a playback it is the copy that is played, free for the main thread to read in FINISHED_PLAYBACK too.
  std::shared_ptr<const MetaData> metaData() const { return meta_data; }

  // When a disk does not answer

  /// The folder of the file that the processing thread is opening, writing, reading or closing; empty while it is at
  /// none, for example at the reports. Any thread but the I/O thread.
  std::string folderAtWork() const;

  /// For a program that ends without waiting for a disk any longer: gives the files of a take that is being written
  /// their headers for what they hold, each on a thread of its own, and returns after `patience` at the latest. Returns
  /// whether all have theirs; true when no take is being written. Only while the processing thread stands in a call to
  /// the disk; nothing but the end of the process may follow. Thread: main.
  bool rescueHeaders(std::chrono::milliseconds patience) const;

private:
  void noteFolders();
  void workAt(int32_t file) { file_at_work.store(file, std::memory_order_release); }
  static void addHeader(uint8_t* area, const MetaData& take, int32_t file);
  void renounceReason();
  State recordingPass(State current);
  void playbackPass(State current);
  State startingPlayback();
  State runningPlayback();
  State borderPlayback();
  State addingToMovieForPlayback();
  Reason openMovieForPlayback();
  Reason addToMovieForPlayback();
  Reason closeMovieForPlayback();
  void measureFrames();
  void warnOfWhatIsPlayed() const;
  bool deviceKeepsAway() const;
  bool beginBlock();
  void tellWhatWentUnheard();
  void storeBlock(int32_t file);
  bool isPlayedThrough() const;
  void stopWithoutDevice();
  State addingToMovieForRecording();
  Reason openMovieForRecording(bool is_continued);
  uint32_t nrBlocksAtOnce(State current) const;
  Reason addToMovieForRecording(uint32_t nr_blocks);
  Reason addBlocks(uint32_t nr_blocks);
  Reason closeMovieForRecording();
  void cutTornBlock(int32_t file);
  void addAdvice(int nr_without_header);
  Reason closeFile(int32_t file);
  void syncFiles() const;
  Reason writeHeader(int32_t file);
  void updateSystemData();
  void updateRouting(int32_t nr_channels, int32_t nr_files);
  void updateUserData();
  void nameFiles();
  bool someNameIsTaken() const;
  void takeFreeNames();
  Reason whyNotRecordable() const;
  void warnOfWhatIsMissing() const;
  bool ringIsFull();
  void stampAtEnd();
  bool someFileIsFull() const;
  bool mustWait(State current, int64_t backlog);
  void noteDeviceProgress(State current);
  void collectIncidents(State current);
  void closeIncidents();
  void publish(State before, State after);
  void closeLeftOvers();
  bool reasonIsHeld() const;
  uint64_t timeOfDay(int64_t samples) const;
  const void* tableAddress() const { return fds.data(); }

  AudioRing& audio_ring;
  const UserDefaults& defaults;
  FileLayer& file_layer;
  FinishedTakes* const history;
  DiskSync* disk_sync = nullptr;
  const WallClock clock;

  std::atomic<int32_t> current_state{IDLE};
  std::atomic<bool> stop_pressed{false};
  std::atomic<bool> restart_flag{false};
  std::atomic<bool> keeps_position{false}; ///< the next piece begins where the last one ended
  std::atomic<int64_t> nr_samples{0};
  std::atomic<int64_t> start_position{0};
  std::atomic<int64_t> longest_backlog{0}; ///< written by the processing thread
  std::atomic<uint64_t> nr_incidents{0};   ///< written by the processing thread
  std::atomic<int32_t> file_at_work{-1};
  mutable std::mutex reason_mutex; ///< guards the next two
  Reason held_reason;
  std::vector<std::string> folders_of_files; ///< of the take in hand, by file

  // Written by the main thread in IDLE, and by the processing thread otherwise; the state hands them over.
  std::shared_ptr<MetaData> meta_data;
  Reason refusal_of_take;   ///< by who started it
  int32_t raised_count = 0; ///< that its free names needed, 0 for that of the settings
  int32_t nr_opened_files = 0;
  IncidentList incidents_of_take;

  // The processing thread's own.
  std::array<int, kMaximumFiles> fds{};
  std::array<uint8_t, size_t{kBlockLength} * 64 * 4> block{};
  TakeIncidents incidents{audio_ring};
  int64_t last_device_position = 0;
  int32_t still_passes = 0;
  bool block_is_torn = false; ///< the last block did not come to all files as a whole

  // Of a playback.
  int64_t nr_samples_to_play = 0;      ///< length of the take
  int64_t nr_samples_left = 0;         ///< samples of the take still to be read
  int64_t playback_start_position = 0; ///< ring position that belongs to the take's first sample
  int64_t fill_position = 0;           ///< ring position that belongs to the next block
  int32_t nr_starts = 0;               ///< how often sound has begun: more than once after files came late
  bool has_files_to_read = false;
  std::array<int32_t, kMaximumFiles> file_frame_sizes{}; ///< bytes, with the channels that are not in use

  std::thread thread;
};

} // namespace vurl
