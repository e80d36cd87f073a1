#include "views/PreferencesPanel.h"

#include "app/ChannelLayoutControler.h"
#include "app/SettingsKeys.h"
#include "platform/Text.h"
#include "views/CountersPage.h"
#include "views/FilesPage.h"
#include "views/FolderChooser.h"
#include "views/FoldersPage.h"
#include "views/GeneralPage.h"
#include "views/LayoutPage.h"
#include "views/MetersPage.h"
#include "views/SettingControls.h"

#include <QtGui/QGuiApplication>
#include <QtGui/QKeyEvent>
#include <QtGui/QScreen>
#include <QtGui/QShortcut>
#include <QtWidgets/QAbstractButton>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QScrollArea>
#include <QtWidgets/QTabWidget>
#include <QtWidgets/QVBoxLayout>

namespace vurl {
namespace {

constexpr const char* kFrameKey = "preferences_frame"; ///< "x y width height"
constexpr QSize kFirstSize(820, 700);

} // namespace

PreferencesPanel::PreferencesPanel(UserDefaults& user_defaults, QWidget* parent)
    : QDialog(parent),
      defaults(user_defaults),
      tabs(owned<QTabWidget>()),
      layout_page(owned<LayoutPage>()),
      folders_page(owned<FoldersPage>()),
      files_page(owned<FilesPage>(defaults)) {
  setWindowTitle(tr("Preferences"));
  setModal(false);
  auto* const counters = owned<CountersPage>(defaults);
  connect(counters, &CountersPage::sceneChanged, this, &PreferencesPanel::sceneChanged);
  addTab(owned<GeneralPage>(defaults), "general", tr("&General"));
  addTab(layout_page, "layout", tr("&Layout"), false);
  addTab(folders_page, "folders", tr("F&olders"), false);
  addTab(files_page, "files and naming", tr("&Files and naming"));
  addTab(counters, "counters", tr("&Counters"));
  addTab(owned<MetersPage>(defaults), "meters", tr("&Meters"));

  auto* const buttons = owned<QDialogButtonBox>();
  QPushButton* const restore = quietButton(tr("&Restore defaults…"));
  restore->setObjectName("restore_defaults");
  buttons->addButton(restore, QDialogButtonBox::ResetRole);
  QPushButton* const close = quietButton(tr("Clos&e"));
  buttons->addButton(close, QDialogButtonBox::RejectRole);
  connect(restore, &QPushButton::clicked, this, &PreferencesPanel::restoreDefaults);
  connect(close, &QPushButton::clicked, this, &QDialog::close);
  auto* const page = owned<QVBoxLayout>(this);
  page->addWidget(tabs);
  page->addWidget(buttons);

  auto* const space_bar = owned<QShortcut>(QKeySequence(Qt::Key_Space), this);
  space_bar->setAutoRepeat(false);
  connect(space_bar, &QShortcut::activated, this, &PreferencesPanel::toggleWanted);

  refresh_timer.setSingleShot(true);
  connect(&refresh_timer, &QTimer::timeout, this, &PreferencesPanel::refresh);
  connect(tabs, &QTabWidget::currentChanged, &refresh_timer, qOverload<>(&QTimer::start));
  any_setting = defaults.observe("", [this](const std::string&) {
    if (!refresh_timer.isActive()) refresh_timer.start();
  });
  resize(kFirstSize.boundedTo(screen()->availableSize()));
}

PreferencesPanel::~PreferencesPanel() {
  if (isVisible()) storeFrame();
}

void PreferencesPanel::addTab(QWidget* page, const QString& name, const QString& title, bool scrolls) {
  if (scrolls) { // on a small screen, or with large letters
    auto* const area = owned<QScrollArea>();
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(true);
    area->setWidget(page);
    page = area;
  }
  page->setObjectName(name);
  tabs->addTab(page, title);
}

/// The space bar works a button that the tab key has reached, and what else accepts it; from all the rest it is the
/// transport's.
bool PreferencesPanel::event(QEvent* event) {
  if (event->type() == QEvent::ShortcutOverride && static_cast<QKeyEvent*>(event)->key() == Qt::Key_Space &&
      qobject_cast<QAbstractButton*>(focusWidget()) != nullptr)
    event->accept();
  return QDialog::event(event);
}

void PreferencesPanel::setControllers(ChannelLayoutControler& layout, FolderControler& folders) {
  layout_page->setController(layout);
  folders_page->setController(folders);
}

void PreferencesPanel::showTab(const QString& name) {
  for (int i = 0; i < tabs->count(); ++i) {
    if (tabs->widget(i)->objectName() == name) tabs->setCurrentIndex(i);
  }
  refresh();
  show();
  raise();
  activateWindow();
}

/// What shows settings without being bound to them. Only the tab that is seen, and again when another one is.
void PreferencesPanel::refresh() {
  const QString shown = tabs->currentWidget()->objectName();
  if (shown == QLatin1String("layout")) layout_page->matrixChanged();
  if (shown == QLatin1String("folders")) folders_page->reloadFolders();
  if (shown == QLatin1String("files and naming")) files_page->updateExample();
}

// What the controllers show

void PreferencesPanel::showCountMenu(CountMenu which, const PopupMenu& menu) {
  layout_page->showCountMenu(which, menu);
}

void PreferencesPanel::redrawMatrix() { layout_page->matrixChanged(); }

void PreferencesPanel::reloadFolders() { folders_page->reloadFolders(); }

void PreferencesPanel::chooseFolder(const std::string& path, Chosen chosen) {
  openFolderChooser(*this, tr("Destination folder"), path, std::move(chosen));
}

// Restoring

void PreferencesPanel::restoreDefaults() {
  if (question == nullptr) {
    question = owned<QMessageBox>(QMessageBox::Question, tr("Restore defaults"),
                                  tr("Put all settings back to what they were at the first start?"),
                                  QMessageBox::Cancel, this);
    question->setInformativeText(tr("Folders, routing, names and counters go back, too. Takes stay where they are. "
                                    "The list of devices may change, which ends a take that is running."));
    QPushButton* const agree = question->addButton(tr("&Restore"), QMessageBox::AcceptRole);
    agree->setObjectName("restore");
    question->setDefaultButton(QMessageBox::Cancel);
    question->setAttribute(Qt::WA_DeleteOnClose);
    question->setModal(false);
    connect(agree, &QPushButton::clicked, this, [this] { restoreRegisteredValues(defaults); });
  }
  question->show();
  question->raise();
}

// The panel's place on the screen

void PreferencesPanel::hideEvent(QHideEvent* event) {
  storeFrame();
  QDialog::hideEvent(event);
}

void PreferencesPanel::storeFrame() {
  if (memory == nullptr) return;
  memory->setObject(text("%i %i %i %i", x(), y(), width(), height()), kFrameKey);
  memory->synchronize();
}

/// On a screen that is there no more, it opens where the desktop likes.
void PreferencesPanel::rememberPlaceIn(UserDefaults& user_memory) {
  memory = &user_memory;
  const QStringList numbers = QString::fromStdString(memory->stringForKey(kFrameKey)).split(' ');
  if (numbers.size() != 4) return;
  const QRect frame(numbers[0].toInt(), numbers[1].toInt(), numbers[2].toInt(), numbers[3].toInt());
  const QScreen* const there = QGuiApplication::screenAt(frame.center());
  if (there == nullptr) return;
  resize(frame.size().boundedTo(there->availableSize()));
  move(frame.topLeft());
}

} // namespace vurl
