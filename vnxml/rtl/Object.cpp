#include "vnxml/rtl/Object.h"

#include "vnxml/rtl/SysUtils.h"

namespace vn {

namespace detail {
void RaiseInvalidCast() {
  throw EInvalidCast(u"Invalid class typecast");
}
void RaiseIntfCastError() {
  throw EIntfCastError(u"Interface not supported");
}
}  // namespace detail

void TObject::Free() {
  BeforeDestruction();
  delete this;
}

bool TObject::GetInterface(const TGUID &, void **AObj) {
  *AObj = nullptr;
  return false;
}

HRESULT TObject::SafeCallException(std::exception_ptr) noexcept {
  return E_UNEXPECTED;
}

TObject *TMetaClass::Create() const {
  if (!FCreate) AbstractError();
  return FCreate();
}

TObject *TMetaClass::CreateOwned(TComponent *AOwner) const {
  if (!FCreateOwned) AbstractError();
  return FCreateOwned(AOwner);
}

Exception *TMetaClass::CreateException(const UnicodeString &AMessage, Integer AErrorCode) const {
  if (!FCreateException) AbstractError();
  return FCreateException(AMessage, AErrorCode);
}

void TMetaClass::RaiseException(const UnicodeString &AMessage, Integer AErrorCode) const {
  Exception *e = CreateException(AMessage, AErrorCode);
  struct Holder {
    Exception *p;
    ~Holder() { delete p; }
  } h{e};
  e->Raise();
  __builtin_unreachable();
}

}  // namespace vn
