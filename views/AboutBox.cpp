#include "views/AboutBox.h"

#include "views/SettingControls.h"

#include <QtCore/QCoreApplication>
#include <QtWidgets/QApplication>
#include <QtWidgets/QMessageBox>

namespace vurl {
namespace {

constexpr const char* kName = "about";
constexpr int kIconSize = 64;
constexpr const char* kLibraries = "JACK, ALSA, libxml2, libxslt, fmt, CLI11, nlohmann-json";

QString words(const char* text) { return QCoreApplication::translate("vurl::AboutBox", text); }

} // namespace

void showAbout(QWidget& parent) {
  auto* box = parent.findChild<QMessageBox*>(QLatin1String(kName));
  if (box == nullptr) {
    box = owned<QMessageBox>(&parent);
    box->setObjectName(QLatin1String(kName));
    box->setWindowTitle(words(QT_TRANSLATE_NOOP("vurl::AboutBox", "About Vurl Recorder")));
    box->setIconPixmap(QApplication::windowIcon().pixmap(kIconSize));
    box->setText(
        words(QT_TRANSLATE_NOOP("vurl::AboutBox", "Vurl Recorder %1")).arg(QApplication::applicationVersion()));
    box->setInformativeText(
        words(QT_TRANSLATE_NOOP("vurl::AboutBox",
                                "A multitrack recorder for location sound.\n\n"
                                "Up to 64 channels of one audio interface, with the sound before REC, "
                                "into Broadcast Wave or Core Audio Format files.\n\n"
                                "Built on Qt %1, %2."))
            .arg(QLatin1String(qVersion()), QLatin1String(kLibraries)));
    box->setStandardButtons(QMessageBox::Close);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setModal(false);
  }
  box->show();
  box->raise();
}

} // namespace vurl
