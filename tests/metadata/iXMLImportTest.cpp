// The iXML document read back: friends' and strangers' documents, and those that mean harm.
#include "metadata/MetaData.h"
#include "platform/XmlDocument.h"
#include "tests/metadata/SampleTake.h"

namespace vurl {

struct iXMLImportTest : SampleTake {
  iXMLImportTest() { replaceAll(document, "Film & <Söhne>", "Film"); }

  /// All that a document gives to a record of 59.94 frames that is dated to second 77.
  std::string import(const std::string& ixml) {
    const CapturedLog log;
    MetaData take(defaults, [] { return WallTime{77, 0, 0}; });
    take.setNrChannels(64);
    take.setFrameRate(FRAME_RATE_59_94);
    const int32_t file = take.setIXML(ixml);
    const std::string texts = take.project() + take.scene() + take.slate() + take.take() + take.roll() + take.note() +
                              take.contactInfo() + take.sessionNote();
    return text("%i of %i: %@ %i, %i tracks at %i, %qu, rate %i, date %qi", file, take.nrFiles(), texts.substr(0, 60),
                take.count(), take.nrTracksForFile(0), take.originalSampleRate(), take.timestamp(), take.frameRate(),
                take.originationDate());
  }

  /// The sample document with one part changed.
  std::string changed(const std::string& part, const std::string& other) const {
    std::string ixml = document;
    return ixml.replace(ixml.find(part), part.size(), other);
  }

  std::string document = goldenDocument();
  const std::string whole =
      "1 of 3: Film12A73R1wind555-0100day 1 2, 3 tracks at 96000, 5000000123, rate 1, date 1237039766";
  const std::string nothing = "0 of 1: errorerrorerrorerrorerrorerrorerrorerror 0, 0 tracks at 0, 0, rate 7, date 77";
};

TEST_F(iXMLImportTest, eachElementHasItsEffect) {
  const std::tuple<std::string, std::string, std::string, std::string> cases[] = {
      // part, other, told before and then
      {"<NOTE>wind", "<NOTE>a<b>&#66;</b><!-- c --><![CDATA[<&]]>", "wind", "aB<&"},
      {"<COUNT>2", "<COUNT> +99999999999b", " 2, 3", " 2147483647, 3"},
      {"25/1", "60/1", "rate 1", "rate 7"},
      {"25/1</TIMECODE_RATE>\r\n\t\t<TIMECODE_FLAG>NDF", "</TIMECODE_RATE><TIMECODE_FLAG>", "rate 1", "rate 7"},
      {"<SYNC_POINT_LOW>705032827", "<SYNC_POINT_LOW>8589934593", "5000000123", "12884901889"},
      {"<TRACK_COUNT>3", "<TRACK_COUNT>4294967295", "", ""},
      {"<CHANNEL_INDEX>3", "<CHANNEL_INDEX>-4", "3 tracks", "2 tracks"},
      {"<CHANNEL_INDEX>3", "<CHANNEL_INDEX>4294967299", "", ""}, // the last channel
      {"<FILE_SET_INDEX>2", "<FILE_SET_INDEX>0", "1 of", "0 of"},
      {"<FILE_SET_INDEX>2", "<FILE_SET_INDEX>4294967298", "1 of", "511 of"},
      {"<TOTAL_FILES>3", "<TOTAL_FILES>4294967296", "of 3", "of 512"},
      {"<BWF_ORIGINATION_TIME>15:09:26", "<BWF_ORIGINATION_TIME>15.09", "1237039766", "77"},
      {"</BWFXML>", "</BWFXML>" + std::string("\0<&", 3), "", ""}};
  for (const auto& [part, other, before, then] : cases) {
    std::string expected = whole;
    expected.replace(whole.find(before), before.size(), then);
    EXPECT_EQ(import(changed(part, other)), expected) << other;
  }
  EXPECT_EQ(import("<a><b/>" + document + "</a>"), whole);
  setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
  EXPECT_TRUE(import(changed("DATE>2009-03", "DATE>2009-07")).ends_with("date 1247576966")) << "in summer time";
}

TEST_F(iXMLImportTest, whatIsNoDocumentTellsNothing) {
  const auto times = [](int count, const std::string& part) {
    std::string result;
    while (count-- > 0) result += part;
    return result;
  };
  std::string bomb = "<!DOCTYPE x [<!ENTITY e0 'lol'>";
  for (int i = 1; i < 20; ++i) bomb += text("<!ENTITY e%i '%@'>", i, times(10, text("&e%i;", i - 1)));
  const std::string long_entity = "<!DOCTYPE x [<!ENTITY e '" + std::string(1000000, 'e') + "'>]><BWFXML>";
  for (const std::string broken : {"&", "<", "&nbsp;", "\xFF", "\xC0\xAF", "\xED\xA0\x80", "\xE2\x82", "\x01", "]]>"})
    EXPECT_EQ(import(changed("wind", broken)), nothing) << broken;
  for (const std::string& ixml :
       {std::string(), document.substr(0, document.size() / 2), times(255, "<a>") + document + times(255, "</a>"),
        times(100000, "<a>"), changed("<BWFXML>", "<?xml version='1.0' encoding='none'?><BWFXML>"),
        bomb + "]>" + changed("wind", "&e19;"), std::string(5 << 20, ' ') + document})
    EXPECT_EQ(import(ixml), nothing);
  // Entities of the document's own, as long as they stay within bounds, and no one else's.
  for (const auto& [head, references, begin] :
       {std::tuple{long_entity, std::string("&e;"), "eee"},
        {long_entity, times(1000, "&e;"), "error"},
        {"<!DOCTYPE x [<!ENTITY e SYSTEM 'file:///proc/version'>]><BWFXML>", "&e;", "555"}}) {
    const std::string told = import(head + changed("wind", references).substr(8));
    EXPECT_TRUE(told.starts_with(whole.substr(0, whole.find("wind")) + begin)) << told;
  }
  // What would keep the parser for seconds on what fits into a header never reaches it, and it never prints.
  testing::internal::CaptureStderr();
  for (const auto& [ixml, expected_reason] :
       {std::pair{"<a><!--" + times(60000, "- "), "line 1: "},
        {"<a><!--" + times(40000, "-- "), "a comment is full of hyphens"},
        {"<a" + times(20000, " b = ''") + "/>", "a tag has too many attributes"},
        {"<!DOCTYPE a [<!ATTLIST a" + times(256, " b CDATA ''") + ">]>" + document, "it declares attributes"},
        {"<!DOCTYPE a [<!ENTITY a '" + times(9999, "<!-&#45;") + "'>]>" + document, "its entities may hide markup"},
        {"<!DOCTYPE a [<!ELEMENT a ANY><!ELEMENT a ANY><!ENTITY a ''><!ENTITY a ''>]>" + document, ""}}) {
    std::string reason;
    EXPECT_EQ(XmlDocument::parse(ixml, reason).has_value(), expected_reason[0] == '\0') << reason;
    EXPECT_TRUE(reason.starts_with(expected_reason)) << reason;
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace vurl
