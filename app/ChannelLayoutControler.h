// The channel layout: how many channels, files and folders there are, the grid that routes them, and the automatic
// configurations that route them in one step. All of it lives in the settings, which the engine reads when a take
// starts, so a change holds from the next take or piece on. Thread: main.
#pragma once

#include "app/ChannelLayoutView.h"
#include "app/LayoutMatrix.h"

#include <array>

namespace vurl {

class ChannelLayoutControler {
public:
  using Names = LayoutMatrix::Names;

  static constexpr int32_t kFilesOffered = 200; ///< the last item of the menu of files

  /// Both must outlive the controller.
  ChannelLayoutControler(UserDefaults& defaults, ChannelLayoutView& view);

  /// Builds the three menus, limits the stored counts to what they offer (64 channels, 200 files, 16 folders) with a
  /// warning, and from then on keeps them on the stored counts. Once, when the program has started.
  void resetMenus();

  /// Chooses the item with `tag` in a menu as the user would, and stores it. Returns false, and does nothing, when the
  /// menu has no such item.
  bool choose(CountMenu which, int64_t tag);
  const PopupMenu& menu(CountMenu which) const { return menus[static_cast<size_t>(which)]; }

  /// Routes the channels into files and the files into folders anew, for the counts of channels and folders as they
  /// are; inputs and outputs stay. `tag` says how:
  /// 1 a mono file per channel in every folder; 2 a polyphonic file per folder; 3 a stereo file of the first two
  /// channels in the first folder, mono files in the others; 4 the same with a polyphonic file in each of the others;
  /// 5 a polyphonic file in the first folder, mono files in the others.
  /// Any other tag, and a layout for which there are no folders or not the channels to divide by, changes nothing.
  void autoConfiguration(int32_t tag);

  /// The user clicked a cell of the grid.
  void clicked(int32_t row, int32_t column);
  const LayoutMatrix& matrix() const { return channel_layout_matrix; }

  // The counts follow the settings of the same names, within what a take can hold: 0 to 64 channels, 0 to 512 files, 0
  // to 16 folders. The setters are what following means; they store nothing.
  int32_t nrChannels() const { return nr_channels; }
  int32_t nrFiles() const { return nr_files; }
  int32_t nrFolders() const { return nr_folders; }
  void setNrChannels(int64_t count);
  void setNrFiles(int64_t count);
  void setNrFolders(int64_t count);

  // The device's channels, as the grid names them.
  const Names& inputNames() const { return input_names; }
  const Names& outputNames() const { return output_names; }
  void setInputNames(const Names& names);
  void setOutputNames(const Names& names);

private:
  void follow(CountMenu which, void (ChannelLayoutControler::*set)(int64_t));
  void limitStored(CountMenu which);
  void showMenu(CountMenu which);

  UserDefaults& defaults;
  ChannelLayoutView& view;
  LayoutMatrix channel_layout_matrix;
  std::array<PopupMenu, 3> menus; ///< by CountMenu
  Names input_names;
  Names output_names;
  int32_t nr_channels = 0;
  int32_t nr_files = 0;
  int32_t nr_folders = 0;
  std::array<UserDefaults::ObservationHandle, 3> observations;
};

} // namespace vurl
