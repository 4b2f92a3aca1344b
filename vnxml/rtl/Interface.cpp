#include "vnxml/rtl/Interface.h"

#include "vnxml/rtl/SysUtils.h"

namespace vn {

TInterfacedObject::TInterfacedObject() noexcept : FConstructing(detail::TakeConstructionGuard()) {
  if (FConstructing) FRefCount = 1;
}

void TInterfacedObject::AfterConstruction() {
  // Drops the reference that New<T> held while the constructors ran.
  if (std::exchange(FConstructing, false)) --FRefCount;
}

void TInterfacedObject::BeforeDestruction() {
  if (FRefCount != 0) throw EInvalidPointer(u"Invalid pointer operation");
}

bool TInterfacedObject::GetInterface(const TGUID &AIID, void **AObj) {
  if (AIID == IInterface::IID) {
    IInterface *p = this;
    p->_AddRef();
    *AObj = p;
    return true;
  }
  return TObject::GetInterface(AIID, AObj);
}

HRESULT TInterfacedObject::QueryInterface(const TGUID &AIID, void **AObj) {
  return GetInterface(AIID, AObj) ? S_OK : E_NOINTERFACE;
}

Integer TInterfacedObject::_AddRef() {
  return ++FRefCount;
}

Integer TInterfacedObject::_Release() {
  Integer r = --FRefCount;
  if (r == 0) Free();
  return r;
}

}  // namespace vn
