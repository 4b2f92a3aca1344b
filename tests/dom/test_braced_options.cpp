// Option sets written in braces, `{}` and `{soCaseSensitive, ...}`, mean the option set in every
// operation that takes one, on the objects and on the interfaces. Names match without regard to
// case by default, so "k" finds "K" under `{}` and misses it under `{soCaseSensitive}`.
#include "xml_util.h"

namespace domxml {
namespace {

const UnicodeString cXML = u"<r K=\"1\"><K/><L/></r>";

TEST(BracedOptions, ObjectLookups) {
  Doc d = Load(cXML);
  TVnDOMElement *r = d->GetRootNode();
  EXPECT_EQ(r->FindElement(u"k", {}), r->FirstElement());
  EXPECT_EQ(r->FindElement(u"k", {soCaseSensitive}), nullptr);
  EXPECT_EQ(r->FindAttribute(u"k", {}), r->FirstAttribute());
  EXPECT_EQ(r->FindAttribute(u"k", {soCaseSensitive}), nullptr);
  EXPECT_TRUE(r->HasChildElement(u"k", {}));
  EXPECT_FALSE(r->HasChildElement(u"k", {soCaseSensitive}));
  EXPECT_TRUE(r->HasAttribute(u"k", {}));
  EXPECT_FALSE(r->HasAttribute(u"k", {soCaseSensitive}));
  EXPECT_EQ(r->ElementByName(u"k", {}), r->FirstElement());
  EXPECT_THROW(r->ElementByName(u"k", {soRaise, soCaseSensitive}), EVnDomNotFound);
  EXPECT_EQ(r->AttributeByName(u"k", {}), r->FirstAttribute());
  EXPECT_EQ(r->AttributeByName(u"k", {soCreate, soCaseSensitive})->GetQualifiedName(), u"k");
  EXPECT_EQ(r->AttributeCount(), 2);

  vn::Owned<TVnDOMElementList> list = MakeOwned<TVnDOMElementList>();
  list->Add(r->FirstElement());
  list->Add(r->LastElement());
  EXPECT_EQ(list->Find(u"k", {}), r->FirstElement());
  EXPECT_EQ(list->Find(u"k", {soCaseSensitive}), nullptr);
  EXPECT_EQ(list->Delete(u"l", {soCaseSensitive}), nullptr);
  EXPECT_EQ(list->Delete(u"l", {}), r->LastElement());
  EXPECT_EQ(list->Count(), 1);
  // The path forms take braced sets as well.
  EXPECT_EQ(r->SelectSingleNode(u"k", {}), r->FirstElement());
  EXPECT_THROW(r->CreateNodeList(u"k", {soRaise, soCaseSensitive}), EVnDomNotFound);
  EXPECT_EQ(vn::Owned<TVnDOMElementList>(r->CreateElementList(u"k", {}))->Count(), 1);
  EXPECT_EQ(r->SelectSingleElement(u"k", {soCaseSensitive}), nullptr);
}

TEST(BracedOptions, InterfaceLookups) {
  auto d = VnDOMIntf<IVnDOMDocument>(Load(cXML).release());
  DelphiInterface<IVnDOMElement> r = d->GetRootNode();
  EXPECT_EQ(r->FindElement(u"k", {}), r->FirstElement());
  EXPECT_EQ(r->FindElement(u"k", {soCaseSensitive}), nullptr);
  EXPECT_EQ(r->FindAttribute(u"k", {}), r->FirstAttribute());
  EXPECT_EQ(r->FindAttribute(u"k", {soCaseSensitive}), nullptr);
  EXPECT_TRUE(r->HasChildElement(u"k", {}));
  EXPECT_FALSE(r->HasChildElement(u"k", {soCaseSensitive}));
  EXPECT_TRUE(r->HasAttribute(u"k", {}));
  EXPECT_FALSE(r->HasAttribute(u"k", {soCaseSensitive}));
  DelphiInterface<IVnDOMElementList> list = r->GetElements();
  EXPECT_EQ(list->Find(u"k", {}), r->FirstElement());
  EXPECT_EQ(list->Find(u"k", {soCaseSensitive}), nullptr);
  EXPECT_EQ(list->Delete(u"l", {soCaseSensitive}), nullptr);
  EXPECT_EQ(r->ElementByName(u"k", {}), r->FirstElement());
  EXPECT_EQ(r->ElementByName(u"k", {soCreate, soCaseSensitive})->GetQualifiedName(), u"k");
  EXPECT_EQ(r->ElementCount(), 3);
  // Two arguments would otherwise name a namespace URI and a name.
  EXPECT_EQ(r->AttributeByName(u"k", {}), r->FirstAttribute());
  EXPECT_THROW(r->AttributeByName(u"k", {soRaise, soCaseSensitive}), EVnDomNotFound);

  // `{}` and `{soCreate}` arrive as sets, not as "not recursive" and "recursive": the path forms
  // find K and the k just created.
  EXPECT_EQ(r->CreateElementList(u"K", {})->Count(), 2);
  EXPECT_EQ(r->CreateElementList(u"K", {soCreate})->Count(), 2);
  EXPECT_EQ(r->SelectSingleElement(u"k", {soCaseSensitive}), r->LastElement());
  EXPECT_EQ(d->CreateElementList(u"K", {})->Count(), 2);
  EXPECT_EQ(d->SelectSingleElement(u"K", {soCaseSensitive}), r->FirstElement());
  EXPECT_EQ(r->SelectSingleNode(u"L", {})->GetQualifiedName(), u"L");
  EXPECT_THROW(r->CreateNodeList(u"x", {soRaise}), EVnDomNotFound);
  try {
    r->SelectSingleElement(u"K", {soRaise, soCreate});
    ADD_FAILURE() << "both soRaise and soCreate";
  } catch (const Exception &E) {
    EXPECT_EQ(Msg(E), "It is not possible to specify both soRaise and soCreate!");
  }
}

}  // namespace
}  // namespace domxml
