#include "hardware/OutputLimiter.h"

#include "platform/Log.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace vurl {
namespace {

using Ints = int32_t __attribute__((vector_size(16)));
using Words = uint64_t __attribute__((vector_size(16)));

constexpr size_t kBatch = 32;              ///< samples that are looked at together
constexpr int32_t kMagnitude = 0x7FFFFFFF; ///< a float's bits without its sign: they are in the order of the values,
constexpr int32_t kFullScale = 0x3F800000; ///< 1.0 among them, and infinity and not-a-number stand above all

bool isBatchWithin(const float* samples) noexcept {
  Ints beyond{};
  for (size_t i = 0; i < kBatch; i += 4) {
    Ints bits;
    std::memcpy(&bits, samples + i, sizeof bits);
    beyond |= (bits & kMagnitude) > kFullScale;
  }
  const auto words = std::bit_cast<Words>(beyond);
  return (words[0] | words[1]) == 0;
}

bool isWithin(float sample) noexcept { return std::fabs(sample) <= 1.0F; } // not-a-number is not

float limited(float sample) noexcept { return std::isnan(sample) ? 0.0F : std::clamp(sample, -1.0F, 1.0F); }

} // namespace

// Nearly always there is nothing to do but to look, so that is what is fast.
bool limitSamples(float* samples, size_t count) noexcept {
  bool has_limited = false;
  for (size_t size = 0; count > 0; samples += size, count -= size) {
    size = std::min(kBatch, count);
    if (size == kBatch ? isBatchWithin(samples) : std::all_of(samples, samples + size, isWithin)) continue;
    std::transform(samples, samples + size, samples, limited);
    has_limited = true;
  }
  return has_limited;
}

void OutputLimiter::limit(const AudioBufferList& outputs) noexcept {
  bool any = false;
  for (uint32_t i = 0; i < outputs.mNumberBuffers; i++) {
    const AudioBuffer& buffer = outputs.mBuffers[i];
    if (buffer.mData == nullptr) continue;
    any |= limitSamples(static_cast<float*>(buffer.mData), buffer.mDataByteSize / sizeof(float));
  }
  if (any) has_limited.store(true, std::memory_order_release);
}

void OutputLimiter::restart() {
  has_limited.store(false, std::memory_order_release);
  is_told = false;
}

void OutputLimiter::report() {
  if (is_told || !has_limited.load(std::memory_order_acquire)) return;
  is_told = true;
  warn("What goes to the outputs is beyond full scale: it is limited there.");
}

} // namespace vurl
