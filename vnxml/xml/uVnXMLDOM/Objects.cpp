// The two halves of every object of the tree: TVnDOMObject and TVnDOMObjectImpl, the change
// scope that keeps tops alive while a tree changes, and the process-wide defaults.
#include <algorithm>
#include <utility>
#include <vector>

#include "vnxml/xml/uVnXMLDOM/Internal.h"

namespace vn {

constinit TVnDOMSelectMatchOption DefaultSelectMatchOption = soQualifiedName;
constinit bool DefaultPreserveCase = false;
constinit TVnDOMSelectCheckOption DefaultSelectCheckOption = coRaise;
constinit TVnXPathCollationClass DefaultXPathCollation = TVnXPathCollationASCIICI::StaticClass();

// ---------------------------------------------------------------------------------------------
// Change scopes and the tops whose destruction waits for the end of a change.

namespace {

thread_local int tChangeDepth = 0;
// The count mirrors the size of the list so that the frequent checks need no initialised
// thread-local object.
thread_local std::size_t tPendingCount = 0;
thread_local std::vector<TVnDOMObject *> tPending;

void FreeQuietly(TVnDOMObject *AObject) noexcept {
  try {
    AObject->Free();
  } catch (...) {
    // A top that fails to destroy itself stays as it is; the failure has no caller to go to.
  }
}

void FlushPending() noexcept {
  ++tChangeDepth;
  while (tPendingCount != 0) {
    TVnDOMObject *o = tPending.back();
    tPending.pop_back();
    tPendingCount = tPending.size();
    if (o->CanAutoDestroy()) FreeQuietly(o);
  }
  --tChangeDepth;
}

}  // namespace

namespace dom {

bool ChangeInProgress() noexcept {
  return tChangeDepth > 0;
}

void DisposeTop(TVnDOMObject *AObject) noexcept {
  if (tChangeDepth == 0) {
    FreeQuietly(AObject);
    return;
  }
  if (std::find(tPending.begin(), tPending.end(), AObject) == tPending.end()) {
    tPending.push_back(AObject);
    tPendingCount = tPending.size();
  }
}

void ForgetPending(TVnDOMObject *AObject) noexcept {
  if (tPendingCount == 0) return;
  std::erase(tPending, AObject);
  tPendingCount = tPending.size();
}

}  // namespace dom

TVnDOMChangeScope::TVnDOMChangeScope() noexcept {
  ++tChangeDepth;
}

TVnDOMChangeScope::~TVnDOMChangeScope() {
  if (--tChangeDepth == 0 && tPendingCount != 0) FlushPending();
}

// ---------------------------------------------------------------------------------------------
// TVnDOMObject

TVnDOMObject::TVnDOMObject() noexcept {
  SetAutoDestroy(false);
}

TVnDOMObject::~TVnDOMObject() {
  dom::ForgetPending(this);
  if (TVnDOMObjectImpl *impl = std::exchange(FDOMImpl, nullptr)) {
    impl->FDOMObject = nullptr;
    // An Impl that interfaces still hold outlives its object: its operations raise from now on
    // and it goes with its last reference.
    if (impl->RefCount() == 0) impl->Free();
  }
}

HRESULT TVnDOMObject::QueryInterface(const TGUID &AIID, void **AObj) {
  const bool created = FDOMImpl == nullptr;
  if (created) MakeDOMImpl();
  if (FDOMImpl->QueryInterface(AIID, AObj) == S_OK) return S_OK;
  if (TVnObject::GetInterface(AIID, AObj)) return S_OK;
  if (created && FDOMImpl && FDOMImpl->RefCount() == 0) DiscardDOMImpl();
  *AObj = nullptr;
  return E_NOINTERFACE;
}

Integer TVnDOMObject::_AddRef() {
  if (!FDOMImpl) MakeDOMImpl();
  return FDOMImpl->_AddRef();
}

void TVnDOMObject::MakeDOMImpl() {
  // Each Impl holds a reference on its parent's, which the Impl's constructor would take by
  // building the parent's Impl, and so on up the tree, a call deeper per level. The ancestors
  // without one get theirs first, from the top down, so that each new Impl finds its parent's
  // in place. Until the Impl below takes its reference, an ancestor's Impl stands at count 0.
  dom::TWalkStack<TVnDOMObject *> missing;
  for (TVnDOMObject *p = FParent; p && !p->FDOMImpl; p = p->FParent) missing.Push(p);
  std::size_t made = 0;
  try {
    for (std::size_t i = missing.Size(); i-- > 0; ++made) {
      TVnDOMObject *p = missing[i];
      p->SetDOMImpl(p->CreateDOMImpl(p));
    }
    SetDOMImpl(CreateDOMImpl(this));
  } catch (...) {
    // The lowest Impl made holds the others through its parent chain; taking it back takes back
    // all of them.
    if (made > 0) missing[missing.Size() - made]->DiscardDOMImpl();
    throw;
  }
}

Integer TVnDOMObject::_Release() {
  if (!FDOMImpl) throw Exception(dom::cNoInterfaces);
  return FDOMImpl->_Release();
}

bool TVnDOMObject::GetInterface(const TGUID &AIID, void **AObj) {
  return QueryInterface(AIID, AObj) == S_OK;
}

void TVnDOMObject::BeforeDestruction() {
  FDestroying = true;
  TVnObject::BeforeDestruction();
}

bool TVnDOMObject::CanAutoDestroy() {
  if (FParent && !FParent->FDestroying) return false;
  if (FRefCount != 0) return false;
  return !FDestroying;
}

void TVnDOMObject::OwnerRelease() {
  --FRefCount;
  if (CanAutoDestroy()) dom::DisposeTop(this);
}

bool TVnDOMObject::GetCaseSensitive() {
  return GetCollation() != TVnXPathCollationASCIICI::StaticClass();
}

TVnXPathCollationClass TVnDOMObject::GetCollation() {
  if (FDOMDocument && FDOMDocument != this) return FDOMDocument->GetCollation();
  return DefaultXPathCollation;
}

TVnDOMSelectMatchOption TVnDOMObject::GetSelectMatchOption() {
  if (FDOMDocument && FDOMDocument != this) return FDOMDocument->GetSelectMatchOption();
  return DefaultSelectMatchOption;
}

TVnDOMSelectCheckOption TVnDOMObject::GetSelectCheckOption() {
  if (FDOMDocument && FDOMDocument != this) return FDOMDocument->GetSelectCheckOption();
  return DefaultSelectCheckOption;
}

void TVnDOMObject::SetDOMImpl(TVnDOMObjectImpl *AImpl) {
  FDOMImpl = AImpl;
}

void TVnDOMObject::SetDOMDocument(TVnDOMNode *ADocument) {
  FDOMDocument = ADocument;
}

void TVnDOMObject::SetParentNode(TVnDOMObject *AParent) {
  FParent = AParent;
  if (FDestroying) return;
  if (AParent) {
    if (AParent->FDOMDocument != FDOMDocument) SetDOMDocument(AParent->FDOMDocument);
  } else {
    SetDOMDocument(nullptr);
  }
  if (FDOMImpl) FDOMImpl->LinkParent(AParent);
}

void TVnDOMObject::DiscardDOMImpl() {
  TVnDOMObjectImpl *impl = FDOMImpl;
  SetDOMImpl(nullptr);
  impl->FDOMObject = nullptr;
  impl->ReleaseParentQuietly();
  impl->Free();
}

// ---------------------------------------------------------------------------------------------
// TVnDOMObjectImpl

TVnDOMObjectImpl::TVnDOMObjectImpl(TVnDOMObject *ADOMObject) : FDOMObject(ADOMObject) {
  SetAutoDestroy(false);
  if (ADOMObject && ADOMObject->FParent) LinkParent(ADOMObject->FParent);
}

namespace {

// The release of a chain of Impls up the tree. Each Impl that goes releases its parent's, which
// may go in turn: rather than a call deeper per level, the Impl whose release the running loop
// has in hand passes its parent's back to the loop.
thread_local TVnDOMObjectImpl *tReleasing = nullptr;
thread_local TVnDOMObjectImpl *tPassedOn = nullptr;

}  // namespace

void TVnDOMObjectImpl::ReleaseChain(TVnDOMObjectImpl *AImpl, const TVnDOMObjectImpl *AFrom) {
  if (AFrom && tReleasing == AFrom) {
    tPassedOn = AImpl;
    return;
  }
  struct TRestore {
    TVnDOMObjectImpl *Releasing = tReleasing;
    TVnDOMObjectImpl *PassedOn = tPassedOn;
    ~TRestore() {
      tReleasing = Releasing;
      tPassedOn = PassedOn;
    }
  } restore;
  for (TVnDOMObjectImpl *p = AImpl; p;) {
    tReleasing = p;
    tPassedOn = nullptr;
    p->_Release();
    p = tPassedOn;
  }
}

TVnDOMObjectImpl::~TVnDOMObjectImpl() {
  if (FDOMObject) FDOMObject->SetDOMImpl(nullptr);
  if (TVnDOMObjectImpl *p = std::exchange(FParent, nullptr)) ReleaseChain(p, this);
}

Integer TVnDOMObjectImpl::_Release() {
  const Integer r = TVnObject::_Release();
  if (r != 0) return r;
  if (TVnDOMObject *obj = std::exchange(FDOMObject, nullptr)) {
    obj->SetDOMImpl(nullptr);
    if (obj->CanAutoDestroy()) dom::DisposeTop(obj);
  }
  Free();
  return 0;
}

void TVnDOMObjectImpl::BeforeDestruction() {
  if (RefCount() > 0) throw EInvalidPointer(u"Invalid pointer operation");
  TVnObject::BeforeDestruction();
}

TVnDOMNode *TVnDOMObjectImpl::Node(IInterface *ANode) {
  if (!ANode) return nullptr;
  DelphiInterface<IVnObject> obj;
  if (!Supports(ANode, obj)) detail::RaiseInvalidCast();
  TObject *implementor = obj->Implementor();
  if (implementor->Is<TVnDOMNodeImpl>()) {
    return As<TVnDOMNode>(static_cast<TVnDOMObjectImpl *>(implementor)->CheckedObject());
  }
  return As<TVnDOMNode>(implementor);
}

TVnDOMObject *TVnDOMObjectImpl::CheckedObject() const {
  if (!FDOMObject) throw EVnDomException(dom::cObjectGone);
  return FDOMObject;
}

void TVnDOMObjectImpl::LinkParent(TVnDOMObject *AParent) {
  TVnDOMObjectImpl *parentImpl = nullptr;
  if (AParent) {
    AParent->_AddRef();
    parentImpl = AParent->FDOMImpl;
  }
  if (TVnDOMObjectImpl *old = std::exchange(FParent, parentImpl)) ReleaseChain(old, nullptr);
}

void TVnDOMObjectImpl::ReleaseParentQuietly() noexcept {
  TVnDOMObjectImpl *p = std::exchange(FParent, nullptr);
  while (p) {
    if (--p->FRefCount > 0) return;
    TVnDOMObjectImpl *next = std::exchange(p->FParent, nullptr);
    if (TVnDOMObject *o = std::exchange(p->FDOMObject, nullptr)) o->SetDOMImpl(nullptr);
    p->Free();
    p = next;
  }
}

}  // namespace vn
