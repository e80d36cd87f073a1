// The desktop program: reads the command line, opens the settings, shows the main window, and ends with the last take
// complete on disk.
#include "app/DeviceSession.h"
#include "app/EndSignals.h"
#include "app/Leaving.h"
#include "app/PreferencesController.h"
#include "app/RecorderBus.h"
#include "app/Startup.h"
#include "platform/Log.h"
#include "platform/Resources.h"
#include "platform/SettingsLock.h"
#include "views/MainWindow.h"
#include "views/PreferencesPanel.h"
#include "views/QtRunLoop.h"
#include "views/WaitNotice.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QFile>
#include <QtGui/QIcon>
#include <QtWidgets/QApplication>
#include <QtWidgets/QMessageBox>
#include <cstdio>
#include <filesystem>
#include <memory>

namespace {

using namespace vurl;

constexpr std::chrono::seconds kPatience{2}; ///< with a disk, before the user is told that it does not answer

struct Arguments {
  std::string defaults_file = UserDefaults::standardPath();
  std::vector<std::string> settings;
};

/// Ends the program itself when the command line cannot be understood, or asks for help.
Arguments readArguments(const QApplication& application) {
  Arguments arguments;
  const QCommandLineOption file("defaults", QApplication::translate("main", "Use another settings file."), "FILE");
  const QCommandLineOption set("set", QApplication::translate("main", "Set a setting for this run only."), "KEY=VALUE");
  QCommandLineParser parser;
  parser.setApplicationDescription(
      QApplication::translate("main", "Vurl Recorder: a multitrack location-sound recorder."));
  parser.addHelpOption();
  parser.addVersionOption();
  parser.addOption(file);
  parser.addOption(set);
  parser.process(application);
  if (parser.isSet(file)) arguments.defaults_file = QFile::encodeName(parser.value(file)).toStdString();
  for (const QString& setting : parser.values(set)) arguments.settings.push_back(setting.toStdString());
  return arguments;
}

/// Where the window keeps its place: beside the settings, for "settings.plist" in "settings.window.plist".
std::string memoryPath(const std::string& settings_path) {
  std::filesystem::path path(settings_path);
  return path.replace_extension(".window.plist").string();
}

int refuseInAWindow(const std::string& reason) {
  std::fprintf(stderr, "vurl-recorder: %s\n", reason.c_str());
  QMessageBox::critical(nullptr, QApplication::applicationDisplayName(), QString::fromStdString(reason));
  return 1;
}

void showWarnings(const UserDefaults& defaults, MainWindow& window) {
  for (const std::string& warning : defaults.warnings()) window.showAlert("The settings need a look.", warning);
}

int run(UserDefaults& defaults, QtRunLoop& run_loop, EndSignals& signals) {
  UserDefaults memory(memoryPath(defaults.file()));
  AudioServices services(defaults, run_loop);
  MainWindow window(defaults, memory);
  PreferencesPanel preferences(defaults, &window);
  preferences.rememberPlaceIn(memory);
  {
    WaitNotice notice(run_loop, kPatience, &window);
    Recorder recorder(defaults, run_loop, services.model, RecorderViews{window, &window.history(), &preferences},
                      RecorderMeans{nullptr, [&notice] { notice.pause(); }});
    notice.setAwaited([&recorder] { return awaited(recorder.output_file); });
    QObject::connect(&notice, &WaitNotice::left, [&] { leaveAtOnce(recorder, defaults, 1); });
    FolderControler folders(defaults, preferences, recorder.history_controler);
    preferences.setControllers(recorder.channel_layout_controler, folders);
    QObject::connect(&preferences, &PreferencesPanel::sceneChanged, &window,
                     [&recorder] { recorder.controller.sceneChanged(); });
    window.setRecorder(&recorder);
    window.setPreferences(&preferences);
    window.show();
    recorder.start();
    showWarnings(defaults, window);
    auto bus = std::make_unique<RecorderBus>(defaults, run_loop, recorder, [&](TransportCommand command) {
      window.slate().finishEditing(); // what is being typed belongs to the take that begins or ends
      return recorder.controller.recStopPressed(command);
    });
    signals.setAsked([&] {
      if (!notice.leaveIfShown() && !window.mayQuit()) window.quit();
    });
    if (!window.mayQuit()) QApplication::exec();
    bus.reset();
    endOf(recorder, 1);
    signals.setAsked({});
    window.setPreferences(nullptr);
    window.setRecorder(nullptr);
    preferences.disconnect(&window);
    DeviceSession::endSoon(0);
  }
  return 0;
}

} // namespace

int main(int argc, char** argv) {
  EndSignals::hold();
  prepareProcess();
  QApplication::setApplicationName("vurl-recorder");
  QApplication::setApplicationDisplayName("Vurl Recorder");
  QApplication::setApplicationVersion(VURL_VERSION);
  QGuiApplication::setDesktopFileName("vurl-recorder");
  const QApplication application(argc, argv);
  QApplication::setWindowIcon(QIcon(QString::fromStdString(Resources::path("vurl-recorder", "png").value_or(""))));
  QtRunLoop run_loop;
  EndSignals signals(run_loop);
  const Arguments arguments = readArguments(application);
  Log::showOnTerminal(Log::Terminal::warnings);
  UserDefaults defaults(arguments.defaults_file);
  const PreferencesController preferences(defaults);
  std::string reason;
  if (!applySettings(defaults, arguments.settings, reason)) {
    std::fprintf(stderr, "vurl-recorder: %s\n", reason.c_str());
    return 2;
  }
  const auto lock = SettingsLock::take(defaults.file(), reason);
  return lock ? run(defaults, run_loop, signals) : refuseInAWindow(reason);
}
