#include "app/LayoutMatrix.h"

#include "platform/Text.h"

namespace vurl {
namespace {

using Cell = LayoutMatrix::Cell;

std::string keyOf(const Cell& cell) {
  switch (cell.kind) {
  case Cell::input: return text("input_for_channel%02i", cell.row);
  case Cell::output: return text("output_for_channel%02i", cell.row);
  case Cell::file: return text("channel%02i_in_file%03i", cell.row, cell.column);
  case Cell::folder_of_file: return text("folder_for_file%03i", cell.column);
  case Cell::none: break;
  }
  return {};
}

} // namespace

/// What stands in the column, for the channel rows.
Cell LayoutMatrix::columnAt(int32_t column) const {
  if (column < 0 || column >= nrColumns()) return {};
  if (column < nrInputs()) return {Cell::input, column, 0};
  const int32_t output = column - nrInputs() - 1;
  if (output >= 0 && output < nrOutputs()) return {Cell::output, output, 0};
  if (column >= fileColumn(0)) return {Cell::file, column - fileColumn(0), 0};
  return {};
}

Cell LayoutMatrix::cellAt(int32_t row, int32_t column) const {
  Cell cell = columnAt(column);
  const int32_t folder = row - folderRow(0);
  if (row >= 0 && row < nr_channels) {
    cell.row = row;
    return cell;
  }
  if (folder < 0 || folder >= nr_folders || cell.kind != Cell::file) return {};
  return {Cell::folder_of_file, cell.column, folder};
}

std::string LayoutMatrix::rowName(int32_t row) const {
  const int32_t folder = row - folderRow(0);
  if (row >= 0 && row < nr_channels) return defaults.stringForKey(text("name_for_channel%02i", row));
  if (folder >= 0 && folder < nr_folders) return defaults.stringForKey(text("path_for_folder%02i", folder));
  return {};
}

std::string LayoutMatrix::columnName(int32_t column) const {
  const Cell cell = columnAt(column);
  const auto index = static_cast<size_t>(cell.column);
  if (cell.kind == Cell::input) return input_names[index];
  if (cell.kind == Cell::output) return output_names[index];
  return cell.kind == Cell::file ? text("File %i", cell.column + 1) : std::string();
}

bool LayoutMatrix::isChecked(const Cell& cell) const {
  switch (cell.kind) {
  case Cell::input:
  case Cell::output: return defaults.integerForKey(keyOf(cell)) == cell.column;
  case Cell::file: return defaults.boolForKey(keyOf(cell));
  case Cell::folder_of_file: return defaults.integerForKey(keyOf(cell)) == cell.row;
  case Cell::none: break;
  }
  return false;
}

void LayoutMatrix::toggle(const Cell& cell) {
  switch (cell.kind) {
  case Cell::input: toggleInput(cell.column, cell.row); break;
  case Cell::output: toggleOutput(cell.column, cell.row); break;
  case Cell::file: toggleFileForChannel(cell.column, cell.row); break;
  case Cell::folder_of_file: toggleFileForFolder(cell.column, cell.row); break;
  case Cell::none: break;
  }
}

void LayoutMatrix::toggleInput(int32_t input, int32_t channel) {
  toggleDeviceChannel(keyOf({Cell::input, input, channel}), input);
}

void LayoutMatrix::toggleOutput(int32_t output, int32_t channel) {
  toggleDeviceChannel(keyOf({Cell::output, output, channel}), output);
}

void LayoutMatrix::toggleDeviceChannel(const std::string& key, int64_t device_channel) {
  const bool checked = defaults.integerForKey(key) == device_channel;
  defaults.setInteger(checked ? kNoDeviceChannel : device_channel, key);
}

void LayoutMatrix::toggleFileForChannel(int32_t file, int32_t channel) {
  const std::string key = keyOf({Cell::file, file, channel});
  defaults.setBool(!defaults.boolForKey(key), key);
}

void LayoutMatrix::toggleFileForFolder(int32_t file, int32_t folder) {
  defaults.setInteger(folder, keyOf({Cell::folder_of_file, file, folder}));
}

} // namespace vurl
