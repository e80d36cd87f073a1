// Linear timecode by libltc: written, and read, independently of this program.
#pragma once

#include "timecode/ltc.h"

#include <ltc.h>

#include <cmath>
#include <memory>
#include <vector>

namespace vurl {

/// At least `length` samples of LTC from 09:58:57:00 on, 0.7 high. `fps` is the true rate.
inline std::vector<float> libltcSignal(double fps, bool drop, int32_t sample_rate, size_t length) {
  const auto standard = fps == 25 ? LTC_TV_625_50 : fps < 25 ? LTC_TV_FILM_24 : LTC_TV_525_60;
  const std::unique_ptr<LTCEncoder, void (*)(LTCEncoder*)> encoder(
      ltc_encoder_create(sample_rate, fps, standard, LTC_BGF_DONT_TOUCH), ltc_encoder_free);
  SMPTETimecode start{{}, 0, 0, 0, 9, 58, 57, 0};
  ltc_encoder_set_timecode(encoder.get(), &start);
  LTCFrame frame;
  ltc_encoder_get_frame(encoder.get(), &frame);
  frame.dfbit = drop ? 1 : 0;
  ltc_frame_set_parity(&frame, standard);
  ltc_encoder_set_frame(encoder.get(), &frame);
  std::vector<float> samples;
  while (samples.size() < length) {
    ltc_encoder_encode_frame(encoder.get());
    std::vector<ltcsnd_sample_t> bytes(ltc_encoder_get_buffersize(encoder.get()));
    bytes.resize(static_cast<size_t>(ltc_encoder_copy_buffer(encoder.get(), bytes.data())));
    for (const ltcsnd_sample_t byte : bytes) samples.push_back(static_cast<float>(byte - 128) / 128);
    ltc_encoder_inc_timecode(encoder.get());
  }
  return samples;
}

/// The time of sample 0, in samples since midnight, by each frame that libltc finds in the last 80,000 samples; frames
/// whose drop flag does not fit `frame_rate` are left out.
inline std::vector<int64_t> libltcReadings(std::vector<float> samples, int32_t frame_rate, int32_t sample_rate) {
  const std::unique_ptr<LTCDecoder, int (*)(LTCDecoder*)> decoder(ltc_decoder_create(sample_rate / 25, 1000),
                                                                  ltc_decoder_free);
  ltc_decoder_write_float(decoder.get(), samples.data(), samples.size(), 0);
  std::vector<int64_t> readings;
  LTCFrameExt frame;
  while (ltc_decoder_read(decoder.get(), &frame) != 0) {
    SMPTETimecode read;
    ltc_frame_to_time(&read, &frame.ltc, 0);
    const SMPTETime label{0, 80, 0, static_cast<uint32_t>(frame_rate), 0, read.hours, read.mins, read.secs, read.frame};
    const bool drop = frame_rate == FRAME_RATE_30_DROP || frame_rate == FRAME_RATE_29_97_DROP;
    if (frame.off_start + 80000 < static_cast<int64_t>(samples.size()) || (frame.ltc.dfbit != 0) != drop) continue;
    readings.push_back(smpte_to_spd(label, sample_rate) - frame.off_start);
  }
  return readings;
}

/// By how many samples `offset` misses the nearest of `readings`; huge when there are none.
inline int64_t distance(const std::vector<int64_t>& readings, int64_t offset) {
  int64_t least = INT64_MAX;
  for (const int64_t reading : readings) least = std::min(least, std::abs(reading - offset));
  return least;
}

} // namespace vurl
