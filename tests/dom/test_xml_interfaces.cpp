// A loaded document driven through the interfaces of the node kinds only.
#include <gtest/gtest.h>

#include "tests/dom/dom_stubs.h"
#include "tests/dom/xml_util.h"

namespace domxml {
namespace {

// A document that counts its living instances, to see when a tree is destroyed.
class TCountedDocument : public TVnDOMDocument {
  VN_CLASS(TCountedDocument, TVnDOMDocument)
 public:
  static inline int Alive = 0;
  TCountedDocument() { ++Alive; }
  ~TCountedDocument() override { --Alive; }
};

const TVnDOMSelectOptions kNone{};

DelphiInterface<IVnDOMDocument> LoadIntf(const UnicodeString &AXML) {
  DelphiInterface<IVnDOMDocument> doc = VnDOMIntf<IVnDOMDocument>(New<TCountedDocument>());
  doc->LoadXML(AXML);
  return doc;
}

std::string SavedEx(IVnDOMDocument *ADoc) {
  TMemoryStream s;
  ADoc->SaveToStreamEx(&s, false, false);
  return Bytes(s);
}

TEST(XmlInterfaces, TypedValuesAndAttributes) {
  {
    auto doc = LoadIntf(u"<r a=\"1\"><n>42</n><f>2.5</f><b>true</b><s>a&amp;b</s><x>no</x></r>");
    auto root = doc->GetRootNode();
    ASSERT_TRUE(root);
    EXPECT_EQ(root->ElementCount(), 5);
    EXPECT_EQ(root->FindElement(u"n", kNone)->GetAsInteger(), 42);
    EXPECT_EQ(root->FindElement(u"n", kNone)->GetAsInt64(), 42);
    EXPECT_EQ(root->FindElement(u"f", kNone)->GetAsDouble(), 2.5);
    EXPECT_TRUE(root->FindElement(u"b", kNone)->GetAsBoolean());
    EXPECT_EQ(root->FindElement(u"s", kNone)->GetAsString(), u"a&b");
    // Text that does not convert answers the default.
    EXPECT_EQ(root->FindElement(u"x", kNone)->GetAsInteger(), 0);
    EXPECT_FALSE(root->FindElement(u"missing", kNone));

    auto n = root->FirstElement();
    n->SetAsInteger(-7);
    EXPECT_EQ(n->GetXML(), u"<n>-7</n>");
    EXPECT_EQ(n->NextElement()->GetLocalName(), u"f");
    EXPECT_FALSE(n->PreviousElement());
    EXPECT_EQ(root->LastElement()->PreviousElement()->GetLocalName(), u"s");
    EXPECT_EQ(n->ParentElement()->GetLocalName(), u"r");

    // Reading an absent attribute by name creates it empty; by URI it raises.
    EXPECT_EQ(root->GetAttrib(u"a"), u"1");
    EXPECT_EQ(root->GetAttrib(u"c"), u"");
    EXPECT_TRUE(root->HasAttribute(u"c", kNone));
    EXPECT_EQ(root->AttributeCount(), 2);
    EXPECT_THROW(root->GetAttribNS(u"urn:none", u"a"), EVnDomNotFound);
    root->SetAttrib(u"c", u"x<\"");
    EXPECT_EQ(root->FindAttribute(u"c", kNone)->GetNodeValue(), u"x<\"");
    root->RemoveAttribute(u"c");
    EXPECT_FALSE(root->HasAttribute(u"c", kNone));
    root->RemoveAttribute(u"c");  // silent when absent
    EXPECT_THROW(root->RemoveAttribute(u"urn:none", u"c"), EVnDomNotFound);
    EXPECT_EQ(root->GetAttributes()->Count(), 1);
    EXPECT_EQ(root->GetElements()->GetElement(Variant(1))->GetLocalName(), u"f");
    EXPECT_EQ(doc->GetXML(),
              u"<r a=\"1\"><n>-7</n><f>2.5</f><b>true</b><s>a&amp;b</s><x>no</x></r>");
    EXPECT_EQ(TCountedDocument::Alive, 1);
  }
  EXPECT_EQ(TCountedDocument::Alive, 0);
}

TEST(XmlInterfaces, CreatingChildrenAndSaving) {
  {
    auto doc = LoadIntf(u"<r a=\"1\"><n>42</n></r>");
    auto root = doc->GetRootNode();
    auto n = root->FirstElement();
    root->AddElement(u"e")->SetAsString(u"x<y");
    root->AddAttribute(u"b")->SetNodeValue(u"q\"");
    root->AddText(u"t&");
    root->AddCDATA(u"c&");
    root->AddComment(u"m&");
    auto first = root->InsertElement(u"first", rdpBefore, n);
    EXPECT_EQ(first->NextElement()->GetLocalName(), u"n");
    root->InsertComment(u"lead", rdpFirst, nullptr);
    EXPECT_EQ(root->GetCharNodes()->Count(), 4);
    EXPECT_EQ(root->GetCDATA(0)->GetNodeValue(), u"c&");
    EXPECT_EQ(SavedEx(doc),
              "<r a=\"1\" b=\"q&quot;\"><!--lead--><first /><n>42</n><e>x&lt;y</e>t&amp;"
              "<![CDATA[c&]]><!--m&--></r>");

    // Removing through the interface.
    root->RemoveElement(first);
    EXPECT_EQ(root->ElementCount(), 2);
    root->RemoveElement(u"e");
    EXPECT_EQ(SavedEx(doc),
              "<r a=\"1\" b=\"q&quot;\"><!--lead--><n>42</n>t&amp;<![CDATA[c&]]><!--m&--></r>");

    // By name, created on demand.
    EXPECT_THROW(root->ElementByName(u"", u"k", coRaise), EVnDomNotFound);
    auto k = root->ElementByName(u"k", TVnDOMSelectOptions{soCreate}, nullptr);
    EXPECT_EQ(k->GetQualifiedName(), u"k");
    EXPECT_EQ(root->LastElement()->GetLocalName(), u"k");
    EXPECT_TRUE(root->HasChildElement(u"k", kNone));
    auto list = root->CreateElementList(u"n", true);
    EXPECT_EQ(list->Count(), 1);
  }
  EXPECT_EQ(TCountedDocument::Alive, 0);
}

TEST(XmlInterfaces, LeavesThroughTheirInterfaces) {
  auto doc = LoadIntf(u"<r xmlns:p=\"urn:p\" p:a=\"1\"><t>abcd</t><!--note--><?pi data?></r>");
  auto root = doc->GetRootNode();
  auto decl = root->FirstAttribute();
  EXPECT_TRUE(decl->IsNamespace());
  EXPECT_EQ(decl->NamespacePrefix(), u"p");
  auto attr = decl->NextAttribute();
  EXPECT_FALSE(attr->IsNamespace());
  EXPECT_EQ(attr->GetNamespaceURI(), u"urn:p");
  EXPECT_EQ(attr->PreviousAttribute()->GetQualifiedName(), u"xmlns:p");
  EXPECT_FALSE(attr->NextAttribute());
  EXPECT_EQ(root->GetAttribNS(u"urn:p", u"a"), u"1");

  auto text = IntfAs<IVnDOMText>(root->FirstElement()->GetCharNodes()->First());
  auto rest = text->SplitTxt(2);
  EXPECT_EQ(text->GetNodeValue(), u"ab");
  EXPECT_EQ(rest->GetNodeValue(), u"cd");
  rest->AppendStr(u"<e");
  rest->InsertStr(1, u"x");
  rest->ReplaceStr(2, 1, u"Y");
  rest->DeleteStr(3, 1);
  EXPECT_EQ(rest->GetNodeValue(), u"xY<e");
  EXPECT_EQ(rest->Substring(2, 1), u"xY<e");  // the whole value, as documented
  EXPECT_EQ(root->FirstElement()->GetXML(), u"<t>abxY&lt;e</t>");

  auto comment = IntfAs<IVnDOMComment>(root->GetCharNodes()->First());
  comment->AppendStr(u"&");
  EXPECT_EQ(comment->GetNodeValue(), u"note&");
  auto pi = IntfAs<IVnDOMProcessingInstruction>(root->GetChildNodes()->Last());
  EXPECT_EQ(pi->GetData(), u"data");
  pi->SetData(u"other");
  EXPECT_EQ(pi->GetXML(), u"<?pi other?>");
}

TEST(XmlInterfaces, DocumentOperations) {
  auto doc = VnDOMIntf<IVnDOMDocument>(New<TCountedDocument>());
  EXPECT_FALSE(doc->GetRootNode());
  EXPECT_FALSE(doc->SelectSingleElement(u"a", kNone));
  EXPECT_EQ(doc->CreateElementList(u"a", kNone)->Count(), 0);
  try {
    doc->SelectSingleElement(u"a", TVnDOMSelectOptions{soRaise});
    ADD_FAILURE();
  } catch (EVnDomNotFound &E) {
    EXPECT_EQ(Msg(E), "There is no node for the given path \"a\".");
  }
  try {
    doc->CreateElementList(u"a", TVnDOMSelectOptions{soCreate});
    ADD_FAILURE();
  } catch (EVnDomNotFound &E) {
    EXPECT_EQ(Msg(E), "It is not possible to use XPath statements on documents without rootnode!");
  }
  try {
    doc->SelectSingleElement(u"", kNone);
    ADD_FAILURE();
  } catch (EVnDomNotFound &E) {
    EXPECT_EQ(Msg(E), "The specified nodePath is empty!");
  }
  try {
    doc->SelectSingleElement(u"a", TVnDOMSelectOptions{soRaise, soCreate});
    ADD_FAILURE();
  } catch (Exception &E) {
    EXPECT_EQ(Msg(E), "It is not possible to specify both soRaise and soCreate!");
  }

  auto root = doc->CreateRootNode(u"urn:x", u"x:root");
  EXPECT_EQ(doc->GetRootNode()->GetNamespaceURI(), u"urn:x");
  EXPECT_THROW(doc->CreateRootNode(u"again"), EVnDomException);
  doc->AddComment(u"c");
  doc->SetProcessingInstruction(u"xml", u"version=\"1.0\"");
  EXPECT_EQ(doc->GetProcessingInstruction(u"XML"), u"version=\"1.0\"");
  EXPECT_THROW(doc->GetProcessingInstruction(u"none"), EVnDomNotFound);
  EXPECT_FALSE(doc->GetCaseSensitive());
  doc->SetCaseSensitive(true);
  EXPECT_TRUE(doc->GetCaseSensitive());
  doc->SetSelectCheckOption(coReturnNil);
  EXPECT_EQ(doc->GetSelectCheckOption(), coReturnNil);
  doc->SetDocumentURI(u"mem:1");
  EXPECT_EQ(doc->GetDocumentURI(), u"mem:1");
  EXPECT_EQ(doc->GetEncoding(), u"UTF-8");
  EXPECT_EQ(SavedEx(doc), "<?xml version=\"1.0\"?><x:root xmlns:x=\"urn:x\" /><!--c-->");

  // LoadXML clears the document first; the stream load adds to what is there.
  doc->LoadXML(u"<a><b/></a>");
  EXPECT_EQ(doc->GetRootNode()->GetLocalName(), u"a");
  TMemoryStream s;
  doc->SaveToStreamEx(&s, false, true);
  EXPECT_EQ(Bytes(s), "\xEF\xBB\xBF<a><b /></a>");
  doc->LoadFromXML(AnsiString("<z/>"));
  s.SetPosition(0);
  doc->LoadFromStreamEx(&s);
  EXPECT_EQ(doc->GetXML(), u"<z /><a><b /></a>");
}

TEST(XmlInterfaces, TreeDiesWithTheLastInterface) {
  DelphiInterface<IVnDOMElement> inner;
  DelphiInterface<IVnDOMText> text;
  {
    auto doc = LoadIntf(u"<r><a><b>v</b></a><c/></r>");
    inner = doc->GetRootNode()->FirstElement()->FirstElement();
    text = IntfAs<IVnDOMText>(inner->GetCharNodes()->First());
  }
  // The document is held by the interfaces on its nodes.
  EXPECT_EQ(TCountedDocument::Alive, 1);
  EXPECT_EQ(inner->NodePath(true, u""), u"/r/a/b");
  inner = nullptr;
  EXPECT_EQ(TCountedDocument::Alive, 1);
  EXPECT_EQ(text->GetNodeValue(), u"v");
  text = nullptr;
  EXPECT_EQ(TCountedDocument::Alive, 0);

  // A removed element that an interface holds outlives its tree, and the tree goes without it.
  DelphiInterface<IVnDOMElement> kept;
  {
    auto doc = LoadIntf(u"<r><a>1</a><c/></r>");
    auto root = doc->GetRootNode();
    kept = root->FirstElement();
    root->RemoveElement(kept);
    EXPECT_FALSE(kept->ParentNode());
    EXPECT_EQ(root->ElementCount(), 1);
  }
  EXPECT_EQ(TCountedDocument::Alive, 0);
  EXPECT_EQ(kept->GetAsInteger(), 1);
  kept->AddElement(u"d");
  EXPECT_EQ(kept->GetXML(), u"<a>1<d /></a>");
  kept = nullptr;
}

// An Impl of another node class that answers the element's identity but carries none of its
// operations refuses them.
TEST(XmlInterfaces, AnElementImplOnAnotherNodeClassRefusesElementOperations) {
  // The stand-in element class is not an element of this library, but its Impl is the library's
  // element Impl: the node operations work, the element operations refuse the object.
  auto intf = VnDOMIntf<IVnDOMElement>(domtest::Element(u"e"));
  EXPECT_EQ(intf->GetLocalName(), u"e");
  EXPECT_FALSE(intf->HasAttributes());
  EXPECT_THROW(intf->GetAsInteger(), EInvalidCast);
  EXPECT_THROW(intf->AddElement(u"x"), EInvalidCast);
  EXPECT_EQ(intf->NodeCount(), 0);
}

}  // namespace
}  // namespace domxml
