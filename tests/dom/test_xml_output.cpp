// XML output: exact bytes, plain and formatted.
#include "xml_util.h"

namespace domxml {
namespace {

// The bytes of UTF-16 text as written in page 1200.
std::string Utf16Bytes(std::u16string_view AText) {
  return std::string(reinterpret_cast<const char *>(AText.data()), AText.size() * 2);
}

TEST(XmlOutput, PlainOutputIsConcatenation) {
  EXPECT_EQ(Load(u"<a/>")->GetXML(), u"<a />");
  EXPECT_EQ(Load(u"<a  x = 'v' ><b>t</b ></a>")->GetXML(), u"<a x=\"v\"><b>t</b></a>");
  // An element with only a processing instruction is written empty and loses it.
  EXPECT_EQ(Load(u"<a><?p d?></a>")->GetXML(), u"<a />");
  // Comments and instructions under the document stay around the root in their order.
  EXPECT_EQ(Load(u"<!--c1--><?p?><a/><!--c2-->")->GetXML(), u"<!--c1--><?p?><a /><!--c2-->");
  // An empty document writes nothing.
  EXPECT_EQ(Empty()->GetXML(), u"");
  // Character data of the bare base class counts as content but writes nothing.
  Doc d = Load(u"<a/>");
  auto *bare = New<TVnDOMCharacterData>();
  bare->SetNodeValue(u"x");
  d->GetRootNode()->AppendChild(bare);
  EXPECT_EQ(d->GetXML(), u"<a></a>");
}

TEST(XmlOutput, FormattedBreaksAndIndents) {
  EXPECT_EQ(Load(u"<a><b>x</b></a>")->GetFormattedXML(), u"<a>\r\n  <b>x</b>\r\n</a>");
  // Mixed content: the text stays in place, child elements go on new lines.
  EXPECT_EQ(Load(u"<a>t<b/></a>")->GetFormattedXML(), u"<a>t\r\n  <b />\r\n</a>");
  EXPECT_EQ(Load(u"<a><b><c/></b><d>x<!--k--></d></a>")->GetFormattedXML(),
            u"<a>\r\n  <b>\r\n    <c />\r\n  </b>\r\n  <d>x\r\n    <!--k--></d>\r\n</a>");
  // A comment at the top comes after a break; the root after the comment does too.
  EXPECT_EQ(Load(u"<!--c--><a/>")->GetFormattedXML(), u"\r\n<!--c-->\r\n<a />");
  // The first instruction in an empty stream gets no break.
  EXPECT_EQ(Load(u"<?xml version=\"1.0\"?><a/>")->GetFormattedXML(),
            u"<?xml version=\"1.0\"?>\r\n<a />");
}

TEST(XmlOutput, PreserveSpaceStopsBreaks) {
  Doc d = Load(u"<a><b xml:space=\"preserve\"> <c> x </c> </b><d/></a>");
  EXPECT_EQ(d->GetXML(), u"<a><b xml:space=\"preserve\"> <c> x </c> </b><d /></a>");
  // The preserving element itself starts without break or indent, and so does all within it.
  EXPECT_EQ(d->GetFormattedXML(),
            u"<a><b xml:space=\"preserve\"> <c> x </c> </b>\r\n  <d />\r\n</a>");
  // Outside preserve-space, white-space-only text is dropped at load.
  EXPECT_EQ(Load(u"<a>\n  <b> </b>\n</a>")->GetXML(), u"<a><b /></a>");
}

TEST(XmlOutput, ByteOrderMarksAndStreamPositions) {
  Doc d = Load(u"<a><b/></a>");
  {
    TMemoryStream s;
    d->SaveToStream(&s, CP_UTF16, true, true);
    std::u16string expected = u"<a>\r\n  <b />\r\n</a>";
    std::string bytes("\xFF\xFE", 2);
    bytes.append(reinterpret_cast<const char *>(expected.data()), expected.size() * 2);
    // After a UTF-16 mark alone the root starts at once.
    EXPECT_EQ(Bytes(s), bytes);
  }
  {
    TMemoryStream s;
    d->SaveToStream(&s, CP_UTF8, true, true);
    // After a UTF-8 mark the root starts on line two.
    EXPECT_EQ(Bytes(s), "\xEF\xBB\xBF\r\n<a>\r\n  <b />\r\n</a>");
  }
  {
    TMemoryStream s;
    d->SaveToStream(&s, CP_UTF8, false, true);
    EXPECT_EQ(Bytes(s), "\xEF\xBB\xBF<a><b /></a>");
  }
  {
    // A stream that already holds text gets a break first, wherever it stands.
    TMemoryStream s;
    s.Write("xyz", 3);
    d->GetRootNode()->FirstElement()->SaveToStream(&s, CP_UTF8, true);
    EXPECT_EQ(Bytes(s), "xyz\r\n<b />");
  }
  {
    // Two bytes that are not a mark do get the break.
    TMemoryStream s;
    s.Write("ab", 2);
    d->GetRootNode()->FirstElement()->SaveToStream(&s, CP_UTF8, true);
    EXPECT_EQ(Bytes(s), "ab\r\n<b />");
  }
}

// An instruction decides on its line break by the size of the stream, not by the place it
// writes at: a byte order mark alone is too small for a break, whatever the mark.
TEST(XmlOutput, InstructionBreakFollowsTheStreamSize) {
  Doc d = Load(u"<?p d?><a/>");
  {
    TMemoryStream s;
    d->SaveToStream(&s, CP_UTF16, true, true);
    EXPECT_EQ(Bytes(s), std::string("\xFF\xFE", 2) + Utf16Bytes(u"<?p d?>\r\n<a />"));
  }
  {
    // The element after a UTF-8 mark gets a break; the instruction there does not.
    TMemoryStream s;
    d->SaveToStream(&s, CP_UTF8, true, true);
    EXPECT_EQ(Bytes(s), "\xEF\xBB\xBF<?p d?>\r\n<a />");
  }
  auto *pi = d->FindProcessingInstruction(u"p");
  ASSERT_NE(pi, nullptr);
  {
    // Ten bytes with the position at the start: the instruction breaks and overwrites them...
    TMemoryStream s;
    s.Write("0123456789", 10);
    s.SetPosition(0);
    pi->SaveToStream(&s, CP_UTF8, true);
    EXPECT_EQ(Bytes(s), "\r\n<?p d?>9");
  }
  {
    // ...where an element, which looks at the position, starts at once.
    TMemoryStream s;
    s.Write("0123456789", 10);
    s.SetPosition(0);
    d->GetRootNode()->SaveToStream(&s, CP_UTF8, true);
    EXPECT_EQ(Bytes(s), "<a />56789");
  }
  {
    // Four bytes are not enough, five are.
    TMemoryStream four;
    four.Write("abcd", 4);
    pi->SaveToStream(&four, CP_UTF8, true);
    EXPECT_EQ(Bytes(four), "abcd<?p d?>");
    TMemoryStream five;
    five.Write("abcde", 5);
    pi->SaveToStream(&five, CP_UTF8, true);
    EXPECT_EQ(Bytes(five), "abcde\r\n<?p d?>");
  }
  {
    // Unformatted, no break at any size.
    TMemoryStream s;
    s.Write("abcde", 5);
    pi->SaveToStream(&s, CP_UTF8, false);
    EXPECT_EQ(Bytes(s), "abcde<?p d?>");
  }
  // Under the document an instruction after the root breaks without indent.
  EXPECT_EQ(Load(u"<a/><?p?>")->GetFormattedXML(), u"<a />\r\n<?p?>");
}

TEST(XmlOutput, InstructionsAndCommentsInsideElements) {
  // Inside an element an instruction breaks and takes the indent of its level.
  EXPECT_EQ(Load(u"<a><b><c/><?p d?></b></a>")->GetFormattedXML(),
            u"<a>\r\n  <b>\r\n    <c />\r\n    <?p d?>\r\n  </b>\r\n</a>");
  // In a preserving element it still breaks, but gets no indent.
  EXPECT_EQ(Load(u"<a><b xml:space=\"preserve\"><c/><?p d?></b></a>")->GetFormattedXML(),
            u"<a><b xml:space=\"preserve\"><c />\r\n<?p d?></b>\r\n</a>");
  // A comment in a preserving element gets neither break nor indent.
  EXPECT_EQ(Load(u"<a><b xml:space=\"preserve\"><c/><!--k--></b></a>")->GetFormattedXML(),
            u"<a><b xml:space=\"preserve\"><c /><!--k--></b>\r\n</a>");
  EXPECT_EQ(Load(u"<a xml:space=\"preserve\"><!--k--><b/></a>")->GetFormattedXML(),
            u"<a xml:space=\"preserve\"><!--k--><b /></a>");
}

TEST(XmlOutput, ValuesAreWrittenAsStored) {
  // An attribute value is written between double quotes as it stands, even when it holds one.
  Doc d = Load(u"<a x='say \"hi\"' y=\"it's\">t</a>");
  TVnDOMElement *a = d->GetRootNode();
  EXPECT_EQ(a->FirstAttribute()->GetNodeValue(), u"say \"hi\"");
  EXPECT_EQ(d->GetXML(), u"<a x=\"say \"hi\"\" y=\"it's\">t</a>");
  // Nothing is escaped on the way out, neither in attributes nor in text.
  a->LastAttribute()->SetStoredValue(u"a&b<");
  static_cast<TVnDOMText *>(a->GetCharNodes()->GetItem(0))->SetStoredValue(u"<&>");
  EXPECT_EQ(d->GetXML(), u"<a x=\"say \"hi\"\" y=\"a&b<\"><&></a>");
  // A CDATA section holding its own end marker is written in one piece.
  Doc c = Load(u"<a/>");
  c->GetRootNode()->AddCDATA(u"x]]>y");
  EXPECT_EQ(c->GetXML(), u"<a><![CDATA[x]]>y]]></a>");
  EXPECT_EQ(c->GetFormattedXML(), u"<a><![CDATA[x]]>y]]></a>");
}

// Each element has its own preserve-space flag; output looks at that flag alone.
TEST(XmlOutput, PreserveSpaceFlagsOfEachElement) {
  Doc d = Load(u"<a><b><c/></b></a>");
  TVnDOMElement *a = d->GetRootNode();
  a->SetPreseveSpace(true);
  // Existing children keep their flag and still break and indent; the element itself closes
  // on the same line.
  EXPECT_FALSE(a->FirstElement()->GetPreserveSpace());
  EXPECT_EQ(d->GetFormattedXML(),
            u"<a xml:space=\"preserve\">\r\n  <b>\r\n    <c />\r\n  </b></a>");
  // A child added afterwards takes the flag over.
  a->AddElement(u"d");
  EXPECT_EQ(d->GetFormattedXML(),
            u"<a xml:space=\"preserve\">\r\n  <b>\r\n    <c />\r\n  </b><d /></a>");
  // Switching back leaves the children alone again: d still preserves.
  a->SetPreseveSpace(false);
  EXPECT_EQ(d->GetFormattedXML(),
            u"<a xml:space=\"default\">\r\n  <b>\r\n    <c />\r\n  </b><d />\r\n</a>");

  // xml:space="default" within a preserving element breaks again, at its own deeper level.
  EXPECT_EQ(Load(u"<a><b xml:space=\"preserve\"><c xml:space=\"default\"><d/></c><e/></b></a>")
                ->GetFormattedXML(),
            u"<a><b xml:space=\"preserve\">\r\n    <c xml:space=\"default\">\r\n      <d />"
            u"\r\n    </c><e /></b>\r\n</a>");
}

TEST(XmlOutput, CodePagesOfTheTextWriter) {
  Doc d = Load(u"<a t=\"\u00e9\">\u20ac\U0001F600</a>");
  EXPECT_EQ(Saved(d.get(), CP_UTF8, false), "<a t=\"\xC3\xA9\">\xE2\x82\xAC\xF0\x9F\x98\x80</a>");
  std::u16string wide = u"<a t=\"\u00e9\">\u20ac\U0001F600</a>";
  EXPECT_EQ(Saved(d.get(), CP_UTF16, false),
            std::string(reinterpret_cast<const char *>(wide.data()), wide.size() * 2));
  // A lone surrogate goes through the run-time's conversion, like any other text of a page.
  Doc lone = Load(u"<a>x</a>");
  auto *t = static_cast<TVnDOMText *>(lone->GetRootNode()->GetCharNodes()->GetItem(0));
  const UnicodeString odd = UnicodeString(u"\u00e9") + char16_t(0xD800) + u"z";
  t->SetStoredValue(odd);
  EXPECT_EQ(Saved(lone.get(), CP_UTF8, false),
            "<a>" + TVnEncoding::ConvertW(odd, CP_UTF8) + "</a>");
  // Many pieces across the writer's blocks, and one text too long for a block, give the same
  // bytes as the run-time's conversion of the UTF-16 output.
  Doc big = Empty();
  TVnDOMElement *root = big->CreateRootNode(u"r");
  for (int i = 0; i < 3000; ++i)
    root->AddElement(u"e")->AddText(u"caf\u00e9 \u20ac " + IntToStr(i) + u" \U0001F600");
  root->AddElement(u"long")->AddText(UnicodeString(70000, u'\u00e9') + u"end");
  EXPECT_EQ(Saved(big.get(), CP_UTF8, false), TVnEncoding::ConvertW(big->GetXML(), CP_UTF8));
  // A single-byte page: the euro sign is 0x80 in windows-1252.
  Doc e = Load(u"<a t=\"\u00e9\">\u20ac</a>");
  EXPECT_EQ(Saved(e.get(), 1252, false), "<a t=\"\xE9\">\x80</a>");
}

TEST(XmlOutput, SaveUsesTheEncodingOfTheDocument) {
  Doc d = Load(u"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a>\u00e9</a>");
  // Loading keeps the declaration as an instruction but does not read the encoding from it:
  // code page and declaration are independent.
  EXPECT_EQ(d->GetEncoding(), u"UTF-8");
  {
    TMemoryStream s;
    d->SaveToStream(&s, false, true);
    EXPECT_EQ(Bytes(s),
              "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a>\xC3\xA9</a>");
  }
  d->SetEncoding(u"ISO-8859-1");
  EXPECT_EQ(d->GetCodePage(), 28591);
  TMemoryStream s;
  d->SaveToStream(&s, false, true);
  EXPECT_EQ(Bytes(s), "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a>\xE9</a>");
}

TEST(XmlOutput, InnerXMLHasOnlyChildElements) {
  Doc d = Load(u"<r>t<a>1</a><!--c--><b><c/></b></r>");
  TVnDOMElement *r = d->GetRootNode();
  EXPECT_EQ(r->GetInnerXML(), u"<a>1</a><b><c /></b>");
  EXPECT_EQ(r->GetFormattedInnerXML(), u"<a>1</a>\r\n<b>\r\n  <c />\r\n</b>");
  r->SetInnerXML(u"<x/><y>2</y>");
  EXPECT_EQ(r->GetXML(), u"<r>t<!--c--><x /><y>2</y></r>");
  EXPECT_EQ(r->ElementCount(), 2);
  r->SetInnerXML(u"");
  EXPECT_EQ(r->GetXML(), u"<r>t<!--c--></r>");
}

TEST(XmlOutput, FormatXML) {
  EXPECT_EQ(VnFormatXML(UnicodeString(u"<a><b/></a>")), UnicodeString(u"<a>\r\n  <b />\r\n</a>"));
  EXPECT_EQ(VnFormatXML(AnsiString(std::string("<a><b>\xC3\xA9</b></a>"), CP_UTF8)),
            u"<a>\r\n  <b>\u00e9</b>\r\n</a>");
  EXPECT_THROW(VnFormatXML(UnicodeString(u"<a><b x=></b></a>")), EVnDomSyntax);
}

}  // namespace
}  // namespace domxml
