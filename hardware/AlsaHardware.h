// The audio interfaces that ALSA drives, without a server between: each card is a device, and so is each PCM that the
// user marked or listed. Cards that come and go are noticed within a second. What a device can do is found out when it
// is listed, and again each time it starts. Thread: main. AlsaDevice is a device that runs.
#pragma once

#include "hardware/AlsaControls.h"
#include "hardware/AlsaList.h"
#include "hardware/CardSources.h"
#include "hardware/HardwareModel.h"
#include "hardware/PlugMonitor.h"
#include "hardware/UdevMonitor.h"
#include "platform/RealTime.h"
#include "platform/RunLoop.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vurl {

class AlsaHardware final : public AudioService {
public:
  /// Tells the cards that are there.
  using CardLister = std::function<std::vector<AlsaName>()>;

  /// Publishes the devices there are. `model` and `run_loop` must outlive this object. A test may bring other cards.
  AlsaHardware(HardwareModel& model, RunLoop& run_loop, CardLister cards = alsaCards,
               CardControlsOpener controls = openAlsaControls, std::unique_ptr<PlugMonitor> plugs = openUdevMonitor());
  ~AlsaHardware() override;

  /// PCMs to publish besides, with commas between them.
  void setListed(const std::string& names);

  /// Has each device's thread run `prepare` before its first cycle. For the devices that start from now on.
  void setThreadPreparation(ThreadPreparation prepare) { prepare_thread = std::move(prepare); }

  /// Looks for devices that came or went; the main loop does so when it is told that some may have, and where nobody
  /// tells, every second.
  void poll();

  OSStatus start(AudioObjectID device, const IOProc& io) override;
  void stop(AudioObjectID device) override;
  OSStatus setNominalSampleRate(AudioObjectID device, double rate) override;

  /// Takes the size nearest to `frames` that the device has.
  OSStatus setBufferFrameSize(AudioObjectID device, uint32_t frames) override;

  OSStatus setDataSource(AudioObjectID device, uint32_t id) override;
  OSStatus setClockSource(AudioObjectID device, uint32_t id) override;

private:
  struct Device;

  void add(const AlsaName& name);
  void tryToPublish(Device& device);
  void publish(Device& device);
  void findSources(Device& device);
  void remove(const AlsaName& name);
  OSStatus open(Device& device);
  static void close(Device& device);
  OSStatus reopen(Device& device, uint32_t rate, uint32_t frames);
  void watchRunning();
  void hearPlugs();
  void look(bool has_news);
  void retry(bool all);
  OSStatus setSource(AudioObjectID id, bool (CardSources::*set)(uint32_t), uint32_t source);
  Device* find(AudioObjectID device);

  HardwareModel& model;
  RunLoop& run_loop;
  const CardLister cards;
  const CardControlsOpener open_controls;
  const std::unique_ptr<PlugMonitor> plugs; ///< null where nobody tells
  ThreadPreparation prepare_thread;
  const std::vector<AlsaName> marked;
  std::vector<AlsaName> listed;
  std::vector<std::unique_ptr<Device>> devices;
  RunLoop::Handle plug_watch;
  RunLoop::Handle settle_timer; ///< while a card that came is being set up
  RunLoop::Handle poll_timer;
  RunLoop::Handle watch_timer;
};

} // namespace vurl
