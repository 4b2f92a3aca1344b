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

// Setting a value escapes control characters as numeric references in text and attributes;
// comments and CDATA take the value raw.
TEST(XmlLeaves, SetNodeValueEscapesControlCharacters) {
  Doc d = Load(u"<a k=\"\"><!--c--><![CDATA[d]]>t</a>");
  TVnDOMElement *a = d->GetRootNode();
  auto *t = static_cast<TVnDOMText *>(a->GetCharNodes()->GetItem(2));
  t->SetNodeValue(u"a\tb\n");
  EXPECT_EQ(t->GetStoredValue(), u"a&#9;b&#10;");
  EXPECT_EQ(t->GetNodeValue(), u"a\tb\n");
  t->SetNodeValue(u"\r\x1f\x20>");
  EXPECT_EQ(t->GetStoredValue(), u"&#13;&#31; &gt;");
  // Code 0 passes as it is.
  const UnicodeString nul(u"x\0y", 3);
  t->SetNodeValue(nul);
  EXPECT_EQ(t->GetStoredValue(), nul);
  t->SetNodeValue(u"a\tb");

  // An attribute keeps the apostrophe but escapes the double quote and control characters.
  TVnDOMAttribute *k = a->FirstAttribute();
  k->SetNodeValue(u"'q' \"r\"\t\r\n");
  EXPECT_EQ(k->GetStoredValue(), u"'q' &quot;r&quot;&#9;&#13;&#10;");
  EXPECT_EQ(k->GetNodeValue(), u"'q' \"r\"\t\r\n");

  auto *c = static_cast<TVnDOMComment *>(a->GetCharNodes()->GetItem(0));
  auto *cd = static_cast<TVnDOMCDATA *>(a->GetCharNodes()->GetItem(1));
  c->SetNodeValue(u"\t<");
  cd->SetNodeValue(u"\n&");
  EXPECT_EQ(c->GetStoredValue(), u"\t<");
  EXPECT_EQ(cd->GetStoredValue(), u"\n&");
  EXPECT_EQ(d->GetXML(),
            u"<a k=\"'q' &quot;r&quot;&#9;&#13;&#10;\"><!--\t<--><![CDATA[\n&]]>a&#9;b</a>");
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

// The split works on the decoded value: references are never cut, and both halves are stored
// escaped again.
TEST(XmlLeaves, SplitTextOfReferencesAndCDATA) {
  Doc d = Load(u"<r>a&amp;bc&lt;</r>");
  TVnDOMElement *r = d->GetRootNode();
  auto *t = static_cast<TVnDOMText *>(r->GetCharNodes()->GetItem(0));
  TVnDOMText *rest = t->SplitText(2);
  EXPECT_EQ(t->GetStoredValue(), u"a&amp;");
  EXPECT_EQ(rest->GetStoredValue(), u"bc&lt;");
  TVnDOMText *amp = t->SplitText(1);
  EXPECT_EQ(t->GetStoredValue(), u"a");
  EXPECT_EQ(amp->GetStoredValue(), u"&amp;");
  EXPECT_EQ(amp->NextSibling(), rest);
  EXPECT_EQ(r->GetXML(), u"<r>a&amp;bc&lt;</r>");

  // Split CDATA keeps its head as CDATA; the rest becomes plain text, escaped, so that what the
  // section held raw is now escaped once more.
  Doc c = Load(u"<r><![CDATA[x<&amp;]]><e/></r>");
  TVnDOMElement *cr = c->GetRootNode();
  auto *cd = static_cast<TVnDOMCDATA *>(cr->GetCharNodes()->GetItem(0));
  TVnDOMText *tail = cd->SplitText(1);
  EXPECT_EQ(tail->ClassType(), TVnDOMText::StaticClass());
  EXPECT_EQ(tail->GetNodeType(), ntText);
  EXPECT_EQ(cd->GetStoredValue(), u"x");
  EXPECT_EQ(tail->GetStoredValue(), u"&lt;&amp;amp;");
  EXPECT_EQ(tail->GetNodeValue(), u"<&amp;");
  EXPECT_EQ(cr->GetCDATACount(), 1);
  EXPECT_EQ(cr->GetXML(), u"<r><![CDATA[x]]>&lt;&amp;amp;<e /></r>");
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

// An attribute taken out of its element remembers its namespace URI, and declares it on the
// element it joins when that element has no declaration of it.
TEST(XmlLeaves, DetachedAttributeRejoinsWithItsURI) {
  Doc d = Load(
      u"<r><a xmlns:p=\"urn:p\" p:x=\"1\" xmlns=\"urn:d\" k=\"2\"/><b/><c xmlns:p=\"urn:p\"/>"
      u"<e/></r>");
  TVnDOMElement *a = d->GetRootNode()->FindElement(u"a");
  TVnDOMElement *b = d->GetRootNode()->FindElement(u"b");
  TVnDOMElement *c = d->GetRootNode()->FindElement(u"c");
  TVnDOMElement *e = d->GetRootNode()->FindElement(u"e");
  auto *x = static_cast<TVnDOMAttribute *>(a->FindAttribute(u"p:x"));
  auto *k = static_cast<TVnDOMAttribute *>(a->FindAttribute(u"k"));
  ASSERT_NE(x, nullptr);
  ASSERT_NE(k, nullptr);
  EXPECT_EQ(k->GetNamespaceURI(), u"urn:d");

  Owned heldX(a->GetChildNodes()->Delete(x));
  Owned heldK(a->GetChildNodes()->Delete(k));
  ASSERT_EQ(heldX.get(), x);
  ASSERT_EQ(heldK.get(), k);
  EXPECT_EQ(x->ParentNode(), nullptr);
  EXPECT_EQ(x->GetNamespaceURI(), u"urn:p");
  EXPECT_EQ(k->GetNamespaceURI(), u"urn:d");
  EXPECT_EQ(a->GetXML(), u"<a xmlns:p=\"urn:p\" xmlns=\"urn:d\" />");

  // Joining an element without a declaration adds one right before the attribute.
  b->AddChild(static_cast<TVnDOMNode *>(heldX.release()));
  EXPECT_EQ(b->GetXML(), u"<b xmlns:p=\"urn:p\" p:x=\"1\" />");
  EXPECT_EQ(x->GetNamespaceURI(), u"urn:p");
  EXPECT_EQ(x->GetNamespace(), b->FirstAttribute());
  // An unprefixed attribute declares its URI as the default namespace.
  e->AddChild(static_cast<TVnDOMNode *>(heldK.release()));
  EXPECT_EQ(e->GetXML(), u"<e xmlns=\"urn:d\" k=\"2\" />");
  EXPECT_EQ(k->GetNamespaceURI(), u"urn:d");

  // Where the URI is declared already, nothing is added.
  heldX.reset(b->GetChildNodes()->Delete(x));
  c->AddChild(static_cast<TVnDOMNode *>(heldX.release()));
  EXPECT_EQ(c->GetXML(), u"<c xmlns:p=\"urn:p\" p:x=\"1\" />");
  EXPECT_EQ(x->GetNamespaceURI(), u"urn:p");
  EXPECT_EQ(b->GetXML(), u"<b xmlns:p=\"urn:p\" />");
}

// Turning an attribute into a declaration or back relinks its sibling attributes; a new prefix
// links the attribute to the declaration of that prefix.
TEST(XmlLeaves, RenamesAndPrefixesRelinkDeclarations) {
  Doc d = Load(u"<a p:x=\"1\" y=\"urn:p\"/>");
  TVnDOMElement *a = d->GetRootNode();
  TVnDOMAttribute *x = a->FirstAttribute();
  TVnDOMAttribute *y = a->LastAttribute();
  EXPECT_EQ(x->GetNamespace(), nullptr);
  EXPECT_EQ(x->GetNamespaceURI(), u"");
  y->SetQualifiedName(u"xmlns:p");
  EXPECT_TRUE(y->IsNamespace());
  EXPECT_EQ(x->GetNamespace(), y);
  EXPECT_EQ(x->GetNamespaceURI(), u"urn:p");
  EXPECT_EQ(a->GetXML(), u"<a p:x=\"1\" xmlns:p=\"urn:p\" />");
  // Out of the declaration again.
  y->SetQualifiedName(u"y");
  EXPECT_EQ(x->GetNamespace(), nullptr);
  EXPECT_EQ(x->GetNamespaceURI(), u"");
  // A declaration of another prefix does not serve it.
  y->SetQualifiedName(u"xmlns:q");
  EXPECT_EQ(x->GetNamespace(), nullptr);

  // SetPrefix links to the declaration of the new prefix; the empty one to the default.
  Doc s = Load(u"<a xmlns=\"urn:d\" xmlns:p=\"urn:p\" x=\"1\"/>");
  TVnDOMElement *sa = s->GetRootNode();
  TVnDOMAttribute *sx = sa->LastAttribute();
  EXPECT_EQ(sx->GetNamespaceURI(), u"urn:d");
  sx->SetPrefix(u"p");
  EXPECT_EQ(sx->GetQualifiedName(), u"p:x");
  EXPECT_EQ(sx->GetNamespace(), sa->GetAttributes()->GetItem(1));
  EXPECT_EQ(sx->GetNamespaceURI(), u"urn:p");
  EXPECT_EQ(sa->GetXML(), u"<a xmlns=\"urn:d\" xmlns:p=\"urn:p\" p:x=\"1\" />");
  sx->SetPrefix(u"q");
  EXPECT_EQ(sx->GetNamespace(), nullptr);
  EXPECT_EQ(sx->GetNamespaceURI(), u"");
  sx->SetPrefix(u"");
  EXPECT_EQ(sx->GetNamespace(), sa->FirstAttribute());
  EXPECT_EQ(sx->GetNamespaceURI(), u"urn:d");
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
