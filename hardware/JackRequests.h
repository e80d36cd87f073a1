// What this program asks of a JACK server, on a thread of its own: a server that hangs never answers, and must not hold
// up the main thread. Requests are carried out one after another. All calls: main thread. JackClient makes them.
#pragma once

#include <chrono>
#include <functional>
#include <future>

namespace vurl {

class JackRequests {
public:
  /// Carries out `work`, which owns all that it touches, behind what was asked before. Waits for its end, at most for
  /// `patience`; returns whether it has come. What has not ended by then goes on by itself.
  static bool carryOut(std::function<void()> work, std::chrono::milliseconds patience);

  /// Whether a server still has to answer: what is asked now would wait for that, too.
  static bool areStuck();

private:
  static std::shared_future<void>& last();
};

} // namespace vurl
