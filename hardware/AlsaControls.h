// The controls of a card as ALSA has them. Thread: main.
#pragma once

#include "hardware/CardControls.h"

namespace vurl {

/// As CardControlsOpener.
std::unique_ptr<CardControls> openAlsaControls(const std::string& card, bool (*wants)(const std::string& name));

} // namespace vurl
