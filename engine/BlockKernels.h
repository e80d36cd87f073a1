// The innermost loops of the blocks in engine/SampleFormat.h: a portable set, which says what is to come out, and sets
// for processors that can more, with the same bits. For SampleFormat.cpp; stateless, wait-free, fit for any thread.
#pragma once

#include <cstdint>

namespace vurl {

struct BlockKernels {
  /// Writes `frames` frames of `nr_rows` samples each; row i has the samples of channel i. The table of rows goes on
  /// to a multiple of kGroup, with rows that may be read over as many frames and are not used.
  using Interleave = void (*)(const float* const* rows, uint32_t nr_rows, uint32_t frames, uint8_t* to) noexcept;

  /// The way back. The rows behind the last are written over, with anything.
  using Deinterleave = void (*)(const uint8_t* from, uint32_t nr_rows, uint32_t frames, float* const* rows) noexcept;

  static constexpr uint32_t kGroup = 8;

  Interleave interleave16, interleave24, interleave32;
  Deinterleave deinterleave16, deinterleave24, deinterleave32;
};

/// Runs on any processor.
const BlockKernels& portableKernels() noexcept;

/// For x86 with AVX2; null on any other processor. Looks at the processor each time.
const BlockKernels* avx2Kernels() noexcept;

} // namespace vurl
