// The five entry points, code pages and encoding detection, byte-order marks, and reuse of a
// reader.
#include <unistd.h>

#include <cstdio>

#include "sax_test_util.h"
#include "vnxml/rtl/Owned.h"

using namespace saxtest;

namespace {

// Bytes of the text in a page: 0 and 65001 give UTF-8, 1200 UTF-16LE.
std::string Encode(const UnicodeString &AText, Word APage) {
  if (APage == CP_UTF16)
    return std::string(reinterpret_cast<const char *>(AText.data()), AText.size() * 2);
  if (APage == 0 || APage == CP_UTF8) return UTF8Encode(AText);
  return UnicodeToCodePage(AText, APage);
}

std::string TempFile(const std::string &ABytes) {
  char name[] = "/tmp/vnxml_sax_XXXXXX";
  int fd = mkstemp(name);
  EXPECT_GE(fd, 0);
  EXPECT_EQ(write(fd, ABytes.data(), ABytes.size()), static_cast<ssize_t>(ABytes.size()));
  close(fd);
  return name;
}

struct SaxEntryPoints : ::testing::Test {
  void SetUp() override {
    Reader = New<TVnSAXXMLReader>();
    Rec = New<TRecorder>();
    Keep = Rec;
    Rec->AttachTo(Reader);
  }
  void TearDown() override {
    Reader->Free();
    for (const auto &f : Files) std::remove(f.c_str());
  }
  TOutcome Run(const std::function<void()> &AParse) {
    TOutcome out;
    Rec->Events.clear();
    Capture(out, AParse);
    out.Events = Rec->Events;
    return out;
  }
  std::string File(const std::string &ABytes) {
    Files.push_back(TempFile(ABytes));
    return Files.back();
  }

  TVnSAXXMLReader *Reader = nullptr;
  TRecorder *Rec = nullptr;
  DelphiInterface<IVnSAXContentHandler> Keep;
  std::vector<std::string> Files;
};

const UnicodeString cDoc = u"<?xml version=\"1.0\"?><r a=\"é€\"><t>café € ü</t></r>";
const std::vector<std::string> cDocEvents = {"SD",
                                             "PI(xml,version=\"1.0\")",
                                             "SE(,r,r)[a,a,=é€]",
                                             "SE(,t,t)",
                                             "C(café € ü)",
                                             "EE(,t,t)",
                                             "EE(,r,r)",
                                             "ED"};

TEST_F(SaxEntryPoints, EveryEntryPointWithEveryPage) {
  for (Word page : {Word(0), CP_UTF16, CP_UTF8, CP_WIN1252}) {
    const std::string bytes = Encode(cDoc, page);
    TOutcome out = Run([&] {
      TMemoryStream *s = New<TMemoryStream>();
      s->WriteBuffer(bytes.data(), static_cast<Int64>(bytes.size()));
      s->SetPosition(0);
      try {
        Reader->ParseStream(s, page);
      } catch (...) {
        s->Free();
        throw;
      }
      s->Free();
    });
    EXPECT_EQ(out.Events, cDocEvents) << "ParseStream, page " << page << "\n" << out.Message;
    out =
        Run([&] { Reader->ParseBuffer(bytes.data(), static_cast<Cardinal>(bytes.size()), page); });
    EXPECT_EQ(out.Events, cDocEvents) << "ParseBuffer, page " << page << "\n" << out.Message;
    out = Run([&] { Reader->Parse(AnsiString(bytes, page), page); });
    EXPECT_EQ(out.Events, cDocEvents) << "Parse(AnsiString), page " << page << "\n" << out.Message;
  }
  TOutcome out = Run([&] { Reader->Parse(cDoc); });
  EXPECT_EQ(out.Events, cDocEvents) << "Parse(UnicodeString)";
}

TEST_F(SaxEntryPoints, ParseFileWithAndWithoutAMark) {
  const std::string utf8 = Encode(cDoc, CP_UTF8);
  const std::string utf16 = Encode(cDoc, CP_UTF16);
  const std::string marks[] = {"\xEF\xBB\xBF" + utf8, "\xFF\xFE" + utf16, utf8};
  for (const std::string &bytes : marks) {
    const std::string name = File(bytes);
    TOutcome out = Run([&] { Reader->ParseFile(UTF8ToString(name), fmOpenRead, u"file"); });
    EXPECT_EQ(out.Events, cDocEvents) << out.Message;
    EXPECT_EQ(Reader->GetPublicID(), u"file");
  }
  // Without a mark, one-byte text: UTF-16 is not recognised and fails.
  const std::string name = File(utf16);
  TOutcome out = Run([&] { Reader->ParseFile(UTF8ToString(name), fmOpenRead); });
  EXPECT_EQ(out.Error, "EVnXMLParseError");
  EXPECT_EQ(out.Code, 3);
}

TEST_F(SaxEntryPoints, ParseFileReadsADeclaredPage) {
  const UnicodeString doc = u"<?xml version=\"1.0\" encoding=\"windows-1252\"?><t>€ é</t>";
  const std::string name = File(Encode(doc, CP_WIN1252));
  TOutcome out = Run([&] { Reader->ParseFile(UTF8ToString(name), fmOpenRead); });
  EXPECT_EQ(out.Events,
            (std::vector<std::string>{"SD", "PI(xml,version=\"1.0\" encoding=\"windows-1252\")",
                                      "SE(,t,t)", "C(€ é)", "EE(,t,t)", "ED"}));
  // A mark wins over the declaration.
  const std::string marked = File("\xEF\xBB\xBF" + Encode(doc, CP_UTF8));
  out = Run([&] { Reader->ParseFile(UTF8ToString(marked), fmOpenRead); });
  EXPECT_EQ(out.Events.at(3), "C(€ é)");
}

TEST_F(SaxEntryPoints, ParseFileOfAMissingFileFailsStraight) {
  TOutcome out = Run([&] { Reader->ParseFile(u"/nonexistent/vnxml.xml", fmOpenRead); });
  EXPECT_EQ(out.Error, "EFOpenError");
  EXPECT_TRUE(out.Events.empty());
}

TEST_F(SaxEntryPoints, ParseStreamReadsFromTheCurrentPositionAndLeavesTheStreamOpen) {
  const std::string bytes = "<skip/><a/>";
  TMemoryStream *s = New<TMemoryStream>();
  s->WriteBuffer(bytes.data(), static_cast<Int64>(bytes.size()));
  s->SetPosition(7);
  TOutcome out = Run([&] { Reader->ParseStream(s, CP_UTF8); });
  EXPECT_EQ(out.Events, (std::vector<std::string>{"SD", "SE(,a,a)", "EE(,a,a)", "ED"}));
  // A stream in memory is read where it lies, and left where reading it through leaves it.
  EXPECT_EQ(s->GetPosition(), s->GetSize());
  // Still usable by its owner.
  s->SetPosition(0);
  char first = 0;
  s->ReadBuffer(&first, 1);
  EXPECT_EQ(first, '<');
  s->Free();
}

// Parse(AnsiString, 0): the reader finds the encoding in the text.
TEST_F(SaxEntryPoints, TheDeclarationNamesThePage) {
  struct TCase {
    std::string Bytes;
    std::string Text;
  } cases[] = {
      // Latin-1 bytes as declared.
      {"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><t>\xE9</t>", "C(é)"},
      {"  junk <?xml version='1.0' encoding='windows-1252'?><t>\x80</t>", "C(€)"},
      // The name is found without regard to case, and blanks around "=" don't matter.
      {"<?xml ENCODING = \"iso-8859-1\" ?><t>\xE9</t>", "C(é)"},
      // Whatever stands first behind "=" serves as the quotation mark.
      {"<?xml version=\"1.0\" encoding=xISO-8859-1x?><t>\xE9</t>", "C(é)"},
      // UTF-8, declared or not.
      {"<?xml version=\"1.0\" encoding=\"utf-8\"?><t>\xC3\xA9</t>", "C(é)"},
      {"<t>\xC3\xA9</t>", "C(é)"},
      // A line break behind "xml" makes it no declaration: UTF-8, and a Latin-1 byte is no
      // valid UTF-8.
      {"<?xml\nencoding=\"ISO-8859-1\"?><t>\xE9</t>", "C(\xEF\xBF\xBD)"},
      // A quotation mark that never closes gives no name.
      {"<?xml encoding=\"ISO-8859-1?><t>\xC3\xA9</t>", "C(é)"},
  };
  for (const TCase &c : cases) {
    TOutcome out = Run([&] { Reader->Parse(AnsiString(c.Bytes), 0); });
    EXPECT_EQ(out.Error, "") << c.Bytes << ": " << out.Message;
    ASSERT_GE(out.Events.size(), 4u) << c.Bytes;
    EXPECT_EQ(out.Events[out.Events.size() - 3], c.Text) << c.Bytes;
  }
}

TEST_F(SaxEntryPoints, ACallersPageOverridesTheDeclaration) {
  const std::string bytes = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><t>\xC3\xA9</t>";
  TOutcome out = Run([&] { Reader->Parse(AnsiString(bytes), CP_UTF8); });
  EXPECT_EQ(out.Events.at(3), "C(é)");
  out = Run([&] { Reader->Parse(AnsiString(bytes), 0); });
  EXPECT_EQ(out.Events.at(3), "C(Ã©)");
}

TEST_F(SaxEntryPoints, AnUnknownEncodingFailsBeforeTheParse) {
  TOutcome out = Run([&] {
    Reader->Parse(AnsiString("<?xml version=\"1.0\" encoding=\"no-such-page\"?><a/>"), 0);
  });
  EXPECT_EQ(out.Error, "EEncodingError");
  EXPECT_EQ(out.Message, "The specified encoding is not supported!");
  // The parse proper never started: no events, no FatalError.
  EXPECT_TRUE(out.Events.empty());
}

TEST_F(SaxEntryPoints, AReaderIsReusable) {
  TOutcome out = Run([&] { Reader->Parse(u"<a/>"); });
  EXPECT_EQ(out.Events, (std::vector<std::string>{"SD", "SE(,a,a)", "EE(,a,a)", "ED"}));
  out = Run([&] { Reader->Parse(u"<a/><b/>"); });
  EXPECT_EQ(out.Code, 9);
  Reader->SetSingleRoot(false);
  out = Run([&] { Reader->Parse(u"<a/><b/>"); });
  EXPECT_EQ(out.Events.size(), 6u);
  Reader->SetSingleRoot(true);
  out = Run([&] { Reader->Parse(AnsiString("<c/>"), CP_UTF8); });
  EXPECT_EQ(out.Events, (std::vector<std::string>{"SD", "SE(,c,c)", "EE(,c,c)", "ED"}));
}

TEST_F(SaxEntryPoints, PrefixesOfAFailedParseStayUntilTheirLevelCloses) {
  TOutcome out = Run([&] { Reader->Parse(u"<p:a xmlns:p=\"urn:p\"><b x></b></p:a>"); });
  EXPECT_EQ(out.Code, 7);
  // The next parse still resolves the stale prefix; its level-1 element removes it.
  out = Run([&] { Reader->Parse(u"<p:c/>"); });
  EXPECT_EQ(out.Events,
            (std::vector<std::string>{"SD", "SE(urn:p,c,p:c)", "EE(urn:p,c,p:c)", "EPM(p)", "ED"}));
  out = Run([&] { Reader->Parse(u"<p:d/>"); });
  EXPECT_EQ(out.Events, (std::vector<std::string>{"SD", "SE(,d,p:d)", "EE(,d,p:d)", "ED"}));
}

TEST_F(SaxEntryPoints, AParseFromAHandlerOfTheSameReaderIsRefused) {
  Rec->OnAttributes = [&](IVnSAXAttributes *) { Reader->Parse(u"<x/>"); };
  TOutcome out = Run([&] { Reader->Parse(u"<a/>"); });
  EXPECT_EQ(out.Error, "EInvalidOperation");
  EXPECT_EQ(out.Events.back(), "FE(" + out.Message + ")");
  // The reader works afterwards.
  Rec->OnAttributes = nullptr;
  out = Run([&] { Reader->Parse(u"<a/>"); });
  EXPECT_EQ(out.Events.back(), "ED");
}

TEST_F(SaxEntryPoints, HandlersMayBeReplacedDuringAParse) {
  // The first handler hands over to a second one at the first element and lets go of its
  // last reference while its own call is still running.
  TRecorder *second = New<TRecorder>();
  DelphiInterface<IVnSAXContentHandler> keepSecond(second);
  TRecorder *first = New<TRecorder>();
  first->AttachTo(Reader);
  first->OnAttributes = [&](IVnSAXAttributes *) { second->AttachTo(Reader); };
  Reader->Parse(u"<a><b/></a>");
  EXPECT_EQ(second->Events, (std::vector<std::string>{"SE(,b,b)", "EE(,b,b)", "EE(,a,a)", "ED"}));
}

TEST_F(SaxEntryPoints, TheReaderAsInterfaces) {
  {
    DelphiInterface<IVnSAXXMLReader> intf;
    ASSERT_TRUE(Supports(static_cast<TObject *>(Reader), intf));
    DelphiInterface<IVnSAXLocator> loc;
    ASSERT_TRUE(Supports(static_cast<TObject *>(Reader), loc));
    EXPECT_EQ(intf->GetContentHandler().get(), static_cast<IVnSAXContentHandler *>(Rec));
    EXPECT_EQ(intf->GetLexicalHandler().get(), static_cast<IVnSAXLexicalHandler *>(Rec));
    EXPECT_EQ(intf->GetErrorHandler().get(), static_cast<IVnSAXErrorHandler *>(Rec));
    EXPECT_FALSE(intf->GetFeature(u"http://xml.org/sax/features/namespaces"));
    intf->SetFeature(u"http://xml.org/sax/features/namespaces", true);
    EXPECT_FALSE(intf->GetFeature(u"http://xml.org/sax/features/namespaces"));
    intf->SetProperty(u"p", Variant(1));
    EXPECT_TRUE(VarIsNull(intf->GetProperty(u"p")));
    intf->Parse(u"<a/>");
  }
  // Releasing the interfaces did not free the reader.
  TOutcome out = Run([&] { Reader->Parse(u"<b/>"); });
  EXPECT_EQ(out.Events.back(), "ED");
}

}  // namespace

// A reader lets go of its handlers when it is freed: a handler that the application holds too,
// through an owner or an interface, can still be read afterwards.
TEST(SaxHandlerLifetime, AHandlerHeldByTheApplicationOutlivesTheReader) {
  Owned<TRecorder> owned = MakeOwned<TRecorder>();
  TRecorder *held = New<TRecorder>();
  DelphiInterface<IVnSAXContentHandler> keep(held);
  for (TRecorder *h : {owned.get(), held}) {
    TVnSAXXMLReader *reader = New<TVnSAXXMLReader>();
    h->AttachTo(reader);
    reader->Parse(u"<a/>");
    reader->Free();
    EXPECT_EQ(h->RefCount(), 1);
    EXPECT_EQ(h->Events, (std::vector<std::string>{"SD", "SE(,a,a)", "EE(,a,a)", "ED"}));
  }
}
