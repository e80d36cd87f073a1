#include "views/MainWindow.h"

#include "app/PreferencesController.h"
#include "tests/support/TemporaryFolder.h"
#include "views/PreferencesPanel.h"
#include "views/QtRunLoop.h"

#include <gtest/gtest.h>

#include <QtGui/QWheelEvent>
#include <QtTest/QTest>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QSpinBox>

namespace vurl {
namespace {

constexpr int kPatience = 30000; ///< ms

/// A program on its first start: an empty home, no settings.
struct MainWindowTest : testing::Test {
  MainWindowTest() {
    defaults.setForRun(home.file("takes"), "path_for_folder00");
    defaults.setForRun(home.path.string(), "csv_folder");
    defaults.setForRun(std::string(), "selected_device");
    std::filesystem::create_directory(home.file("takes"));
    services.publishGeneratorForRun();
    window.show();
  }

  void start() {
    window.setRecorder(recorder.get());
    recorder->start();
  }

  testing::AssertionResult reaches(const char* words) {
    const bool reached =
        QTest::qWaitFor([&] { return window.takeLength().words() == QLatin1String(words); }, kPatience);
    return (reached ? testing::AssertionSuccess() : testing::AssertionFailure())
           << window.takeLength().words().toStdString() << ", " << window.messages().text().toStdString();
  }
  void click(TransportCommand segment) { QTest::mouseClick(&window.button(segment), Qt::LeftButton); }
  void type(const char* key, const QString& typed) {
    QLineEdit* const field = window.slate().field(QLatin1String(key));
    field->setFocus();
    field->selectAll();
    QTest::keyClicks(field, typed);
  }
  QString cell(int row, std::string_view column) {
    const auto& columns = HistoryControler::kColumns;
    const auto index = std::find(columns.begin(), columns.end(), column) - columns.begin();
    const auto& model = *window.history().model();
    return model.index(row, static_cast<int>(index)).data().toString();
  }
  TemporaryFolder home;
  UserDefaults defaults{home.file("settings.plist")};
  UserDefaults memory{home.file("window.plist")};
  PreferencesController preferences{defaults};
  QtRunLoop run_loop;
  AudioServices services{defaults, run_loop};
  MainWindow window{defaults, memory};
  std::unique_ptr<Recorder> recorder =
      std::make_unique<Recorder>(defaults, run_loop, services.model, RecorderViews{window, &window.history()});
};

} // namespace

TEST_F(MainWindowTest, NeitherWheelNorKeysNorMessagesDisturbATakeAndADoubleClickPlaysIt) {
  for (int refreshes = 0; refreshes < 5; ++refreshes) window.showRing({});
  EXPECT_EQ(window.takeLength().words(), "Stopped · NO SOUND ARRIVES");
  start();
  ASSERT_TRUE(reaches("Stopped"));
  auto* const count = window.slate().findChild<QSpinBox*>();
  count->setFocus();
  QTest::keyClick(count, Qt::Key_Return);
  EXPECT_FALSE(count->hasFocus()); // the space bar is the transport's again

  QTest::keyClick(&window.history(), Qt::Key_Space);
  ASSERT_TRUE(reaches("RECORDING"));
  QComboBox& rates = window.devices().menu(DeviceMenu::sample_rate);
  const int rate = rates.currentIndex();
  for (const int angle : {-120, 120}) {
    QWheelEvent passing_over({5, 5}, {5, 5}, {}, {0, angle}, Qt::NoButton, {}, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(&rates, &passing_over);
    EXPECT_EQ(rates.currentIndex(), rate); // another would end the take
  }
  type("note", "with blanks"); // the space bar belongs to the field
  window.showAlert("Message.", "The user need not answer it.");
  EXPECT_FALSE(window.close());
  window.messages().dismiss(); // the question
  EXPECT_EQ(window.messages().text(), "Message.\nThe user need not answer it.");
  EXPECT_EQ(window.takeLength().words(), "RECORDING");
  // Longer than the main thread is ever kept waiting, so that its being played is seen.
  ASSERT_TRUE(QTest::qWaitFor([&] { return window.takeLength().time() >= "00:00:03:00"; }, kPatience))
      << window.messages().text().toStdString();
  click(STOP);
  ASSERT_TRUE(reaches("Stopped"));
  ASSERT_EQ(window.history().model()->rowCount(), 1);
  EXPECT_EQ(cell(0, "note"), "with blanks");

  const QPoint row = window.history().visualRect(window.history().currentIndex()).center();
  QTest::mouseClick(window.history().viewport(), Qt::LeftButton, Qt::ControlModifier, row);
  QTest::mouseDClick(window.history().viewport(), Qt::LeftButton, {}, row);
  ASSERT_TRUE(reaches("Playing"));
  EXPECT_TRUE(window.button(PLAY).isLit() && !window.button(STOP).isLit());
  click(STOP);
  ASSERT_TRUE(reaches("Stopped"));
  window.setRecorder(nullptr);
}

} // namespace vurl
