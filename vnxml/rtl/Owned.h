// An RAII owner of one object of the library.
//
//   vn::Owned<TVnDOMDocument> doc = vn::MakeOwned<TVnDOMDocument>();
//   doc->LoadFromXML(u"<a/>");
//   DelphiInterface<IVnDOMDocument> intf = VnDOMIntf<IVnDOMDocument>(doc.get());
//   ...                          // the owner and the interface may end in either order
//
// std::unique_ptr is the wrong tool for objects that can also be held through interfaces: once
// an interface has taken such an object over, the last interface frees it, and a unique_ptr
// would then free it a second time. Owned tells the object that an owner holds it, through the
// owner hooks of TObject, and each class decides what that means:
// - a plain object belongs to the owner alone, which frees it with Free;
// - a reference-counted object counts the owner as one reference: interfaces taken and released
//   while the owner lives do not end it, and when the owner ends first, the last interface frees
//   it;
// - an object of a tree (vnxml/xml/uVnXMLDOM.h) counts the owner as a holder, as it counts an
//   interface: the tree dies with the last of its owners and interfaces, and a node that stands
//   in a tree when its owner ends stays there, the tree's.
//
// Never Free an owned object directly: reset() or the end of the owner does it.
#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

#include "vnxml/rtl/Object.h"

namespace vn {

// Owns one object of the library and frees it, or leaves it to its interfaces, at its end.
template <class T>
class Owned {
 public:
  using element_type = T;

  constexpr Owned() noexcept = default;
  constexpr Owned(std::nullptr_t) noexcept {}
  // Takes AObject over (null is allowed): from now on the owner frees it or hands it on.
  explicit Owned(T *AObject) noexcept : FObject(AObject) {
    static_assert(std::is_base_of_v<TObject, T>, "Owned holds objects of the library");
    if (FObject) Hooks(FObject)->OwnerAddRef();
  }
  Owned(Owned &&AOther) noexcept : FObject(std::exchange(AOther.FObject, nullptr)) {}
  template <class U>
  requires std::is_convertible_v<U *, T *> Owned(Owned<U> &&AOther)
  noexcept : FObject(std::exchange(AOther.FObject, nullptr)) {}
  Owned(const Owned &) = delete;
  Owned &operator=(const Owned &) = delete;
  // Lets go of the object held until now, as reset() does.
  Owned &operator=(Owned &&AOther) {
    if (this != &AOther) Replace(std::exchange(AOther.FObject, nullptr));
    return *this;
  }
  template <class U>
  requires std::is_convertible_v<U *, T *> Owned &operator=(Owned<U> &&AOther) {
    Replace(std::exchange(AOther.FObject, nullptr));
    return *this;
  }
  Owned &operator=(std::nullptr_t) {
    reset();
    return *this;
  }
  ~Owned() { reset(); }

  T *get() const noexcept { return FObject; }
  T *operator->() const noexcept { return FObject; }
  T &operator*() const noexcept { return *FObject; }
  explicit operator bool() const noexcept { return FObject != nullptr; }

  // Lets go of the object and takes AObject over. The object let go is freed, or left to the
  // interfaces or the tree that hold it (see above). An exception from its destruction passes to
  // the caller, the object staying alive and no longer owned; AObject is owned either way.
  // Resetting to the object already held changes nothing.
  void reset(T *AObject = nullptr) {
    if (AObject == FObject) return;
    if (AObject) Hooks(AObject)->OwnerAddRef();
    Replace(AObject);
  }
  // Gives the object up without freeing it and answers it: the caller holds a plain pointer
  // again, under the rules of the object's class for plain pointers.
  [[nodiscard]] T *release() noexcept {
    T *p = std::exchange(FObject, nullptr);
    if (p) Hooks(p)->OwnerDetach();
    return p;
  }
  void swap(Owned &AOther) noexcept { std::swap(FObject, AOther.FObject); }
  friend void swap(Owned &A, Owned &B) noexcept { A.swap(B); }

  friend bool operator==(const Owned &A, std::nullptr_t) noexcept { return A.FObject == nullptr; }
  template <class U>
  friend bool operator==(const Owned &A, const Owned<U> &B) noexcept {
    return A.get() == B.get();
  }

 private:
  template <class U>
  friend class Owned;

  // The hooks are TObject's and reached through it, whatever T hides.
  static TObject *Hooks(T *AObject) noexcept { return AObject; }
  // Stores AObject, whose hold is taken already, and lets go of the previous object.
  void Replace(T *AObject) {
    if (T *old = std::exchange(FObject, AObject)) Hooks(old)->OwnerRelease();
  }

  T *FObject = nullptr;
};

// Makes a T with New and hands it to an owner.
template <class T, class... A>
Owned<T> MakeOwned(A &&...AArgs) {
  return Owned<T>(New<T>(std::forward<A>(AArgs)...));
}

}  // namespace vn
