#include <gtest/gtest.h>

#include <vector>

#include "vnxml/rtl/Interface.h"
#include "vnxml/rtl/Owned.h"
#include "vnxml/rtl/SysUtils.h"

using namespace vn;

namespace {

std::vector<std::string> gLog;

class TAnimal : public TObject {
  VN_CLASS(TAnimal, TObject)
 public:
  TAnimal() { gLog.push_back("ctor"); }
  ~TAnimal() override { gLog.push_back("dtor"); }
  void AfterConstruction() override { gLog.push_back("after"); }
  void BeforeDestruction() override { gLog.push_back("before"); }
  virtual UnicodeString Sound() const { return u"..."; }
};

class TDog : public TAnimal {
  VN_CLASS(TDog, TAnimal)
 public:
  UnicodeString Sound() const override { return u"woof"; }
};

class TShape : public TObject {
  VN_CLASS(TShape, TObject)
 public:
  virtual double Area() const = 0;
};

class IGreeter : public IInterface {
  VN_INTERFACE(IGreeter, IInterface, "{6A1F8B4E-2C3D-4E5F-8A9B-0C1D2E3F4A5B}")
 public:
  virtual UnicodeString Greet() = 0;
};

class ILoudGreeter : public IGreeter {
  VN_INTERFACE(ILoudGreeter, IGreeter, "{6A1F8B4E-2C3D-4E5F-8A9B-0C1D2E3F4A5C}")
 public:
  virtual UnicodeString Shout() = 0;
};

class ICounter : public IInterface {
  VN_INTERFACE(ICounter, IInterface, "{11111111-2222-3333-4444-555555555555}")
 public:
  virtual int Count() = 0;
};

int gLive = 0;

class TGreeter : public TInterfacedObject, public ILoudGreeter {
  VN_CLASS(TGreeter, TInterfacedObject)
  VN_IMPLEMENTS(TInterfacedObject, ILoudGreeter)
 public:
  TGreeter() { ++gLive; }
  ~TGreeter() override { --gLive; }
  UnicodeString Greet() override { return u"hello"; }
  UnicodeString Shout() override { return u"HELLO"; }
};

// Takes an interface on itself inside its constructor and lets it go again.
class TSelfReferencing : public TInterfacedObject, public IGreeter {
  VN_CLASS(TSelfReferencing, TInterfacedObject)
  VN_IMPLEMENTS(TInterfacedObject, IGreeter)
 public:
  TSelfReferencing() {
    ++gLive;
    DelphiInterface<IGreeter> me(this);
  }
  ~TSelfReferencing() override { --gLive; }
  UnicodeString Greet() override { return u"me"; }
};

}  // namespace

TEST(ObjectTest, LifeCycleHooksRunInOrder) {
  gLog.clear();
  TAnimal *a = New<TAnimal>();
  a->Free();
  EXPECT_EQ(gLog, (std::vector<std::string>{"ctor", "after", "before", "dtor"}));
}

TEST(ObjectTest, ClassReferencesKnowNamesParentsAndInheritance) {
  TAnimal *d = New<TDog>();
  EXPECT_EQ(d->ClassName(), u"TDog");
  EXPECT_EQ(d->ClassType(), TDog::StaticClass());
  EXPECT_EQ(d->ClassParent(), TAnimal::StaticClass());
  EXPECT_TRUE(d->InheritsFrom(TObject::StaticClass()));
  EXPECT_TRUE(d->Is<TAnimal>());
  EXPECT_FALSE(TAnimal::StaticClass()->InheritsFrom(TDog::StaticClass()));
  EXPECT_EQ(TObject::StaticClass()->ClassParent(), nullptr);
  d->Free();
}

TEST(ObjectTest, VirtualConstructorBuildsTheMostDerivedClass) {
  gLog.clear();
  TClass cls = TDog::StaticClass();
  TObject *o = cls->Create();
  ASSERT_NE(o, nullptr);
  EXPECT_EQ(o->ClassName(), u"TDog");
  EXPECT_EQ(static_cast<TAnimal *>(o)->Sound(), u"woof");
  EXPECT_EQ(gLog, (std::vector<std::string>{"ctor", "after"}));
  o->Free();
}

TEST(ObjectTest, AbstractClassHasNoConstructor) {
  EXPECT_THROW(TShape::StaticClass()->Create(), EAbstractError);
}

TEST(ObjectTest, CheckedCastRaisesInvalidCast) {
  TAnimal *a = New<TAnimal>();
  EXPECT_EQ(As<TAnimal>(a), a);
  try {
    As<TDog>(a);
    FAIL();
  } catch (EInvalidCast &e) {
    EXPECT_EQ(e.Message, u"Invalid class typecast");
  }
  EXPECT_EQ(As<TDog>(nullptr), nullptr);
  FreeAndNil(a);
  EXPECT_EQ(a, nullptr);
}

TEST(InterfaceTest, GuidsParseAndPrint) {
  constexpr TGUID g = TGUID::Parse("{6A1F8B4E-2C3D-4E5F-8A9B-0C1D2E3F4A5B}");
  EXPECT_EQ(g.D1, 0x6A1F8B4Eu);
  EXPECT_EQ(g.D4[7], 0x5B);
  EXPECT_EQ(StringToGUID(u"{6a1f8b4e-2c3d-4e5f-8a9b-0c1d2e3f4a5b}"), g);
  EXPECT_THROW(StringToGUID(u"6A1F8B4E-2C3D-4E5F-8A9B-0C1D2E3F4A5B"), EConvertError);
  EXPECT_THROW(StringToGUID(u"{6A1F8B4E-2C3D-4E5F-8A9B-0C1D2E3F4AXB}"), EConvertError);
}

TEST(InterfaceTest, VariableCountsReferencesAndDestroysAtTheLast) {
  gLive = 0;
  {
    DelphiInterface<IGreeter> a(New<TGreeter>());
    EXPECT_EQ(gLive, 1);
    DelphiInterface<IGreeter> b = a;
    a = nullptr;
    EXPECT_EQ(gLive, 1);
    EXPECT_EQ(b->Greet(), u"hello");
  }
  EXPECT_EQ(gLive, 0);
}

TEST(InterfaceTest, QueryInterfaceFollowsTheParentChainAndRefusesOthers) {
  gLive = 0;
  TGreeter *obj = New<TGreeter>();
  DelphiInterface<ILoudGreeter> loud(obj);
  EXPECT_EQ(obj->RefCount(), 1);

  DelphiInterface<IGreeter> g;
  EXPECT_TRUE(Supports(loud, g));
  EXPECT_EQ(g->Greet(), u"hello");
  EXPECT_EQ(obj->RefCount(), 2);

  void *p = reinterpret_cast<void *>(1);
  EXPECT_EQ(loud->QueryInterface(ICounter::IID, &p), E_NOINTERFACE);
  EXPECT_EQ(p, nullptr);
  EXPECT_EQ(obj->RefCount(), 2);
  EXPECT_EQ(loud->QueryInterface(IInterface::IID, &p), S_OK);
  static_cast<IInterface *>(p)->_Release();

  DelphiInterface<ICounter> c;
  EXPECT_FALSE(Supports(static_cast<TObject *>(obj), c));
  EXPECT_FALSE(c);
  EXPECT_THROW(IntfAs<ICounter>(loud), EIntfCastError);
  EXPECT_EQ(IntfAs<IGreeter>(loud)->Greet(), u"hello");
  EXPECT_EQ(obj->RefCount(), 2);
  g = nullptr;
  loud = nullptr;
  EXPECT_EQ(gLive, 0);
}

TEST(InterfaceTest, ReferenceTakenInsideConstructorDoesNotDestroy) {
  gLive = 0;
  TSelfReferencing *o = New<TSelfReferencing>();
  EXPECT_EQ(gLive, 1);
  EXPECT_EQ(o->RefCount(), 0);
  DelphiInterface<IGreeter> g(o);
  EXPECT_EQ(g->Greet(), u"me");
  g = nullptr;
  EXPECT_EQ(gLive, 0);
}

TEST(InterfaceTest, FreeWithLiveReferenceIsRefused) {
  gLive = 0;
  TGreeter *obj = New<TGreeter>();
  DelphiInterface<IGreeter> g(obj);
  EXPECT_THROW(obj->Free(), EInvalidPointer);
  g = nullptr;
  EXPECT_EQ(gLive, 0);
}

TEST(OwnedTest, APlainObjectBelongsToItsOwnerAlone) {
  gLog.clear();
  Owned<TAnimal> a = MakeOwned<TDog>();
  EXPECT_EQ(a->Sound(), u"woof");
  a.reset(a.get());  // the object held already: nothing changes
  Owned<TObject> b = std::move(a);
  EXPECT_FALSE(a);
  EXPECT_TRUE(b);
  b.reset(New<TAnimal>());
  EXPECT_EQ(gLog, (std::vector<std::string>{"ctor", "after", "ctor", "after", "before", "dtor"}));
  TObject *raw = b.release();
  EXPECT_EQ(b, nullptr);
  EXPECT_EQ(gLog.size(), 6u);
  raw->Free();
  EXPECT_EQ(gLog.back(), "dtor");
}

TEST(OwnedTest, AnInterfacedObjectDiesWithTheLastOfOwnerAndInterfaces) {
  gLive = 0;
  {
    Owned<TGreeter> o = MakeOwned<TGreeter>();
    EXPECT_EQ(DelphiInterface<IGreeter>(o.get())->Greet(), u"hello");
    EXPECT_EQ(gLive, 1);
  }
  EXPECT_EQ(gLive, 0);
  DelphiInterface<IGreeter> g;
  {
    Owned<TGreeter> o = MakeOwned<TGreeter>();
    g = o.get();
  }
  EXPECT_EQ(g->Greet(), u"hello");
  g = nullptr;
  EXPECT_EQ(gLive, 0);
  // Given back, the object stands at a count of 0, which Free accepts.
  TGreeter *raw = MakeOwned<TGreeter>().release();
  EXPECT_EQ(raw->RefCount(), 0);
  raw->Free();
  EXPECT_EQ(gLive, 0);
}
