#include "engine/SampleFormat.h"

#include "tests/support/Test.h"

#include <bit>
#include <cstring>

namespace vurl {

using Bytes = std::vector<uint8_t>;
using Limits = std::numeric_limits<float>;

/// The sample as a little-endian number, with what stands beside it: 0xEE below and above.
uint64_t written(ConvertToSample convert, float value) {
  uint64_t bytes = 0xEEEEEEEEEEEEEEEE;
  convert(reinterpret_cast<uint8_t*>(&bytes), 1, value);
  return bytes;
}

TEST(SampleFormat, WritesTheUpperBytes) {
  // clang-format off
  const std::pair<uint32_t, std::vector<float>> cases[] = {
      {0x000000, {0.0F, -0.0F, 1e-9F, -1e-10F, Limits::denorm_min()}}, {0xFFFFFF, {-1e-9F}},
      {0x0CCCCC, {0.1F}}, {0xF33333, {-0.1F}}, {0x400000, {0.5F}}, {0xC00000, {-0.5F}},
      {0x000100, {0x1p-15F}}, {0xFFFF80, {-0x1p-16F}}, {0x7FFFFF, {0x1.fffffep-1F}},
      {0x800000, {-0x1.fffffep-1F, -1.0F, -3.0F, -Limits::infinity()}},
      {0x800000, {1.0F, 1.5F, Limits::max(), Limits::infinity(), Limits::quiet_NaN()}}};
  // clang-format on
  for (const auto& [upper, values] : cases) {
    for (const float value : values) {
      EXPECT_EQ(written(convertToSample24, value), 0xEEEEEEEE000000EE | uint64_t{upper} << 8) << value;
      EXPECT_EQ(written(convertToSample16, value), 0xEEEEEEEEEE0000EE | uint64_t{upper >> 8} << 8) << value;
    }
  }
  for (const uint32_t bits : {0x3F800000U, 0x7FC12345U}) {
    EXPECT_EQ(written(convertToSample32, std::bit_cast<float>(bits)), 0xEEEEEE00000000EE | uint64_t{bits} << 8);
  }
}

/// What vector loops treat apart: every number of channels, lengths beside whole vectors, tiles and cache lines, values
/// at the edges of what fits. Bytes behind a block stay as they were.
TEST(SampleFormat, BlocksAgreeWithTheConverters) {
  // clang-format off
  constexpr float kEdges[] = {
      1.0F, -1.0F, 0x1.fffffep-1F, -0x1.fffffep-1F, 0x1.000002p0F, -0x1.000002p0F, 0.0F, -0.0F, Limits::denorm_min(),
      -Limits::denorm_min(), Limits::min(), 1e-9F, -1e-9F, Limits::max(), -Limits::max(), Limits::infinity(),
      -Limits::infinity(), Limits::quiet_NaN(), -Limits::signaling_NaN(), 0.3F, -0.7F};
  const std::tuple<uint32_t, ConvertToSample, ConvertFromSample, uint32_t> formats[] = {
      {INTEGER16, convertToSample16, convertFromSample16, 2}, {INTEGER24, convertToSample24, convertFromSample24, 3},
      {FLOAT32, convertToSample32, convertFromSample32, 4}, {77, convertToSample16, convertFromSample16, 2}};
  // clang-format on
  constexpr size_t kRow = 600, kOffset = 5; // rows begin anywhere
  std::vector<float> samples(64 * kRow);
  std::mt19937 random(1);
  for (size_t i = 0; i < samples.size(); ++i) // half of them at the edges, the others of any bit pattern
    samples[i] = i % 2 == 0 ? kEdges[i * i % 127 % std::size(kEdges)] : std::bit_cast<float>(uint32_t(random()));
  for (const auto& [depth, convert_to, convert_from, size] : formats) {
    EXPECT_EQ(sampleSize(depth), size);
    for (uint32_t nr_channels = 0; nr_channels <= 64; ++nr_channels) {
      for (const uint32_t length : {0U, 1U, 5U, 8U, 17U, 64U, 79U, 256U, 263U, 519U}) {
        const uint32_t missing = length % 3 == 0 ? nr_channels / 2 : 64;
        std::vector<const float*> from(nr_channels, nullptr);
        std::vector<float*> to(nr_channels, nullptr), to_anywhere(to);
        Bytes expected(size_t{nr_channels} * length * size + 40, 0xA5), bytes(expected), bytes_anywhere(expected);
        std::vector<float> expected_read(samples.size(), 7), read(expected_read), read_anywhere(read);
        for (uint32_t i = 0; i < nr_channels; ++i) {
          const size_t row = i * kRow + kOffset;
          if (i != missing) from[i] = &samples[row], to[i] = &read[row], to_anywhere[i] = &read_anywhere[row];
          for (uint32_t k = 0; k < length; ++k) {
            const uint64_t at = (uint64_t{k} * nr_channels + i) * size;
            convert_to(expected.data(), at, i == missing ? 0.0F : samples[row + k]);
            if (i != missing) expected_read[row + k] = convert_from(expected.data(), at);
          }
        }
        interleave(from.data(), nr_channels, length, bytes.data(), depth);
        interleaveAnywhere(from.data(), nr_channels, length, bytes_anywhere.data(), depth);
        deinterleave(expected.data(), to.data(), nr_channels, length, depth);
        deinterleaveAnywhere(expected.data(), to_anywhere.data(), nr_channels, length, depth);
        const auto agree = [&](const auto& one, const auto& other) {
          return std::memcmp(one.data(), other.data(), one.size() * sizeof one[0]) == 0;
        };
        EXPECT_TRUE(agree(bytes, expected) && agree(bytes_anywhere, expected)) << nr_channels << " x " << length;
        EXPECT_TRUE(agree(read, expected_read) && agree(read_anywhere, expected_read))
            << nr_channels << " x " << length;
      }
    }
  }
}

} // namespace vurl
