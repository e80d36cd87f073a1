// The whole program in a real window: what a user sees, points at and types on a first day, and what is on disk then.
#include "tests/system/TakeFile.h"
#include "tests/window/ScreenReader.h"

namespace vurl {

constexpr int64_t kRate = 48000;
constexpr int64_t kPreRecord = 10 * kRate;
constexpr int64_t kWake = 25600; ///< samples within which the engine has surely noticed what it is to do, when in time

/// How many frames at the file's end have a tone that is the same on both tracks.
int64_t lastAlike(const TakeFile& file, uint64_t one, uint64_t other) {
  const auto alike = [&](int64_t frame) { return file.sample(one, frame) == file.sample(other, frame); };
  int64_t count = 0;
  while (count < file.frames && alike(file.frames - 1 - count)) ++count;
  return count;
}

struct FirstDayTest : testing::Test {
  /// A part of the windows, once it is there and can be reached.
  Element part(const std::string& name, const std::string& role = "") {
    Element found;
    EXPECT_TRUE(eventually([&] { return (found = program.find(name, role)).exists(); })) << name << recorder.errors();
    return found;
  }
  Element windowInFront(const std::string& name, const std::string& role) {
    Element window = part(name, role);
    EXPECT_TRUE(eventually([&] { return window.is(Element::active); })) << name << " is not in front";
    return window;
  }
  bool reaches(const std::string& state) {
    const Element field = part("Length of the take");
    return eventually([&] { return field.description() == state; });
  }
  void fillIn(const Element& field, const std::string& text) {
    field.click();
    EXPECT_TRUE(eventually([&] { return field.is(Element::focused); }));
    Desktop::press("ctrl+a");
    Desktop::type(text);
    EXPECT_TRUE(eventually([&] { return field.text() == text; })) << field.text();
  }
  /// Clicks a cell of the routing, and returns what the cell says of itself.
  static std::string clickRouting(const Element& routing, QPoint point) {
    const std::string before = routing.description();
    Desktop::clickAt(point.x(), point.y());
    EXPECT_TRUE(eventually([&] { return routing.description() != before; }));
    return routing.description();
  }

  /// The one take in `folder`, as soon as `seconds` of it are on disk.
  std::string takeOf(const std::filesystem::path& folder, uint64_t channels, uint64_t seconds) {
    std::filesystem::path path;
    EXPECT_TRUE(eventually([&] {
      std::error_code none;
      for (const auto& entry : std::filesystem::directory_iterator(folder, none))
        if (entry.path().extension() == ".wav") path = entry.path();
      return std::filesystem::file_size(path, none) >= TakeFile::kHeaderSize + seconds * kRate * channels * 3 && !none;
    })) << folder
        << program.find("Messages").description();
    return path;
  }

  Desktop desktop;
  ScreenReader reader;
  Home home;
  bool is_empty = std::filesystem::remove(home.takes());
  Program recorder{home.vurl({})};
  Element program = reader.program();
};

TEST_F(FirstDayTest, FromAnEmptyHomeToQuittingDuringATake) {
  windowInFront("Vurl Recorder", "frame");
  part("Vurl - Test Generator", "combo box"); // the device
  ASSERT_TRUE(reaches("Stopped"));
  const Element takes = part("Takes", "table");
  EXPECT_TRUE(is_empty && takes.rows() == 0);

  part("REC").click();
  ASSERT_TRUE(reaches("RECORDING"));
  fillIn(part("Scene", "text"), "12A");
  const std::string first_path = takeOf(home.takes(), 8, 10);
  part("STOP").click();
  ASSERT_TRUE(reaches("Stopped"));
  const TakeFile first(first_path);
  expectParts(first_path, {"/S1-1_T001_"});
  expectParts(first.bytes.substr(0, TakeFile::kHeaderSize), {"<SCENE>12A</SCENE>", "<TAKE>1</TAKE>"});
  EXPECT_EQ(first.channels, 8U);
  EXPECT_EQ(first.bits, 24U);
  EXPECT_LT(lastAlike(first, 0, 5), 4) << "each input has a tone of its own";

  ASSERT_TRUE(eventually([&] { return takes.rows() == 1; }));
  const auto frames = static_cast<int>(first.frames * 25 / kRate);
  const std::string expected[] = {
      text("00:00:%02i:%02i", frames / 25, frames % 25), first_path, "Project", "12A", "1", "1"};
  for (int column = 0; column < 6; ++column) EXPECT_EQ(takes.cell(0, column + 2).name(), expected[column]);
  EXPECT_EQ(part("Take", "text").text(), "2");

  takes.cell(0, 0).click();
  part("PLAY").click();
  ASSERT_TRUE(reaches("Playing"));
  EXPECT_EQ(part("PLAY").description(), "active");
  part("STOP").click();
  ASSERT_TRUE(reaches("Stopped"));
  EXPECT_TRUE(fileBytes(first_path) == first.bytes);

  Desktop::press("ctrl+comma");
  windowInFront("Preferences", "dialog");
  part("Layout", "page tab").click();
  const Element routing = part("Routing");
  const QPoint corner = routing.place().topLeft() + QPoint(100, 100), middle(8, 8), cell(14, 14);
  std::string said = clickRouting(routing, corner + middle + QPoint(5 * cell.x(), 0));
  expectParts(said, {"Input 6\n", "Channel 1\n", "\nchecked"});
  part("Scroll to the files").click();
  const QPoint last_column(routing.place().right() - middle.x(), corner.y() + middle.y());
  said = clickRouting(routing, last_column + QPoint(0, 7 * cell.y()));
  expectParts(said, {"Channel 8\n", "\nnot checked"});

  const auto card = std::filesystem::path(home.file("card-2"));
  std::filesystem::create_directory(card);
  part("Folders", "page tab").click();
  const Element folders = part("Destination folders", "table");
  folders.cell(0, 2).click();
  windowInFront("Destination folder", "dialog");
  fillIn(part("Directory:", "text"), card.string());
  Desktop::press("Return");
  EXPECT_TRUE(eventually([&] { return folders.cell(0, 0).name() == card.string(); })) << folders.cell(0, 0).name();
  part("Close").click();
  windowInFront("Vurl Recorder", "frame");

  Desktop::press("space");
  ASSERT_TRUE(reaches("RECORDING"));
  const std::string second_path = takeOf(card, 7, 11);
  for (const char* answer : {"Dismiss", "End the take and quit"}) {
    Desktop::press("ctrl+q");
    part("End the take and quit");
    EXPECT_TRUE(reaches("RECORDING"));
    part(answer).click();
  }
  EXPECT_EQ(recorder.wait(), 0);
  EXPECT_EQ(recorder.errors(), "");
  const TakeFile second(second_path);
  expectParts(second_path, {"/S12A-1_T002_"});
  expectParts(second.bytes.substr(0, TakeFile::kHeaderSize), {"<SCENE>12A</SCENE>", "<TAKE>2</TAKE>"});
  EXPECT_EQ(second.channels, 7U);
  EXPECT_GE(lastAlike(second, 0, 5), second.frames - kPreRecord - kWake); // since the click into the routing
  EXPECT_EQ(takeOf(home.takes(), 8, 0), first_path);
  expectParts(home.settings(), {"<string>12A</string>", card.string()});
}

} // namespace vurl
