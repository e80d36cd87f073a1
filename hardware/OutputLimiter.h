// Keeps what a service hands to its outputs within full scale: a file's samples may be anything, and so may the sum of
// several channels. A service owns one for each device that runs, and limits the outputs at the end of each cycle.
#pragma once

#include "engine/AudioIO.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace vurl {

/// Limits `count` samples to -1.0 to 1.0; not-a-number becomes silence. Returns whether it changed any. Any thread;
/// wait-free.
bool limitSamples(float* samples, size_t count) noexcept;

class OutputLimiter {
public:
  /// Limits all samples in `outputs`. Thread: I/O. Wait-free.
  void limit(const AudioBufferList& outputs) noexcept;

  /// Makes report() ready to tell again. Thread: main, while no cycle runs.
  void restart();

  /// Warns, once after restart(), when samples had to be limited. Thread: main, again and again.
  void report();

private:
  std::atomic<bool> has_limited = false; ///< set by the I/O thread, cleared while no cycle runs
  bool is_told = false;
};

} // namespace vurl
