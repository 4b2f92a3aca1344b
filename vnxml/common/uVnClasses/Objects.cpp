#include "vnxml/common/uVnClasses.h"

namespace vn {

TVnObject::TVnObject() noexcept : FConstructing(detail::TakeConstructionGuard()) {
  // While New<T> runs the constructors the count is held at 1, so that an interface taken and
  // released inside a constructor cannot destroy the half-built object.
  if (FConstructing) FRefCount = 1;
}

void TVnObject::AfterConstruction() {
  if (FConstructing) {
    FConstructing = false;
    --FRefCount;
  }
}

bool TVnObject::GetInterface(const TGUID &AIID, void **AObj) {
  if (AIID == IVnObject::IID || AIID == IInterface::IID) {
    IVnObject *p = this;
    p->_AddRef();
    *AObj = p;
    return true;
  }
  return TObject::GetInterface(AIID, AObj);
}

HRESULT TVnObject::QueryInterface(const TGUID &AIID, void **AObj) {
  return GetInterface(AIID, AObj) ? S_OK : E_NOINTERFACE;
}

Integer TVnObject::_AddRef() {
  return ++FRefCount;
}

Integer TVnObject::_Release() {
  Integer r = --FRefCount;
  if (r == 0 && !FConstructing && GetAutoDestroy()) Free();
  return r;
}

void TVnObjectEx::OnObjectDestroyed(TObject *) {}

void TVnObjectEx::AssignTo(TVnObjectEx *ADest) {
  throw EConvertError(u"Cannot assign a %s to a %s",
                      {ClassName(), ADest ? ADest->ClassName() : UnicodeString(u"nil")});
}

void TVnObjectEx::DefineProperties(TFiler *) {}

void TVnObjectEx::Assign(TVnObjectEx *ASource) {
  if (ASource) {
    ASource->AssignTo(this);
  } else {
    throw EConvertError(u"Cannot assign a %s to a %s", {u"nil", ClassName()});
  }
}

// ---------------------------------------------------------------------------------------------

TVnComponent::TVnComponent(TComponent *AOwner)
    : TComponent(AOwner), FConstructing(detail::TakeConstructionGuard()) {
  if (FConstructing) FRefCount = 1;
}

void TVnComponent::AfterConstruction() {
  TComponent::AfterConstruction();
  if (FConstructing) {
    FConstructing = false;
    --FRefCount;
  }
}

bool TVnComponent::GetInterface(const TGUID &AIID, void **AObj) {
  if (AIID == IVnObject::IID || AIID == IInterface::IID) {
    IVnObject *p = this;
    p->_AddRef();
    *AObj = p;
    return true;
  }
  return TComponent::GetInterface(AIID, AObj);
}

HRESULT TVnComponent::QueryInterface(const TGUID &AIID, void **AObj) {
  return GetInterface(AIID, AObj) ? S_OK : E_NOINTERFACE;
}

Integer TVnComponent::_AddRef() {
  return ++FRefCount;
}

Integer TVnComponent::_Release() {
  Integer r = --FRefCount;
  if (r == 0 && !FConstructing && GetAutoDestroy()) Free();
  return r;
}

}  // namespace vn
