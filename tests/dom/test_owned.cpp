// Owners of trees and nodes beside interfaces: each tree dies once, with the last of its holders,
// whatever the order in which they let go (a second free or a use after free fails the
// sanitizer build).
#include "xml_util.h"

namespace domxml {
namespace {

class TLiveDocument : public TVnDOMDocument {
  VN_CLASS(TLiveDocument, TVnDOMDocument)
 public:
  static inline int Alive = 0;
  TLiveDocument() { ++Alive; }
  ~TLiveDocument() override { --Alive; }
};

vn::Owned<TLiveDocument> LoadLive(const UnicodeString &AXML) {
  vn::Owned<TLiveDocument> doc = MakeOwned<TLiveDocument>();
  doc->LoadFromXML(AXML);
  return doc;
}

TEST(OwnedTree, DiesWithTheLastOfItsOwnerAndItsInterfaces) {
  TLiveDocument::Alive = 0;
  {
    vn::Owned<TLiveDocument> doc = LoadLive(u"<a><b /></a>");
    {
      DelphiInterface<IVnDOMElement> root = VnDOMIntf<IVnDOMElement>(doc->GetRootNode());
      EXPECT_EQ(root->ElementCount(), 1);
    }
    // The last interface went while the owner held the tree: the tree stays whole.
    EXPECT_EQ(TLiveDocument::Alive, 1);
    EXPECT_EQ(doc->GetDOMImpl(), nullptr);
    EXPECT_EQ(Saved(doc.get(), CP_UTF8, false), "<a><b /></a>");
  }
  EXPECT_EQ(TLiveDocument::Alive, 0);

  // The owner goes first: the interfaces take the tree over, and the last of them frees it.
  DelphiInterface<IVnDOMNode> leaf;
  {
    vn::Owned<TLiveDocument> doc = LoadLive(u"<a><b /></a>");
    leaf = VnDOMIntf<IVnDOMNode>(doc->GetRootNode()->FirstElement());
  }
  EXPECT_EQ(TLiveDocument::Alive, 1);
  EXPECT_EQ(leaf->Document()->GetRootNode()->GetXML(), u"<a><b /></a>");
  leaf = nullptr;
  EXPECT_EQ(TLiveDocument::Alive, 0);
}

// An owner holds a node as an interface does: the tree keeps what stands in it, and a node that
// leaves its tree while owned lives on, detached, for its owner.
TEST(OwnedNode, StaysInItsTreeAndOutlivesItsTree) {
  Doc doc = Load(u"<a><b><c/></b></a>");
  TVnDOMElement *a = doc->GetRootNode();
  {
    vn::Owned<TVnDOMElement> d = MakeOwned<TVnDOMElement>();
    d->SetQualifiedName(u"d");
    a->AppendChild(d.get());
  }
  EXPECT_EQ(a->GetXML(), u"<a><b><c /></b><d /></a>");

  vn::Owned<TVnDOMElement> b(a->FirstElement());
  try {
    b->Free();
    ADD_FAILURE() << "Free of an owned node";
  } catch (const Exception &E) {
    EXPECT_EQ(Msg(E), "An instance of TVnDOMElement is destroyed while it's refcount is not 0!");
  }
  a->RemoveChild(b.get());
  EXPECT_EQ(b->GetParent(), nullptr);
  EXPECT_EQ(a->GetXML(), u"<a><d /></a>");
  a->AppendChild(b.get());
  doc.reset();
  EXPECT_EQ(b->GetParent(), nullptr);
  EXPECT_EQ(b->GetDOMDocument(), nullptr);
  EXPECT_EQ(b->GetXML(), u"<b><c /></b>");

  // A result list under an owner and an interface.
  vn::Owned<TVnDOMElementList> list(b->CreateElementList(u"c", true));
  DelphiInterface<IVnDOMElementList> intf = VnDOMIntf<IVnDOMElementList>(list.get());
  list.reset();
  EXPECT_EQ(intf->Count(), 1);
}

}  // namespace
}  // namespace domxml
