#include "views/LayoutPage.h"

#include "views/LayoutMatrixView.h"
#include "views/SettingControls.h"
#include "views/WheelGuard.h"

#include <QtWidgets/QComboBox>
#include <QtWidgets/QGridLayout>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>

namespace vurl {

LayoutPage::LayoutPage() {
  auto* const page = owned<QVBoxLayout>(this);
  addCounts(*page);
  addConfigurations(*page);
}

void LayoutPage::addCounts(QVBoxLayout& page) {
  struct Count {
    CountMenu which;
    const char* key;
    QString title;
  };
  const Count rows[] = {{CountMenu::channels, "nr_channels", tr("Channels")},
                        {CountMenu::files, "nr_files", tr("Files of a take")},
                        {CountMenu::folders, "nr_folders", tr("Folders")}};
  auto* const line = owned<QHBoxLayout>();
  for (const Count& row : rows) {
    auto* const menu = owned<QComboBox>();
    menu->setObjectName(row.key);
    menu->setAccessibleName(row.title);
    menu->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    WheelGuard::protect(*menu);
    connect(menu, &QComboBox::activated, this, [this, menu, which = row.which](int index) {
      if (channel_layout_controler != nullptr)
        channel_layout_controler->choose(which, menu->itemData(index).toLongLong());
    });
    counts[static_cast<size_t>(row.which)] = menu;
    auto* const label = owned<QLabel>(row.title + QLatin1Char(':'));
    label->setBuddy(menu);
    line->addWidget(label);
    line->addWidget(menu);
    line->addSpacing(16);
  }
  line->addStretch();
  line->addWidget(owned<QLabel>(tr("Scroll to:")));
  addJump(*line, tr("Inputs"), tr("Scroll to the inputs"), [](const LayoutMatrix&) { return 0; });
  addJump(*line, tr("Outputs"), tr("Scroll to the outputs"),
          [](const LayoutMatrix& matrix) { return matrix.nrInputs() + 1; });
  addJump(*line, tr("Files"), tr("Scroll to the files"),
          [](const LayoutMatrix& matrix) { return matrix.fileColumn(0); });
  page.addLayout(line);
}

void LayoutPage::addJump(QHBoxLayout& line, const QString& title, const QString& name,
                         const std::function<int32_t(const LayoutMatrix&)>& column) {
  QPushButton* const button = quietButton(title);
  button->setAccessibleName(name);
  connect(button, &QPushButton::clicked, this, [this, column] {
    if (matrix_view != nullptr) matrix_view->scrollToColumn(column(channel_layout_controler->matrix()));
  });
  line.addWidget(button);
}

void LayoutPage::addConfigurations(QVBoxLayout& page) {
  struct Configuration {
    QString title;
    QString tip;
  };
  const Configuration configurations[] = {
      {tr("Mono everywhere"), tr("In every folder a mono file for each channel")},
      {tr("Poly everywhere"), tr("In every folder one file that holds all channels")},
      {tr("Stereo + mono"), tr("A stereo file of the first two channels in the first folder, and in each of the others "
                               "a mono file for each channel")},
      {tr("Stereo + poly"), tr("A stereo file of the first two channels in the first folder, and in each of the others "
                               "one file that holds all channels")},
      {tr("Poly + mono"), tr("A file that holds all channels in the first folder, and in each of the others a mono "
                             "file for each channel")},
  };
  auto* const line = owned<QHBoxLayout>();
  line->addWidget(owned<QLabel>(tr("Route anew:")));
  int32_t tag = 0;
  for (const Configuration& configuration : configurations) {
    QPushButton* const button = quietButton(configuration.title);
    button->setToolTip(configuration.tip);
    button->setAccessibleDescription(configuration.tip);
    connect(button, &QPushButton::clicked, this, [this, number = ++tag] {
      if (channel_layout_controler != nullptr) channel_layout_controler->autoConfiguration(number);
    });
    line->addWidget(button);
  }
  line->addStretch();
  page.addLayout(line);
  page.addWidget(hintLabel(tr("A click routes the channels into files and the files into folders, for the counts "
                              "above; the first name stands for the first folder, the second for the others.")));
}

void LayoutPage::setController(ChannelLayoutControler& controller) {
  channel_layout_controler = &controller;
  matrix_view = owned<LayoutMatrixView>(controller.matrix());
  matrix_view->setAccessibleName(tr("Routing"));
  static_cast<QVBoxLayout*>(layout())->addWidget(matrix_view, 1);
  connect(matrix_view, &LayoutMatrixView::cellClicked, this,
          [this](int32_t row, int32_t column) { channel_layout_controler->clicked(row, column); });
  for (const CountMenu which : {CountMenu::channels, CountMenu::files, CountMenu::folders})
    showCountMenu(which, controller.menu(which));
  matrixChanged();
}

void LayoutPage::showCountMenu(CountMenu which, const PopupMenu& menu) {
  QComboBox& shown = *counts[static_cast<size_t>(which)];
  if (shown.count() != static_cast<int>(menu.items.size())) {
    shown.clear();
    for (const PopupMenu::Item& item : menu.items)
      shown.addItem(QString::fromStdString(item.title), static_cast<qlonglong>(item.tag));
  }
  shown.setCurrentIndex(menu.selected);
  shown.setEnabled(menu.enabled);
}

void LayoutPage::matrixChanged() {
  if (matrix_view != nullptr) matrix_view->matrixChanged();
}

} // namespace vurl
