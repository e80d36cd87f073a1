// A stretch of positions as the runs of neighbouring ring cells that it lies on: one, or more where it passes the
// ring's end. For the ring's own files.
#pragma once

#include "engine/AudioRing.h"

#include <algorithm>
#include <cstdint>

namespace vurl {

/// Calls `work(index, done, count)` for each run of the `length` positions from `position` on: `index` is the run's
/// first cell, `done` the samples before it, `count` its own. Any thread; wait-free when `work` is.
template <typename Work>
void forEachRun(int64_t position, uint32_t length, Work work) noexcept {
  auto index = static_cast<uint32_t>(static_cast<uint64_t>(position) & AudioRing::kRingMask);
  for (uint32_t done = 0; done < length;) {
    const uint32_t count = std::min(length - done, AudioRing::kRingSamples - index);
    work(index, done, count);
    done += count;
    index = 0;
  }
}

} // namespace vurl
