// The controls of a card as ALSA has them. Thread: main.
#pragma once

#include "hardware/CardControls.h"

using snd_ctl_t = struct _snd_ctl; // ALSA's; NOLINT(bugprone-reserved-identifier)

namespace vurl {

/// The controls of an open card, in non-blocking mode, that `wants` likes. Closes the card in the end; at once when it
/// tells no news, with nullptr as the result.
std::unique_ptr<CardControls> alsaControls(snd_ctl_t* opened, bool (*wants)(const std::string& name));

/// As CardControlsOpener.
std::unique_ptr<CardControls> openAlsaControls(const std::string& card, bool (*wants)(const std::string& name));

} // namespace vurl
