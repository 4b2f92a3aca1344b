#include <gtest/gtest.h>
#include <libxml/HTMLparser.h>

#include <map>

#include "vnxml/xml/uVnXMLUtils.h"

using namespace vn;

TEST(XMLEscapeTest, MarkupCharactersAndControlCodes) {
  EXPECT_EQ(VnStrToXML(u"a<b>&c"), u"a&lt;b&gt;&amp;c");
  EXPECT_EQ(VnStrToXML(u"a'b", false, true), u"a'b");
  EXPECT_EQ(VnStrToXML(u"a'b", true, true), u"a&apos;b");
  EXPECT_EQ(VnStrToXML(u"say \"x\"", true, false), u"say \"x\"");
  EXPECT_EQ(VnStrToXML(u"say \"x\"", false, true), u"say &quot;x&quot;");
  EXPECT_EQ(VnStrToXML(u"l1\nl2\r\tz"), u"l1&#10;l2&#13;&#9;z");
  EXPECT_EQ(VnStrToXML(u"\x01\x1f"), u"&#1;&#31;");
  EXPECT_EQ(VnStrToXML(UnicodeString(u"a\0b", 3)), UnicodeString(u"a\0b", 3)) << "code 0 stays";
  EXPECT_EQ(VnStrToXML(u"\u00e9\u20ac\U0001F600"), u"\u00e9\u20ac\U0001F600");
  EXPECT_EQ(VnStrToXML(u""), u"");
}

TEST(XMLEscapeTest, LongRunsAroundSpecialCharacters) {
  // Specials at every offset of the eight-wide scan, in long runs.
  for (std::size_t at = 0; at < 20; ++at) {
    UnicodeString text(40, u'x');
    text[at] = u'<';
    text[at + 17] = u'\n';
    UnicodeString expected =
        text.substr(0, at) + u"&lt;" + text.substr(at + 1, 16) + u"&#10;" + text.substr(at + 18);
    EXPECT_EQ(VnStrToXML(text), expected) << at;
  }
}

TEST(XMLEscapeTest, StreamAndByteForms) {
  TVnStringStream *s = New<TVnStringStream>(CP_UTF8, 16);
  const UnicodeString text = u"<\u00e9>";
  VnStrToXML(text.data(), static_cast<Integer>(text.size()), s, true, true);
  VnStrToXML(text.data(), 0, s, true, true);
  EXPECT_EQ(s->GetDataString(), "&lt;\xC3\xA9&gt;");
  s->Free();
  AnsiString bytes("a<\xE9'\n", 28591);
  AnsiString escaped = VnStrToXML(bytes, true, false);
  EXPECT_EQ(static_cast<std::string>(escaped), "a&lt;\xE9&apos;&#10;");
  EXPECT_EQ(escaped.CodePage(), 28591);
}

TEST(XMLDecodeTest, ReferencesAndWhatStaysAsWritten) {
  EXPECT_EQ(VnXMLToStr(u"a&amp;b&lt;"), u"a&b<");
  EXPECT_EQ(VnXMLToStr(u"a & b;"), u"a & b;");
  EXPECT_EQ(VnXMLToStr(u"&nosuch;"), u"&nosuch;");
  EXPECT_EQ(VnXMLToStr(u"&eacute;&#233;&#xE9;&#XE9;"), u"\u00e9\u00e9\u00e9\u00e9");
  EXPECT_EQ(VnXMLToStr(u"&#x1F600;"), u"\uF600") << "one 16-bit character, cut";
  EXPECT_EQ(VnXMLToStr(u"&verylongname;"), u"&verylongname;") << "longer than eight";
  EXPECT_EQ(VnXMLToStr(u"&Alpha;&alpha;"), u"\u0391\u03b1") << "case counts";
  EXPECT_EQ(VnXMLToStr(u"&mysateht;"), u"\u03d1") << "folds like thetasym";
  EXPECT_EQ(VnXMLToStr(u"&amp"), u"&amp") << "no semicolon before the end";
  EXPECT_EQ(VnXMLToStr(u"&a&amp;"), u"&a&amp;") << "a second & does not stop the scan";
  EXPECT_EQ(VnXMLToStr(u"x&apos;y&quot;"), u"x'y\"");
  EXPECT_THROW(VnXMLToStr(u"&#;"), EConvertError);
  EXPECT_THROW(VnXMLToStr(u"&#xZZ;"), EConvertError);
}

TEST(XMLDecodeTest, EveryHtmlEntityDecodesToItsCharacter) {
  // The names and characters come from libxml2's own table of HTML entities.
  std::map<std::string, int> entities;
  for (unsigned c = 1; c < 10000; ++c)
    if (const htmlEntityDesc *d = htmlEntityValueLookup(c))
      entities[reinterpret_cast<const char *>(d->name)] = static_cast<int>(d->value);
  entities["apos"] = 39;
  ASSERT_EQ(entities.size(), 253u);
  for (const auto &[name, code] : entities) {
    const UnicodeString text = u"&" + ASCIIToString(name) + u";";
    EXPECT_EQ(VnXMLToStr(text), UnicodeString(1, static_cast<char16_t>(code))) << name;
  }
}

TEST(XMLDecodeTest, OneByteFormDecidesOnTheFirstLetters) {
  auto dec = [](const char *s) { return static_cast<std::string>(VnXMLToStr(AnsiString(s))); };
  EXPECT_EQ(dec("&amp;&apos;&gt;&lt;&quot;"), "&'><\"");
  EXPECT_EQ(dec("&lambda;&alpha;"), "<'");
  EXPECT_EQ(dec("&AMP;&Gt;"), "&>");
  EXPECT_EQ(dec("&#233;"), "\xC3\xA9") << "appended through the default page";
  EXPECT_EQ(dec("&zeta;&x y;"), "&zeta;&x y;");
  EXPECT_THROW(dec("&#;"), EConvertError);
}
