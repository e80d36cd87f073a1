// The whole window and its preferences, on a device and a clock that the test steps.
#pragma once

#include "app/FolderControler.h"
#include "app/PreferencesController.h"
#include "tests/support/Test.h"
#include "tests/views/SteppedRecorder.h"
#include "views/MainWindow.h"
#include "views/PreferencesPanel.h"

#include <QtTest/QTest>

namespace vurl {

struct SessionRig : testing::Test {
  SessionRig() {
    for (const char* const name : {"one", "two"}) std::filesystem::create_directory(home.file(name));
    for (const auto& [key, number] : {std::pair{"nr_channels", 2}, {"bit_depth", 1}, {"pre_record_time", 2}})
      defaults.setInteger(number, key);
    defaults.setObject(home.file("one"), "path_for_folder00");
    defaults.setObject(home.path.string(), "csv_folder");
    defaults.setObject(std::string("%s-%t-%c"), "filename_format");
    panel.rememberPlaceIn(memory);
    panel.setControllers(recorder.channel_layout_controler, folders);
    QObject::connect(&panel, &PreferencesPanel::sceneChanged, &window, [this] { recorder.controller.sceneChanged(); });
    window.setRecorder(&recorder);
    window.setPreferences(&panel);
    window.show();
    recorder.start();
    time(2);
  }
  ~SessionRig() override {
    recorder.controller.applicationWillTerminate();
    window.setPreferences(nullptr);
    window.setRecorder(nullptr);
    panel.disconnect(&window);
  }

  void engineGoesOn() {
    device.step(0.1);
    recorder.output_file.processingPass();
  }
  /// `ticks` of 0.1 s.
  void time(int ticks) {
    ticks_gone += ticks;
    while (ticks-- > 0) {
      engineGoesOn();
      run_loop.advance(std::chrono::milliseconds(100));
      QCoreApplication::processEvents();
    }
  }
  void reach(const char* words) {
    for (int ticks = 0; ticks < 50 && window.takeLength().words() != QLatin1String(words); ++ticks) time(1);
    ASSERT_EQ(window.takeLength().words(), words);
  }
  void click(TransportCommand segment) { QTest::mouseClick(&window.button(segment), Qt::LeftButton); }
  void type(const char* key, const QString& typed) {
    QLineEdit* const field = window.slate().field(QLatin1String(key));
    field->setFocus();
    field->selectAll();
    QTest::keyClicks(field, typed);
  }

  TemporaryFolder home;
  UserDefaults defaults{home.file("settings.plist")};
  UserDefaults memory{home.file("settings.window.plist")};
  PreferencesController preferences{defaults};
  SteppedRunLoop run_loop;
  HardwareModel model;
  SteppedDevice device{model, "Stepped"};
  MainWindow window{defaults, memory};
  PreferencesPanel panel{defaults, &window};
  Recorder recorder{defaults, run_loop, model, RecorderViews{window, &window.history(), &panel},
                    RecorderMeans{nullptr, [this] { engineGoesOn(); }, false}};
  FolderControler folders{defaults, panel, recorder.history_controler};
  int ticks_gone = 0;
};

} // namespace vurl
