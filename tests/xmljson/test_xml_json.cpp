// The JSON form of XML trees: exact text, formatted and not, in the document's, the element's and
// the attribute's forms; typed values; code pages; trees too deep for nested calls.
#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <exception>
#include <functional>
#include <string>

#include "vnxml/rtl/Owned.h"
#include "vnxml/xml/uVnXMLDOM.h"

namespace xmljson {
namespace {

using namespace vn;
using Doc = vn::Owned<TVnDOMDocument>;

Doc Load(const UnicodeString &AXML) {
  return Doc(TVnDOMDocument::CreateFromXML(AXML));
}

std::string Bytes(TMemoryStream &AStream) {
  return std::string(static_cast<const char *>(AStream.Memory()),
                     static_cast<std::size_t>(AStream.GetSize()));
}

// The document's form: UTF-8 bytes, no braces.
std::string DocJSON(const UnicodeString &AXML, bool AFormatted = false, bool ABOM = false) {
  Doc d = Load(AXML);
  TMemoryStream s;
  d->SaveToJSONStream(&s, AFormatted, ABOM);
  return Bytes(s);
}

std::string Formatted(const UnicodeString &AXML) {
  return UTF8Encode(Load(AXML)->GetAsFormattedJSON());
}

const UnicodeString cNS =
    u" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\""
    u" xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\"";

// ---------------------------------------------------------------------------------------------
// Structure

TEST(XmlJson, NamesakesFoldIntoAnArray) {
  const UnicodeString xml = u"<a><b>1</b><b>2</b></a>";
  EXPECT_EQ(DocJSON(xml), "\"a\": {\"b\": [\"1\",\"2\"]}");
  EXPECT_EQ(Formatted(xml),
            "{\r\n  \"a\": {\r\n    \"b\": [\r\n      \"1\",\r\n      \"2\"\r\n    ]\r\n  }\r\n}");
  EXPECT_EQ(DocJSON(xml, true),
            "  \"a\": {\r\n    \"b\": [\r\n      \"1\",\r\n      \"2\"\r\n    ]\r\n  }");
}

TEST(XmlJson, ArraysTakeLaterNamesakesInOrderOfTheFirst) {
  // The same children with few (compared in pairs) and many (a table of names) siblings.
  const UnicodeString few = u"<r><a>1</a><b>2</b><a>3</a><c>4</c></r>";
  EXPECT_EQ(DocJSON(few), "\"r\": {\"a\": [\"1\",\"3\"],\"b\": \"2\",\"c\": \"4\"}");
  const UnicodeString many =
      u"<r><a>1</a><b>2</b><a>3</a><c>4</c><d/><e/><f/><g/><h/><b>5</b><a>6</a></r>";
  EXPECT_EQ(DocJSON(many),
            "\"r\": {\"a\": [\"1\",\"3\",\"6\"],\"b\": [\"2\",\"5\"],\"c\": \"4\",\"d\": null,"
            "\"e\": null,\"f\": null,\"g\": null,\"h\": null}");
  // Namesakes go by local name, whatever the prefix.
  EXPECT_EQ(DocJSON(u"<r xmlns:p=\"urn:p\"><p:a>1</p:a><a>2</a></r>"),
            "\"r\": {\"a\": [\"1\",\"2\"]}");
}

TEST(XmlJson, DotsBecomeUnderscoresExceptInArrayNames) {
  EXPECT_EQ(DocJSON(u"<a.b><c.d>1</c.d><e.f>2</e.f><e.f>3</e.f></a.b>"),
            "\"a_b\": {\"c_d\": \"1\",\"e.f\": [\"2\",\"3\"]}");
}

TEST(XmlJson, ItemsWithChildElementsAreObjectsWithoutFolding) {
  const UnicodeString xml = u"<r><i k=\"1\"><c>x</c></i><i k=\"2\">y</i></r>";
  EXPECT_EQ(DocJSON(xml), "\"r\": {\"i\": [{\"i_k\": \"1\",\"c\": \"x\"},\"y\"]}");
  EXPECT_EQ(Formatted(xml),
            "{\r\n  \"r\": {\r\n    \"i\": [\r\n      {\r\n        \"i_k\": \"1\",\r\n"
            "        \"c\": \"x\"\r\n      },\r\n      \"y\"\r\n    ]\r\n  }\r\n}");
  // Inside an item each child element is a member of its own, namesakes too.
  EXPECT_EQ(DocJSON(u"<r><i><c>1</c><c>2</c></i><i/></r>"),
            "\"r\": {\"i\": [{\"c\": \"1\",\"c\": \"2\"},null]}");
}

TEST(XmlJson, DocumentWritesOnlyElements) {
  EXPECT_EQ(DocJSON(u"<?xml version=\"1.0\"?><!--c--><?p d?><a>1<!--k--><?q?></a><!--e-->"),
            "\"a\": \"1\"");
  // Without a root: nothing, or the empty object.
  Doc empty(New<TVnDOMDocument>());
  TMemoryStream s;
  empty->SaveToJSONStream(&s, true, false);
  EXPECT_EQ(s.GetSize(), 0);
  EXPECT_EQ(empty->GetAsFormattedJSON(), u"{}");
}

// ---------------------------------------------------------------------------------------------
// Attributes

TEST(XmlJson, AttributesOfScalarElementsFollowTheValue) {
  const UnicodeString xml = u"<a><b x=\"1\" y.z=\"2\">t</b></a>";
  EXPECT_EQ(DocJSON(xml), "\"a\": {\"b\": \"t\", \"b_x\": \"1\", \"b_y_z\": \"2\"}");
  EXPECT_EQ(Formatted(xml),
            "{\r\n  \"a\": {\r\n    \"b\": \"t\", \r\n    \"b_x\": \"1\", \r\n"
            "    \"b_y_z\": \"2\"\r\n  }\r\n}");
  // The root's attributes in the element's own form.
  EXPECT_EQ(Formatted(u"<a x=\"1\">t</a>"), "{\r\n  \"a\": \"t\", \r\n  \"a_x\": \"1\"\r\n}");
}

TEST(XmlJson, AttributesOfObjectsComeFirst) {
  const UnicodeString xml = u"<a id=\"7\" j=\"8\"><b>1</b><c/></a>";
  EXPECT_EQ(DocJSON(xml), "\"a\": {\"a_id\": \"7\",\"a_j\": \"8\",\"b\": \"1\",\"c\": null}");
  // Each attribute on a line of its own with its comma; the first child follows the last one.
  EXPECT_EQ(Formatted(xml),
            "{\r\n  \"a\": {\r\n    \"a_id\": \"7\",\r\n    \"a_j\": \"8\",    \"b\": \"1\",\r\n"
            "    \"c\": null\r\n  }\r\n}");
}

TEST(XmlJson, AttributeNamesGiveWayToChildElements) {
  EXPECT_EQ(DocJSON(u"<a x=\"1\"><a_x>2</a_x></a>"), "\"a\": {\"_a_x\": \"1\",\"a_x\": \"2\"}");
  EXPECT_EQ(DocJSON(u"<a x=\"1\"><a_x/><_a_x/></a>"),
            "\"a\": {\"__a_x\": \"1\",\"a_x\": null,\"_a_x\": null}");
  // The comparison is with the child's local name as it stands.
  EXPECT_EQ(DocJSON(u"<a x=\"1\"><a.x/></a>"), "\"a\": {\"a_x\": \"1\",\"a_x\": null}");
}

TEST(XmlJson, DeclarationsAndSchemaAttributesAreNoMembers) {
  const UnicodeString xml = u"<a xmlns=\"urn:x\" xmlns:p=\"urn:p\"" + cNS +
                            u" p:q=\"1\" xsd:z=\"2\"><n xsi:type=\"xsd:int\">5</n>"
                            u"<m xsi:nil=\"true\">t</m><e xsi:nil=\"true\"/></a>";
  EXPECT_EQ(DocJSON(xml), "\"a\": {\"a_q\": \"1\",\"n\": 5,\"m\": null,\"e\": null}");
}

TEST(XmlJson, AttributeAlone) {
  Doc d = Load(u"<a.b x.y=\"v&amp;&quot;\"/>");
  TVnDOMAttribute *x = d->GetRootNode()->FirstAttribute();
  TMemoryStream s;
  x->SaveToJSONStream(&s, CP_UTF8, true);
  EXPECT_EQ(Bytes(s), "  \"a_b_x_y\": \"v&\\\"\"");
}

// ---------------------------------------------------------------------------------------------
// Values

TEST(XmlJson, UntypedValuesAreQuotedText) {
  EXPECT_EQ(DocJSON(u"<a><n>12</n><e/><f></f><c><!--k--></c><t>a<![CDATA[<&>]]>b</t></a>"),
            "\"a\": {\"n\": \"12\",\"e\": null,\"f\": null,\"c\": \"\",\"t\": \"a<&>b\"}");
  // Escapes as VnStrToJSON: quote, slash, backslash, controls, and \u from 256 up.
  EXPECT_EQ(DocJSON(u"<a>q\"/\\&lt;&#9;&#x1;\u00E9\u20AC</a>"),
            "\"a\": \"q\\\"\\/\\\\<\\t\xC3\xA9\\u20AC\"");
}

TEST(XmlJson, TypedValuesByMainKind) {
  const UnicodeString xml =
      u"<r" + cNS +
      u"><i xsi:type=\"xsd:int\">42</i><n xsi:type=\"xsd:int\">-3</n>"
      u"<b xsi:type=\"xsd:boolean\">1</b><f xsi:type=\"xsd:boolean\">false</f>"
      u"<s xsi:type=\"xsd:string\">12</s><d xsi:type=\"xsd:date\">2024-01-31</d>"
      u"<t xsi:type=\"xsd:dateTime\">2024-01-31T10:20:30</t><x xsi:type=\"xsd:double\">1.5E3</x>"
      u"<e xsi:type=\"xsd:int\"/></r>";
  EXPECT_EQ(DocJSON(xml),
            "\"r\": {\"i\": 42,\"n\": -3,\"b\": true,\"f\": false,\"s\": \"12\","
            "\"d\": \"2024-01-31\",\"t\": \"2024-01-31T10:20:30\",\"x\": 1.5E3,\"e\": null}");
  // Typed array items; a typed item keeps no attributes.
  EXPECT_EQ(DocJSON(u"<r" + cNS +
                    u"><v xsi:type=\"xsd:int\" k=\"1\">+1</v><v xsi:type=\"xsd:boolean\">true</v>"
                    u"<v xsi:type=\"xsd:int\"/></r>"),
            "\"r\": {\"v\": [+1,true,null]}");
}

TEST(XmlJson, IntegerTextIsRawOnlyWhenItLooksLikeANumber) {
  // As a member: text that does not begin with a sign, a dot or a digit is quoted.
  EXPECT_EQ(DocJSON(u"<r" + cNS +
                    u"><a xsi:type=\"xsd:int\"> 5</a><b xsi:type=\"xsd:int\">$10</b>"
                    u"<c xsi:type=\"xsd:int\">0x10</c></r>"),
            "\"r\": {\"a\": \" 5\",\"b\": \"$10\",\"c\": 0x10}");
  // As an array item the text stands as it is.
  EXPECT_EQ(
      DocJSON(u"<r" + cNS + u"><a xsi:type=\"xsd:int\"> 5</a><a xsi:type=\"xsd:int\">$10</a></r>"),
      "\"r\": {\"a\": [ 5,$10]}");
}

TEST(XmlJson, ABadTypeRaisesAfterWhatWasWritten) {
  Doc d = Load(u"<r" + cNS + u"><a>1</a><b xsi:type=\"\">2</b></r>");
  TMemoryStream s;
  EXPECT_THROW(d->SaveToJSONStream(&s, false, false), EVnDomException);
  EXPECT_EQ(Bytes(s), "\"r\": {\"a\": \"1\",\"b\": ");
}

// ---------------------------------------------------------------------------------------------
// Code pages

TEST(XmlJson, ByteOrderMarkAndCodePages) {
  EXPECT_EQ(DocJSON(u"<a>\u00E9</a>", false, true), "\xEF\xBB\xBF\"a\": \"\xC3\xA9\"");
  EXPECT_EQ(DocJSON(u"<a>\u00E9</a>", false, false), "\"a\": \"\xC3\xA9\"");
  Doc d = Load(u"<a\u00E9>1</a\u00E9>");
  TMemoryStream wide;
  d->GetRootNode()->SaveToJSONStream(&wide, CP_UTF16, false);
  const std::u16string expected = u"{\"a\u00E9\": \"1\"}";
  EXPECT_EQ(Bytes(wide),
            std::string(reinterpret_cast<const char *>(expected.data()), expected.size() * 2));
  TMemoryStream latin;
  d->SaveToJSONStream(&latin, Word(28591), false);
  EXPECT_EQ(Bytes(latin), "\"a\xE9\": \"1\"");
}

TEST(XmlJson, UTF8BlocksKeepSurrogatePairsWhole) {
  // Names with a pair at every offset, over several blocks of output.
  UnicodeString xml = u"<r>";
  for (int i = 0; i < 6000; ++i) {
    const UnicodeString n =
        u"x" + UnicodeString(static_cast<std::size_t>(i % 5), u'y') + u"\U0001D4B3" + IntToStr(i);
    xml += u"<" + n + u"/>";
  }
  xml += u"</r>";
  Doc d = Load(xml);
  TMemoryStream utf8;
  d->SaveToJSONStream(&utf8, true, false);
  TMemoryStream wide;
  d->SaveToJSONStream(&wide, Word(CP_UTF16), true);
  const std::u16string text(static_cast<const char16_t *>(wide.Memory()),
                            static_cast<std::size_t>(wide.GetSize() / 2));
  EXPECT_GT(text.size(), 100000u);
  EXPECT_EQ(Bytes(utf8), UTF8Encode(text));
}

// ---------------------------------------------------------------------------------------------
// Depth

// Runs AFn on a thread with a small stack and rethrows what it raised.
void OnSmallStack(const std::function<void()> &AFn, std::size_t AStackBytes = 256 * 1024) {
  struct TCall {
    const std::function<void()> *Fn;
    std::exception_ptr Failure;
  } call{&AFn, nullptr};
  pthread_attr_t attr;
  ASSERT_EQ(pthread_attr_init(&attr), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attr, AStackBytes), 0);
  pthread_t thread;
  const auto run = [](void *AArg) -> void * {
    auto *c = static_cast<TCall *>(AArg);
    try {
      (*c->Fn)();
    } catch (...) {
      c->Failure = std::current_exception();
    }
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attr, run, &call), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attr);
  if (call.Failure) std::rethrow_exception(call.Failure);
}

std::string Repeat(const std::string &AText, std::size_t ACount) {
  std::string r;
  r.reserve(AText.size() * ACount);
  for (std::size_t i = 0; i < ACount; ++i) r += AText;
  return r;
}

Doc LoadUTF8(const std::string &AText) {
  Doc doc(New<TVnDOMDocument>());
  doc->LoadFromXML(AnsiString(AText, CP_UTF8));
  return doc;
}

// Counts what it is given and keeps only the last bytes.
class TCountingStream : public TStream {
  VN_CLASS(TCountingStream, TStream)
 public:
  Int64 Read(void *, Int64) override { return 0; }
  Int64 Write(const void *ABuffer, Int64 ACount) override {
    Count += ACount;
    Tail.append(static_cast<const char *>(ABuffer), static_cast<std::size_t>(ACount));
    if (Tail.size() > 64) Tail.erase(0, Tail.size() - 64);
    return ACount;
  }
  Int64 Seek(Int64, TSeekOrigin) override { return Count; }
  Int64 Count = 0;
  std::string Tail;
};

TEST(XmlJsonDeep, HundredThousandLevelsUnformatted) {
  constexpr std::size_t depth = 100000;
  const std::string xml = Repeat("<a>", depth) + "x" + Repeat("</a>", depth);
  OnSmallStack([&] {
    Doc d = LoadUTF8(xml);
    TMemoryStream s;
    d->SaveToJSONStream(&s, false, false);
    EXPECT_EQ(Bytes(s), Repeat("\"a\": {", depth - 1) + "\"a\": \"x\"" + Repeat("}", depth - 1));
  });
}

TEST(XmlJsonDeep, FormattedDeepOnASmallStack) {
  // The pads grow with the depth, so the text grows with its square: ten thousand levels give
  // some 200 MB, counted rather than kept. A walk that called itself per level would need far
  // more than the thread's stack.
  constexpr Int64 depth = 10000;
  const std::string xml = Repeat("<a>", static_cast<std::size_t>(depth)) + "x" +
                          Repeat("</a>", static_cast<std::size_t>(depth));
  OnSmallStack(
      [&] {
        Doc d = LoadUTF8(xml);
        TCountingStream s;
        d->SaveToJSONStream(&s, true, false);
        // Each outer level: pad, "a": {, break ... break, pad, }; the innermost: pad, "a": "x".
        EXPECT_EQ(s.Count, 2 * (depth - 1) * depth + 11 * (depth - 1) + 2 * depth + 8);
        EXPECT_EQ(s.Tail.substr(s.Tail.size() - 12), "\r\n    }\r\n  }");
      },
      128 * 1024);
}

TEST(XmlJsonDeep, NestedArraysAndItems) {
  // Each level has two children "i": the first nests further, so arrays and array items
  // alternate with objects all the way down.
  constexpr std::size_t depth = 100000;
  const std::string xml = "<r>" + Repeat("<i>", depth) + Repeat("<i/></i>", depth) + "</r>";
  OnSmallStack([&] {
    Doc d = LoadUTF8(xml);
    TMemoryStream s;
    d->SaveToJSONStream(&s, false, false);
    const std::string out = Bytes(s);
    EXPECT_EQ(out.substr(0, 30), "\"r\": {\"i\": {\"i\": [{\"i\": {\"i\": ");
    EXPECT_EQ(std::count(out.begin(), out.end(), '['), std::count(out.begin(), out.end(), ']'));
    EXPECT_EQ(std::count(out.begin(), out.end(), '{'), std::count(out.begin(), out.end(), '}'));
    EXPECT_EQ(std::count(out.begin(), out.end(), '['), static_cast<long>(depth / 2));
  });
}

}  // namespace
}  // namespace xmljson
