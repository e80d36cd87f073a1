#include "hardware/AlsaHardware.h"

#include "hardware/AlsaDevice.h"
#include "hardware/AlsaLog.h"
#include "hardware/AlsaProfile.h"
#include "hardware/RateWatch.h"
#include "platform/Log.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace vurl {
namespace {

constexpr std::chrono::seconds kPollInterval{1};
constexpr std::chrono::seconds kWatchedPollInterval{10}; ///< where news is told: in case that some goes astray
constexpr std::chrono::milliseconds kSettleTime{200};    ///< a card comes as a burst of events
constexpr std::chrono::milliseconds kWatchInterval{100};

} // namespace

struct AlsaHardware::Device : AlsaProfile {
  using AlsaProfile::AlsaProfile;
  DeviceDescription describeAll() const;

  AudioObjectID id = kAudioObjectUnknown; ///< unknown while it is not published
  IOProc io;                              ///< no proc while stopped
  std::unique_ptr<AlsaDevice> running;
  std::unique_ptr<CardSources> sources; ///< while it is published
  int error = 0;                        ///< a negative errno value, when it was last asked what it can do
  bool is_out = false;                  ///< it is there, and is not to be used again
  RateWatch rate_watch{0};
  uint32_t nr_losses_told = 0;
  bool is_silence_told = false;
};

DeviceDescription AlsaHardware::Device::describeAll() const {
  DeviceDescription description = describe();
  if (sources) sources->describe(description);
  return description;
}

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

void AlsaHardware::add(const AlsaName& name) { tryToPublish(*devices.emplace_back(std::make_unique<Device>(name))); }

// One that another program holds is listed all the same, by its name, and told when it is to start; one that cannot
// work is told once, and kept in mind without being listed.
void AlsaHardware::tryToPublish(Device& device) {
  const int error_told = std::exchange(device.error, device.probe());
  if (device.error >= 0 || device.error == -EBUSY)
    publish(device);
  else if (device.error != error_told)
    device.tellFailure(device.error);
  device.is_out = device.error == -ETIMEDOUT;
}

void AlsaHardware::publish(Device& device) {
  findSources(device);
  device.id = model.publish(*this, device.describeAll());
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
                                    [this, &device] { model.update(device.id, device.describeAll()); });
}

void AlsaHardware::remove(const AlsaName& name) {
  const auto found = std::ranges::find(devices, name, [](const auto& device) { return device->name; });
  const auto device = std::move(*found);
  devices.erase(found);
  close(*device);
  if (device->id != kAudioObjectUnknown) model.unpublish(device->id);
}

AlsaHardware::Device* AlsaHardware::find(AudioObjectID device) {
  const auto found = std::ranges::find(devices, device, [](const auto& one) { return one->id; });
  return found == devices.end() || device == kAudioObjectUnknown ? nullptr : found->get();
}

OSStatus AlsaHardware::open(Device& device) {
  int error = 0;
  device.setup.prepare_thread = prepare_thread;
  device.running = AlsaDevice::start(device.setup, device.io, error);
  device.setup.loses_samples = false;
  device.nr_losses_told = 0;
  device.is_silence_told = false;
  device.rate_watch = RateWatch(device.setup.rate);
  if (device.running) {
    const uint32_t frames = std::exchange(device.setup.frames, device.running->frames());
    if (frames != device.setup.frames)
      log("The ALSA device %@ has periods of %u frames in place of %u.", device.name.name, device.setup.frames, frames);
  } else {
    device.tellFailure(error);
    device.io = {};
  }
  model.update(device.id, device.describeAll());
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
  if (const int error = device->probe(); error < 0) {
    device->tellFailure(error);
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
  device.setup.loses_samples = is_running;
  if (rate != before.rate) device.probe(); // for there may be other channels
  const bool is_open = is_running && open(device) == kAudioHardwareNoError;
  // What came meanwhile is lost. A new rate ends a take by itself, new buffers do not.
  if (is_running && rate == before.rate && !before.capture.pcm.empty()) model.notifyOverload(device.id);
  if (is_running && !is_open) {
    const auto first_sample = device.setup.first_sample;
    device.setup = before;
    device.setup.first_sample = first_sample;
    device.setup.loses_samples = true;
    device.io = io;
    open(device);
    return kAudioHardwareIllegalOperationError;
  }
  model.update(device.id, device.describeAll());
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
  model.update(device->id, device->describeAll());
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
