// Who frees a node, and when: nodes of counted classes record their construction and
// destruction, and the sanitizer build adds the check that nothing is freed twice or leaked.
#include "tree_util.h"

namespace jsontree {
namespace {

struct Live {
  static inline int Values = 0;
  static inline int Objects = 0;
  static inline int Documents = 0;
};

class TCountedValue : public TVnJSONSimpleType {
  VN_CLASS(TCountedValue, TVnJSONSimpleType)
 public:
  explicit TCountedValue(TVnJSONBase *AOwner) : TVnJSONSimpleType(AOwner) { ++Live::Values; }
  ~TCountedValue() override { --Live::Values; }
};

class TCountedObject : public TVnJSONObject {
  VN_CLASS(TCountedObject, TVnJSONObject)
 public:
  explicit TCountedObject(TVnJSONBase *AOwner) : TVnJSONObject(AOwner) { ++Live::Objects; }
  ~TCountedObject() override { --Live::Objects; }
};

class TCountedDocument : public TVnJSONDocument {
  VN_CLASS(TCountedDocument, TVnJSONDocument)
 public:
  TCountedDocument() { ++Live::Documents; }
  ~TCountedDocument() override { --Live::Documents; }
};

class JSONLifetime : public ::testing::Test {
 protected:
  void SetUp() override {
    Live::Values = 0;
    Live::Objects = 0;
    Live::Documents = 0;
  }
  void TearDown() override {
    EXPECT_EQ(Live::Values, 0);
    EXPECT_EQ(Live::Objects, 0);
    EXPECT_EQ(Live::Documents, 0);
  }

  // A member named AName of AObject with a counted object as value, which holds a member "x"
  // with a counted value of AValue.
  static TVnJSONMember *AddCounted(TVnJSONBase *AObject, const VnJSONString &AName,
                                   Integer AValue) {
    TVnJSONMember *m = AObject->AddMember(AName);
    TVnJSONObject *o = New<TCountedObject>(m);
    New<TCountedValue>(o->AddMember(u"x"))->SetAsInteger(AValue);
    return m;
  }
};

TEST_F(JSONLifetime, DeletedMemberLivesWhileAnInterfaceHoldsIt) {
  Doc d = Load(u"{\"keep\":1}");
  TVnJSONBase *root = d->GetRootValue();
  TVnJSONMember *m = AddCounted(root, u"gone", 5);
  DelphiInterface<IVnJSONMember> held(m);
  ASSERT_EQ(Live::Objects, 1);

  root->DeleteMember(1);
  EXPECT_EQ(root->Count(), 1);
  EXPECT_EQ(d->GetAsJSON(), u"{\"keep\": 1}");
  // Detached, but whole: the member, its value and what is below it.
  EXPECT_EQ(m->Owner(), nullptr);
  EXPECT_EQ(Live::Objects, 1);
  EXPECT_EQ(Live::Values, 1);
  EXPECT_EQ(held->GetName(), u"gone");
  EXPECT_EQ(held->GetAsObjectIntf()->GetMemberIntf(u"x", {jsoRaise})->GetAsInteger(), 5);
  held->SetName(u"still");
  EXPECT_EQ(m->GetAsJSON(), u"\"still\": {\"x\": 5}");

  held = nullptr;
  EXPECT_EQ(Live::Objects, 0);
  EXPECT_EQ(Live::Values, 0);
  EXPECT_EQ(d->GetAsJSON(), u"{\"keep\": 1}");
}

TEST_F(JSONLifetime, RemovedMemberThroughItsInterface) {
  Doc d = Load(u"{}");
  DelphiInterface<IVnJSONObject> root = d->GetRootValue()->GetAsObjectIntf();
  AddCounted(d->GetRootValue(), u"a", 1);
  AddCounted(d->GetRootValue(), u"b", 2);
  DelphiInterface<IVnJSONMember> b = root->FindMemberIntf(u"b", false);
  DelphiInterface<IVnJSONBase> x = b->GetAsObjectIntf()->GetMemberEx(u"x")->GetValue();
  b = nullptr;
  // The lookup's interfaces are gone again; the tree still holds everything.
  EXPECT_EQ(Live::Objects, 2);

  root->RemoveMemberIntf(root->FindMemberIntf(u"b", false));
  // The interface of the lookup was the last hold on the member: it went at once, and the
  // value below, which an interface still holds, is left alone.
  EXPECT_EQ(Live::Objects, 1);
  EXPECT_EQ(Live::Values, 2);
  EXPECT_EQ(x->GetAsInteger(), 2);
  EXPECT_EQ(x->GetAsJSON(), u"2");
  x = nullptr;
  EXPECT_EQ(Live::Values, 1);
  EXPECT_EQ(d->GetAsJSON(), u"{\"a\": {\"x\": 1}}");

  // Without interfaces a deleted member goes at once, with its subtree.
  root->DeleteMember(0);
  EXPECT_EQ(Live::Objects, 0);
  EXPECT_EQ(Live::Values, 0);
  EXPECT_EQ(root->Count(), 0);
}

TEST_F(JSONLifetime, DeletingAParentWhileAGrandchildIsHeld) {
  Doc d = Load(u"{\"p\":{}}");
  TVnJSONObject *p = d->FindMember(u"p")->GetAsObject();
  AddCounted(p, u"c", 7);
  TVnJSONBase *value = p->FindMember(u"c")->GetAsObject()->FindMember(u"x")->GetValueObj();
  DelphiInterface<IVnJSONBase> held(value);

  d->GetRootValue()->DeleteMember(0);
  EXPECT_EQ(Live::Objects, 0);
  EXPECT_EQ(Live::Values, 1);
  EXPECT_EQ(value->Owner(), nullptr);
  EXPECT_EQ(held->GetAsInteger(), 7);
  held->SetAsString(u"free");
  EXPECT_EQ(held->GetAsJSON(), u"\"free\"");
  EXPECT_EQ(d->GetAsJSON(), u"{}");
  held = nullptr;
  EXPECT_EQ(Live::Values, 0);
}

TEST_F(JSONLifetime, ReplacedValuesAndRoots) {
  Owned<TCountedDocument> d = MakeOwned<TCountedDocument>();
  TVnJSONBase *root = New<TCountedObject>(d.get());
  TVnJSONMember *m = root->AddMember(u"m");
  DelphiInterface<IVnJSONBase> old(New<TCountedValue>(m));
  old->SetAsInteger(1);

  // A new value replaces the held one, which leaves the tree and lives on.
  m->CreateValue(jdtArray);
  EXPECT_EQ(Live::Values, 1);
  EXPECT_EQ(d->GetAsJSON(), u"{\"m\": []}");
  EXPECT_EQ(old->GetAsInteger(), 1);
  old = nullptr;
  EXPECT_EQ(Live::Values, 0);

  // The same for the root of the document.
  DelphiInterface<IVnJSONObject> oldRoot = root->GetAsObjectIntf();
  d->SetAsJSON(u"[1]");
  EXPECT_EQ(Live::Objects, 1);
  EXPECT_EQ(oldRoot->Count(), 1);
  EXPECT_EQ(oldRoot->GetAsJSON(), u"{\"m\": []}");
  oldRoot = nullptr;
  EXPECT_EQ(Live::Objects, 0);

  // Interfaces taken and released on nodes in the tree never free them.
  New<TCountedValue>(d->CreateRootValue(jdtArray)->AddValue(jdtArray));
  for (int i = 0; i < 3; ++i) {
    DelphiInterface<IVnJSONBase> inner = d->Item(0)->GetItem(0);
    inner->SetAsInteger(i);
  }
  EXPECT_EQ(Live::Values, 1);
  EXPECT_EQ(d->GetAsJSON(), u"[[2]]");
  d.reset();
  EXPECT_EQ(Live::Values, 0);
}

TEST_F(JSONLifetime, FreeStandingArrayFreesNone) {
  Doc d = Load(u"[]");
  TVnJSONBase *arr = d->GetRootValue();
  TVnJSONBase *v1 = New<TCountedValue>(arr);
  TVnJSONBase *v2 = New<TCountedValue>(arr);
  v1->SetAsInteger(1);
  v2->SetAsInteger(2);
  {
    Owned<TVnJSONArray> list(New<TVnJSONArray>(nullptr));
    list->AddReference(v1);
    list->AddReference(v2);
    EXPECT_EQ(list->Count(), 2);
    EXPECT_EQ(list->GetAsJSON(), u"[1, 2]");
    list->DeleteValue(0);
    EXPECT_EQ(list->Count(), 1);
    EXPECT_EQ(Live::Values, 2);
    EXPECT_EQ(v1->Owner(), arr);
  }
  EXPECT_EQ(Live::Values, 2);
  EXPECT_EQ(d->GetAsJSON(), u"[1, 2]");

  // Held through an interface, the list goes with it, and the nodes stay.
  {
    DelphiInterface<IVnJSONArray> list(New<TVnJSONArray>(nullptr));
    static_cast<TVnJSONArray *>(list->Implementor())->AddReference(v2);
    list->RemoveValueIntf(DelphiInterface<IVnJSONBase>(v2));
    EXPECT_EQ(list->Count(), 0);
    static_cast<TVnJSONArray *>(list->Implementor())->AddReference(v1);
  }
  EXPECT_EQ(Live::Values, 2);
  EXPECT_EQ(d->GetAsJSON(), u"[1, 2]");
  d.reset();
  EXPECT_EQ(Live::Values, 0);
}

TEST_F(JSONLifetime, FreeingTheDocumentWhileInnerNodesAreHeld) {
  Owned<TCountedDocument> d = MakeOwned<TCountedDocument>();
  d->SetAsJSON(u"{\"a\":[1],\"b\":2}");
  TVnJSONBase *root = d->GetRootValue();
  TVnJSONMember *c = AddCounted(root, u"c", 3);
  DelphiInterface<IVnJSONObject> cValue = c->GetAsObjectIntf();
  DelphiInterface<IVnJSONArray> a = d->FindMember(u"a")->GetAsArrayIntf();
  DelphiInterface<IVnJSONMember> b = d->FindMemberIntf(u"b", false);

  d.reset();
  EXPECT_EQ(Live::Documents, 0);
  EXPECT_EQ(Live::Objects, 1);
  EXPECT_EQ(Live::Values, 1);
  // Each held node stands alone now, with what was below it.
  EXPECT_EQ(cValue->GetAsJSON(), u"{\"x\": 3}");
  EXPECT_EQ(a->GetAsJSON(), u"[1]");
  EXPECT_EQ(b->GetAsInteger(), 2);
  EXPECT_EQ(static_cast<TVnJSONBase *>(a->Implementor())->Owner(), nullptr);
  EXPECT_EQ(Raised([&] { static_cast<TVnJSONBase *>(a->Implementor())->GetDocument(); }),
            "EInvalidCast: Invalid class typecast");
  // A detached node can still be edited; what is added goes with it.
  a->AddValueIntf3(Variant(u"more"));
  cValue->AddMemberIntf1(u"y")->SetAsBoolean(true);
  EXPECT_EQ(cValue->GetAsJSON(), u"{\"x\": 3, \"y\": true}");

  cValue = nullptr;
  EXPECT_EQ(Live::Objects, 0);
  EXPECT_EQ(Live::Values, 0);
  a = nullptr;
  b = nullptr;
}

TEST_F(JSONLifetime, OwnedDocumentWithInterfaces) {
  Owned<TCountedDocument> d = MakeOwned<TCountedDocument>();
  d->SetAsJSON(u"{\"a\":1}");
  {
    DelphiInterface<IVnJSONDocument> intf;
    ASSERT_TRUE(Supports(d.get(), intf));
    DelphiInterface<IVnJSONBase> base = IntfAs<IVnJSONBase>(intf);
    EXPECT_EQ((*base)[u"a"]->GetAsInteger(), 1);
  }
  // The owner still holds the document.
  EXPECT_EQ(Live::Documents, 1);
  EXPECT_EQ(d->GetAsJSON(), u"{\"a\": 1}");

  // The owner goes first: the last interface ends the document.
  DelphiInterface<IVnJSONDocument> last;
  ASSERT_TRUE(Supports(d.get(), last));
  DelphiInterface<IVnJSONMember> a = last->GetMemberIntf(u"a", {jsoRaise});
  d.reset();
  EXPECT_EQ(Live::Documents, 1);
  EXPECT_EQ(last->GetAsJSON(), u"{\"a\": 1}");
  last = nullptr;
  EXPECT_EQ(Live::Documents, 0);
  // The member that was held stays, detached with the rest of the tree it was in.
  EXPECT_EQ(a->GetAsInteger(), 1);
  a = nullptr;
}

TEST_F(JSONLifetime, LooseNodesFollowTheirHolders) {
  {
    DelphiInterface<IVnJSONBase> v(New<TCountedValue>(nullptr));
    v->SetAsString(u"x");
    EXPECT_EQ(Live::Values, 1);
  }
  EXPECT_EQ(Live::Values, 0);
  {
    Owned<TCountedObject> o(New<TCountedObject>(nullptr));
    New<TCountedValue>(o->AddMember(u"v"));
    DelphiInterface<IVnJSONBase> held(o.get());
    held = nullptr;
    EXPECT_EQ(Live::Objects, 1);
  }
  EXPECT_EQ(Live::Objects, 0);
  EXPECT_EQ(Live::Values, 0);
}

TEST_F(JSONLifetime, FailedLoadsLeaveNothingBehind) {
  Doc d = Load(u"{\"a\":[1,2]}");
  EXPECT_EQ(Raised([&] { d->SetAsJSON(u"{\"b\":[1,{\"c\":tru}]}"); }).substr(0, 20),
            "EVnJSONParseError 2:");
  // Whatever the events built stays usable and is freed with the document.
  d->SetAsJSON(u"[3]");
  EXPECT_EQ(d->GetAsJSON(), u"[3]");
  EXPECT_EQ(
      Raised([] { Doc x(TVnJSONDocument::CreateFromJSON(u"[1,{\"a\":fals}]")); }).substr(0, 20),
      "EVnJSONParseError 2:");
  // A simple value has no place at the top of a document.
  try {
    Doc x(TVnJSONDocument::CreateFromJSON(u"5"));
    ADD_FAILURE() << "no exception";
  } catch (EVnJSONException &e) {
    EXPECT_EQ(e.Message, u"oeps?");
  }
}

}  // namespace
}  // namespace jsontree
