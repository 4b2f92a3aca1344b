// The element API of the real tree: kind lists, lookups by name, namespaces, values.
#include "xml_util.h"

namespace domxml {
namespace {

TEST(XmlElement, KindListsFollowTheChildList) {
  Doc d = Load(u"<a x=\"1\">t<b/><!--c--><?p?><![CDATA[d]]><e/></a>");
  TVnDOMElement *a = d->GetRootNode();
  EXPECT_EQ(a->NodeCount(), 7);
  EXPECT_EQ(a->AttributeCount(), 1);
  EXPECT_EQ(a->ElementCount(), 2);
  EXPECT_EQ(a->GetCharNodes()->Count(), 3);
  TVnDOMElement *b = a->FirstElement();
  TVnDOMElement *e = a->LastElement();
  EXPECT_EQ(b->NextElement(), e);
  EXPECT_EQ(e->PreviousElement(), b);
  EXPECT_EQ(e->NextElement(), nullptr);
  EXPECT_EQ(a->NextElement(), nullptr);
  a->RemoveElement(b);
  EXPECT_EQ(a->ElementCount(), 1);
  EXPECT_EQ(a->NodeCount(), 6);
  // The child list's own Delete takes the node out of the kind list too.
  TVnDOMNode *cdata = a->GetCharNodes()->GetItem(2);
  Owned taken(a->GetChildNodes()->Delete(cdata));
  EXPECT_EQ(a->GetCharNodes()->Count(), 2);
  EXPECT_EQ(a->GetCDATACount(), 0);
  EXPECT_EQ(a->GetXML(), u"<a x=\"1\">t<!--c--><?p?><e /></a>");
  // Removing a node of another parent is a programming fault.
  Owned stranger(New<TVnDOMElement>());
  EXPECT_THROW(a->RemoveChild(static_cast<TVnDOMNode *>(stranger.get())), EAssertionFailed);
  EXPECT_EQ(Msg(EAssertionFailed(u"")).size(), 0u);
  try {
    a->RemoveChild(static_cast<TVnDOMNode *>(stranger.get()));
  } catch (EAssertionFailed &E) {
    EXPECT_EQ(Msg(E),
              "The specified ChildNode is not a child of this element! (xml/uVnXMLDOM, line 8205)");
  }
  Owned empty(New<TVnDOMElement>());
  EXPECT_THROW(static_cast<TVnDOMElement *>(empty.get())->FirstElement(), EVnDomNotFound);
}

// Adding through the child list's own Add changes the child list alone; the kind lists keep
// what AddChild and RemoveChild gave them, whether anything had read them before or not.
TEST(XmlElement, DirectChildListAddsLeaveTheKindListsAlone) {
  for (bool readFirst : {false, true}) {
    Doc d = Load(u"<a><b/>x</a>");
    TVnDOMElement *a = d->GetRootNode();
    if (readFirst) {
      a->GetElements();
      a->GetCharNodes();
    }
    auto *extra = New<TVnDOMElement>();
    extra->SetQualifiedName(u"extra");
    a->GetChildNodes()->Add(extra, rdpLast);
    auto *y = New<TVnDOMText>();
    y->SetNodeValue(u"y");
    a->GetChildNodes()->Add(y, rdpLast);
    EXPECT_EQ(a->NodeCount(), 4) << readFirst;
    EXPECT_EQ(a->ElementCount(), 1) << readFirst;
    EXPECT_EQ(a->LastElement()->GetLocalName(), u"b") << readFirst;
    EXPECT_EQ(a->GetNodeValue(), u"x") << readFirst;
    // The child list's Delete detaches, and takes the node out of its kind list.
    Owned b(a->GetChildNodes()->Delete(a->GetChildNodes()->GetItem(0)));
    EXPECT_EQ(a->ElementCount(), 0) << readFirst;
    EXPECT_EQ(a->GetXML(), u"<a>x<extra />y</a>") << readFirst;
  }
}

TEST(XmlElement, AddAndInsert) {
  Doc d = Empty();
  TVnDOMElement *r = d->CreateRootNode(u"r");
  TVnDOMElement *b = r->AddElement(u"b");
  r->AddText(u"x<y");
  r->InsertElement(u"a", rdpBefore, b);
  r->InsertComment(u"c", rdpFirst, nullptr);
  r->InsertCDATA(u"]]", rdpAfter, b);
  r->AddAttribute(u"k")->SetNodeValue(u"v");
  EXPECT_EQ(r->GetXML(), u"<r k=\"v\"><!--c--><a /><b /><![CDATA[]]]]>x&lt;y</r>");
  EXPECT_EQ(r->ElementCount(), 2);
  // A kind list keeps its own order: a node placed after a reference of another kind goes last
  // there, unlike in the child list.
  TVnDOMNodeList *chars = r->GetCharNodes();
  ASSERT_EQ(chars->Count(), 3);
  EXPECT_EQ(chars->GetItem(0)->GetNodeType(), ntComment);
  EXPECT_EQ(chars->GetItem(1)->GetNodeType(), ntText);
  EXPECT_EQ(chars->GetItem(2)->GetNodeType(), ntCDATA);
  EXPECT_EQ(r->GetNodeValue(), u"x<y]]");
  EXPECT_EQ(r->FirstElement()->GetLocalName(), u"a");
  EXPECT_THROW(d->CreateRootNode(u"again"), EVnDomException);
}

TEST(XmlElement, ValuesOfMixedContent) {
  Doc d = Load(u"<a>x<b>y</b>z<!--k--></a>");
  TVnDOMElement *a = d->GetRootNode();
  EXPECT_EQ(a->GetNodeValue(), u"xz");
  EXPECT_EQ(a->GetText(), u"xzky");
  Doc c = Load(u"<a>x<!--c--><![CDATA[y]]></a>");
  c->GetRootNode()->SetNodeValue(u"1&2");
  EXPECT_EQ(c->GetXML(), u"<a><![CDATA[y]]>1&amp;2</a>");
  c->GetRootNode()->SetNodeValueEx(u"&lt;");
  EXPECT_EQ(c->GetXML(), u"<a><![CDATA[y]]>&lt;</a>");
  EXPECT_EQ(c->GetRootNode()->GetNodeValue(), u"y<");
}

TEST(XmlElement, CDATAAccess) {
  Doc d = Load(u"<a><![CDATA[one]]>t<![CDATA[two]]></a>");
  TVnDOMElement *a = d->GetRootNode();
  EXPECT_EQ(a->GetCDATACount(), 2);
  EXPECT_EQ(a->GetCDATA(1)->GetNodeValue(), u"two");
  TVnDOMCDATA *next = a->GetCDATA(2);
  EXPECT_EQ(next->GetNodeValue(), u"");
  EXPECT_EQ(a->GetCDATACount(), 3);
  try {
    a->GetCDATA(5);
    ADD_FAILURE();
  } catch (EListError &E) {
    EXPECT_EQ(Msg(E), "There is no CDATA element with index 5!");
  }
}

TEST(XmlElement, NormalizeJoinsNeighbouringText) {
  Doc d = Load(u"<a>x<b/></a>");
  TVnDOMElement *a = d->GetRootNode();
  a->AddText(u"1");
  a->AddText(u"<2");
  a->AddCDATA(u"c");
  a->AddText(u"3");
  a->NormalizeTextNodes();
  EXPECT_EQ(a->GetXML(), u"<a>x<b />1&lt;2<![CDATA[c]]>3</a>");
  EXPECT_EQ(a->GetCharNodes()->Count(), 4);
}

TEST(XmlElement, AsymmetricAttributeAccess) {
  Doc d = Load(u"<a xmlns:p=\"urn:p\" p:k=\"1\"/>");
  TVnDOMElement *a = d->GetRootNode();
  // Reading a missing attribute by name creates it empty, and it is written.
  EXPECT_EQ(a->GetAttribute(u"x"), u"");
  EXPECT_EQ(a->GetXML(), u"<a xmlns:p=\"urn:p\" p:k=\"1\" x=\"\" />");
  EXPECT_EQ(a->GetAttributeNS(u"urn:p", u"k"), u"1");
  try {
    a->GetAttributeNS(u"urn:p", u"missing");
    ADD_FAILURE();
  } catch (EVnDomNotFound &E) {
    EXPECT_EQ(Msg(E), "There is no child with the localname \"missing\" and namespace \"urn:p\"!");
  }
  a->SetAttribute(u"x", u"<");
  EXPECT_EQ(a->FindAttribute(u"x")->GetStoredValue(), u"&lt;");
  a->RemoveAttribute(u"nothing");
  EXPECT_THROW(a->RemoveAttribute(u"urn:p", u"nothing"), EVnDomNotFound);
  a->RemoveAttribute(u"x");
  EXPECT_FALSE(a->HasAttribute(u"x"));
  // SetAttributeNS creates the attribute and declares its URI when needed.
  a->SetAttributeNS(u"urn:q", u"q:z", u"2");
  EXPECT_EQ(a->GetXML(), u"<a xmlns:p=\"urn:p\" p:k=\"1\" xmlns:q=\"urn:q\" q:z=\"2\" />");
  EXPECT_EQ(a->FindAttribute(u"urn:q", u"z")->GetNodeValue(), u"2");
  a->RemoveAttribute(u"urn:p", u"k");
  EXPECT_FALSE(a->HasAttribute(u"urn:p", u"k"));
}

TEST(XmlElement, ElementByNameForms) {
  Doc d = Load(u"<e xmlns=\"urn:u\"><n>1</n><n>2</n></e>");
  TVnDOMElement *e = d->GetRootNode();
  // The later of two equal names wins.
  EXPECT_EQ(e->ElementByName(u"n", {}, nullptr)->GetNodeValue(), u"2");
  EXPECT_EQ(e->ElementByName(u"N", {soCaseSensitive}, nullptr), nullptr);
  EXPECT_THROW(e->ElementByName(u"m", {soRaise}, nullptr), EVnDomNotFound);
  TVnDOMElement *m = e->ElementByName(u"m", {soCreate}, nullptr);
  EXPECT_EQ(m->GetQualifiedName(), u"m");
  EXPECT_EQ(e->LastElement(), m);

  EXPECT_EQ(e->ElementByName(u"urn:none", u"n", coReturnNil), nullptr);
  try {
    e->ElementByName(u"urn:none", u"zz", coRaise);
    ADD_FAILURE();
  } catch (EVnDomNotFound &E) {
    // The message names this element, not the one looked for.
    EXPECT_EQ(Msg(E), "There is no child with the localname \"e\" and namespace \"urn:none\"!");
  }
  // Created in a declared default namespace, the child is named after this element.
  TVnDOMElement *c = e->ElementByName(u"urn:u", u"zz", coCreate);
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(c->GetQualifiedName(), u"e");
  // Without a declaration the element is created but not returned.
  const Integer before = e->ElementCount();
  EXPECT_EQ(e->ElementByName(u"urn:other", u"o", coCreate), nullptr);
  EXPECT_EQ(e->ElementCount(), before + 1);
  EXPECT_EQ(e->LastElement()->GetQualifiedName(), u"o");
  EXPECT_EQ(e->LastElement()->GetNamespaceURI(), u"urn:other");

  // The third form creates with the prefix and declares the URI on the new element.
  TVnDOMElement *k = e->ElementByName(u"urn:k", u"k:item", true);
  EXPECT_EQ(k->GetXML(), u"<k:item xmlns:k=\"urn:k\" />");
  EXPECT_EQ(k->GetNamespaceURI(), u"urn:k");
  EXPECT_EQ(e->ElementByName(u"urn:k", u"item", false), k);
  EXPECT_THROW(e->ElementByName(u"urn:k", u"none", false), EVnDomNotFound);
  // soRaise wins over soCreate: the lookup raises before anything is created.
  const Integer count = e->NodeCount();
  EXPECT_THROW(e->ElementByName(u"zz", {soCreate, soRaise}, nullptr), EVnDomNotFound);
  EXPECT_EQ(e->NodeCount(), count);
}

TEST(XmlElement, NamespacesAfterLoading) {
  Doc d = Load(u"<r xmlns=\"urn:d\" xmlns:p=\"urn:p\"><p:a><b xmlns=\"urn:b\"><c/></b></p:a>t</r>");
  TVnDOMElement *r = d->GetRootNode();
  EXPECT_EQ(r->GetNamespaceURI(), u"urn:d");
  // A text node answers with its element's namespace.
  EXPECT_EQ(r->GetCharNodes()->GetItem(0)->GetNamespaceURI(), u"urn:d");
  TVnDOMElement *a = r->FirstElement();
  EXPECT_EQ(a->GetNamespaceURI(), u"urn:p");
  TVnDOMElement *b = a->FirstElement();
  EXPECT_EQ(b->GetNamespaceURI(), u"urn:b");
  EXPECT_EQ(b->GetNamespaces()->Count(), 2);
  // An element without declarations of its own has those of its parent in scope.
  TVnDOMElement *c = b->FirstElement();
  EXPECT_EQ(c->GetNamespaces()->Count(), 2);
  EXPECT_EQ(a->GetNamespaces()->Count(), 2);
  EXPECT_EQ(static_cast<TVnDOMAttribute *>(c->GetNamespaces()->GetItem(1))->GetNodeValue(),
            u"urn:b");
  EXPECT_EQ(b->FindNamespace(u"urn:p"), r->FindAttribute(u"xmlns:p"));
  EXPECT_EQ(b->FindNamespace(u"urn:none"), nullptr);
  // Changing the prefix follows the declarations in scope.
  b->SetPrefix(u"p");
  EXPECT_EQ(b->GetNamespaceURI(), u"urn:p");
  b->SetPrefix(u"");
  EXPECT_EQ(b->GetNamespaceURI(), u"urn:b");
  // A removed element that an interface holds lives on and keeps its URI; its subtree no longer
  // sees the declarations of its old ancestors. The document is held by an interface too, so it
  // outlives the removal.
  DelphiInterface<IVnDOMNode> doc = VnDOMIntf<IVnDOMNode>(d.release());
  {
    DelphiInterface<IVnDOMNode> keep = VnDOMIntf<IVnDOMNode>(b);
    a->RemoveElement(b);
    EXPECT_EQ(b->ParentNode(), nullptr);
    EXPECT_EQ(b->GetNamespaceURI(), u"urn:b");
    EXPECT_EQ(b->FirstElement()->GetNamespaces()->Count(), 0);
    EXPECT_EQ(a->ElementCount(), 0);
  }
  EXPECT_EQ(doc->GetXML(), u"<r xmlns=\"urn:d\" xmlns:p=\"urn:p\"><p:a />t</r>");
}

TEST(XmlElement, NamespaceOfAddedElements) {
  Doc d = Empty();
  TVnDOMElement *r = d->CreateRootNode(u"urn:r", u"r");
  EXPECT_EQ(r->GetXML(), u"<r xmlns=\"urn:r\" />");
  EXPECT_EQ(r->GetNamespaceURI(), u"urn:r");
  TVnDOMElement *x = r->AddElement(u"urn:x", u"x");
  EXPECT_EQ(x->GetNamespaceURI(), u"urn:x");
  TVnDOMElement *p = r->AddElement(u"urn:p", u"p:y");
  EXPECT_EQ(r->GetXML(), u"<r xmlns=\"urn:r\"><x xmlns=\"urn:x\" /><p:y xmlns:p=\"urn:p\" /></r>");
  EXPECT_EQ(p->GetNamespaceURI(), u"urn:p");
  // Detached, the URI waits for the parent.
  Owned lone(New<TVnDOMElement>());
  auto *l = static_cast<TVnDOMElement *>(lone.get());
  l->SetNamespaceURI(u"urn:l");
  EXPECT_EQ(l->GetNamespaceURI(), u"urn:l");
}

TEST(XmlElement, TypedGettersAndSetters) {
  Doc d = Load(u"<r><i>42</i><f>2.5</f><b>true</b><t>2020-01-02T03:04:05</t><bad>x</bad></r>");
  TVnDOMElement *r = d->GetRootNode();
  EXPECT_EQ(r->FindElement(u"i")->GetAsInteger(), 42);
  EXPECT_EQ(r->FindElement(u"i")->GetAsInt64(), 42);
  EXPECT_EQ(r->FindElement(u"f")->GetAsDouble(), 2.5);
  EXPECT_TRUE(r->FindElement(u"b")->GetAsBoolean());
  EXPECT_DOUBLE_EQ(r->FindElement(u"t")->GetAsDateTime().Val,
                   double(EncodeDate(2020, 1, 2) + EncodeTime(3, 4, 5, 0)));
  TVnDOMElement *bad = r->FindElement(u"bad");
  // The numeric and date getters answer their defaults; the boolean one is true only for
  // "true" and "1".
  EXPECT_EQ(bad->GetAsInteger(), 0);
  EXPECT_EQ(bad->GetAsInt64(), 0);
  EXPECT_EQ(bad->GetAsDouble(), 0.0);
  EXPECT_EQ(bad->GetAsDateTime().Val, 0.0);
  EXPECT_FALSE(bad->GetAsBoolean());
  EXPECT_EQ(bad->GetAsAnsiString(), AnsiString("x"));

  bad->SetAsInteger(-7);
  EXPECT_EQ(bad->GetXML(), u"<bad>-7</bad>");
  bad->SetAsBoolean(false);
  EXPECT_EQ(bad->GetXML(), u"<bad>false</bad>");
  bad->SetAsDouble(1.5);
  EXPECT_EQ(bad->GetXML(), u"<bad>1.5</bad>");
  bad->SetAsInt64(1234567890123LL);
  EXPECT_EQ(bad->GetXML(), u"<bad>1234567890123</bad>");
  bad->SetAsString(u"a<'\"");
  EXPECT_EQ(bad->GetXML(), u"<bad>a&lt;&apos;&quot;</bad>");
  EXPECT_EQ(bad->GetAsString(), u"a<'\"");
  bad->SetAsAnsiString(AnsiString("plain"));
  EXPECT_EQ(bad->GetAsString(), u"plain");
  EXPECT_EQ(bad->GetAsValue().AsString(), u"plain") << "without a type the text";
}

TEST(XmlElement, ValuesFollowTheSchemaInstanceTypes) {
  Doc d = Load(
      u"<r xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
      u"xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\">"
      u"<i xsi:type=\"xsd:int\">12</i><n xsi:nil=\"true\">5</n><e xsi:type=\"xsd:int\"/>"
      u"<bad xsi:type=\"\">1</bad><v/></r>");
  TVnDOMElement *r = d->GetRootNode();
  TValue i = r->FindElement(u"i")->GetAsValue();
  EXPECT_EQ(i.GetTypeInfo(), TypeInfo<Integer>());
  EXPECT_EQ(i.AsInteger(), 12);
  EXPECT_TRUE(r->FindElement(u"n")->GetAsValue().GetIsEmpty());
  EXPECT_TRUE(r->FindElement(u"e")->GetAsValue().GetIsEmpty()) << "no text, no value";
  EXPECT_THROW(r->FindElement(u"bad")->GetAsValue(), EVnDomException);

  TVnDOMElement *v = r->FindElement(u"v");
  v->SetAsValue(TValue(5));
  EXPECT_EQ(v->GetXML(), u"<v xsi:type=\"xsd:int\">5</v>");
  EXPECT_EQ(v->GetAsValue().AsInteger(), 5);
  v->SetAsValue(TValue(UnicodeString(u"a<b")));
  EXPECT_EQ(v->GetAsString(), u"a<b");
  EXPECT_EQ(v->GetXML(), u"<v xsi:type=\"xsd:string\">a&lt;b</v>");
  v->SetAsValue(TValue());
  EXPECT_EQ(v->GetXML(), u"<v xsi:type=\"xsd:string\" xsi:nil=\"true\"></v>");
}

TEST(XmlElement, VariantsAndTheSchemaInstanceSwitch) {
  Doc d = Load(
      u"<r xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\">"
      u"<n xsi:nil=\"true\">5</n><s>text</s><e/><i xsi:type=\"xsd:int\">12</i>"
      u"<bad xsi:type=\"\">1</bad><b64 xsi:type=\"my:Base64BinaryData\">QUJD</b64>"
      u"<odd xsi:type=\"xsd:unheardOf\">x&amp;y</odd><t xsi:type=\"xsd:time\">10:20:30</t>"
      u"<f xsi:nil=\"false\">5</f></r>");
  // An attribute that carries the schema-instance URI switches the document over.
  EXPECT_TRUE(d->GetUseSchemaInstance());
  TVnDOMElement *r = d->GetRootNode();
  EXPECT_TRUE(VarIsNull(r->FindElement(u"n")->GetAsVariant()));
  EXPECT_EQ(r->FindElement(u"s")->GetAsVariant().AsString(), u"text");
  EXPECT_TRUE(VarIsNull(r->FindElement(u"e")->GetAsVariant()));
  Variant i = r->FindElement(u"i")->GetAsVariant();
  EXPECT_EQ(i.VType(), varInteger);
  EXPECT_EQ(i.AsString(), u"12");
  try {
    r->FindElement(u"bad")->GetAsVariant();
    ADD_FAILURE();
  } catch (EVnDomException &E) {
    EXPECT_EQ(Msg(E), "The type attribute does not contain valid typeinfo.");
  }
  // A type name that is not registered reads on: one that speaks of base64 gives the text as an
  // 8-bit string, any other goes through the conversion of an unknown kind, which gives the text.
  Variant b64 = r->FindElement(u"b64")->GetAsVariant();
  EXPECT_EQ(b64.VType(), varString);
  EXPECT_EQ(b64.AsString(), u"QUJD");
  EXPECT_EQ(r->FindElement(u"odd")->GetAsVariant().AsString(), u"x&y");
  EXPECT_EQ(r->FindElement(u"t")->GetAsVariant().VType(), varDate);
  // Any nil attribute makes the value Null, "false" included.
  EXPECT_TRUE(VarIsNull(r->FindElement(u"f")->GetAsVariant()));
  EXPECT_EQ(r->GetChildElementValue(Variant(u"s")).AsString(), u"text");

  // With both prefixes declared, setters write a type and nil marks Null.
  d->SetUseSchemaInstance(true);
  EXPECT_NE(r->FindAttribute(u"xmlns:xsd"), nullptr);
  TVnDOMElement *s = r->FindElement(u"s");
  s->SetAsInteger(3);
  EXPECT_EQ(s->GetXML(), u"<s xsi:type=\"xsd:int\">3</s>");
  s->SetAsVariant(Null());
  EXPECT_EQ(s->GetXML(), u"<s xsi:type=\"xsd:int\" xsi:nil=\"true\"></s>");
  s->SetAsString(u"<");
  EXPECT_EQ(s->GetXML(), u"<s xsi:type=\"xsd:string\">&lt;</s>");
  d->SetUseSchemaInstance(false);
  s->SetAsVariant(Variant(Integer(9)));
  EXPECT_EQ(s->GetXML(), u"<s xsi:type=\"xsd:string\">9</s>");
}

TEST(XmlElement, PreserveSpaceFlags) {
  Doc d = Load(u"<a><b/></a>");
  TVnDOMElement *a = d->GetRootNode();
  TVnDOMElement *b = a->FirstElement();
  a->SetPreseveSpace(true);
  EXPECT_TRUE(a->GetPreserveSpace());
  EXPECT_EQ(a->GetAttribute(u"xml:space"), u"preserve");
  // The existing child keeps its flag, a new one takes the parent's.
  EXPECT_FALSE(b->GetPreserveSpace());
  EXPECT_TRUE(a->AddElement(u"c")->GetPreserveSpace());
  a->SetPreseveSpace(false);
  EXPECT_EQ(a->GetAttribute(u"xml:space"), u"default");
  Doc p = Load(u"<a xml:space=\"PRESERVE\"><b> </b><c xml:space=\"default\"> </c></a>");
  EXPECT_EQ(p->GetXML(), u"<a xml:space=\"PRESERVE\"><b> </b><c xml:space=\"default\" /></a>");
}

TEST(XmlElement, ElementListsByName) {
  Doc d = Load(u"<a><b><b/></b><c><b/></c></a>");
  TVnDOMElement *a = d->GetRootNode();
  TVnDOMElement *b = a->FirstElement();
  vn::Owned<TVnDOMElementList> own(b->CreateElementList(u"b", false));
  EXPECT_EQ(own->Count(), 1);
  EXPECT_EQ(own->First(), b);
  vn::Owned<TVnDOMElementList> none(a->CreateElementList(u"b", false));
  EXPECT_EQ(none->Count(), 0);
  vn::Owned<TVnDOMElementList> all(a->CreateElementList(u"B", true));
  EXPECT_EQ(all->Count(), 3);
  // The prefix is compared with the namespace URI.
  vn::Owned<TVnDOMElementList> pref(a->CreateElementList(u"p:b", true));
  EXPECT_EQ(pref->Count(), 0);
  // The list has no owner: freeing it frees no node.
  all.reset();
  EXPECT_EQ(a->GetXML(), u"<a><b><b /></b><c><b /></c></a>");
}

// An unprefixed name in a namespace that is not in scope yet gets a default declaration: on the
// element, just before a new attribute, or on a new element itself.
TEST(XmlElement, UnprefixedNamesInANamespaceDeclareADefault) {
  Doc d = Load(u"<a x=\"1\"><b y=\"2\"/></a>");
  TVnDOMElement *a = d->GetRootNode();
  TVnDOMElement *b = a->FirstElement();
  TVnDOMAttribute *k = a->AttributeByName(u"urn:u", u"k", true);
  ASSERT_NE(k, nullptr);
  EXPECT_EQ(k->GetQualifiedName(), u"k");
  EXPECT_EQ(a->GetXML(), u"<a x=\"1\" xmlns=\"urn:u\" k=\"\"><b y=\"2\" /></a>");
  EXPECT_EQ(k->GetNamespaceURI(), u"urn:u");
  EXPECT_EQ(a->AttributeByName(u"urn:u", u"k", false), k);
  // Once the URI is in scope it is not declared again.
  a->SetAttributeNS(u"urn:u", u"j", u"<");
  EXPECT_EQ(a->GetXML(), u"<a x=\"1\" xmlns=\"urn:u\" k=\"\" j=\"&lt;\"><b y=\"2\" /></a>");
  EXPECT_EQ(a->GetAttributeNS(u"urn:u", u"j"), u"<");
  // SetAttributeNS declares another URI on the element that gets the attribute.
  b->SetAttributeNS(u"urn:v", u"m", u"3");
  EXPECT_EQ(b->GetXML(), u"<b y=\"2\" xmlns=\"urn:v\" m=\"3\" />");
  EXPECT_EQ(b->GetAttributeNS(u"urn:v", u"m"), u"3");
  // A new unprefixed element declares its URI on itself.
  TVnDOMElement *n = b->ElementByName(u"urn:n", u"n", true);
  EXPECT_EQ(n->GetXML(), u"<n xmlns=\"urn:n\" />");
  EXPECT_EQ(b->AttributeCount(), 3);
}

TEST(XmlElement, RemoveElementByNamespace) {
  Doc d = Load(u"<r xmlns:p=\"urn:p\"><p:a/><a/></r>");
  TVnDOMElement *r = d->GetRootNode();
  r->RemoveElement(u"urn:p", u"a");
  EXPECT_EQ(r->GetXML(), u"<r xmlns:p=\"urn:p\"><a /></r>");
  try {
    r->RemoveElement(u"urn:p", u"a");
    ADD_FAILURE();
  } catch (EVnDomNotFound &E) {
    // The message names this element, not the one looked for.
    EXPECT_EQ(Msg(E), "There is no child with the localname \"r\" and namespace \"urn:p\"!");
  }
  EXPECT_EQ(r->ElementCount(), 1);
  // The empty URI stands for any namespace.
  r->RemoveElement(u"", u"a");
  EXPECT_EQ(r->GetXML(), u"<r xmlns:p=\"urn:p\" />");
  EXPECT_THROW(r->RemoveElement(u"", u"a"), EVnDomNotFound);
}

// On an attached element SetNamespaceURI declares the URI only where the declaration in scope
// does not fit: a default one for a prefixed element, a prefixed one for an unprefixed element.
TEST(XmlElement, SetNamespaceURIOnAttachedElements) {
  Doc d = Load(u"<r xmlns=\"urn:d\" xmlns:p=\"urn:p\"><p:a/><b/><p:c/><q:e/></r>");
  TVnDOMElement *r = d->GetRootNode();
  TVnDOMElement *a = r->FindElement(u"p:a");
  TVnDOMElement *b = r->FindElement(u"b");
  TVnDOMElement *c = r->FindElement(u"p:c");
  TVnDOMElement *e = r->FindElement(u"q:e");
  a->SetNamespaceURI(u"urn:d");
  EXPECT_EQ(a->GetXML(), u"<p:a xmlns:p=\"urn:d\" />");
  EXPECT_EQ(a->GetNamespaceURI(), u"urn:d");
  b->SetNamespaceURI(u"urn:p");
  EXPECT_EQ(b->GetXML(), u"<b xmlns=\"urn:p\" />");
  EXPECT_EQ(b->GetNamespaceURI(), u"urn:p");
  // A declaration that agrees on being prefixed is taken as it is, whatever its prefix.
  c->SetNamespaceURI(u"urn:p");
  EXPECT_EQ(c->GetXML(), u"<p:c />");
  EXPECT_EQ(c->GetNamespaceURI(), u"urn:p");
  e->SetNamespaceURI(u"urn:p");
  EXPECT_EQ(e->GetXML(), u"<q:e />");
  // No declaration of the URI and no URI waiting: nothing happens.
  c->SetNamespaceURI(u"urn:none");
  e->SetNamespaceURI(u"urn:none");
  EXPECT_EQ(c->GetNamespaceURI(), u"urn:p");
  EXPECT_EQ(e->GetNamespaceURI(), u"");
  EXPECT_EQ(r->GetXML(),
            u"<r xmlns=\"urn:d\" xmlns:p=\"urn:p\"><p:a xmlns:p=\"urn:d\" /><b xmlns=\"urn:p\" />"
            u"<p:c /><q:e /></r>");
}

// A subtree that joins a parent that preserves space takes the flag down to its leaves, except
// below an element with an xml:space of its own.
TEST(XmlElement, PreserveSpaceReachesAnAttachedSubtree) {
  Doc d = Load(u"<p xml:space=\"preserve\"/>");
  TVnDOMElement *p = d->GetRootNode();
  ASSERT_TRUE(p->GetPreserveSpace());
  auto *x = New<TVnDOMElement>();
  x->SetQualifiedName(u"x");
  TVnDOMElement *y = x->AddElement(u"y");
  TVnDOMElement *z = x->AddElement(u"z");
  z->SetAttribute(u"xml:space", u"default");
  TVnDOMElement *w = z->AddElement(u"w");
  TVnDOMElement *v = w->AddElement(u"v");
  for (TVnDOMElement *n : {x, y, z, w, v}) EXPECT_FALSE(n->GetPreserveSpace());
  p->AddChild(x);
  EXPECT_TRUE(x->GetPreserveSpace());
  EXPECT_TRUE(y->GetPreserveSpace());
  EXPECT_FALSE(z->GetPreserveSpace());
  EXPECT_FALSE(w->GetPreserveSpace());
  EXPECT_FALSE(v->GetPreserveSpace());
  // Formatting breaks lines only where space is not preserved.
  EXPECT_EQ(p->GetFormattedXML(),
            u"<p xml:space=\"preserve\"><x><y />\r\n"
            u"    <z xml:space=\"default\">\r\n"
            u"      <w>\r\n"
            u"        <v />\r\n"
            u"      </w>\r\n"
            u"    </z></x></p>");
  // Elements added later inherit as well.
  EXPECT_TRUE(y->AddElement(u"y2")->GetPreserveSpace());
  EXPECT_FALSE(w->AddElement(u"w2")->GetPreserveSpace());
}

// With the schema-instance switch on and both prefixes declared, every typed setter writes the
// value with its type, and Empty and Null write nil.
TEST(XmlElement, TypedSettersUnderTheSchemaInstanceSwitch) {
  Doc d = Load(
      u"<r xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
      u"xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\"><v/></r>");
  ASSERT_TRUE(d->GetUseSchemaInstance());
  TVnDOMElement *v = d->GetRootNode()->FirstElement();
  const TDateTime when = EncodeDate(2020, 1, 2) + EncodeTime(3, 4, 5, 250);
  v->SetAsDateTime(when);
  EXPECT_EQ(v->GetXML(), u"<v xsi:type=\"xsd:dateTime\">2020-01-02T03:04:05.250</v>");
  EXPECT_DOUBLE_EQ(v->GetAsDateTime().Val, when.Val);
  Variant back = v->GetAsVariant();
  EXPECT_EQ(back.VType(), varDate);
  v->SetAsVariant(Variant());
  EXPECT_EQ(v->GetXML(), u"<v xsi:type=\"xsd:dateTime\" xsi:nil=\"true\"></v>");
  EXPECT_TRUE(VarIsNull(v->GetAsVariant()));
  // A value again takes the nil away.
  v->SetAsBoolean(true);
  EXPECT_EQ(v->GetXML(), u"<v xsi:type=\"xsd:boolean\">true</v>");
  EXPECT_TRUE(v->GetAsBoolean());
  EXPECT_EQ(v->GetAsVariant().VType(), varBoolean);
  v->SetAsVariant(Null());
  EXPECT_EQ(v->GetXML(), u"<v xsi:type=\"xsd:boolean\" xsi:nil=\"true\"></v>");
  v->SetAsAnsiString(AnsiString("a<b"));
  EXPECT_EQ(v->GetXML(), u"<v xsi:type=\"xsd:string\">a&lt;b</v>");
  EXPECT_EQ(v->GetAsVariant().AsString(), u"a<b");
}

TEST(XmlElement, InsertInANamespaceAndBeforeOtherKinds) {
  Doc d = Load(u"<r xmlns:p=\"urn:p\"><b/>t<c/></r>");
  TVnDOMElement *r = d->GetRootNode();
  TVnDOMElement *b = r->FirstElement();
  TVnDOMElement *c = r->LastElement();
  TVnDOMNode *t = r->GetCharNodes()->GetItem(0);
  TVnDOMElement *x = r->InsertElement(u"urn:x", u"x", rdpBefore, c);
  EXPECT_EQ(x->GetNamespaceURI(), u"urn:x");
  // A URI already declared for the prefix is not declared again.
  TVnDOMElement *q = r->InsertElement(u"urn:p", u"p:q", rdpAfter, b);
  EXPECT_EQ(q->GetNamespaceURI(), u"urn:p");
  EXPECT_EQ(r->GetXML(), u"<r xmlns:p=\"urn:p\"><b /><p:q />t<x xmlns=\"urn:x\" /><c /></r>");
  EXPECT_EQ(b->NextElement(), q);
  EXPECT_EQ(q->NextElement(), x);
  EXPECT_EQ(x->NextElement(), c);
  // Before a node of another kind: in place among all children, but first in the list of its
  // own kind.
  TVnDOMElement *n = r->InsertElement(u"n", rdpBefore, t);
  EXPECT_EQ(r->FirstElement(), n);
  EXPECT_EQ(n->NextElement(), b);
  EXPECT_EQ(c->NextElement(), nullptr);
  TVnDOMText *u = r->InsertText(u"u", rdpBefore, c);
  EXPECT_EQ(r->GetCharNodes()->GetItem(0), u);
  EXPECT_EQ(r->GetNodeValue(), u"ut");
  EXPECT_EQ(r->GetXML(), u"<r xmlns:p=\"urn:p\"><b /><p:q /><n />t<x xmlns=\"urn:x\" />u<c /></r>");
}

TEST(XmlElement, ChildElementsAndListsByNamespace) {
  Doc d =
      Load(u"<a xmlns:p=\"urn:p\" xmlns:q=\"urn:q\" k=\"1\"><p:b/><q:b><p:b/>t</q:b><b>t</b></a>");
  TVnDOMElement *a = d->GetRootNode();
  TVnDOMElement *pb = a->FirstElement();
  TVnDOMElement *qb = pb->NextElement();
  TVnDOMElement *inner = qb->FirstElement();
  TVnDOMElement *plain = a->LastElement();
  EXPECT_TRUE(a->HasChildElements());
  EXPECT_TRUE(qb->HasChildElements());
  // Attributes and text are children, but not child elements.
  EXPECT_FALSE(plain->HasChildElements());
  Doc o = Load(u"<o k=\"1\">t</o>");
  EXPECT_FALSE(o->GetRootNode()->HasChildElements());
  EXPECT_TRUE(o->GetRootNode()->HasChilds());

  using List = vn::Owned<TVnDOMElementList>;
  List inP(a->CreateElementList(u"urn:p", u"b", true));
  ASSERT_EQ(inP->Count(), 2);
  EXPECT_EQ(inP->First(), pb);
  EXPECT_EQ(inP->Last(), inner);
  List inQ(a->CreateElementList(u"urn:q", u"B", true));
  ASSERT_EQ(inQ->Count(), 1);
  EXPECT_EQ(inQ->First(), qb);
  // The empty URI is no wildcard: it matches elements without a namespace.
  List none(a->CreateElementList(u"", u"b", true));
  ASSERT_EQ(none->Count(), 1);
  EXPECT_EQ(none->First(), plain);
  // Without recursion the element itself is the only candidate.
  List flat(a->CreateElementList(u"urn:p", u"b", false));
  EXPECT_EQ(flat->Count(), 0);
  List self(pb->CreateElementList(u"urn:p", u"b", false));
  ASSERT_EQ(self->Count(), 1);
  EXPECT_EQ(self->First(), pb);
  List top(a->CreateElementList(u"", u"a", false));
  EXPECT_EQ(top->Count(), 1);
  List wrongURI(pb->CreateElementList(u"urn:q", u"b", true));
  EXPECT_EQ(wrongURI->Count(), 0);

  qb->RemoveElement(inner);
  EXPECT_FALSE(qb->HasChildElements());
}

TEST(XmlElement, ChildElementValuesByIndexAndName) {
  Doc d = Load(u"<r><a>1</a><b>two</b><e k=\"x\"><i>3</i></e></r>");
  TVnDOMElement *r = d->GetRootNode();
  EXPECT_EQ(r->GetChildElementValue(Variant(Integer(0))).AsString(), u"1");
  EXPECT_EQ(r->GetChildElementValue(Variant(Integer(1))).AsString(), u"two");
  // An element without character data of its own has no value, whatever it holds.
  EXPECT_TRUE(VarIsNull(r->GetChildElementValue(Variant(Integer(2)))));
  EXPECT_TRUE(VarIsNull(r->GetChildElementValue(Variant(UnicodeString(u"e")))));
  EXPECT_EQ(r->GetChildElementValue(Variant(UnicodeString(u"b"))).AsString(), u"two");
}

TEST(XmlElement, NodePathWithKeyAttribute) {
  Doc d = Load(u"<a id=\"1\"><b ID=\"7\" x=\"y\"/></a>");
  TVnDOMElement *b = d->GetRootNode()->FirstElement();
  EXPECT_EQ(b->NodePath(false, u"id"), u"/a/b[@id=\"7\"]");
  EXPECT_EQ(b->FindAttribute(u"x")->NodePath(false, u""), u"/a/b/@x");
}

}  // namespace
}  // namespace domxml

namespace domxml {
namespace {

// Nodes of a loaded document that bear the same name share its storage; renaming one must leave
// the others as they were.
TEST(XmlElement, RenamingOneOfManyLeavesTheOthers) {
  Doc d = Load(u"<r xmlns:p=\"urn:p\"><p:b k=\"1\"/><p:b k=\"2\"/><p:b k=\"3\"/></r>");
  TVnDOMElement *r = d->GetRootNode();
  TVnDOMElement *first = r->FirstElement();
  TVnDOMElement *second = first->NextElement();
  TVnDOMElement *third = second->NextElement();
  EXPECT_EQ(first->GetNameRecord(), second->GetNameRecord());
  first->SetPrefix(u"q");
  second->SetQualifiedName(u"other");
  static_cast<TVnDOMAttribute *>(third->GetAttributes()->GetItem(0))->SetQualifiedName(u"p:k");
  EXPECT_EQ(first->GetQualifiedName(), u"q:b");
  EXPECT_EQ(second->GetQualifiedName(), u"other");
  EXPECT_EQ(third->GetQualifiedName(), u"p:b");
  EXPECT_EQ(third->GetLocalName(), u"b");
  EXPECT_EQ(third->GetPrefix(), u"p");
  EXPECT_EQ(r->GetXML(),
            u"<r xmlns:p=\"urn:p\"><q:b k=\"1\" /><other k=\"2\" /><p:b p:k=\"3\" /></r>");
  // A name outlives the document whose nodes shared it.
  Owned kept(first->CloneNode(true));
  d.reset();
  EXPECT_EQ(static_cast<TVnDOMNode *>(kept.get())->GetXML(), u"<q:b k=\"1\" />");
}

TEST(XmlElement, ElementsAddedWithOneRecordShareIt) {
  Doc d = Load(u"<r xmlns:p=\"urn:p\"/>");
  TVnDOMElement *r = d->GetRootNode();
  TVnDOMName *record = TVnDOMName::MakeQualified(u"p:item");
  TVnDOMElement *a = r->AddElement(record);
  TVnDOMElement *b = r->AddElement(record);
  record->Release();
  EXPECT_EQ(a->GetNameRecord(), b->GetNameRecord());
  EXPECT_EQ(a->GetNamespaceURI(), u"urn:p");
  b->SetPrefix(u"q");
  EXPECT_EQ(r->GetXML(), u"<r xmlns:p=\"urn:p\"><p:item /><q:item /></r>");
  // An element added with a record ends up as one added by its name: in the default namespace,
  // in a declared prefix's, with a prefix nothing declares, and below a parent without document.
  Doc other = Load(u"<r xmlns=\"urn:d\" xmlns:p=\"urn:p\"/>");
  Owned detached(New<TVnDOMElement>());
  for (TVnDOMElement *parent :
       {other->GetRootNode(), static_cast<TVnDOMElement *>(detached.get())}) {
    for (const char16_t *name : {u"item", u"p:item", u"x:item"}) {
      TVnDOMName *named = TVnDOMName::MakeQualified(name);
      TVnDOMElement *byRecord = parent->AddElement(named);
      named->Release();
      TVnDOMElement *byName = parent->AddElement(name);
      EXPECT_EQ(byRecord->GetNamespaceURI(), byName->GetNamespaceURI()) << UTF8Encode(name);
      EXPECT_EQ(byRecord->GetXML(), byName->GetXML());
      byRecord->SetPrefix(u"p");
      byName->SetPrefix(u"p");
      EXPECT_EQ(byRecord->GetNamespaceURI(), byName->GetNamespaceURI()) << UTF8Encode(name);
    }
  }
}

// The child list is a view of the node's children: changes through either show in both, and the
// siblings follow.
TEST(XmlElement, ChildListAndSiblingsAgree) {
  Doc d = Load(u"<r><a/><b/></r>");
  TVnDOMElement *r = d->GetRootNode();
  TVnDOMNode *a = r->Children()[0];
  TVnDOMNode *b = r->Children()[1];
  EXPECT_EQ(a->NextSibling(), b);
  EXPECT_EQ(b->PreviousSibling(), a);
  EXPECT_EQ(a->PreviousSibling(), nullptr);
  EXPECT_EQ(b->NextSibling(), nullptr);
  TVnDOMNodeList *list = r->GetChildNodes();
  EXPECT_EQ(list, r->GetChildNodes());
  for (int i = 0; i < 20; ++i) r->AddElement(u"n" + IntToStr(i));
  ASSERT_EQ(list->Count(), 22);
  EXPECT_EQ(r->Children().size(), 22u);
  EXPECT_EQ(list->GetItem(21)->GetLocalName(), u"n19");
  TVnDOMNode *c = r->InsertBefore(New<TVnDOMComment>(), b);
  EXPECT_EQ(list->IndexOf(c), 1);
  EXPECT_EQ(a->NextSibling(), c);
  EXPECT_EQ(b->PreviousSibling(), c);
  Owned taken(list->Delete(a));
  EXPECT_EQ(r->Children()[0], c);
  EXPECT_EQ(static_cast<TVnDOMNode *>(taken.get())->GetParent(), nullptr);
  // Clear on the child list hands the children to the caller.
  std::vector<Owned> children;
  for (TVnDOMNode *n : r->Children()) children.emplace_back(n);
  list->Clear();
  EXPECT_EQ(r->NodeCount(), 0);
  for (Owned &n : children) EXPECT_EQ(static_cast<TVnDOMNode *>(n.get())->GetParent(), nullptr);
  EXPECT_EQ(r->GetXML(), u"<r />");
}

TEST(XmlElement, AddElementLeavesWhatAddChildLeaves) {
  // A new element appended by name is attached without the general path's checks; it must end
  // up exactly as the same element made by hand and given to AddChild: its namespace, its
  // declarations in scope, its space setting and its document.
  const UnicodeString parents[] = {
      u"<r xmlns=\"urn:d\" xmlns:p=\"urn:p\" xml:space=\"preserve\"/>",
      u"<r xmlns:p=\"urn:p\"><s xml:space=\"default\"/></r>",
      u"<q:r xmlns:q=\"urn:q\"/>",
  };
  for (const UnicodeString &xml : parents) {
    for (const char16_t *name : {u"c", u"p:c", u"q:c", u"z:c"}) {
      SCOPED_TRACE(UTF8Encode(xml + u" + " + name));
      Doc byName = Load(xml);
      Doc byHand = Load(xml);
      TVnDOMElement *a = byName->GetRootNode();
      TVnDOMElement *b = byHand->GetRootNode();
      if (a->ElementCount() > 0) {
        a = a->FirstElement();
        b = b->FirstElement();
      }
      TVnDOMElement *made = a->AddElement(name);
      auto *hand = New<TVnDOMElement>();
      hand->SetQualifiedName(name);
      b->AddChild(hand);
      EXPECT_EQ(made->GetNamespaceURI(), hand->GetNamespaceURI());
      EXPECT_EQ(made->GetNamespace() != nullptr, hand->GetNamespace() != nullptr);
      EXPECT_EQ(made->GetNamespaces()->Count(), hand->GetNamespaces()->Count());
      EXPECT_EQ(made->GetPreserveSpace(), b->GetPreserveSpace());
      EXPECT_EQ(made->GetPreserveSpace(), hand->GetPreserveSpace());
      EXPECT_EQ(made->GetDOMDocument(), byName.get());
      EXPECT_EQ(byName->GetXML(), byHand->GetXML());
      // A child made below the new element sees the same scope as well.
      EXPECT_EQ(made->AddElement(u"p:g")->GetNamespaceURI(),
                hand->AddElement(u"p:g")->GetNamespaceURI());
    }
  }
}

}  // namespace
}  // namespace domxml
