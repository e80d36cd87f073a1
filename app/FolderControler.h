// The table of destination folders in the preferences: a path a row, and a button that has the user choose another.
#pragma once

#include "app/HistoryControler.h"
#include "platform/UserDefaults.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace vurl {

/// The table, and the panel that folders are chosen in, one at a time. All calls come on the main thread.
class FolderView {
public:
  /// Gets the full path that the user confirmed, or nothing when the user cancelled.
  using Chosen = std::function<void(const std::optional<std::string>& path)>;

  virtual ~FolderView() = default;

  virtual void reloadFolders() = 0;

  /// Has the user choose a folder, or make one, beginning in `path`; calls `chosen` once, at once or later.
  virtual void chooseFolder(const std::string& path, Chosen chosen) = 0;
};

/// Thread: main.
class FolderControler {
public:
  /// All three outlive the controller, and it outlives a choice that it asked for.
  FolderControler(UserDefaults& defaults, FolderView& view, HistoryControler& history);

  int32_t numberOfRows() const;

  /// What stands in a cell: "0" in column "button", the path in column "folder", nothing in any other.
  std::string objectValue(std::string_view column, int32_t row) const;

  /// The user changed a cell: column "button" set to 1 chooses a folder, anything else is ignored.
  void setObjectValue(int32_t value, std::string_view column, int32_t row);

  /// Has the user choose folder number `folder`. While a choice is open, nothing.
  void openForFolder(int32_t folder);

private:
  void folderSelected(const std::optional<std::string>& path, const std::string& key);

  UserDefaults& defaults;
  FolderView& view;
  HistoryControler& history;
  bool is_choosing = false;
};

} // namespace vurl
