// The node lists: placement, lookups from the last item, the unlike Next and Previous, the
// messages of First and Last, enumeration, and the element list's Variant index.
#include "dom_stubs.h"

namespace domtest {
namespace {

class Lists : public DomTest {
 protected:
  // e -> a, p:b, a, c (elements), with the first "a" holding text "first", the second "second".
  void SetUp() override {
    DomTest::SetUp();
    Doc = New<TTestDocument>();
    E = Element(u"e");
    Doc->AppendChild(E);
    A1 = Element(u"a");
    B = Element(u"p:b");
    A2 = Element(u"a");
    C = Element(u"c");
    for (TVnDOMNode *n : {A1, B, A2, C}) E->AppendChild(n);
  }
  void TearDown() override {
    if (Doc) Doc->Free();
    DomTest::TearDown();
  }
  TVnDOMNodeList *Children() { return E->GetChildNodes(); }
  TTestDocument *Doc;
  TTestElement *E, *A1, *B, *A2, *C;
};

TEST_F(Lists, GetItemChecksTheIndex) {
  EXPECT_EQ(Children()->GetItem(1), B);
  EXPECT_EQ((*Children())[3], C);
  try {
    Children()->GetItem(5);
    FAIL() << "no exception";
  } catch (EListError &E) {
    EXPECT_EQ(Msg(E), "List index out of bounds (5)");
  }
  EXPECT_THROW(Children()->GetItem(-1), EListError);
}

TEST_F(Lists, AddForms) {
  TVnDOMNodeList *l = New<TVnDOMNodeList>();
  l->Add(A1);
  l->Add(B, rdpFirst);
  l->Add(C, rdpBefore);  // only rdpFirst goes first
  l->Add(A2, rdpBefore, A1);
  EXPECT_EQ(l->IndexOf(A2), 1);
  l->Add(E, rdpAfter, C);
  EXPECT_EQ(l->Last(), E);
  TTestElement *stranger = Element(u"stranger");
  l->Add(Doc, rdpBefore, stranger);
  EXPECT_EQ(l->First(), Doc);
  l->Free();
  EXPECT_EQ(Live::Destroyed.size(), 0u);  // freeing a list frees no node
  stranger->Free();
  TVnDOMNodeList *m = New<TVnDOMNodeList>();
  try {
    m->Add(A1, rdpBefore, static_cast<TVnDOMNode *>(nullptr));
    FAIL() << "no exception";
  } catch (EAssertionFailed &E) {
    EXPECT_EQ(Msg(E), "Assertion failure (xml/uVnXMLDOM, line 6588)");
  }
  EXPECT_THROW(m->Add(nullptr), EArgumentNilException);
  EXPECT_EQ(m->Count(), 0);
  m->Free();
}

TEST_F(Lists, FindSearchesFromTheLastItem) {
  EXPECT_EQ(Children()->Find(u"a"), A2);
  EXPECT_EQ(Children()->Find(u"A"), A2);  // the default collation ignores case
  EXPECT_EQ(Children()->Find(u"A", {soCaseSensitive}), nullptr);
  Doc->Collation = TVnXPathCollationCodepoint::StaticClass();
  EXPECT_EQ(Children()->Find(u"A"), nullptr);
  EXPECT_EQ(Children()->Find(u"A", {soCaseInsensitive}), A2);
  // Qualified names unless local names are asked for, or the document matches by them.
  EXPECT_EQ(Children()->Find(u"p:b"), B);
  EXPECT_EQ(Children()->Find(u"b"), nullptr);
  EXPECT_EQ(Children()->Find(u"b", {soLocalName}), B);
  EXPECT_EQ(Children()->Find(u"b", {soLocalName, soQualifiedName}), B);
  Doc->MatchOption = soLocalName;
  EXPECT_EQ(Children()->Find(u"b"), B);
  EXPECT_EQ(Children()->Find(u"b", {soQualifiedName}), nullptr);
}

TEST_F(Lists, FindRefusesContradictionsAndRaisesMisses) {
  try {
    Children()->Find(u"a", {soCaseSensitive, soCaseInsensitive});
    FAIL() << "no exception";
  } catch (EVnDomException &) {
    FAIL() << "a plain Exception is expected";
  } catch (Exception &E) {
    EXPECT_EQ(Msg(E), "It is not possible to specify both soCaseSensitive and soCaseInsensitive!");
  }
  try {
    Children()->Find(u"a", {soCreate});
    FAIL() << "no exception";
  } catch (Exception &E) {
    EXPECT_EQ(Msg(E), "It is not possible to specify soCreate!");
  }
  try {
    Children()->Find(u"zz", {soRaise});
    FAIL() << "no exception";
  } catch (EVnDomNotFound &E) {
    EXPECT_EQ(Msg(E), "There is no node for the given name \"zz\".");
  }
}

TEST_F(Lists, FindByNamespace) {
  TVnDOMNodeList *l = New<TVnDOMNodeList>();
  TTestElement *x1 = Element(u"x"), *x2 = Element(u"p:x"), *y = Element(u"y");
  x1->SetKeptNamespaceURI(u"urn:one");
  x2->SetKeptNamespaceURI(u"urn:two");
  for (TVnDOMNode *n : {static_cast<TVnDOMNode *>(x1), static_cast<TVnDOMNode *>(x2),
                        static_cast<TVnDOMNode *>(y)}) {
    l->Add(n);
  }
  EXPECT_EQ(l->Find(u"", u"x"), x2);
  EXPECT_EQ(l->Find(u"urn:one", u"x"), x1);
  EXPECT_EQ(l->Find(u"URN:ONE", u"X"), x1);
  EXPECT_EQ(l->Find(u"urn:three", u"x"), nullptr);
  EXPECT_EQ(l->Delete(u"urn:two", u"x"), x2);
  EXPECT_EQ(l->Delete(u"urn:two", u"x"), nullptr);
  EXPECT_EQ(l->Delete(u"y", TVnDOMSelectOptions{}), y);
  EXPECT_EQ(l->Count(), 1);
  l->Free();
  for (TVnDOMNode *n : {static_cast<TVnDOMNode *>(x1), static_cast<TVnDOMNode *>(x2),
                        static_cast<TVnDOMNode *>(y)}) {
    n->Free();
  }
}

TEST_F(Lists, FirstLastNextAndPreviousAreDeliberatelyUnlike) {
  TVnDOMNodeList *empty = New<TVnDOMNodeList>();
  for (bool last : {false, true}) {
    try {
      last ? empty->Last() : empty->First();
      ADD_FAILURE() << "no exception";
    } catch (EVnDomNotFound &E) {
      EXPECT_EQ(Msg(E), "Failed to get the first node!\r\nThe list contains no nodes.");
    }
  }
  EXPECT_EQ(empty->Next(A1), nullptr);
  empty->Free();
  TTestElement *stranger = Element(u"s");
  EXPECT_EQ(Children()->Next(stranger), A1);
  EXPECT_EQ(Children()->Next(A1), B);
  EXPECT_EQ(Children()->Next(C), nullptr);
  EXPECT_EQ(Children()->Previous(B), A1);
  EXPECT_EQ(Children()->Previous(A1), nullptr);
  try {
    Children()->Previous(stranger);
    FAIL() << "no exception";
  } catch (EListError &E) {
    EXPECT_EQ(Msg(E), "The specified referencenode is not part of this list!");
  }
  EXPECT_TRUE(Children()->ContainsNode(C));
  EXPECT_FALSE(Children()->ContainsNode(stranger));
  stranger->Free();
}

TEST_F(Lists, EnumeratorsAndRangeFor) {
  std::u16string seen;
  auto en = Children()->GetEnumerator();
  while (en->MoveNext()) seen += en->GetCurrent()->GetQualifiedName() + u";";
  EXPECT_EQ(seen, u"a;p:b;a;c;");
  EXPECT_FALSE(en->MoveNext());
  seen.clear();
  for (TVnDOMNode *n : *E->Elements) seen += n->GetQualifiedName() + u";";
  EXPECT_EQ(seen, u"a;p:b;a;c;");
  auto een = E->Elements->GetEnumerator();
  ASSERT_TRUE(een->MoveNext());
  EXPECT_EQ(een->GetCurrent(), A1);
  // The loop reads Count anew, so a list that shrinks under it ends early instead of overrunning.
  int steps = 0;
  for (TVnDOMNode *n : *Children()) {
    ++steps;
    if (n == A1) E->RemoveChild(C);
  }
  EXPECT_EQ(steps, 3);
}

TEST_F(Lists, ElementListVariantIndex) {
  TVnDOMElementList *l = E->Elements;
  EXPECT_EQ(l->GetItem(Variant(2)), A2);
  EXPECT_EQ(l->GetItem(Variant(static_cast<unsigned char>(1))), B);
  EXPECT_EQ(l->GetItem(Variant(Int64(3))), C);
  EXPECT_THROW(l->GetItem(Variant(Int64(1) << 40)), EListError);
  EXPECT_EQ(l->GetItem(Variant(u"a")), A2);
  EXPECT_EQ(l->GetItem(Variant(u"B")), B);  // local name, case ignored by the default collation
  EXPECT_EQ(l->GetItem(Variant(u"p:b")), B);
  EXPECT_EQ(l->GetItem(Variant(u".")), E);
  EXPECT_EQ(l->GetItem(Variant("c")), C);
  // Plain integers and texts pick their form without a Variant spelled out.
  EXPECT_EQ(l->GetItem(2), A2);
  EXPECT_EQ(l->GetItem(u"p:b"), B);
  EXPECT_THROW(l->GetItem(4), EListError);
  try {
    l->GetItem(Variant(1.5));
    FAIL() << "no exception";
  } catch (EListError &E) {
    EXPECT_EQ(Msg(E), "Invalid idx value");
  }
  EXPECT_THROW(l->GetItem(Variant(true)), EListError);
  EXPECT_THROW(l->GetItem(Variant::Null()), EListError);
  // A miss follows the check option of the document.
  try {
    l->GetItem(Variant(u"zz"));
    FAIL() << "no exception";
  } catch (EVnDomNotFound &E) {
    EXPECT_EQ(Msg(E), "There is no node for the given name \"zz\".");
  }
  Doc->CheckOption = coReturnNil;
  EXPECT_EQ(l->GetItem(Variant(u"zz")), nullptr);
  Doc->Collation = TVnXPathCollationCodepoint::StaticClass();
  EXPECT_EQ(l->GetItem(Variant(u"B")), nullptr);
  // Paths select from the owner; a stand-in element cannot add elements, so creation finds the
  // path too complex.
  EXPECT_EQ(l->GetItem(Variant(u"a/b")), nullptr);
  EXPECT_THROW(l->GetItemEx(Variant(u"new"), coCreate), EVnDomNotFound);
  EXPECT_EQ(l->GetItemEx(Variant(u"zz"), coReturnNil), nullptr);
}

TEST_F(Lists, AttributeListFindsNamespaceDeclarations) {
  TTestElement *x = Element(u"x");
  E->AppendChild(x);
  x->AppendChild(Attribute(u"a", u"urn:one"));
  TVnDOMNode *dflt = x->AppendChild(Attribute(u"xmlns", u"urn:one"));
  x->AppendChild(Attribute(u"xmlns:p", u"urn:two"));
  TVnDOMNode *upper = x->AppendChild(Attribute(u"XMLNS:q", u"urn:three"));
  x->AppendChild(Attribute(u"XmlNs", u"urn:four"));
  x->AppendChild(Attribute(u"q:xmlns", u"urn:five"));
  TVnDOMAttrList *l = x->Attributes;
  EXPECT_EQ(l->FindNamespace(u"urn:one"), dflt);
  EXPECT_EQ(l->FindNamespace(u"urn:three"), upper);
  EXPECT_NE(l->FindNamespace(u"urn:four"), nullptr);
  EXPECT_EQ(l->FindNamespace(u"urn:five"), nullptr);
  EXPECT_EQ(l->FindNamespace(u"URN:ONE"), dflt);
  Doc->Collation = TVnXPathCollationCodepoint::StaticClass();
  EXPECT_EQ(l->FindNamespace(u"URN:ONE"), nullptr);
}

TEST_F(Lists, ObjectListIsAPlainWorkList) {
  TVnDOMObjectList l;
  EXPECT_EQ(l.Add(A1), 0);
  l.Add(C);
  l.Insert(1, B);
  EXPECT_EQ(l.IndexOf(B), 1);
  EXPECT_EQ(l.Remove(B), 1);
  EXPECT_EQ(l.Remove(B), -1);
  EXPECT_THROW(l.Get(2), EListError);
  EXPECT_THROW(l.Insert(5, A1), EListError);
  EXPECT_THROW(l.Delete(-1), EListError);
  TVnDOMObjectList m;
  m.Assign(&l);
  EXPECT_EQ(m.Count(), 2);
  m.Assign(Children());
  ASSERT_EQ(m.Count(), 4);
  EXPECT_EQ(m[3], C);
  m.Delete(0);
  EXPECT_EQ(m[0], B);
  EXPECT_EQ(l.Count(), 2);
}

TEST_F(Lists, ThroughInterfaces) {
  {
    DelphiInterface<IVnDOMNode> doc = VnDOMIntf<IVnDOMNode>(Doc);
    DelphiInterface<IVnDOMNodeList> children = doc->GetChildNodes()->First()->GetChildNodes();
    DelphiInterface<IVnDOMNamedNodeList> named = IntfAs<IVnDOMNamedNodeList>(children);
    EXPECT_EQ(named->Count(), 4);
    EXPECT_EQ(named->Find(u"p:b", TVnDOMSelectOptions{})->GetLocalName(), u"b");
    EXPECT_EQ(named->Find(u"", u"a"), named->GetItem(2));
    EXPECT_EQ(named->Next(named->First())->GetQualifiedName(), u"p:b");
    EXPECT_THROW(named->Previous(doc), EListError);
    EXPECT_TRUE(named->ContainsNode(named->Last()));
    DelphiInterface<IVnDOMElementList> elements = VnDOMIntf<IVnDOMElementList>(E->Elements);
    EXPECT_EQ(elements->GetElement(Variant(u"c"))->GetLocalName(), u"c");
    EXPECT_THROW(elements->GetElement(Variant(u"zz")), EVnDomNotFound);
    DelphiInterface<IVnDOMAttrList> attributes = VnDOMIntf<IVnDOMAttrList>(E->Attributes);
    EXPECT_EQ(attributes->FindNamespace(u"urn:none"), nullptr);
    EXPECT_THROW(attributes->GetAttribute(0), EListError);
  }
  // The document was given out as an interface and has gone with the last one.
  EXPECT_EQ(Live::Nodes, 0);
  Doc = nullptr;
}

}  // namespace
}  // namespace domtest
