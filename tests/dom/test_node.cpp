// The node model: names, children, siblings, values, paths, copies, documents, refreshes,
// notifications, output routes, and misuse that must stay safe.
#include "dom_stubs.h"

namespace domtest {

void WriteText(TStream *AStream, Word ACodePage, const UnicodeString &AText) {
  if (ACodePage == CP_UTF16) {
    AStream->WriteBuffer(AText.data(), static_cast<Int64>(AText.size() * 2));
  } else {
    const std::string s = UTF8Encode(AText);
    AStream->WriteBuffer(s.data(), static_cast<Int64>(s.size()));
  }
}

void TTestText::_SaveToStream(TStream *AStream, Word ACodePage, bool, Integer &) {
  WriteText(AStream, ACodePage, Value);
}

void TTestElement::_SaveToStream(TStream *AStream, Word ACodePage, bool AFormatted,
                                 Integer &ALevel) {
  WriteText(AStream, ACodePage, u"<" + GetQualifiedName() + u">");
  if (AFormatted) WriteText(AStream, ACodePage, UnicodeString(ALevel + 2, u'*'));
  for (TVnDOMNode *c : *GetChildNodes()) {
    if (c->GetNodeType() != ntAttribute) c->SaveToStream(AStream, ACodePage, AFormatted);
  }
  WriteText(AStream, ACodePage, u"</" + GetQualifiedName() + u">");
}

void TTestElement::_SaveToJSONStream(TStream *AStream, Word ACodePage, bool, Integer &ALevel) {
  WriteText(AStream, ACodePage, u"{\"" + GetLocalName() + u"\":" + IntToStr(ALevel) + u"}");
}

namespace {

class NodeModel : public DomTest {};

std::u16string Names(TVnDOMNode *AParent) {
  std::u16string r;
  for (TVnDOMNode *c : *AParent->GetChildNodes()) {
    if (!r.empty()) r += u',';
    r += c->GetQualifiedName();
  }
  return r;
}

TEST_F(NodeModel, QualifiedNamesSplitAtTheFirstColon) {
  TTestElement *e = Element(u"p:a:b");
  EXPECT_EQ(e->GetPrefix(), u"p");
  EXPECT_EQ(e->GetLocalName(), u"a:b");
  EXPECT_EQ(e->GetQualifiedName(), u"p:a:b");
  e->SetQualifiedName(u":x");
  EXPECT_EQ(e->GetPrefix(), u"");
  EXPECT_EQ(e->GetLocalName(), u"x");
  EXPECT_EQ(e->GetQualifiedName(), u"x");
  e->SetQualifiedName(u"plain");
  EXPECT_EQ(e->GetPrefix(), u"");
  e->SetPrefix(u"q");
  EXPECT_EQ(e->GetQualifiedName(), u"q:plain");
  e->Free();
}

TEST_F(NodeModel, ChildrenArePlacedByReferenceAndPosition) {
  TTestElement *r = Element(u"r");
  TTestElement *a = Element(u"a"), *b = Element(u"b"), *c = Element(u"c"), *d = Element(u"d");
  r->AppendChild(b);
  r->AddChild(a, nullptr, rdpFirst);
  r->AddChild(d, b, rdpAfter);
  r->InsertBefore(c, d);
  EXPECT_EQ(Names(r), u"a,b,c,d");
  r->AddChild(Element(u"e"), a, rdpLast);   // rdpLast ignores the reference
  r->InsertBefore(Element(u"f"), nullptr);  // before nothing is first
  r->AddChild(Element(u"g"), nullptr, rdpAfter);
  EXPECT_EQ(Names(r), u"f,a,b,c,d,e,g");
  // A reference that is not in the list: before means first, anything else last.
  TTestElement *stranger = Element(u"s");
  r->AddChild(Element(u"h"), stranger, rdpBefore);
  r->AddChild(Element(u"i"), stranger, rdpAfter);
  EXPECT_EQ(Names(r), u"h,f,a,b,c,d,e,g,i");
  stranger->Free();
  TVnDOMNode *t = r->AddChild(TTestText::StaticClass());
  EXPECT_TRUE(t->Is<TTestText>());
  EXPECT_EQ(t->ParentNode(), r);
  EXPECT_EQ(r->NodeCount(), 10);
  r->Free();
}

TEST_F(NodeModel, AddChildByClassRefusesOtherClassesWithoutLeaking) {
  TTestElement *r = Element(u"r");
  EXPECT_THROW(r->AddChild(TStringList::StaticClass()), EInvalidCast);
  EXPECT_THROW(r->AddChild(TVnDOMObject::StaticClass()), EAbstractError);
  EXPECT_THROW(r->AddChild(static_cast<TVnDOMNode *>(nullptr)), EArgumentNilException);
  EXPECT_EQ(r->NodeCount(), 0);
  r->Free();
}

TEST_F(NodeModel, AttributesAreChildren) {
  TTestElement *e = Element(u"e");
  e->AppendChild(Attribute(u"x", u"1"));
  e->AppendChild(Attribute(u"y", u"2"));
  EXPECT_EQ(e->NodeCount(), 2);
  EXPECT_TRUE(e->HasChilds());
  EXPECT_TRUE(e->HasAttributes());
  TTestElement *c = Element(u"c");
  e->AppendChild(c);
  EXPECT_EQ(c->PreviousSibling()->GetLocalName(), u"y");
  EXPECT_EQ(c->NextSibling(), nullptr);
  EXPECT_EQ(e->GetChildNodes()->First()->NextSibling()->GetLocalName(), u"y");
  EXPECT_EQ(e->GetChildNodes()->First()->PreviousSibling(), nullptr);
  EXPECT_EQ(e->NextSibling(), nullptr);
  EXPECT_FALSE(c->HasAttributes());
  e->Free();
}

TEST_F(NodeModel, RemoveChildDestroysAFreeChild) {
  TTestElement *e = Element(u"e");
  TTestText *t = Text(u"x");
  e->AppendChild(t);
  e->AppendChild(Text(u"y"));
  EXPECT_EQ(Live::Nodes, 3);
  e->RemoveChild(t);
  EXPECT_EQ(Live::Nodes, 2);
  EXPECT_EQ(e->NodeCount(), 1);
  e->RemoveChild(nullptr);
  EXPECT_EQ(e->NodeCount(), 1);
  e->Free();
}

TEST_F(NodeModel, RemoveChildOfAStrangerDetachesItButKeepsItListed) {
  // The base node detaches any node it is given; one that another node still lists stays with
  // that node instead of being destroyed under it.
  TTestElement *x = Element(u"x"), *z = Element(u"z");
  TTestText *y = Text(u"y");
  z->AppendChild(y);
  x->TVnDOMNode::RemoveChild(y);
  EXPECT_EQ(y->ParentNode(), nullptr);
  EXPECT_EQ(z->NodeCount(), 1);
  EXPECT_EQ(Live::Nodes, 3);
  x->Free();
  z->Free();
}

TEST_F(NodeModel, ValuesOfABareNode) {
  TTestNode *n = New<TTestNode>();
  EXPECT_EQ(n->GetNodeValue(), u"");
  EXPECT_EQ(n->GetText(), u"");
  EXPECT_EQ(n->GetInnerXML(), u"");
  EXPECT_EQ(n->GetXML(), u"");
  EXPECT_EQ(n->GetNodeType(), ntUnknown);
  try {
    n->SetNodeValue(u"x");
    ADD_FAILURE() << "no exception";
  } catch (EVnDomNotSupported &E) {
    EXPECT_EQ(Msg(E), "The SetNodeValue is not supported by the TVnDomNode");
  }
  try {
    n->SetInnerXML(u"<a/>");
    ADD_FAILURE() << "no exception";
  } catch (EVnDomNotSupported &E) {
    EXPECT_EQ(Msg(E), "The SetInnerXML is not supported by the TVnDomNode");
  }
  // Any node loads: what the text holds is added to it; text needs an element to go to.
  EXPECT_THROW(n->LoadFromStream(nullptr, CP_UTF8), EArgumentNilException);
  const std::string xml = "<?p d?><!--c--><e>t</e>";
  TPointerStream s(xml.data(), static_cast<Int64>(xml.size()));
  n->LoadFromStream(&s, CP_UTF8);
  EXPECT_EQ(n->NodeCount(), 3);
  EXPECT_EQ(n->GetChildNodes()->GetItem(0)->GetNodeType(), ntProcessingInstruction);
  EXPECT_EQ(n->GetChildNodes()->GetItem(2)->GetXML(), u"<e>t</e>");
  // Text that does not begin with "<" is read as JSON: this is none.
  const std::string loose = "text";
  TPointerStream t(loose.data(), static_cast<Int64>(loose.size()));
  EXPECT_THROW(n->LoadFromStream(&t, CP_UTF8), EVnDomSyntax);
  EXPECT_EQ(n->SelectSingleNode(u"e"), n->GetChildNodes()->GetItem(2));
  n->Free();
}

TEST_F(NodeModel, PreserveSpaceAndNamespaceComeFromTheParent) {
  TTestElement *e = Element(u"e");
  TTestText *t = Text(u"t");
  t->SetKeptNamespaceURI(u"urn:own");
  EXPECT_EQ(t->GetNamespaceURI(), u"urn:own");
  e->SetKeptNamespaceURI(u"urn:e");
  e->AppendChild(t);
  EXPECT_EQ(t->GetNamespaceURI(), u"urn:e");
  EXPECT_FALSE(t->GetPreserveSpace());
  DefaultPreserveCase = true;
  EXPECT_TRUE(t->GetPreserveSpace());
  DefaultPreserveCase = false;
  e->Free();
}

TEST_F(NodeModel, NodePath) {
  TTestDocument *doc = New<TTestDocument>();
  TTestElement *a = Element(u"p:a");
  doc->AppendChild(a);
  TTestAttribute *b = Attribute(u"b", u"v");
  a->AppendChild(b);
  TTestElement *item = Element(u"item");
  a->AppendChild(item);
  item->AppendChild(Attribute(u"ID", u"7"));
  TTestElement *sub = Element(u"sub");
  item->AppendChild(sub);
  sub->AppendChild(Attribute(u"id", u"9"));
  TTestText *t = Text(u"x");
  item->AppendChild(t);
  EXPECT_EQ(doc->NodePath(), u"");
  EXPECT_EQ(a->NodePath(), u"/p:a");
  EXPECT_EQ(a->NodePath(true), u"/a");
  EXPECT_EQ(b->NodePath(), u"/p:a/@b");
  EXPECT_EQ(item->NodePath(false, u"id"), u"/p:a/item[@id=\"7\"]");
  EXPECT_EQ(sub->NodePath(false, u"id"), u"/p:a/item/sub[@id=\"9\"]");
  EXPECT_EQ(a->NodePath(false, u"id"), u"/p:a");
  EXPECT_EQ(t->NodePath(), u"/p:a/item/#text");
  TTestElement *loose = Element(u"loose");
  EXPECT_EQ(loose->NodePath(), u"loose");
  loose->Free();
  doc->Free();
}

TEST_F(NodeModel, CloneNodeCopiesChildrenInOrder) {
  TTestDocument *doc = New<TTestDocument>();
  TTestElement *e = Element(u"p:e");
  doc->AppendChild(e);
  e->AppendChild(Attribute(u"a", u"1"));
  e->AppendChild(Text(u"text"));
  TTestElement *inner = Element(u"inner");
  e->AppendChild(inner);
  inner->AppendChild(Text(u"deep"));

  TVnDOMNode *deep = e->CloneNode(true);
  EXPECT_TRUE(deep->Is<TTestElement>());
  EXPECT_EQ(deep->GetQualifiedName(), u"p:e");
  EXPECT_EQ(deep->ParentNode(), nullptr);
  EXPECT_EQ(deep->GetDOMDocument(), nullptr);
  EXPECT_EQ(Names(deep), u"a,#text,inner");
  EXPECT_EQ(deep->GetChildNodes()->GetItem(0)->GetNodeValue(), u"1");
  EXPECT_EQ(deep->GetChildNodes()->GetItem(1)->GetNodeValue(), u"text");
  EXPECT_EQ(deep->GetChildNodes()->Last()->GetChildNodes()->First()->GetNodeValue(), u"deep");
  EXPECT_TRUE(deep->HasAttributes());

  TVnDOMNode *shallow = e->CloneNode(false);
  EXPECT_EQ(shallow->NodeCount(), 0);
  EXPECT_FALSE(shallow->HasAttributes());
  deep->Free();
  shallow->Free();
  doc->Free();
}

class TFailingClone : public TTestText {
  VN_CLASS(TFailingClone, TTestText)
 public:
  TVnDOMNode *CreateClone() override { throw EVnDomException(u"no copy"); }
};

TEST_F(NodeModel, AFailedDeepCopyLeavesNothingBehind) {
  TTestElement *e = Element(u"e");
  TTestElement *inner = Element(u"inner");
  e->AppendChild(inner);
  inner->AppendChild(Text(u"ok"));
  inner->AppendChild(New<TFailingClone>());
  EXPECT_THROW(e->CloneNode(true), EVnDomException);
  EXPECT_EQ(Live::Nodes, 4);
  e->Free();
}

TEST_F(NodeModel, DestructionGoesFromTheLastChildToTheFirst) {
  TTestElement *e = Element(u"e");
  for (const char16_t *n : {u"a", u"b", u"c"}) {
    TTestElement *c = Element(n);
    e->AppendChild(c);
    c->AppendChild(Element((std::u16string(n) + u"1").c_str()));
  }
  e->Free();
  const std::vector<UnicodeString> expected = {u"c1", u"c", u"b1", u"b", u"a1", u"a", u"e"};
  EXPECT_EQ(Live::Destroyed, expected);
}

TEST_F(NodeModel, FreeingAChildTakesItOutOfItsParent) {
  TTestElement *e = Element(u"e");
  TTestElement *c = Element(u"c");
  e->AppendChild(Element(u"b"));
  e->AppendChild(c);
  c->Free();
  EXPECT_EQ(Names(e), u"b");
  e->Free();
}

TEST_F(NodeModel, TheDocumentFollowsTheTree) {
  TTestDocument *doc = New<TTestDocument>();
  DelphiInterface<IVnDOMNode> holdDoc = VnDOMIntf<IVnDOMNode>(doc);
  TTestElement *sub = Element(u"sub");
  sub->AppendChild(Element(u"x"))->AppendChild(Text(u"t"));
  EXPECT_EQ(sub->GetDOMDocument(), nullptr);
  doc->AppendChild(sub);
  TVnDOMNode *t = sub->GetChildNodes()->First()->GetChildNodes()->First();
  EXPECT_EQ(t->GetDOMDocument(), doc);
  EXPECT_EQ(doc->GetDOMDocument(), doc);
  DelphiInterface<IVnDOMNode> keep = VnDOMIntf<IVnDOMNode>(sub);
  doc->RemoveChild(sub);
  EXPECT_EQ(t->GetDOMDocument(), nullptr);
  EXPECT_EQ(Live::Nodes, 4);
  keep = nullptr;
  EXPECT_EQ(Live::Nodes, 1);
  holdDoc = nullptr;
}

TEST_F(NodeModel, NamespacesAreRefreshedOnlyUnderADocument) {
  TTestDocument *doc = New<TTestDocument>();
  TTestElement *sub = Element(u"sub");
  sub->AppendChild(Element(u"x"));
  sub->AppendChild(Text(u"t"));
  EXPECT_EQ(Live::Refreshes, 0);
  doc->AppendChild(sub);
  EXPECT_EQ(Live::Refreshes, 3);  // the whole subtree that arrived
  Live::Refreshes = 0;
  doc->LoadState = lsLoading;
  sub->AppendChild(Text(u"u"));
  EXPECT_EQ(Live::Refreshes, 0);
  sub->AppendChild(Element(u"y"));
  EXPECT_EQ(Live::Refreshes, 1);
  doc->Free();
}

TEST_F(NodeModel, SettingsComeFromTheDocumentOrTheDefaults) {
  TTestDocument *doc = New<TTestDocument>();
  TTestElement *e = Element(u"e");
  EXPECT_EQ(e->GetCollation(), TVnXPathCollationASCIICI::StaticClass());
  EXPECT_FALSE(e->GetCaseSensitive());
  EXPECT_EQ(e->GetSelectMatchOption(), soQualifiedName);
  EXPECT_EQ(e->GetSelectCheckOption(), coRaise);
  doc->AppendChild(e);
  doc->Collation = TVnXPathCollationCodepoint::StaticClass();
  doc->MatchOption = soLocalName;
  doc->CheckOption = coReturnNil;
  EXPECT_TRUE(e->GetCaseSensitive());
  EXPECT_EQ(e->GetSelectMatchOption(), soLocalName);
  EXPECT_EQ(e->GetSelectCheckOption(), coReturnNil);
  EXPECT_TRUE(e->GetChildNodes()->GetCaseSensitive());
  doc->Free();
}

TEST_F(NodeModel, ParseNotificationsReachTheirEvents) {
  TTestElement *e = Element(u"e");
  bool handled = false;
  e->DoDOMParseWarning(nullptr, u"ignored", handled);
  EXPECT_FALSE(handled);
  UnicodeString seen;
  e->SetOnParseError([&](IVnSAXLocator *ALocator, const UnicodeString &AMessage, bool &AHandled) {
    EXPECT_EQ(ALocator, nullptr);
    seen = AMessage;
    AHandled = true;
  });
  e->DoDOMParseError(nullptr, u"bad", handled);
  EXPECT_TRUE(handled);
  EXPECT_EQ(seen, u"bad");
  handled = false;
  e->DoDOMParseFatalError(nullptr, u"fatal", handled);
  EXPECT_FALSE(handled);
  EXPECT_TRUE(static_cast<bool>(e->GetOnParseError()));
  EXPECT_FALSE(static_cast<bool>(e->GetOnParseWarning()));
  e->Free();
}

TEST_F(NodeModel, TextAndSerializationGoThroughTheStreamOperations) {
  TTestElement *e = Element(u"e");
  e->AppendChild(Attribute(u"a", u"1"));
  e->AppendChild(Text(u"\u00E9"));
  EXPECT_EQ(e->GetXML(), u"<e>\u00E9</e>");
  EXPECT_EQ(e->GetFormattedXML(), u"<e>*\u00E9</e>");
  EXPECT_EQ(e->Serialize(dsfXML, nullptr), "<e>\xC3\xA9</e>");
  EXPECT_EQ(e->Serialize(dsfJSON, nullptr), "{\"e\":1}");
  EXPECT_TRUE(e->CanSerialize(dsfJSON));
  EXPECT_TRUE(e->CanSerialize(dsfXML));
  const auto other = static_cast<TVnDataSerializationFormatType>(2);
  EXPECT_FALSE(e->CanSerialize(other));
  EXPECT_THROW(e->Serialize(other, nullptr), EVnDomNotSupported);
  e->Free();
}

TEST_F(NodeModel, ANodeCannotBecomeItsOwnAncestor) {
  TTestElement *r = Element(u"r");
  TTestElement *a = Element(u"a");
  TTestElement *b = Element(u"b");
  r->AppendChild(a);
  a->AppendChild(b);
  EXPECT_THROW(a->AppendChild(a), EVnDomException);
  EXPECT_THROW(b->AppendChild(r), EVnDomException);
  EXPECT_THROW(b->GetChildNodes()->Add(a), EVnDomException);
  EXPECT_EQ(Names(r), u"a");
  EXPECT_EQ(b->NodeCount(), 0);
  // After a detach that leaves the lists and the parent links apart, the lists still count.
  TTestElement *x = Element(u"x");
  x->TVnDOMNode::RemoveChild(a);  // a is detached, r still lists it
  EXPECT_THROW(b->AppendChild(r), EVnDomException);
  x->Free();
  r->Free();
}

TEST_F(NodeModel, ASecondParentIsSafe) {
  TTestElement *p1 = Element(u"p1"), *p2 = Element(u"p2");
  TTestText *t = Text(u"t");
  p1->AppendChild(t);
  p2->AppendChild(t);
  EXPECT_EQ(t->ParentNode(), p2);
  EXPECT_EQ(p1->NodeCount(), 1);
  // Freeing a node that two lists hold would leave one dangling.
  EXPECT_THROW(t->Free(), EVnDomException);
  p2->Free();
  EXPECT_EQ(Live::Nodes, 2);
  EXPECT_EQ(p1->NodeCount(), 1);
  p1->Free();
}

TEST_F(NodeModel, AChildListIsFreedWithItsNodeOnly) {
  TTestElement *e = Element(u"e");
  e->AppendChild(Text(u"t"));
  EXPECT_THROW(e->GetChildNodes()->Free(), EVnDomException);
  EXPECT_EQ(e->NodeCount(), 1);
  e->Free();
}

TEST_F(NodeModel, TheChildListsOwnChangesDetach) {
  TTestElement *e = Element(u"e");
  TTestElement *c = Element(u"c");
  TTestText *t = Text(u"t");
  e->AppendChild(c);
  e->AppendChild(t);
  EXPECT_EQ(e->GetChildNodes()->Delete(c), c);
  EXPECT_EQ(c->ParentNode(), nullptr);
  EXPECT_EQ(e->Elements->Count(), 0);
  c->Free();
  e->GetChildNodes()->Clear();
  EXPECT_EQ(t->ParentNode(), nullptr);
  EXPECT_EQ(e->NodeCount(), 0);
  t->Free();
  // A node added to the list alone has no parent and is destroyed with the list's node.
  e->GetChildNodes()->Add(Text(u"u"));
  EXPECT_EQ(Live::Nodes, 2);
  e->Free();
}

}  // namespace
}  // namespace domtest
