// SAX parses on several threads at once, each with its own reader and handler, from every kind of
// source: UTF-16 text, UTF-8 bytes, bytes whose page the reader finds in the declaration, and
// a UTF-16 stream with a byte-order mark.
#include "threads_util.h"
#include "vnxml/rtl/CodePages.h"
#include "vnxml/xml/uVnSAX.h"

namespace threadtest {
namespace {

// Writes every event as a line.
class TTranscript : public TVnSAXHandler {
  VN_CLASS(TTranscript, TVnSAXHandler)
 public:
  TLog Log;

  void StartDocument() override { Log << "SD\n"; }
  void EndDocument() override { Log << "ED\n"; }
  void StartElement(const VnXMLString &AURI, const VnXMLString &ALocal, const VnXMLString &AQName,
                    IVnSAXAttributes *AAttributes) override {
    Log << "SE " << AURI << " " << ALocal << " " << AQName;
    for (PVnSAXXMAttribute a = AAttributes->FirstAttribute(); a; a = a->Next)
      Log << " [" << a->URI << " " << a->LocalName << " " << a->QName << "=" << a->Value << "]";
    Log << "\n";
  }
  void EndElement(const VnXMLString &AURI, const VnXMLString &ALocal,
                  const VnXMLString &AQName) override {
    Log << "EE " << AURI << " " << ALocal << " " << AQName << "\n";
  }
  void StartPrefixMapping(const VnXMLString &APrefix, const VnXMLString &AURI) override {
    Log << "SPM " << APrefix << " " << AURI << "\n";
  }
  void EndPrefixMapping(const VnXMLString &APrefix) override { Log << "EPM " << APrefix << "\n"; }
  void Characters(const VnXMLString &AText) override { Log << "C " << AText << "\n"; }
  void IgnorableWhitespace(const VnXMLString &AText) override {
    Log << "IW " << Integer(AText.size()) << "\n";
  }
  void ProcessingInstruction(const VnXMLString &ATarget, const VnXMLString &AData) override {
    Log << "PI " << ATarget << " " << AData << "\n";
  }
  void Comment(const VnXMLString &AText) override { Log << "Com " << AText << "\n"; }
  void StartCDATA() override { Log << "SCD\n"; }
  void EndCDATA() override { Log << "ECD\n"; }
  void StartDTD() override { Log << "SDTD\n"; }
  void EndDTD() override { Log << "EDTD\n"; }
  void FatalError(IVnSAXLocator *, const VnXMLString &AMessage) override {
    Log << "FE " << AMessage << "\n";
  }
};

// The events of one parse; a failure ends the transcript with its text.
std::string Events(const std::function<void(TVnSAXXMLReader *)> &AParse) {
  TTranscript *handler = New<TTranscript>();
  DelphiInterface<IVnSAXContentHandler> keep(handler);
  TVnSAXXMLReader *reader = New<TVnSAXXMLReader>();
  handler->AttachTo(reader);
  try {
    AParse(reader);
  } catch (...) {
    handler->Log << FailureText() << "\n";
  }
  reader->Free();
  return handler->Log.Text();
}

// A document with what the reader reports: declaration, type declaration, namespaces,
// attributes with references, text, CDATA, comments and instructions. ALatin keeps to
// characters of windows-1252.
UnicodeString Document(bool ALatin, int AItems) {
  UnicodeString x = ALatin ? u"<?xml version=\"1.0\" encoding=\"windows-1252\"?>\n"
                           : u"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  x += u"<!DOCTYPE list [<!ENTITY e \"x\">]>\n<!-- head -->\n";
  x += u"<l:list xmlns:l=\"urn:list\" xmlns=\"urn:default\" kind=\"a &amp; b &#233;\">\n";
  for (int i = 0; i < AItems; ++i) {
    const UnicodeString n = IntToStr(i);
    x += u"  <item n=\"" + n + u"\" l:flag=\"&quot;" + n + u"&quot;\">Caf\u00e9 &lt;" + n +
         u"&gt; " + (ALatin ? u"\u20ac" : u"\u6f22\U0001F600") + u"<![CDATA[ <cdata> " + n +
         u" ]]><sub/><!-- c" + n + u" --><?pi " + n + u"?></item>\n";
  }
  x += u"</l:list>\n";
  return x;
}

// The document read every way there is, on the calling thread.
std::string ReadAllWays(const UnicodeString &AText, const RawByteString &AUtf8,
                        const RawByteString &ALatin, const std::string &AUtf16Bom) {
  std::string r;
  r += Events([&](TVnSAXXMLReader *R) { R->Parse(AText); });
  r += Events([&](TVnSAXXMLReader *R) { R->Parse(AnsiString(AUtf8, CP_UTF8), CP_UTF8); });
  // The page comes from the declaration.
  r += Events([&](TVnSAXXMLReader *R) { R->Parse(AnsiString(ALatin), 0); });
  r += Events([&](TVnSAXXMLReader *R) {
    TPointerStream s(AUtf16Bom.data(), static_cast<Int64>(AUtf16Bom.size()));
    R->ParseStream(&s, 0);
  });
  r += Events([&](TVnSAXXMLReader *R) {
    R->ParseBuffer(AUtf8.data(), static_cast<Cardinal>(AUtf8.size()), CP_UTF8);
  });
  // A document cut short fails the same way everywhere.
  r += Events([&](TVnSAXXMLReader *R) { R->Parse(AText.substr(0, AText.size() / 2)); });
  return r;
}

TEST(Sax, ParsesOnSeveralThreads) {
  constexpr int cItems = 40;
  const UnicodeString text = Document(false, cItems);
  const RawByteString utf8 = UnicodeToCodePage(text, CP_UTF8);
  const RawByteString latin = UnicodeToCodePage(Document(true, cItems), 1252);
  std::string utf16("\xFF\xFE", 2);
  utf16.append(reinterpret_cast<const char *>(text.data()), text.size() * 2);
  const std::string expected = ReadAllWays(text, utf8, latin, utf16);
  // Every source gave its events (text comes as it stands, references not expanded), and the
  // cut document its failure.
  EXPECT_NE(expected.find("C Caf\xC3\xA9 &lt;39&gt; \xE2\x82\xAC\n"), std::string::npos);
  EXPECT_NE(expected.find("SDTD"), std::string::npos);
  EXPECT_NE(expected.find("exception"), std::string::npos);

  constexpr int cRounds = 4;
  std::vector<std::vector<std::string>> results =
      OnThreads<std::vector<std::string>>(cThreads, [&](int) {
        std::vector<std::string> r;
        for (int i = 0; i < cRounds; ++i) r.push_back(ReadAllWays(text, utf8, latin, utf16));
        return r;
      });
  for (int t = 0; t < cThreads; ++t) {
    SCOPED_TRACE("thread " + std::to_string(t));
    ExpectAllEqual(results[static_cast<std::size_t>(t)], expected);
  }
}

}  // namespace
}  // namespace threadtest
