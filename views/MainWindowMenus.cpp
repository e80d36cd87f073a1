// The main window's menus: every command, with its shortcut.
#include "platform/Desktop.h"
#include "platform/Resources.h"
#include "views/AboutBox.h"
#include "views/FolderChooser.h"
#include "views/MainWindow.h"
#include "views/PreferencesPanel.h"
#include "views/SettingControls.h"
#include "views/SettingsBinding.h"

#include <QtGui/QAction>
#include <QtWidgets/QMenuBar>
#include <tuple>

namespace vurl {
namespace {

/// Space is a character in a text field and REC or STOP everywhere else.
constexpr std::array<std::tuple<TransportCommand, const char*, const char*>, 5> kTransportCommands = {{
    {REC, QT_TRANSLATE_NOOP("vurl::MainWindow", "&Record"), "Ctrl+R"},
    {STOP, QT_TRANSLATE_NOOP("vurl::MainWindow", "&Stop"), "Ctrl+T"},
    {ABORT, QT_TRANSLATE_NOOP("vurl::MainWindow", "&Abort"), "Ctrl+Shift+T"},
    {PLAY, QT_TRANSLATE_NOOP("vurl::MainWindow", "&Play the Selected Take"), "Ctrl+P"},
    {TOGGLE, QT_TRANSLATE_NOOP("vurl::MainWindow", "Record or S&top"), "Space"},
}};

} // namespace

QAction* MainWindow::addCommand(QMenu& menu, const QString& title, const QKeySequence& shortcut,
                                const std::function<void()>& act) {
  QAction* const command = menu.addAction(title);
  command->setShortcut(shortcut);
  command->setAutoRepeat(false);
  command->setShortcutContext(shortcut.toString() == QLatin1String("Space") ||
                                      shortcut.toString() == QLatin1String("Esc")
                                  ? Qt::WindowShortcut        // these have a meaning in other windows
                                  : Qt::ApplicationShortcut); // the preferences do not keep the transport from reach
  connect(command, &QAction::triggered, this, act);
  return command;
}

void MainWindow::makeMenus() {
  QMenu& file = *menuBar()->addMenu(tr("&File"));
  preferences_command = addCommand(file, tr("&Preferences…"), QKeySequence(tr("Ctrl+,")), [this] {
    if (preferences != nullptr) preferences->showTab(QStringLiteral("general"));
  });
  restore_command = addCommand(file, tr("Restore &Default Settings…"), QKeySequence(tr("Ctrl+Shift+D")), [this] {
    if (preferences != nullptr) preferences->restoreDefaults();
  });
  addCommand(file, tr("&CSV Report Folder…"), QKeySequence(tr("Ctrl+Shift+R")), [this] { chooseCsvFolder(); });
  addCommand(file, tr("Print Sound &Report"), QKeySequence(tr("Ctrl+Shift+P")), [this] {
    if (recorder != nullptr) recorder->history_controler.print();
  });
  file.addSeparator();
  addCommand(file, tr("&Quit"), QKeySequence(tr("Ctrl+Q")), [this] { close(); });
  setPreferences(nullptr);
  makeTransportMenu(*menuBar()->addMenu(tr("Trans&port")));
  QMenu& view = *menuBar()->addMenu(tr("&View"));
  addCommand(view, tr("Edit the &Scene"), QKeySequence(tr("Ctrl+E")),
             [this] { slate_bar->field(QStringLiteral("scene"))->setFocus(Qt::ShortcutFocusReason); });
  addCommand(view, tr("&Clear All Clip Marks"), QKeySequence(tr("Ctrl+K")),
             [this] { channel_strip_box->clearClipMarks(); });
  addCommand(view, tr("&Dismiss the Message"), QKeySequence(tr("Esc")), [this] { message_bar->dismiss(); });
  QMenu& help = *menuBar()->addMenu(tr("&Help"));
  addCommand(help, tr("&Manual"), QKeySequence(tr("F1")), [this] { openManual(); });
  addCommand(help, tr("&About Vurl Recorder"), QKeySequence(tr("Ctrl+F1")), [this] { showAbout(*this); });
}

void MainWindow::makeTransportMenu(QMenu& menu) {
  for (const auto& [command, title, shortcut] : kTransportCommands) {
    addCommand(menu, tr(title), QKeySequence(QLatin1String(shortcut)), [this, pressed = command] { press(pressed); });
  }
  menu.addSeparator();
  QAction* const monitoring = menu.addAction(tr("&Monitoring"));
  monitoring->setShortcut(QKeySequence(tr("Ctrl+M")));
  monitoring->setShortcutContext(Qt::ApplicationShortcut);
  monitoring->setAutoRepeat(false);
  SettingsBinding::bind(*monitoring, defaults, "monitoring");
}

void MainWindow::setPreferences(PreferencesPanel* panel) {
  preferences = panel;
  for (QAction* command : {preferences_command, restore_command}) command->setVisible(panel != nullptr);
  if (panel != nullptr) connect(panel, &PreferencesPanel::toggleWanted, this, [this] { press(TOGGLE); });
}

void MainWindow::chooseCsvFolder() {
  openFolderChooser(*this, tr("Folder of the CSV Report"), defaults.stringForKey("csv_folder"),
                    [this](const std::optional<std::string>& path) {
                      if (path) defaults.setObject(*path, "csv_folder");
                    });
}

void MainWindow::openManual() {
  const auto manual = Resources::path("VurlRecorderManual", "pdf");
  if (!manual || !openWithDesktop(*manual)) {
    message_bar->show(tr("The manual could not be opened."),
                      manual ? QString::fromStdString(*manual) : tr("It is not installed."));
  }
}

} // namespace vurl
