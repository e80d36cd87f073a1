#include "hardware/AlsaLoop.h"

#include <sys/eventfd.h>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <utility>

namespace vurl {
namespace {

constexpr uint64_t kSecond = 1'000'000'000; ///< in nanoseconds
constexpr int kWait = 250;                  ///< milliseconds after which a silent device is looked at again
constexpr int kPause = 10;                  ///< milliseconds before the next start of a device that stops at once
constexpr int kMostVainStarts = 50;

uint64_t hostTime() noexcept {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint64_t>(now.tv_sec) * kSecond + static_cast<uint64_t>(now.tv_nsec);
}

/// Whether starting anew may help.
bool isStop(int error) { return error == -EPIPE || error == -ESTRPIPE; }

int errorOf(snd_pcm_state_t state) noexcept {
  if (state == SND_PCM_STATE_XRUN) return -EPIPE;
  if (state == SND_PCM_STATE_SUSPENDED) return -ESTRPIPE;
  return state == SND_PCM_STATE_DISCONNECTED ? -ENODEV : 0;
}

} // namespace

bool AlsaLoop::Side::open(std::unique_ptr<AlsaPcm> opened) {
  pcm = std::move(opened);
  if (!pcm) return false;
  error = -EPIPE; // not started yet
  const int count = snd_pcm_poll_descriptors_count(pcm->handle());
  descriptors.resize(static_cast<size_t>(std::max(count, 0)));
  return true;
}

void AlsaLoop::Side::look() noexcept {
  is_ready = true;
  if (!pcm || error != 0) return;
  frames = pcm->available();
  error = frames == -EAGAIN ? 0 : static_cast<int>(std::min<snd_pcm_sframes_t>(frames, 0));
  is_ready = frames >= static_cast<snd_pcm_sframes_t>(pcm->periodFrames());
  was_called = was_called && !is_ready;
}

AlsaLoop::AlsaLoop(std::unique_ptr<AlsaPcm> capture_pcm, std::unique_ptr<AlsaPcm> playback_pcm, uint32_t device_rate,
                   const IOProc& io_proc)
    : rate(device_rate), io(io_proc), stop_signal(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), clock(device_rate) {
  if (capture.open(std::move(capture_pcm))) nr_frames = capture.pcm->periodFrames();
  if (playback.open(std::move(playback_pcm))) nr_frames = playback.pcm->periodFrames();
  waited_for.reserve(capture.descriptors.size() + playback.descriptors.size() + 1);
}

AlsaLoop::~AlsaLoop() {
  if (stop_signal >= 0) ::close(stop_signal);
}

void AlsaLoop::run() {
  last_host_time = hostTime();
  int error = 0;
  while (error >= 0 && running.load()) error = step();
  error_at_end.store(std::min(error, 0), std::memory_order_release);
  playback.pcm.reset();
  capture.pcm.reset();
}

void AlsaLoop::requestStop() {
  running.store(false);
  const uint64_t one = 1;
  [[maybe_unused]] const auto written = ::write(stop_signal, &one, sizeof one); // only fails when it is full: told
}

int AlsaLoop::step() noexcept {
  if (const int error = restartStopped(); error < 0) return error;
  capture.look();
  playback.look();
  if (capture.error != 0 || playback.error != 0) return 0;
  if (capture.is_ready && (playback.is_ready || isBehind()))
    cycle();
  else
    wait();
  return 0;
}

/// Whether more has been captured than the outputs ever take at a time: cycles that nobody hears make up for it.
bool AlsaLoop::isBehind() const noexcept {
  if (!capture.pcm || !playback.pcm) return false;
  return capture.frames >= snd_pcm_sframes_t{nr_frames} + playback.pcm->wakeUpFrames();
}

/// Starts what stopped; fails when that is of no use. A side that stopped alone leaves the other one running.
int AlsaLoop::restartStopped() noexcept {
  if (capture.error == 0 && playback.error == 0) return 0;
  for (const Side* side : {&capture, &playback})
    if (side->error != 0 && !isStop(side->error)) return side->error;
  if (nr_vain_starts > 0) sleep(kPause);
  if (nr_vain_starts++ == kMostVainStarts) return -EIO;
  const bool capture_too = capture.error != 0;
  if (capture_too && has_run) countLoss();
  if (!capture_too && has_run) incident |= kAudioTimeStampOverload;
  const int error = restart(capture_too);
  return isStop(error) ? 0 : error;
}

// Both sides are linked for the start alone: a link would have outputs that run dry stop what is captured.
int AlsaLoop::restart(bool capture_too) noexcept {
  if (capture_too) clock.restart();
  if (capture_too) capture.error = capture.pcm->restart();
  if (playback.pcm) playback.error = playback.pcm->restart();
  const bool both = capture_too && playback.pcm && capture.error == 0 && playback.error == 0;
  const bool is_linked = both && snd_pcm_link(capture.pcm->handle(), playback.pcm->handle()) == 0;
  if (playback.pcm && playback.error == 0) playback.error = snd_pcm_start(playback.pcm->handle());
  if (is_linked) {
    capture.error = playback.error;
    snd_pcm_unlink(playback.pcm->handle());
  }
  if (capture_too && capture.error == 0 && !is_linked) capture.error = snd_pcm_start(capture.pcm->handle());
  return std::min(capture.error, playback.error);
}

// What the device captured between the last cycle and now is gone; the clock tells how much that was.
void AlsaLoop::countLoss() noexcept {
  const uint64_t now = hostTime();
  const uint64_t passed = now - std::exchange(last_host_time, now);
  const uint64_t lost = passed / kSecond * rate + passed % kSecond * rate / kSecond;
  setFirstSample(nextSample() + std::max<uint64_t>(lost, 1));
  nr_losses.store(nr_losses.load(std::memory_order_relaxed) + 1, std::memory_order_release);
  incident |= kAudioTimeStampSamplesLost;
}

void AlsaLoop::sleep(int milliseconds) noexcept {
  pollfd stop{stop_signal, POLLIN, 0};
  ::poll(&stop, 1, milliseconds);
}

// Only what is not ready is waited for; while captured sound waits for the outputs, no longer than they may take. Some
// devices say that they are ready although too little is there yet: after such an answer the thread sleeps for a
// moment, so that it does not turn in circles.
void AlsaLoop::wait() noexcept {
  bool is_false_call = false;
  for (Side* side : {&capture, &playback}) is_false_call |= std::exchange(side->was_called, false);
  if (is_false_call) return sleep(1);
  waited_for.assign(1, {stop_signal, POLLIN, 0});
  for (Side* side : {&capture, &playback}) {
    if (!side->pcm || side->is_ready) continue;
    const auto count = static_cast<unsigned>(side->descriptors.size());
    snd_pcm_poll_descriptors(side->pcm->handle(), side->descriptors.data(), count);
    waited_for.insert(waited_for.end(), side->descriptors.begin(), side->descriptors.end());
  }
  const int period = static_cast<int>(uint64_t{nr_frames} * 1000 / rate) + 1;
  ::poll(waited_for.data(), waited_for.size(), capture.pcm && capture.is_ready ? period : kWait);
  if (hostTime() - last_host_time > kSecond) is_silent.store(true, std::memory_order_release);
  auto* first = waited_for.data() + 1;
  for (Side* side : {&capture, &playback}) {
    if (!side->pcm || side->is_ready) continue;
    unsigned short events = 0;
    const auto count = static_cast<unsigned>(side->descriptors.size());
    side->was_called = std::any_of(first, first + count, [](const pollfd& polled) { return polled.revents != 0; });
    snd_pcm_poll_descriptors_revents(side->pcm->handle(), first, count, &events);
    if ((events & (POLLERR | POLLNVAL)) != 0) side->error = errorOf(snd_pcm_state(side->pcm->handle()));
    first += count;
  }
}

void AlsaLoop::cycle() noexcept {
  const auto reading = capture.pcm ? capture.pcm->readClock() : std::nullopt;
  const bool is_heard = playback.pcm && playback.is_ready;
  const AudioBufferList inputs = capture.pcm ? capture.pcm->begin(capture.error) : AudioBufferList{};
  AudioBufferList outputs = is_heard       ? playback.pcm->begin(playback.error)
                            : playback.pcm ? playback.pcm->unheard()
                                           : AudioBufferList{};
  if (capture.error < 0) return;
  last_host_time = hostTime();
  const AlsaClock::Time time = clock.at(nextSample(), last_host_time, reading);
  AudioTimeStamp now = timeStamp(nextSample(), time);
  now.mFlags |= std::exchange(incident, 0);
  const AudioTimeStamp later = timeStamp(nextSample() + nr_frames, {time.word_clock + nr_frames, time.host_time});
  in_cycle.store(true);
  if (running.load()) io.proc(io.device, &now, &inputs, &now, &outputs, &later, io.client_data);
  in_cycle.store(false);
  limiter.limit(outputs);
  if (capture.pcm) capture.error = capture.pcm->end();
  if (is_heard && playback.error == 0) playback.error = playback.pcm->end();
  setFirstSample(nextSample() + nr_frames);
  has_run = true;
  nr_vain_starts = 0;
  is_silent.store(false, std::memory_order_release);
}

AudioTimeStamp AlsaLoop::timeStamp(uint64_t sample, const AlsaClock::Time& time) noexcept {
  AudioTimeStamp stamp;
  stamp.mSampleTime = static_cast<double>(sample);
  stamp.mHostTime = time.host_time;
  stamp.mWordClockTime = time.word_clock;
  stamp.mFlags = kAudioTimeStampSampleTimeValid | kAudioTimeStampHostTimeValid | kAudioTimeStampRateScalarValid |
                 kAudioTimeStampWordClockTimeValid;
  return stamp;
}

} // namespace vurl
