#include "engine/BlockKernels.h"

#include "engine/SampleFormat.h"

namespace vurl {
namespace {

template <uint32_t kSize, ConvertToSample kConvert>
void interleaveAs(const float* const* rows, uint32_t nr_rows, uint32_t frames, uint8_t* to) noexcept {
  const uint64_t stride = uint64_t{nr_rows} * kSize;
  for (uint32_t i = 0; i < nr_rows; ++i) {
    for (uint32_t k = 0; k < frames; ++k) kConvert(to, k * stride + uint64_t{i} * kSize, rows[i][k]);
  }
}

template <uint32_t kSize, ConvertFromSample kConvert>
void deinterleaveAs(const uint8_t* from, uint32_t nr_rows, uint32_t frames, float* const* rows) noexcept {
  const uint64_t stride = uint64_t{nr_rows} * kSize;
  for (uint32_t i = 0; i < nr_rows; ++i) {
    for (uint32_t k = 0; k < frames; ++k) rows[i][k] = kConvert(from, k * stride + uint64_t{i} * kSize);
  }
}

constexpr BlockKernels kPortable = {interleaveAs<2, convertToSample16>,     interleaveAs<3, convertToSample24>,
                                    interleaveAs<4, convertToSample32>,     deinterleaveAs<2, convertFromSample16>,
                                    deinterleaveAs<3, convertFromSample24>, deinterleaveAs<4, convertFromSample32>};

} // namespace

const BlockKernels& portableKernels() noexcept { return kPortable; }

} // namespace vurl
