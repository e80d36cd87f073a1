// The table of the take history as its controller sees it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vurl {

/// All calls come on the main thread. Rows count from 0; what stands in them is asked of the controller.
class HistoryView {
public:
  virtual ~HistoryView() = default;

  /// The rows are other ones than before: their number and their cells are to be asked for anew.
  virtual void reloadHistory() = 0;

  virtual void selectHistoryRow(int32_t row) = 0;

  /// The row that the user selected; -1 when none is.
  virtual int32_t selectedHistoryRow() const = 0;

  /// The folders are being read: `done` of `total` files so far. Both are equal when it is over.
  virtual void showHistoryProgress(size_t done, size_t total) = 0;
};

} // namespace vurl
