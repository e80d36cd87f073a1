#include "app/Recorder.h"

#include "app/SalvageTexts.h"
#include "platform/Text.h"

#include <thread>

namespace vurl {
namespace {

void sleepAWhile() { std::this_thread::sleep_for(std::chrono::milliseconds(100)); }

} // namespace

AudioServices::AudioServices(UserDefaults& user_defaults, RunLoop& run_loop)
    : defaults(user_defaults),
      sleep_inhibitor(run_loop),
      jack(model, run_loop),
      alsa(model, run_loop),
      generator(model, run_loop),
      show_generator(defaults.observe("show_generator", [this](const auto&) { updateGenerator(); })),
      frame_rate(defaults.observe("frame_rate", [this](const auto&) { updateGenerator(); })),
      alsa_devices(defaults.observe("alsa_devices", [this](const auto&) { listAlsaDevices(); })) {
  model.setSleepSwitch([this](bool allowed) { sleep_inhibitor.setSleepingIsAllowed(allowed); });
  alsa.setThreadPreparation([shared = real_time] { shared->prepareThread(); });
  generator.setThreadPreparation([shared = real_time] { shared->prepareThread(); });
  listAlsaDevices();
  updateGenerator();
}

void AudioServices::publishGeneratorForRun() {
  generator_for_run = true;
  updateGenerator();
}

void AudioServices::listAlsaDevices() { alsa.setListed(defaults.stringForKey("alsa_devices")); }

void AudioServices::updateGenerator() {
  const auto rate = static_cast<int32_t>(defaults.integerForKey("frame_rate"));
  jack.setFrameRate(rate);
  generator.setFrameRate(rate);
  generator.setPublished(generator_for_run || defaults.boolForKey("show_generator"));
}

Recorder::Recorder(UserDefaults& defaults, RunLoop& run_loop, HardwareModel& hardware, const RecorderViews& views,
                   const RecorderMeans& means)
    : pull_popup(views.main_window),
      has_thread(means.has_thread),
      disk_sync(std::make_shared<PosixFileLayer>(), syncTeller(run_loop, views.main_window)),
      history_controler(defaults, run_loop, views.history == nullptr ? hidden_history : *views.history),
      audio_ring(defaults, systemWallTime, &pull_popup),
      output_file(audio_ring, defaults, means.file_layer == nullptr ? file_layer : *means.file_layer,
                  &history_controler),
      ring_delegate(audio_ring),
      input_device(hardware, run_loop, ring_delegate),
      channel_layout_controler(defaults, views.layout == nullptr ? hidden_layout : *views.layout),
      controller({defaults, run_loop, audio_ring, input_device, output_file, views.main_window,
                  means.pause ? means.pause : sleepAWhile, channel_layout_controler, history_controler}) {
  input_device.setObserver(&controller);
  output_file.setDiskSync(disk_sync);
  history_controler.setSalvageTeller([&view = views.main_window](const std::vector<SalvagedTake>& takes) {
    view.showAlert(salvageMessage(takes), salvageDetails(takes));
  });
  history_controler.setSilenceTeller([&view = views.main_window](const std::string& folder) {
    view.showAlert("A folder does not answer.", text("The history waits for %@.", folder));
  });
}

DiskSync::Teller Recorder::syncTeller(RunLoop& run_loop, MainWindowView& view) {
  return [this, &run_loop, &view, still = std::weak_ptr(alive)](const std::string& path, int error) {
    run_loop.post([this, &view, still, path, error] {
      if (still.expired()) return;
      ++nr_unsynced_files;
      view.showAlert("A take may not be whole on disk.", text("%@: %s.", path, systemError(error)));
      view.fileNotSynced(path, systemError(error));
    });
  };
}

Recorder::~Recorder() {
  controller.applicationWillTerminate();
  output_file.stopThread();
  input_device.setObserver(nullptr);
}

void Recorder::start() {
  input_device.awake();
  if (has_thread) output_file.startThread();
  controller.applicationDidFinishLaunching();
}

} // namespace vurl
