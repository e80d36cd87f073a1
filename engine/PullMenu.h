// The menu that offers the device's rate and the two rates a thousandth beside it.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace vurl {

class PullMenu {
public:
  struct Item {
    std::string title; ///< for example "47952 Hz"
    int32_t tag = 0;   ///< value of the setting "pull": 0 none, 1 down, 2 up
  };

  virtual ~PullMenu() = default;

  /// Replaces the three items; the choice follows the setting "pull". Thread: main.
  virtual void setPullItems(const std::array<Item, 3>& items) = 0;
};

} // namespace vurl
