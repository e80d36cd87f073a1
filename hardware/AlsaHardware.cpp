#include "hardware/AlsaHardware.h"

#include "hardware/AlsaDevice.h"
#include "hardware/AlsaLog.h"
#include "hardware/AlsaOwner.h"
#include "hardware/AlsaProbe.h"
#include "hardware/Patience.h"
#include "hardware/RateWatch.h"
#include "platform/Log.h"
#include "platform/Text.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <utility>

namespace vurl {
namespace {

constexpr std::chrono::seconds kPollInterval{1};
constexpr std::chrono::seconds kWatchedPollInterval{10}; ///< where news is told: in case that some goes astray
constexpr std::chrono::milliseconds kSettleTime{200};    ///< a card comes as a burst of events
constexpr std::chrono::milliseconds kWatchInterval{100};
constexpr std::chrono::milliseconds kPatience{1900}; ///< with a driver: less than two seconds with the rest
constexpr int kBehindServers = 1;
constexpr uint32_t kUsualRate = 48000;
constexpr double kUsualFrames = 256;

/// Nothing, with the reason in `error`, when there is no such PCM, or it is not to be had.
std::optional<AlsaAbilities> ask(const std::string& pcm, snd_pcm_stream_t direction, uint32_t rate, int& error) {
  error = -ENODEV;
  if (pcm.empty()) return std::nullopt;
  const auto work = [pcm, direction, rate] {
    allowAlsaLogHere();
    int reason = 0;
    auto found = probeAlsa(pcm, direction, rate, reason);
    return std::pair(std::move(found), reason);
  };
  auto answer = withPatience(kPatience, work);
  error = answer ? answer->second : -ETIMEDOUT;
  return answer ? std::move(answer->first) : std::nullopt;
}

std::vector<StreamDescription> describeStreams(const AlsaSetup& setup) {
  if (setup.pcm.empty()) return {};
  const bool is_interleaved =
      setup.access == SND_PCM_ACCESS_MMAP_INTERLEAVED || setup.access == SND_PCM_ACCESS_RW_INTERLEAVED;
  const StreamDescription stream{setup.pcm, is_interleaved ? setup.nr_channels : 1};
  return std::vector<StreamDescription>(is_interleaved ? 1 : setup.nr_channels, stream);
}

std::vector<double> common(const std::vector<double>& a, const std::vector<double>& b) {
  std::vector<double> both;
  std::ranges::set_intersection(a, b, std::back_inserter(both));
  return both;
}

AudioValueRange common(const AudioValueRange& a, const AudioValueRange& b) {
  return {std::max(a.mMinimum, b.mMinimum), std::min(a.mMaximum, b.mMaximum)};
}

} // namespace

struct AlsaHardware::Device {
  AlsaName name;
  AudioObjectID id = kAudioObjectUnknown; ///< unknown while it is not published
  AlsaDeviceSetup setup;
  std::vector<double> rates;
  AudioValueRange period_frames;
  IOProc io; ///< no proc while stopped
  std::unique_ptr<AlsaDevice> running;
  std::unique_ptr<CardSources> sources; ///< while it is published
  int error = 0;                        ///< a negative errno value, when it was last asked what it can do
  bool is_out = false;                  ///< it is there, and is not to be used again
  RateWatch rate_watch{kUsualRate};
  uint32_t nr_losses_told = 0;
  bool is_silence_told = false;
};

AlsaHardware::AlsaHardware(HardwareModel& hardware_model, RunLoop& main_loop, CardLister lister,
                           CardControlsOpener controls, std::unique_ptr<PlugMonitor> plug_monitor)
    : model(hardware_model),
      run_loop(main_loop),
      cards(std::move(lister)),
      open_controls(std::move(controls)),
      plugs(std::move(plug_monitor)),
      marked((allowAlsaLogHere(), logAlsaLibrary(), markedAlsaPcms())) {
  poll();
  if (plugs) plug_watch = run_loop.watch(plugs->descriptor(), [this] { hearPlugs(); });
  poll_timer = run_loop.every(plugs ? kWatchedPollInterval : kPollInterval, [this] { poll(); });
  watch_timer = run_loop.every(kWatchInterval, [this] { watchRunning(); });
}

AlsaHardware::~AlsaHardware() {
  while (!devices.empty()) remove(AlsaName(devices.back()->name));
}

void AlsaHardware::setListed(const std::string& names) {
  listed = listedAlsaPcms(names);
  poll();
}

void AlsaHardware::hearPlugs() {
  if (!plugs->takeNews() || settle_timer) return;
  settle_timer = run_loop.every(kSettleTime, [this] {
    settle_timer.reset();
    look(true);
  });
}

void AlsaHardware::poll() { look(false); }

void AlsaHardware::look(bool has_news) {
  auto present = cards();
  for (const auto* more : {&marked, &std::as_const(listed)})
    for (const auto& name : *more)
      if (!std::ranges::count(present, name.name, &AlsaName::name)) present.push_back(name);
  std::vector<AlsaName> gone;
  for (const auto& device : devices)
    if (!std::ranges::count(present, device->name)) gone.push_back(device->name);
  for (const auto& name : gone) remove(name);
  std::erase_if(present, [this](const auto& name) {
    return std::ranges::any_of(devices, [&](const auto& device) { return device->name == name; });
  });
  retry(has_news || !gone.empty() || !present.empty());
  for (const auto& name : present) add(name);
}

// What could not be had may have waited for a card, or for leave to open it.
void AlsaHardware::retry(bool all) {
  for (const auto& device : devices) {
    if (device->id != kAudioObjectUnknown || device->is_out) continue;
    if (all || device->error == -EACCES) tryToPublish(*device);
  }
}

void AlsaHardware::add(const AlsaName& name) {
  auto& device = *devices.emplace_back(std::make_unique<Device>());
  device.name = name;
  tryToPublish(device);
}

// One that another program holds is listed all the same, by its name, and told when it is to start; one that cannot
// work is told once, and kept in mind without being listed.
void AlsaHardware::tryToPublish(Device& device) {
  const int error_told = std::exchange(device.error, probe(device));
  if (device.error >= 0 || device.error == -EBUSY)
    publish(device);
  else if (device.error != error_told)
    tellFailure(device, device.error);
  device.is_out = device.error == -ETIMEDOUT;
}

void AlsaHardware::publish(Device& device) {
  findSources(device);
  device.id = model.publish(*this, describe(device));
}

/// The devices of a card come in the order of its PCMs.
void AlsaHardware::findSources(Device& device) {
  const auto capture = placeOfPcm(device.name.capture);
  const auto place = capture ? capture : placeOfPcm(device.name.playback);
  if (!place) return;
  const auto nth_capture = std::ranges::count_if(devices, [&](const auto& other) {
    const auto there = placeOfPcm(other->name.capture);
    return capture && there && there->card == capture->card && there->number < capture->number;
  });
  device.sources =
      std::make_unique<CardSources>(open_controls(place->card, CardSources::wants), run_loop,
                                    capture ? std::optional(static_cast<uint32_t>(nth_capture)) : std::nullopt,
                                    [this, &device] { model.update(device.id, describe(device)); });
}

void AlsaHardware::remove(const AlsaName& name) {
  const auto found = std::ranges::find(devices, name, [](const auto& device) { return device->name; });
  const auto device = std::move(*found);
  devices.erase(found);
  close(*device);
  if (device->id != kAudioObjectUnknown) model.unpublish(device->id);
}

/// Fills in what the device can do, at the rate that is set or, where it has none such, at another one.
int AlsaHardware::probe(Device& device) const {
  const uint32_t rate = device.setup.rate == 0 ? kUsualRate : device.setup.rate;
  device.setup.rate = rate;
  const int error = probeAtRate(device);
  return error < 0 || device.setup.rate == rate ? error : probeAtRate(device);
}

/// A direction that cannot be opened is left out as long as there is the other one.
int AlsaHardware::probeAtRate(Device& device) const {
  int capture_error = 0, playback_error = 0;
  const auto capture = ask(device.name.capture, SND_PCM_STREAM_CAPTURE, device.setup.rate, capture_error);
  if (capture_error == -ETIMEDOUT) return capture_error;
  auto playback = ask(device.name.playback, SND_PCM_STREAM_PLAYBACK, device.setup.rate, playback_error);
  if (capture_error == -EBUSY || playback_error == -EBUSY) return -EBUSY;
  if (!capture && !playback) return device.name.capture.empty() ? playback_error : capture_error;
  if (capture && playback && common(capture->rates, playback->rates).empty()) playback.reset();
  device.setup.capture = capture ? capture->setup : AlsaSetup();
  device.setup.playback = playback ? playback->setup : AlsaSetup();
  const AlsaAbilities& one = capture ? *capture : *playback;
  const AlsaAbilities& other = playback ? *playback : *capture;
  device.rates = common(one.rates, other.rates);
  device.period_frames = common(one.period_frames, other.period_frames);
  auto& [lowest, highest] = device.period_frames;
  if (lowest > highest) device.period_frames = one.period_frames;
  if (!std::ranges::count(device.rates, device.setup.rate))
    device.setup.rate =
        std::ranges::count(device.rates, kUsualRate) ? kUsualRate : static_cast<uint32_t>(device.rates.back());
  const double frames = device.setup.frames == 0 ? kUsualFrames : device.setup.frames;
  device.setup.frames = static_cast<uint32_t>(std::clamp(frames, lowest, highest));
  return 0;
}

DeviceDescription AlsaHardware::describe(const Device& device) const {
  DeviceDescription description;
  description.manufacturer = "ALSA";
  description.name = device.name.name;
  description.sort_order = kBehindServers;
  description.inputs = describeStreams(device.setup.capture);
  description.outputs = describeStreams(device.setup.playback);
  description.nominal_sample_rates = device.rates;
  description.nominal_sample_rate = device.setup.rate;
  description.buffer_frame_size_range = device.period_frames;
  description.buffer_frame_size = device.setup.frames;
  if (device.sources) device.sources->describe(description);
  return description;
}

void AlsaHardware::tellFailure(const Device& device, int error) const {
  const auto& name = device.name;
  if (error == -ENOTSUP) {
    warn("The ALSA device %@ has no sample format or rate that this program knows.", name.name);
  } else if (error == -EBUSY) {
    auto owner = alsaOwner(name.capture, true);
    if (owner.empty()) owner = alsaOwner(name.playback, false);
    warn("The ALSA device %@ is in use by %@.", name.name, owner.empty() ? "another program" : owner);
  } else if (error == -ETIMEDOUT) {
    warn("The ALSA device %@ does not answer.", name.name);
  } else {
    warn("The ALSA device %@ cannot be used: %@.", name.name, snd_strerror(error));
  }
}

AlsaHardware::Device* AlsaHardware::find(AudioObjectID device) {
  const auto found = std::ranges::find(devices, device, [](const auto& one) { return one->id; });
  return found == devices.end() || device == kAudioObjectUnknown ? nullptr : found->get();
}

OSStatus AlsaHardware::open(Device& device) {
  int error = 0;
  device.running = AlsaDevice::start(device.setup, device.io, error);
  device.nr_losses_told = 0;
  device.is_silence_told = false;
  device.rate_watch = RateWatch(device.setup.rate);
  if (device.running) {
    const uint32_t frames = std::exchange(device.setup.frames, device.running->frames());
    if (frames != device.setup.frames)
      log("The ALSA device %@ has periods of %u frames in place of %u.", device.name.name, device.setup.frames, frames);
  } else {
    tellFailure(device, error);
    device.io = {};
  }
  model.update(device.id, describe(device));
  return device.running ? OSStatus{kAudioHardwareNoError} : OSStatus{kAudioHardwareBadDeviceError};
}

void AlsaHardware::close(Device& device) {
  if (device.running && !device.running->stop())
    warn("The ALSA device %@ does not answer: it could not be closed.", device.name.name);
  if (device.running) device.setup.first_sample = device.running->nextSample();
  device.running.reset();
}

OSStatus AlsaHardware::start(AudioObjectID id, const IOProc& io) {
  Device* const device = find(id);
  if (device == nullptr) return kAudioHardwareBadDeviceError;
  if (device->running) return kAudioHardwareIllegalOperationError;
  if (const int error = probe(*device); error < 0) {
    tellFailure(*device, error);
    return kAudioHardwareBadDeviceError;
  }
  device->io = io;
  return open(*device);
}

void AlsaHardware::stop(AudioObjectID id) {
  Device* const device = find(id);
  if (device == nullptr) return;
  close(*device);
  device->io = {};
}

/// A device that refuses goes on as it was.
OSStatus AlsaHardware::reopen(Device& device, uint32_t rate, uint32_t frames) {
  const AlsaDeviceSetup before = device.setup;
  if (rate == before.rate && frames == before.frames) return kAudioHardwareNoError;
  const bool is_running = device.running != nullptr;
  const IOProc io = device.io;
  close(device);
  device.setup.rate = rate;
  device.setup.frames = frames;
  if (rate != before.rate) probe(device); // for there may be other channels
  if (is_running && open(device) != kAudioHardwareNoError) {
    const auto first_sample = device.setup.first_sample;
    device.setup = before;
    device.setup.first_sample = first_sample;
    device.io = io;
    open(device);
    return kAudioHardwareIllegalOperationError;
  }
  model.update(device.id, describe(device));
  return kAudioHardwareNoError;
}

OSStatus AlsaHardware::setNominalSampleRate(AudioObjectID id, double rate) {
  Device* const device = find(id);
  if (device == nullptr || !std::ranges::count(device->rates, rate)) return kAudioHardwareIllegalOperationError;
  return reopen(*device, static_cast<uint32_t>(rate), device->setup.frames);
}

OSStatus AlsaHardware::setBufferFrameSize(AudioObjectID id, uint32_t frames) {
  Device* const device = find(id);
  if (device == nullptr || frames < device->period_frames.mMinimum || frames > device->period_frames.mMaximum)
    return kAudioHardwareIllegalOperationError;
  return reopen(*device, device->setup.rate, frames);
}

OSStatus AlsaHardware::setSource(AudioObjectID id, bool (CardSources::*set)(uint32_t), uint32_t source) {
  Device* const device = find(id);
  if (device == nullptr || !device->sources) return kAudioHardwareIllegalOperationError;
  const bool is_set = (*device->sources.*set)(source);
  model.update(device->id, describe(*device));
  return is_set ? OSStatus{kAudioHardwareNoError} : OSStatus{kAudioHardwareIllegalOperationError};
}

OSStatus AlsaHardware::setDataSource(AudioObjectID id, uint32_t source) {
  return setSource(id, &CardSources::setDataSource, source);
}

OSStatus AlsaHardware::setClockSource(AudioObjectID id, uint32_t source) {
  return setSource(id, &CardSources::setClockSource, source);
}

// A device that failed is out of the list until its card comes anew, or the program starts: it would only fail again.
// The card of one that is no card itself may come back.
void AlsaHardware::watchRunning() {
  for (const auto& device : devices) {
    if (!device->running) continue;
    device->running->reportLimiting();
    const uint32_t nr_losses = device->running->nrLosses();
    if (std::exchange(device->nr_losses_told, nr_losses) != nr_losses) model.notifyOverload(device->id);
    if (device->running->isSilent() && !std::exchange(device->is_silence_told, true))
      warn("The ALSA device %@ delivers nothing.", device->name.name);
    if (const auto rate = device->rate_watch.look(device->running->nextSample(), std::chrono::steady_clock::now()))
      warn("The ALSA device %@ runs at %u Hz, although it says %u Hz.", device->name.name, *rate, device->setup.rate);
    const int error = device->running->failure();
    if (error == 0) continue;
    warn("The ALSA device %@ has failed: %@.", device->name.name, snd_strerror(error));
    close(*device);
    device->sources.reset();
    device->is_out = error != -ENODEV;
    device->error = error;
    model.unpublish(std::exchange(device->id, kAudioObjectUnknown));
  }
}

} // namespace vurl
