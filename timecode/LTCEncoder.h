// Linear timecode as samples: the biphase-mark signal of SMPTE ST 12-1. No state; any thread; wait-free.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vurl {

/// Writes `n` samples of LTC to samples[0], samples[stride] and so on: +level or -level, beginning at `time` samples
/// since midnight at `sample_rate` Hz; days repeat. A call with the time where another ended goes on without a seam.
/// `frame_rate` is a FrameRate code. What LTC cannot carry is silence: the labels of 60 and 59.94, whose frames need
/// more digits than there are (with two frames to a label a reader would be wrong by up to half a second and take it
/// for a lock), unknown codes, and a rate of 0.
void encodeLTC(float* samples, size_t stride, uint32_t n, uint64_t time, uint32_t sample_rate, int32_t frame_rate,
               float level) noexcept;

} // namespace vurl
