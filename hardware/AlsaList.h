// Which ALSA devices there are to choose from: the cards of this computer, and the PCMs that the user's own ALSA
// configuration marks to be shown with `hint.show on`. Thread: main. AlsaHardware publishes them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vurl {

/// A device by its names; what it can do is not known yet.
struct AlsaName {
  std::string name;      ///< for people
  std::string capture;   ///< PCM; empty when there is none
  std::string playback;  ///< PCM; empty when there is none
  uint64_t plugging = 0; ///< another number each time the card is plugged in; 0 for what is no card
  bool operator==(const AlsaName&) const = default;
};

/// What a card tells of one of its PCMs.
struct AlsaPcmInfo {
  int number = 0; ///< on the card
  std::string name;
  bool captures = false;
  bool plays = false;
};

/// Where a PCM of a card is.
struct AlsaPlace {
  std::string card; ///< its identifier
  int number = 0;   ///< of the PCM
};

/// The devices that the PCMs of a card make, given in order: one, called as the card, of the first that captures and
/// the first that plays; then one of what is left of each, called after the card and itself.
std::vector<AlsaName> devicesOfCard(const std::string& card, const std::string& identifier,
                                    const std::vector<AlsaPcmInfo>& pcms);

/// Where a PCM is that devicesOfCard() named; nothing for one of another name.
std::optional<AlsaPlace> placeOfPcm(const std::string& pcm);

/// The devices of all cards. Looks at a few files, so it may be asked often.
std::vector<AlsaName> alsaCards();

/// The PCMs marked in the user's configuration; a file with errors is told, and gives none.
std::vector<AlsaName> markedAlsaPcms();

/// PCMs listed with commas between them, spaces around the names not counted.
std::vector<AlsaName> listedAlsaPcms(std::string_view list);

} // namespace vurl
