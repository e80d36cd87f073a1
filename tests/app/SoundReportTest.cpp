// The sound report: the page made of the XML, whatever the user typed.
#include "app/SoundReport.h"

#include "platform/StyleSheet.h"
#include "tests/app/HistoryRig.h"

namespace vurl {

struct SoundReportTest : HistoryRig {
  std::string page(const std::vector<TakePointer>& takes) {
    std::string reason;
    EXPECT_TRUE(renderSoundReport(folder.path.string(), takes, reason)) << reason;
    return fileBytes(folder.file("soundreport.html"));
  }
};

TEST_F(SoundReportTest, whatTheUserTypedIsReadableAndHarmless) {
  const std::tuple<const char*, const char*, const char*> cases[] = {
      // note, on the page, state
      {"wind, \"left\"", "wind, \"left\"", "whole"},
      {"a & b < c", "a &amp; b &lt; c", "repaired"},
      {"x </NOTE> <script>", "x &lt;/NOTE&gt; &lt;script&gt;", "repaired"},
      {"]]> \x01 \xff", "]]&gt; \uFFFD \uFFFD", "repaired"},
      {"<!DOCTYPE x [<!ENTITY e SYSTEM 'file:///etc/passwd'>]> &e;", "&lt;!DOCTYPE", "repaired"},
      {"</NOTE>\r\n<SPEED <", "", "damaged"},
      {"يوم 🎬 日", "يوم 🎬 日", "whole"},
  };
  for (const auto& [note, shown, state] : cases) {
    HistoryControler own(defaults, run_loop, view);
    MetaData broken = take("broken", 1);
    broken.setNote(note);
    for (const MetaData& each : {take("before", 0), broken, take("after", 2)})
      own.addMetaData(std::make_shared<const MetaData>(each));
    const std::string html = page(own.takes());
    for (const char* const part : {">before<", ">after<", shown, "before1.wav", "3 takes"})
      EXPECT_NE(html.find(part), std::string::npos) << part << " for " << note;
    EXPECT_EQ(html.find("<a href=\"#take2\"") == std::string::npos, state == std::string("whole")) << note;
    const std::string input = soundReportInput(own.bwfXMLList(), {});
    EXPECT_NE(input.find(text("number=\"2\" state=\"%s\"", state)), std::string::npos) << note;
  }
}

TEST_F(SoundReportTest, timecodeOutIsTheTakesOwnArithmetic) {
  std::string reason;
  for (const int32_t rate : {0, 1, 2, 3, 4, 5, 123}) {
    for (const int64_t frames : {1798, 1800, 1801, 17981, 17982, 107892, 1078920}) { // where labels are left out
      const auto samples = static_cast<uint64_t>(frames * 48048 / 30 + 1);
      MetaData written = take("x", 0);
      written.setFrameRate(rate);
      written.setNrSamples(static_cast<int64_t>(samples));
      finish(written);
      const std::string label = written.timestampStringForCounter(uint64_t{48000} * 3600 + samples);
      const std::string xml = "<BWFXML-LIST>" + written.iXMLForFile(0) + "</BWFXML-LIST>";
      const auto html = StyleSheet::parse(fileBytes(folder.file("soundreport.xsl")), reason)->apply(xml, {}, reason);
      EXPECT_NE(html.value_or("").find(">" + label + "<"), std::string::npos) << rate << " " << label;
    }
  }
}

TEST_F(SoundReportTest, theHistoryAddsFilesAndTracksAndThePageIsOpened) {
  writeFiles(take("x", 0, 3));
  finish(take("x", 0, 3));
  HistoryControler later(defaults, run_loop, view);
  later.loadHistoryAtOnce(); // what is on disk holds all names
  later.saveHistory();
  for (const auto& takes : {history.takes(), later.takes()}) {
    const std::string html = page(takes);
    for (const char* const part : {"x1.wav", "x2.wav", "x3.wav", "mic 0", "mic 1", "mic 2", "1 take,", "0:01:01"})
      EXPECT_NE(html.find(part), std::string::npos) << part;
    EXPECT_EQ(html.find("more file"), std::string::npos);
  }
  EXPECT_NE(page({}).find("and 2 more files"), std::string::npos);
  for (const bool fine : {true, false}) {
    if (!fine) std::filesystem::remove(folder.file("soundreport.html"));
    if (!fine) std::filesystem::create_directory(folder.file("soundreport.html")); // nothing can be written there
    HistoryControler printing(defaults, run_loop, view, opener);
    printing.setWebFolder(folder.path.string());
    printing.print();
  }
  EXPECT_EQ(opened, (std::vector{folder.file("soundreport.html"), folder.file("soundreport.xml")}));
}

TEST(StyleSheet, reachesNothingOutside) {
  const TemporaryFolder folder;
  writeFile(folder.file("secret.xml"), "<a>secret</a>");
  const std::string head = "<s:stylesheet version=\"1.0\" xmlns:s=\"http://www.w3.org/1999/XSL/Transform\">";
  std::string reason;
  const auto reading = StyleSheet::parse(head + "<s:template match=\"/\"><r><s:value-of select=\"document('" +
                                             folder.file("secret.xml") + "')\"/></r></s:template></s:stylesheet>",
                                         reason);
  EXPECT_EQ(reading->apply("<x/>", {}, reason).value_or("").find("secret<"), std::string::npos);
}

} // namespace vurl
