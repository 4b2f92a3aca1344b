// TVnDOMElement: the kind lists, children by name, namespaces, values and typed access.
#include <utility>

#include "vnxml/xml/uVnXMLDOM/Internal.h"
#include "vnxml/xml/uVnXMLUtils.h"

namespace vn {

namespace {

template <class TList>
TList *NewOwnedList(TVnDOMObject *AOwner, void (*ALink)(TVnDOMObject *, TVnDOMObject *)) {
  TList *list = New<TList>();
  ALink(list, AOwner);
  return list;
}

bool IsStringVarType(TVarType AType) {
  return AType == varOleStr || AType == varString || AType == varUString;
}

}  // namespace

TVnDOMElement::TVnDOMElement() : FPreserveSpace(DefaultPreserveCase) {
  FNodeType = ntElement;
}

TVnDOMElement::~TVnDOMElement() {
  // The kind lists own nothing and are not child lists: they go without the checks of Free.
  if (!FKindLists) return;
  delete FKindLists->Attributes;
  delete FKindLists->Namespaces;
  delete FKindLists->Elements;
  delete FKindLists->CharNodes;
}

// --- the lists

TVnDOMNodeListBase *TVnDOMElement::BuildKindList(int AKind) {
  TVnDOMNodeListBase *list;
  TKindLists &kinds = KindLists();
  switch (AKind) {
    case 0:
      list = kinds.Attributes = NewOwnedList<TVnDOMAttrList>(this, &SetListOwner);
      break;
    case 1:
      list = kinds.Elements = NewOwnedList<TVnDOMElementList>(this, &SetListOwner);
      break;
    default:
      list = kinds.CharNodes = NewOwnedList<TVnDOMNodeList>(this, &SetListOwner);
      break;
  }
  for (TVnDOMNode *n : FChildren) {
    if (KindOf(n->GetNodeType()) == AKind) list->FOwnItems.PushBack(n);
  }
  return list;
}

TVnDOMAttrList *TVnDOMElement::GetAttributes() {
  if (!AttributesOrNil()) BuildKindList(0);
  return FKindLists->Attributes;
}

TVnDOMElementList *TVnDOMElement::GetElements() {
  if (!ElementsOrNil()) BuildKindList(1);
  return FKindLists->Elements;
}

TVnDOMNodeList *TVnDOMElement::GetCharNodes() {
  if (!CharNodesOrNil()) BuildKindList(2);
  return FKindLists->CharNodes;
}

TVnDOMAttrList *TVnDOMElement::GetNamespaces() {
  TKindLists &kinds = KindLists();
  if (!kinds.Namespaces) kinds.Namespaces = NewOwnedList<TVnDOMAttrList>(this, &SetListOwner);
  if (FInheritScope) {
    FInheritScope = false;
    TVnDOMNode *parent = ParentNode();
    if (parent && parent->GetNodeType() == ntElement) {
      if (TVnDOMAttrList *inherited = static_cast<TVnDOMElement *>(parent)->Scope()) {
        kinds.Namespaces->FOwnItems.Assign(inherited->FOwnItems);
      }
    }
  }
  return kinds.Namespaces;
}

TVnDOMAttrList *TVnDOMElement::Scope(Integer *ASteps) const noexcept {
  const TVnDOMElement *e = this;
  Integer steps = 0;
  while (e->FInheritScope) {
    TVnDOMNode *parent = e->ParentNode();
    if (!parent || parent->GetNodeType() != ntElement) return nullptr;
    e = static_cast<const TVnDOMElement *>(parent);
    ++steps;
  }
  if (ASteps) *ASteps = steps;
  return e->NamespacesOrNil();
}

Integer TVnDOMElement::CountOfKind(int AKind) const noexcept {
  if (const TVnDOMNodeListBase *list = KindList(AKind)) return list->Count();
  Integer n = 0;
  for (TVnDOMNode *c : FChildren) n += KindOf(c->GetNodeType()) == AKind ? 1 : 0;
  return n;
}

Integer TVnDOMElement::ElementCount() const noexcept {
  return CountOfKind(1);
}

Integer TVnDOMElement::AttributeCount() const noexcept {
  return CountOfKind(0);
}

TVnDOMAttribute *TVnDOMElement::FindOwnAttribute(const UnicodeString &AQualifiedName) {
  if (TVnDOMAttrList *attributes = AttributesOrNil()) {
    return static_cast<TVnDOMAttribute *>(attributes->Find(AQualifiedName, {soQualifiedName}));
  }
  const TVnXPathCollationClass collation = GetCollation();
  for (std::size_t i = FChildren.size(); i-- > 0;) {
    TVnDOMNode *n = FChildren[i];
    if (n->GetNodeType() != ntAttribute) continue;
    if (collation->SameText(AQualifiedName, n->GetQualifiedName())) {
      return static_cast<TVnDOMAttribute *>(n);
    }
  }
  return nullptr;
}

TVnDOMAttribute *TVnDOMElement::FindOwnSpaceAttribute() {
  // No children, no attribute: the common case of an element just made.
  if (FChildren.empty()) return nullptr;
  static const UnicodeString cSpaceName(u"xml:space");
  if (AttributesOrNil()) return FindOwnAttribute(cSpaceName);
  const TVnXPathCollationClass collation = GetCollation();
  for (std::size_t i = FChildren.size(); i-- > 0;) {
    TVnDOMNode *n = FChildren[i];
    if (n->GetNodeType() == ntAttribute && n->GetNameRecord()->IsSpaceName(collation))
      return static_cast<TVnDOMAttribute *>(n);
  }
  return nullptr;
}

TVnDOMAttribute *TVnDOMElement::FindOwnNamespace(UnicodeStringView AURI) {
  if (TVnDOMAttrList *attributes = AttributesOrNil())
    return static_cast<TVnDOMAttribute *>(attributes->FindNamespace(AURI));
  const TVnXPathCollationClass collation = GetCollation();
  for (TVnDOMNode *n : FChildren) {
    if (n->GetNodeType() != ntAttribute) continue;
    if (!n->GetNameRecord()->IsNamespace()) continue;
    if (collation->SameText(n->GetNodeValue(), AURI)) return static_cast<TVnDOMAttribute *>(n);
  }
  return nullptr;
}

TVnDOMNodeListBase *TVnDOMElement::TypedList(TVnDOMNode *ANode) {
  return KindList(KindOf(ANode->GetNodeType()));
}

// --- children

TVnDOMNode *TVnDOMElement::AddChild(TVnDOMNode *ANode, TVnDOMNode *ARefNode,
                                    TVnDOMPosition APosition) {
  TVnDOMChangeScope scope;
  if (!ANode) throw EArgumentNilException(dom::cNilNode);
  TVnDOMNodeListBase *typed = TypedList(ANode);
  // Appended or put first, a node takes the same place in its kind list as in the child list,
  // so a kind list that does not exist yet can be built later from the child list. A place
  // relative to a reference node may differ between the two: then the kind list is built first.
  const int kind = KindOf(ANode->GetNodeType());
  if (!typed && kind >= 0 && ARefNode && (APosition == rdpBefore || APosition == rdpAfter)) {
    typed = BuildKindList(kind);
  }
  if (typed) typed->Add(ANode, ARefNode, APosition);
  try {
    return TVnDOMNode::AddChild(ANode, ARefNode, APosition);
  } catch (...) {
    if (typed) typed->Delete(ANode);
    throw;
  }
}

void TVnDOMElement::RemoveChild(TVnDOMNode *ANode) {
  if (!ANode) return;
  VN_ASSERT_MSG_AT(ANode->GetParent() == this, dom::cNotAChild, "xml/uVnXMLDOM", 8205);
  TVnDOMChangeScope scope;
  const bool declaration =
      ANode->GetNodeType() == ntAttribute && static_cast<TVnDOMAttribute *>(ANode)->IsNamespace();
  // While this element is destroyed its kind lists go with it: no need to search them.
  if (!FDestroying) {
    if (TVnDOMNodeListBase *typed = TypedList(ANode)) typed->Delete(ANode);
  }
  TVnDOMNode::RemoveChild(ANode);
  // Declarations in scope are plain pointers: a removed one must not stay in any scope list.
  if (declaration && !FDestroying) RefreshNamespaces();
}

void TVnDOMElement::ChildListChanging() {
  // A kind list not built yet would be built from the changed children later: build it now,
  // so that it keeps what AddChild and RemoveChild gave it.
  for (int kind = 0; kind < 3; ++kind) {
    if (!KindList(kind)) BuildKindList(kind);
  }
}

void TVnDOMElement::ChildTakenOut(TVnDOMNode *AChild) {
  if (TVnDOMNodeListBase *typed = TypedList(AChild)) typed->Delete(AChild);
  TVnDOMNode::ChildTakenOut(AChild);
}

TVnDOMComment *TVnDOMElement::AddComment(const UnicodeString &AValue) {
  return InsertComment(AValue, rdpLast, nullptr);
}

TVnDOMText *TVnDOMElement::AddText(const UnicodeString &AValue) {
  return InsertText(AValue, rdpLast, nullptr);
}

TVnDOMCDATA *TVnDOMElement::AddCDATA(const UnicodeString &AValue) {
  return InsertCDATA(AValue, rdpLast, nullptr);
}

TVnDOMElement *TVnDOMElement::AddElement(const UnicodeString &AName) {
  return InsertElement(AName, rdpLast, nullptr);
}

TVnDOMElement *TVnDOMElement::AddElement(const UnicodeString &ANamespaceURI,
                                         const UnicodeString &AName) {
  return InsertElement(ANamespaceURI, AName, rdpLast, nullptr);
}

TVnDOMAttribute *TVnDOMElement::AddAttribute(const UnicodeString &AName) {
  auto *a = dom::NewNode<TVnDOMAttribute>([&](auto *n) { n->SetQualifiedName(AName); });
  AddChild(a, nullptr, rdpLast);
  return a;
}

TVnDOMAttribute *TVnDOMElement::AddAttribute(const UnicodeString &ANamespaceURI,
                                             const UnicodeString &AName) {
  auto *a = dom::NewNode<TVnDOMAttribute>([&](auto *n) {
    n->SetQualifiedName(AName);
    n->SetNamespaceURI(ANamespaceURI);
  });
  AddChild(a, nullptr, rdpLast);
  return a;
}

namespace {
// A new character-data node placed among the children, then given its value.
template <class T>
T *InsertCharacterData(TVnDOMElement *AParent, const UnicodeString &AValue,
                       TVnDOMPosition APosition, TVnDOMNode *ARefNode) {
  auto *n = New<T>();
  AParent->AddChild(n, ARefNode, APosition);
  n->SetNodeValue(AValue);
  return n;
}
}  // namespace

TVnDOMComment *TVnDOMElement::InsertComment(const UnicodeString &AValue, TVnDOMPosition APosition,
                                            TVnDOMNode *ARefNode) {
  return InsertCharacterData<TVnDOMComment>(this, AValue, APosition, ARefNode);
}

TVnDOMText *TVnDOMElement::InsertText(const UnicodeString &AValue, TVnDOMPosition APosition,
                                      TVnDOMNode *ARefNode) {
  return InsertCharacterData<TVnDOMText>(this, AValue, APosition, ARefNode);
}

TVnDOMCDATA *TVnDOMElement::InsertCDATA(const UnicodeString &AValue, TVnDOMPosition APosition,
                                        TVnDOMNode *ARefNode) {
  return InsertCharacterData<TVnDOMCDATA>(this, AValue, APosition, ARefNode);
}

TVnDOMElement *TVnDOMElement::InsertElement(const UnicodeString &AName, TVnDOMPosition APosition,
                                            TVnDOMNode *ARefNode) {
  return PlaceNew(dom::NewNode<TVnDOMElement>([&](auto *n) { n->SetQualifiedName(AName); }),
                  APosition, ARefNode);
}

TVnDOMElement *TVnDOMElement::AddElement(TVnDOMName *ARecord) {
  ARecord->AddRef();
  return AddElement(TVnDOMNameRef(ARecord));
}

TVnDOMElement *TVnDOMElement::AddElement(TVnDOMNameRef ARecord) {
  return PlaceNew(dom::NewNode<TVnDOMElement>([&](TVnDOMElement *n) {
                    // The record is all that AdoptName would leave on an element just made: its
                    // SetPrefix finds no declarations in scope without a parent, and the attach
                    // resolves the namespace anyway.
                    n->FName = std::move(ARecord);
                  }),
                  rdpLast, nullptr);
}

TVnDOMElement *TVnDOMElement::PlaceNew(TVnDOMElement *AElement, TVnDOMPosition APosition,
                                       TVnDOMNode *ARefNode) {
  try {
    if (APosition != rdpLast || !AppendFresh(this, AElement))
      AddChild(AElement, ARefNode, APosition);
  } catch (...) {
    if (!AElement->GetParent()) AElement->Free();
    throw;
  }
  return AElement;
}

TVnDOMElement *TVnDOMElement::InsertElement(const UnicodeString &ANamespaceURI,
                                            const UnicodeString &AName, TVnDOMPosition APosition,
                                            TVnDOMNode *ARefNode) {
  auto *e = dom::NewNode<TVnDOMElement>([&](auto *n) {
    n->SetQualifiedName(AName);
    n->SetNamespaceURI(ANamespaceURI);
  });
  AddChild(e, ARefNode, APosition);
  return e;
}

void TVnDOMElement::RemoveElement(TVnDOMElement *AElement) {
  RemoveChild(AElement);
}

void TVnDOMElement::RemoveElement(const UnicodeString &AName) {
  if (TVnDOMElement *e = ElementByName(AName, {soQualifiedName}, nullptr)) RemoveChild(e);
}

void TVnDOMElement::RemoveElement(const UnicodeString &ANamespaceURI, const UnicodeString &AName) {
  RemoveChild(ElementByName(ANamespaceURI, AName, coRaise));
}

void TVnDOMElement::RemoveAttribute(TVnDOMAttribute *AAttribute) {
  RemoveChild(AAttribute);
}

void TVnDOMElement::RemoveAttribute(const UnicodeString &AName) {
  if (TVnDOMAttribute *a = AttributeByName(AName, {soQualifiedName}, nullptr)) RemoveChild(a);
}

void TVnDOMElement::RemoveAttribute(const UnicodeString &ANamespaceURI,
                                    const UnicodeString &AName) {
  RemoveChild(AttributeByName(ANamespaceURI, AName));
}

// --- finding

TVnDOMElement *TVnDOMElement::FindElement(const UnicodeString &AName,
                                          TVnDOMSelectOptions AOptions) {
  return static_cast<TVnDOMElement *>(GetElements()->Find(AName, AOptions));
}

TVnDOMElement *TVnDOMElement::FindElement(const UnicodeString &ANamespaceURI,
                                          const UnicodeString &AName) {
  return static_cast<TVnDOMElement *>(GetElements()->Find(ANamespaceURI, AName));
}

TVnDOMAttribute *TVnDOMElement::FindAttribute(const UnicodeString &AName,
                                              TVnDOMSelectOptions AOptions) {
  return static_cast<TVnDOMAttribute *>(GetAttributes()->Find(AName, AOptions));
}

TVnDOMAttribute *TVnDOMElement::FindAttribute(const UnicodeString &ANamespaceURI,
                                              const UnicodeString &AName) {
  return static_cast<TVnDOMAttribute *>(GetAttributes()->Find(ANamespaceURI, AName));
}

bool TVnDOMElement::HasChildElement(const UnicodeString &AName, TVnDOMSelectOptions AOptions) {
  return FindElement(AName, AOptions) != nullptr;
}

bool TVnDOMElement::HasChildElement(const UnicodeString &ANamespaceURI,
                                    const UnicodeString &AName) {
  return FindElement(ANamespaceURI, AName) != nullptr;
}

bool TVnDOMElement::HasAttribute(const UnicodeString &AName, TVnDOMSelectOptions AOptions) {
  return FindAttribute(AName, AOptions) != nullptr;
}

bool TVnDOMElement::HasAttribute(const UnicodeString &ANamespaceURI, const UnicodeString &AName) {
  return FindAttribute(ANamespaceURI, AName) != nullptr;
}

TVnDOMNode *TVnDOMElement::NodeByName(TVnDOMNodeListBase *AList, const UnicodeString &AName,
                                      TVnDOMSelectOptions AOptions, TClass AClass) {
  TVnDOMSelectOptions find = AOptions;
  find >> soCreate;
  if (TVnDOMNode *node = AList->Find(AName, find)) return node;
  if (!AOptions.Contains(soCreate)) return nullptr;
  if (!AClass) throw Exception(dom::cNodeClassRequired);
  TVnDOMNode *node = dom::MakeNode(AClass);
  try {
    AddChild(node, nullptr, rdpAfter);
  } catch (...) {
    if (!node->GetParent()) node->Free();
    throw;
  }
  node->SetQualifiedName(AName);
  return node;
}

TVnDOMNode *TVnDOMElement::NodeByName(TVnDOMNodeListBase *AList, const UnicodeString &ANamespaceURI,
                                      const UnicodeString &AName, TVnDOMSelectCheckOption ACheck) {
  if (TVnDOMNode *node = AList->Find(ANamespaceURI, AName)) return node;
  switch (ACheck) {
    case coReturnNil:
      return nullptr;
    case coRaise:
      // The message names this element, not the name looked for.
      throw EVnDomNotFound(dom::cNoChildNS, {GetLocalName(), ANamespaceURI});
    case coCreate: {
      TVnDOMAttrList *scope = Scope();
      auto *decl =
          scope ? static_cast<TVnDOMAttribute *>(scope->FindNamespace(ANamespaceURI)) : nullptr;
      if (decl) {
        // The new element is named after this element, in the declared prefix.
        const UnicodeString prefix = decl->NamespacePrefix();
        return AddElement(prefix.empty() ? GetLocalName() : prefix + u':' + GetLocalName());
      }
      AddElement(ANamespaceURI, AName);
      return nullptr;
    }
  }
  return nullptr;
}

TVnDOMNode *TVnDOMElement::NodeByName(TVnDOMNodeListBase *AList, const UnicodeString &ANamespaceURI,
                                      const UnicodeString &AName, bool ACreate, TClass AClass) {
  UnicodeString prefix, local;
  const std::size_t colon = AName.find(u':');
  if (colon == UnicodeString::npos) {
    local = AName;
  } else {
    prefix.assign(AName, 0, colon);
    local.assign(AName, colon + 1);
  }
  if (TVnDOMNode *node = AList->Find(ANamespaceURI, local)) return node;
  if (!ACreate || !AClass) throw EVnDomNotFound(dom::cNoChildNS, {local, ANamespaceURI});
  TVnDOMChangeScope scope;
  TVnDOMNode *node = dom::MakeNode(AClass);
  node->FName = TVnDOMNameRef(TVnDOMName::Make(prefix, local));
  try {
    AddChild(node, nullptr, rdpAfter);
  } catch (...) {
    if (!node->GetParent()) node->Free();
    throw;
  }
  TVnDOMElement *declaring = nullptr;
  if (node->GetNodeType() == ntAttribute) {
    declaring = this;
  } else if (node->GetNodeType() == ntElement) {
    declaring = static_cast<TVnDOMElement *>(node);
  }
  TVnDOMAttrList *inScope = declaring ? declaring->Scope() : nullptr;
  if (declaring && !(inScope && inScope->FindNamespace(ANamespaceURI))) {
    auto *decl = New<TVnDOMAttribute>();
    if (node->GetNodeType() == ntAttribute) {
      declaring->AddChild(decl, node, rdpBefore);
    } else {
      declaring->AddChild(decl, nullptr, rdpLast);
    }
    decl->SetNodeValue(ANamespaceURI);
    decl->SetQualifiedName(dom::DeclarationName(prefix));
  }
  return node;
}

TVnDOMElement *TVnDOMElement::ElementByName(const UnicodeString &AName,
                                            TVnDOMSelectOptions AOptions, TClass AClass) {
  return static_cast<TVnDOMElement *>(
      NodeByName(GetElements(), AName, AOptions, AClass ? AClass : TVnDOMElement::StaticClass()));
}

TVnDOMElement *TVnDOMElement::ElementByName(const UnicodeString &ANamespaceURI,
                                            const UnicodeString &AName,
                                            TVnDOMSelectCheckOption ACheck) {
  return static_cast<TVnDOMElement *>(NodeByName(GetElements(), ANamespaceURI, AName, ACheck));
}

TVnDOMElement *TVnDOMElement::ElementByName(const UnicodeString &ANamespaceURI,
                                            const UnicodeString &AName, bool ACreate) {
  return static_cast<TVnDOMElement *>(
      NodeByName(GetElements(), ANamespaceURI, AName, ACreate, TVnDOMElement::StaticClass()));
}

TVnDOMAttribute *TVnDOMElement::AttributeByName(const UnicodeString &AName,
                                                TVnDOMSelectOptions AOptions, TClass AClass) {
  return static_cast<TVnDOMAttribute *>(NodeByName(
      GetAttributes(), AName, AOptions, AClass ? AClass : TVnDOMAttribute::StaticClass()));
}

TVnDOMAttribute *TVnDOMElement::AttributeByName(const UnicodeString &ANamespaceURI,
                                                const UnicodeString &AName) {
  return static_cast<TVnDOMAttribute *>(NodeByName(GetAttributes(), ANamespaceURI, AName, coRaise));
}

TVnDOMAttribute *TVnDOMElement::AttributeByName(const UnicodeString &ANamespaceURI,
                                                const UnicodeString &AName, bool ACreate) {
  return static_cast<TVnDOMAttribute *>(
      NodeByName(GetAttributes(), ANamespaceURI, AName, ACreate, TVnDOMAttribute::StaticClass()));
}

// --- plain attribute access

UnicodeString TVnDOMElement::GetAttribute(const UnicodeString &AName) {
  return AttributeByName(AName, {soCreate, soQualifiedName}, nullptr)->GetNodeValue();
}

void TVnDOMElement::SetAttribute(const UnicodeString &AName, const UnicodeString &AValue) {
  AttributeByName(AName, {soCreate, soQualifiedName}, nullptr)->SetNodeValue(AValue);
}

UnicodeString TVnDOMElement::GetAttributeNS(const UnicodeString &ANamespaceURI,
                                            const UnicodeString &AName) {
  return AttributeByName(ANamespaceURI, AName, false)->GetNodeValue();
}

void TVnDOMElement::SetAttributeNS(const UnicodeString &ANamespaceURI, const UnicodeString &AName,
                                   const UnicodeString &AValue) {
  AttributeByName(ANamespaceURI, AName, true)->SetNodeValue(AValue);
}

// --- navigation

TVnDOMElement *TVnDOMElement::FirstElement() {
  return static_cast<TVnDOMElement *>(GetElements()->First());
}

TVnDOMElement *TVnDOMElement::LastElement() {
  return static_cast<TVnDOMElement *>(GetElements()->Last());
}

TVnDOMAttribute *TVnDOMElement::FirstAttribute() {
  return static_cast<TVnDOMAttribute *>(GetAttributes()->First());
}

TVnDOMAttribute *TVnDOMElement::LastAttribute() {
  return static_cast<TVnDOMAttribute *>(GetAttributes()->Last());
}

TVnDOMElement *TVnDOMElement::ParentElement() const noexcept {
  // Unchecked: the parent of an element is an element or the document.
  return static_cast<TVnDOMElement *>(ParentNode());
}

TVnDOMElement *TVnDOMElement::NextElement() {
  TVnDOMNode *parent = ParentNode();
  if (!parent || parent->GetNodeType() != ntElement) return nullptr;
  return static_cast<TVnDOMElement *>(
      static_cast<TVnDOMElement *>(parent)->GetElements()->Next(this));
}

TVnDOMElement *TVnDOMElement::PreviousElement() {
  TVnDOMNode *parent = ParentNode();
  if (!parent || parent->GetNodeType() != ntElement) return nullptr;
  return static_cast<TVnDOMElement *>(
      static_cast<TVnDOMElement *>(parent)->GetElements()->Previous(this));
}

TVnDOMAttribute *TVnDOMElement::FindNamespace(const UnicodeString &AURI) {
  for (TVnDOMNode *n = this; n && n->GetNodeType() == ntElement; n = n->ParentNode()) {
    if (TVnDOMAttribute *a = static_cast<TVnDOMElement *>(n)->FindOwnNamespace(AURI)) return a;
  }
  return nullptr;
}

// --- namespaces

UnicodeString TVnDOMElement::GetNamespaceURI() {
  if (FNamespace) return FNamespace->GetNodeValue();
  if (FParent) return UnicodeString();
  return StoredNamespaceURI();
}

void TVnDOMElement::SetNamespaceURI(const UnicodeString &AURI) {
  if (!FParent) {
    SetStoredNamespaceURI(AURI);
    FNamespaceSet = true;
    return;
  }
  TVnDOMAttrList *scope = Scope();
  auto *d = scope ? static_cast<TVnDOMAttribute *>(scope->FindNamespace(AURI)) : nullptr;
  bool needed;
  if (d) {
    const bool isDefault = VnSameText(d->GetLocalName(), u"xmlns");
    needed = isDefault != GetPrefix().empty();
  } else {
    needed = FNamespaceSet;
  }
  if (!needed) return;
  TVnDOMChangeScope change;
  TVnDOMAttribute *decl =
      AttributeByName(dom::DeclarationName(GetPrefix()), {soCreate, soQualifiedName}, nullptr);
  decl->SetNodeValue(AURI);
  FNamespace = decl;
  ClearStoredNamespaceURI();
  FNamespaceSet = false;
}

void TVnDOMElement::SetPrefix(const UnicodeString &APrefix) {
  StorePrefix(APrefix);
  TVnDOMAttrList *scope = Scope();
  FNamespace = scope && scope->Count() > 0
                   ? static_cast<TVnDOMAttribute *>(
                         scope->Find(dom::DeclarationName(GetPrefix()), {soQualifiedName}))
                   : nullptr;
}

void TVnDOMElement::SetParentNode(TVnDOMObject *AParent) {
  const bool hadParent = FParent != nullptr;
  bool freshParent = !hadParent;
  if (!FDestroying) {
    if (FNamespace) {
      SetStoredNamespaceURI(FNamespace->GetNodeValue());
      FNamespaceSet = true;
      freshParent = true;
    } else if (hadParent && !AParent) {
      SetStoredNamespaceURI(GetNamespaceURI());
      FNamespaceSet = true;
    }
  }
  TVnDOMNode::SetParentNode(AParent);
  if (FDestroying) return;
  // A detached element must not keep pointers to the declarations of its old ancestors.
  if (hadParent && !AParent) RefreshNamespaces();
  TakeParentSettings(AParent, freshParent);
}

void TVnDOMElement::TakeParentSettings(TVnDOMObject *AParent, bool AFreshParent) {
  TVnDOMAttribute *space = FindOwnSpaceAttribute();
  if (space) {
    FPreserveSpace = VnSameText(space->GetStoredValue(), u"preserve");
    _SetPreseveSpace(FPreserveSpace);
  } else {
    const bool inherited = AParent && static_cast<TVnDOMNode *>(AParent)->GetNodeType() == ntElement
                               ? static_cast<TVnDOMElement *>(AParent)->FPreserveSpace
                               : DefaultPreserveCase;
    if (inherited != FPreserveSpace) {
      FPreserveSpace = inherited;
      _SetPreseveSpace(inherited);
    }
  }
  if (AFreshParent && AParent && !StoredNamespaceURI().empty())
    SetNamespaceURI(StoredNamespaceURI());
}

void TVnDOMElement::RefreshNamespaces() {
  RefreshElementNamespaces();
  TVnDOMNode::RefreshNamespaces();
}

void TVnDOMElement::RefreshElementNamespaces(TVnDOMAttrList **AScope) {
  if (TVnDOMAttrList *namespaces = NamespacesOrNil()) namespaces->Clear();
  FInheritScope = false;
  if (!FParent) {
    if (FNamespace && FNamespace->GetParent() != this) FNamespace = nullptr;
    if (AScope) *AScope = NamespacesOrNil();
    return;
  }
  TVnDOMAttrList *inherited = nullptr;
  bool resolve = true;
  TVnDOMAttribute *old = FNamespace;
  FNamespace = nullptr;
  TVnDOMNode *parent = ParentNode();
  if (parent->GetNodeType() == ntElement) {
    auto *p = static_cast<TVnDOMElement *>(parent);
    Integer steps = 0;
    inherited = p->Scope(&steps);
    if (inherited && inherited->Count() > 0) {
      bool declares = false;
      ForEachOfKind(0, [&](TVnDOMNode *n) {
        declares = declares || static_cast<TVnDOMAttribute *>(n)->IsNamespace();
      });
      // Sharing the parent's declarations costs a step up per level when they are looked up; so
      // that a look-up never climbs far, every so many levels an element keeps its own copy.
      if (declares || steps + 1 >= cScopeShareLimit) {
        GetNamespaces()->FOwnItems.Assign(inherited->FOwnItems);
      } else {
        FInheritScope = true;
      }
    }
    const UnicodeString &parentPrefix = p->GetPrefix();
    const UnicodeString &prefix = GetPrefix();
    // Equal text is the same prefix under any collation: only other text asks the collation.
    if (parentPrefix == prefix || GetCollation()->SameText(parentPrefix, prefix)) {
      FNamespace = p->FNamespace;
      resolve = false;
      if (FNamespace && GetPrefix().empty() && StoredNamespaceURI().empty()) {
        FNamespace = nullptr;
        SetNamespaceURI(UnicodeString());
      }
    }
  }
  ForEachOfKind(0, [&](TVnDOMNode *n) {
    auto *a = static_cast<TVnDOMAttribute *>(n);
    if (!a->IsNamespace()) return;
    if (a == old) {
      FNamespace = a;
      FNamespaceSet = true;
      SetStoredNamespaceURI(a->GetNodeValue());
    }
    TVnDOMAttrList *scope = GetNamespaces();
    if (TVnDOMNode *same = scope->Find(a->GetQualifiedName(), {soQualifiedName})) {
      scope->Delete(same);
      if (same == FNamespace) {
        FNamespace = nullptr;
        resolve = true;
      }
    }
    scope->Add(a, rdpLast);
  });
  if (resolve) SetPrefix(GetPrefix());
  if (AScope) *AScope = FInheritScope ? inherited : NamespacesOrNil();
}

// --- values

UnicodeString TVnDOMElement::GetNodeValue() {
  UnicodeString r;
  ForEachOfKind(2, [&](TVnDOMNode *n) {
    if (n->GetNodeType() != ntComment) r += n->GetNodeValue();
  });
  return r;
}

UnicodeString TVnDOMElement::GetText() {
  // Each element's own character data, then the text of its child elements: the elements in
  // document order, each adding its character data. An element of an application's class adds
  // its own GetText.
  struct TFrame {
    const TVnDOMElement *Element;
    std::size_t Pos;
  };
  UnicodeString r;
  const auto addOwn = [&r](const TVnDOMElement *AElement) {
    AElement->ForEachOfKind(2, [&r](TVnDOMNode *n) { r += n->GetNodeValue(); });
  };
  addOwn(this);
  dom::TWalkStack<TFrame> frames;
  frames.Push({this, 0});
  while (!frames.Empty()) {
    TFrame &f = frames.Top();
    TVnDOMNode *child = f.Element->NextOfKind(1, f.Pos);
    if (!child) {
      frames.Pop();
    } else if (child->ClassType() == TVnDOMElement::StaticClass()) {
      auto *e = static_cast<TVnDOMElement *>(child);
      addOwn(e);
      frames.Push({e, 0});
    } else {
      r += child->GetText();
    }
  }
  return r;
}

void TVnDOMElement::RemoveCharNodes(bool AKeepCDATA) {
  if (CountOfKind(2) == 0) return;
  GetCharNodes();
  for (Integer i = FKindLists->CharNodes->Count() - 1; i >= 0; --i) {
    if (i >= FKindLists->CharNodes->Count()) continue;
    TVnDOMNode *n = FKindLists->CharNodes->FOwnItems[static_cast<std::size_t>(i)];
    if (AKeepCDATA && n->GetNodeType() == ntCDATA) continue;
    RemoveChild(n);
  }
}

void TVnDOMElement::SetNodeValue(const UnicodeString &AValue) {
  TVnDOMChangeScope scope;
  RemoveCharNodes(true);
  auto *t = New<TVnDOMText>();
  AddChild(t, nullptr, rdpLast);
  t->SetNodeValue(AValue);
}

void TVnDOMElement::SetNodeValueEx(const UnicodeString &AValue) {
  TVnDOMChangeScope scope;
  RemoveCharNodes(true);
  auto *t = New<TVnDOMText>();
  AddChild(t, nullptr, rdpLast);
  t->SetStoredValue(AValue);
}

UnicodeString TVnDOMElement::GetInnerXML() {
  TVnStringStream s(CP_UTF16, 0);
  ForEachOfKind(1, [&](TVnDOMNode *e) { e->SaveToStream(&s, CP_UTF16, false); });
  return s.GetWString();
}

UnicodeString TVnDOMElement::GetFormattedInnerXML() {
  TVnStringStream s(CP_UTF16, 0);
  ForEachOfKind(1, [&](TVnDOMNode *e) { e->SaveToStream(&s, CP_UTF16, true); });
  return s.GetWString();
}

void TVnDOMElement::SetInnerXML(const UnicodeString &AXML) {
  TVnDOMChangeScope scope;
  if (CountOfKind(1) > 0) {
    GetElements();
    for (Integer i = FKindLists->Elements->Count() - 1; i >= 0; --i) {
      if (i < FKindLists->Elements->Count())
        RemoveChild(FKindLists->Elements->FOwnItems[static_cast<std::size_t>(i)]);
    }
  }
  if (AXML.empty()) return;
  TVnStringStream s(AXML);
  s.SetPosition(0);
  LoadFromStream(&s, CP_UTF16);
}

Integer TVnDOMElement::GetCDATACount() const noexcept {
  Integer n = 0;
  ForEachOfKind(2, [&](TVnDOMNode *c) { n += c->GetNodeType() == ntCDATA ? 1 : 0; });
  return n;
}

TVnDOMCDATA *TVnDOMElement::GetCDATA(Integer AIndex) {
  Integer n = 0;
  TVnDOMCDATA *found = nullptr;
  ForEachOfKind(2, [&](TVnDOMNode *c) {
    if (c->GetNodeType() != ntCDATA || found) return;
    if (n == AIndex) {
      found = static_cast<TVnDOMCDATA *>(c);
    } else {
      ++n;
    }
  });
  if (found) return found;
  if (AIndex == n) return AddCDATA(UnicodeString());
  throw EListError(dom::cNoCDATA, {AIndex});
}

Variant TVnDOMElement::GetChildElementValue(const Variant &AIndex) {
  TVnDOMNode *n = GetElements()->GetItem(AIndex);
  if (!n) return Null();
  return As<TVnDOMElement>(n)->GetAsVariant();
}

void TVnDOMElement::NormalizeTextNodes() {
  if (CountOfKind(2) <= 1) return;
  TVnDOMChangeScope scope;
  const auto count = [this] { return static_cast<Integer>(FChildren.size()); };
  for (Integer i = 0; i + 1 < count(); ++i) {
    for (;;) {
      if (i + 1 >= count()) break;
      TVnDOMNode *a = FChildren[static_cast<std::size_t>(i)];
      TVnDOMNode *b = FChildren[static_cast<std::size_t>(i + 1)];
      if (a->GetNodeType() != ntText || b->GetNodeType() != ntText) break;
      a->SetNodeValue(a->GetNodeValue() + b->GetNodeValue());
      RemoveChild(b);
    }
  }
}

// --- typed access

bool TVnDOMElement::SchemaInstanceOn() {
  return FDOMDocument && FDOMDocument->Is<TVnDOMDocument>() &&
         static_cast<TVnDOMDocument *>(FDOMDocument)->GetUseSchemaInstance();
}

bool TVnDOMElement::GetAsBoolean() {
  return VnXMLToBool(GetNodeValue());
}

TDateTime TVnDOMElement::GetAsDateTime() {
  return VnXMLToDateTimeDef(GetNodeValue(), TDateTime(0.0), tzfNone);
}

Double TVnDOMElement::GetAsDouble() {
  return VnXMLToDoubleDef(GetNodeValue(), 0.0);
}

Int64 TVnDOMElement::GetAsInt64() {
  return VnXMLToInt64Def(GetNodeValue(), 0);
}

Integer TVnDOMElement::GetAsInteger() {
  return VnXMLToIntDef(GetNodeValue(), 0);
}

AnsiString TVnDOMElement::GetAsAnsiString() {
  return AnsiString(TVnEncoding::ConvertW(GetNodeValue(), 0), 0);
}

Variant TVnDOMElement::GetAsVariant() {
  if (FindAttribute(dom::cXSINamespace, u"nil")) return Null();
  TVnDOMAttribute *type = FindAttribute(dom::cXSINamespace, u"type");
  const bool hasChars = CountOfKind(2) > 0;
  if (!type) return hasChars ? Variant(GetNodeValue()) : Null();
  const UnicodeString name = type->GetNodeValue();
  if (name.empty()) throw EVnDomException(dom::cBadTypeInfo);
  // A name that is not registered gives varUnknown and goes on to the steps below; a prefixed
  // name is tried again without its prefix.
  TVarType vt = TVnTypes::GetVarType(name, tntSchemaName, varUnknown);
  const std::size_t colon = name.find(u':');
  if (vt == varUnknown && colon != UnicodeString::npos) {
    vt = TVnTypes::GetVarType(UnicodeStringView(name).substr(colon + 1), tntSchemaName, varUnknown);
  }
  if (vt == varEmpty || IsStringVarType(vt)) return Variant(GetNodeValue());
  if (name == u"time" || name.find(u":time") != UnicodeString::npos) {
    return Variant(VnXMLToTime(GetNodeValue(), tzfNone));
  }
  if (vt == 73 || vt == 36 || vt == 8192) return Variant(GetNodeValue());
  if (LowerCase(name).find(u"base64binary") != UnicodeString::npos) {
    return Variant(GetAsAnsiString());
  }
  return VnXMLToVariant(GetNodeValue(), vt);
}

TValue TVnDOMElement::GetAsValue() {
  if (FindAttribute(dom::cXSINamespace, u"nil")) return TValue();
  const TVnTypeInfo *info = nullptr;
  if (TVnDOMAttribute *type = FindAttribute(dom::cXSINamespace, u"type")) {
    const UnicodeString name = type->GetNodeValue();
    if (name.empty()) throw EVnDomException(dom::cBadTypeInfo);
    info = TVnTypes::GetTypeInfo(name, tntSchemaName);
    const std::size_t colon = name.find(u':');
    if (!info && colon != UnicodeString::npos)
      info = TVnTypes::GetTypeInfo(UnicodeStringView(name).substr(colon + 1), tntSchemaName);
  }
  // Without text the value stays empty: the reading of a "value" attribute is keyed to main
  // kinds that the main-kind enumeration does not have.
  if (CountOfKind(2) == 0) return TValue();
  if (info) return VnXMLToValue(GetNodeValue(), info->Handle);
  return TValue(GetNodeValue());
}

void TVnDOMElement::SetAsBoolean(bool AValue) {
  if (SchemaInstanceOn()) return SetAsVariant(Variant(AValue));
  SetNodeValueEx(VnBoolToXML(AValue));
}

void TVnDOMElement::SetAsDateTime(TDateTime AValue) {
  if (SchemaInstanceOn()) return SetAsVariant(Variant(AValue));
  SetNodeValueEx(VnDateTimeToXML(AValue, tzfNone));
}

void TVnDOMElement::SetAsDouble(Double AValue) {
  if (SchemaInstanceOn()) return SetAsVariant(Variant(AValue));
  SetNodeValueEx(VnDoubleToXML(AValue));
}

void TVnDOMElement::SetAsInt64(Int64 AValue) {
  if (SchemaInstanceOn()) return SetAsVariant(Variant(AValue));
  SetNodeValueEx(VnInt64ToXML(AValue));
}

void TVnDOMElement::SetAsInteger(Integer AValue) {
  if (SchemaInstanceOn()) return SetAsVariant(Variant(AValue));
  SetNodeValueEx(VnIntToXML(AValue));
}

void TVnDOMElement::SetAsString(const UnicodeString &AValue) {
  if (SchemaInstanceOn()) return SetAsVariant(Variant(AValue));
  SetNodeValueEx(VnStrToXML(AValue, true, true));
}

void TVnDOMElement::SetAsAnsiString(const AnsiString &AValue) {
  SetAsString(TVnEncoding::ConvertA(AnsiString(AValue, 0)));
}

bool TVnDOMElement::SchemaPrefixes(UnicodeString &AInstance, UnicodeString &ASchema) {
  AInstance.clear();
  ASchema.clear();
  if (!SchemaInstanceOn()) return false;
  if (TVnDOMAttrList *scope = Scope()) {
    if (auto *d = static_cast<TVnDOMAttribute *>(scope->FindNamespace(dom::cXSINamespace))) {
      AInstance = d->NamespacePrefix() + u':';
    }
    if (auto *d = static_cast<TVnDOMAttribute *>(scope->FindNamespace(dom::cXSDNamespace))) {
      ASchema = d->NamespacePrefix();
    }
  }
  return !AInstance.empty() && !ASchema.empty();
}

void TVnDOMElement::SetAsVariant(const Variant &AValue) {
  UnicodeString instance, schema;
  TVnDOMChangeScope change;
  if (!SchemaPrefixes(instance, schema)) {
    SetNodeValueEx(VnVariantToXML(AValue));
    return;
  }
  if (VarIsEmpty(AValue) || VarIsNull(AValue)) {
    SetAttribute(instance + u"nil", u"true");
    SetNodeValue(UnicodeString());
    return;
  }
  RemoveAttribute(instance + u"nil");
  if (IsStringVarType(AValue.VType())) {
    SetNodeValue(AValue.AsString());
  } else {
    SetNodeValueEx(VnVariantToXML(AValue));
  }
  SetAttribute(instance + u"type", TVnTypes::VarTypeInfo(AValue)->SchemaName(schema));
}

void TVnDOMElement::SetAsValue(const TValue &AValue) {
  UnicodeString instance, schema;
  TVnDOMChangeScope change;
  if (!SchemaPrefixes(instance, schema)) {
    SetNodeValueEx(VnValToXML(AValue));
    return;
  }
  if (AValue.GetIsEmpty()) {
    SetAttribute(instance + u"nil", u"true");
    SetNodeValue(UnicodeString());
    return;
  }
  RemoveAttribute(instance + u"nil");
  const TVnTypeInfo *info = AValue.VnTypeInfo();
  if (info && info->GetMainTypeKind() == mtkString)
    SetNodeValue(AValue.ToWideString(true, {}));
  else
    SetNodeValueEx(VnValToXML(AValue));
  if (info) SetAttribute(instance + u"type", info->SchemaName(schema));
}

// --- element lists

void TVnDOMElement::CollectElements(TVnDOMElementList *AList, const UnicodeString &AURI,
                                    const UnicodeString &ALocalName, bool ARecursive) {
  const auto take = [&](TVnDOMElement *AElement) {
    TVnXPathCollationClass c = AElement->GetCollation();
    if (c->SameText(AElement->GetNamespaceURI(), AURI) &&
        c->SameText(AElement->GetLocalName(), ALocalName)) {
      AList->Add(AElement, rdpLast);
    }
  };
  take(this);
  if (!ARecursive) return;
  // The descendant elements in document order.
  struct TFrame {
    TVnDOMElement *Element;
    std::size_t Pos;
  };
  dom::TWalkStack<TFrame> frames;
  frames.Push({this, 0});
  while (!frames.Empty()) {
    TFrame &f = frames.Top();
    auto *e = static_cast<TVnDOMElement *>(f.Element->NextOfKind(1, f.Pos));
    if (!e) {
      frames.Pop();
      continue;
    }
    take(e);
    frames.Push({e, 0});
  }
}

TVnDOMElementList *TVnDOMElement::CreateElementListByName(const UnicodeString &AQualifiedName,
                                                          bool ARecursive) {
  UnicodeString prefix, local;
  const std::size_t colon = AQualifiedName.find(u':');
  if (colon == UnicodeString::npos) {
    local = AQualifiedName;
  } else {
    prefix.assign(AQualifiedName, 0, colon);
    local.assign(AQualifiedName, colon + 1);
  }
  // The prefix stands where the URI would: it is compared against the namespace URI.
  return CreateElementList(prefix, local, ARecursive);
}

TVnDOMElementList *TVnDOMElement::CreateElementList(const UnicodeString &ANamespaceURI,
                                                    const UnicodeString &ALocalName,
                                                    bool ARecursive) {
  auto *list = New<TVnDOMElementList>();
  try {
    CollectElements(list, ANamespaceURI, ALocalName, ARecursive);
  } catch (...) {
    list->Free();
    throw;
  }
  return list;
}

// --- preserve space

void TVnDOMElement::SetPreseveSpace(bool AValue) {
  FPreserveSpace = AValue;
  AttributeByName(u"xml:space", {soCreate, soQualifiedName}, nullptr)
      ->SetNodeValue(AValue ? u"preserve" : u"default");
  _SetPreseveSpace(AValue);
}

void TVnDOMElement::_SetPreseveSpace(bool AValue) {
  // Down the subtree in document order; an element with a space setting of its own keeps it, and
  // so do its descendants.
  struct TFrame {
    TVnDOMElement *Element;
    std::size_t Pos;
  };
  if (FindOwnSpaceAttribute()) return;
  FPreserveSpace = AValue;
  dom::TWalkStack<TFrame> frames;
  frames.Push({this, 0});
  while (!frames.Empty()) {
    TFrame &f = frames.Top();
    auto *e = static_cast<TVnDOMElement *>(f.Element->NextOfKind(1, f.Pos));
    if (!e) {
      frames.Pop();
      continue;
    }
    if (e->FindOwnSpaceAttribute()) continue;
    e->FPreserveSpace = AValue;
    frames.Push({e, 0});
  }
}

// --- other

TVnDOMNode *TVnDOMElement::CreateClone() {
  return TVnDOMNode::CreateClone();
}

UnicodeString TVnDOMElement::NodePathStep(bool ALocalName, const UnicodeString &AKeyAttribute) {
  UnicodeString step = TVnDOMNode::NodePathStep(ALocalName, AKeyAttribute);
  if (AKeyAttribute.empty()) return step;
  TVnDOMSelectOptions options{soCaseInsensitive};
  if (ALocalName) options << soLocalName;
  if (TVnDOMAttribute *a = FindAttribute(AKeyAttribute, options)) {
    step += u"[@";
    step += AKeyAttribute;
    step += u"=\"";
    step += a->GetNodeValue();
    step += u"\"]";
  }
  return step;
}

TVnDOMObjectImpl *TVnDOMElement::CreateDOMImpl(TVnDOMObject *AOwner) {
  return New<TVnDOMElementImpl>(AOwner);
}

}  // namespace vn
