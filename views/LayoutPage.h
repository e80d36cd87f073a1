// The layout in the preferences: menus of how many channels, files and folders there are, the automatic configurations,
// and the routing as a grid. What any of it does is the controller's. Main thread only.
#pragma once

#include "app/ChannelLayoutControler.h"

#include <QtWidgets/QWidget>
#include <array>
#include <functional>

class QComboBox;
class QHBoxLayout;
class QVBoxLayout;

namespace vurl {

class LayoutMatrixView;

class LayoutPage final : public QWidget {
  Q_OBJECT

public:
  LayoutPage();

  /// Once. The controller is there as long as the main loop runs.
  void setController(ChannelLayoutControler& controller);

  void showCountMenu(CountMenu which, const PopupMenu& menu);
  /// Draws the grid anew from the controller's.
  void matrixChanged();

private:
  void addCounts(QVBoxLayout& page);
  void addConfigurations(QVBoxLayout& page);
  void addJump(QHBoxLayout& line, const QString& title, const QString& name,
               const std::function<int32_t(const LayoutMatrix&)>& column);

  ChannelLayoutControler* channel_layout_controler = nullptr;
  std::array<QComboBox*, 3> counts{};      ///< by CountMenu; the page's
  LayoutMatrixView* matrix_view = nullptr; ///< the page's, from setController() on
};

} // namespace vurl
