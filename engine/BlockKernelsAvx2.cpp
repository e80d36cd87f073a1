#include "engine/BlockKernels.h"

#if defined(__x86_64__)

#include "engine/SampleFormat.h"

#include <immintrin.h>

#include <cstddef>

// Eight frames of eight channels are turned in registers. A ring's channels lie megabytes apart, where no processor
// guesses what is read next, so the loops ask for it, and for ownership where they write: that is what the speed hangs
// on. (The compiler takes out calls of a function that does nothing else, so it is done in place.) Each function is
// compiled for AVX2 by itself, so that no inline function of a header becomes one that other processors stumble over.
// "prfchw" does nothing on the few with AVX2 that have not got it.
#define VURL_AVX2 [[gnu::target("avx2,prfchw")]]

namespace vurl {
namespace {

constexpr uint32_t kGroup = BlockKernels::kGroup; ///< floats of a vector
constexpr uint32_t kLineFrames = 16;              ///< samples of a row in a cache line

/// The integers of convertToSample24(): here the conversion itself makes the lowest one of all that does not fit.
VURL_AVX2 inline __m256i quantize(__m256 values) noexcept {
  return _mm256_cvttps_epi32(_mm256_mul_ps(values, _mm256_set1_ps(0x1p31F)));
}

VURL_AVX2 inline __m256 real(__m256i bits) noexcept {
  return _mm256_mul_ps(_mm256_cvtepi32_ps(bits), _mm256_set1_ps(0x1p-31F));
}

VURL_AVX2 inline __m128i load(const uint8_t* from) noexcept {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}

VURL_AVX2 inline void store(uint8_t* to, __m128i bytes) noexcept {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), bytes);
}

// Each format puts eight samples side by side, and gets them; neither touches a byte beyond them.

struct Format16 {
  static constexpr uint32_t kSize = 2;
  static constexpr ConvertToSample kWrite = convertToSample16;
  static constexpr ConvertFromSample kRead = convertFromSample16;

  VURL_AVX2 static inline void put(uint8_t* to, __m256 values) noexcept {
    const __m256i bits = _mm256_srai_epi32(quantize(values), 16);
    store(to, _mm_packs_epi32(_mm256_castsi256_si128(bits), _mm256_extracti128_si256(bits, 1)));
  }
  VURL_AVX2 static inline __m256 get(const uint8_t* from) noexcept {
    return real(_mm256_slli_epi32(_mm256_cvtepi16_epi32(load(from)), 16));
  }
};

struct Format24 {
  static constexpr uint32_t kSize = 3;
  static constexpr ConvertToSample kWrite = convertToSample24;
  static constexpr ConvertFromSample kRead = convertFromSample24;

  VURL_AVX2 static inline void put(uint8_t* to, __m256 values) noexcept {
    const __m128i upper_bytes = _mm_setr_epi8(1, 2, 3, 5, 6, 7, 9, 10, 11, 13, 14, 15, -1, -1, -1, -1);
    const __m256i bytes = _mm256_shuffle_epi8(quantize(values), _mm256_broadcastsi128_si256(upper_bytes));
    const __m256i closed_up = _mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
    store(to, _mm256_castsi256_si128(closed_up));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to + 16), _mm256_extracti128_si256(closed_up, 1));
  }
  VURL_AVX2 static inline __m256 get(const uint8_t* from) noexcept {
    const __m256i places = _mm256_setr_epi8(-1, 0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, // of bytes 0 to 15
                                            -1, 4, 5, 6, -1, 7, 8, 9, -1, 10, 11, 12, -1, 13, 14, 15); // of 8 to 23
    return real(_mm256_shuffle_epi8(_mm256_set_m128i(load(from + 8), load(from)), places));
  }
};

struct Format32 {
  static constexpr uint32_t kSize = 4;
  static constexpr ConvertToSample kWrite = convertToSample32;
  static constexpr ConvertFromSample kRead = convertFromSample32;

  VURL_AVX2 static inline void put(uint8_t* to, __m256 values) noexcept {
    _mm256_storeu_ps(reinterpret_cast<float*>(to), values);
  }
  VURL_AVX2 static inline __m256 get(const uint8_t* from) noexcept {
    const __m128i reversed = _mm_setr_epi8(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12);
    const __m256i bytes = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
    return _mm256_castsi256_ps(_mm256_shuffle_epi8(bytes, _mm256_broadcastsi128_si256(reversed)));
  }
};

/// The i-th floats of all eight vectors become the i-th vector.
VURL_AVX2 inline void turn(__m256 (&square)[kGroup]) noexcept {
  __m256 pairs[kGroup];
  for (uint32_t i = 0; i < kGroup; i += 2) {
    pairs[i] = _mm256_unpacklo_ps(square[i], square[i + 1]);
    pairs[i + 1] = _mm256_unpackhi_ps(square[i], square[i + 1]);
  }
  __m256 fours[kGroup];
  for (uint32_t i = 0; i < kGroup; i += 4) {
    fours[i] = _mm256_shuffle_ps(pairs[i], pairs[i + 2], 0b01'00'01'00);
    fours[i + 1] = _mm256_shuffle_ps(pairs[i], pairs[i + 2], 0b11'10'11'10);
    fours[i + 2] = _mm256_shuffle_ps(pairs[i + 1], pairs[i + 3], 0b01'00'01'00);
    fours[i + 3] = _mm256_shuffle_ps(pairs[i + 1], pairs[i + 3], 0b11'10'11'10);
  }
  for (uint32_t i = 0; i < kGroup / 2; ++i) {
    square[i] = _mm256_permute2f128_ps(fours[i], fours[i + 4], 0x20);
    square[i + 4] = _mm256_permute2f128_ps(fours[i], fours[i + 4], 0x31);
  }
}

/// The groups of a block's rows, one after the other; the one that is not full comes first.
struct Group {
  uint32_t first;
  uint32_t nr_rows; ///< 1 to kGroup

  explicit Group(uint32_t nr_all) noexcept : first(nr_all / kGroup * kGroup), nr_rows(nr_all % kGroup) {
    if (nr_rows == 0) first = 0, nr_rows = kGroup;
  }
  Group next() const noexcept { return Group(nr_rows == kGroup ? first + kGroup : 0, kGroup); }
  bool exists(uint32_t nr_all) const noexcept { return first + nr_rows <= nr_all; }

private:
  Group(uint32_t first_, uint32_t nr_rows_) noexcept : first(first_), nr_rows(nr_rows_) {}
};

/// How many of the frames can be handled as squares: those of a group that is not full reach into the frame behind.
uint32_t nrSquareFrames(const Group& group, uint32_t nr_rows, uint32_t frames) noexcept {
  const uint32_t missing = kGroup - group.nr_rows;
  const uint32_t margin = (missing + nr_rows - 1) / nr_rows;
  return frames < margin ? 0 : (frames - margin) / kGroup * kGroup;
}

/// The rows that are handled after `group`: the next group's, or the first one's next frames.
template <typename Sample>
struct Following {
  Sample* const* rows;
  uint32_t offset;

  Following(Sample* const* all, uint32_t nr_rows, uint32_t frames, const Group& group) noexcept {
    const Group next = group.next();
    const bool has_next = next.exists(nr_rows);
    rows = all + (has_next ? next.first : Group(nr_rows).first);
    offset = has_next ? 0 : frames;
  }
};

/// What a group that is not full writes into the next frame is written over by that frame's own samples, later.
template <typename Format>
VURL_AVX2 void interleaveGroups(const float* const* rows, uint32_t nr_rows, uint32_t frames, uint8_t* to) noexcept {
  const size_t stride = size_t{nr_rows} * Format::kSize;
  for (Group group(nr_rows); group.exists(nr_rows); group = group.next()) {
    const float* const* const from = rows + group.first;
    uint8_t* const column = to + size_t{group.first} * Format::kSize;
    const uint32_t squares = nrSquareFrames(group, nr_rows, frames);
    const Following following(rows, nr_rows, frames, group);
    for (uint32_t k = 0; k < squares; k += kGroup) {
      for (uint32_t i = 0; k % kLineFrames == 0 && i < kGroup; ++i)
        __builtin_prefetch(following.rows[i] + following.offset + k, 0);
      __m256 square[kGroup];
      for (uint32_t i = 0; i < kGroup; ++i) square[i] = _mm256_loadu_ps(from[i] + k);
      turn(square);
      for (uint32_t i = 0; i < kGroup; ++i) Format::put(column + (k + i) * stride, square[i]);
    }
    for (uint32_t k = squares; k < frames; ++k) {
      for (uint32_t i = 0; i < group.nr_rows; ++i)
        Format::kWrite(column, k * stride + size_t{i} * Format::kSize, from[i][k]);
    }
  }
}

template <typename Format>
VURL_AVX2 void deinterleaveGroups(const uint8_t* from, uint32_t nr_rows, uint32_t frames, float* const* rows) noexcept {
  const size_t stride = size_t{nr_rows} * Format::kSize;
  for (Group group(nr_rows); group.exists(nr_rows); group = group.next()) {
    float* const* const to = rows + group.first;
    const uint8_t* const column = from + size_t{group.first} * Format::kSize;
    const uint32_t squares = nrSquareFrames(group, nr_rows, frames);
    const Following following(rows, nr_rows, frames, group);
    for (uint32_t k = 0; k < squares; k += kGroup) {
      for (uint32_t i = 0; k % kLineFrames == 0 && i < kGroup; ++i)
        __builtin_prefetch(following.rows[i] + following.offset + k, 1);
      __m256 square[kGroup];
      for (uint32_t i = 0; i < kGroup; ++i) square[i] = Format::get(column + (k + i) * stride);
      turn(square);
      for (uint32_t i = 0; i < kGroup; ++i) _mm256_storeu_ps(to[i] + k, square[i]);
    }
    for (uint32_t k = squares; k < frames; ++k) {
      for (uint32_t i = 0; i < group.nr_rows; ++i)
        to[i][k] = Format::kRead(column, k * stride + size_t{i} * Format::kSize);
    }
  }
}

// One and two channels, the most usual files, leave nothing of a square: a vector of each is enough.

template <typename Format>
VURL_AVX2 void interleaveAs(const float* const* rows, uint32_t nr_rows, uint32_t frames, uint8_t* to) noexcept {
  if (nr_rows > 2) return interleaveGroups<Format>(rows, nr_rows, frames, to);
  constexpr size_t kVector = size_t{kGroup} * Format::kSize;
  uint32_t k = 0;
  for (; k + kGroup <= frames; k += kGroup) {
    uint8_t* const at = to + size_t{k} * nr_rows * Format::kSize;
    const __m256 first = _mm256_loadu_ps(rows[0] + k);
    if (nr_rows == 1) {
      Format::put(at, first);
      continue;
    }
    const __m256 second = _mm256_loadu_ps(rows[1] + k);
    const __m256 low = _mm256_unpacklo_ps(first, second);
    const __m256 high = _mm256_unpackhi_ps(first, second);
    Format::put(at, _mm256_permute2f128_ps(low, high, 0x20));
    Format::put(at + kVector, _mm256_permute2f128_ps(low, high, 0x31));
  }
  for (; k < frames; ++k) {
    for (uint32_t i = 0; i < nr_rows; ++i) Format::kWrite(to, (size_t{k} * nr_rows + i) * Format::kSize, rows[i][k]);
  }
}

template <typename Format>
VURL_AVX2 void deinterleaveAs(const uint8_t* from, uint32_t nr_rows, uint32_t frames, float* const* rows) noexcept {
  if (nr_rows > 2) return deinterleaveGroups<Format>(from, nr_rows, frames, rows);
  constexpr size_t kVector = size_t{kGroup} * Format::kSize;
  uint32_t k = 0;
  for (; k + kGroup <= frames; k += kGroup) {
    const uint8_t* const at = from + size_t{k} * nr_rows * Format::kSize;
    if (nr_rows == 1) {
      _mm256_storeu_ps(rows[0] + k, Format::get(at));
      continue;
    }
    const __m256 low = Format::get(at);
    const __m256 high = Format::get(at + kVector);
    const __m256 outer = _mm256_permute2f128_ps(low, high, 0x20);
    const __m256 inner = _mm256_permute2f128_ps(low, high, 0x31);
    _mm256_storeu_ps(rows[0] + k, _mm256_shuffle_ps(outer, inner, 0b10'00'10'00));
    _mm256_storeu_ps(rows[1] + k, _mm256_shuffle_ps(outer, inner, 0b11'01'11'01));
  }
  for (; k < frames; ++k) {
    for (uint32_t i = 0; i < nr_rows; ++i) rows[i][k] = Format::kRead(from, (size_t{k} * nr_rows + i) * Format::kSize);
  }
}

constexpr BlockKernels kAvx2 = {interleaveAs<Format16>,   interleaveAs<Format24>,   interleaveAs<Format32>,
                                deinterleaveAs<Format16>, deinterleaveAs<Format24>, deinterleaveAs<Format32>};

} // namespace

const BlockKernels* avx2Kernels() noexcept { return __builtin_cpu_supports("avx2") != 0 ? &kAvx2 : nullptr; }

} // namespace vurl

#else

const vurl::BlockKernels* vurl::avx2Kernels() noexcept { return nullptr; }

#endif
