// Documents and elements as values: an XML document, a DOM element and a JSON document are
// written as their own text, at the root of a run and in the place of a member, and read back by
// loading that text.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "exception_text.h"
#include "vnxml/json/uVnJSON.h"
#include "vnxml/json/uVnJSONSerializer.h"
#include "vnxml/rtl/Owned.h"
#include "vnxml/xml/uVnXMLDOM.h"
#include "vnxml/xml/uVnXMLSerializer.h"

using namespace vn;

namespace docmodel {

// An object with a DOM document and a DOM element among its members. The test owns the tree.
class TFiling : public TPersistent {
  VN_CLASS(TFiling, TPersistent)
 public:
  Integer Id = 0;
  TVnDOMDocument *Doc = nullptr;
  TVnDOMElement *Part = nullptr;
  UnicodeString Note;
};
VN_RTTI(TFiling, u"docmodel") {
  R.Field(u"Id", &TFiling::Id);
  R.Field(u"Doc", &TFiling::Doc);
  R.Field(u"Part", &TFiling::Part);
  R.Field(u"Note", &TFiling::Note);
}

// An object with JSON documents among its members, one of them a list. The test owns them.
class TJSONFiling : public TPersistent {
  VN_CLASS(TJSONFiling, TPersistent)
 public:
  Integer Id = 0;
  TVnJSONDocument *Data = nullptr;
  std::vector<TVnJSONDocument *> Pages;
  UnicodeString Note;
};
VN_RTTI(TJSONFiling, u"docmodel") {
  R.Field(u"Id", &TJSONFiling::Id);
  R.Field(u"Data", &TJSONFiling::Data);
  R.Field(u"Pages", &TJSONFiling::Pages);
  R.Field(u"Note", &TJSONFiling::Note);
}

}  // namespace docmodel

using namespace docmodel;
using vntest::MessageOf;

namespace {

using TParams = std::initializer_list<std::pair<const char16_t *, const char16_t *>>;

// The document of a value in a format, with the given parameters.
std::string Text(TVnDataSerializationFormatType AFormat, const TValue &AValue,
                 TParams AParams = {}) {
  Owned<TVnSerializer> s(VnCreateSerializer(AFormat, AValue));
  for (auto &[name, value] : AParams) s->SetParam(name, value);
  return s->Serialize();
}

// The same run, into a stream that holds AFront already.
std::string TextAfter(const std::string &AFront, TVnDataSerializationFormatType AFormat,
                      const TValue &AValue, TParams AParams = {}) {
  Owned<TVnSerializer> s(VnCreateSerializer(AFormat, AValue));
  for (auto &[name, value] : AParams) s->SetParam(name, value);
  TVnStringStream stream(CP_UTF8, 0);
  stream.WriteBuffer(AFront.data(), static_cast<Int64>(AFront.size()));
  s->Serialize(&stream);
  return stream.GetDataString();
}

// UTF-16 LE bytes of ASCII text.
std::string Utf16(const std::string &AText) {
  std::string bytes;
  for (char c : AText) {
    bytes.push_back(c);
    bytes.push_back('\0');
  }
  return bytes;
}

Owned<TVnDOMDocument> Xml(const UnicodeString &AText) {
  return Owned<TVnDOMDocument>(TVnDOMDocument::CreateFromXML(AText));
}

Owned<TVnJSONDocument> Json(const UnicodeString &AText) {
  return Owned<TVnJSONDocument>(TVnJSONDocument::CreateFromJSON(AText));
}

// The child element at AIndex.
TVnDOMElement *Child(TVnDOMElement *AParent, Integer AIndex) {
  return static_cast<TVnDOMElement *>(AParent->GetElements()->TVnDOMNodeListBase::GetItem(AIndex));
}

const UnicodeString cOrder = u"<order no=\"7\"><item>a &amp; b</item><item/></order>";

}  // namespace

// ---------------------------------------------------------------------------------------------
// Writing XML documents and elements

TEST(DocumentSerializer, ADocumentIsWrittenAsItsOwnXmlWhateverTheParameters) {
  auto doc = Xml(cOrder);
  const std::string xml = "<order no=\"7\"><item>a &amp; b</item><item /></order>";
  EXPECT_EQ(Text(dsfXML, TValue(doc.get())), xml);
  EXPECT_EQ(
      Text(dsfXML, TValue(doc.get()),
           {{u"excluderoot", u"true"}, {u"xmlns", u"urn:t"}, {u"excludenamespaces", u"true"}}),
      xml);
  // Into a stream: at its position, after what it holds.
  EXPECT_EQ(TextAfter("<!-- -->", dsfXML, TValue(doc.get())), "<!-- -->" + xml);
  // The document is still whole after the run.
  EXPECT_EQ(doc->GetRootNode()->ElementCount(), 2);
}

TEST(DocumentSerializer, ADocumentKeepsItsDeclarationAndCommentsAndIsWrittenInItsEncoding) {
  auto doc = Xml(u"<?xml version=\"1.0\"?><!--c--><a/>");
  EXPECT_EQ(Text(dsfXML, TValue(doc.get())), "<?xml version=\"1.0\"?><!--c--><a />");

  auto wide = Xml(u"<a>x</a>");
  wide->SetEncoding(u"UTF-16");
  EXPECT_EQ(Text(dsfXML, TValue(wide.get())),
            Utf16("<?xml version=\"1.0\" encoding=\"UTF-16\"?><a>x</a>"));
}

TEST(DocumentSerializer, AnEmptyDocumentWritesNothing) {
  Owned<TVnDOMDocument> doc(New<TVnDOMDocument>());
  EXPECT_EQ(Text(dsfXML, TValue(doc.get())), "");
}

TEST(ElementSerializer, AnElementIsWrittenAsItsXmlAlone) {
  auto doc = Xml(cOrder);
  TVnDOMElement *first = Child(doc->GetRootNode(), 0);
  TVnDOMElement *second = Child(doc->GetRootNode(), 1);
  EXPECT_EQ(Text(dsfXML, TValue(first)), "<item>a &amp; b</item>");
  EXPECT_EQ(Text(dsfXML, TValue(second), {{u"excluderoot", u"true"}}), "<item />");
  EXPECT_EQ(Text(dsfXML, TValue(doc->GetRootNode())),
            "<order no=\"7\"><item>a &amp; b</item><item /></order>");
}

TEST(ElementSerializer, AnElementIsWrittenInThePageOfItsDocumentOrInUtf8) {
  auto doc = Xml(u"<a><b>\u00e9</b></a>");
  TVnDOMElement *b = Child(doc->GetRootNode(), 0);
  // No page set on the document: UTF-8.
  EXPECT_EQ(Text(dsfXML, TValue(b)), "<b>\xC3\xA9</b>");
  doc->SetCodePage(1200);
  EXPECT_EQ(Text(dsfXML, TValue(b)), std::string("<\0b\0>\0\xE9\0<\0/\0b\0>\0", 16));
  // An element taken out of its document is written in UTF-8 again.
  Owned<TVnDOMElement> alone(static_cast<TVnDOMElement *>(b->CloneNode(true)));
  EXPECT_EQ(Text(dsfXML, TValue(alone.get())), "<b>\xC3\xA9</b>");
}

TEST(DocumentSerializer, DocumentAndElementMembersStandAtTheirPlaceWithoutAnElementAround) {
  auto doc = Xml(u"<a x=\"1\"><b>t</b></a>");
  auto other = Xml(u"<c><d/></c>");
  Owned<TFiling> filing(New<TFiling>());
  filing->Id = 7;
  filing->Doc = doc.get();
  filing->Part = Child(other->GetRootNode(), 0);
  filing->Note = u"n";
  EXPECT_EQ(Text(dsfXML, TValue(filing.get()), {{u"excludenamespaces", u"true"}}),
            "<object><Id>7</Id><a x=\"1\"><b>t</b></a><d /><Note>n</Note></object>");
  // With the type attributes of the walk: the members around them have theirs, the texts none.
  const std::string typed = Text(dsfXML, TValue(filing.get()), {{u"xmlns", u"urn:t"}});
  EXPECT_NE(typed.find("</Id><a x=\"1\"><b>t</b></a><d /><Note "), std::string::npos) << typed;
  // A nil member is the walk's nil value.
  filing->Doc = nullptr;
  EXPECT_EQ(Text(dsfXML, TValue(filing.get()), {{u"excludenamespaces", u"true"}}),
            "<object><Id>7</Id><Doc/><d /><Note>n</Note></object>");
}

TEST(DocumentSerializer, TheJsonRenderingOfADocumentIsItsRootWithoutBraces) {
  auto doc = Xml(u"<a x=\"1\"><b>t</b><b>u</b></a>");
  Owned<TVnSerializer> s(New<TVnXMLDocJSONSerializer>(TValue(doc.get())));
  s->SetParam(u"excluderoot", u"true");
  EXPECT_EQ(std::string(s->Serialize()), "\"a\": {\"a_x\": \"1\",\"b\": [\"t\",\"u\"]}");
  // Under dsfXML the registered XML writer stands.
  EXPECT_EQ(Text(dsfXML, TValue(doc.get())), "<a x=\"1\"><b>t</b><b>u</b></a>");
}

// ---------------------------------------------------------------------------------------------
// Writing JSON documents

TEST(JSONDocSerializer, ADocumentIsWrittenAsItsOwnText) {
  auto doc = Json(u"{\"a\":1,\"b\":[true,null],\"c\":\"x\\\"y\"}");
  EXPECT_EQ(Text(dsfJSON, TValue(doc.get())), "{\"a\": 1, \"b\": [true, null], \"c\": \"x\\\"y\"}");
  auto list = Json(u"[1,{\"k\":\"\u00e9\"}]");
  EXPECT_EQ(Text(dsfJSON, TValue(list.get())), "[1, {\"k\": \"\xC3\xA9\"}]");
  EXPECT_EQ(TextAfter("x", dsfJSON, TValue(list.get())), "x[1, {\"k\": \"\xC3\xA9\"}]");
}

TEST(JSONDocSerializer, ExcludeRootDropsTheOuterBracesOnly) {
  auto doc = Json(u"{\"a\":{\"b\":1}}");
  EXPECT_EQ(Text(dsfJSON, TValue(doc.get()), {{u"excluderoot", u"true"}}), "\"a\": {\"b\": 1}");
  auto list = Json(u"[1,2]");
  EXPECT_EQ(Text(dsfJSON, TValue(list.get()), {{u"excluderoot", u"true"}}), "1, 2");
  // Only "true" excludes.
  EXPECT_EQ(Text(dsfJSON, TValue(list.get()), {{u"excluderoot", u"yes"}}), "[1, 2]");
  // Written into a stream that holds text already, only the document's own bytes are cut.
  EXPECT_EQ(TextAfter("{", dsfJSON, TValue(doc.get()), {{u"excluderoot", u"true"}}),
            "{\"a\": {\"b\": 1}");
}

TEST(JSONDocSerializer, ExcludeRootOnAnEmptyObjectOrAnEmptyDocumentWritesNothing) {
  auto empty = Json(u"{}");
  EXPECT_EQ(Text(dsfJSON, TValue(empty.get()), {{u"excluderoot", u"true"}}), "");
  EXPECT_EQ(Text(dsfJSON, TValue(empty.get())), "{}");
  Owned<TVnJSONDocument> none(New<TVnJSONDocument>());
  EXPECT_EQ(Text(dsfJSON, TValue(none.get()), {{u"excluderoot", u"true"}}), "");
  EXPECT_EQ(Text(dsfJSON, TValue(none.get())), "");
}

TEST(JSONDocSerializer, DocumentMembersAreTheValuesOfTheirMembers) {
  auto data = Json(u"{\"a\":1}");
  auto p1 = Json(u"[true]");
  auto p2 = Json(u"{}");
  Owned<TVnJSONDocument> p3(New<TVnJSONDocument>());
  Owned<TJSONFiling> filing(New<TJSONFiling>());
  filing->Id = 7;
  filing->Data = data.get();
  filing->Pages = {p1.get(), p2.get(), p3.get()};
  filing->Note = u"n";
  const std::string members =
      "\"id\":7,\"data\":{\"a\": 1},\"pages\":[[true],{},null],\"note\":\"n\"";
  EXPECT_EQ(Text(dsfJSON, TValue(filing.get())), "{\"className\":\"TJSONFiling\"," + members + "}");
  // "excluderoot" on the object that holds them leaves the documents whole.
  EXPECT_EQ(Text(dsfJSON, TValue(filing.get()), {{u"excluderoot", u"true"}}), members);
}

// ---------------------------------------------------------------------------------------------
// Reading documents and elements

TEST(DocumentDeserializer, ADocumentIsReadBackFromItsText) {
  auto doc =
      Xml(u"<?xml version=\"1.0\"?><order no=\"7\"><item>a &amp; b</item><!--c--><item/>"
          u"</order>");
  const std::string text = Text(dsfXML, TValue(doc.get()));
  Owned<TVnDOMDocument> back(New<TVnDOMDocument>());
  EXPECT_EQ(VnDeserialize(dsfXML, TValue(back.get()), text), back.get());
  EXPECT_EQ(Text(dsfXML, TValue(back.get())), text);
  ASSERT_NE(back->GetRootNode(), nullptr);
  EXPECT_EQ(back->GetRootNode()->ElementCount(), 2);
}

TEST(DocumentDeserializer, TextReadIntoADocumentWithARootStandsBesideIt) {
  auto doc = Xml(u"<a/>");
  VnDeserialize(dsfXML, TValue(doc.get()), RawByteString("<b/>"));
  EXPECT_EQ(Text(dsfXML, TValue(doc.get())), "<a /><b />");
  EXPECT_EQ(doc->GetRootNode()->GetLocalName(), u"a");
}

TEST(DocumentDeserializer, WithoutADocumentTheReaderMakesOneAndDropsItOnFailure) {
  const TVnTypeInfo *type = TVnTypes::GetTypeInfo(TVnDOMDocument::StaticClass());
  Owned<TVnDOMDocument> made(static_cast<TVnDOMDocument *>(
      VnDeserializeEx(dsfXML, nullptr, type, RawByteString("<a><b/></a>"))));
  ASSERT_NE(made.get(), nullptr);
  EXPECT_EQ(Text(dsfXML, TValue(made.get())), "<a><b /></a>");
  // The document made for a text that does not parse is freed (the leak check would see it).
  const UnicodeString failure =
      MessageOf([&] { VnDeserializeEx(dsfXML, nullptr, type, RawByteString("<a><b x=></a>")); });
  EXPECT_EQ(failure.substr(0, 29), u"EVnDomSyntax: Line 1, column ");
}

TEST(ElementDeserializer, AnElementIsFilledButNeverCreated) {
  auto doc = Xml(u"<a><b/></a>");
  TVnDOMElement *b = Child(doc->GetRootNode(), 0);
  EXPECT_EQ(VnDeserialize(dsfXML, TValue(b), RawByteString("<c>\xC3\xA9</c>")), b);
  EXPECT_EQ(Text(dsfXML, TValue(doc.get())), "<a><b><c>\xC3\xA9</c></b></a>");
  // Read in the page the element is written in.
  doc->SetCodePage(1200);
  VnDeserialize(dsfXML, TValue(b), Utf16("<d/>"));
  EXPECT_EQ(Text(dsfXML, TValue(b)),
            std::string("<\0b\0>\0<\0c\0>\0\xE9\0<\0/\0c\0>\0", 22) + Utf16("<d /></b>"));

  const TVnTypeInfo *type = TVnTypes::GetTypeInfo(TVnDOMElement::StaticClass());
  EXPECT_EQ(MessageOf([&] { VnDeserializeEx(dsfXML, nullptr, type, RawByteString("<c/>")); }),
            u"Exception: Not supported");
  // Nor when the text names the class.
  const std::string named =
      "<object xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
      "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\" xsi:type=\"xsd:TVnDOMElement\"/>";
  EXPECT_EQ(MessageOf([&] { Owned<TObject> made(VnCreateFrom(dsfXML, named)); }),
            u"Exception: Not supported");
}

TEST(JSONDocDeserializer, ADocumentIsReadBackFromItsText) {
  auto doc = Json(u"{\"a\":1.50,\"b\":[true,null],\"c\":\"\u00e9\\\"\"}");
  const std::string text = Text(dsfJSON, TValue(doc.get()));
  Owned<TVnJSONDocument> back(New<TVnJSONDocument>());
  EXPECT_EQ(VnDeserialize(dsfJSON, TValue(back.get()), text), back.get());
  EXPECT_EQ(Text(dsfJSON, TValue(back.get())), text);
  EXPECT_EQ(back->FindMember(u"c")->GetAsString(), u"\u00e9\"");
}

TEST(JSONDocDeserializer, WithoutADocumentTheReaderMakesOneAndDropsItOnFailure) {
  const TVnTypeInfo *type = TVnTypes::GetTypeInfo(TVnJSONDocument::StaticClass());
  Owned<TVnJSONDocument> made(static_cast<TVnJSONDocument *>(
      VnDeserializeEx(dsfJSON, nullptr, type, RawByteString("[1,{\"k\":2}]"))));
  ASSERT_NE(made.get(), nullptr);
  EXPECT_EQ(Text(dsfJSON, TValue(made.get())), "[1, {\"k\": 2}]");
  const UnicodeString failure =
      MessageOf([&] { VnDeserializeEx(dsfJSON, nullptr, type, RawByteString("[1,")); });
  EXPECT_EQ(failure.substr(0, 50), u"EVnJSONParseError: The document is not wellformed!");
}

TEST(JSONDocDeserializer, TheTextReplacesTheValueOfADocument) {
  auto doc = Json(u"{\"a\":1}");
  VnDeserialize(dsfJSON, TValue(doc.get()), RawByteString("{\"b\":2}"));
  EXPECT_EQ(Text(dsfJSON, TValue(doc.get())), "{\"b\": 2}");
}
