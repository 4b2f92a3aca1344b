// TVnDOMNode: names, children, values, paths, copies and the destruction of a node.
#include <algorithm>
#include <utility>

#include "vnxml/xml/uVnXMLDOM/Internal.h"

namespace vn {

struct TVnDOMNode::TEvents {
  TVnDOMParseError Warning;
  TVnDOMParseError Error;
  TVnDOMParseError FatalError;
};

namespace {

const TVnDOMParseError &NoEvent() noexcept {
  static const TVnDOMParseError e;
  return e;
}

}  // namespace

TVnDOMNode::TVnDOMNode() = default;

TVnDOMNode::~TVnDOMNode() {
  // The list is empty after a destruction through Free; whatever it still holds stays alive.
  delete FChildNodes;
}

void TVnDOMNode::BeforeDestruction() {
  if (FDOMImpl && FDOMImpl->RefCount() > 0) throw Exception(dom::cRefCountNotZero, {ClassName()});
  // A node in a tree is listed by its parent; any other listing would be left dangling.
  if (FChildListRefs > (FParent ? 1 : 0)) throw EVnDomException(dom::cStillListed, {ClassName()});
  FDestroying = true;
  Clear();
  if (FParent) ParentNode()->RemoveChild(this);
  TVnDOMObject::BeforeDestruction();
}

bool TVnDOMNode::FreeToDestroy(Integer AListed) {
  if (FDOMImpl) return false;
  if (FChildListRefs > AListed) return false;
  return TVnDOMObject::CanAutoDestroy();
}

bool TVnDOMNode::CanAutoDestroy() {
  return FreeToDestroy(0);
}

// --- values and names

bool TVnDOMNode::GetPreserveSpace() {
  return FParent ? ParentNode()->GetPreserveSpace() : DefaultPreserveCase;
}

UnicodeString TVnDOMNode::GetNodeValue() {
  return UnicodeString();
}

UnicodeString TVnDOMNode::GetText() {
  return UnicodeString();
}

UnicodeString TVnDOMNode::GetNamespaceURI() {
  return FParent ? ParentNode()->GetNamespaceURI() : StoredNamespaceURI();
}

UnicodeString TVnDOMNode::GetInnerXML() {
  return UnicodeString();
}

UnicodeString TVnDOMNode::GetFormattedInnerXML() {
  return UnicodeString();
}

void TVnDOMNode::SetNodeValue(const UnicodeString &) {
  throw EVnDomNotSupported(dom::cSetNodeValue);
}

void TVnDOMNode::SetPrefix(const UnicodeString &APrefix) {
  FPrefix = APrefix;
}

void TVnDOMNode::SetQualifiedName(const UnicodeString &AName) {
  const std::size_t colon = AName.find(u':');
  UnicodeString prefix;
  if (colon == UnicodeString::npos) {
    FLocalName = AName;
  } else {
    prefix.assign(AName, 0, colon);
    FLocalName.assign(AName, colon + 1);
  }
  SetPrefix(prefix);
}

void TVnDOMNode::SetInnerXML(const UnicodeString &) {
  throw EVnDomNotSupported(dom::cSetInnerXML);
}

void TVnDOMNode::RefreshNamespaces() {
  if (!FChildNodes) return;
  for (Integer i = 0; i < FChildNodes->Count(); ++i) FChildNodes->FList[i]->RefreshNamespaces();
}

void TVnDOMNode::_SaveToStream(TStream *, Word, bool, Integer &) {}

void TVnDOMNode::_SaveToJSONStream(TStream *, Word, bool, Integer &) {}

void TVnDOMNode::NormalizeTextNodes() {}

TVnDOMNode *TVnDOMNode::CreateClone() {
  TObject *o = ClassType()->Create();
  if (!o->Is<TVnDOMNode>()) {
    o->Free();
    detail::RaiseInvalidCast();
  }
  TVnDOMNode *clone = static_cast<TVnDOMNode *>(o);
  try {
    clone->SetQualifiedName(GetQualifiedName());
  } catch (...) {
    clone->Free();
    throw;
  }
  return clone;
}

void TVnDOMNode::LoadFromStream(TStream *, Word) {
  throw EVnDomNotSupported(dom::cLoadNotSupported, {ClassName()});
}

void TVnDOMNode::SaveToJSONStream(TStream *AStream, Word ACodePage, bool AFormatted) {
  Integer level = 1;
  _SaveToJSONStream(AStream, ACodePage, AFormatted, level);
}

// --- children

void TVnDOMNode::Clear() {
  TVnDOMChangeScope scope;
  if (!FChildNodes) return;
  // Removing one child may take out an earlier occurrence of it, so the index is brought back
  // within the list at every step.
  for (Integer i = FChildNodes->Count() - 1; i >= 0;
       i = std::min(i - 1, FChildNodes->Count() - 1)) {
    TVnDOMNode *child = FChildNodes->FList[i];
    if (child->FreeToDestroy(1)) {
      // Only a node that is being destroyed, or a node listed here without being a child, gets
      // here; it leaves the list before it goes, so that no list names a destroyed node.
      FChildNodes->RemoveAt(i);
      child->Free();
    } else {
      RemoveChild(child);
    }
  }
}

void TVnDOMNode::CopyChildren(TVnDOMNode *ASource, TVnDOMNode *ADest) {
  if (!ASource->FChildNodes) return;
  for (Integer i = 0; i < ASource->FChildNodes->Count(); ++i) {
    TVnDOMNode *child = ASource->FChildNodes->FList[i];
    TVnDOMNode *copy = child->CreateClone();
    try {
      ADest->AddChild(copy, nullptr, rdpAfter);
    } catch (...) {
      if (!copy->FParent && copy->FChildListRefs == 0) copy->Free();
      throw;
    }
    CopyChildren(child, copy);
  }
}

TVnDOMNode *TVnDOMNode::CloneNode(bool ADeep) {
  TVnDOMNode *clone = CreateClone();
  if (ADeep) {
    try {
      CopyChildren(this, clone);
    } catch (...) {
      clone->Free();
      throw;
    }
  }
  return clone;
}

TVnDOMNode *TVnDOMNode::AddChild(TClass AClass, TVnDOMNode *ARefNode, TVnDOMPosition APosition) {
  if (!AClass) throw EArgumentNilException(u"The node class must not be nil!");
  TObject *o = AClass->Create();
  if (!o->Is<TVnDOMNode>()) {
    o->Free();
    detail::RaiseInvalidCast();
  }
  TVnDOMNode *node = static_cast<TVnDOMNode *>(o);
  try {
    return AddChild(node, ARefNode, APosition);
  } catch (...) {
    if (!node->FParent && node->FChildListRefs == 0) node->Free();
    throw;
  }
}

TVnDOMNode *TVnDOMNode::AddChild(TVnDOMNode *ANode, TVnDOMNode *ARefNode,
                                 TVnDOMPosition APosition) {
  TVnDOMChangeScope scope;
  if (!ANode) throw EArgumentNilException(dom::cNilNode);
  GetChildNodes()->Add(ANode, ARefNode, APosition);
  ANode->SetParentNode(this);
  return ANode;
}

void TVnDOMNode::RemoveChild(TVnDOMNode *ANode) {
  if (!ANode) return;
  TVnDOMChangeScope scope;
  ANode->SetParentNode(nullptr);
  // A node that no child list holds any more (Clear takes children out before it frees them)
  // needs no search.
  if (FChildNodes && ANode->FChildListRefs > 0) {
    const Integer i = FChildNodes->IndexOf(ANode);
    if (i >= 0) FChildNodes->RemoveAt(i);
  }
  if (ANode->CanAutoDestroy()) ANode->Free();
}

TVnDOMNode *TVnDOMNode::AppendChild(TVnDOMNode *ANode) {
  return AddChild(ANode, nullptr, rdpLast);
}

void TVnDOMNode::ChildTakenOut(TVnDOMNode *AChild) {
  if (AChild->FParent == this) AChild->SetParentNode(nullptr);
}

// --- hooks

TVnDOMLoadState TVnDOMNode::GetLoadState() {
  return FLoadState;
}

bool TVnDOMNode::HasAttributes() {
  return false;
}

UnicodeString TVnDOMNode::NodePathStep(bool ALocalName, const UnicodeString &) {
  UnicodeString step;
  if (FNodeType == ntAttribute) step += u'@';
  step += ALocalName ? FLocalName : GetQualifiedName();
  return step;
}

// --- non-virtual operations

UnicodeString TVnDOMNode::GetQualifiedName() const {
  if (FPrefix.empty()) return FLocalName;
  UnicodeString r;
  r.reserve(FPrefix.size() + 1 + FLocalName.size());
  r += FPrefix;
  r += u':';
  r += FLocalName;
  return r;
}

TVnDOMNodeList *TVnDOMNode::GetChildNodes() {
  if (!FChildNodes) {
    TVnDOMNodeList *list = New<TVnDOMNodeList>();
    SetListOwner(list, this);
    list->FChildList = true;
    FChildNodes = list;
  }
  return FChildNodes;
}

Integer TVnDOMNode::NodeCount() const noexcept {
  return FChildNodes ? FChildNodes->Count() : 0;
}

TVnDOMNode *TVnDOMNode::InsertBefore(TVnDOMNode *ANode, TVnDOMNode *ARefNode) {
  return AddChild(ANode, ARefNode, rdpBefore);
}

TVnDOMNode *TVnDOMNode::ParentNode() const noexcept {
  // The parent of a node is always a node: only AddChild makes one.
  return static_cast<TVnDOMNode *>(FParent);
}

TVnDOMNode *TVnDOMNode::NextSibling() {
  TVnDOMNode *parent = ParentNode();
  return parent ? parent->GetChildNodes()->Next(this) : nullptr;
}

TVnDOMNode *TVnDOMNode::PreviousSibling() {
  TVnDOMNode *parent = ParentNode();
  return parent ? parent->GetChildNodes()->Previous(this) : nullptr;
}

UnicodeString TVnDOMNode::GetXML() {
  TVnStringStream s(CP_UTF16, 0);
  SaveToStream(&s, CP_UTF16, false);
  return s.GetWString();
}

UnicodeString TVnDOMNode::GetFormattedXML() {
  TVnStringStream s(CP_UTF16, 0);
  SaveToStream(&s, CP_UTF16, true);
  return s.GetWString();
}

UnicodeString TVnDOMNode::NodePath(bool ALocalName, const UnicodeString &AKeyAttribute) {
  if (FNodeType == ntDocument) return UnicodeString();
  UnicodeString path;
  if (FParent) {
    // The ancestors carry no key predicate.
    path = ParentNode()->NodePath(ALocalName, UnicodeString());
    path += u'/';
  }
  path += NodePathStep(ALocalName, AKeyAttribute);
  return path;
}

bool TVnDOMNode::CanSerialize(TVnDataSerializationFormatType AFormat) const noexcept {
  return AFormat == dsfJSON || AFormat == dsfXML;
}

RawByteString TVnDOMNode::Serialize(TVnDataSerializationFormatType AFormat, TStringList *) {
  if (AFormat == dsfXML || AFormat == dsfJSON) {
    TVnStringStream s(CP_UTF8, 0);
    if (AFormat == dsfXML) {
      SaveToStream(&s, CP_UTF8, false);
    } else {
      SaveToJSONStream(&s, CP_UTF8, false);
    }
    return s.GetDataString();
  }
  throw EVnDomNotSupported(dom::cSerializeNotSupported,
                           {static_cast<Integer>(AFormat), ClassName()});
}

void TVnDOMNode::Transform(const UnicodeString &, WideString &) {
  throw EVnDomNotSupported(dom::cTransformNotSupported);
}

void TVnDOMNode::Transform(TVnDOMNode *, WideString &) {
  throw EVnDomNotSupported(dom::cTransformNotSupported);
}

TVnDOMNode *TVnDOMNode::SelectSingleNode(const UnicodeString &, TVnDOMSelectOptions) {
  throw EVnDomNotSupported(dom::cSelectNotSupported, {ClassName()});
}

TVnDOMNodeList *TVnDOMNode::CreateNodeList(const UnicodeString &, TVnDOMSelectOptions) {
  throw EVnDomNotSupported(dom::cSelectNotSupported, {ClassName()});
}

// --- parse notifications

const TVnDOMParseError &TVnDOMNode::GetOnParseWarning() const noexcept {
  return FEvents ? FEvents->Warning : NoEvent();
}

const TVnDOMParseError &TVnDOMNode::GetOnParseError() const noexcept {
  return FEvents ? FEvents->Error : NoEvent();
}

const TVnDOMParseError &TVnDOMNode::GetOnParseFatalError() const noexcept {
  return FEvents ? FEvents->FatalError : NoEvent();
}

void TVnDOMNode::SetOnParseWarning(TVnDOMParseError AEvent) {
  if (!FEvents) FEvents = std::make_unique<TEvents>();
  FEvents->Warning = std::move(AEvent);
}

void TVnDOMNode::SetOnParseError(TVnDOMParseError AEvent) {
  if (!FEvents) FEvents = std::make_unique<TEvents>();
  FEvents->Error = std::move(AEvent);
}

void TVnDOMNode::SetOnParseFatalError(TVnDOMParseError AEvent) {
  if (!FEvents) FEvents = std::make_unique<TEvents>();
  FEvents->FatalError = std::move(AEvent);
}

void TVnDOMNode::DoDOMParseWarning(IVnSAXLocator *ALocator, const UnicodeString &AMessage,
                                   bool &AHandled) {
  if (FEvents && FEvents->Warning) FEvents->Warning(ALocator, AMessage, AHandled);
}

void TVnDOMNode::DoDOMParseError(IVnSAXLocator *ALocator, const UnicodeString &AMessage,
                                 bool &AHandled) {
  if (FEvents && FEvents->Error) FEvents->Error(ALocator, AMessage, AHandled);
}

void TVnDOMNode::DoDOMParseFatalError(IVnSAXLocator *ALocator, const UnicodeString &AMessage,
                                      bool &AHandled) {
  if (FEvents && FEvents->FatalError) FEvents->FatalError(ALocator, AMessage, AHandled);
}

TVnDOMNodeImpl *TVnDOMNode::DOMNodeImpl() const noexcept {
  return static_cast<TVnDOMNodeImpl *>(FDOMImpl);
}

bool TVnDOMNode::IsNamespaceName(UnicodeStringView APrefix, UnicodeStringView ALocalName) noexcept {
  return (APrefix.empty() && VnSameText(ALocalName, u"xmlns")) || VnSameText(APrefix, u"xmlns");
}

// --- overrides of the object

TVnDOMObjectImpl *TVnDOMNode::CreateDOMImpl(TVnDOMObject *AOwner) {
  return New<TVnDOMNodeImpl>(AOwner);
}

void TVnDOMNode::SetDOMImpl(TVnDOMObjectImpl *AImpl) {
  TVnDOMObject::SetDOMImpl(AImpl);
}

void TVnDOMNode::SetDOMDocument(TVnDOMNode *ADocument) {
  TVnDOMObject::SetDOMDocument(ADocument);
  if (!FChildNodes) return;
  for (TVnDOMNode *child : FChildNodes->FList) child->SetDOMDocument(ADocument);
}

void TVnDOMNode::SetParentNode(TVnDOMObject *AParent) {
  TVnDOMObject::SetParentNode(AParent);
  if (FDestroying || !FDOMDocument) return;
  // While a document loads, only elements refresh as they are attached.
  if (FDOMDocument->GetLoadState() != lsLoading || FNodeType == ntElement) RefreshNamespaces();
}

}  // namespace vn
