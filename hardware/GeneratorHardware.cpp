#include "hardware/GeneratorHardware.h"

#include "hardware/GeneratorCycle.h"
#include "platform/Log.h"
#include "platform/NewThread.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace vurl {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::array kRates = {44100.0, 48000.0, 88200.0, 96000.0, 176400.0, 192000.0};
constexpr AudioValueRange kFrames{16, 4096};
constexpr int kLastInList = 1000;
constexpr std::chrono::seconds kMostLateness{1};
constexpr std::chrono::milliseconds kLossInterval{100};

std::vector<StreamDescription> describeStreams() {
  std::vector<StreamDescription> streams;
  for (uint32_t i = 0; i < GeneratorHardware::kNrStreams; i++)
    streams.push_back({std::string("Bank ") + static_cast<char>('A' + i), GeneratorHardware::kChannelsPerStream});
  return streams;
}

std::chrono::nanoseconds duration(uint64_t frames, uint32_t rate) {
  return std::chrono::nanoseconds(frames * 1'000'000'000 / rate);
}

} // namespace

GeneratorHardware::GeneratorHardware(HardwareModel& hardware_model, RunLoop& run_loop)
    : model(hardware_model),
      cycle(std::make_unique<GeneratorCycle>()),
      loss_timer(run_loop.every(kLossInterval, [this] {
        reportLosses();
        cycle->limiter.report();
      })) {
  cycle->configure(48000, 256);
}

GeneratorHardware::~GeneratorHardware() { setPublished(false); }

DeviceDescription GeneratorHardware::describe() const {
  DeviceDescription description;
  description.manufacturer = "Vurl";
  description.name = "Test Generator";
  description.sort_order = kLastInList;
  description.inputs = describeStreams();
  description.outputs = describeStreams();
  description.nominal_sample_rates.assign(kRates.begin(), kRates.end());
  description.nominal_sample_rate = cycle->rate();
  description.buffer_frame_size_range = kFrames;
  description.buffer_frame_size = cycle->frames();
  description.data_sources = {{kTones, "Tones"}, {kLoopBack, "Loop-back"}};
  description.data_source = cycle->data_source;
  description.clock_sources = {{kInternal, "Internal"}, {kExternal, "External"}};
  description.clock_source = cycle->clock_source;
  return description;
}

void GeneratorHardware::setPublished(bool published) {
  if (published == (device_id != kAudioObjectUnknown)) return;
  if (published) {
    device_id = model.publish(*this, describe());
  } else {
    model.unpublish(device_id);
    device_id = kAudioObjectUnknown;
  }
}

void GeneratorHardware::setFrameRate(int32_t frame_rate) {
  cycle->frame_rate.store(frame_rate, std::memory_order_release);
}

OSStatus GeneratorHardware::start(AudioObjectID, const IOProc& new_io) {
  io = new_io;
  cycle->limiter.restart();
  stepped = !is_paced;
  startThread();
  if (stepped || thread.joinable()) return kAudioHardwareNoError;
  io = {};
  return kAudioHardwareBadDeviceError;
}

void GeneratorHardware::stop(AudioObjectID) {
  stopThread();
  stepped = false;
  io = {};
}

void GeneratorHardware::step(int nr_cycles) {
  for (int i = 0; stepped && i < nr_cycles; i++) cycle->run(io);
}

void GeneratorHardware::configure(uint32_t rate, uint32_t frames) {
  if (rate == cycle->rate() && frames == cycle->frames()) return;
  stopThread();
  cycle->configure(rate, frames);
  startThread();
  model.update(device_id, describe());
}

OSStatus GeneratorHardware::setNominalSampleRate(AudioObjectID, double rate) {
  if (!std::ranges::count(kRates, rate)) return kAudioHardwareIllegalOperationError;
  configure(static_cast<uint32_t>(rate), cycle->frames());
  return kAudioHardwareNoError;
}

OSStatus GeneratorHardware::setBufferFrameSize(AudioObjectID, uint32_t frames) {
  if (frames < kFrames.mMinimum || frames > kFrames.mMaximum) return kAudioHardwareIllegalOperationError;
  configure(cycle->rate(), frames);
  return kAudioHardwareNoError;
}

OSStatus GeneratorHardware::setDataSource(AudioObjectID, uint32_t id) {
  if (id != kTones && id != kLoopBack) return kAudioHardwareIllegalOperationError;
  cycle->data_source.store(id, std::memory_order_release);
  model.update(device_id, describe());
  return kAudioHardwareNoError;
}

OSStatus GeneratorHardware::setClockSource(AudioObjectID, uint32_t id) {
  if (id != kInternal && id != kExternal) return kAudioHardwareIllegalOperationError;
  cycle->clock_source.store(id, std::memory_order_release);
  model.update(device_id, describe());
  return kAudioHardwareNoError;
}

void GeneratorHardware::startThread() {
  if (io.proc == nullptr || stepped) return;
  stopping = false;
  thread = newThread([this] {
    if (prepare_thread) prepare_thread();
    pace();
  });
  if (!thread.joinable()) warn("The system has no thread left for the test generator.");
}

void GeneratorHardware::stopThread() {
  if (!thread.joinable()) return;
  {
    const std::lock_guard lock(mutex);
    stopping = true;
  }
  stop_asked.notify_one();
  thread.join();
}

// Each cycle is due when its first sample's time has come. A thread that was held up makes up for it cycle by cycle;
// what is more than a second late is lost.
void GeneratorHardware::pace() {
  const uint32_t rate = cycle->rate();
  const uint32_t frames = cycle->frames();
  auto origin = Clock::now();
  uint64_t position = 0; // frames since `origin`
  std::unique_lock lock(mutex);
  while (!stop_asked.wait_until(lock, origin + duration(position, rate), [this] { return stopping; })) {
    lock.unlock();
    if (Clock::now() > origin + duration(position, rate) + kMostLateness) {
      const auto late = std::chrono::duration<double>(Clock::now() - origin).count() * rate;
      const auto nr_lost = (static_cast<uint64_t>(late) - position) / frames;
      cycle->skip(nr_lost * frames);
      position += nr_lost * frames;
      nr_losses.store(nr_losses.load(std::memory_order_relaxed) + 1, std::memory_order_release);
    }
    cycle->run(io);
    position += frames;
    for (; position >= rate; position -= rate) origin += std::chrono::seconds(1);
    lock.lock();
  }
}

void GeneratorHardware::reportLosses() {
  const uint32_t nr_now = nr_losses.load(std::memory_order_acquire);
  if (nr_now == nr_losses_told) return;
  nr_losses_told = nr_now;
  model.notifyOverload(device_id);
}

} // namespace vurl
