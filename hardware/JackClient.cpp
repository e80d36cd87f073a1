#include "hardware/JackClient.h"

#include "hardware/JackDatabase.h"
#include "hardware/JackPorts.h"
#include "hardware/JackRequests.h"
#include "hardware/OutputLimiter.h"
#include "platform/Log.h"

#include <jack/jack.h>
#include <jack/statistics.h>
#include <jack/transport.h>

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <utility>

namespace vurl {
namespace {

constexpr AudioValueRange kFrames{16, 4096};
// A server that waits for its clients can lose one on the way when another joins them, on a busy machine: then it gives
// up that cycle after ten times its patience, which is five seconds as it comes, and lets the new one join.
constexpr std::chrono::seconds kPatience{7};
constexpr std::chrono::seconds kPatienceWithPorts{2};
constexpr std::chrono::milliseconds kPatienceAtTheEnd{1900}; ///< letting go of a dead server takes two seconds at most

std::atomic<bool> library_is_quiet = false;

// The library ends its threads by cancelling them at any instruction, when a server hangs even within a cycle. That
// must not hit our code, which no unwinding may leave; so it waits until `work` is done. This function itself is not
// noexcept, since the unwinding begins in its last call.
template <typename Work>
void withoutCancellation(Work work) {
  int cancel_state = 0;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancel_state);
  work();
  pthread_setcancelstate(cancel_state, nullptr);
}

void logLibrary(const char* line) {
  if (library_is_quiet.load(std::memory_order_acquire)) return;
  withoutCancellation([line] { log("JACK: %@", line); }); // the library's threads speak while they are being ended
}

} // namespace

struct JackClient::Connection {
  jack_client_t* client = nullptr;
  std::mutex events_mutex; ///< of the main thread and the library's threads, but the I/O thread
  Events events;           ///< none when nobody is to be told any more

  // Set while no cycle runs.
  JackPorts inputs;
  JackPorts outputs;
  IOProc io;

  // Shared with the I/O thread. `running` and `in_cycle` need one order for all threads: either the cycle sees that
  // it may not run, or stop() sees that it does.
  std::atomic<bool> running = false;
  std::atomic<bool> in_cycle = false;
  std::atomic<bool> has_interface = false; ///< sound that the server is too late for is lost
  std::atomic<bool> freewheels = false;    ///< the server runs its clients for no interface, as fast as they can
  std::atomic<int32_t> frame_rate = FRAME_RATE_25;
  std::atomic<uint32_t> nr_losses = 0; ///< written by the I/O thread only
  OutputLimiter limiter;

  // The I/O thread's own.
  bool is_first_cycle = true;
  jack_nframes_t last_frame_time = 0;
  jack_nframes_t last_nr_frames = 0;
  uint32_t incident = 0; ///< what the cycle's time stamp tells: AudioTimeStampFlags
  uint32_t nr_interface_losses_told = 0;
  uint32_t nr_xruns_told = 0;
  uint64_t sample_time = 0; ///< the server's frame time, without its wrap at 32 bits

  // Of the library's thread for notifications.
  float last_delay = 0;
  std::atomic<uint32_t> nr_interface_losses = 0;
  std::atomic<uint32_t> nr_xruns = 0; ///< that cost this program nothing

  static int process(jack_nframes_t nr_frames, void* self);
  void cycle(jack_nframes_t nr_frames) noexcept;
  void followFrameTime(jack_nframes_t nr_frames) noexcept;
  void followXrun() noexcept;
  void collectXruns() noexcept;
  AudioTimeStamp timeStamp() const noexcept;
  void addTransportTime(AudioTimeStamp& stamp) const noexcept;
  void tell(std::function<void()> Events::*event);
  void forget();

  // These ask the server: JackRequests carries them out.
  void open(const std::string& server);
  void setCallbacks();
  bool activate() { return jack_activate(client) == 0; }
  void connectPorts();
  void deactivate() { jack_deactivate(client); }
  void close();
};

static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<uint32_t>::is_always_lock_free);

int JackClient::Connection::process(jack_nframes_t nr_frames, void* self) {
  withoutCancellation([&] {
    auto& connection = *static_cast<Connection*>(self);
    connection.in_cycle.store(true);
    if (connection.running.load() && !connection.freewheels.load())
      connection.cycle(nr_frames);
    else
      connection.outputs.fetchSilent(nr_frames);
    connection.in_cycle.store(false);
  });
  return 0;
}

void JackClient::Connection::cycle(jack_nframes_t nr_frames) noexcept {
  incident = 0;
  followFrameTime(nr_frames);
  collectXruns();
  const AudioBufferList input_list = inputs.fetch(nr_frames);
  AudioBufferList output_list = outputs.fetchSilent(nr_frames);
  AudioTimeStamp now = timeStamp();
  AudioTimeStamp later = now;
  now.mFlags |= incident;
  later.mSampleTime += nr_frames;
  later.mWordClockTime += nr_frames;
  io.proc(io.device, &now, &input_list, &now, &output_list, &later, io.client_data);
  limiter.limit(output_list);
}

// A gap in the server's frame time says that this program missed cycles. The frame time also jumps when the buffer size
// changes, for which a server stops its interface.
void JackClient::Connection::followFrameTime(jack_nframes_t nr_frames) noexcept {
  const jack_nframes_t frame_time = jack_last_frame_time(client);
  const jack_nframes_t passed = frame_time - last_frame_time;
  if (!is_first_cycle && passed != last_nr_frames && (nr_frames == last_nr_frames || has_interface)) {
    nr_losses.store(nr_losses.load(std::memory_order_relaxed) + 1, std::memory_order_release);
    incident |= kAudioTimeStampSamplesLost;
  }
  sample_time = is_first_cycle ? frame_time : sample_time + passed;
  is_first_cycle = false;
  last_frame_time = frame_time;
  last_nr_frames = nr_frames;
}

// What the interface lost leaves no gap in the frame time. The server sets the delay anew for the xruns of its
// interface alone, not for those of a late client, which cost the others nothing.
void JackClient::Connection::followXrun() noexcept {
  const float delay = jack_get_xrun_delayed_usecs(client);
  const bool is_loss = std::exchange(last_delay, delay) != delay && has_interface;
  if (!running) return;
  auto& count = is_loss ? nr_interface_losses : nr_xruns;
  count.store(count.load(std::memory_order_relaxed) + 1, std::memory_order_release);
}

// What the library's other thread has counted since the last cycle. Thread: I/O.
void JackClient::Connection::collectXruns() noexcept {
  const uint32_t losses = nr_interface_losses.load(std::memory_order_acquire);
  const uint32_t xruns = nr_xruns.load(std::memory_order_acquire);
  if (std::exchange(nr_interface_losses_told, losses) != losses) incident |= kAudioTimeStampSamplesLost;
  if (std::exchange(nr_xruns_told, xruns) != xruns) incident |= kAudioTimeStampOverload;
}

AudioTimeStamp JackClient::Connection::timeStamp() const noexcept {
  AudioTimeStamp stamp;
  stamp.mSampleTime = static_cast<double>(sample_time);
  stamp.mHostTime = jack_frames_to_time(client, last_frame_time) * 1000;
  stamp.mWordClockTime = sample_time;
  stamp.mFlags = kAudioTimeStampSampleTimeValid | kAudioTimeStampHostTimeValid | kAudioTimeStampRateScalarValid |
                 kAudioTimeStampWordClockTimeValid;
  addTransportTime(stamp);
  return stamp;
}

void JackClient::Connection::addTransportTime(AudioTimeStamp& stamp) const noexcept {
  jack_position_t position;
  if (jack_transport_query(client, &position) != JackTransportRolling) return;
  stamp.mSMPTETime.mType = static_cast<uint32_t>(frame_rate.load(std::memory_order_acquire));
  stamp.mSMPTETime.mSubframeDivisor = 80;
  spd_to_smpte(position.frame, static_cast<int32_t>(position.frame_rate), stamp.mSMPTETime);
  stamp.mFlags |= kAudioTimeStampSMPTETimeValid;
}

void JackClient::Connection::tell(std::function<void()> Events::*event) {
  const std::lock_guard lock(events_mutex);
  if (events.*event) (events.*event)();
}

void JackClient::Connection::forget() {
  const std::lock_guard lock(events_mutex);
  events = {};
}

void JackClient::Connection::setCallbacks() {
  const auto changed = [](jack_nframes_t, void* self) {
    withoutCancellation([self] { static_cast<Connection*>(self)->tell(&Events::changed); });
    return 0;
  };
  jack_set_process_callback(client, process, this);
  jack_set_buffer_size_callback(client, changed, this);
  jack_set_sample_rate_callback(client, changed, this);
  jack_set_freewheel_callback(
      client, [](int starting, void* self) { static_cast<Connection*>(self)->freewheels.store(starting != 0); }, this);
  jack_set_xrun_callback(
      client,
      [](void* self) {
        withoutCancellation([self] { static_cast<Connection*>(self)->followXrun(); });
        return 0;
      },
      this);
  jack_on_info_shutdown(
      client,
      [](jack_status_t, const char* reason, void* self) {
        withoutCancellation([&] {
          log("JACK server gone, %@.", reason);
          static_cast<Connection*>(self)->tell(&Events::shut_down);
        });
      },
      this);
}

// A microphone may feed several programs; a loudspeaker that another program plays into is left to it. The inputs come
// first, because asking for the outputs waits for connections under way, those of other programs too.
void JackClient::Connection::connectPorts() {
  for (size_t i = 0; i < std::min(inputs.ports.size(), inputs.physical.size()) && running; i++)
    jack_connect(client, inputs.physical[i].c_str(), jack_port_name(inputs.ports[i]));
  std::vector<size_t> free;
  for (size_t i = 0; i < std::min(outputs.ports.size(), outputs.physical.size()) && running; i++)
    if (outputs.isPhysicalFree(client, i)) free.push_back(i);
  for (const size_t i : free)
    if (running) jack_connect(client, jack_port_name(outputs.ports[i]), outputs.physical[i].c_str());
}

void JackClient::Connection::open(const std::string& server) {
  const auto options = static_cast<jack_options_t>(JackNoStartServer | JackServerName);
  JackDatabase::mend();
  library_is_quiet.store(true, std::memory_order_release);
  client = jack_client_open("vurl-recorder", options, nullptr, server.c_str());
  library_is_quiet.store(false, std::memory_order_release);
  if (client == nullptr) return;
  last_delay = jack_get_xrun_delayed_usecs(client);
  setCallbacks();
  inputs.registerPorts(client, "in_", JackPortIsInput);
  outputs.registerPorts(client, "out_", JackPortIsOutput);
}

void JackClient::Connection::close() {
  if (client != nullptr) jack_client_close(client);
}

std::unique_ptr<JackClient> JackClient::open(const std::string& server, Events events) {
  if (JackRequests::areStuck()) return nullptr;
  jack_set_error_function(logLibrary);
  jack_set_info_function(logLibrary);
  auto connection = std::make_shared<Connection>();
  connection->events = std::move(events);
  const bool is_answered = JackRequests::carryOut([connection, server] { connection->open(server); }, kPatience);
  if (is_answered && connection->client == nullptr) return nullptr;
  std::unique_ptr<JackClient> result(new JackClient(std::move(connection)));
  return is_answered ? std::move(result) : nullptr;
}

JackClient::JackClient(std::shared_ptr<Connection> opened) : connection(std::move(opened)) {}

// A server that does not answer keeps the connection, which reaches nobody any more.
JackClient::~JackClient() {
  stop();
  const auto patience = JackRequests::areStuck() ? std::chrono::milliseconds(0) : kPatienceAtTheEnd;
  if (!JackRequests::carryOut([kept = connection] { kept->close(); }, patience)) connection->forget();
}

DeviceDescription JackClient::describe() const {
  DeviceDescription description;
  description.inputs = connection->inputs.streams;
  description.outputs = connection->outputs.streams;
  description.nominal_sample_rate = jack_get_sample_rate(connection->client);
  description.nominal_sample_rates = {description.nominal_sample_rate};
  description.buffer_frame_size = jack_get_buffer_size(connection->client);
  const double size = description.buffer_frame_size;
  description.buffer_frame_size_range = {std::min(kFrames.mMinimum, size), std::max(kFrames.mMaximum, size)};
  return description;
}

OSStatus JackClient::start(const IOProc& io) {
  connection->io = io;
  connection->is_first_cycle = true;
  connection->has_interface = connection->inputs.haveInterface(connection->client);
  connection->limiter.restart();
  connection->running.store(true);
  const auto is_active = std::make_shared<bool>(false);
  const auto activate = [kept = connection, is_active] { *is_active = kept->activate(); };
  if (JackRequests::carryOut(activate, kPatience) && *is_active) {
    JackRequests::carryOut([kept = connection] { kept->connectPorts(); }, kPatienceWithPorts); // or later
    return kAudioHardwareNoError;
  }
  stopCycles();
  warn("The JACK server does not let this program run: no sound will arrive.");
  return kAudioHardwareIllegalOperationError;
}

// The cycle itself never hangs, so that it is waited for without end.
void JackClient::stopCycles() {
  connection->running.store(false);
  while (connection->in_cycle.load()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

bool JackClient::stop() {
  if (!connection->running.load()) return true;
  stopCycles();
  return JackRequests::carryOut([kept = connection] { kept->deactivate(); }, kPatienceAtTheEnd);
}

OSStatus JackClient::setBufferFrameSize(uint32_t frames) {
  if (jack_get_buffer_size(connection->client) == frames) return kAudioHardwareNoError;
  const auto is_set = std::make_shared<bool>(false);
  const auto set = [kept = connection, is_set, frames] { *is_set = jack_set_buffer_size(kept->client, frames) == 0; };
  const bool is_done = JackRequests::carryOut(set, kPatience) && *is_set;
  return is_done ? OSStatus{kAudioHardwareNoError} : OSStatus{kAudioHardwareIllegalOperationError};
}

void JackClient::setFrameRate(int32_t frame_rate) {
  connection->frame_rate.store(frame_rate, std::memory_order_release);
}

uint32_t JackClient::nrLosses() const {
  return connection->nr_losses.load(std::memory_order_acquire) +
         connection->nr_interface_losses.load(std::memory_order_acquire);
}

void JackClient::reportLimiting() { connection->limiter.report(); }

} // namespace vurl
