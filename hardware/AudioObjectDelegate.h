// Who is told when a property of an audio object changes: one message a property, without arguments. The message alone
// says what changed; the receiver reads the new value from the object. Thread: main. Sent by audioObjectListener().
#pragma once

namespace vurl {

class AudioObjectDelegate {
public:
  virtual ~AudioObjectDelegate() = default;
  virtual void clockSourcesChanged() {}
  virtual void clockSourceChanged() {}
  virtual void devicesChanged() {}
  virtual void bufferFrameSizeChanged() {}
  virtual void bufferFrameSizeRangeChanged() {}
  virtual void availableNominalSampleRatesChanged() {}
  virtual void nominalSampleRateChanged() {}
  virtual void processorOverload() {}
  virtual void streamConfigurationChanged() {}
  virtual void dataSourcesChanged() {}
  virtual void dataSourceChanged() {}
  virtual void streamsChanged() {}
};

} // namespace vurl
