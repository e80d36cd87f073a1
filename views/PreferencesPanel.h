// The preferences: a panel with a tab for each kind of settings. All of it takes effect at once. It keeps nothing from
// being used, the transport least of all: neither it nor what it opens is modal. Main thread only.
//
// It is made before the controllers that it shows, because they are given it as their view, and goes after them.
#pragma once

#include "app/ChannelLayoutView.h"
#include "app/FolderControler.h"
#include "platform/UserDefaults.h"

#include <QtCore/QPointer>
#include <QtCore/QTimer>
#include <QtWidgets/QDialog>

class QMessageBox;
class QTabWidget;

namespace vurl {

class ChannelLayoutControler;
class FilesPage;
class FoldersPage;
class LayoutPage;

class PreferencesPanel final : public QDialog, public ChannelLayoutView, public FolderView {
  Q_OBJECT

public:
  /// `defaults` outlives the panel.
  explicit PreferencesPanel(UserDefaults& defaults, QWidget* parent = nullptr);
  ~PreferencesPanel() override;

  /// Once, when the controllers are made. They are there as long as the main loop runs.
  void setControllers(ChannelLayoutControler& layout, FolderControler& folders);

  /// Takes the place on the screen that `memory` holds, and keeps it there. It outlives the panel.
  void rememberPlaceIn(UserDefaults& memory);

  /// Brings the panel to the front with the tab called "general", "layout", "folders", "files and naming", "counters"
  /// or "meters"; any other name shows the last one again.
  void showTab(const QString& name = {});

  /// Asks whether all settings shall go back to their registered values, and does it when the user agrees.
  void restoreDefaults();

  void showCountMenu(CountMenu which, const PopupMenu& menu) override;
  void redrawMatrix() override;
  void reloadFolders() override;
  void chooseFolder(const std::string& path, Chosen chosen) override;

Q_SIGNALS:
  /// The user has typed another scene or slate in the panel.
  void sceneChanged();
  /// The space bar was pressed where nothing in the panel has a use for it.
  void toggleWanted();

protected:
  bool event(QEvent* event) override;
  void hideEvent(QHideEvent* event) override;

private:
  void addTab(QWidget* page, const QString& name, const QString& title, bool scrolls = true);
  void refresh();
  void storeFrame();

  UserDefaults& defaults;
  UserDefaults* memory = nullptr;
  QTabWidget* tabs; ///< these are the panel's
  LayoutPage* layout_page;
  FoldersPage* folders_page;
  FilesPage* files_page;
  QPointer<QMessageBox> question; ///< while it is open
  QTimer refresh_timer;           ///< joins the changes of one command into one refresh
  UserDefaults::ObservationHandle any_setting;
};

} // namespace vurl
