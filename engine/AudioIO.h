// The records of one I/O cycle: the buffers that a service hands over and the time that goes with them. Samples are
// 32-bit floats, full scale at 1.0; a buffer holds one channel, or several interleaved.
#pragma once

#include "timecode/ltc.h"

#include <cstdint>

namespace vurl {

/// The result of a call into the hardware; 0 is success.
using OSStatus = int32_t;

/// One block of samples of `mNumberChannels` interleaved channels.
struct AudioBuffer {
  uint32_t mNumberChannels = 0; ///< interleaved channels in `mData`
  uint32_t mDataByteSize = 0;   ///< bytes in `mData`: channels x frames x 4
  void* mData = nullptr;        ///< float samples, or nullptr where only the shape is told
};

/// The buffers of one direction in one cycle, in the order of the device's channels. The array belongs to the service.
struct AudioBufferList {
  uint32_t mNumberBuffers = 0;
  AudioBuffer* mBuffers = nullptr;
};

/// Bits of AudioTimeStamp::mFlags.
enum AudioTimeStampFlags : uint32_t {
  kAudioTimeStampSampleTimeValid = 1,
  kAudioTimeStampHostTimeValid = 2,
  kAudioTimeStampRateScalarValid = 4,
  kAudioTimeStampWordClockTimeValid = 8,
  kAudioTimeStampSMPTETimeValid = 16,

  // Not about times, but about what came before the cycle.
  kAudioTimeStampSamplesLost = 1 << 16, ///< captured samples; `mSampleTime` has moved on by as many if that is known
  kAudioTimeStampOverload = 1 << 17,    ///< something was late, but all captured samples are there
};

/// When a cycle's first sample was, or will be, at the interface.
struct AudioTimeStamp {
  double mSampleTime = 0;      ///< in the device's samples
  uint64_t mHostTime = 0;      ///< nanoseconds of the monotonic clock
  double mRateScalar = 1;      ///< actual over nominal rate
  uint64_t mWordClockTime = 0; ///< word-clock time in samples
  SMPTETime mSMPTETime;        ///< timecode of the first sample
  uint32_t mFlags = 0;         ///< AudioTimeStampFlags
  uint32_t mReserved = 0;
};

} // namespace vurl
