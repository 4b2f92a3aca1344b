// The UTF-8 forms of the XML tree: loading UTF-8 text, writing the tree as UTF-8, selecting by
// UTF-8 paths, and reading and writing names and values as UTF-8. Each form must agree with its
// UTF-16 original on text beyond ASCII: two-, three- and four-byte sequences and CJK.
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "tests/utf8/utf8_text.h"
#include "vnxml/xml/uVnXMLDOM.h"

using namespace vn;
using namespace utf8test;

namespace {

using Doc = Owned<TVnDOMDocument>;

// <café 漢字="€">café € 😀 漢字<b>😀</b></café>
std::string Sample() {
  return "<" + Cafe() + " " + std::string(cKanji) + "=\"" + std::string(cEuro) + "\">" + Mixed() +
         "<b>" + std::string(cSmile) + "</b></" + Cafe() + ">";
}

}  // namespace

// --- loading ----------------------------------------------------------------------------------

TEST(Utf8XmlLoad, CreateFromUTF8ReadsEveryWidthAndWritesTheSameBytesBack) {
  const std::string text = Sample();
  Doc doc(TVnDOMDocument::CreateFromUTF8(text));
  TVnDOMElement *root = doc->GetRootNode();
  ASSERT_TRUE(root);
  EXPECT_EQ(root->GetQualifiedName(), Cafe16());
  EXPECT_EQ(root->GetAttribute(UnicodeString(cKanji16)), cEuro16);
  EXPECT_EQ(root->GetNodeValue(), Mixed16());
  EXPECT_EQ(root->FirstElement()->GetText(), cSmile16);
  EXPECT_EQ(doc->GetXMLUTF8(), text);
  // The same text loaded as UTF-16 builds the same tree.
  Doc wide(TVnDOMDocument::CreateFromXML(UTF8ToString(text)));
  EXPECT_EQ(wide->GetXML(), doc->GetXML());
}

TEST(Utf8XmlLoad, LoadFromUTF8ClearsFirstAndTakesViewsOfLargerBuffers) {
  Doc doc(TVnDOMDocument::CreateFromUTF8("<old/>"));
  // Only the view's bytes are read: the text behind it is no part of the document.
  const std::string buffer = "<r>" + std::string(cE) + "</r><junk";
  doc->LoadFromUTF8(std::string_view(buffer).substr(0, buffer.size() - 5));
  ASSERT_TRUE(doc->GetRootNode());
  EXPECT_EQ(doc->GetRootNode()->GetQualifiedName(), u"r");
  EXPECT_EQ(doc->GetRootNode()->GetText(), cE16);
  EXPECT_EQ(doc->NodeCount(), 1);
}

TEST(Utf8XmlLoad, ByteOrderMarkIsSkippedAndEmptyTextLeavesTheDocumentEmpty) {
  Doc doc(TVnDOMDocument::CreateFromUTF8("\xEF\xBB\xBF<r>" + std::string(cEuro) + "</r>"));
  ASSERT_TRUE(doc->GetRootNode());
  EXPECT_EQ(doc->GetRootNode()->GetText(), cEuro16);
  EXPECT_EQ(doc->GetXMLUTF8(), "<r>" + std::string(cEuro) + "</r>");

  doc->LoadFromUTF8("");
  EXPECT_EQ(doc->NodeCount(), 0);
  EXPECT_FALSE(doc->GetRootNode());
  doc->LoadFromUTF8("\xEF\xBB\xBF");
  EXPECT_EQ(doc->NodeCount(), 0);
}

TEST(Utf8XmlLoad, TheBytesAreUTF8WhateverTheDeclarationNames) {
  const std::string text =
      "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><r>" + std::string(cE) + "</r>";
  Doc doc(TVnDOMDocument::CreateFromUTF8(text));
  ASSERT_TRUE(doc->GetRootNode());
  EXPECT_EQ(doc->GetRootNode()->GetText(), cE16);
  // The 8-bit load goes by the declaration instead and reads two Latin-1 characters.
  Doc paged(New<TVnDOMDocument>());
  paged->LoadFromXML(AnsiString(text));
  EXPECT_EQ(paged->GetRootNode()->GetText(), u"\u00C3\u00A9");
}

TEST(Utf8XmlLoad, JSONTextLoadsAsTheXMLItStandsFor) {
  Doc doc(TVnDOMDocument::CreateFromUTF8("{\"" + Cafe() + "\": \"" + Mixed() + "\"}"));
  ASSERT_TRUE(doc->GetRootNode());
  TVnDOMElement *member = doc->GetRootNode()->FirstElement();
  EXPECT_EQ(member->GetQualifiedName(), Cafe16());
  EXPECT_EQ(member->GetText(), Mixed16());
}

TEST(Utf8XmlLoad, MalformedSequencesReadAsReplacementCharacters) {
  // A stray continuation byte, a byte that never occurs, and a sequence cut short.
  Doc doc(TVnDOMDocument::CreateFromUTF8("<r a=\"\x80\">x\xFFy\xE2\x82</r>"));
  ASSERT_TRUE(doc->GetRootNode());
  EXPECT_EQ(doc->GetRootNode()->GetAttribute(u"a"), u"\uFFFD");
  EXPECT_EQ(doc->GetRootNode()->GetText(), u"x\uFFFDy\uFFFD");
}

TEST(Utf8XmlLoad, ASyntaxErrorRaisesAsTheUTF16LoadDoes) {
  const std::string text = "<" + Cafe() + "/><" + std::string(cKanji) + "/>";
  EXPECT_THROW(Doc(TVnDOMDocument::CreateFromUTF8(text)), EVnDomSyntax);
  EXPECT_THROW(Doc(TVnDOMDocument::CreateFromXML(UTF8ToString(text))), EVnDomSyntax);
  Doc doc(New<TVnDOMDocument>());
  EXPECT_THROW(doc->LoadFromUTF8("<r a=\"" + std::string(cE) + "></r>"), EVnDomSyntax);
}

// --- output -----------------------------------------------------------------------------------

TEST(Utf8XmlOutput, NodesAndDocumentsWriteWhatTheUTF16FormsWrite) {
  Doc doc(TVnDOMDocument::CreateFromUTF8("<?xml version=\"1.0\"?>" + Sample()));
  doc->GetRootNode()->AddComment(std::string(cKanji));
  doc->GetRootNode()->AddElement("x")->SetAttribute("q", "a\"<" + std::string(cSmile));
  for (TVnDOMNode *node :
       {static_cast<TVnDOMNode *>(doc.get()), static_cast<TVnDOMNode *>(doc->GetRootNode()),
        static_cast<TVnDOMNode *>(doc->GetRootNode()->LastElement())}) {
    EXPECT_EQ(node->GetXMLUTF8(), UTF8Encode(node->GetXML()));
    EXPECT_EQ(node->GetFormattedXMLUTF8(), UTF8Encode(node->GetFormattedXML()));
  }
  EXPECT_EQ(doc->GetRootNode()->LastElement()->GetXMLUTF8(),
            "<x q=\"a&quot;&lt;" + std::string(cSmile) + "\" />");
}

TEST(Utf8XmlOutput, FormattedOutputIndentsAsTheUTF16Form) {
  Doc doc(TVnDOMDocument::CreateFromUTF8("<a><" + Cafe() + ">" + std::string(cEuro) + "</" +
                                         Cafe() + "></a>"));
  EXPECT_EQ(doc->GetFormattedXMLUTF8(),
            "<a>\r\n  <" + Cafe() + ">" + std::string(cEuro) + "</" + Cafe() + ">\r\n</a>");
}

TEST(Utf8XmlOutput, ALoneSurrogateIsWrittenAsTheReplacementCharacter) {
  Doc doc(TVnDOMDocument::CreateFromUTF8("<r/>"));
  doc->GetRootNode()->SetNodeValue(UnicodeString(u"a\xD800z"));
  EXPECT_EQ(doc->GetXMLUTF8(), "<r>a\xEF\xBF\xBDz</r>");
  EXPECT_EQ(doc->GetXMLUTF8(), UTF8Encode(doc->GetXML()));
}

TEST(Utf8XmlOutput, TheJSONRenderingOfTheTreeAsUTF8) {
  Doc doc(TVnDOMDocument::CreateFromUTF8("<r><" + Cafe() + ">" + std::string(cSmile) + "</" +
                                         Cafe() + "></r>"));
  EXPECT_EQ(doc->GetAsFormattedJSONUTF8(), UTF8Encode(doc->GetAsFormattedJSON()));
  // The JSON writer escapes what is above U+00FF.
  EXPECT_NE(doc->GetAsFormattedJSONUTF8().find("\"" + Cafe() + "\": \"\\uD83D\\uDE00\""),
            std::string::npos)
      << doc->GetAsFormattedJSONUTF8();
}

// --- selection --------------------------------------------------------------------------------

namespace {

// <shop><café 名="€"><item>😀</item><item>漢字</item></café><café 名="é"/></shop>
Doc Shop() {
  const std::string name = std::string(cKanji).substr(0, 3);
  return Doc(TVnDOMDocument::CreateFromUTF8(
      "<shop><" + Cafe() + " " + name + "=\"" + std::string(cEuro) + "\"><item>" +
      std::string(cSmile) + "</item><item>" + std::string(cKanji) + "</item></" + Cafe() + "><" +
      Cafe() + " " + name + "=\"" + std::string(cE) + "\"/></shop>"));
}

}  // namespace

TEST(Utf8XmlSelect, NodePathsWithNamesAndPredicatesBeyondASCII) {
  Doc doc = Shop();
  TVnDOMElement *shop = doc->GetRootNode();
  const std::string name = std::string(cKanji).substr(0, 3);
  const std::string path = Cafe() + "[@" + name + "=\"" + std::string(cEuro) + "\"]/item[. = \"" +
                           std::string(cKanji) + "\"]";
  TVnDOMNode *found = shop->SelectSingleNode(path);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->GetTextUTF8(), cKanji);
  EXPECT_EQ(found, shop->SelectSingleNode(UTF8ToString(path)));

  Owned<TVnDOMNodeList> list(shop->CreateNodeList(Cafe() + "/@" + name));
  ASSERT_EQ(list->Count(), 2);
  EXPECT_EQ(list->GetItem(0)->GetNodeValueUTF8(), cEuro);
  EXPECT_EQ(list->GetItem(1)->GetNodeValueUTF8(), cE);

  EXPECT_FALSE(shop->SelectSingleNode("caf/item"));
  EXPECT_THROW(shop->SelectSingleNode("caf/item", {soRaise}), EVnDomNotFound);
}

TEST(Utf8XmlSelect, ElementPathsOnElementsAndDocuments) {
  Doc doc = Shop();
  TVnDOMElement *shop = doc->GetRootNode();
  TVnDOMElement *viaElement =
      shop->SelectSingleElement(Cafe() + "/item[. = \"" + std::string(cSmile) + "\"]");
  ASSERT_TRUE(viaElement);
  EXPECT_EQ(viaElement->GetText(), cSmile16);
  EXPECT_EQ(doc->SelectSingleElement(Cafe() + "/item"),
            shop->SelectSingleElement(Cafe() + "/item"));

  Owned<TVnDOMElementList> fromDoc(doc->CreateElementList(Cafe(), {}));
  Owned<TVnDOMElementList> fromElement(shop->CreateElementList("//" + Cafe(), {}));
  EXPECT_EQ(fromDoc->Count(), 2);
  EXPECT_EQ(fromElement->Count(), 2);
}

TEST(Utf8XmlSelect, CreatingPathsMakeElementsWithTheDecodedNames) {
  Doc doc = Shop();
  const std::string path = "annex/" + std::string(cKanji) + "/" + Cafe();
  TVnDOMElement *made = doc->GetRootNode()->SelectSingleElement(path, {soCreate});
  ASSERT_TRUE(made);
  EXPECT_EQ(made->GetQualifiedName(), Cafe16());
  EXPECT_EQ(made->ParentElement()->GetQualifiedName(), cKanji16);
  EXPECT_EQ(made->NodePath(), u"/shop/annex/" + UnicodeString(cKanji16) + u"/" + Cafe16());
  EXPECT_EQ(doc->GetRootNode()->SelectSingleElement(path), made);
}

// --- values -----------------------------------------------------------------------------------

TEST(Utf8XmlValues, ElementTextAndValueBothWays) {
  Doc doc(TVnDOMDocument::CreateFromUTF8("<r/>"));
  TVnDOMElement *r = doc->GetRootNode();
  r->SetNodeValue(Mixed() + " <&>");
  EXPECT_EQ(r->GetNodeValue(), Mixed16() + u" <&>");
  EXPECT_EQ(r->GetNodeValueUTF8(), Mixed() + " <&>");
  EXPECT_EQ(r->GetXMLUTF8(), "<r>" + Mixed() + " &lt;&amp;&gt;</r>");

  r->SetAsString(std::string(cKanji));
  EXPECT_EQ(r->GetAsString(), cKanji16);
  EXPECT_EQ(r->GetAsStringUTF8(), cKanji);

  // Text gathers the own text, comments and the child elements' text.
  r->AddText(std::string(cE));
  r->AddElement(Cafe())->SetAsString(std::string(cSmile));
  EXPECT_EQ(r->GetTextUTF8(), UTF8Encode(r->GetText()));
  EXPECT_EQ(r->GetTextUTF8(), std::string(cKanji) + std::string(cE) + std::string(cSmile));
}

TEST(Utf8XmlValues, AttributesByUTF8NameAndValue) {
  Doc doc(TVnDOMDocument::CreateFromUTF8("<r/>"));
  TVnDOMElement *r = doc->GetRootNode();
  r->SetAttribute(Cafe(), Mixed() + "\"'");
  EXPECT_EQ(r->GetAttribute(Cafe16()), Mixed16() + u"\"'");
  EXPECT_EQ(r->GetAttributeUTF8(Cafe()), Mixed() + "\"'");
  EXPECT_EQ(r->GetXMLUTF8(), "<r " + Cafe() + "=\"" + Mixed() + "&quot;'\" />");

  TVnDOMAttribute *a = r->FindAttribute(Cafe());
  ASSERT_TRUE(a);
  a->SetNodeValue(std::string(cEuro));
  EXPECT_EQ(a->GetNodeValueUTF8(), cEuro);
  EXPECT_EQ(r->GetAttributeUTF8(Cafe()), cEuro);
  // Names compare by their decoded characters under the document's collation: the default one
  // folds the case of "É" too, the case-sensitive one does not.
  EXPECT_EQ(r->FindAttribute("CAF\xC3\x89"), a);
  EXPECT_FALSE(r->FindAttribute("CAF\xC3\x89", {soCaseSensitive}));
  EXPECT_FALSE(r->FindAttribute("cafe"));
}

TEST(Utf8XmlValues, CharacterDataAndChildLookups) {
  Doc doc(TVnDOMDocument::CreateFromUTF8("<r/>"));
  TVnDOMElement *r = doc->GetRootNode();
  TVnDOMText *text = r->AddText("a<" + std::string(cE));
  TVnDOMComment *comment = r->AddComment(std::string(cKanji));
  text->SetNodeValue(std::string(cEuro) + "&");
  EXPECT_EQ(text->GetNodeValueUTF8(), std::string(cEuro) + "&");
  EXPECT_EQ(comment->GetNodeValueUTF8(), cKanji);
  TVnDOMElement *child = r->AddElement(std::string(cKanji));
  EXPECT_EQ(r->FindElement(std::string(cKanji)), child);
  EXPECT_EQ(r->FindElement(std::string(cKanji), {soLocalName}), child);
  EXPECT_FALSE(r->FindElement(Cafe()));
  EXPECT_EQ(r->GetXMLUTF8(), "<r>" + std::string(cEuro) + "&amp;<!--" + std::string(cKanji) +
                                 "--><" + std::string(cKanji) + " /></r>");
}

TEST(Utf8XmlValues, MalformedValuesAreStoredWithReplacementCharacters) {
  Doc doc(TVnDOMDocument::CreateFromUTF8("<r/>"));
  TVnDOMElement *r = doc->GetRootNode();
  r->SetAttribute("a", "x\xFFy");
  EXPECT_EQ(r->GetAttribute(u"a"), u"x\uFFFDy");
  r->SetNodeValue("\xF0\x9F");
  EXPECT_EQ(r->GetNodeValue(), u"\uFFFD");
}

TEST(Utf8XmlValues, ChildAndAttributeTestsAndRemovals) {
  Doc doc(TVnDOMDocument::CreateFromUTF8("<r " + Cafe() + "=\"1\"><" + std::string(cKanji) +
                                         "/><b/></r>"));
  TVnDOMElement *r = doc->GetRootNode();
  EXPECT_TRUE(r->HasChildElement(std::string(cKanji)));
  EXPECT_TRUE(r->HasChildElement(std::string(cKanji), {soQualifiedName}));
  EXPECT_TRUE(r->HasAttribute(Cafe()));
  EXPECT_FALSE(r->HasAttribute("CAF\xC3\x89", {soCaseSensitive}));
  r->RemoveElement(std::string(cKanji));
  r->RemoveAttribute(Cafe());
  // Absent names are silent, as in the UTF-16 forms.
  r->RemoveElement(std::string(cKanji));
  r->RemoveAttribute(Cafe());
  EXPECT_FALSE(r->HasChildElement(std::string(cKanji)));
  EXPECT_FALSE(r->HasAttribute(Cafe()));
  EXPECT_EQ(r->GetXMLUTF8(), "<r><b /></r>");
}
