#include "app/FolderControler.h"

#include "platform/Text.h"

#include <algorithm>

namespace vurl {
namespace {

std::string folderKey(int32_t folder) { return text("path_for_folder%02i", folder); }

} // namespace

FolderControler::FolderControler(UserDefaults& user_defaults, FolderView& folder_view,
                                 HistoryControler& history_controler)
    : defaults(user_defaults), view(folder_view), history(history_controler) {}

int32_t FolderControler::numberOfRows() const {
  return static_cast<int32_t>(std::clamp<int64_t>(defaults.integerForKey("nr_folders"), 0, 16));
}

std::string FolderControler::objectValue(std::string_view column, int32_t row) const {
  if (column == "button") return "0";
  return column == "folder" ? defaults.stringForKey(folderKey(row)) : "";
}

void FolderControler::setObjectValue(int32_t value, std::string_view column, int32_t row) {
  if (column == "button" && value == 1) openForFolder(row);
}

void FolderControler::openForFolder(int32_t folder) {
  if (is_choosing) return;
  is_choosing = true;
  const std::string key = folderKey(folder);
  view.chooseFolder(expandTilde(defaults.stringForKey(key)),
                    [this, key](const std::optional<std::string>& path) { folderSelected(path, key); });
}

void FolderControler::folderSelected(const std::optional<std::string>& path, const std::string& key) {
  is_choosing = false;
  if (path) defaults.setObject(*path, key);
  view.reloadFolders();
  history.loadHistory();
}

} // namespace vurl
