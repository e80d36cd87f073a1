// One stream of a device: channels that come or go together under one name. Thread: main.
#pragma once

#include "hardware/AudioObject.h"

namespace vurl {

class AudioStream final : public AudioObject {
public:
  using AudioObject::AudioObject;
};

} // namespace vurl
