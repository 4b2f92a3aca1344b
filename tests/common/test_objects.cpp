#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "vnxml/common/uVnClasses.h"
#include "vnxml/rtl/Owned.h"

using namespace vn;

namespace {

int gLive = 0;

class TCounted : public TVnObject {
  VN_CLASS(TCounted, TVnObject)
 public:
  TCounted() { ++gLive; }
  ~TCounted() override { --gLive; }
};

// Owned in a tree and handed out through interfaces: the constructor switches auto-destroy off.
class TTreeOwned : public TCounted {
  VN_CLASS(TTreeOwned, TCounted)
 public:
  TTreeOwned() { SetAutoDestroy(false); }
};

class IPing : public IInterface {
  VN_INTERFACE(IPing, IInterface, "{3F2A1B0C-9D8E-4F7A-8B6C-5D4E3F2A1B0C}")
 public:
  virtual int Ping() = 0;
};

class IOther : public IInterface {
  VN_INTERFACE(IOther, IInterface, "{3F2A1B0C-9D8E-4F7A-8B6C-5D4E3F2A1B0D}")
};

class TPinger : public TCounted, public IPing {
  VN_CLASS(TPinger, TCounted)
  VN_IMPLEMENTS(TCounted, IPing)
 public:
  TPinger() {
    // An interface taken and let go during construction must not end the object.
    DelphiInterface<IPing> self(this);
  }
  int Ping() override { return 42; }
};

}  // namespace

TEST(VnObjectTest, NewObjectCountsZeroAndAutoDestroys) {
  gLive = 0;
  TCounted *o = New<TCounted>();
  EXPECT_EQ(o->RefCount(), 0);
  EXPECT_TRUE(o->GetAutoDestroy());
  o->Free();
  EXPECT_EQ(gLive, 0);
}

TEST(VnObjectTest, AutoDestroyOnDiesAtTheLastRelease) {
  gLive = 0;
  TCounted *o = New<TCounted>();
  EXPECT_EQ(o->_AddRef(), 1);
  EXPECT_EQ(o->_Release(), 0);
  EXPECT_EQ(gLive, 0);
}

TEST(VnObjectTest, AutoDestroyOffStaysAliveForItsOwner) {
  gLive = 0;
  TTreeOwned *o = New<TTreeOwned>();
  EXPECT_FALSE(o->GetAutoDestroy());
  {
    DelphiInterface<IVnObject> i(o);
    EXPECT_EQ(o->RefCount(), 1);
  }
  EXPECT_EQ(gLive, 1);
  EXPECT_EQ(o->RefCount(), 0);
  o->Free();
  EXPECT_EQ(gLive, 0);
}

TEST(VnObjectTest, LateSwitchOnTakesEffectAtTheReleaseThatReachesZero) {
  gLive = 0;
  TTreeOwned *o = New<TTreeOwned>();
  o->_AddRef();
  o->_AddRef();
  // The owner gives the object up while two references are out.
  o->SetAutoDestroy(true);
  EXPECT_EQ(o->_Release(), 1);
  EXPECT_EQ(gLive, 1);
  EXPECT_EQ(o->_Release(), 0);
  EXPECT_EQ(gLive, 0);
}

TEST(VnObjectTest, QueryInterfaceAnswersDeclaredInterfacesOnly) {
  gLive = 0;
  TPinger *o = New<TPinger>();
  EXPECT_EQ(gLive, 1) << "the reference taken in the constructor did not destroy it";
  DelphiInterface<IPing> ping(o);
  void *p = reinterpret_cast<void *>(1);
  EXPECT_EQ(ping->QueryInterface(IOther::IID, &p), E_NOINTERFACE);
  EXPECT_EQ(p, nullptr);
  EXPECT_EQ(o->RefCount(), 1) << "a failed query leaves the count alone";

  DelphiInterface<IVnObject> vo;
  ASSERT_TRUE(Supports(ping, vo));
  EXPECT_EQ(o->RefCount(), 2);
  EXPECT_EQ(vo->Implementor(), static_cast<TObject *>(o));
  DelphiInterface<IPing> again;
  EXPECT_TRUE(Supports(vo, again));
  EXPECT_EQ(again->Ping(), 42);
  vo = nullptr;
  again = nullptr;
  ping = nullptr;
  EXPECT_EQ(gLive, 0);
}

TEST(VnObjectTest, ObjectExAssignRefusesByDefault) {
  TVnObjectEx *a = New<TVnObjectEx>();
  TVnObjectEx *b = New<TVnObjectEx>();
  try {
    b->Assign(a);
    FAIL();
  } catch (EConvertError &e) {
    EXPECT_EQ(e.Message, u"Cannot assign a TVnObjectEx to a TVnObjectEx");
  }
  EXPECT_THROW(b->Assign(nullptr), EConvertError);
  a->Free();
  b->Free();
}

namespace {
class EMyFamilyError : public EVnException {
  VN_EXCEPTION_CLASS(EMyFamilyError, EVnException)
 public:
  using EVnException::EVnException;
};
}  // namespace

TEST(VnExceptionTest, ClassReferenceRaisesTheDescendantWithItsCode) {
  TClass cls = EMyFamilyError::StaticClass();
  try {
    cls->RaiseException(u"broken", 7);
    FAIL();
  } catch (EVnException &e) {
    EXPECT_EQ(e.ClassName(), u"EMyFamilyError");
    EXPECT_EQ(e.Message, u"broken");
    EXPECT_EQ(e.ErrorCode, 7);
    EXPECT_TRUE(e.InheritsFrom(EVnException::StaticClass()));
  }
}

TEST(VnExceptionTest, RaiseAgainKeepsTheDynamicClass) {
  try {
    try {
      throw EMyFamilyError(u"inner", 3);
    } catch (Exception &e) {
      e.Raise();
    }
  } catch (EMyFamilyError &e) {
    EXPECT_EQ(e.ErrorCode, 3);
    return;
  }
  FAIL();
}

TEST(VnExceptionTest, FormatConstructorFillsTheMessage) {
  EVnException e(u"%s at %d", {u"fault", 12}, 2);
  EXPECT_EQ(e.Message, u"fault at 12");
  EXPECT_EQ(e.ErrorCode, 2);
  EXPECT_STREQ(e.what(), "fault at 12");
}

TEST(VnCharSetTest, MembershipIsByByteAndWideCharactersAreInNoSet) {
  constexpr TVnCharSet blanks = TVnCharSet::Of(" \t\r\n");
  static_assert(blanks.Contains(' '));
  EXPECT_TRUE(VnCharInSet('\t', blanks));
  EXPECT_FALSE(VnCharInSet('x', blanks));
  TVnCharSet high = TVnCharSet::Range(0xF0, 0xFF);
  EXPECT_TRUE(VnCharInSet(static_cast<char>(0xFF), high));
  EXPECT_TRUE(VnCharInSet(u'\u00ff', high));
  EXPECT_FALSE(VnCharInSet(u'\u01ff', high)) << "0x1FF is no byte, whatever its low byte";
  EXPECT_TRUE(VnSameText(u"Encoding", u"ENCODING"));
}

namespace {
class TCountedComponent : public TVnComponent {
  VN_CLASS(TCountedComponent, TVnComponent)
 public:
  explicit TCountedComponent(TComponent *AOwner) : TVnComponent(AOwner) { ++gLive; }
  ~TCountedComponent() override { --gLive; }
};
}  // namespace

TEST(VnComponentTest, CountsReferencesUnlikeAPlainComponent) {
  gLive = 0;
  TComponent *plain = New<TComponent>(nullptr);
  EXPECT_EQ(plain->_AddRef(), -1);
  EXPECT_EQ(plain->_Release(), -1);
  plain->Free();

  TCountedComponent *c = New<TCountedComponent>(nullptr);
  {
    DelphiInterface<IVnObject> i(c);
    EXPECT_EQ(c->RefCount(), 1);
    EXPECT_EQ(i->Implementor(), static_cast<TObject *>(c));
  }
  EXPECT_EQ(gLive, 0) << "the last release destroyed it";
}

TEST(VnComponentTest, OwnedComponentLeavesItsOwnerWhenItDestroysItself) {
  gLive = 0;
  TComponent *owner = New<TComponent>(nullptr);
  TCountedComponent *a = New<TCountedComponent>(owner);
  TCountedComponent *b = New<TCountedComponent>(owner);
  b->SetAutoDestroy(false);
  EXPECT_EQ(owner->ComponentCount(), 2);
  a->_AddRef();
  a->_Release();
  EXPECT_EQ(owner->ComponentCount(), 1);
  b->_AddRef();
  b->_Release();
  EXPECT_EQ(owner->ComponentCount(), 1) << "with the switch off the owner keeps it";
  owner->Free();
  EXPECT_EQ(gLive, 0);
}

TEST(VnComponentTest, ClassReferenceBuildsWithAnOwner) {
  gLive = 0;
  TComponent *owner = New<TComponent>(nullptr);
  TObject *o = TCountedComponent::StaticClass()->CreateOwned(owner);
  EXPECT_EQ(static_cast<TComponent *>(o)->Owner(), owner);
  owner->Free();
  EXPECT_EQ(gLive, 0);
}

TEST(VnObjectTest, SupportsTakesAnObjectThatIsAlsoAnInterface) {
  gLive = 0;
  TPinger *o = New<TPinger>();
  DelphiInterface<IPing> ping;
  EXPECT_TRUE(Supports(o, ping));
  EXPECT_TRUE(Supports(o, IVnObject::IID));
  EXPECT_FALSE(Supports(o, IOther::IID));
  ping = nullptr;
  EXPECT_EQ(gLive, 0);
}

TEST(VnObjectTest, AnOwnerCountsAsOneReference) {
  gLive = 0;
  DelphiInterface<IPing> kept;
  {
    Owned<TPinger> o = MakeOwned<TPinger>();
    {
      DelphiInterface<IPing> p;
      ASSERT_TRUE(Supports(o.get(), p));
    }
    EXPECT_EQ(gLive, 1);
    EXPECT_EQ(o->RefCount(), 1);
    ASSERT_TRUE(Supports(o.get(), kept));
  }
  // The owner went first: the interface took the object over.
  EXPECT_EQ(kept->Ping(), 42);
  kept = nullptr;
  EXPECT_EQ(gLive, 0);
  // With auto-destroy off the owner is the owner that the switch leaves the object to.
  {
    Owned<TTreeOwned> t = MakeOwned<TTreeOwned>();
    t->_AddRef();
  }
  EXPECT_EQ(gLive, 0);
}

// Texts are cut from a load's pages in steps of eight bytes and nodes at the heap's alignment:
// whatever sizes come one after the other, every node stays aligned, texts keep eight, and no
// two pieces of room overlap (each is filled and checked after all are cut).
TEST(NodePagesTest, NodesStayAlignedAmongTextsOfEverySize) {
  struct TPiece {
    Byte *At;
    std::size_t Size;
    bool Text;
  };
  std::vector<TPiece> pieces;
  {
    TVnNodePages pages;
    for (std::size_t round = 0; round < 3; ++round)
      for (std::size_t size = 1; size <= 72; ++size) {
        const bool text = (size + round) % 3 != 0;
        void *at = text ? TVnNodePages::AllocateText(size) : TVnNodePages::Allocate(size);
        const auto address = reinterpret_cast<std::uintptr_t>(at);
        EXPECT_EQ(address % (text ? 8 : __STDCPP_DEFAULT_NEW_ALIGNMENT__), 0u) << size;
        std::memset(at, static_cast<int>(pieces.size() & 0xFF), size);
        pieces.push_back({static_cast<Byte *>(at), size, text});
      }
  }
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    for (std::size_t k = 0; k < pieces[i].Size; ++k)
      ASSERT_EQ(pieces[i].At[k], static_cast<Byte>(i & 0xFF)) << i;
    TVnNodePages::Release(pieces[i].At, pieces[i].Size);
  }
}
