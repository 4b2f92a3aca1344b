// The root object class, class references and the virtual constructor.
//
// Every class of the library derives from TObject and names itself with VN_CLASS, which gives
// it a class reference (TMetaClass): its name, its parent, and the constructors that can be
// called through the reference without knowing the class at compile time.
//
// Creation and release follow the object model of the library:
//   T *p = vn::New<T>(args...);   // constructor, then AfterConstruction
//   p->Free();                    // BeforeDestruction, then the destructor
// A plain `new T` is allowed and skips AfterConstruction; `delete` skips BeforeDestruction.
#pragma once

#include <exception>
#include <type_traits>
#include <utility>

#include "vnxml/rtl/Types.h"

namespace vn {

class TObject;
class TMetaClass;
class TComponent;
class Exception;
struct TTypeInfo;
using TClass = const TMetaClass *;
template <class T>
class Owned;

// A class reference. One immutable instance per class, made by the compiler (constant
// initialization: usable from any start-up code).
class TMetaClass {
 public:
  using TCreateFn = TObject *(*)();
  using TCreateOwnedFn = TObject *(*)(TComponent *AOwner);
  using TCreateExceptionFn = Exception *(*)(const UnicodeString &AMessage, Integer AErrorCode);

  const char16_t *FClassName = u"";
  TClass FParent = nullptr;
  TCreateFn FCreate = nullptr;
  TCreateOwnedFn FCreateOwned = nullptr;
  TCreateExceptionFn FCreateException = nullptr;
  // Reserved for the reflection table: the type description of the class, filled on
  // registration.
  mutable const void *FTypeData = nullptr;

  UnicodeString ClassName() const { return FClassName; }
  TClass ClassParent() const noexcept { return FParent; }
  bool InheritsFrom(TClass AClass) const noexcept {
    for (TClass c = this; c; c = c->FParent)
      if (c == AClass) return true;
    return false;
  }
  // The type handle of the class in the reflection table (vnxml/rtl/Rtti.h), made on first use.
  const TTypeInfo *ClassInfo() const;
  // The parameterless virtual constructor, followed by AfterConstruction. Raises
  // EAbstractError for a class that has no such constructor.
  TObject *Create() const;
  // The owner constructor of a component class, followed by AfterConstruction.
  TObject *CreateOwned(TComponent *AOwner) const;
  // Creates an instance of an exception class with its message and error code (the code is
  // ignored by classes that have none).
  Exception *CreateException(const UnicodeString &AMessage, Integer AErrorCode = 0) const;
  // Raises a new exception of this class.
  [[noreturn]] void RaiseException(const UnicodeString &AMessage, Integer AErrorCode = 0) const;

  template <class Self, class Base>
  static constexpr TMetaClass Make(const char16_t *AName);
};

namespace detail {
// The class reference of Self: made by the compiler, so that asking for it (StaticClass,
// ClassType, every Is<T>) is taking an address, with no first-use check.
template <class Self>
struct TClassOf {
  static const TMetaClass Meta;
};
}  // namespace detail

namespace detail {
// Set by New<T> just before the constructor runs; taken by the first reference-counted base
// constructor so that an interface taken and released inside a constructor cannot destroy the
// object before AfterConstruction.
// Inline: every object made with New passes here twice.
inline thread_local bool tConstructionGuard = false;
inline bool TakeConstructionGuard() noexcept {
  const bool guard = tConstructionGuard;
  tConstructionGuard = false;
  return guard;
}
inline void SetConstructionGuard(bool AValue) noexcept {
  tConstructionGuard = AValue;
}
}  // namespace detail

#define VN_CLASS_COMMON(Self)                                   \
 public:                                                        \
  static constexpr const char16_t *VnClassNameText() noexcept { \
    return u"" #Self;                                           \
  }                                                             \
  static constexpr ::vn::TClass StaticClass() noexcept {        \
    return &::vn::detail::TClassOf<Self>::Meta;                 \
  }                                                             \
  ::vn::TClass ClassType() const noexcept override {            \
    return StaticClass();                                       \
  }

// Names a class and its parent; must stand first in the class body. Leaves the body public.
#define VN_CLASS(Self, Base) \
 public:                     \
  using inherited = Base;    \
  VN_CLASS_COMMON(Self)

// The root of every class of the library: class reference, life cycle and interface lookup.
class TObject {
 public:
  using inherited = void;
  static constexpr const char16_t *VnClassNameText() noexcept { return u"TObject"; }
  static constexpr TClass StaticClass() noexcept { return &detail::TClassOf<TObject>::Meta; }
  virtual TClass ClassType() const noexcept { return StaticClass(); }

  TObject() noexcept = default;
  virtual ~TObject() = default;

  UnicodeString ClassName() const { return ClassType()->ClassName(); }
  TClass ClassParent() const noexcept { return ClassType()->ClassParent(); }
  bool InheritsFrom(TClass AClass) const noexcept { return ClassType()->InheritsFrom(AClass); }
  template <class T>
  bool Is() const noexcept {
    return InheritsFrom(T::StaticClass());
  }

  virtual void AfterConstruction() {}
  virtual void BeforeDestruction() {}
  // BeforeDestruction, then the destructor. Never call it on a null pointer: use vn::Free or
  // FreeAndNil where the pointer may be null. An exception from BeforeDestruction leaves the
  // object alive and passes to the caller.
  void Free();
  // The same for a pointer that may be null; inside member functions this overload is the one
  // that `Free(p)` finds.
  static void Free(TObject *AObj) {
    if (AObj) AObj->Free();
  }

  // Looks the interface up among those the class implements. On success stores it in AObj with
  // a reference taken and returns true; otherwise stores null.
  virtual bool GetInterface(const TGUID &AIID, void **AObj);
  virtual UnicodeString ToString() const { return ClassName(); }
  // The result that an operation of the failure-by-result kind (SafecallInvoke, SysUtils.h)
  // answers for the exception that ended it: E_UNEXPECTED unless a class knows better.
  virtual HRESULT SafeCallException(std::exception_ptr AException) noexcept;

 protected:
  TObject(const TObject &) noexcept = default;
  TObject &operator=(const TObject &) noexcept = default;

  // The hooks through which an RAII owner (Owned, vnxml/rtl/Owned.h) holds the object. A class
  // whose objects can also be held otherwise (by counted references, by a tree) overrides them
  // so that the owner's hold counts among those holds.
  // OwnerAddRef: an owner has taken the object.
  virtual void OwnerAddRef() noexcept {}
  // The owner is done with the object: here the owner was its only holder, and frees it.
  // Classes with other holders free the object only when none is left, and otherwise leave it
  // to them.
  virtual void OwnerRelease() { Free(); }
  // The owner gives the object up without freeing it: the hold that OwnerAddRef counted goes,
  // and nothing is freed.
  virtual void OwnerDetach() noexcept {}

 private:
  template <class T>
  friend class Owned;
};

inline void Free(TObject *AObj) {
  if (AObj) AObj->Free();
}

template <class T>
void FreeAndNil(T *&AObj) {
  T *p = AObj;
  AObj = nullptr;
  if (p) p->Free();
}

// Constructs T, then runs AfterConstruction; if that fails, the object is destroyed and the
// exception passes on.
template <class T, class... A>
T *New(A &&...AArgs) {
  detail::SetConstructionGuard(true);
  T *p;
  try {
    p = new T(std::forward<A>(AArgs)...);
  } catch (...) {
    detail::SetConstructionGuard(false);
    throw;
  }
  detail::SetConstructionGuard(false);
  try {
    p->AfterConstruction();
  } catch (...) {
    delete p;
    throw;
  }
  return p;
}

namespace detail {
[[noreturn]] void RaiseInvalidCast();
}

// A checked class cast: raises EInvalidCast ("Invalid class typecast") when AObj is not null and
// not a T. Null gives null.
template <class T>
T *As(TObject *AObj) {
  if (!AObj) return nullptr;
  if (!AObj->InheritsFrom(T::StaticClass())) detail::RaiseInvalidCast();
  return static_cast<T *>(AObj);
}

template <class Self, class Base>
constexpr TMetaClass TMetaClass::Make(const char16_t *AName) {
  TMetaClass mc;
  mc.FClassName = AName;
  if constexpr (!std::is_void_v<Base>) mc.FParent = Base::StaticClass();
  if constexpr (!std::is_abstract_v<Self>) {
    if constexpr (std::is_constructible_v<Self, TComponent *>) {
      mc.FCreateOwned = [](TComponent *AOwner) -> TObject * { return New<Self>(AOwner); };
    }
    if constexpr (std::is_default_constructible_v<Self>) {
      mc.FCreate = []() -> TObject * { return New<Self>(); };
    }
    if constexpr (std::is_base_of_v<Exception, Self>) {
      if constexpr (std::is_constructible_v<Self, const UnicodeString &, Integer>) {
        mc.FCreateException = [](const UnicodeString &m, Integer c) -> Exception * {
          return new Self(m, c);
        };
      } else if constexpr (std::is_constructible_v<Self, const UnicodeString &>) {
        mc.FCreateException = [](const UnicodeString &m, Integer) -> Exception * {
          return new Self(m);
        };
      }
    }
  }
  return mc;
}

template <class Self>
constinit const TMetaClass detail::TClassOf<Self>::Meta =
    TMetaClass::Make<Self, typename Self::inherited>(Self::VnClassNameText());

}  // namespace vn
