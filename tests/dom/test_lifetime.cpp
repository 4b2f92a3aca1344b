// The lifetime rules of the two halves, checked with counters of live nodes and Impls (and under
// the address and leak sanitizers in the sanitizer build).
#include "dom_stubs.h"

namespace domtest {
namespace {

// document -> root -> a -> (leaf1, leaf2), root -> b
struct Tree {
  TTestDocument *Doc = New<TTestDocument>();
  TTestElement *Root = Element(u"root");
  TTestElement *A = Element(u"a");
  TTestElement *B = Element(u"b");
  TTestText *Leaf1 = Text(u"1");
  TTestText *Leaf2 = Text(u"2");
  Tree() {
    Doc->AppendChild(Root);
    Root->AppendChild(A);
    Root->AppendChild(B);
    A->AppendChild(Leaf1);
    A->AppendChild(Leaf2);
  }
};

void ExpectNoImpl(TVnDOMNode *ANode) {
  EXPECT_EQ(ANode->GetDOMImpl(), nullptr) << UTF8Encode(ANode->NodePath());
  if (ANode->NodeCount() == 0) return;
  EXPECT_EQ(ANode->GetChildNodes()->GetDOMImpl(), nullptr);
  for (TVnDOMNode *c : *ANode->GetChildNodes()) ExpectNoImpl(c);
}

class Lifetime : public DomTest {};

TEST_F(Lifetime, ObjectWalkBuildsNoImpl) {
  Tree t;
  int seen = 0;
  for (TVnDOMNode *n = t.Leaf1; n; n = n->ParentNode()) ++seen;
  for (TVnDOMNode *c : *t.Root->GetChildNodes()) seen += c->NodeCount();
  EXPECT_EQ(seen, 6);
  ExpectNoImpl(t.Doc);
  EXPECT_EQ(Live::Impls, 0);
  t.Doc->Free();
}

TEST_F(Lifetime, LeafInterfaceBuildsImplsToTheTop) {
  Tree t;
  {
    DelphiInterface<IVnDOMNode> leaf1 = VnDOMIntf<IVnDOMNode>(t.Leaf1);
    EXPECT_EQ(Live::Impls, 4);
    for (TVnDOMNode *n : {static_cast<TVnDOMNode *>(t.Leaf1), static_cast<TVnDOMNode *>(t.A),
                          static_cast<TVnDOMNode *>(t.Root), static_cast<TVnDOMNode *>(t.Doc)}) {
      ASSERT_NE(n->GetDOMImpl(), nullptr);
      EXPECT_EQ(n->GetDOMImpl()->RefCount(), 1);
    }
    EXPECT_EQ(t.Leaf1->GetDOMImpl()->GetParentImpl(), t.A->GetDOMImpl());
    EXPECT_EQ(t.Doc->GetDOMImpl()->GetParentImpl(), nullptr);
    EXPECT_EQ(t.B->GetDOMImpl(), nullptr);

    DelphiInterface<IVnDOMNode> leaf2 = VnDOMIntf<IVnDOMNode>(t.Leaf2);
    EXPECT_EQ(Live::Impls, 5);
    EXPECT_EQ(t.A->GetDOMImpl()->RefCount(), 2);
    EXPECT_EQ(t.Root->GetDOMImpl()->RefCount(), 1);
    DelphiInterface<IVnDOMNode> again = leaf1;
    EXPECT_EQ(t.Leaf1->GetDOMImpl()->RefCount(), 2);
    EXPECT_EQ(t.A->GetDOMImpl()->RefCount(), 2);
  }
  // That was the only interface on the tree: the document went with it.
  EXPECT_EQ(Live::Nodes, 0);
  EXPECT_EQ(Live::Impls, 0);
}

TEST_F(Lifetime, ReleaseKeepsTheTreeWhileTheDocumentIsHeld) {
  Tree t;
  DelphiInterface<IVnDOMNode> doc = VnDOMIntf<IVnDOMNode>(t.Doc);
  { DelphiInterface<IVnDOMNode> leaf = VnDOMIntf<IVnDOMNode>(t.Leaf2); }
  EXPECT_EQ(Live::Nodes, 6);
  EXPECT_EQ(Live::Impls, 1);
  EXPECT_EQ(t.Doc->GetDOMImpl()->RefCount(), 1);
  ExpectNoImpl(t.Root);
  EXPECT_EQ(t.A->NodeCount(), 2);
  doc = nullptr;
  EXPECT_EQ(Live::Nodes, 0);
}

TEST_F(Lifetime, RemovedChildLivesOnDetachedUntilItsInterfaceGoes) {
  Tree t;
  DelphiInterface<IVnDOMNode> doc = VnDOMIntf<IVnDOMNode>(t.Doc);
  DelphiInterface<IVnDOMNode> leaf = VnDOMIntf<IVnDOMNode>(t.Leaf1);
  t.A->RemoveChild(t.Leaf1);
  EXPECT_EQ(Live::Nodes, 6);
  EXPECT_EQ(t.Leaf1->ParentNode(), nullptr);
  EXPECT_EQ(t.Leaf1->GetDOMDocument(), nullptr);
  EXPECT_EQ(t.Leaf1->GetDOMImpl()->GetParentImpl(), nullptr);
  EXPECT_EQ(t.A->NodeCount(), 1);
  // The chain of the old ancestors is gone; only the document's own interface remains.
  EXPECT_EQ(Live::Impls, 2);
  EXPECT_EQ(leaf->GetText(), u"");
  leaf = nullptr;
  EXPECT_EQ(Live::Nodes, 5);
  EXPECT_EQ(Live::Destroyed.back(), u"#text");
  doc = nullptr;
  EXPECT_EQ(Live::Nodes, 0);
}

TEST_F(Lifetime, RemovingTheLastHeldNodeEndsATreeHeldOnlyByPointer) {
  Tree t;
  DelphiInterface<IVnDOMNode> leaf = VnDOMIntf<IVnDOMNode>(t.Leaf1);
  // The document had been given out through the leaf's chain; detaching the leaf drops the last
  // interface on the tree, and the tree goes once RemoveChild has finished.
  t.A->RemoveChild(t.Leaf1);
  EXPECT_EQ(Live::Nodes, 1);
  EXPECT_EQ(Live::Impls, 1);
  EXPECT_EQ(leaf->GetNodeValue(), u"1");
  leaf = nullptr;
}

TEST_F(Lifetime, ClearDetachesTheElementThatAnInterfaceHolds) {
  Tree t;
  DelphiInterface<IVnDOMNode> doc = VnDOMIntf<IVnDOMNode>(t.Doc);
  DelphiInterface<IVnDOMNode> a = VnDOMIntf<IVnDOMNode>(t.A);
  t.Root->Clear();
  EXPECT_EQ(t.Root->NodeCount(), 0);
  EXPECT_EQ(Live::Nodes, 5);  // doc, root, a and a's two leaves
  EXPECT_EQ(t.A->ParentNode(), nullptr);
  EXPECT_EQ(t.A->GetDOMDocument(), nullptr);
  EXPECT_EQ(t.A->NodeCount(), 2);
  a = nullptr;
  EXPECT_EQ(Live::Nodes, 2);
  doc = nullptr;
}

TEST_F(Lifetime, ClearOnATreeHeldOnlyByPointer) {
  Tree t;
  DelphiInterface<IVnDOMNode> a = VnDOMIntf<IVnDOMNode>(t.A);
  t.Doc->Clear();
  // The root, which a's chain holds, is detached; with it went the last interface on the
  // document, which is gone once Clear has finished.
  EXPECT_EQ(Live::Nodes, 5);
  EXPECT_EQ(t.Root->ParentNode(), nullptr);
  EXPECT_EQ(t.Root->NodeCount(), 2);
  EXPECT_EQ(a->NodeCount(), 2);
  a = nullptr;
}

TEST_F(Lifetime, FreeWithALiveInterfaceRaisesAndChangesNothing) {
  Tree t;
  DelphiInterface<IVnDOMNode> a = VnDOMIntf<IVnDOMNode>(t.A);
  try {
    t.A->Free();
    FAIL() << "no exception";
  } catch (EVnDomException &) {
    FAIL() << "the refcount failure is a plain Exception";
  } catch (Exception &E) {
    EXPECT_EQ(Msg(E), "An instance of TTestElement is destroyed while it's refcount is not 0!");
  }
  EXPECT_EQ(t.A->ParentNode(), t.Root);
  EXPECT_EQ(t.A->NodeCount(), 2);
  EXPECT_FALSE(t.A->Destroying());
  a = nullptr;  // the document goes with it
  EXPECT_EQ(Live::Nodes, 0);
}

TEST_F(Lifetime, ReleaseWithoutAnImplRaises) {
  TTestText *t = Text(u"x");
  try {
    t->_Release();
    FAIL() << "no exception";
  } catch (Exception &E) {
    EXPECT_EQ(Msg(E),
              "DOM Objects do not support interfaces. All interface requests should be handled "
              "by the DOMIMpl object.");
  }
  t->Free();
}

TEST_F(Lifetime, AFreshDetachedNodeDiesWithItsInterface) {
  {
    DelphiInterface<IVnDOMNode> n = VnDOMIntf<IVnDOMNode>(Element(u"e"));
    n->AppendChild(VnDOMIntf<IVnDOMNode>(Text(u"t")));
    EXPECT_EQ(Live::Nodes, 2);
    EXPECT_EQ(Live::Impls, 1);
  }
  EXPECT_EQ(Live::Nodes, 0);
}

TEST_F(Lifetime, AnUnansweredRequestLeavesNothingBehind) {
  Tree t;
  DelphiInterface<IVnDOMElement> e;
  EXPECT_FALSE(Supports(static_cast<IVnObject *>(t.Leaf1), e));
  EXPECT_EQ(Live::Impls, 0);
  EXPECT_EQ(Live::Nodes, 6);
  ExpectNoImpl(t.Doc);
  {
    // With Impls that exist already, their counts are unchanged.
    DelphiInterface<IVnDOMNode> leaf = VnDOMIntf<IVnDOMNode>(t.Leaf1);
    DelphiInterface<IVnDOMNode> doc = VnDOMIntf<IVnDOMNode>(t.Doc);
    EXPECT_FALSE(Supports(static_cast<IVnObject *>(t.Leaf2), e));
    EXPECT_EQ(t.A->GetDOMImpl()->RefCount(), 1);
    EXPECT_EQ(Live::Impls, 4);
    EXPECT_THROW(VnDOMIntf<IVnDOMElement>(t.Leaf2), EIntfCastError);
    EXPECT_EQ(Live::Impls, 4);
  }
  EXPECT_EQ(Live::Nodes, 0);
}

TEST_F(Lifetime, ANodesOwnListPinsTheNode) {
  Tree t;
  DelphiInterface<IVnDOMNodeList> children = VnDOMIntf<IVnDOMNodeList>(t.A->GetChildNodes());
  ASSERT_NE(t.A->GetDOMImpl(), nullptr);
  EXPECT_EQ(t.A->GetDOMImpl()->RefCount(), 1);
  EXPECT_NE(t.Doc->GetDOMImpl(), nullptr);
  EXPECT_THROW(t.A->Free(), Exception);
  EXPECT_EQ(children->Count(), 2);
  // Taking a out ends the document, which nothing else holds; a stays for its list.
  t.Root->RemoveChild(t.A);
  EXPECT_EQ(Live::Nodes, 3);
  EXPECT_EQ(children->Count(), 2);
  children = nullptr;
  EXPECT_EQ(Live::Nodes, 0);
}

TEST_F(Lifetime, AResultListPinsNothing) {
  Tree t;
  DelphiInterface<IVnDOMNode> doc = VnDOMIntf<IVnDOMNode>(t.Doc);
  TVnDOMNodeList *result = New<TVnDOMNodeList>();
  result->Add(t.Leaf1);
  result->Add(t.B);
  {
    DelphiInterface<IVnDOMNodeList> list = VnDOMIntf<IVnDOMNodeList>(result);
    EXPECT_EQ(Live::Impls, 1);
    ExpectNoImpl(t.Root);
    EXPECT_EQ(list->Count(), 2);
    {
      DelphiInterface<IVnDOMNode> b = list->GetItem(1);
      EXPECT_EQ(b->GetLocalName(), u"b");
      EXPECT_EQ(Live::Impls, 3);
    }
    EXPECT_EQ(Live::Impls, 1);
  }
  // The list went with its interface; the nodes stay with their tree.
  EXPECT_EQ(Live::Nodes, 6);
  EXPECT_EQ(t.A->NodeCount(), 2);
  doc = nullptr;
}

TEST_F(Lifetime, AnInterfaceOnAFreedResultListRaisesInsteadOfDangling) {
  Tree t;
  TVnDOMNodeList *result = New<TVnDOMNodeList>();
  result->Add(t.A);
  DelphiInterface<IVnDOMNodeList> list = VnDOMIntf<IVnDOMNodeList>(result);
  result->Free();
  try {
    list->Count();
    FAIL() << "no exception";
  } catch (EVnDomException &E) {
    EXPECT_EQ(Msg(E), "The object behind this interface has been destroyed!");
  }
  EXPECT_THROW(list->GetItem(0), EVnDomException);
  list = nullptr;
  t.Doc->Free();
}

TEST_F(Lifetime, ADeepChainCountsOneReferencePerLevel) {
  TTestDocument *doc = New<TTestDocument>();
  TVnDOMNode *p = doc;
  for (int i = 0; i < 200; ++i) p = p->AppendChild(Element(u"level"));
  {
    DelphiInterface<IVnDOMNode> deep = VnDOMIntf<IVnDOMNode>(p);
    EXPECT_EQ(Live::Impls, 201);
    EXPECT_EQ(deep->NodePath(false, u"").size(), 200u * 6u);
  }
  EXPECT_EQ(Live::Nodes, 0);
}

TEST_F(Lifetime, MovingAHeldNodeToAnotherTreeMovesItsChain) {
  Tree t1, t2;
  DelphiInterface<IVnDOMNode> doc2 = VnDOMIntf<IVnDOMNode>(t2.Doc);
  DelphiInterface<IVnDOMNode> leaf = VnDOMIntf<IVnDOMNode>(t1.Leaf1);
  t1.A->RemoveChild(t1.Leaf1);
  // The first tree lost its last interface with the leaf.
  EXPECT_EQ(Live::Nodes, 7);
  t2.B->AppendChild(t1.Leaf1);
  EXPECT_EQ(t1.Leaf1->ParentNode(), t2.B);
  EXPECT_EQ(t1.Leaf1->GetDOMDocument(), t2.Doc);
  EXPECT_EQ(t1.Leaf1->GetDOMImpl()->GetParentImpl(), t2.B->GetDOMImpl());
  EXPECT_EQ(t2.Doc->GetDOMImpl()->RefCount(), 2);
  leaf = nullptr;
  EXPECT_EQ(t2.B->NodeCount(), 1);
  EXPECT_EQ(t2.Doc->GetDOMImpl()->RefCount(), 1);
  doc2 = nullptr;
  EXPECT_EQ(Live::Nodes, 0);
}

}  // namespace
}  // namespace domtest
