#include "views/FolderChooser.h"

#include "platform/Text.h"
#include "views/SettingControls.h"

#include <QtWidgets/QFileDialog>

namespace vurl {

void openFolderChooser(QWidget& parent, const QString& title, const std::string& path, FolderView::Chosen chosen) {
  auto* const panel = owned<QFileDialog>(&parent, title, QString::fromStdString(expandTilde(path)));
  panel->setAttribute(Qt::WA_DeleteOnClose);
  panel->setFileMode(QFileDialog::Directory);
  panel->setOption(QFileDialog::ShowDirsOnly);
  QObject::connect(panel, &QDialog::finished, &parent, [panel, chosen = std::move(chosen)](int result) {
    const QStringList files = panel->selectedFiles();
    const bool confirmed = result == QDialog::Accepted && !files.isEmpty();
    chosen(confirmed ? std::optional(files.front().toStdString()) : std::nullopt);
  });
  panel->setModal(false); // a modal one would stand between the user and STOP
  panel->show();
}

} // namespace vurl
