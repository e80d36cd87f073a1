// A menu of which one item is chosen, as a controller keeps it and a view shows it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace vurl {

struct PopupMenu {
  struct Item {
    std::string title;
    int64_t tag = 0; ///< hardware id, or rate in Hz
  };

  std::vector<Item> items;
  int selected = -1; ///< index into `items`, or -1 for none
  bool enabled = false;

  const Item* selectedItem() const { return selected < 0 ? nullptr : &items[static_cast<size_t>(selected)]; }

  /// Chooses the item with this tag or title; without one the choice stays as it is. Returns whether there is one.
  bool selectTag(int64_t tag) {
    return select([&](const Item& item) { return item.tag == tag; });
  }
  bool selectTitle(const std::string& title) {
    return select([&](const Item& item) { return item.title == title; });
  }

private:
  template <typename Test>
  bool select(Test test) {
    const auto found = std::find_if(items.begin(), items.end(), test);
    if (found == items.end()) return false;
    selected = static_cast<int>(found - items.begin());
    return true;
  }
};

} // namespace vurl
