// Failures: the exception class, code and message, the events before them, the failure rule
// and the locator.
#include "sax_test_util.h"

using namespace saxtest;

namespace {

const std::string cParseError = "EVnXMLParseError";
const std::string cEOF = "EVnTextParserEOF";
const std::string cEOFMessage = "Unexpected end of input";

TEST(SaxErrors, DocumentsWithoutElements) {
  ExpectFailure(u"", cParseError, 2, NotWellFormed("<", ""), {"SD"});
  ExpectFailure(u"   \n\t ", cParseError, 2, NotWellFormed("<", ""), {"SD"});
  ExpectFailure(u"<!--c-->  ", cParseError, 2, NotWellFormed("<", ""), {"SD", "Com(c)"});
  ExpectFailure(u"just text", cParseError, 2, NotWellFormed("<", ""), {"SD"});
}

TEST(SaxErrors, EndTagsTakeNoLineBreakBeforeTheirBracket) {
  ExpectFailure(u"<a></a\n>", cParseError, 2, NotWellFormed(">", "\n"), {"SD", "SE(,a,a)"});
  ExpectFailure(u"<a></a x>", cParseError, 2, NotWellFormed(">", "x"), {"SD", "SE(,a,a)"});
  ExpectFailure(u"<a></a/>", cParseError, 2, NotWellFormed(">", "/"), {"SD", "SE(,a,a)"});
}

TEST(SaxErrors, InvalidNameStartCharacters) {
  const std::string notValid = "The current character \"1\" is not a valid NameStartChar!";
  ExpectFailure(u"<1a/>", cParseError, 3, notValid, {"SD"});
  ExpectFailure(u"<:a/>", cParseError, 3,
                "The current character \":\" is only a valid NameStartChar when NameSpaces are "
                "not supported!",
                {"SD"});
  // The local part behind a prefix is checked as well.
  ExpectFailure(u"<a:1/>", cParseError, 3, notValid, {"SD"});
  ExpectFailure(u"<a>< b/></a>", cParseError, 3,
                "The current character \" \" is not a valid NameStartChar!", {"SD", "SE(,a,a)"});
  ExpectFailure(u"<a></>", cParseError, 3,
                "The current character \">\" is not a valid NameStartChar!", {"SD", "SE(,a,a)"});
  // A character beyond 16 bits is a surrogate pair and fails.
  ExpectFailure(u"<𝄞/>", cParseError, 3,
                "The current character \"𝄞\" is not a valid NameStartChar!", {"SD"});
}

TEST(SaxErrors, ElementNotClosed) {
  ExpectFailure(u"<a<b>", cParseError, 8,
                "The document is not wellformed!\r\nAn element was not closed correctly (Row: 1, "
                "Col: 1).",
                {"SD"});
  ExpectFailure(u"<x>\n  <a<b>", cParseError, 8,
                "The document is not wellformed!\r\nAn element was not closed correctly (Row: 2, "
                "Col: 3).",
                {"SD", "SE(,x,x)", "IW(\n  )"});
}

TEST(SaxErrors, RowsAndColumnsCountCharacters) {
  // Long lines with characters of one, two and three UTF-8 bytes: a column counts characters
  // in every source width (all of these are one UTF-16 unit).
  UnicodeString xml = u"<x>";
  for (int line = 0; line < 7; ++line) {
    xml += u"\n";
    for (int i = 0; i < 9; ++i) xml += u"ab é € \t";
  }
  xml += u"\n  €é <a<b>";
  ExpectFailure(xml, cParseError, 8,
                "The document is not wellformed!\r\nAn element was not closed correctly (Row: 9, "
                "Col: 6).",
                {"SD", "SE(,x,x)", "C(" + U8(xml.substr(3, xml.size() - 3 - 5)) + ")"});
}

TEST(SaxErrors, MissingAttributeValues) {
  const std::string msg = "The document is not wellformed!\r\nMissing attribute value.";
  ExpectFailure(u"<a b>", cParseError, 7, msg, {"SD"});
  ExpectFailure(u"<a b='1' c>", cParseError, 7, msg, {"SD"});
  ExpectFailure(u"<a p:b>", cParseError, 7, msg, {"SD"});
  ExpectFailure(u"<a b=>", cParseError, 7, msg, {"SD"});
  ExpectFailure(u"<a b=<c/>", cParseError, 7, msg, {"SD"});
  // A declaration in the failing tag has been reported already.
  ExpectFailure(u"<a xmlns:p='u' b>", cParseError, 7, msg, {"SD", "SPM(p,u)"});
}

TEST(SaxErrors, MoreThanTheRoot) {
  ExpectFailure(u"<a/>text", cParseError, 12,
                "The document is not wellformed!\r\nAn invalid token was detected at the root "
                "level of the document.",
                {"SD", "SE(,a,a)", "EE(,a,a)"});
  ExpectFailure(u"<a/><b/>", cParseError, 9,
                "The document is not wellformed!\r\nA XML document may not contain multiple root "
                "elements.",
                {"SD", "SE(,a,a)", "EE(,a,a)"});
  ExpectFailure(u"<a></a> <!--c--> </b>", cParseError, 9,
                "The document is not wellformed!\r\nA XML document may not contain multiple root "
                "elements.",
                {"SD", "SE(,a,a)", "EE(,a,a)", "Com(c)"});
}

TEST(SaxErrors, WrongKindOfMarkup) {
  // A CDATA section in the prolog is taken for a DOCTYPE ...
  ExpectFailure(u"<![CDATA[x]]><a/>", cParseError, 5,
                "\"DOCTYPE\" expected, but \"[CDATA[x]]><a/>\" found", {"SD"});
  ExpectFailure(u"<!doctype a><a/>", cParseError, 5, "\"DOCTYPE\" expected, but \"doctype\" found",
                {"SD"});
  // ... and a DOCTYPE in the body for a CDATA section.
  ExpectFailure(u"<a><!DOCTYPE a></a>", cParseError, 6, "![CDATA[ expected, but \"!DOCTYPE\" found",
                {"SD", "SE(,a,a)"});
  ExpectFailure(u"<a><![CDA", cParseError, 6, "![CDATA[ expected, but \"![CDA\" found",
                {"SD", "SE(,a,a)"});
}

TEST(SaxErrors, TextTakenForMarkup) {
  // The body loop looks at the character behind the current one first.
  ExpectFailure(u"<a><!--c-->x!y</a>", cParseError, 6, "![CDATA[ expected, but \"!y</a>\" found",
                {"SD", "SE(,a,a)", "Com(c)"});
  ExpectFailure(u"<a><!--c-->x?y</a>", cParseError, 2, NotWellFormed("<", "x"),
                {"SD", "SE(,a,a)", "Com(c)"});
}

TEST(SaxErrors, TextRunningToTheEnd) {
  ExpectFailure(u"<a>text", cEOF, 0, cEOFMessage, {"SD", "SE(,a,a)"});
  // A root that is still open with only white space behind it fails the same way.
  ExpectFailure(u"<a><b/>  ", cEOF, 0, cEOFMessage, {"SD", "SE(,a,a)", "SE(,b,b)", "EE(,b,b)"});
}

TEST(SaxErrors, CutOffConstructs) {
  ExpectFailure(u"<a><!-- c", cEOF, 0, cEOFMessage, {"SD", "SE(,a,a)"});
  ExpectFailure(u"<a><![CDATA[x", cEOF, 0, cEOFMessage, {"SD", "SE(,a,a)", "SCD"});
  ExpectFailure(u"<a><?p x", cEOF, 0, cEOFMessage, {"SD", "SE(,a,a)", "PI(p,x)"});
  ExpectFailure(u"<!DOCTYPE a [", cEOF, 0, cEOFMessage, {"SD", "SDTD", "EDTD"});
  ExpectFailure(u"<a x='1", cEOF, 0, cEOFMessage, {"SD"});
  ExpectFailure(u"<a", cEOF, 0, cEOFMessage, {"SD"});
  // An empty tag cut off before its ">" has been reported.
  ExpectFailure(u"<a/", cEOF, 0, cEOFMessage, {"SD", "SE(,a,a)", "EE(,a,a)"});
}

TEST(SaxErrors, LexicalEventsNeedALexicalHandler) {
  TRunOptions noLexical;
  noLexical.Lexical = false;
  ExpectFailure(u"<!DOCTYPE a><a/>", cParseError, 0, "No lexicalhandler has been assigned!", {"SD"},
                noLexical);
  ExpectFailure(u"<a><![CDATA[x]]></a>", cParseError, 0, "No lexicalhandler has been assigned!",
                {"SD", "SE(,a,a)"}, noLexical);
}

TEST(SaxErrors, HandlerFailuresTakeTheFailureRule) {
  const std::string doc = "<a><b x='1'>t</b><!--c--><?p?></a>";
  const std::vector<std::string> all = {"SD",     "SE(,a,a)", "SE(,b,b)[x,x,=1]",
                                        "C(t)",   "EE(,b,b)", "Com(c)",
                                        "PI(p,)", "EE(,a,a)", "ED"};
  for (std::size_t i = 0; i < all.size(); ++i) {
    TRunOptions o;
    o.ThrowAt = static_cast<int>(i);
    std::vector<std::string> before(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(i) + 1);
    ExpectFailure(UTF8ToString(doc), "EAbort", -1, "handler failure", before, o);
  }
}

TEST(SaxErrors, HandlersAreRequired) {
  TVnSAXXMLReader *reader = New<TVnSAXXMLReader>();
  TRecorder *rec = New<TRecorder>();
  DelphiInterface<IVnSAXContentHandler> keep(rec);
  TOutcome out;
  Capture(out, [&] { reader->Parse(u"<a/>"); });
  EXPECT_EQ(out.Code, 10);
  EXPECT_EQ(out.Message, "No contenthandler has been assigned!");
  reader->SetErrorHandler(rec);
  Capture(out, [&] { reader->Parse(u"<a/>"); });
  EXPECT_EQ(out.Code, 10);
  reader->SetErrorHandler(nullptr);
  reader->SetContentHandler(rec);
  Capture(out, [&] { reader->Parse(u"<a/>"); });
  EXPECT_EQ(out.Error, cParseError);
  EXPECT_EQ(out.Code, 11);
  EXPECT_EQ(out.Message, "No errorhandler has been assigned!");
  // The error handler sees neither failure, and nothing was parsed.
  EXPECT_TRUE(rec->Events.empty());
  reader->Free();
}

// A reader with a recorder as all three handlers, freed with the test.
struct TReaderFixture : ::testing::Test {
  void SetUp() override {
    Reader = New<TVnSAXXMLReader>();
    Rec = New<TRecorder>();
    Keep = Rec;
    Rec->AttachTo(Reader);
  }
  void TearDown() override { Reader->Free(); }
  TOutcome Parse(const UnicodeString &AXml, const VnXMLString &APublicID = {}) {
    TOutcome out;
    Rec->Events.clear();
    Capture(out, [&] { Reader->Parse(AXml, APublicID); });
    out.Events = Rec->Events;
    return out;
  }
  TVnSAXXMLReader *Reader = nullptr;
  TRecorder *Rec = nullptr;
  DelphiInterface<IVnSAXContentHandler> Keep;
};

using SaxLocator = TReaderFixture;

TEST_F(SaxLocator, NeverParsedGivesMinusOne) {
  EXPECT_EQ(Reader->GetLineNr(), -1);
  EXPECT_EQ(Reader->GetColNr(), -1);
  EXPECT_EQ(Reader->GetPosition(), -1);
  EXPECT_EQ(Reader->GetPublicID(), u"");
}

TEST_F(SaxLocator, FatalErrorGetsTheReaderAtTheFailure) {
  Integer line = 0, col = 0, pos = 0;
  VnXMLString pub;
  Rec->OnFatal = [&](IVnSAXLocator *L) {
    line = L->GetLineNr();
    col = L->GetColNr();
    pos = L->GetPosition();
    pub = L->GetPublicID();
  };
  TOutcome out = Parse(u"<a>\n <b></b\n>", u"doc-7");
  EXPECT_EQ(out.Code, 2);
  // The position that the scanner had reached: the line break behind "</b".
  EXPECT_EQ(line, 2);
  EXPECT_EQ(col, 8);
  EXPECT_EQ(pos, 11);
  EXPECT_EQ(pub, u"doc-7");
  // Outside the parse the scanner is gone.
  EXPECT_EQ(Reader->GetLineNr(), -1);
  EXPECT_EQ(Reader->GetPublicID(), u"doc-7");
}

TEST_F(SaxLocator, UnexpectedEndGivesTheStartOfTheConstruct) {
  Integer line = 0, col = 0;
  Rec->OnFatal = [&](IVnSAXLocator *L) {
    line = L->GetLineNr();
    col = L->GetColNr();
  };
  TOutcome out = Parse(u"<a>\n  <!-- never\nclosed");
  EXPECT_EQ(out.Error, cEOF);
  EXPECT_EQ(line, 2);
  EXPECT_EQ(col, 4);
  // The stored start stays after the parse, until a later failure replaces it.
  EXPECT_EQ(Reader->GetLineNr(), 2);
  EXPECT_EQ(Reader->GetColNr(), 4);

  // A text run starts right behind the tag before it.
  out = Parse(u"<a>\n\n\ttext");
  EXPECT_EQ(out.Error, cEOF);
  EXPECT_EQ(line, 1);
  EXPECT_EQ(col, 4);

  // A successful parse does not reset it: during the parse the locator answers with the start
  // of the construct being read, not with the scanner's position. At StartElement of "b" the
  // scanner stands on line 4, while its attributes began on line 2.
  std::vector<Integer> lines;
  Rec->OnAttributes = [&](IVnSAXAttributes *) { lines.push_back(Reader->GetLineNr()); };
  out = Parse(u"<a>\n<b\n x='1'\n/>\n\n<c/></a>");
  EXPECT_EQ(out.Error, "");
  EXPECT_EQ(lines, (std::vector<Integer>{1, 2, 6}));
  // And after it, with the start of its last construct, the end tag.
  EXPECT_EQ(Reader->GetLineNr(), 6);
  EXPECT_EQ(Reader->GetColNr(), 5);

  // Another kind of failure does.
  out = Parse(u"<a/><b/>");
  EXPECT_EQ(out.Code, 9);
  EXPECT_EQ(Reader->GetLineNr(), -1);
}

TEST_F(SaxLocator, DuringAParseTheScannerAnswers) {
  std::vector<Integer> lines;
  Rec->OnAttributes = [&](IVnSAXAttributes *) { lines.push_back(Reader->GetLineNr()); };
  TOutcome out = Parse(u"<a>\n<b\n x='1'\n/>\n\n<c/></a>");
  EXPECT_EQ(out.Error, "");
  EXPECT_EQ(lines, (std::vector<Integer>{1, 4, 6}));
}

TEST(SaxErrors, EveryCutOffDocumentFailsCleanly) {
  // Every prefix of a document with every construct, from every source: each parse ends in
  // EndDocument or in a library exception told to FatalError first, never in a crash or hang.
  const UnicodeString doc =
      u"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE r [<!ELEMENT r ANY>]>\n"
      u"<!-- prolog -->\n<p:r xmlns:p=\"urn:p\" xmlns='urn:d' a=\"1\" p:b='2'>\n"
      u"  <e>text &amp; more é</e><![CDATA[<raw>]]><?pi data?>\n"
      u"  <p:f/><g\n h='x'>€</g><!-- c --></p:r>\n<!-- tail -->";
  for (std::size_t n = 0; n <= doc.size(); ++n) {
    const UnicodeString part = doc.substr(0, n);
    for (TSource src : AllSources(part)) {
      for (bool single : {true, false}) {
        TRunOptions o;
        o.SingleRoot = single;
        TOutcome out = RunOne(part, src, o);
        if (out.Events.empty()) {
          // A declaration cut off right behind its quotation mark names the encoding '"',
          // which the code-page lookup refuses before the parse begins.
          EXPECT_EQ(out.Error, "EEncodingError") << n << " " << SourceName(src);
          EXPECT_EQ(src, TSource::Sniffed) << n;
        } else if (out.Error.empty()) {
          EXPECT_EQ(out.Events.back(), "ED") << n << " " << SourceName(src);
        } else {
          EXPECT_EQ(out.Events.back(), "FE(" + out.Message + ")") << n << " " << SourceName(src);
          EXPECT_TRUE(out.Error == cParseError || out.Error == cEOF) << out.Error;
        }
      }
    }
  }
}

}  // namespace
