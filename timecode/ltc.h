// SMPTE timecode arithmetic: labels, frames, subframes and samples since midnight, at every frame rate of the system.
// Integer arithmetic only, truncating towards zero; no state, any thread, never fails. A record's divisor and a sample
// rate of 0 give 0. Labels and drop-frame counting follow SMPTE ST 12-1.
#pragma once

#include <cstdint>

namespace vurl {

/// Frame-rate codes, as stored in settings and in SMPTETime::mType.
enum FrameRate : uint32_t {
  FRAME_RATE_24 = 0,
  FRAME_RATE_25 = 1,
  FRAME_RATE_30_DROP = 2,
  FRAME_RATE_30 = 3,
  FRAME_RATE_29_97 = 4,
  FRAME_RATE_29_97_DROP = 5,
  FRAME_RATE_60 = 6,
  FRAME_RATE_59_94 = 7,
  FRAME_RATE_23_976 = 123,
};

/// What a frame-rate code stands for.
struct FrameRateFacts {
  uint32_t type;
  int64_t frames;    ///< nominal frames in a second of the label; 0: labels without frames
  int64_t numerator; ///< real rate = numerator / denominator frames a second
  int64_t denominator;
  bool drop; ///< labels skip frames 0 and 1 of most minutes
};

/// The facts of FrameRate code `type`; of any other code, those of labels that count whole seconds.
const FrameRateFacts& frameRateFacts(uint32_t type) noexcept;

/// A timecode label.
struct SMPTETime {
  int16_t mSubframes = 0;
  int16_t mSubframeDivisor = 0; ///< subframes in a frame; 80 wherever this program formats a label
  uint32_t mCounter = 0;        ///< not used here
  uint32_t mType = 0;           ///< FrameRate; any other code counts whole seconds
  uint32_t mFlags = 0;          ///< not used here
  int16_t mHours = 0;
  int16_t mMinutes = 0;
  int16_t mSeconds = 0;
  int16_t mFrames = 0;
};

/// The frame count since midnight of drop-frame label number `fpd_drop` (hours, minutes, seconds and frames read as if
/// nothing were dropped): two labels fewer for every minute but each tenth.
int64_t drop_to_nodrop(int64_t fpd_drop) noexcept;

/// The drop-frame label number of frame `fpd` since midnight.
int64_t nodrop_to_drop(int64_t fpd) noexcept;

/// Subframes since midnight of a label.
int64_t smpte_to_sfpd(const SMPTETime& smpte_time) noexcept;

/// Fills in the label of `sfpd` subframes since midnight; `mType` and `mSubframeDivisor` are the caller's. Hours run
/// past 24 without wrapping; a type without frames leaves `mFrames` as it was. Returns the hours.
int64_t sfpd_to_smpte(int64_t sfpd, SMPTETime& smpte_time) noexcept;

/// Samples since midnight of a label, at `sample_rate` Hz.
int64_t smpte_to_spd(const SMPTETime& smpte_time, int32_t sample_rate) noexcept;

/// Fills in the label of `spd` samples since midnight at `sample_rate` Hz; the caller sets `mType` and
/// `mSubframeDivisor`.
void spd_to_smpte(int64_t spd, int32_t sample_rate, SMPTETime& smpte_time) noexcept;

/// The label's number within the day, without drop-frame correction: for drop-frame types it counts dropped labels too.
uint32_t smpte_to_fpd(const SMPTETime& smpte_time) noexcept;

/// The label's subframes in samples.
int32_t smpte_to_sfo(const SMPTETime& smpte_time, int32_t sample_rate) noexcept;

} // namespace vurl
