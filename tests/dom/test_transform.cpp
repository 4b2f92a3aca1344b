// Style-sheet transformation of a node's XML: results, style sheets from files and nodes, the
// document forms, the engine's messages in the exceptions, and the not-supported build.
#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

#include <unistd.h>

#include "exception_text.h"
#include "xml_util.h"

#ifdef VNXML_WITH_XSLT
#include <libxml/xmlerror.h>
#endif

namespace domxml {
namespace {

using vntest::MessageOf;

// A style sheet of the given templates and top-level elements.
UnicodeString Sheet(const UnicodeString &ABody) {
  return u"<xsl:stylesheet version=\"1.0\" xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\">" +
         ABody + u"</xsl:stylesheet>";
}

const UnicodeString cIdentity = Sheet(
    u"<xsl:output omit-xml-declaration=\"yes\"/>"
    u"<xsl:template match=\"@*|node()\"><xsl:copy><xsl:apply-templates select=\"@*|node()\"/>"
    u"</xsl:copy></xsl:template>");

// Renames item to entry and keeps the rest.
const UnicodeString cRename = Sheet(
    u"<xsl:template match=\"@*|node()\"><xsl:copy><xsl:apply-templates select=\"@*|node()\"/>"
    u"</xsl:copy></xsl:template>"
    u"<xsl:template match=\"item\"><entry n=\"{position()}\"><xsl:apply-templates/></entry>"
    u"</xsl:template>");

// A scratch folder for style sheet files, removed after the test.
class TransformFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    FDir = std::filesystem::temp_directory_path() /
           ("vnxml_transform_" + std::to_string(::getpid()) + "_" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::create_directories(FDir);
  }
  void TearDown() override { std::filesystem::remove_all(FDir); }
  UnicodeString Write(const std::string &AName, const std::string &ABytes) {
    std::ofstream(FDir / AName, std::ios::binary) << ABytes;
    return UTF8ToString((FDir / AName).string());
  }
  std::filesystem::path FDir;
};

#ifdef VNXML_WITH_XSLT

WideString Apply(TVnDOMNode *ANode, const UnicodeString &AStyleSheet) {
  Doc sheet = Load(AStyleSheet);
  WideString out = u"stale";
  ANode->Transform(sheet.get(), out);
  return out;
}

TEST(Transform, IdentityAndRenaming) {
  Doc d = Load(u"<list a=\"1\"><item>x &amp; y</item><!--c--><?p d?><item>z</item></list>");
  EXPECT_EQ(Apply(d.get(), cIdentity),
            u"<list a=\"1\"><item>x &amp; y</item><!--c--><?p d?><item>z</item></list>\n");
  EXPECT_EQ(Apply(d.get(), cRename),
            u"<?xml version=\"1.0\"?>\n"
            u"<list a=\"1\"><entry n=\"2\">x &amp; y</entry><!--c--><?p d?>"
            u"<entry n=\"5\">z</entry></list>\n");
  // An element is transformed as a document of its own: "/" is the element's parent.
  vn::Owned<TVnDOMNodeList> items(d->CreateNodeList(u"list/item"));
  TVnDOMNode *second = items->GetItem(1);
  ASSERT_EQ(second->GetXML(), u"<item>z</item>");
  EXPECT_EQ(Apply(second, Sheet(u"<xsl:output method=\"text\"/>"
                                u"<xsl:template match=\"/\"><xsl:value-of select=\"name(*)\"/>:"
                                u"<xsl:value-of select=\"count(//node())\"/></xsl:template>")),
            u"item:2");
}

TEST(Transform, OutputFollowsXslOutputInUTF16) {
  // The source declares a single-byte page and the style sheet UTF-16: both texts are decoded
  // already, so neither declaration changes how they are read.
  Doc d = Load(
      u"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><t v=\"\u00e9\">\u00e9\u20ac\U0001D11E</t>");
  Doc sheet = Load(u"<?xml version=\"1.0\" encoding=\"UTF-16\"?>" +
                   Sheet(u"<xsl:output encoding=\"ISO-8859-1\" indent=\"yes\"/>"
                         u"<xsl:template match=\"t\"><r v=\"{@v}\"><c><xsl:value-of select=\".\"/>"
                         u"</c></r></xsl:template>"));
  ASSERT_EQ(d->GetXML().find(u"encoding=\"ISO-8859-1\""), 20u);
  ASSERT_EQ(sheet->GetXML().find(u"encoding=\"UTF-16\""), 20u);
  WideString out;
  d->Transform(sheet.get(), out);
  // Characters the named page cannot hold stay characters: the text is UTF-16, and the
  // declaration names the page the caller asked for, for a save in that page.
  EXPECT_EQ(out,
            u"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n"
            u"<r v=\"\u00e9\">\n  <c>\u00e9\u20ac\U0001D11E</c>\n</r>\n");
  // html and text methods.
  EXPECT_EQ(
      Apply(d.get(), Sheet(u"<xsl:output method=\"html\"/><xsl:template match=\"/\">"
                           u"<html><body><br/><p><xsl:value-of select=\"t\"/></p></body></html>"
                           u"</xsl:template>")),
      u"<html><body>\n<br><p>\u00e9\u20ac\U0001D11E</p>\n</body></html>\n");
  EXPECT_EQ(Apply(d.get(), Sheet(u"<xsl:output method=\"text\"/><xsl:template match=\"/\">"
                                 u"a&lt;b</xsl:template>")),
            u"a<b");
}

TEST(Transform, DocumentForms) {
  Doc d = Load(u"<list><item>x</item><item>y</item></list>");
  Doc sheet = Load(cRename);
  Doc result(d->Transform(sheet.get()));
  ASSERT_TRUE(result);
  EXPECT_EQ(result->GetRootNode()->GetXML(),
            u"<list><entry n=\"1\">x</entry><entry n=\"2\">y</entry></list>");
  EXPECT_EQ(result->GetRootNode()->GetChildNodes()->GetItem(1)->GetText(), u"y");
  // Through the interfaces: the new document lives while its interface does.
  DelphiInterface<IVnDOMNode> node = VnDOMIntf<IVnDOMNode>(d.get());
  DelphiInterface<IVnDOMNode> style = VnDOMIntf<IVnDOMNode>(sheet.get());
  DelphiInterface<IVnDOMDocument> other = node->Transform(style);
  ASSERT_TRUE(other);
  EXPECT_EQ(other->GetXML(), result->GetXML());
  WideString out;
  node->Transform(style, out);
  EXPECT_EQ(out,
            u"<?xml version=\"1.0\"?>\n"
            u"<list><entry n=\"1\">x</entry><entry n=\"2\">y</entry></list>\n");
  // A result that is no XML document does not load.
  Doc text =
      Load(Sheet(u"<xsl:output method=\"text\"/><xsl:template match=\"/\">plain"
                 u"</xsl:template>"));
  EXPECT_THROW(Doc(d->Transform(text.get())), EVnDomSyntax);
}

TEST_F(TransformFiles, StyleSheetFromFile) {
  Doc d = Load(u"<list><item>x</item></list>");
  // A byte-order mark, a relative include resolved against the file's own folder, and text
  // beyond ASCII in UTF-8.
  Write("names.xsl",
        "<xsl:stylesheet version=\"1.0\" xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\">"
        "<xsl:template match=\"item\">\xC3\xA9<xsl:value-of select=\".\"/></xsl:template>"
        "</xsl:stylesheet>");
  const UnicodeString file =
      Write("main.xsl",
            "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"windows-1252\"?>"
            "<xsl:stylesheet version=\"1.0\" xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\">"
            "<xsl:include href=\"names.xsl\"/><xsl:output method=\"text\"/>"
            "</xsl:stylesheet>");
  WideString out;
  d->Transform(file, out);
  EXPECT_EQ(out, u"\u00e9x");
  Doc result(d->Transform(Write("copy.xsl", UTF8Encode(cRename))));
  EXPECT_EQ(result->GetXML(), u"<?xml version=\"1.0\"?><list><entry n=\"1\">x</entry></list>");
  // A file that is not there: the file error, and the result is left empty.
  out = u"stale";
  EXPECT_THROW(d->Transform(UTF8ToString((FDir / "none.xsl").string()), out), EFOpenError);
  EXPECT_EQ(out, u"");
}

// A failure's exception: its class, and that the message holds the engine's own text.
template <class E>
void ExpectFailure(TVnDOMNode *ASource, const UnicodeString &AStyleSheetXML,
                   const UnicodeString &AStart, const std::string &AEngineText) {
  Doc sheet = Load(AStyleSheetXML);
  WideString out = u"stale";
  const UnicodeString m = MessageOf<E>([&] { ASource->Transform(sheet.get(), out); });
  EXPECT_EQ(m.substr(0, AStart.size()), AStart) << m;
  EXPECT_NE(UTF8Encode(m).find(AEngineText), std::string::npos) << m;
  EXPECT_EQ(out, u"");
}

TEST(Transform, BrokenStyleSheetsAndSources) {
  Doc d = Load(u"<a>1</a>");
  // Not XSLT at all.
  ExpectFailure<EVnDomException>(d.get(), u"<a/>",
                                 u"The style sheet is not a valid XSLT style sheet:\r\n",
                                 "not a stylesheet");
  // XSLT with an expression that does not compile, and with an unknown instruction.
  ExpectFailure<EVnDomException>(
      d.get(), Sheet(u"<xsl:template match=\"/\"><xsl:value-of select=\"1 +\"/></xsl:template>"),
      u"The style sheet is not a valid XSLT style sheet:\r\n",
      "Invalid expression\r\ncompilation error: element value-of\r\n"
      "xsl:value-of : could not compile select expression '1 +'");
  ExpectFailure<EVnDomException>(
      d.get(), Sheet(u"<xsl:template match=\"/\"><xsl:value-of/></xsl:template>"),
      u"The style sheet is not a valid XSLT style sheet:\r\n", "select is missing");
  // A style sheet that libxml2 refuses. The library's own reader is lenient about the prefix,
  // libxml2 is not.
  ExpectFailure<EVnDomSyntax>(d.get(), u"<q:a xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\"/>",
                              u"The style sheet is not well-formed XML:\r\n",
                              "line 1: Namespace prefix q");
  // A source the same.
  Doc loose = Load(u"<p:a>1</p:a>");
  ExpectFailure<EVnDomSyntax>(loose.get(), cIdentity,
                              u"The XML of the node to transform is not well-formed:\r\n",
                              "Namespace prefix p on a is not defined");
  // libxml2's nesting limit stays: a source nested deeper than 256 levels is refused.
  UnicodeString deep;
  for (int i = 0; i < 300; ++i) deep += u"<a>";
  for (int i = 0; i < 300; ++i) deep += u"</a>";
  Doc nested = Load(deep);
  ExpectFailure<EVnDomSyntax>(nested.get(), cIdentity,
                              u"The XML of the node to transform is not well-formed:\r\n",
                              "Excessive depth in document: 256");
}

TEST_F(TransformFiles, NotWellFormedText) {
  Doc d = Load(u"<a>1</a>");
  const UnicodeString file = Write("broken.xsl", "<xsl:stylesheet><a></b>");
  WideString out = u"stale";
  const UnicodeString m = MessageOf<EVnDomSyntax>([&] { d->Transform(file, out); });
  EXPECT_EQ(m.substr(0, 41), u"The style sheet is not well-formed XML:\r\n") << UTF8Encode(m);
  // libxml2's message, with the file and line it names.
  EXPECT_NE(m.find(file + u":line 1: Opening and ending tag mismatch: a line 1 and b"),
            UnicodeString::npos)
      << UTF8Encode(m);
  EXPECT_EQ(out, u"");
  // A text node's XML is its text: no document to transform.
  TVnDOMNode *text = d->GetRootNode()->GetChildNodes()->GetItem(0);
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { text->Transform(d.get(), out); }),
            u"The XML of the node to transform is not well-formed:\r\n"
            u"line 1: Start tag expected, '<' not found");
  EXPECT_THROW(d->Transform(static_cast<TVnDOMNode *>(nullptr), out), EArgumentNilException);
}

TEST(Transform, RunTimeFailures) {
  Doc d = Load(u"<a>1</a>");
  Doc stop =
      Load(Sheet(u"<xsl:template match=\"/\"><out/><xsl:message terminate=\"yes\">"
                 u"stopped at <xsl:value-of select=\"a\"/></xsl:message></xsl:template>"));
  WideString out = u"stale";
  const UnicodeString m = MessageOf<EVnDomException>([&] { d->Transform(stop.get(), out); });
  EXPECT_EQ(m.substr(0, 40), u"The style sheet transformation failed:\r\n") << m;
  EXPECT_NE(m.find(u"stopped at 1"), UnicodeString::npos) << UTF8Encode(m);
  EXPECT_EQ(out, u"");
  EXPECT_THROW(Doc(d->Transform(stop.get())), EVnDomException);
  // A message that does not terminate is no failure.
  EXPECT_EQ(Apply(d.get(), Sheet(u"<xsl:output method=\"text\"/><xsl:template match=\"/\">"
                                 u"<xsl:message>note</xsl:message>done</xsl:template>")),
            u"done");
  // A run-time error of an expression.
  EXPECT_THROW(Apply(d.get(), Sheet(u"<xsl:template match=\"/\"><xsl:value-of "
                                    u"select=\"unknown-function()\"/></xsl:template>")),
               EVnDomException);
}

TEST_F(TransformFiles, NeitherNetworkNorWrites) {
  Doc d = Load(u"<a>1</a>");
  // document() of a network address: refused before any connection.
  UnicodeString m = MessageOf<EVnDomException>([&] {
    Apply(d.get(), Sheet(u"<xsl:template match=\"/\"><xsl:copy-of "
                         u"select=\"document('http://127.0.0.1:9/x.xml')\"/></xsl:template>"));
  });
  EXPECT_NE(m.find(u"Network file read for http://127.0.0.1:9/x.xml refused"), UnicodeString::npos)
      << UTF8Encode(m);
  // An import from the network while the style sheet compiles.
  m = MessageOf<EVnDomException>(
      [&] { Apply(d.get(), Sheet(u"<xsl:import href=\"http://127.0.0.1:9/x.xsl\"/>")); });
  EXPECT_EQ(m.substr(0, 50), u"The style sheet is not a valid XSLT style sheet:\r\n");
  EXPECT_NE(m.find(u"Attempt to load network entity http://127.0.0.1:9/x.xsl"), UnicodeString::npos)
      << UTF8Encode(m);
  // A file written by the style sheet.
  const std::filesystem::path target = FDir / "written.xml";
  m = MessageOf<EVnDomException>([&] {
    Apply(d.get(),
          u"<xsl:stylesheet version=\"1.1\" "
          u"xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\">"
          u"<xsl:template match=\"/\"><xsl:document href=\"" +
              UTF8ToString(target.string()) +
              u"\"><x/></xsl:document></xsl:template></xsl:stylesheet>");
  });
  EXPECT_NE(m.find(u"File write for " + UTF8ToString(target.string()) + u" refused"),
            UnicodeString::npos)
      << UTF8Encode(m);
  EXPECT_FALSE(std::filesystem::exists(target));
  // Files may be read.
  Write("data.xml", "<d>from file</d>");
  EXPECT_EQ(Apply(d.get(),
                  Sheet(u"<xsl:output method=\"text\"/><xsl:template match=\"/\">"
                        u"<xsl:value-of select=\"document('" +
                        UTF8ToString((FDir / "data.xml").string()) + u"')/d\"/></xsl:template>")),
            u"from file");
}

TEST(Transform, NodeSetOfTheOriginalEngine) {
  Doc d = Load(u"<a/>");
  EXPECT_EQ(Apply(d.get(),
                  u"<xsl:stylesheet version=\"1.0\" "
                  u"xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\" "
                  u"xmlns:msxsl=\"urn:schemas-microsoft-com:xslt\">"
                  u"<xsl:output method=\"text\"/>"
                  u"<xsl:variable name=\"v\"><i>1</i><i>2</i></xsl:variable>"
                  u"<xsl:template match=\"/\"><xsl:value-of "
                  u"select=\"count(msxsl:node-set($v)/i)\"/></xsl:template>"
                  u"</xsl:stylesheet>"),
            u"2");
}

// The engine's per-thread handlers are put back after each call, also after a failure.
void CountError(void *ACount, xmlErrorPtr) {
  ++*static_cast<int *>(ACount);
}

TEST(Transform, HandlersAreRestored) {
  int count = 0;
  xmlSetStructuredErrorFunc(&count, CountError);
  Doc d = Load(u"<a>1</a>");
  EXPECT_THROW(Apply(d.get(), u"<q:a/>"), EVnDomSyntax);
  EXPECT_EQ(Apply(d.get(), cIdentity), u"<a>1</a>\n");
  EXPECT_EQ(count, 0);
  EXPECT_EQ(xmlStructuredError, &CountError);
  EXPECT_EQ(xmlStructuredErrorContext, &count);
  xmlSetStructuredErrorFunc(nullptr, nullptr);
}

// Several threads transform their own nodes at once; each failure's message is its own.
TEST(Transform, Threads) {
  constexpr int cThreads = 4;
  std::atomic<int> bad{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < cThreads; ++t) {
    threads.emplace_back([t, &bad] {
      const UnicodeString n = IntToStr(t);
      for (int i = 0; i < 25; ++i) {
        Doc d = Load(u"<list><item>" + n + u"</item></list>");
        if (Apply(d.get(), cIdentity) != u"<list><item>" + n + u"</item></list>\n") ++bad;
        Doc stop =
            Load(Sheet(u"<xsl:template match=\"/\"><xsl:message terminate=\"yes\">"
                       u"thread <xsl:value-of select=\"list/item\"/></xsl:message>"
                       u"</xsl:template>"));
        const UnicodeString m = MessageOf<EVnDomException>([&] { Apply(d.get(), stop->GetXML()); });
        if (m.find(u"thread " + n) == UnicodeString::npos) ++bad;
        for (int o = 0; o < cThreads; ++o)
          if (o != t && m.find(u"thread " + IntToStr(o)) != UnicodeString::npos) ++bad;
      }
    });
  }
  for (std::thread &th : threads) th.join();
  EXPECT_EQ(bad.load(), 0);
}

#else

TEST_F(TransformFiles, NotSupportedWithoutXSLT) {
  Doc d = Load(u"<a>1</a>");
  Doc sheet = Load(cIdentity);
  const UnicodeString file = Write("identity.xsl", UTF8Encode(cIdentity));
  const UnicodeString cText =
      u"Style sheet transformation is not supported: the library was built without XSLT support!";
  WideString out = u"stale";
  EXPECT_EQ(MessageOf<EVnDomNotSupported>([&] { d->Transform(sheet.get(), out); }), cText);
  EXPECT_EQ(out, u"");
  out = u"stale";
  EXPECT_EQ(MessageOf<EVnDomNotSupported>([&] { d->Transform(file, out); }), cText);
  EXPECT_EQ(out, u"");
  EXPECT_EQ(MessageOf<EVnDomNotSupported>([&] { Doc(d->Transform(sheet.get())); }), cText);
  EXPECT_EQ(MessageOf<EVnDomNotSupported>([&] { Doc(d->Transform(file)); }), cText);
  DelphiInterface<IVnDOMNode> node = VnDOMIntf<IVnDOMNode>(d.get());
  EXPECT_EQ(
      MessageOf<EVnDomNotSupported>([&] { node->Transform(VnDOMIntf<IVnDOMNode>(sheet.get())); }),
      cText);
}

#endif

}  // namespace
}  // namespace domxml
