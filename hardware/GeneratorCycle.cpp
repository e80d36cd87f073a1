#include "hardware/GeneratorCycle.h"

#include "timecode/LTCEncoder.h"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <numbers>
#include <utility>

namespace vurl {
namespace {

using Generator = GeneratorHardware;

void shapeBuffers(auto& buffers, std::vector<float>& samples, uint32_t frames) {
  samples.assign(size_t{Generator::kNrChannels} * frames, 0.0F);
  const size_t length = size_t{Generator::kChannelsPerStream} * frames;
  for (size_t i = 0; i < buffers.size(); i++)
    buffers[i] = {Generator::kChannelsPerStream, static_cast<uint32_t>(length * sizeof(float)), &samples[i * length]};
}

uint64_t hostTime() noexcept {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1'000'000'000 + static_cast<uint64_t>(now.tv_nsec);
}

} // namespace

void GeneratorCycle::configure(uint32_t rate, uint32_t frames) {
  if (rate != sample_rate) {
    sine.resize(rate);
    for (uint32_t i = 0; i < rate; i++)
      sine[i] = static_cast<float>(Generator::kAmplitude * std::sin(2 * std::numbers::pi * i / rate));
  }
  sample_rate = rate;
  nr_frames = frames;
  shapeBuffers(inputs, input_samples, frames);
  shapeBuffers(outputs, output_samples, frames);
}

float* GeneratorCycle::firstInputSample(uint32_t channel) const noexcept {
  return static_cast<float*>(inputs[channel / Generator::kChannelsPerStream].mData) +
         channel % Generator::kChannelsPerStream;
}

void GeneratorCycle::fillTones() noexcept {
  for (uint32_t channel = 0; channel < Generator::kTimecodeChannel; channel++) {
    const uint32_t pitch = Generator::pitch(channel);
    auto phase = static_cast<uint32_t>(sample_time % sample_rate * pitch % sample_rate);
    float* sample = firstInputSample(channel);
    for (uint32_t i = 0; i < nr_frames; i++, sample += Generator::kChannelsPerStream) {
      *sample = sine[phase];
      phase += pitch;
      if (phase >= sample_rate) phase -= sample_rate;
    }
  }
}

void GeneratorCycle::fillTimecode() noexcept {
  encodeLTC(firstInputSample(Generator::kTimecodeChannel), Generator::kChannelsPerStream, nr_frames,
            sample_time + Generator::kWordClockOffset, sample_rate, frame_rate.load(std::memory_order_acquire),
            static_cast<float>(Generator::kAmplitude));
}

AudioTimeStamp GeneratorCycle::timeStamp(uint64_t sample) const noexcept {
  AudioTimeStamp stamp;
  stamp.mSampleTime = static_cast<double>(sample);
  stamp.mHostTime = hostTime();
  stamp.mFlags = kAudioTimeStampSampleTimeValid | kAudioTimeStampHostTimeValid | kAudioTimeStampRateScalarValid;
  if (clock_source.load(std::memory_order_acquire) != Generator::kExternal) return stamp;
  stamp.mWordClockTime = sample + Generator::kWordClockOffset;
  stamp.mSMPTETime.mType = static_cast<uint32_t>(frame_rate.load(std::memory_order_acquire));
  stamp.mSMPTETime.mSubframeDivisor = 80;
  spd_to_smpte(static_cast<int64_t>(stamp.mWordClockTime), static_cast<int32_t>(sample_rate), stamp.mSMPTETime);
  stamp.mFlags |= kAudioTimeStampWordClockTimeValid | kAudioTimeStampSMPTETimeValid;
  return stamp;
}

void GeneratorCycle::run(const IOProc& io) noexcept {
  if (data_source.load(std::memory_order_acquire) == Generator::kLoopBack) {
    std::ranges::copy(output_samples, input_samples.begin());
  } else {
    fillTones();
    fillTimecode();
  }
  std::ranges::fill(output_samples, 0.0F);
  AudioTimeStamp now = timeStamp(sample_time);
  now.mFlags |= std::exchange(incident, 0);
  const AudioTimeStamp later = timeStamp(sample_time + nr_frames);
  const AudioBufferList input_list{Generator::kNrStreams, inputs.data()};
  AudioBufferList output_list{Generator::kNrStreams, outputs.data()};
  io.proc(io.device, &now, &input_list, &now, &output_list, &later, io.client_data);
  limiter.limit(output_list);
  sample_time += nr_frames;
}

} // namespace vurl
