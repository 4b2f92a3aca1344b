// The node lists, their enumerators, and the plain object list.
#include <algorithm>
#include <limits>

#include "vnxml/xml/uVnXMLDOM/Internal.h"

namespace vn {

// ---------------------------------------------------------------------------------------------
// Enumerators

bool TVnDOMNodeListBaseEnumerator::MoveNext() {
  ++FIndex;
  return FIndex < FList->Count();
}

TVnDOMNode *TVnDOMNodeListBaseEnumerator::GetCurrent() {
  return FList->GetItem(FIndex);
}

TVnDOMNode *TVnDOMElementListEnumerator::GetCurrent() {
  return static_cast<TVnDOMElementList *>(FList)->GetItem(Variant(FIndex));
}

TVnDOMNode *TVnDOMNodeListIterator::operator*() const {
  if (FByVariant) return static_cast<TVnDOMElementList *>(FList)->GetItem(Variant(FIndex));
  return FList->GetItem(FIndex);
}

bool TVnDOMNodeListIterator::operator==(std::default_sentinel_t) const noexcept {
  return FIndex >= FList->Count();
}

// ---------------------------------------------------------------------------------------------
// TVnDOMNodeListBase

// The child list is a view of its owner's children, which the owner counts and frees.
TVnDOMNodeListBase::~TVnDOMNodeListBase() = default;

void TVnDOMNodeListBase::BeforeDestruction() {
  if (FParent && !FParent->Destroying()) throw EVnDomException(dom::cOwnedList);
  // The object's own count is that of its owners, who free the list themselves.
  if (FRefCount > 0) throw Exception(dom::cRefCountNotZero, {ClassName()});
  TVnDOMObject::BeforeDestruction();
}

bool TVnDOMNodeListBase::CanAutoDestroy() {
  if (FDOMImpl) return false;
  if (!TVnDOMObject::CanAutoDestroy()) return false;
  return FParent == nullptr;
}

TVnXPathCollationClass TVnDOMNodeListBase::GetCollation() {
  return FParent ? FParent->GetCollation() : TVnDOMObject::GetCollation();
}

TVnDOMSelectMatchOption TVnDOMNodeListBase::GetSelectMatchOption() {
  return FParent ? FParent->GetSelectMatchOption() : TVnDOMObject::GetSelectMatchOption();
}

TVnDOMSelectCheckOption TVnDOMNodeListBase::GetSelectCheckOption() {
  return FParent ? FParent->GetSelectCheckOption() : TVnDOMObject::GetSelectCheckOption();
}

TVnDOMNode *TVnDOMNodeListBase::Owner() const noexcept {
  // Lists are owned by nodes only.
  return static_cast<TVnDOMNode *>(FParent);
}

TVnDOMNode *TVnDOMNodeListBase::GetItem(Integer AIndex) const {
  if (AIndex < 0 || AIndex >= Count()) throw EListError(dom::cListIndex, {AIndex});
  return Items()[static_cast<std::size_t>(AIndex)];
}

Integer TVnDOMNodeListBase::IndexOf(TVnDOMNode *ANode) const noexcept {
  return Items().IndexOf(ANode);
}

void TVnDOMNodeListBase::CheckInsert(TVnDOMNode *AOwner, TVnDOMNode *ANode) {
  if (!ANode) throw EArgumentNilException(dom::cNilNode);
  if (!AOwner) return;
  if (ANode == AOwner) throw EVnDomException(dom::cCycle);
  // A node without children is nobody's ancestor: by the child lists plainly, and by the parent
  // links since a node's parent lists it. Most inserts (every one of a load) end here, so the
  // cost of an insert does not grow with the depth of the tree.
  if (ANode->FChildren.empty()) return;
  // The node must not become its own ancestor by the parent links ...
  for (TVnDOMObject *p = AOwner; p; p = p->GetParent()) {
    if (p == ANode) throw EVnDomException(dom::cCycle);
  }
  // ... nor by the child lists, which may differ from the parent links when lists have been
  // changed directly.
  // Most inserted nodes have leaves only (a new element and its attributes): the stack of nodes
  // still to look into stays empty and costs no allocation then.
  std::vector<TVnDOMNode *> pending;
  for (TVnDOMNode *n = ANode;;) {
    for (TVnDOMNode *child : n->FChildren) {
      if (child == AOwner) throw EVnDomException(dom::cCycle);
      if (child->NodeCount() > 0) pending.push_back(child);
    }
    if (pending.empty()) return;
    n = pending.back();
    pending.pop_back();
  }
}

Integer TVnDOMNodeListBase::PlaceOf(const TVnDOMNodeArray &AItems, TVnDOMNode *ARefNode,
                                    TVnDOMPosition APosition) noexcept {
  const Integer count = static_cast<Integer>(AItems.size());
  switch (APosition) {
    case rdpFirst:
      return 0;
    case rdpLast:
      return count;
    default:
      break;
  }
  const Integer i = ARefNode ? AItems.IndexOf(ARefNode) : -1;
  if (i >= 0) return APosition == rdpBefore ? i : i + 1;
  return APosition == rdpBefore ? 0 : count;
}

void TVnDOMNodeListBase::InsertAt(Integer AIndex, TVnDOMNode *ANode) {
  CheckInsert(Owner(), ANode);
  if (FChildList) {
    Owner()->ChildListChanging();
    Owner()->ChildInsert(static_cast<std::size_t>(AIndex), ANode);
  } else {
    FOwnItems.Insert(static_cast<std::size_t>(AIndex), ANode);
  }
}

bool TVnDOMNodeListBase::CanHoldNamedItem(const TVnDOMNode *ANode) const noexcept {
  TVnDOMNode *owner = Owner();
  return FChildList || !owner || (ANode && ANode->ParentNode() == owner);
}

void TVnDOMNodeListBase::RemoveAt(Integer AIndex) {
  if (FChildList) {
    Owner()->ChildListChanging();
    Owner()->ChildErase(static_cast<std::size_t>(AIndex));
  } else {
    FOwnItems.Erase(static_cast<std::size_t>(AIndex));
  }
}

void TVnDOMNodeListBase::Clear() {
  if (Items().empty()) return;
  if (FChildList) Owner()->ChildListChanging();
  TVnDOMNodeArray items;
  items.Swap(Items());
  if (!FChildList) return;
  for (TVnDOMNode *node : items) --node->FChildListRefs;
  TVnDOMNode *owner = Owner();
  TVnDOMChangeScope scope;
  for (TVnDOMNode *node : items) {
    if (node->GetParent() == owner) owner->ChildTakenOut(node);
  }
}

void TVnDOMNodeListBase::Add(TVnDOMNode *ANode, TVnDOMNode *ARefNode, TVnDOMPosition APosition) {
  InsertAt(PlaceOf(Items(), ARefNode, APosition), ANode);
}

void TVnDOMNodeListBase::Add(TVnDOMNode *ANode, TVnDOMPosition APosition) {
  InsertAt(APosition == rdpFirst ? 0 : Count(), ANode);
}

void TVnDOMNodeListBase::Add(TVnDOMNode *ANode, TVnDOMPosition APosition, TVnDOMNode *ARefNode) {
  VN_ASSERT_AT(ARefNode != nullptr, "xml/uVnXMLDOM", 6588);
  const Integer i = IndexOf(ARefNode);
  if (i >= 0) {
    InsertAt(APosition == rdpBefore ? i : i + 1, ANode);
  } else {
    InsertAt(APosition == rdpBefore ? 0 : Count(), ANode);
  }
}

TVnDOMNode *TVnDOMNodeListBase::Delete(TVnDOMNode *ANode) {
  const Integer i = IndexOf(ANode);
  if (i < 0) return nullptr;
  RemoveAt(i);
  if (FChildList) {
    TVnDOMNode *owner = Owner();
    if (ANode->GetParent() == owner && !ContainsNode(ANode)) {
      TVnDOMChangeScope scope;
      owner->ChildTakenOut(ANode);
    }
  }
  return ANode;
}

TVnDOMNode *TVnDOMNodeListBase::First() const {
  if (Items().empty()) throw EVnDomNotFound(dom::cNoFirstNode);
  return Items().front();
}

TVnDOMNode *TVnDOMNodeListBase::Last() const {
  if (Items().empty()) throw EVnDomNotFound(dom::cNoFirstNode);
  return Items().back();
}

TVnDOMNode *TVnDOMNodeListBase::NextIn(const TVnDOMNodeArray &AItems, const TVnDOMNode *ANode) {
  const std::size_t i = static_cast<std::size_t>(AItems.IndexOf(ANode) + 1);
  return i < AItems.size() ? AItems[i] : nullptr;
}

TVnDOMNode *TVnDOMNodeListBase::PreviousIn(const TVnDOMNodeArray &AItems, const TVnDOMNode *ANode) {
  const Integer i = AItems.IndexOf(ANode);
  if (i < 0) throw EListError(dom::cNotInList);
  return i == 0 ? nullptr : AItems[static_cast<std::size_t>(i - 1)];
}

TVnDOMNode *TVnDOMNodeListBase::Next(TVnDOMNode *ANode) const {
  return NextIn(Items(), ANode);
}

TVnDOMNode *TVnDOMNodeListBase::Previous(TVnDOMNode *ANode) const {
  return PreviousIn(Items(), ANode);
}

TVnDOMNode *TVnDOMNodeListBase::Find(const UnicodeString &AName, TVnDOMSelectOptions AOptions) {
  if (AOptions.Contains(soCaseSensitive) && AOptions.Contains(soCaseInsensitive)) {
    throw Exception(dom::cBothCases);
  }
  if (AOptions.Contains(soCreate)) throw Exception(dom::cNoCreate);
  const bool local = AOptions.Contains(soLocalName)       ? true
                     : AOptions.Contains(soQualifiedName) ? false
                                                          : GetSelectMatchOption() == soLocalName;
  const TVnXPathCollationClass collation =
      AOptions.Contains(soCaseSensitive)     ? TVnXPathCollationCodepoint::StaticClass()
      : AOptions.Contains(soCaseInsensitive) ? TVnXPathCollationASCIICI::StaticClass()
                                             : GetCollation();
  if (TVnDOMNode *node = FindName(AName, local, collation)) return node;
  if (AOptions.Contains(soRaise)) throw EVnDomNotFound(dom::cNoNodeForName, {AName});
  return nullptr;
}

TVnDOMNode *TVnDOMNodeListBase::FindName(UnicodeStringView AName, bool ALocal,
                                         TVnXPathCollationClass ACollation) const {
  const TVnDOMNodeArray &items = Items();
  for (std::size_t i = items.size(); i-- > 0;) {
    TVnDOMNode *node = items[i];
    // Equal text is the same name under any collation: only other text asks the collation.
    const UnicodeString &name = ALocal ? node->GetLocalName() : node->GetQualifiedName();
    if (name == AName || ACollation->SameText(AName, name)) return node;
  }
  return nullptr;
}

TVnDOMNode *TVnDOMNodeListBase::Find(UnicodeStringView AURI, UnicodeStringView AName) {
  const TVnXPathCollationClass collation = GetCollation();
  for (Integer i = Count() - 1; i >= 0; --i) {
    TVnDOMNode *node = Items()[static_cast<std::size_t>(i)];
    if (!collation->SameText(node->GetLocalName(), AName)) continue;
    if (AURI.empty() || collation->SameText(node->GetNamespaceURI(), AURI)) return node;
  }
  return nullptr;
}

TVnDOMNode *TVnDOMNodeListBase::Delete(const UnicodeString &AName, TVnDOMSelectOptions AOptions) {
  TVnDOMNode *node = Find(AName, AOptions);
  return node ? Delete(node) : nullptr;
}

TVnDOMNode *TVnDOMNodeListBase::Delete(UnicodeStringView AURI, UnicodeStringView AName) {
  TVnDOMNode *node = Find(AURI, AName);
  return node ? Delete(node) : nullptr;
}

std::unique_ptr<TVnDOMNodeListBaseEnumerator> TVnDOMNodeListBase::GetEnumerator() {
  return std::make_unique<TVnDOMNodeListBaseEnumerator>(this);
}

TVnDOMNodeListImpl *TVnDOMNodeListBase::DOMNodeListImpl() const noexcept {
  return static_cast<TVnDOMNodeListImpl *>(FDOMImpl);
}

TVnDOMObjectImpl *TVnDOMNodeListBase::CreateDOMImpl(TVnDOMObject *AOwner) {
  return New<TVnDOMNodeListImpl>(AOwner);
}

// ---------------------------------------------------------------------------------------------
// TVnDOMElementList

TVnDOMNode *TVnDOMElementList::GetItem(const Variant &AIndex) {
  TVnDOMNode *owner = Owner();
  TVnDOMSelectCheckOption check = DefaultSelectCheckOption;
  if (owner && owner->GetDOMDocument()) {
    check = owner->GetDOMDocument()->GetSelectCheckOption();
  } else if (FDOMDocument) {
    check = FDOMDocument->GetSelectCheckOption();
  }
  return GetItemEx(AIndex, check);
}

TVnDOMNode *TVnDOMElementList::GetItemEx(const Variant &AIndex, TVnDOMSelectCheckOption ACheck) {
  switch (VarType(AIndex)) {
    case varSmallint:
    case varInteger:
    case varShortInt:
    case varByte:
    case varWord:
    case varLongWord:
    case varInt64: {
      const Int64 i = AIndex.AsInt64();
      if (i < std::numeric_limits<Integer>::min() || i > std::numeric_limits<Integer>::max()) {
        throw EListError(dom::cListIndex, {i});
      }
      return TVnDOMNodeListBase::GetItem(static_cast<Integer>(i));
    }
    case varUInt64: {
      const UInt64 i = AIndex.AsUInt64();
      if (i > static_cast<UInt64>(std::numeric_limits<Integer>::max())) {
        throw EListError(dom::cListIndex, {i});
      }
      return TVnDOMNodeListBase::GetItem(static_cast<Integer>(i));
    }
    case varOleStr:
    case varString:
    case varUString:
      break;
    default:
      throw EListError(dom::cInvalidIndex);
  }
  const UnicodeString name = AIndex.AsString();
  TVnDOMSelectOptions options;
  options << (GetCaseSensitive() ? soCaseSensitive : soCaseInsensitive);
  if (ACheck == coCreate) options << soCreate;
  if (ACheck == coRaise) options << soRaise;
  options << (name.find(u':') != UnicodeString::npos ? soQualifiedName : soLocalName);
  if (name == u".") return Owner();
  if (name.find(u'/') != UnicodeString::npos || ACheck == coCreate) {
    // From the owning element; a node of another lineage selects as a node.
    TVnDOMNode *owner = Owner();
    TVnDOMNode *node = nullptr;
    if (auto *element = dynamic_cast<TVnDOMElement *>(owner)) {
      node = element->SelectSingleElement(name, options);
    } else if (owner) {
      node = owner->SelectSingleNode(name, options);
    }
    if (!node && ACheck == coRaise) throw EListError(dom::cNoChildElement, {name});
    return node;
  }
  TVnDOMNode *node = Find(name, options);
  if (!node && ACheck == coRaise) throw EListError(dom::cNoChildElement, {name});
  return node;
}

std::unique_ptr<TVnDOMNodeListBaseEnumerator> TVnDOMElementList::GetEnumerator() {
  return std::make_unique<TVnDOMElementListEnumerator>(this);
}

TVnDOMElementListImpl *TVnDOMElementList::DOMElementListImpl() const noexcept {
  return static_cast<TVnDOMElementListImpl *>(FDOMImpl);
}

TVnDOMObjectImpl *TVnDOMElementList::CreateDOMImpl(TVnDOMObject *AOwner) {
  return New<TVnDOMElementListImpl>(AOwner);
}

// ---------------------------------------------------------------------------------------------
// TVnDOMAttrList

TVnDOMNode *TVnDOMAttrList::FindNamespace(UnicodeStringView AURI) {
  const TVnXPathCollationClass collation = GetCollation();
  for (TVnDOMNode *node : Items()) {
    if (node->GetNodeType() != ntAttribute) continue;
    if (!node->GetNameRecord()->IsNamespace()) continue;
    // A plain attribute whose stored text holds no reference reads back as that text: compare
    // it in place instead of decoding a copy for every look-up.
    if (node->ClassType() == TVnDOMAttribute::StaticClass()) {
      const UnicodeString &stored = static_cast<const TVnDOMAttribute *>(node)->GetStoredValue();
      if (stored.find(u'&') == UnicodeString::npos) {
        if (collation->SameText(stored, AURI)) return node;
        continue;
      }
    }
    if (collation->SameText(node->GetNodeValue(), AURI)) return node;
  }
  return nullptr;
}

TVnDOMAttrListImpl *TVnDOMAttrList::DOMAttrListImpl() const noexcept {
  return static_cast<TVnDOMAttrListImpl *>(FDOMImpl);
}

TVnDOMObjectImpl *TVnDOMAttrList::CreateDOMImpl(TVnDOMObject *AOwner) {
  return New<TVnDOMAttrListImpl>(AOwner);
}

// ---------------------------------------------------------------------------------------------
// TVnDOMObjectList

TVnDOMObject *TVnDOMObjectList::Get(Integer AIndex) const {
  if (AIndex < 0 || AIndex >= Count()) throw EListError(dom::cListIndex, {AIndex});
  return FItems[static_cast<std::size_t>(AIndex)];
}

Integer TVnDOMObjectList::Add(TVnDOMObject *AObject) {
  FItems.push_back(AObject);
  return Count() - 1;
}

void TVnDOMObjectList::Insert(Integer AIndex, TVnDOMObject *AObject) {
  if (AIndex < 0 || AIndex > Count()) throw EListError(dom::cListIndex, {AIndex});
  FItems.insert(FItems.begin() + AIndex, AObject);
}

void TVnDOMObjectList::Delete(Integer AIndex) {
  if (AIndex < 0 || AIndex >= Count()) throw EListError(dom::cListIndex, {AIndex});
  FItems.erase(FItems.begin() + AIndex);
}

Integer TVnDOMObjectList::Remove(TVnDOMObject *AObject) {
  const Integer i = IndexOf(AObject);
  if (i >= 0) FItems.erase(FItems.begin() + i);
  return i;
}

Integer TVnDOMObjectList::IndexOf(TVnDOMObject *AObject) const noexcept {
  auto it = std::find(FItems.begin(), FItems.end(), AObject);
  return it == FItems.end() ? -1 : static_cast<Integer>(it - FItems.begin());
}

void TVnDOMObjectList::Assign(const TVnDOMObjectList *ASource) {
  if (ASource == this) return;
  FItems = ASource ? ASource->FItems : std::vector<TVnDOMObject *>();
}

void TVnDOMObjectList::Assign(const TVnDOMNodeListBase *ASource) {
  FItems.clear();
  if (!ASource) return;
  FItems.reserve(static_cast<std::size_t>(ASource->Count()));
  for (Integer i = 0; i < ASource->Count(); ++i) FItems.push_back(ASource->GetItem(i));
}

}  // namespace vn
