// A table of takes that nobody sees; its selection is what the controller chose last. Main thread.
#pragma once

#include "app/HistoryView.h"

namespace vurl {

class SilentHistory : public HistoryView {
public:
  void reloadHistory() override {}
  void selectHistoryRow(int32_t chosen) override { row = chosen; }
  int32_t selectedHistoryRow() const override { return row; }
  void showHistoryProgress(size_t /*done*/, size_t /*total*/) override {}

private:
  int32_t row = -1;
};

} // namespace vurl
