// The controls of a sound card that offer a choice among named items, as far as somebody wants to know of them. A seam:
// AlsaControls asks a card, tests play recorded lists. Thread: main. CardSources makes sources to choose from of them.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vurl {

struct CardControl {
  uint32_t number = 0; ///< the card's own for it
  std::string name;
  uint32_t index = 0; ///< among those of the same name
  bool is_settable = false;
  std::vector<std::string> items;
  uint32_t item = 0; ///< the one in force; may lie beyond `items` when the card contradicts itself
};

class CardControls {
public:
  enum class News { none, changed, gone };

  virtual ~CardControls() = default;

  /// The controls as they are now, those that cannot be read left out; none when the card is gone.
  virtual std::vector<CardControl> read() = 0;

  /// Asks for another item, in all channels of the control. Returns whether the card took it.
  virtual bool set(uint32_t number, uint32_t item) = 0;

  /// Has something to read when there is news.
  virtual int descriptor() const = 0;

  /// Takes all news that waits: whether a control changed, by whomever, came or went, or the card is gone.
  virtual News takeNews() = 0;
};

/// Opens the controls of the card of this identifier whose names `wants` likes; nullptr when that cannot be.
using CardControlsOpener =
    std::function<std::unique_ptr<CardControls>(const std::string& card, bool (*wants)(const std::string& name))>;

} // namespace vurl
