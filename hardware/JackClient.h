// This program's connection to one JACK server: its ports, and the cycles that the server drives. The JACK library can
// serve one server at a time in a process, so at most one of these may exist. All calls belong to the main thread; the
// events come on threads of the library. JackHardware decides to which server one is opened.
#pragma once

#include "hardware/HardwareModel.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace vurl {

class JackClient {
public:
  /// What the server tells by itself. Called on threads of the library, not the I/O thread, and never after the
  /// client has been destroyed; may not call the client.
  struct Events {
    std::function<void()> shut_down; ///< the server is gone: destroy the client
    std::function<void()> changed;   ///< the buffer size or the rate is another
  };

  /// Connects to a running server, without starting one, and registers the ports. Nothing when there is no such
  /// server, it refuses, or one does not answer; that is not logged, because callers ask again and again.
  static std::unique_ptr<JackClient> open(const std::string& server, Events events);

  /// Disconnects; safe also when the server is gone, or dies meanwhile. One that does not answer within two seconds is
  /// left to a thread that reaches nobody any more.
  ~JackClient();
  JackClient(const JackClient&) = delete;
  JackClient& operator=(const JackClient&) = delete;

  DeviceDescription describe() const;

  /// Starts cycles into `io`, connects the inputs to the physical ports, and the outputs to those that nobody plays
  /// into. Fails, logged, when the server refuses.
  OSStatus start(const IOProc& io);

  /// When this returns no cycle is under way and none follows. False when the server does not answer within two
  /// seconds: the client is of no more use then.
  bool stop();

  /// Asks the server for buffers of `frames` frames, a power of two.
  OSStatus setBufferFrameSize(uint32_t frames);

  /// FrameRate of the timecode made from the server's transport.
  void setFrameRate(int32_t frame_rate);

  /// How often samples were lost since the client was opened: between two cycles, or by the server's interface.
  uint32_t nrLosses() const;

  /// Warns, once for each start, when samples for the outputs had to be limited to full scale. To be asked regularly.
  void reportLimiting();

private:
  struct Connection;

  explicit JackClient(std::shared_ptr<Connection> opened);
  void stopCycles();

  std::shared_ptr<Connection> connection; ///< shared with requests under way, which may outlive this object
};

} // namespace vurl
