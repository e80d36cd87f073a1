// What the channel layout controller shows: three menus of counts, and the routing as a grid (app/LayoutMatrix.h). All
// of it is called on the main thread.
#pragma once

#include "app/PopupMenu.h"

namespace vurl {

/// The counts that a layout is made of, each with a menu.
enum class CountMenu { channels, files, folders };

class ChannelLayoutView {
public:
  virtual ~ChannelLayoutView() = default;

  /// The items are tagged with their number; none is chosen when the stored number is not among them.
  virtual void showCountMenu(CountMenu which, const PopupMenu& menu) = 0;

  /// Something in the grid is not what it was: draw it anew from the controller's matrix().
  virtual void redrawMatrix() = 0;
};

} // namespace vurl
