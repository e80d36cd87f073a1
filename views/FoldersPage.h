// The destination folders in the preferences: a row a folder, with its path, the space in it and a button to choose
// another. Main thread only.
#pragma once

#include "app/DiskWatch.h"
#include "app/FolderControler.h"

#include <QtCore/QTimer>
#include <QtWidgets/QWidget>

class QTableWidget;

namespace vurl {

class FoldersPage final : public QWidget {
  Q_OBJECT

public:
  FoldersPage();

  /// Once. The controller is there as long as the main loop runs.
  void setController(FolderControler& controller);

  /// The folders or their number are other ones: asks the controller for them.
  void reloadFolders();

protected:
  void showEvent(QShowEvent* event) override;
  void hideEvent(QHideEvent* event) override;

private:
  void addRows(int32_t rows);
  std::vector<std::string> paths() const;
  void askForSpace();
  void showSpace();

  FolderControler* folder_controler = nullptr;
  QTableWidget* folder_table; ///< the page's
  DiskWatch disks;            ///< a folder on a network may take its time
  QTimer ask_timer;           ///< these two run while the page is seen
  QTimer show_timer;
};

} // namespace vurl
