// The table of takes over the history's controller. Double click and Enter play the selected take. Main thread only.
#pragma once

#include "app/HistoryControler.h"

#include <QtCore/QAbstractTableModel>
#include <QtWidgets/QTableView>

namespace vurl {

/// The rows as the controller had them at the last reload.
class HistoryModel final : public QAbstractTableModel {
  Q_OBJECT

public:
  /// `history` outlives the model's last use; null shows nothing.
  void setHistory(const HistoryControler* controler);
  void reload();

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
  const HistoryControler* history = nullptr;
  int nr_rows = 0;
};

class HistoryTable final : public QTableView, public HistoryView {
  Q_OBJECT

public:
  explicit HistoryTable(QWidget* parent = nullptr);

  /// `controler` outlives the table's last use, null ends it. `memory` keeps the columns' widths and order, and
  /// outlives the table.
  void setHistory(const HistoryControler* controler) { takes.setHistory(controler); }
  void restoreColumns(const UserDefaults& memory);
  void saveColumns(UserDefaults& memory) const;

  // HistoryView
  void reloadHistory() override;
  void selectHistoryRow(int32_t row) override;
  int32_t selectedHistoryRow() const override;
  void showHistoryProgress(size_t done, size_t total) override;

Q_SIGNALS:
  void playWanted();
  void progressed(int done, int total);
  /// Files were dropped onto the table, which takes none.
  void filesDropped();

protected:
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dragMoveEvent(QDragMoveEvent* event) override;
  void dropEvent(QDropEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  QItemSelectionModel::SelectionFlags selectionCommand(const QModelIndex& index, const QEvent* event) const override;

private:
  HistoryModel takes;
};

} // namespace vurl
