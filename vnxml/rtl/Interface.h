// Reference-counted interfaces, the interface variable and interface queries.
//
// An interface is an abstract class that derives from IInterface (or from another interface)
// and names its identifier and parent with VN_INTERFACE. A class implements interfaces by
// deriving from them and listing them with VN_IMPLEMENTS, which answers GetInterface for them
// and routes QueryInterface, _AddRef and _Release of every interface base to the one
// implementation of the class.
#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

#include "vnxml/rtl/Object.h"

namespace vn {

#define VN_INTERFACE(Self, Parent, GuidText) \
 public:                                     \
  using ParentInterface = Parent;            \
  static constexpr ::vn::TGUID IID = ::vn::TGUID::Parse(GuidText);

// The root of all interfaces: reference counting and the query for other interfaces.
class IInterface {
 public:
  using ParentInterface = void;
  static constexpr TGUID IID = TGUID::Parse("{00000000-0000-0000-C000-000000000046}");

  // 0 (S_OK) with a reference taken, or E_NOINTERFACE with AObj set to null.
  virtual HRESULT QueryInterface(const TGUID &AIID, void **AObj) = 0;
  virtual Integer _AddRef() = 0;
  virtual Integer _Release() = 0;

 protected:
  ~IInterface() = default;
};

template <class I>
concept VnInterface = requires {
  { I::IID } -> std::convertible_to<const TGUID &>;
  typename I::ParentInterface;
};

// Behaves like an interface variable: it holds one reference while it points at an interface,
// assignment takes the new reference before it releases the old one, and null is allowed.
template <class T>
class DelphiInterface {
 public:
  DelphiInterface() noexcept = default;
  DelphiInterface(std::nullptr_t) noexcept {}
  DelphiInterface(T *AIntf) noexcept : FIntf(AIntf) {
    if (FIntf) FIntf->_AddRef();
  }
  DelphiInterface(const DelphiInterface &AOther) noexcept : DelphiInterface(AOther.FIntf) {}
  DelphiInterface(DelphiInterface &&AOther) noexcept
      : FIntf(std::exchange(AOther.FIntf, nullptr)) {}
  template <class U>
  requires std::is_convertible_v<U *, T *> DelphiInterface(const DelphiInterface<U> &AOther)
  noexcept : DelphiInterface(AOther.get()) {}
  template <class U>
  requires std::is_convertible_v<U *, T *> DelphiInterface(DelphiInterface<U> &&AOther)
  noexcept : FIntf(AOther.Detach()) {}
  ~DelphiInterface() { Release(); }

  DelphiInterface &operator=(const DelphiInterface &AOther) noexcept {
    return Assign(AOther.FIntf);
  }
  DelphiInterface &operator=(DelphiInterface &&AOther) noexcept {
    if (this != &AOther) {
      T *old = std::exchange(FIntf, std::exchange(AOther.FIntf, nullptr));
      if (old) old->_Release();
    }
    return *this;
  }
  DelphiInterface &operator=(T *AIntf) noexcept { return Assign(AIntf); }
  DelphiInterface &operator=(std::nullptr_t) noexcept {
    Release();
    return *this;
  }

  T *operator->() const noexcept { return FIntf; }
  T &operator*() const noexcept { return *FIntf; }
  operator T *() const noexcept { return FIntf; }
  T *get() const noexcept { return FIntf; }
  explicit operator bool() const noexcept { return FIntf != nullptr; }

  // Lets go of the reference and sets the variable to null.
  void Release() noexcept {
    if (T *old = std::exchange(FIntf, nullptr)) old->_Release();
  }
  // Gives the reference up to the caller without releasing it.
  T *Detach() noexcept { return std::exchange(FIntf, nullptr); }
  // Takes over a reference that the caller already holds.
  void Attach(T *AIntf) noexcept {
    Release();
    FIntf = AIntf;
  }
  // For out arguments of QueryInterface: releases the current value first.
  void **ReleaseAndGetAddressOf() noexcept {
    Release();
    return reinterpret_cast<void **>(&FIntf);
  }

 private:
  DelphiInterface &Assign(T *AIntf) noexcept {
    if (AIntf) AIntf->_AddRef();
    if (T *old = std::exchange(FIntf, AIntf)) old->_Release();
    return *this;
  }
  T *FIntf = nullptr;
};

template <class T, class U>
bool operator==(const DelphiInterface<T> &A, const DelphiInterface<U> &B) noexcept {
  return A.get() == B.get();
}
template <class T>
bool operator==(const DelphiInterface<T> &A, std::nullptr_t) noexcept {
  return A.get() == nullptr;
}

// Interface queries. Each returns whether the interface is supported; the forms with an out
// variable store it there (null when not supported).
// The forms with an identifier only ask: the reference that the query took is given back through
// the object's IInterface, since the pointer that the query answered is of an interface type
// that is not known here (with virtual inheritance its IInterface need not share its address).
inline bool Supports(IInterface *AIntf, const TGUID &AIID) {
  void *p = nullptr;
  if (!AIntf || AIntf->QueryInterface(AIID, &p) != S_OK) return false;
  void *q = nullptr;
  if (AIntf->QueryInterface(IInterface::IID, &q) == S_OK) {
    static_cast<IInterface *>(q)->_Release();
    static_cast<IInterface *>(q)->_Release();
  }
  return true;
}
template <VnInterface T>
bool Supports(IInterface *AIntf, DelphiInterface<T> &AOut) {
  AOut = nullptr;
  return AIntf && AIntf->QueryInterface(T::IID, AOut.ReleaseAndGetAddressOf()) == S_OK;
}
inline bool Supports(TObject *AObj, const TGUID &AIID) {
  void *p = nullptr;
  if (!AObj || !AObj->GetInterface(AIID, &p)) return false;
  void *q = nullptr;
  if (AObj->GetInterface(IInterface::IID, &q)) {
    static_cast<IInterface *>(q)->_Release();
    static_cast<IInterface *>(q)->_Release();
  }
  return true;
}
template <VnInterface T>
bool Supports(TObject *AObj, DelphiInterface<T> &AOut) {
  AOut = nullptr;
  return AObj && AObj->GetInterface(T::IID, AOut.ReleaseAndGetAddressOf());
}
// An object of a class that is itself an interface (a TVnObject descendant) converts to both
// TObject* and IInterface*; this form takes it as an object.
template <VnInterface T, class C>
requires std::is_base_of_v<TObject, C>
bool Supports(C *AObj, DelphiInterface<T> &AOut) {
  return Supports(static_cast<TObject *>(AObj), AOut);
}
template <class C>
requires std::is_base_of_v<TObject, C>
bool Supports(C *AObj, const TGUID &AIID) {
  return Supports(static_cast<TObject *>(AObj), AIID);
}

namespace detail {
[[noreturn]] void RaiseIntfCastError();
}

// The interface cast of the `as` operator: raises EIntfCastError ("Interface not supported")
// when AIntf is not null and does not support T. Null gives null.
template <VnInterface T>
DelphiInterface<T> IntfAs(IInterface *AIntf) {
  DelphiInterface<T> r;
  if (AIntf && !Supports(AIntf, r)) detail::RaiseIntfCastError();
  return r;
}

namespace detail {
template <class I>
constexpr bool InterfaceChainHas(const TGUID &AIID) {
  if constexpr (std::is_void_v<I>) {
    return false;
  } else {
    return I::IID == AIID || InterfaceChainHas<typename I::ParentInterface>(AIID);
  }
}

// Stores AIntf converted to the interface of AIID in I's chain: the answer to a query is a
// pointer of the type asked for, which with virtual inheritance need not share the address of
// the interface that was found.
template <class I>
void StoreAs(I *AIntf, const TGUID &AIID, void **AObj) {
  if constexpr (!std::is_void_v<typename I::ParentInterface>) {
    if (!(I::IID == AIID)) {
      StoreAs<typename I::ParentInterface>(AIntf, AIID, AObj);
      return;
    }
  }
  *AObj = AIntf;
}

template <class Self, class First, class... Rest>
bool FindInterface(Self *ASelf, const TGUID &AIID, void **AObj) {
  if (InterfaceChainHas<First>(AIID)) {
    First *p = static_cast<First *>(ASelf);
    p->_AddRef();
    StoreAs<First>(p, AIID, AObj);
    return true;
  }
  if constexpr (sizeof...(Rest) > 0) {
    return FindInterface<Self, Rest...>(ASelf, AIID, AObj);
  } else {
    return false;
  }
}
}  // namespace detail

// Lists the interfaces that a class implements beyond those of Base, looked up by Finder (a
// function template over the class and the listed interfaces), and routes the three operations
// of every interface base to Base's implementation.
#define VN_IMPLEMENTS_BY(Finder, Base, ...)                                                        \
 public:                                                                                           \
  bool GetInterface(const ::vn::TGUID &AIID, void **AObj) override {                               \
    if (Finder<std::remove_pointer_t<decltype(this)>, __VA_ARGS__>(this, AIID, AObj)) return true; \
    return Base::GetInterface(AIID, AObj);                                                         \
  }                                                                                                \
  ::vn::HRESULT QueryInterface(const ::vn::TGUID &AIID, void **AObj) override {                    \
    return Base::QueryInterface(AIID, AObj);                                                       \
  }                                                                                                \
  ::vn::Integer _AddRef() override {                                                               \
    return Base::_AddRef();                                                                        \
  }                                                                                                \
  ::vn::Integer _Release() override {                                                              \
    return Base::_Release();                                                                       \
  }

// Each listed interface answers for its parents too.
#define VN_IMPLEMENTS(Base, ...) VN_IMPLEMENTS_BY(::vn::detail::FindInterface, Base, __VA_ARGS__)

// The ordinary reference-counting base: destroys itself when the last reference goes.
class TInterfacedObject : public TObject, public IInterface {
  VN_CLASS(TInterfacedObject, TObject)
 public:
  TInterfacedObject() noexcept;
  HRESULT QueryInterface(const TGUID &AIID, void **AObj) override;
  Integer _AddRef() override;
  Integer _Release() override;
  bool GetInterface(const TGUID &AIID, void **AObj) override;
  void AfterConstruction() override;
  void BeforeDestruction() override;
  Integer RefCount() const noexcept { return FRefCount; }

 protected:
  // An owner holds one reference: the object dies with the last of the owner and the
  // interfaces.
  void OwnerAddRef() noexcept override { ++FRefCount; }
  void OwnerRelease() override { _Release(); }
  void OwnerDetach() noexcept override { --FRefCount; }

  Integer FRefCount = 0;

 private:
  bool FConstructing = false;
};

}  // namespace vn
