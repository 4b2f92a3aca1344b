// The reflection table: members, methods, attributes, registration rules, enumerations and
// sets, the class table, and lookups from several threads.
#include <gtest/gtest.h>

#include <thread>

#include "vnxml/common/uVnTypes.h"
#include "vnxml/rtl/Classes.h"
#include "vnxml/rtl/Rtti.h"
#include "vnxml/rtl/Streams.h"

using namespace vn;

namespace ttest {

class TTag : public TCustomAttribute {
  VN_CLASS(TTag, TCustomAttribute)
 public:
  explicit TTag(UnicodeString AText) : Text(std::move(AText)) {}
  UnicodeString Text;
};
class TMark : public TCustomAttribute {
  VN_CLASS(TMark, TCustomAttribute)
};

enum TLevel { lvLow, lvHigh };
using TLevels = Set<TLevel, lvLow, lvHigh>;
VN_RTTI(TLevel, u"ttest") {
  R.Names({u"lvLow", u"lvHigh"});
}

struct TInner {
  Integer A = 0;
};
struct TOuter {
  TInner Inner;
  TValue Any;
};
VN_RTTI(TInner, u"ttest") {
  R.Field(u"A", &TInner::A);
}
VN_RTTI(TOuter, u"ttest") {
  R.Field(u"Inner", &TOuter::Inner, mvPublic, {new TTag(u"first"), new TMark, new TTag(u"third")});
  R.Field(u"Any", &TOuter::Any);
}

class TCounter : public TPersistent {
  VN_CLASS(TCounter, TPersistent)
 public:
  Integer Count = 0;
  Integer Add(Integer AStep, const UnicodeString &AWhy) {
    Count += AStep;
    LastWhy = AWhy;
    return Count;
  }
  void Reset() { Count = 0; }
  static Integer Twice(Integer A) { return 2 * A; }
  void SetSecret(Integer A) { Secret = A; }
  UnicodeString GetLabel() const { return u"counter"; }

  UnicodeString LastWhy;
  Integer Secret = 0;
};
VN_RTTI(TCounter, u"ttest") {
  R.Attribute(new TTag(u"type"));
  R.Field(u"Count", &TCounter::Count);
  R.Property(u"Label", &TCounter::GetLabel, nullptr);
  R.Property(u"Secret", nullptr, &TCounter::SetSecret);
  R.Method(u"Add", &TCounter::Add, mvPublic, {u"AStep"});
  R.Method(u"Reset", &TCounter::Reset);
  R.Method(u"Twice", &TCounter::Twice, mvPublic, {u"A"});
}

class TBigCounter : public TCounter {
  VN_CLASS(TBigCounter, TCounter)
 public:
  Int64 GetLabel() const { return 7; }
  Integer Add(Integer AStep) { return TCounter::Add(AStep * 10, u"big"); }
};
VN_RTTI(TBigCounter, u"ttest") {
  R.Property(u"Label", &TBigCounter::GetLabel, nullptr);
  R.Method(u"Add", &TBigCounter::Add);
}

// Registered twice: the first registration stands.
struct TTwice {
  Integer N = 0;
};
VN_RTTI(TTwice, u"first") {
  R.Name(u"TTwiceFirst").Field(u"N", &TTwice::N);
}
// A second registration, as a header included twice would make it.
[[maybe_unused]] const PTypeInfo gTwiceAgain = RegisterType<TTwice>(
    u"second", [](TTypeBuilder<TTwice> &R) { R.Name(u"TTwiceSecond").Attribute(new TMark); });

class TNoDefault : public TPersistent {
  VN_CLASS(TNoDefault, TPersistent)
 public:
  explicit TNoDefault(Integer) {}
};

// A text behind a field and behind a property with a setter that counts its calls.
class TNamed : public TPersistent {
  VN_CLASS(TNamed, TPersistent)
 public:
  UnicodeString Plain;
  const UnicodeString &GetName() const { return FName; }
  void SetName(UnicodeString A) {
    FName = std::move(A);
    ++Sets;
  }
  UnicodeString GetFixed() const { return u"fixed"; }
  Integer Sets = 0;

 private:
  UnicodeString FName;
};
VN_RTTI(TNamed, u"ttest") {
  R.Field(u"Plain", &TNamed::Plain);
  R.Property(u"Name", &TNamed::GetName, &TNamed::SetName);
  R.Property(u"Fixed", &TNamed::GetFixed, nullptr);
}

}  // namespace ttest

using namespace ttest;

TEST(RttiMembers, AttributesComeInOrderOfDeclaration) {
  TRttiField *inner = TypeInfo<TOuter>()->RttiType()->GetField(u"Inner");
  auto attrs = inner->GetAttributes();
  ASSERT_EQ(attrs.size(), 3u);
  EXPECT_EQ(static_cast<TTag *>(attrs[0])->Text, u"first");
  EXPECT_TRUE(attrs[1]->Is<TMark>());
  EXPECT_EQ(static_cast<TTag *>(attrs[2])->Text, u"third");
  EXPECT_EQ(inner->GetAttribute<TTag>()->Text, u"first");
  EXPECT_EQ(TypeInfo<TOuter>()->RttiType()->GetField(u"Any")->GetAttribute<TTag>(), nullptr);
  EXPECT_EQ(TypeInfo<TCounter>()->RttiType()->GetAttribute<TTag>()->Text, u"type");
}

TEST(RttiMembers, RecordsInRecordsAndTValueMembers) {
  TOuter outer;
  outer.Inner.A = 4;
  outer.Any = TValue(u"inside");
  TRttiType *t = TypeInfo<TOuter>()->RttiType();
  TValue inner = t->GetField(u"Inner")->GetValue(&outer);
  EXPECT_EQ(
      inner.GetRttiType()->GetField(u"A")->GetValue(inner.GetReferenceToRawData()).AsInteger(), 4);

  // A TValue member is a record that holds a value; its type says "System.Rtti.TValue".
  TValue any = t->GetField(u"Any")->GetValue(&outer);
  EXPECT_EQ(any.GetTypeKind(), tkRecord);
  EXPECT_EQ(any.VnTypeInfo()->QualifiedName, u"System.Rtti.TValue");
  const TValue &held = *static_cast<const TValue *>(any.GetReferenceToRawData());
  EXPECT_EQ(held.AsString(), u"inside");

  // Any value may be stored into it.
  t->GetField(u"Any")->SetValue(&outer, 12);
  EXPECT_EQ(outer.Any.AsInteger(), 12);
  EXPECT_THROW(t->GetField(u"Any")->GetValue(static_cast<const void *>(nullptr)),
               EArgumentNilException);
}

TEST(RttiMembers, ReadOnlyAndWriteOnlyProperties) {
  TCounter c;
  TRttiType *t = TypeInfo<TCounter>()->RttiType();
  TRttiProperty *secret = t->GetProperty(u"Secret");
  EXPECT_FALSE(secret->IsReadable());
  EXPECT_TRUE(secret->IsWritable());
  secret->SetValue(&c, 9);
  EXPECT_EQ(c.Secret, 9);
  try {
    secret->GetValue(&c);
    FAIL() << "no exception";
  } catch (EPropertyError &E) {
    EXPECT_EQ(E.Message, u"Property Secret is write-only");
  }
  try {
    t->GetProperty(u"Label")->SetValue(&c, u"x");
    FAIL() << "no exception";
  } catch (EPropertyError &E) {
    EXPECT_EQ(E.Message, u"Property Label is read-only");
  }
}

// TakeValue writes as SetValue does; a value of the member's own type gives its content over
// (the text's buffer arrives where it was) instead of being copied.
TEST(RttiMembers, TakeValueHandsTheContentOverAndOtherwiseWritesLikeSetValue) {
  TNamed n;
  void *self = static_cast<TObject *>(&n);
  TRttiType *t = TypeInfo<TNamed>()->RttiType();
  const UnicodeString text = u"a text too long to live inside the string itself";
  auto bufferOf = [](TValue &AValue) {
    return static_cast<const UnicodeString *>(AValue.GetReferenceToRawData())->data();
  };

  TValue forField(text);
  const char16_t *buffer = bufferOf(forField);
  t->GetField(u"Plain")->TakeValue(self, forField);
  EXPECT_EQ(n.Plain, text);
  EXPECT_EQ(n.Plain.data(), buffer);

  TValue forProperty(text);
  buffer = bufferOf(forProperty);
  t->GetProperty(u"Name")->TakeValue(self, forProperty);
  EXPECT_EQ(n.GetName(), text);
  EXPECT_EQ(n.GetName().data(), buffer);
  EXPECT_EQ(n.Sets, 1);

  // A value of another type is converted as SetValue converts it, and stays what it was.
  TValue letter(u'x');
  t->GetProperty(u"Name")->TakeValue(self, letter);
  EXPECT_EQ(n.GetName(), u"x");
  EXPECT_EQ(n.Sets, 2);
  EXPECT_EQ(letter.ToString(), u"x");

  // The failures of writing stay.
  TValue more(text);
  try {
    t->GetProperty(u"Fixed")->TakeValue(self, more);
    FAIL() << "no exception";
  } catch (EPropertyError &E) {
    EXPECT_EQ(E.Message, u"Property Fixed is read-only");
  }
  EXPECT_THROW(t->GetField(u"Plain")->TakeValue(nullptr, more), EArgumentNilException);
  EXPECT_THROW(t->GetProperty(u"Name")->TakeValue(nullptr, more), EArgumentNilException);
  EXPECT_EQ(more.AsString(), text);
}

// A derived class's property hides the ancestor's of the same name, which stays behind it.
TEST(RttiMembers, HiddenPropertiesAndMethodsStayBehind) {
  TRttiType *t = TypeInfo<TBigCounter>()->RttiType();
  auto props = t->GetProperties();
  ASSERT_EQ(props.size(), 3u);
  EXPECT_EQ(props[0]->GetName(), u"Label");
  EXPECT_EQ(props[0]->GetParent(), t);
  EXPECT_EQ(props[1]->GetName(), u"Label");
  EXPECT_EQ(props[2]->GetName(), u"Secret");
  TBigCounter c;
  EXPECT_EQ(t->GetProperty(u"LABEL")->GetValue(&c).AsInt64(), 7);
  EXPECT_EQ(props[1]->GetValue(&c).AsString(), u"counter");

  // Own methods first, with the constructor; the ancestors' without theirs.
  std::vector<UnicodeString> names;
  for (TRttiMethod *m : t->GetMethods()) names.push_back(m->GetName());
  EXPECT_EQ(names, (std::vector<UnicodeString>{u"Create", u"Add", u"Add", u"Reset", u"Twice"}));
  EXPECT_EQ(t->GetMethods(u"add").size(), 2u);
  EXPECT_EQ(t->GetMethod(u"Add")->GetParameters().size(), 1u);
}

TEST(RttiMethods, InvokeConvertsArgumentsAndReturnsTheResult) {
  TCounter c;
  TRttiType *t = TypeInfo<TCounter>()->RttiType();
  TRttiMethod *add = t->GetMethod(u"Add");
  auto params = add->GetParameters();
  ASSERT_EQ(params.size(), 2u);
  EXPECT_EQ(params[0]->GetName(), u"AStep");
  EXPECT_EQ(params[1]->GetName(), u"A2");
  EXPECT_EQ(params[1]->GetParamType()->GetTypeKind(), tkUString);
  EXPECT_EQ(add->GetReturnType()->GetName(), u"Integer");

  EXPECT_EQ(add->Invoke(&c, {5, u"first"}).AsInteger(), 5);
  EXPECT_EQ(add->Invoke(&c, {u"2", u"second"}).AsInteger(), 7);
  EXPECT_EQ(c.LastWhy, u"second");
  EXPECT_THROW(add->Invoke(&c, {1}), EInvocationError);
  EXPECT_THROW(add->Invoke(&c, {u"x", u"y"}), EInvalidCast);
  EXPECT_EQ(c.Count, 7);

  TValue none = t->GetMethod(u"Reset")->Invoke(TValue(&c), std::span<const TValue>());
  EXPECT_TRUE(none.GetIsEmpty());
  EXPECT_EQ(c.Count, 0);
  EXPECT_EQ(t->GetMethod(u"Reset")->GetReturnType(), nullptr);
  EXPECT_THROW(t->GetMethod(u"Reset")->Invoke(static_cast<void *>(nullptr), {}),
               EArgumentNilException);

  // A class method needs no instance.
  TRttiMethod *twice = t->GetMethod(u"Twice");
  EXPECT_TRUE(twice->IsClassMethod());
  EXPECT_EQ(twice->Invoke(TCounter::StaticClass(), {21}).AsInteger(), 42);
  EXPECT_THROW(add->Invoke(TCounter::StaticClass(), {1, u""}), EInvocationError);
}

TEST(RttiMethods, ConstructorsThroughTheClassReference) {
  TRttiType *comp = TypeInfo<TComponent>()->RttiType();
  TRttiMethod *create = comp->GetMethod(u"Create");
  ASSERT_NE(create, nullptr);
  ASSERT_EQ(create->GetParameters().size(), 1u);
  EXPECT_EQ(create->GetParameters()[0]->GetName(), u"AOwner");

  auto *owner = New<TComponent>(nullptr);
  TObject *child = create->Invoke(TComponent::StaticClass(), {TValue(owner)}).AsObject();
  ASSERT_NE(child, nullptr);
  EXPECT_EQ(static_cast<TComponent *>(child)->Owner(), owner);
  // The published Name of a component goes through its setter.
  TRttiProperty *name = comp->GetProperty(u"Name");
  EXPECT_EQ(name->GetVisibility(), mvPublished);
  name->SetValue(child, u"Child1");
  EXPECT_EQ(owner->FindComponent(u"child1"), child);
  owner->Free();

  // A class without a parameterless constructor has no "Create" of its own, and the
  // ancestor's is not inherited.
  EXPECT_EQ(TypeInfo<TNoDefault>()->RttiType()->GetMethod(u"Create"), nullptr);
  EXPECT_NE(TypeInfo<TPersistent>()->RttiType()->GetMethod(u"Create"), nullptr);
}

TEST(RttiMembers, IndexedPropertiesOfTheLibrarysLists) {
  TStringList list;
  list.Add(u"a");
  list.Add(u"b");
  TRttiType *t = TRttiContext::GetType(list.ClassType());
  TRttiIndexedProperty *strings = t->GetIndexedProperty(u"Strings");
  ASSERT_NE(strings, nullptr);
  EXPECT_EQ(strings->GetValue(&list, {1}).AsString(), u"b");
  strings->SetValue(&list, {0}, u"z");
  EXPECT_EQ(list[0], u"z");
  EXPECT_THROW(strings->GetValue(&list, {5}), EStringListError);
  EXPECT_EQ(t->GetProperty(u"Count")->GetValue(&list).AsInteger(), 2);
  t->GetProperty(u"Text")->SetValue(&list, u"x\r\ny\r\nz\r\n");
  EXPECT_EQ(list.Count(), 3);
  t->GetMethod(u"Add")->Invoke(&list, {u"w"});
  EXPECT_EQ(list[3], u"w");

  TMemoryStream stream;
  stream.Write("abc", 3);
  TRttiType *st = TRttiContext::GetType(stream.ClassType());
  EXPECT_EQ(st->GetProperty(u"Size")->GetValue(&stream).AsInt64(), 3);
  st->GetProperty(u"Position")->SetValue(&stream, 1);
  EXPECT_EQ(stream.GetPosition(), 1);
}

TEST(RttiTypes, RegisteringTwiceKeepsTheFirstRegistration) {
  TRttiType *t = TypeInfo<TTwice>()->RttiType();
  EXPECT_EQ(t->GetName(), u"TTwiceFirst");
  EXPECT_EQ(t->GetQualifiedName(), u"first.TTwiceFirst");
  EXPECT_EQ(t->GetFields().size(), 1u);
  EXPECT_TRUE(t->GetAttributes().empty());
  EXPECT_EQ(RegisterType<TTwice>(u"third", [](TTypeBuilder<TTwice> &R) { R.Name(u"X"); }),
            TypeInfo<TTwice>());
  EXPECT_EQ(t->GetName(), u"TTwiceFirst");
}

TEST(RttiTypes, ShapesOfDescriptions) {
  auto *ev = static_cast<TRttiInvokableType *>(TypeInfo<TNotifyEvent>()->RttiType());
  EXPECT_EQ(ev->GetTypeKind(), tkMethod);
  ASSERT_EQ(ev->GetParameters().size(), 1u);
  EXPECT_EQ(ev->GetParameters()[0]->GetName(), u"Sender");
  EXPECT_EQ(ev->GetParameters()[0]->GetParamType()->GetName(), u"TObject");
  EXPECT_EQ(ev->GetReturnType(), nullptr);

  auto *intf = static_cast<TRttiInterfaceType *>(TypeInfo<IInterface>()->RttiType());
  EXPECT_EQ(intf->GetGUID(), IInterface::IID);
  EXPECT_EQ(intf->GetBaseType(), nullptr);

  auto *arr = static_cast<TRttiArrayType *>(TypeInfo<std::array<Word, 3>>()->RttiType());
  EXPECT_EQ(arr->GetTotalElementCount(), 3);
  EXPECT_EQ(arr->GetElementType()->GetName(), u"Word");
  EXPECT_EQ(arr->GetName(), u"array[0..2] of Word");
  auto *dyn = static_cast<TRttiDynamicArrayType *>(TypeInfo<std::vector<TInner>>()->RttiType());
  EXPECT_EQ(dyn->GetName(), u"TArray<ttest.TInner>");
  EXPECT_EQ(dyn->GetElementType(), TypeInfo<TInner>()->RttiType());

  auto *ord = static_cast<TRttiOrdinalType *>(TypeInfo<SmallInt>()->RttiType());
  EXPECT_EQ(ord->GetOrdType(), otSWord);
  EXPECT_EQ(ord->GetMinValue(), -32768);
  EXPECT_EQ(static_cast<TRttiFloatType *>(TypeInfo<TTime>()->RttiType())->GetDateKind(), dkTime);
  EXPECT_EQ(static_cast<TRttiPointerType *>(TypeInfo<Pointer>()->RttiType())->GetReferredType(),
            nullptr);
  EXPECT_EQ(static_cast<TRttiPointerType *>(TypeInfo<Integer *>()->RttiType())->GetName(),
            u"^Integer");
  auto *set = static_cast<TRttiSetType *>(TypeInfo<TLevels>()->RttiType());
  EXPECT_EQ(set->GetName(), u"set of TLevel");
  EXPECT_EQ(set->GetMaxElement(), 1);
  EXPECT_EQ(TypeInfo<TLevels>()->RttiType()->GetTypeSize(), 8);
}

TEST(RttiEnumerations, NamesValuesAndSets) {
  EXPECT_EQ(GetEnumName(TypeInfo<TLevel>(), 1), u"lvHigh");
  EXPECT_EQ(GetEnumName(TypeInfo<TLevel>(), 2), u"");
  EXPECT_EQ(GetEnumName(TypeInfo<TLevel>(), -1), u"");
  EXPECT_EQ(GetEnumName(TypeInfo<bool>(), 1), u"True");
  EXPECT_EQ(GetEnumName(TypeInfo<Integer>(), 1), u"");
  EXPECT_EQ(GetEnumValue(TypeInfo<bool>(), u"false"), 0);
  EXPECT_EQ(GetEnumValue(TypeInfo<TLevel>(), u""), -1);
  EXPECT_EQ(GetEnumValue(TypeInfo<UnicodeString>(), u"lvLow"), -1);

  EXPECT_EQ(StringToSet(TypeInfo<TLevels>(), u"lvLow,lvHigh"), 3u);
  EXPECT_EQ(StringToSet(TypeInfo<TLevels>(), u" [ lvHigh ] "), 2u);
  EXPECT_EQ(StringToSet(TypeInfo<TLevels>(), u"[]"), 0u);
  EXPECT_EQ(StringToSet(TypeInfo<TLevels>(), u""), 0u);
  try {
    StringToSet(TypeInfo<TLevels>(), u"lvLow,lvMid");
    FAIL() << "no exception";
  } catch (EPropertyConvertError &E) {
    EXPECT_EQ(E.Message, u"Invalid property element: lvMid");
  }
  EXPECT_THROW(StringToSet(TypeInfo<TLevels>(), u"lvLow,"), EPropertyConvertError);
  EXPECT_THROW(StringToSet(TypeInfo<TLevel>(), u"lvLow"), EInvalidCast);
  EXPECT_EQ(SetToString(TypeInfo<TLevels>(), 3), u"lvLow,lvHigh");
  EXPECT_EQ(SetToString(TypeInfo<TLevels>(), 2, true), u"[lvHigh]");
}

TEST(RttiClasses, TheClassTable) {
  RegisterClass(TCounter::StaticClass());
  RegisterClass(TCounter::StaticClass());
  EXPECT_EQ(GetClass(u"TCOUNTER"), TCounter::StaticClass());
  EXPECT_EQ(FindClass(u"TCounter"), TCounter::StaticClass());
  UnRegisterClass(TCounter::StaticClass());
  EXPECT_EQ(GetClass(u"TCounter"), nullptr);
  try {
    FindClass(u"TCounter");
    FAIL() << "no exception";
  } catch (EClassNotFound &E) {
    EXPECT_EQ(E.Message, u"Class TCounter not found");
  }
}

namespace ttest {
// A second class named like the first.
namespace other {
class TCounter : public TPersistent {
  VN_CLASS(TCounter, TPersistent)
};
}  // namespace other
}  // namespace ttest

TEST(RttiClasses, AnotherClassOfTheSameNameIsRefused) {
  RegisterClass(ttest::TCounter::StaticClass());
  try {
    RegisterClass(ttest::other::TCounter::StaticClass());
    FAIL() << "no exception";
  } catch (EFilerError &E) {
    EXPECT_EQ(E.Message, u"A class named TCounter already exists");
  }
  UnRegisterClass(ttest::TCounter::StaticClass());
}

// Descriptions and records are made on first use; threads that ask at the same time get the
// same one.
TEST(RttiThreads, FirstUseFromManyThreadsGivesOneDescription) {
  struct TFresh1 {
    Integer A;
  };
  struct TFresh2 {
    Double B;
  };
  PTypeInfo handles[] = {TypeInfo<TFresh1>(), TypeInfo<TFresh2>(), TypeInfo<std::vector<TFresh1>>(),
                         TypeInfo<std::array<TFresh2, 5>>()};
  constexpr int cThreads = 8;
  std::vector<std::thread> threads;
  std::vector<std::vector<const void *>> seen(cThreads);
  for (int i = 0; i < cThreads; ++i) {
    threads.emplace_back([&, i] {
      for (PTypeInfo h : handles) {
        seen[i].push_back(h->RttiType());
        seen[i].push_back(TVnTypes::GetTypeInfo(h));
        seen[i].push_back(TVnTypes::GetTypeInfo(h)->SchemaName().empty() ? nullptr : h);
      }
      seen[i].push_back(TVnTypes::GetTypeInfo(u"ArrayOfInt", tntSchemaName, false, mtkArray));
    });
  }
  for (auto &t : threads) t.join();
  for (int i = 1; i < cThreads; ++i) EXPECT_EQ(seen[i], seen[0]);
  EXPECT_NE(seen[0].back(), nullptr);
}
