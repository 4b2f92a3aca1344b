// The format-blind walk: which members are written and in what order, hints, helpers and their
// registry, cycles, components, the entry functions' failures, and the lock of serializable
// objects. Documents are XML without namespaces, the shortest form that shows the walk.
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <thread>

#include "exception_text.h"
#include "serialize/model.h"
#include "vnxml/rtl/Owned.h"
#include "vnxml/xml/uVnXMLSerializer.h"

using namespace vn;
using namespace sermodel;
using vntest::MessageOf;

namespace walk {

// --- Which members are written.
class TSelect : public TPersistent {
  VN_CLASS(TSelect, TPersistent)
 public:
  Integer Get() const { return 1; }
  void Set(Integer) {}
  Integer A = 0, B = 0, C = 0, D = 0, E = 0, F = 0, G = 0, H = 0, Pub = 0;
};
VN_RTTI(TSelect, u"walk") {
  R.Field(u"FieldPublic", &TSelect::A);
  R.Property(u"Published", &TSelect::Get, &TSelect::Set);
  R.Property(u"Renamed", &TSelect::Get, &TSelect::Set, mvPublished,
             {new SerializerHint(shoName, u"alias")});
  R.Property(u"EmptyName", &TSelect::Get, &TSelect::Set, mvPublished,
             {new SerializerHint(shoName, u"")});
  R.Property(u"PublicPlain", &TSelect::Get, &TSelect::Set, mvPublic);
  R.Property(u"PublicNamed", &TSelect::Get, &TSelect::Set, mvPublic,
             {new SerializerHint(shoName, u"pub")});
  R.Property(u"ProtectedNamed", &TSelect::Get, &TSelect::Set, mvProtected,
             {new SerializerHint(shoName, u"prot")});
  R.Property(u"WriteOnly", nullptr, &TSelect::Set);
  R.Property(u"NotWritten", &TSelect::Get, &TSelect::Set, mvPublished,
             {new SerializerHint(shoDoNotSerialize)});
  R.Field(u"FieldPrivate", &TSelect::B, mvPrivate);
  R.Field(u"FieldProtected", &TSelect::C, mvProtected);
  R.Field(u"FieldNamed", &TSelect::D, mvPublic, {new SerializerHint(shoName, u"other")});
  R.Field(u"FieldEmptyName", &TSelect::E, mvPublic, {new SerializerHint(shoName, u"")});
  R.Field(u"FieldNotWritten", &TSelect::F, mvPublic, {new SerializerHint(shoDoNotSerialize)});
  R.Field(u"FieldPrivateNamed", &TSelect::G, mvPrivate, {new SerializerHint(shoName, u"g")});
  // A field named like a property (in another case) is not looked at.
  R.Field(u"published", &TSelect::H);
  R.Field(u"PUBLICPLAIN", &TSelect::Pub);
}

// A derived class whose field hides the ancestor's field of the same name.
class TSelectMore : public TSelect {
  VN_CLASS(TSelectMore, TSelect)
 public:
  UnicodeString FieldPublic = u"mine";
};
VN_RTTI(TSelectMore, u"walk") {
  R.Field(u"FieldPublic", &TSelectMore::FieldPublic);
}

// --- Cycles and shared objects.
class TNode : public TPersistent {
  VN_CLASS(TNode, TPersistent)
 public:
  UnicodeString Id;
  TNode *Up = nullptr;     // not owned
  TNode *Left = nullptr;   // not owned
  TNode *Right = nullptr;  // not owned
};
VN_RTTI(TNode, u"walk") {
  R.Field(u"Id", &TNode::Id);
  R.Field(u"Up", &TNode::Up);
  R.Field(u"Left", &TNode::Left);
  R.Field(u"Right", &TNode::Right);
}

// --- Components.
class TPanel : public TComponent {
  VN_CLASS(TPanel, TComponent)
 public:
  explicit TPanel(TComponent *AOwner) : TComponent(AOwner) {}
  Integer Width = 0;
  TComponent *Peer = nullptr;  // not owned
};
VN_RTTI(TPanel, u"walk") {
  R.Field(u"Width", &TPanel::Width);
  R.Field(u"Peer", &TPanel::Peer);
}

}  // namespace walk

using namespace walk;

namespace {

// The document without namespaces.
std::string Plain(
    const TValue &AValue,
    std::initializer_list<std::pair<const char16_t *, const char16_t *>> AParams = {}) {
  Owned<TVnSerializer> s(VnCreateSerializer(dsfXML, AValue));
  s->SetParam(u"excludenamespaces", u"true");
  for (auto &[name, value] : AParams) s->SetParam(name, value);
  return s->Serialize();
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Member selection and order

// Properties come first, in list order, then fields; a published property is written unless a
// hint says otherwise, a public one only with a name hint; public fields are written under their
// declared names whatever their name hint says, unless it is empty.
TEST(SerializerWalk, MembersAreChosenByVisibilityAndHints) {
  Owned<TSelect> s(New<TSelect>());
  s->A = 2;
  s->D = 3;
  s->G = 4;
  EXPECT_EQ(Plain(s.get()),
            "<object><Published>1</Published><alias>1</alias><pub>1</pub>"
            "<FieldPublic>2</FieldPublic><FieldNamed>3</FieldNamed>"
            "<FieldPrivateNamed>4</FieldPrivateNamed></object>");
  // The most derived declaration of a name wins.
  Owned<TSelectMore> m(New<TSelectMore>());
  EXPECT_EQ(Plain(m.get()),
            "<object><Published>1</Published><alias>1</alias><pub>1</pub>"
            "<FieldPublic>mine</FieldPublic><FieldNamed>0</FieldNamed>"
            "<FieldPrivateNamed>0</FieldPrivateNamed></object>");
}

// An object met again on the way up is left out, name included; a shared object that is no
// ancestor is written in full each time.
TEST(SerializerWalk, AncestorsAreCutAndSharedObjectsRepeated) {
  Owned<TNode> root(New<TNode>()), shared(New<TNode>());
  root->Id = u"r";
  root->Up = root.get();  // itself
  shared->Id = u"s";
  shared->Up = root.get();  // its owner up the walk
  root->Left = shared.get();
  root->Right = shared.get();
  EXPECT_EQ(Plain(root.get()),
            "<object><Id>r</Id>"
            "<Left><Id>s</Id><Left/><Right/></Left>"
            "<Right><Id>s</Id><Left/><Right/></Right></object>");
}

// A component owned by the instance being written is written as an object; one with another
// owner by its Name; a nil component member as an empty string. The owner of a component below
// the root goes first, as "Owner".
TEST(SerializerWalk, ComponentsAreWrittenAsObjectsOrByName) {
  Owned<TComponent> module(New<TComponent>(nullptr));
  module->SetName(u"Module");
  Owned<TPanel> form(New<TPanel>(nullptr));
  form->SetName(u"Form");
  auto *button = New<TPanel>(form.get());
  button->SetName(u"Button");
  button->Width = 5;
  button->Peer = form.get();  // the owner, an ancestor in the walk: left out
  auto *other = New<TPanel>(module.get());
  other->SetName(u"Other");
  form->Peer = button;
  EXPECT_EQ(Plain(form.get()),
            "<object><Name>Form</Name><Tag>0</Tag><Width>0</Width>"
            "<Peer><Owner>Form</Owner><Name>Button</Name><Tag>0</Tag><Width>5</Width></Peer>"
            "</object>");
  form->Peer = other;
  EXPECT_EQ(Plain(form.get()),
            "<object><Name>Form</Name><Tag>0</Tag><Width>0</Width><Peer>Other</Peer></object>");
  form->Peer = nullptr;
  EXPECT_EQ(Plain(form.get()),
            "<object><Name>Form</Name><Tag>0</Tag><Width>0</Width><Peer></Peer></object>");
  // A component with an owner at the root names its owner first.
  EXPECT_EQ(Plain(other),
            "<object><Owner>Module</Owner><Name>Other</Name><Tag>0</Tag><Width>0</Width>"
            "<Peer></Peer></object>");
  // ... with its type, that of a string, as the owner's name is what is written.
  EXPECT_NE(
      VnSerializer(other).AsXML(u"urn:t").find("<Owner xsi:type=\"xsd:string\">Module</Owner>"),
      std::string::npos);
  module->SetName(u"");
  EXPECT_EQ(Plain(other),
            "<object><Name>Other</Name><Tag>0</Tag><Width>0</Width><Peer></Peer></object>");
}

// ---------------------------------------------------------------------------------------------
// Helpers

namespace walk {

// Writes the member's text in upper case.
class TUpperHelper : public TVnSerializerHelper {
  VN_CLASS(TUpperHelper, TVnSerializerHelper)
 public:
  void Serialize(TVnSerializer *ASerializer, const UnicodeString &AName, const TVnTypeInfo *,
                 const TValue &AValue, bool &) override {
    ASerializer->SerializeValue(AName, TVnTypes::Of<UnicodeString>(),
                                TValue(UpperCase(AValue.ToString())), -1);
  }
};
VN_RTTI(TUpperHelper, u"walk") {}

// Leaves the member to the default walk.
class TPassHelper : public TVnSerializerHelper {
  VN_CLASS(TPassHelper, TVnSerializerHelper)
 public:
  void Serialize(TVnSerializer *, const UnicodeString &, const TVnTypeInfo *, const TValue &,
                 bool &AHandled) override {
    AHandled = false;
  }
};
VN_RTTI(TPassHelper, u"walk") {}

// Does not override Serialize: the member disappears.
class TSilentHelper : public TVnSerializerHelper {
  VN_CLASS(TSilentHelper, TVnSerializerHelper)
};
VN_RTTI(TSilentHelper, u"walk") {}

// Writes an array member under a name that is no member: a misuse.
class TRenameArrayHelper : public TVnSerializerHelper {
  VN_CLASS(TRenameArrayHelper, TVnSerializerHelper)
 public:
  void Serialize(TVnSerializer *ASerializer, const UnicodeString &, const TVnTypeInfo *AType,
                 const TValue &AValue, bool &) override {
    ASerializer->SerializeArray(u"Elsewhere", AType,
                                const_cast<void *>(AValue.GetReferenceToRawData()), AType, -1);
  }
};
VN_RTTI(TRenameArrayHelper, u"walk") {}

class THinted : public TPersistent {
  VN_CLASS(THinted, TPersistent)
 public:
  ~THinted() override { Free(Person); }
  const UnicodeString &GetText() const { return Text; }
  TPerson *GetPerson() const { return Person; }
  UnicodeString Text = u"abc";
  TPerson *Person = New<TPerson>(u"Ann");
};
VN_RTTI(THinted, u"walk") {
  R.Property(u"Upper", &THinted::GetText, nullptr, mvPublished,
             {new SerializerHint(shoSerializerHelper, u"walk.TUpperHelper")});
  R.Property(u"Passed", &THinted::GetPerson, nullptr, mvPublished,
             {new SerializerHint(shoSerializerHelper, u"walk.TPassHelper")});
  R.Property(u"Silent", &THinted::GetText, nullptr, mvPublished,
             {new SerializerHint(shoSerializerHelper, u"walk.TSilentHelper")});
  // A hint on a field is not looked at.
  R.Field(u"Text", &THinted::Text, mvPublic,
          {new SerializerHint(shoSerializerHelper, u"walk.TUpperHelper")});
}

class TNotAHelper : public TPersistent {
  VN_CLASS(TNotAHelper, TPersistent)
 public:
  Integer Get() const { return 1; }
};
VN_RTTI(TNotAHelper, u"walk") {
  R.Property(u"X", &TNotAHelper::Get, nullptr, mvPublished,
             {new SerializerHint(shoSerializerHelper, u"walk.TNode")});
}

class TUnknownHelper : public TPersistent {
  VN_CLASS(TUnknownHelper, TPersistent)
 public:
  Integer Get() const { return 1; }
};
VN_RTTI(TUnknownHelper, u"walk") {
  R.Property(u"X", &TUnknownHelper::Get, nullptr, mvPublished,
             {new SerializerHint(shoSerializerHelper, u"TUpperHelper")});
}

class TRecordHelper : public TPersistent {
  VN_CLASS(TRecordHelper, TPersistent)
 public:
  Integer Get() const { return 1; }
};
VN_RTTI(TRecordHelper, u"walk") {
  R.Property(u"X", &TRecordHelper::Get, nullptr, mvPublished,
             {new SerializerHint(shoSerializerHelper, u"sermodel.TPoint")});
}

class TArrays : public TPersistent {
  VN_CLASS(TArrays, TPersistent)
 public:
  const std::vector<Integer> &GetNums() const { return Nums; }
  std::vector<Integer> Nums{1};
};
VN_RTTI(TArrays, u"walk") {
  R.Property(u"Nums", &TArrays::GetNums, nullptr, mvPublished,
             {new SerializerHint(shoSerializerHelper, u"walk.TRenameArrayHelper")});
}

// An array property renamed by its hint is looked up under the new name, which is no member.
class TRenamedArray : public TPersistent {
  VN_CLASS(TRenamedArray, TPersistent)
 public:
  const std::vector<Integer> &GetNums() const { return Nums; }
  std::vector<Integer> Nums{1};
};
VN_RTTI(TRenamedArray, u"walk") {
  R.Property(u"Nums", &TRenamedArray::GetNums, nullptr, mvPublished,
             {new SerializerHint(shoName, u"numbers")});
}

}  // namespace walk

TEST(SerializerWalk, PropertyHelpersWriteSkipOrPassTheMember) {
  Owned<THinted> h(New<THinted>());
  EXPECT_EQ(Plain(h.get()),
            "<object><Upper>ABC</Upper><Passed><Name>Ann</Name></Passed><Text>abc</Text></object>");
  EXPECT_EQ(MessageOf([] {
              Owned<TNotAHelper> o(New<TNotAHelper>());
              Plain(o.get());
            }),
            u"Exception: The specified helperclass is not a descendant of TVnSerializerHelper!");
  // The helper is looked up by qualified name, and an unknown name raises there.
  EXPECT_EQ(MessageOf([] {
              Owned<TUnknownHelper> o(New<TUnknownHelper>());
              Plain(o.get());
            }),
            u"EVnException: The type \"TUpperHelper\" is unknown!");
  // A name that the registry knows, but not as a class.
  UnicodeString notAClass = MessageOf([] {
    Owned<TRecordHelper> o(New<TRecordHelper>());
    Plain(o.get());
  });
  const UnicodeString check =
      u"EAssertionFailed: Check if you registered the helperclass and/or used the QualifiedName in "
      u"the hint? (";
  EXPECT_EQ(notAClass.substr(0, check.size()), check);
}

// The walk finds an array's value by the member's name on the parent: any other name fails.
TEST(SerializerWalk, ArraysAreFoundOnlyUnderTheirMemberName) {
  const UnicodeString text =
      u"EVnSerializeException: Serialization failure at \"%s\"\r\nArrays are only supported as a "
      u"field or property of another object/record!";
  EXPECT_EQ(MessageOf([] {
              Owned<TArrays> o(New<TArrays>());
              Plain(o.get());
            }),
            Format(text, {u"Elsewhere"}));
  EXPECT_EQ(MessageOf([] {
              Owned<TRenamedArray> o(New<TRenamedArray>());
              Plain(o.get());
            }),
            Format(text, {u"numbers"}));
  // By pointer an array at the root has no value of its own to walk.
  std::vector<Integer> nums{1, 2};
  EXPECT_EQ(MessageOf([&] { VnSerialize(dsfXML, &nums, TypeInfo<std::vector<Integer>>()); }),
            u"EVnSerializeException: Serialization failure at \"\"\r\nThe type of the value does "
            u"not match the type of the instanceinfo!");
  // By value it is written, elements named by their schema name.
  EXPECT_EQ(Plain(TValue::From<std::vector<Integer>>(nums)),
            "<array><int>1</int><int>2</int></array>");
}

// ---------------------------------------------------------------------------------------------
// The helper registry

namespace walk {

// Writes "<class name> by <tag>" for the value.
class TTagHelper : public TVnSerializerHelper {
  VN_CLASS(TTagHelper, TVnSerializerHelper)
 public:
  virtual UnicodeString Tag() const { return u"?"; }
  void Serialize(TVnSerializer *ASerializer, const UnicodeString &AName, const TVnTypeInfo *,
                 const TValue &AValue, bool &) override {
    TObject *o = AValue.AsObject();
    ASerializer->SerializeValue(
        AName, TVnTypes::Of<UnicodeString>(),
        TValue((o ? o->ClassName() : UnicodeString(u"nil")) + u" by " + Tag()), -1);
  }
};
class THelperA : public TTagHelper {
  VN_CLASS(THelperA, TTagHelper)
 public:
  UnicodeString Tag() const override { return u"A"; }
};
class THelperB : public TTagHelper {
  VN_CLASS(THelperB, TTagHelper)
 public:
  UnicodeString Tag() const override { return u"B"; }
};
class THelperC : public TTagHelper {
  VN_CLASS(THelperC, TTagHelper)
 public:
  UnicodeString Tag() const override { return u"C"; }
};

class TDeserA : public TVnDeserializerHelper {
  VN_CLASS(TDeserA, TVnDeserializerHelper)
};
class TDeserB : public TVnDeserializerHelper {
  VN_CLASS(TDeserB, TVnDeserializerHelper)
};

class TAnimal : public TPersistent {
  VN_CLASS(TAnimal, TPersistent)
};
class TDog : public TAnimal {
  VN_CLASS(TDog, TAnimal)
};
class TPlant : public TPersistent {
  VN_CLASS(TPlant, TPersistent)
};
class TTree : public TPlant {
  VN_CLASS(TTree, TPlant)
};
VN_RTTI(TAnimal, u"walk") {}
VN_RTTI(TDog, u"walk") {}
VN_RTTI(TPlant, u"walk") {}
VN_RTTI(TTree, u"walk") {}

// Generic lists: their names carry their type arguments.
class TBagBase : public TPersistent {
  VN_CLASS(TBagBase, TPersistent)
};
class TBag : public TBagBase {
  VN_CLASS(TBag, TBagBase)
};
class TPairs : public TBagBase {
  VN_CLASS(TPairs, TBagBase)
};
VN_RTTI(TBagBase, u"walk") {}
VN_RTTI(TBag, u"walk.Generics") {
  R.Name(u"TWalkBag<walk.TNode>");
}
VN_RTTI(TPairs, u"walk.Generics") {
  R.Name(u"TWalkPairs<System.string,walk.TNode>");
}

class TZoo : public TPersistent {
  VN_CLASS(TZoo, TPersistent)
 public:
  ~TZoo() override {
    Free(Animal);
    Free(Bag);
  }
  TAnimal *GetAnimal() const { return Animal; }
  TBag *GetBag() const { return Bag; }
  TAnimal *Animal = nullptr;
  TBag *Bag = nullptr;
};
VN_RTTI(TZoo, u"walk") {
  R.Property(u"Animal", &TZoo::GetAnimal, nullptr);
  R.Property(u"Bag", &TZoo::GetBag, nullptr);
  R.Field(u"FieldAnimal", &TZoo::Animal);  // fields take no helpers
}

// The position of the entry of a class (or a text name) in the registry, -1 if absent.
int IndexOf(TClass AClass, const UnicodeString &AName = {}) {
  int i = 0;
  for (const TVnSerializerHelperReg *e = VnSerializerHelpers(); e; e = e->Next, ++i)
    if (AClass ? e->ValueClass == AClass : (!e->ValueClass && e->ValueTypeName == AName)) return i;
  return -1;
}

int CountOf(TClass AClass) {
  int n = 0;
  for (const TVnSerializerHelperReg *e = VnSerializerHelpers(); e; e = e->Next)
    if (e->ValueClass == AClass) ++n;
  return n;
}

// The class of a helper found, which is freed; nil for none.
TClass ClassOfHelper(TObject *AHelper) {
  Owned<TObject> h(AHelper);
  return h ? h->ClassType() : nullptr;
}

class TRegistered : public TPersistent {
  VN_CLASS(TRegistered, TPersistent)
};
VN_RTTI(TRegistered, u"walk") {}

// The registrations that these tests rely on, made once.
void RegisterZooHelpers() {
  static const bool done = [] {
    VnRegisterSerializerHelper(TAnimal::StaticClass(), THelperA::StaticClass(),
                               TDeserA::StaticClass());
    VnRegisterSerializerHelper(TDog::StaticClass(), THelperB::StaticClass(), nullptr);
    // The ancestor after the descendant: the walk stops at the first entry by text name (the
    // helpers unit registers some at start-up), so the ancestor goes behind its descendant.
    VnRegisterSerializerHelper(TTree::StaticClass(), THelperB::StaticClass(), nullptr);
    VnRegisterSerializerHelper(TPlant::StaticClass(), THelperA::StaticClass(), nullptr);
    VnRegisterSerializerHelper(TBagBase::StaticClass(), THelperC::StaticClass(),
                               TDeserB::StaticClass());
    VnRegisterSerializerHelper(u"TWalkBag<T>", THelperA::StaticClass(), TDeserA::StaticClass());
    VnRegisterSerializerHelper(u"TWalkPairs<T,T>", nullptr, nullptr);
    return true;
  }();
  (void)done;
}

}  // namespace walk

TEST(SerializerHelperRegistry, OrderOfEntries) {
  RegisterZooHelpers();
  EXPECT_LT(IndexOf(TDog::StaticClass()), IndexOf(TAnimal::StaticClass()));
  EXPECT_LT(IndexOf(TTree::StaticClass()), IndexOf(TPlant::StaticClass()));
  EXPECT_EQ(ClassOfHelper(FindSerializerHelper(TTree::StaticClass())), THelperB::StaticClass());
  EXPECT_EQ(ClassOfHelper(FindSerializerHelper(TDog::StaticClass())), THelperB::StaticClass());
  EXPECT_EQ(ClassOfHelper(FindDeserializerHelper(TDog::StaticClass())), nullptr);

  // An entry by text name goes to the head; a class registered next goes before it.
  VnRegisterSerializerHelper(u"TWalkHead<T>", THelperA::StaticClass(), nullptr);
  EXPECT_EQ(IndexOf(nullptr, u"TWalkHead<T>"), 0);
  VnRegisterSerializerHelper(TRegistered::StaticClass(), THelperA::StaticClass(), nullptr);
  EXPECT_EQ(IndexOf(TRegistered::StaticClass()), 0);
  EXPECT_EQ(IndexOf(nullptr, u"TWalkHead<T>"), 1);

  // The same class and helper again: one entry, the reader's helper filled in once; another
  // reader's helper then is a contradiction.
  VnRegisterSerializerHelper(TRegistered::StaticClass(), THelperA::StaticClass(),
                             TDeserA::StaticClass());
  VnRegisterSerializerHelper(TRegistered::StaticClass(), THelperA::StaticClass(),
                             TDeserA::StaticClass());
  EXPECT_EQ(CountOf(TRegistered::StaticClass()), 1);
  UnicodeString clash = MessageOf([] {
    VnRegisterSerializerHelper(TRegistered::StaticClass(), THelperA::StaticClass(),
                               TDeserB::StaticClass());
  });
  const UnicodeString invalid = u"EAssertionFailed: Invalid Serializer/Deserializer combination! (";
  EXPECT_EQ(clash.substr(0, invalid.size()), invalid);
  EXPECT_EQ(CountOf(TRegistered::StaticClass()), 1);
  EXPECT_EQ(VnSerializerHelpers()->DeserializerHelperClass, TDeserA::StaticClass());
}

// Generic names are looked up in their generic form by the writer only; an entry by text name
// without a writer's helper hides the class entries of the ancestors.
TEST(SerializerHelperRegistry, LookupByGenericName) {
  RegisterZooHelpers();
  EXPECT_EQ(VnGenericTypeName(u"TObjectList<uShop.TItem>"), u"TObjectList<T>");
  EXPECT_EQ(VnGenericTypeName(u"TObjectDictionary<System.string,uShop.TItem>"),
            u"TObjectDictionary<T,T>");
  EXPECT_EQ(VnGenericTypeName(u"TDict<System.string,TList<System.Integer>>"), u"TDict<T,T>");
  EXPECT_EQ(VnGenericTypeName(u"TPlain"), u"TPlain");

  EXPECT_EQ(ClassOfHelper(FindSerializerHelper(TBag::StaticClass())), THelperA::StaticClass());
  EXPECT_EQ(ClassOfHelper(FindDeserializerHelper(TBag::StaticClass())), TDeserB::StaticClass());
  EXPECT_EQ(ClassOfHelper(FindSerializerHelper(TPairs::StaticClass())), nullptr);
  EXPECT_EQ(ClassOfHelper(FindDeserializerHelper(TPairs::StaticClass())), TDeserB::StaticClass());
  EXPECT_EQ(ClassOfHelper(FindSerializerHelper(TBagBase::StaticClass())), THelperC::StaticClass());
  EXPECT_EQ(ClassOfHelper(FindSerializerHelper(TPerson::StaticClass())), nullptr);
}

// Class helpers serve properties (by the object's class, or the declared class for nil) and the
// root, not fields.
TEST(SerializerHelperRegistry, ClassHelpersServePropertiesAndTheRoot) {
  RegisterZooHelpers();
  Owned<TZoo> zoo(New<TZoo>());
  EXPECT_EQ(Plain(zoo.get()),
            "<object><Animal>nil by A</Animal><Bag>nil by A</Bag><FieldAnimal/></object>");
  zoo->Animal = New<TDog>();
  zoo->Bag = New<TBag>();
  EXPECT_EQ(Plain(zoo.get()),
            "<object><Animal>TDog by B</Animal><Bag>TBag by A</Bag>"
            "<FieldAnimal></FieldAnimal></object>");
  Owned<TDog> dog(New<TDog>());
  EXPECT_EQ(Plain(dog.get()), "<object>TDog by B</object>");
}

// ---------------------------------------------------------------------------------------------
// Entry functions

namespace walk {

// A record whose XML pair has no serializer.
struct TUnwritable {
  Integer X = 0;
};
VN_RTTI(TUnwritable, u"walk") {
  R.Field(u"X", &TUnwritable::X);
}

class THoldsUnwritable : public TPersistent {
  VN_CLASS(THoldsUnwritable, TPersistent)
 public:
  TUnwritable U;
};
VN_RTTI(THoldsUnwritable, u"walk") {
  R.Field(u"U", &THoldsUnwritable::U);
}

}  // namespace walk

TEST(SerializerEntry, FailuresNameTheFormatAndTheType) {
  VnRegisterSerializer(dsfXML, TypeInfo<TUnwritable>(), nullptr, nullptr);
  TUnwritable u;
  EXPECT_EQ(MessageOf([&] { VnSerialize(dsfXML, TValue::From<TUnwritable>(u)); }),
            u"Exception: There is no registered serializer for \"XML\"!");
  EXPECT_EQ(MessageOf([&] { VnSerialize(dsfXML, &u, TypeInfo<TUnwritable>()); }),
            u"Exception: There is no \"XML\" registered serializer for TUnwritable!");
  EXPECT_EQ(
      MessageOf([&] { VnSerializeEx(dsfXML, &u, TVnTypes::GetTypeInfo(TypeInfo<TUnwritable>())); }),
      u"Exception: There is no \"XML\" registered serializer for walk.TUnwritable!");
  // A member of that type fails the same way, by the qualified name.
  EXPECT_EQ(MessageOf([] {
              Owned<THoldsUnwritable> h(New<THoldsUnwritable>());
              Plain(h.get());
            }),
            u"Exception: There is no \"XML\" registered serializer for walk.TUnwritable!");

  // Values that hold no data to walk; the kind is printed by the name of the library's kind of
  // the same ordinal.
  EXPECT_EQ(MessageOf([] { VnSerialize(dsfXML, TValue::From<TClass>(TPerson::StaticClass())); }),
            Format(u"Exception: Values of type \"%s\" cannot be serialized!",
                   {GetEnumName(TypeInfo<TVnTypeKind>(), tkClassRef)}));
  EXPECT_EQ(GetEnumName(TypeInfo<TVnTypeKind>(), tkClassRef), u"vtkEnum");
  // A nil object at the root has no members to read.
  EXPECT_EQ(MessageOf([] { VnSerialize(dsfXML, TValue(static_cast<TPerson *>(nullptr))); }),
            u"EArgumentNilException: Argument must not be nil");
}

// AsXML: the namespace, or none at all; a simple value at the root is its bare text, written
// into a stream after what the stream holds.
TEST(SerializerEntry, ConvenienceForms) {
  Owned<TPerson> p(New<TPerson>(u"Ann"));
  EXPECT_EQ(VnSerializer(p.get()).AsXML(u"urn:x", true), "<object><Name>Ann</Name></object>");
  EXPECT_NE(VnSerializer(p.get()).AsXML(u"urn:x").find(" xmlns=\"urn:x\">"), std::string::npos);
  EXPECT_EQ(VnSerializer(p.get()).Serialize(dsfXML), VnSerialize(dsfXML, TValue(p.get())));
  EXPECT_EQ(VnSerialize(dsfXML, TValue(42)), "42");
  EXPECT_EQ(VnSerialize(dsfXML, TValue(u"a<b")), "a&lt;b");
  Integer i = 7;
  EXPECT_EQ(VnSerialize(dsfXML, &i, TypeInfo<Integer>()), "7");

  Owned<TVnStringStream> stream(New<TVnStringStream>(static_cast<Word>(65001), 0));
  stream->WriteBuffer("x", 1);
  VnSerialize(dsfXML, TValue(5), stream.get());
  EXPECT_EQ(stream->GetDataString(), "x5");
}

// ---------------------------------------------------------------------------------------------
// Serializable objects: their hooks, and the section that they hold during their walk

namespace walk {

class TGuarded : public TVnSerializableObject {
  VN_CLASS(TGuarded, TVnSerializableObject)
 public:
  bool FailBefore = false;  // BeforeSerialize raises after taking the section
  bool FailGetter = false;
  bool Skip = false;
  bool RefuseChildren = false;
  TPerson *Kid = nullptr;  // not owned

  void BeforeSerialize(TVnSerializer *ASerializer, bool &ASkip) override {
    TVnSerializableObject::BeforeSerialize(ASerializer, ASkip);
    if (FailBefore) throw Exception(u"before failed");
    ASkip = Skip;
  }
  bool CanSerializeChild(TVnSerializer *, TObject *, TClass, UnicodeString &AName) override {
    AName = u"Child";
    return !RefuseChildren;
  }
  Integer GetValue() const {
    if (FailGetter) throw Exception(u"getter failed");
    return 1;
  }
};
VN_RTTI(TGuarded, u"walk") {
  R.Property(u"Value", &TGuarded::GetValue, nullptr);
  R.Field(u"Kid", &TGuarded::Kid);
}

class TGuardHolder : public TPersistent {
  VN_CLASS(TGuardHolder, TPersistent)
 public:
  TGuarded *Inner = nullptr;  // not owned
};
VN_RTTI(TGuardHolder, u"walk") {
  R.Field(u"Inner", &TGuardHolder::Inner);
}

// The document of the value written on another thread, or "blocked" when that thread does not
// finish within seconds (the thread is then left behind).
std::string OnOtherThread(const TValue &AValue) {
  auto done = std::make_shared<std::promise<std::string>>();
  std::future<std::string> result = done->get_future();
  std::thread([AValue, done] {
    try {
      done->set_value(Plain(AValue));
    } catch (...) {
      done->set_value("raised");
    }
  }).detach();
  if (result.wait_for(std::chrono::seconds(10)) != std::future_status::ready) return "blocked";
  return result.get();
}

}  // namespace walk

TEST(SerializableObject, HooksSkipTheMembersAndRenameOrRefuseChildren) {
  Owned<TGuarded> g(New<TGuarded>());
  Owned<TPerson> kid(New<TPerson>(u"Kid"));
  g->Kid = kid.get();
  EXPECT_EQ(Plain(g.get()), "<object><Value>1</Value><Child><Name>Kid</Name></Child></object>");
  g->RefuseChildren = true;
  EXPECT_EQ(Plain(g.get()), "<object><Value>1</Value><Child></Child></object>");
  g->Skip = true;
  EXPECT_EQ(Plain(g.get()), "<object></object>");
  EXPECT_FALSE(g->Serializing());
}

// A raising BeforeSerialize or getter, at the root or below it, leaves the instance's section
// free: another thread then writes the instance.
TEST(SerializableObject, AFailingWalkReleasesTheSection) {
  Owned<TGuarded> g(New<TGuarded>());
  Owned<TGuardHolder> holder(New<TGuardHolder>());
  holder->Inner = g.get();
  for (bool nested : {false, true}) {
    TValue value = nested ? TValue(holder.get()) : TValue(g.get());
    const std::string ok = nested ? "<object><Inner><Value>1</Value><Child/></Inner></object>"
                                  : "<object><Value>1</Value><Child/></object>";
    g->FailBefore = true;
    EXPECT_EQ(MessageOf([&] { Plain(value); }), u"Exception: before failed");
    EXPECT_FALSE(g->Serializing());
    g->FailBefore = false;
    EXPECT_EQ(OnOtherThread(value), ok);

    g->FailGetter = true;
    EXPECT_EQ(MessageOf([&] { Plain(value); }), u"Exception: getter failed");
    // What was written before the failure stays in the stream.
    Owned<TVnStringStream> stream(New<TVnStringStream>(static_cast<Word>(65001), 0));
    Owned<TVnSerializer> s(VnCreateSerializer(dsfXML, value));
    s->SetParam(u"excludenamespaces", u"true");
    EXPECT_THROW(s->Serialize(stream.get()), Exception);
    EXPECT_EQ(stream->GetDataString(), nested ? "<object><Inner>" : "<object>");
    EXPECT_FALSE(g->Serializing());
    g->FailGetter = false;
    EXPECT_EQ(OnOtherThread(value), ok);
  }
}

// ---------------------------------------------------------------------------------------------
// Kinds that properties drop and fields keep

namespace walk {

class TOddKinds : public TPersistent {
  VN_CLASS(TOddKinds, TPersistent)
 public:
  TClass Cls = nullptr;
  Pointer Ptr = nullptr;
  TClass GetCls() const { return Cls; }
  Pointer GetPtr() const { return Ptr; }
};
VN_RTTI(TOddKinds, u"walk") {
  R.Property(u"ClsProp", &TOddKinds::GetCls, nullptr);
  R.Property(u"PtrProp", &TOddKinds::GetPtr, nullptr);
  R.Field(u"Cls", &TOddKinds::Cls);
  R.Field(u"Ptr", &TOddKinds::Ptr);
}

class TWithEvent : public TPersistent {
  VN_CLASS(TWithEvent, TPersistent)
 public:
  std::function<void()> OnChange;
};
VN_RTTI(TWithEvent, u"walk") {
  R.Field(u"OnChange", &TWithEvent::OnChange);
}

}  // namespace walk

TEST(SerializerWalk, PropertiesDropClassReferencesAndPointersFieldsDoNot) {
  Owned<TOddKinds> o(New<TOddKinds>());
  EXPECT_EQ(Plain(o.get()), "<object><Cls></Cls><Ptr>0</Ptr></object>");
  o->Cls = TPerson::StaticClass();
  EXPECT_EQ(VnSerializer(o.get()).AsXML(u"", true),
            "<object><Cls>TPerson</Cls><Ptr>0</Ptr></object>");
  EXPECT_NE(
      VnSerializer(o.get()).AsXML(u"urn:t").find("<Cls xsi:type=\"xsd:string\">TPerson</Cls>"),
      std::string::npos);

  // An event has no form in a document.
  Owned<TWithEvent> e(New<TWithEvent>());
  EXPECT_EQ(MessageOf([&] { Plain(e.get()); }),
            u"EVnSerializeException: Serialization failure at \"\"\r\nThe field \"OnChange\" of "
            u"type \"" +
                TVnTypes::GetTypeInfo(TypeInfo<std::function<void()>>())->QualifiedName +
                u"\" cannot be serialized!");
}

// ---------------------------------------------------------------------------------------------
// Interfaces and events

namespace walk {

// Writes itself: its text goes into the document as it stands.
class TSelfWriting : public TVnObject, public IVnSerializable {
  VN_CLASS(TSelfWriting, TVnObject)
  VN_IMPLEMENTS(TVnObject, IVnSerializable)
 public:
  bool CanSerialize(TVnDataSerializationFormatType) override { return true; }
  RawByteString Serialize(TVnDataSerializationFormatType AFormat, TStringList *) override {
    return AFormat == dsfXML ? "<raw/>" : "raw";
  }
};

// A library object reached through an interface: written as the object.
class TReachable : public TVnObject {
  VN_CLASS(TReachable, TVnObject)
 public:
  Integer X = 1;
};
VN_RTTI(TReachable, u"walk") {
  R.Field(u"X", &TReachable::X);
}

// An interface that leads to no object of the library.
class TForeign : public TInterfacedObject {
  VN_CLASS(TForeign, TInterfacedObject)
};

class TInterfaces : public TPersistent {
  VN_CLASS(TInterfaces, TPersistent)
 public:
  DelphiInterface<IVnSerializable> Own;
  DelphiInterface<IInterface> Any;
};
VN_RTTI(TInterfaces, u"walk") {
  R.Field(u"Own", &TInterfaces::Own);
  R.Field(u"Any", &TInterfaces::Any);
}

}  // namespace walk

TEST(SerializerWalk, InterfaceMembers) {
  Owned<TInterfaces> i(New<TInterfaces>());
  EXPECT_EQ(Plain(i.get()), "<object><Own/><Any/></object>");
  i->Own = New<TSelfWriting>();
  i->Any = New<TReachable>();
  EXPECT_EQ(Plain(i.get()), "<object><Own><raw/></Own><Any><X>1</X></Any></object>");
  // Without the root's frame the text of a self-writing object stands without its element.
  EXPECT_EQ(Plain(i.get(), {{u"excluderoot", u"true"}}), "<raw/><Any><X>1</X></Any>");
  // "excludechildren" leaves interface members out.
  EXPECT_EQ(Plain(i.get(), {{u"excludechildren", u"true"}}), "<object></object>");

  i->Any = DelphiInterface<IInterface>(New<TForeign>());
  EXPECT_EQ(
      MessageOf([&] { Plain(i.get()); }),
      u"EVnSerializeException: Serialization failure at \"\"\r\nThe field \"Any\" of type \"" +
          TVnTypes::GetTypeInfo(TypeInfo<IInterface>())->QualifiedName +
          u"\" cannot be serialized!");
}

// The arguments of an event, one member per parameter; the count must match.
TEST(SerializerWalk, EventArguments) {
  using TEvent = std::function<void(Integer, UnicodeString)>;
  auto *invokable = static_cast<const TRttiInvokableType *>(TypeInfo<TEvent>()->RttiType());
  ASSERT_EQ(invokable->GetParameters().size(), 2u);
  const TValue args[] = {TValue(3), TValue(u"x")};
  Owned<TVnSerializer> s(VnCreateSerializer(dsfXML, TValue()));
  s->SetParam(u"excludenamespaces", u"true");
  Owned<TVnStringStream> stream(New<TVnStringStream>(static_cast<Word>(65001), 0));
  s->Serialize(stream.get(), invokable, u"OnChange", args, 1);
  const UnicodeString a1 = invokable->GetParameters()[0]->GetName();
  const UnicodeString a2 = invokable->GetParameters()[1]->GetName();
  EXPECT_EQ(stream->GetDataString(), "<" + UTF8Encode(a1) + ">3</" + UTF8Encode(a1) + "><" +
                                         UTF8Encode(a2) + ">x</" + UTF8Encode(a2) + ">");
  EXPECT_EQ(MessageOf([&] { s->Serialize(stream.get(), invokable, u"OnChange", args, 2); }),
            u"Exception: Failed to trigger the event!\r\nThe paramatercount does not match the "
            u"count of the prototype.");
}

// ---------------------------------------------------------------------------------------------
// Depth

// A chain of objects deeper than the limit raises before the thread's stack runs out (the
// sanitizers' larger frames included); one at the limit is written.
TEST(SerializerWalk, NestingBeyondTheLimitRaises) {
  std::vector<Owned<TNode>> chain;
  for (Integer i = 0; i <= cVnSerializerMaxDepth + 1; ++i) chain.emplace_back(New<TNode>());
  for (std::size_t i = 0; i + 1 < chain.size(); ++i) chain[i]->Left = chain[i + 1].get();
  UnicodeString failure = MessageOf([&] { Plain(chain.front().get()); });
  const UnicodeString head = u"EVnSerializeException: Serialization failure at \"Left.Left.";
  const UnicodeString tail =
      Format(u"\"\r\nThe value is nested deeper than %d levels!", {cVnSerializerMaxDepth});
  EXPECT_EQ(failure.substr(0, head.size()), head);
  ASSERT_GE(failure.size(), tail.size());
  EXPECT_EQ(failure.substr(failure.size() - tail.size()), tail);

  chain[cVnSerializerMaxDepth]->Left = nullptr;
  std::string doc = Plain(chain.front().get());
  std::size_t levels = 0;
  for (std::size_t at = doc.find("<Left>"); at != std::string::npos;
       at = doc.find("<Left>", at + 1))
    ++levels;
  EXPECT_EQ(levels, static_cast<std::size_t>(cVnSerializerMaxDepth));
}
