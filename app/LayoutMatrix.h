// The routing as one grid of check boxes, without drawing it: which cell stands for what, whether it is checked, and
// what a click on it stores. Rows are the ring channels, an empty one, and the folders; columns are the device's
// inputs, an empty one, its outputs, an empty one, and the files. All that is checked lives in the settings. Thread:
// main.
#pragma once

#include "platform/UserDefaults.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vurl {

class LayoutMatrix {
public:
  using Names = std::vector<std::string>;

  /// What is stored for a channel without an input, or without an output.
  static constexpr int64_t kNoDeviceChannel = 4096;

  /// What a cell switches. `column` and `row` count from 0 among their kind.
  struct Cell {
    enum Kind { none, input, output, file, folder_of_file };
    Kind kind = none;
    int32_t column = 0; ///< device input, device output, or file
    int32_t row = 0;    ///< ring channel, or folder
  };

  explicit LayoutMatrix(UserDefaults& user_defaults) : defaults(user_defaults) {}

  // The size of the grid. A count below 0 counts as 0.
  void setNrChannels(int32_t count) { nr_channels = count < 0 ? 0 : count; }
  void setNrFiles(int32_t count) { nr_files = count < 0 ? 0 : count; }
  void setNrFolders(int32_t count) { nr_folders = count < 0 ? 0 : count; }
  void setInputNames(Names names) { input_names = std::move(names); }
  void setOutputNames(Names names) { output_names = std::move(names); }

  int32_t nrInputs() const { return static_cast<int32_t>(input_names.size()); }
  int32_t nrRows() const { return nr_channels + 1 + nr_folders; }
  int32_t nrColumns() const { return fileColumn(0) + nr_files; }

  /// The column of the file that counts from 0.
  int32_t fileColumn(int32_t file) const { return nrInputs() + 1 + nrOutputs() + 1 + file; }
  /// The row of the folder that counts from 0.
  int32_t folderRow(int32_t folder) const { return nr_channels + 1 + folder; }

  /// Labels; empty for the separators and outside the grid.
  std::string rowName(int32_t row) const;
  std::string columnName(int32_t column) const;

  /// What stands at a place; a cell of kind `none` for separators, for the places that folders do not cross, and
  /// outside the grid.
  Cell cellAt(int32_t row, int32_t column) const;

  bool isChecked(const Cell& cell) const;

  /// Does what a click on the cell stands for; nothing for kind `none`.
  void toggle(const Cell& cell);

  // What a click does, by kind. A channel has one input and one output at most: the checked one is taken away, another
  // one takes its place. A file has exactly one folder.
  void toggleInput(int32_t input, int32_t channel);
  void toggleOutput(int32_t output, int32_t channel);
  void toggleFileForChannel(int32_t file, int32_t channel);
  void toggleFileForFolder(int32_t file, int32_t folder);

private:
  int32_t nrOutputs() const { return static_cast<int32_t>(output_names.size()); }
  Cell columnAt(int32_t column) const;
  void toggleDeviceChannel(const std::string& key, int64_t device_channel);

  UserDefaults& defaults;
  int32_t nr_channels = 0;
  int32_t nr_files = 0;
  int32_t nr_folders = 0;
  Names input_names;
  Names output_names;
};

} // namespace vurl
