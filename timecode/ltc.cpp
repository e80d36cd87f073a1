#include "timecode/ltc.h"

#include <algorithm>
#include <array>

namespace vurl {
namespace {

/// Labels may come from files and wires: products of their fields are made in 128 bits and then narrowed modulo 2^64,
/// so that no input overflows.
__extension__ using Wide = __int128;

// The true rate of 30 drop is 30, not 29.97: a label dialect for equipment that runs free of colour video.
constexpr std::array<FrameRateFacts, 9> kRates{{
    {FRAME_RATE_24, 24, 24, 1, false},
    {FRAME_RATE_25, 25, 25, 1, false},
    {FRAME_RATE_30_DROP, 30, 30, 1, true},
    {FRAME_RATE_30, 30, 30, 1, false},
    {FRAME_RATE_29_97, 30, 30000, 1001, false},
    {FRAME_RATE_29_97_DROP, 30, 30000, 1001, true},
    {FRAME_RATE_60, 60, 60, 1, false},
    {FRAME_RATE_59_94, 60, 60000, 1001, false},
    {FRAME_RATE_23_976, 24, 24000, 1001, false},
}};
constexpr FrameRateFacts kWholeSeconds{0, 0, 1, 1, false};

int64_t narrow(Wide value) noexcept { return static_cast<int64_t>(value); }

Wide quotient(Wide dividend, Wide divisor) noexcept { return divisor == 0 ? 0 : dividend / divisor; }

int64_t wholeSeconds(const SMPTETime& smpte_time) noexcept {
  return (int64_t{smpte_time.mHours} * 60 + smpte_time.mMinutes) * 60 + smpte_time.mSeconds;
}

/// The label's number, dropped labels counted too.
int64_t labelNumber(const SMPTETime& smpte_time, const FrameRateFacts& rate) noexcept {
  const int64_t seconds = wholeSeconds(smpte_time);
  return rate.frames == 0 ? seconds : seconds * rate.frames + smpte_time.mFrames;
}

/// The labels that are skipped before label number `fpd_drop`.
int64_t droppedBefore(int64_t fpd_drop) noexcept { return 2 * (fpd_drop / 1800 - fpd_drop / 18000); }

} // namespace

const FrameRateFacts& frameRateFacts(uint32_t type) noexcept {
  const auto* const found =
      std::find_if(kRates.begin(), kRates.end(), [type](const FrameRateFacts& rate) { return rate.type == type; });
  return found == kRates.end() ? kWholeSeconds : *found;
}

int64_t drop_to_nodrop(int64_t fpd_drop) noexcept { return narrow(Wide{fpd_drop} - droppedBefore(fpd_drop)); }

int64_t nodrop_to_drop(int64_t fpd) noexcept {
  uint64_t adjustment = 0;
  for (;;) {
    const auto adjusted = static_cast<int64_t>(static_cast<uint64_t>(fpd) + adjustment);
    const auto next = static_cast<uint64_t>(droppedBefore(adjusted));
    if (next <= adjustment) return static_cast<int64_t>(static_cast<uint64_t>(fpd) + next);
    adjustment = next;
  }
}

int64_t smpte_to_sfpd(const SMPTETime& smpte_time) noexcept {
  const FrameRateFacts& rate = frameRateFacts(smpte_time.mType);
  const int64_t label = labelNumber(smpte_time, rate);
  const int64_t frame = rate.drop ? drop_to_nodrop(label) : label;
  return frame * smpte_time.mSubframeDivisor + smpte_time.mSubframes;
}

int64_t sfpd_to_smpte(int64_t sfpd, SMPTETime& smpte_time) noexcept {
  const FrameRateFacts& rate = frameRateFacts(smpte_time.mType);
  const Wide divisor = smpte_time.mSubframeDivisor;
  int64_t rest = narrow(quotient(sfpd, divisor));
  smpte_time.mSubframes = static_cast<int16_t>(divisor == 0 ? 0 : sfpd % divisor);
  if (rate.drop) rest = nodrop_to_drop(rest);
  if (rate.frames != 0) {
    smpte_time.mFrames = static_cast<int16_t>(rest % rate.frames);
    rest /= rate.frames;
  }
  smpte_time.mSeconds = static_cast<int16_t>(rest % 60);
  smpte_time.mMinutes = static_cast<int16_t>(rest / 60 % 60);
  smpte_time.mHours = static_cast<int16_t>(rest / 3600);
  return rest / 3600;
}

int64_t smpte_to_spd(const SMPTETime& smpte_time, int32_t sample_rate) noexcept {
  const FrameRateFacts& rate = frameRateFacts(smpte_time.mType);
  const Wide subframe_samples = Wide{smpte_to_sfpd(smpte_time)} * sample_rate * rate.denominator / rate.numerator;
  return narrow(quotient(subframe_samples, smpte_time.mSubframeDivisor));
}

void spd_to_smpte(int64_t spd, int32_t sample_rate, SMPTETime& smpte_time) noexcept {
  const FrameRateFacts& rate = frameRateFacts(smpte_time.mType);
  const Wide subframe_samples = Wide{spd} * smpte_time.mSubframeDivisor * rate.numerator / rate.denominator;
  sfpd_to_smpte(narrow(quotient(subframe_samples, sample_rate)), smpte_time);
}

uint32_t smpte_to_fpd(const SMPTETime& smpte_time) noexcept {
  return static_cast<uint32_t>(labelNumber(smpte_time, frameRateFacts(smpte_time.mType)));
}

int32_t smpte_to_sfo(const SMPTETime& smpte_time, int32_t sample_rate) noexcept {
  const Wide subframe_samples = Wide{smpte_time.mSubframes} * sample_rate;
  return static_cast<int32_t>(quotient(subframe_samples, smpte_time.mSubframeDivisor));
}

} // namespace vurl
