// A user at a terminal: takes by keys, texts from the command line, and other programs that use the same settings.
#include "tests/system/TakeFile.h"

namespace vurl {

TEST(Session, KeysWorkTheTransportAndCountersMoveOn) {
  const Home home;
  Program vurl(home.recording({"filename_format=T%t", "new_take_on_rec=true"},
                              {"--device", "generator", "--scene", "12 <A>", "--take", "7", "--note", "x", "--roll",
                               "R", "--slate", "B", "--project", "P"}),
               Program::Stdin::keyboard);
  const auto grows = [&](const char* name) { return home.hasGrownTo(name, TakeFile::kHeaderSize + 200000); };
  const auto has_reported = [&](size_t count) { return eventually([&] { return takesOf(vurl).size() >= count; }); };
  ASSERT_TRUE(grows("T7.wav"));

  Program second(home.recording({}, {"--device", "generator", "--take", "99"}));
  EXPECT_EQ(second.wait(), 1);
  expectParts(second.errors(), {"is recording with the settings " + home.file("vurl-recorder/settings.plist")});
  EXPECT_EQ(printedBy(home.vurl({"settings", "scene"})), "12 <A>\n") << "stored before the take";
  printedBy(home.vurl({"settings", "contact_info", "the office"}));

  vurl.type('s');
  ASSERT_TRUE(has_reported(1));
  vurl.type('r');
  ASSERT_TRUE(grows("T8.wav"));
  vurl.type('r'); // the next take, without a gap
  ASSERT_TRUE(grows("T9.wav"));
  vurl.type('a');
  ASSERT_TRUE(has_reported(3));
  vurl.type('r');
  ASSERT_TRUE(grows("T9-nr2.wav")); // what was cut short goes on as its next piece
  vurl.type('q');
  EXPECT_EQ(vurl.wait(), 1) << "for the take that was aborted";

  const auto takes = takesOf(vurl);
  ASSERT_EQ(takes.size(), 4U);
  for (size_t i = 0; i < takes.size(); ++i) EXPECT_EQ(takes[i]["reason"].is_null(), i != 2) << takes[i];
  std::string stored;
  for (const char* key : {"take", "scene", "note", "contact_info", "roll", "slate", "project"})
    stored += printedBy(home.vurl({"settings", key}));
  EXPECT_EQ(stored, "10\n12 <A>\n\nthe office\nR\nB\nP\n");
}

} // namespace vurl
