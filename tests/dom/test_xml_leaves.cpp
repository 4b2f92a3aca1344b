// Text, CDATA, comments, attributes and processing instructions of the real tree.
#include "xml_util.h"

namespace domxml {
namespace {

TEST(XmlLeaves, TextStoresLexicalFormAndReadsDecoded) {
  Doc d = Load(u"<a>x &amp; y<!--c&d--><![CDATA[<z>&amp;]]></a>");
  TVnDOMElement *a = d->GetRootNode();
  ASSERT_EQ(a->GetCharNodes()->Count(), 3);
  auto *t = static_cast<TVnDOMText *>(a->GetCharNodes()->GetItem(0));
  EXPECT_EQ(t->GetStoredValue(), u"x &amp; y");
  EXPECT_EQ(t->GetNodeValue(), u"x & y");
  // Comments and CDATA keep their text raw in every direction.
  auto *c = static_cast<TVnDOMComment *>(a->GetCharNodes()->GetItem(1));
  EXPECT_EQ(c->GetNodeValue(), u"c&d");
  auto *cd = static_cast<TVnDOMCDATA *>(a->GetCharNodes()->GetItem(2));
  EXPECT_EQ(cd->GetNodeValue(), u"<z>&amp;");
  EXPECT_EQ(a->GetXML(), u"<a>x &amp; y<!--c&d--><![CDATA[<z>&amp;]]></a>");

  t->SetNodeValue(u"a<b'\"");
  EXPECT_EQ(t->GetStoredValue(), u"a&lt;b&apos;&quot;");
  EXPECT_EQ(t->GetNodeValue(), u"a<b'\"");
  c->SetNodeValue(u"a&b");
  EXPECT_EQ(c->GetStoredValue(), u"a&b");
  EXPECT_EQ(a->GetXML(), u"<a>a&lt;b&apos;&quot;<!--a&b--><![CDATA[<z>&amp;]]></a>");
}

TEST(XmlLeaves, CharacterDataEditing) {
  Doc d = Load(u"<a>abcd</a>");
  auto *t = static_cast<TVnDOMText *>(d->GetRootNode()->GetCharNodes()->GetItem(0));
  t->AppendStr(u"<e");
  EXPECT_EQ(t->GetStoredValue(), u"abcd&lt;e");
  t->DeleteStr(2, 2);
  EXPECT_EQ(t->GetNodeValue(), u"ad<e");
  t->InsertStr(2, u"XY");
  EXPECT_EQ(t->GetNodeValue(), u"aXYd<e");
  t->ReplaceStr(1, 3, u"&");
  EXPECT_EQ(t->GetNodeValue(), u"&d<e");
  EXPECT_EQ(t->GetStoredValue(), u"&amp;d&lt;e");
  // Substring answers the whole value.
  EXPECT_EQ(t->Substring(2, 1), u"&d<e");

  // Positions outside the value: a delete does nothing, an insert goes first or last, and a
  // replace is the two in turn.
  t->SetNodeValue(u"abcd");
  for (Integer at : {0, -3, 5}) {
    t->DeleteStr(at, 2);
    EXPECT_EQ(t->GetNodeValue(), u"abcd") << at;
  }
  t->DeleteStr(2, 0);
  t->DeleteStr(3, 99);
  EXPECT_EQ(t->GetNodeValue(), u"ab");
  t->InsertStr(0, u"<");
  t->InsertStr(99, u">");
  EXPECT_EQ(t->GetNodeValue(), u"<ab>");
  t->ReplaceStr(0, 2, u"X");
  EXPECT_EQ(t->GetNodeValue(), u"X<ab>");
  t->ReplaceStr(3, 9, u"Y");
  EXPECT_EQ(t->GetNodeValue(), u"X<Y");
}

TEST(XmlLeaves, SplitTextAddsTheRestRightAfter) {
  Doc d = Load(u"<a>abcd<b/></a>");
  TVnDOMElement *a = d->GetRootNode();
  auto *t = static_cast<TVnDOMText *>(a->GetCharNodes()->GetItem(0));
  TVnDOMText *rest = t->SplitText(2);
  EXPECT_EQ(t->GetNodeValue(), u"ab");
  EXPECT_EQ(rest->GetNodeValue(), u"cd");
  EXPECT_EQ(t->NextSibling(), rest);
  EXPECT_EQ(a->GetCharNodes()->Count(), 2);
  EXPECT_EQ(a->GetCharNodes()->GetItem(1), rest);
  EXPECT_EQ(a->GetXML(), u"<a>abcd<b /></a>");

  Owned lone(New<TVnDOMText>());
  EXPECT_THROW(static_cast<TVnDOMText *>(lone.get())->SplitText(1), EVnDomException);
}

TEST(XmlLeaves, AttributeValuesAndDeclarations) {
  Doc d = Load(u"<a x=\"1 &amp; 2\" xmlns=\"u\" XMLNS:p=\"v\" xml:lang=\"en\"/>");
  TVnDOMElement *a = d->GetRootNode();
  ASSERT_EQ(a->AttributeCount(), 4);
  TVnDOMAttribute *x = a->FirstAttribute();
  EXPECT_EQ(x->GetNodeValue(), u"1 & 2");
  x->SetNodeValue(u"it's \"<q>\"");
  // The apostrophe stays; quotes and angle brackets are escaped.
  EXPECT_EQ(x->GetStoredValue(), u"it's &quot;&lt;q&gt;&quot;");
  EXPECT_EQ(x->GetNodeValue(), u"it's \"<q>\"");
  EXPECT_FALSE(x->IsNamespace());
  EXPECT_THROW(x->NamespacePrefix(), EAssertionFailed);

  auto *def = static_cast<TVnDOMAttribute *>(a->GetAttributes()->GetItem(1));
  auto *p = static_cast<TVnDOMAttribute *>(a->GetAttributes()->GetItem(2));
  EXPECT_TRUE(def->IsNamespace());
  EXPECT_TRUE(p->IsNamespace());
  EXPECT_EQ(def->NamespacePrefix(), u"");
  EXPECT_EQ(p->NamespacePrefix(), u"p");
  // A declaration named so in other case is one, but its local name counts as a prefix.
  Doc upper = Load(u"<a XMLNS=\"urn:u\"/>");
  TVnDOMAttribute *odd = upper->GetRootNode()->FirstAttribute();
  EXPECT_TRUE(odd->IsNamespace());
  EXPECT_EQ(odd->NamespacePrefix(), u"XMLNS");
  // An unprefixed attribute takes the default namespace.
  EXPECT_EQ(x->GetNamespaceURI(), u"u");
  TVnDOMAttribute *lang = a->LastAttribute();
  EXPECT_EQ(lang->GetNamespaceURI(), u"http://www.w3.org/XML/1998/namespace");

  EXPECT_EQ(x->NextAttribute(), def);
  EXPECT_EQ(def->PreviousAttribute(), x);
  EXPECT_EQ(x->PreviousAttribute(), nullptr);
  EXPECT_EQ(lang->NextAttribute(), nullptr);
}

TEST(XmlLeaves, DetachedAttributeKeepsItsURI) {
  Doc d = Load(u"<a xmlns:p=\"urn:p\"><b/></a>");
  TVnDOMElement *b = d->GetRootNode()->FirstElement();
  TVnDOMAttribute *at = b->AddAttribute(u"p:x");
  EXPECT_EQ(at->GetNamespaceURI(), u"urn:p");
  // A namespaced attribute added to an element that has no declaration gets one in front.
  TVnDOMAttribute *y = b->AddAttribute(u"urn:q", u"q:y");
  EXPECT_EQ(y->GetNamespaceURI(), u"urn:q");
  EXPECT_EQ(b->GetXML(), u"<b p:x=\"\" xmlns:q=\"urn:q\" q:y=\"\" />");
}

TEST(XmlLeaves, ClonesCopyTheStoredValue) {
  Doc d = Load(u"<a k=\"&lt;\">t&gt;<?pi data?></a>");
  TVnDOMElement *a = d->GetRootNode();
  Owned copy(a->CloneNode(true));
  auto *e = static_cast<TVnDOMElement *>(copy.get());
  EXPECT_EQ(e->GetXML(), u"<a k=\"&lt;\">t&gt;<?pi?></a>");
  EXPECT_EQ(e->AttributeCount(), 1);
  EXPECT_EQ(e->GetCharNodes()->Count(), 1);
}

TEST(XmlLeaves, ProcessingInstructionData) {
  Doc d = Load(u"<?xml version=\"1.0\"?><?style a&b?><a/>");
  auto *pi = d->FindProcessingInstruction(u"STYLE");
  ASSERT_NE(pi, nullptr);
  EXPECT_EQ(pi->GetData(), u"a&b");
  EXPECT_EQ(pi->GetNodeValue(), u"");
  EXPECT_THROW(pi->SetNodeValue(u"x"), EVnDomNotSupported);
  pi->SetData(u"");
  EXPECT_EQ(d->GetXML(), u"<?xml version=\"1.0\"?><?style?><a />");
}

}  // namespace
}  // namespace domxml
