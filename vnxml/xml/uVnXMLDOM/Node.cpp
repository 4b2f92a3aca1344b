// TVnDOMNode: names, children, values, paths, copies and the destruction of a node.
#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "vnxml/xml/uVnXMLDOM/Internal.h"

namespace vn {

struct TVnDOMNode::TRare {
  UnicodeString NamespaceURI;
  TVnDOMParseError Warning;
  TVnDOMParseError Error;
  TVnDOMParseError FatalError;
  TVnDOMNodeList *ChildList = nullptr;
  // The document whose root this node was until it left; told when the node is destroyed.
  TVnDOMDocument *RootOf = nullptr;
};

// --- names

TVnDOMName::TVnDOMName(UnicodeStringView APrefix, UnicodeStringView ALocalName, bool AFixed)
    : FFixed(AFixed),
      FIsNamespace(TVnDOMNode::IsNamespaceName(APrefix, ALocalName)),
      FPrefix(APrefix),
      FLocalName(ALocalName) {
  if (!FPrefix.empty()) {
    FQualifiedName.reserve(FPrefix.size() + 1 + FLocalName.size());
    FQualifiedName += FPrefix;
    FQualifiedName += u':';
    FQualifiedName += FLocalName;
  }
}

TVnDOMName *TVnDOMName::Make(UnicodeStringView APrefix, UnicodeStringView ALocalName) {
  if (APrefix.empty() && ALocalName.empty()) return Empty();
  // A program that builds nodes one by one tends to give a few names over and over: the last
  // records made on the thread are handed out again, which also lets the nodes share them as
  // the nodes of a load do. Records never change, so sharing one is safe.
  struct TRecent {
    TVnDOMName *Items[4] = {};
    unsigned Next = 0;
    ~TRecent() {
      for (TVnDOMName *n : Items)
        if (n) n->Release();
    }
  };
  thread_local TRecent recent;
  for (TVnDOMName *n : recent.Items) {
    if (n && n->FLocalName == ALocalName && n->FPrefix == APrefix) {
      n->AddRef();
      return n;
    }
  }
  auto *made = new TVnDOMName(APrefix, ALocalName, false);
  TVnDOMName *&slot = recent.Items[recent.Next++ % 4];
  if (slot) slot->Release();
  made->AddRef();
  slot = made;
  return made;
}

TVnDOMName *TVnDOMName::MakeQualified(UnicodeStringView AQualifiedName) {
  const std::size_t colon = AQualifiedName.find(u':');
  if (colon == UnicodeStringView::npos) return Make(UnicodeStringView(), AQualifiedName);
  return Make(AQualifiedName.substr(0, colon), AQualifiedName.substr(colon + 1));
}

bool TVnDOMName::IsSpaceName(TVnXPathCollationClass ACollation) const {
  static constexpr char16_t cSpaceName[] = u"xml:space";
  int shift;
  if (ACollation == TVnXPathCollationASCIICI::StaticClass())
    shift = 0;
  else if (ACollation == TVnXPathCollationCodepoint::StaticClass())
    shift = 2;
  else
    return ACollation->SameText(cSpaceName, QualifiedName());
  const std::uint8_t known = std::uint8_t(1u << shift), yes = std::uint8_t(2u << shift);
  const std::uint8_t cached = FSpaceName.load(std::memory_order_relaxed);
  if (cached & known) return (cached & yes) != 0;
  const bool is = ACollation->SameText(cSpaceName, QualifiedName());
  FSpaceName.fetch_or(is ? std::uint8_t(known | yes) : known, std::memory_order_relaxed);
  return is;
}

TVnDOMName *TVnDOMName::Empty() noexcept {
  static TVnDOMName *const none = new TVnDOMName(UnicodeStringView(), UnicodeStringView(), true);
  return none;
}

TVnDOMName *TVnDOMName::Fixed(TVnDOMNodeType AKind) noexcept {
  // A record each, made once and never freed.
  static TVnDOMName *const text = new TVnDOMName(UnicodeStringView(), u"#text", true);
  static TVnDOMName *const cdata = new TVnDOMName(UnicodeStringView(), u"#cdata-section", true);
  static TVnDOMName *const comment = new TVnDOMName(UnicodeStringView(), u"#comment", true);
  static TVnDOMName *const document = new TVnDOMName(UnicodeStringView(), u"#document", true);
  switch (AKind) {
    case ntText:
      return text;
    case ntCDATA:
      return cdata;
    case ntComment:
      return comment;
    case ntDocument:
      return document;
    default:
      return Empty();
  }
}

// --- the children array

Integer TVnDOMNodeArray::IndexOf(const TVnDOMNode *ANode) const noexcept {
  const std::size_t n = size();
  for (std::size_t i = 0; i < n; ++i) {
    if (FBlock->Items[i] == ANode) return static_cast<Integer>(i);
  }
  return -1;
}

namespace {

std::size_t BlockBytes(std::size_t ACapacity) noexcept {
  return 2 * sizeof(std::uint32_t) + ACapacity * (sizeof(TVnDOMNode *) + sizeof(TVnDOMNodeType));
}

}  // namespace

void TVnDOMNodeArray::Reserve(std::size_t ACapacity) {
  const std::size_t bytes = BlockBytes(ACapacity);
  // A load's arrays join its nodes on the pages (no heap call to make or free them); an array
  // that grows beyond a slot, or one made outside a load, lives on the heap.
  auto *block = static_cast<TBlock *>(TVnNodePages::CutIfLoading(bytes));
  std::uint32_t where = cOnPage;
  if (!block) {
    where = 0;
    if (!FBlock || !(FBlock->Capacity & cOnPage)) {
      // From the heap to the heap: the block grows in place where the heap can; the kinds then
      // move up behind the larger room of items.
      const std::size_t oldRoom = FBlock ? Room() : 0;
      block = static_cast<TBlock *>(std::realloc(FBlock, bytes));
      if (!block) throw std::bad_alloc();
      if (!FBlock) block->Count = 0;
      block->Capacity = static_cast<std::uint32_t>(ACapacity);
      FBlock = block;
      if (block->Count) std::memmove(KindsAt(ACapacity), KindsAt(oldRoom), block->Count);
      return;
    }
    block = static_cast<TBlock *>(std::malloc(bytes));
    if (!block) throw std::bad_alloc();
  }
  // A new block takes the items over from the old one, which goes back where it came from.
  block->Count = 0;
  if (FBlock) {
    const std::size_t n = FBlock->Count;
    block->Count = FBlock->Count;
    std::memcpy(block->Items, FBlock->Items, n * sizeof(TVnDOMNode *));
    std::memcpy(block->Items + ACapacity, KindsAt(Room()), n);
    Clear();
  }
  block->Capacity = static_cast<std::uint32_t>(ACapacity) | where;
  FBlock = block;
}

void TVnDOMNodeArray::Insert(std::size_t AIndex, TVnDOMNode *ANode) {
  const std::size_t n = size();
  if (!FBlock || n == Room()) {
    if (n >= 0x7FFFFFFFu) throw std::bad_alloc();
    // A text or an element that comes first is often the only child (an element that holds a
    // value, a step of a path just created): one item, whose block of 8 + 9 bytes takes a page
    // slot of 32 bytes, page word included, or a heap block of 32. An attribute that comes first
    // gets two items (a slot or heap block of 48): an attribute and a text, or two attributes.
    // Then 3 from one, and from more the room about doubles (6, 14, ...; 8, 18, ...). A load
    // cuts a grown block where it stands in the text: growing at the first child after two
    // attributes puts an element's block in front of its content, where a walk reads it first,
    // not behind the content's first subtree (measured: a fifth slower for "//x" on a large
    // document of such elements).
    if (n == 0)
      Reserve(ANode->GetNodeType() == ntAttribute ? 2 : 1);
    else
      Reserve(n == 1 ? 3 : 2 * n + 2);
  }
  TVnDOMNode **items = FBlock->Items;
  TVnDOMNodeType *kinds = KindsAt(Room());
  if (AIndex < n) {
    std::memmove(items + AIndex + 1, items + AIndex, (n - AIndex) * sizeof(*items));
    std::memmove(kinds + AIndex + 1, kinds + AIndex, n - AIndex);
  }
  items[AIndex] = ANode;
  kinds[AIndex] = ANode->GetNodeType();
  ++FBlock->Count;
}

void TVnDOMNodeArray::Erase(std::size_t AIndex) noexcept {
  TVnDOMNode **items = FBlock->Items;
  TVnDOMNodeType *kinds = KindsAt(Room());
  const std::size_t n = FBlock->Count;
  std::memmove(items + AIndex, items + AIndex + 1, (n - AIndex - 1) * sizeof(*items));
  std::memmove(kinds + AIndex, kinds + AIndex + 1, n - AIndex - 1);
  --FBlock->Count;
}

void TVnDOMNodeArray::Clear() noexcept {
  if (FBlock && (FBlock->Capacity & cOnPage))
    TVnNodePages::Release(FBlock, BlockBytes(FBlock->Capacity & ~cOnPage));
  else
    std::free(FBlock);
  FBlock = nullptr;
}

void TVnDOMNodeArray::Assign(const TVnDOMNodeArray &ASource) {
  if (&ASource == this) return;
  if (ASource.empty()) {
    Clear();
    return;
  }
  const std::size_t n = ASource.size();
  if (!FBlock || Room() < n) Reserve(n);
  std::memcpy(FBlock->Items, ASource.FBlock->Items, n * sizeof(TVnDOMNode *));
  std::memcpy(KindsAt(Room()), ASource.Kinds(), n);
  FBlock->Count = static_cast<std::uint32_t>(n);
}

namespace {

const TVnDOMParseError &NoEvent() noexcept {
  static const TVnDOMParseError e;
  return e;
}

}  // namespace

TVnDOMNode::TVnDOMNode() = default;

TVnDOMNode::~TVnDOMNode() {
  // The children are gone after a destruction through Free; whatever the array still holds
  // stays alive, no longer listed here.
  for (TVnDOMNode *child : FChildren) --child->FChildListRefs;
  if (FRare) {
    delete FRare->ChildList;
    if (FRare->RootOf) FRare->RootOf->FRootNode = nullptr;
  }
}

TVnDOMDocument *TVnDOMNode::DepartedRootOf() const noexcept {
  return FRare ? FRare->RootOf : nullptr;
}

void TVnDOMNode::SetDepartedRootOf(TVnDOMDocument *ADocument) {
  if (FRare || ADocument) Rare().RootOf = ADocument;
}

TVnDOMNode::TRare &TVnDOMNode::Rare() {
  if (!FRare) FRare = std::make_unique<TRare>();
  return *FRare;
}

const UnicodeString &TVnDOMNode::RareNamespaceURI() const noexcept {
  return FRare->NamespaceURI;
}

void TVnDOMNode::SetStoredNamespaceURI(const UnicodeString &AURI) {
  if (FRare || !AURI.empty()) Rare().NamespaceURI = AURI;
}

void TVnDOMNode::ClearStoredNamespaceURI() noexcept {
  if (FRare) FRare->NamespaceURI.clear();
}

// Inline here, where every caller is: most nodes are no leaves, and only the kind is read then.
inline void TVnDOMNode::NoteIfOddLeaf() const noexcept {
  if (!dom::IsPlainLeafKind(FNodeType)) return;
  if (!FChildren.empty() || (FName.Get() != TVnDOMName::Fixed(FNodeType) &&
                             GetQualifiedName() != TVnDOMName::Fixed(FNodeType)->QualifiedName()))
    dom::gOddLeaves.store(true, std::memory_order_relaxed);
}

void TVnDOMNode::ChildInsert(std::size_t AIndex, TVnDOMNode *ANode) {
  // A leaf that takes a child, or one that comes in with children or a name of its own (a
  // class of an application's may set any name), ends the walks' passing over leaves.
  if (dom::IsPlainLeafKind(FNodeType)) dom::gOddLeaves.store(true, std::memory_order_relaxed);
  ANode->NoteIfOddLeaf();
  if (!FAttributesMixed) {
    // An attribute behind another child, or another child before an attribute, mixes them.
    const std::size_t n = FChildren.size();
    const TVnDOMNodeType *kinds = FChildren.Kinds();
    FAttributesMixed = ANode->FNodeType == ntAttribute
                           ? AIndex > 0 && kinds[AIndex - 1] != ntAttribute
                           : AIndex < n && kinds[AIndex] == ntAttribute;
  }
  FChildren.Insert(AIndex, ANode);
  ++ANode->FChildListRefs;
}

void TVnDOMNode::AddToChildren(TVnDOMNode *ANode, TVnDOMNode *ARefNode, TVnDOMPosition APosition) {
  TVnDOMNodeListBase::CheckInsert(this, ANode);
  ChildInsert(static_cast<std::size_t>(TVnDOMNodeListBase::PlaceOf(FChildren, ARefNode, APosition)),
              ANode);
}

void TVnDOMNode::ChildErase(std::size_t AIndex) noexcept {
  TVnDOMNode *node = FChildren[AIndex];
  FChildren.Erase(AIndex);
  --node->FChildListRefs;
}

void TVnDOMNode::BeforeDestruction() {
  BeginDestruction();
  Clear();
  EndDestruction();
}

void TVnDOMNode::BeginDestruction() {
  // The object's own count is that of its owners.
  if ((FDOMImpl && FDOMImpl->RefCount() > 0) || FRefCount > 0) {
    throw Exception(dom::cRefCountNotZero, {ClassName()});
  }
  // A node in a tree is listed by its parent; any other listing would be left dangling.
  if (FChildListRefs > (FParent ? 1 : 0)) throw EVnDomException(dom::cStillListed, {ClassName()});
  FDestroying = true;
}

void TVnDOMNode::EndDestruction() {
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
  StorePrefix(APrefix);
}

void TVnDOMNode::SetQualifiedName(const UnicodeString &AName) {
  AdoptName(TVnDOMName::MakeQualified(AName));
}

void TVnDOMNode::AdoptName(TVnDOMName *AName) {
  FName = TVnDOMNameRef(AName);
  NoteIfOddLeaf();
  // The record lives while the node holds it, so its prefix can be passed by reference.
  SetPrefix(AName->Prefix());
}

void TVnDOMNode::StorePrefix(const UnicodeString &APrefix) {
  // AdoptName passes the record's own prefix.
  if (&APrefix == &FName->Prefix() || APrefix == FName->Prefix()) return;
  FName = TVnDOMNameRef(TVnDOMName::Make(APrefix, FName->LocalName()));
  NoteIfOddLeaf();
}

void TVnDOMNode::StoreLocalName(const UnicodeString &ALocalName) {
  if (ALocalName == FName->LocalName()) return;
  FName = TVnDOMNameRef(TVnDOMName::Make(FName->Prefix(), ALocalName));
  NoteIfOddLeaf();
}

void TVnDOMNode::SetInnerXML(const UnicodeString &) {
  throw EVnDomNotSupported(dom::cSetInnerXML);
}

void TVnDOMNode::RefreshNamespaces() {
  // The children, and theirs, in the order in which each refreshes its own children after
  // itself. The library's classes are refreshed here; a node of an application's class gets the
  // virtual call, which refreshes its own subtree.
  struct TFrame {
    TVnDOMNode *Node;
    std::size_t Index;
  };
  dom::TWalkStack<TFrame> frames;
  frames.Push({this, 0});
  while (!frames.Empty()) {
    TFrame &f = frames.Top();
    // The count is read at every step: a refresh may add a declaration to its own element.
    if (f.Index >= f.Node->FChildren.size()) {
      frames.Pop();
      continue;
    }
    TVnDOMNode *child = f.Node->FChildren[f.Index++];
    if (RefreshOwnNamespaces(child)) {
      if (!child->FChildren.empty()) frames.Push({child, 0});
    } else {
      child->RefreshNamespaces();
    }
  }
}

bool TVnDOMNode::RefreshOwnNamespaces(TVnDOMNode *ANode) {
  const TClass c = ANode->ClassType();
  if (c == TVnDOMElement::StaticClass()) {
    static_cast<TVnDOMElement *>(ANode)->RefreshElementNamespaces();
  } else if (c == TVnDOMAttribute::StaticClass()) {
    static_cast<TVnDOMAttribute *>(ANode)->LinkNamespace();
  } else if (!OwnLeafOrElement(ANode) && c != TVnDOMNode::StaticClass() &&
             c != TVnDOMDocument::StaticClass()) {
    return false;
  }
  return true;
}

void TVnDOMNode::_SaveToStream(TStream *, Word, bool, Integer &) {}

void TVnDOMNode::_SaveToJSONStream(TStream *, Word, bool, Integer &) {}

void TVnDOMNode::NormalizeTextNodes() {}

TVnDOMNode *TVnDOMNode::CreateClone() {
  TVnDOMNode *clone = dom::MakeNode(ClassType());
  try {
    clone->SetQualifiedName(GetQualifiedName());
  } catch (...) {
    clone->Free();
    throw;
  }
  return clone;
}

void TVnDOMNode::LoadFromStream(TStream *AStream, Word ACodePage) {
  dom::ParseInto(this, AStream, ACodePage);
}

void TVnDOMNode::SaveToJSONStream(TStream *AStream, Word ACodePage, bool AFormatted) {
  Integer level = 1;
  _SaveToJSONStream(AStream, ACodePage, AFormatted, level);
}

// --- children

void TVnDOMNode::Clear() {
  TVnDOMChangeScope scope;
  // Each frame is a node whose children go, from the last to the first, with the place reached.
  // A child of the library's own classes under a parent of those classes that is being
  // destroyed is destroyed here, its children on a frame of their own, in the order the calls
  // of Free would take; any other child gets the calls.
  struct TFrame {
    TVnDOMNode *Node;
    Integer Index;
    // Whether the node is of the library's own element and leaf classes, asked once per node.
    bool Own;
  };
  const auto last = [](const TVnDOMNode *ANode) {
    return static_cast<Integer>(ANode->FChildren.size()) - 1;
  };
  dom::TWalkStack<TFrame> frames;
  frames.Push({this, last(this), OwnLeafOrElement(this)});
  while (!frames.Empty()) {
    TFrame &f = frames.Top();
    TVnDOMNode *node = f.Node;
    if (f.Index < 0) {
      frames.Pop();
      if (node != this) {
        node->EndDestruction();
        delete node;
      }
      continue;
    }
    TVnDOMNode *child = node->FChildren[static_cast<std::size_t>(f.Index)];
    // A tree is mostly freed as a whole, from its last node to its first; a load made its nodes
    // one after the other on its pages, so the nodes visited next mostly lie in the memory just
    // below this one: that is fetched while this one goes. (A prefetch of an address that is not
    // mapped does nothing.)
    __builtin_prefetch(reinterpret_cast<const char *>(child) - 256);
    __builtin_prefetch(reinterpret_cast<const char *>(child) - 512);
    __builtin_prefetch(reinterpret_cast<const char *>(child) - 1024);
    bool descend = false;
    if (child->FreeToDestroy(1)) {
      // Only a node that is being destroyed, or a node listed here without being a child, gets
      // here; it leaves the list before it goes, so that no list names a destroyed node.
      node->ChildErase(static_cast<std::size_t>(f.Index));
      // Between the library's own element and leaf classes, taking a child out of a parent
      // that is being destroyed does no more than clear its parent link: do just that, instead
      // of the child calling back RemoveChild. Classes derived by applications get the calls.
      if (child->FParent == node && node->FDestroying && f.Own && OwnLeafOrElement(child)) {
        child->FParent = nullptr;
        child->BeginDestruction();
        descend = true;
      } else {
        child->Free();
      }
    } else if (child->FParent != node) {
      // Listed here, but added to another node since (an add does not take a node out of its
      // earlier parent): it belongs there, and only this listing goes.
      node->ChildErase(static_cast<std::size_t>(f.Index));
      node->ChildTakenOut(child);
    } else {
      node->RemoveChild(child);
    }
    // Removing one child may take out an earlier occurrence of it, so the place is brought back
    // within the list at every step.
    f.Index = std::min(f.Index - 1, last(node));
    if (descend) frames.Push({child, last(child), true});
  }
}

TVnDOMNode *dom::MakeNode(TClass AClass) {
  TObject *o = AClass->Create();
  if (!o->Is<TVnDOMNode>()) {
    o->Free();
    detail::RaiseInvalidCast();
  }
  return static_cast<TVnDOMNode *>(o);
}

bool TVnDOMNode::OwnClass(const TVnDOMNode *ANode) noexcept {
  const TClass c = ANode->ClassType();
  return OwnLeafOrElement(ANode) || c == TVnDOMDocument::StaticClass() ||
         c == TVnDOMNode::StaticClass();
}

void TVnDOMNode::AfterConstruction() {
  TVnDOMObject::AfterConstruction();
  const TClass c = ClassType();
  FOwnLeafOrElement = c == TVnDOMElement::StaticClass() || c == TVnDOMText::StaticClass() ||
                      c == TVnDOMAttribute::StaticClass() || c == TVnDOMComment::StaticClass() ||
                      c == TVnDOMCDATA::StaticClass() ||
                      c == TVnDOMProcessingInstruction::StaticClass();
}

void TVnDOMNode::CopyChildren(TVnDOMNode *ASource, TVnDOMNode *ADest) {
  // Each frame copies the children of one source node into its copy, in child order; the
  // children of a copied child come before its next sibling.
  struct TFrame {
    TVnDOMNode *Source;
    TVnDOMNode *Dest;
    std::size_t Index;
  };
  dom::TWalkStack<TFrame> frames;
  frames.Push({ASource, ADest, 0});
  while (!frames.Empty()) {
    TFrame &f = frames.Top();
    if (f.Index >= f.Source->FChildren.size()) {
      frames.Pop();
      continue;
    }
    TVnDOMNode *child = f.Source->FChildren[f.Index++];
    TVnDOMNode *copy = child->CreateClone();
    try {
      f.Dest->AddChild(copy, nullptr, rdpAfter);
    } catch (...) {
      if (!copy->FParent && copy->FChildListRefs == 0) copy->Free();
      throw;
    }
    if (!child->FChildren.empty()) frames.Push({child, copy, 0});
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
  TVnDOMNode *node = dom::MakeNode(AClass);
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
  AddToChildren(ANode, ARefNode, APosition);
  ANode->SetParentNode(this);
  return ANode;
}

void TVnDOMNode::RemoveChild(TVnDOMNode *ANode) {
  if (!ANode) return;
  TVnDOMChangeScope scope;
  ANode->SetParentNode(nullptr);
  // A node that no child list holds any more (Clear takes children out before it frees them)
  // needs no search.
  if (ANode->FChildListRefs > 0) {
    const Integer i = FChildren.IndexOf(ANode);
    if (i >= 0) ChildErase(static_cast<std::size_t>(i));
  }
  if (ANode->CanAutoDestroy()) ANode->Free();
}

TVnDOMNode *TVnDOMNode::AppendChild(TVnDOMNode *ANode) {
  return AddChild(ANode, nullptr, rdpLast);
}

bool TVnDOMNode::AppendFresh(TVnDOMNode *ATarget, TVnDOMNode *ANode) {
  // Only the library's own classes behave as this attach assumes: an application's class may
  // override what AppendChild calls.
  if (!OwnClassOfKind(ATarget, ntElement) || ATarget->FDestroying) return false;
  auto *parent = static_cast<TVnDOMElement *>(ATarget);
  if (ANode->FParent || ANode->FDOMImpl || ANode->FChildListRefs != 0 || ANode->FDestroying)
    return false;
  TVnDOMNode *document = parent->FDOMDocument;
  if (OwnClassOfKind(ANode, ntText)) {
    // A kind list, once built, must take the node too: the general path does that.
    if (!ANode->FChildren.empty() || parent->KindList(2)) return false;
    TVnDOMChangeScope scope;
    parent->ChildInsert(parent->FChildren.size(), ANode);
    // A text has nothing to refresh: the parent and the document are all it takes.
    ANode->FParent = parent;
    ANode->FDOMDocument = document;
    return true;
  }
  if (!OwnClassOfKind(ANode, ntElement) || parent->KindList(1)) return false;
  auto *e = static_cast<TVnDOMElement *>(ANode);
  for (TVnDOMNode *a : e->FChildren) {
    if (!OwnClassOfKind(a, ntAttribute) || a->FDOMImpl || !a->FChildren.empty()) return false;
  }
  TVnDOMChangeScope scope;
  // No cycle is possible: the element is new and holds nothing but attributes.
  parent->ChildInsert(parent->FChildren.size(), e);
  // From here on as SetParentNode on an element that had no parent.
  if (e->FNamespace) {
    e->SetStoredNamespaceURI(e->FNamespace->GetNodeValue());
    e->FNamespaceSet = true;
  }
  e->FParent = parent;
  if (document) {
    // The element and its attributes join the document; then the element refreshes its
    // declarations in scope and each attribute links its declaration, in child order.
    e->FDOMDocument = document;
    for (TVnDOMNode *a : e->FChildren) a->FDOMDocument = document;
    TVnDOMAttrList *scope;
    e->RefreshElementNamespaces(&scope);
    for (std::size_t i = 0; i < e->FChildren.size(); ++i)
      static_cast<TVnDOMAttribute *>(e->FChildren[i])->LinkNamespaceIn(scope);
  }
  e->TakeParentSettings(parent, true);
  return true;
}

void TVnDOMNode::AddFreshAttribute(TVnDOMElement *AElement, TVnDOMAttribute *AAttribute) {
  // Neither node belongs to a document yet, so the attach is the two links: the attribute's
  // declaration is linked when the element is attached.
  TVnDOMChangeScope scope;
  AElement->ChildInsert(AElement->FChildren.size(), AAttribute);
  AAttribute->FParent = AElement;
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
  step += ALocalName ? GetLocalName() : GetQualifiedName();
  return step;
}

// --- non-virtual operations

TVnDOMNodeList *TVnDOMNode::GetChildNodes() {
  TRare &rare = Rare();
  if (!rare.ChildList) {
    TVnDOMNodeList *list = New<TVnDOMNodeList>();
    SetListOwner(list, this);
    list->FChildList = true;
    list->FItems = &FChildren;
    rare.ChildList = list;
  }
  return rare.ChildList;
}

Integer TVnDOMNode::NodeCount() const noexcept {
  return static_cast<Integer>(FChildren.size());
}

TVnDOMNode *TVnDOMNode::InsertBefore(TVnDOMNode *ANode, TVnDOMNode *ARefNode) {
  return AddChild(ANode, ARefNode, rdpBefore);
}

TVnDOMNode *TVnDOMNode::NextSibling() {
  TVnDOMNode *parent = ParentNode();
  return parent ? TVnDOMNodeListBase::NextIn(parent->FChildren, this) : nullptr;
}

TVnDOMNode *TVnDOMNode::PreviousSibling() {
  TVnDOMNode *parent = ParentNode();
  return parent ? TVnDOMNodeListBase::PreviousIn(parent->FChildren, this) : nullptr;
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
  // The ancestors up to the document or the top, whose steps come first and carry no key
  // predicate. Below a document the path begins with "/".
  dom::TWalkStack<TVnDOMNode *> ancestors;
  TVnDOMNode *p = ParentNode();
  for (; p && p->FNodeType != ntDocument; p = p->ParentNode()) ancestors.Push(p);
  UnicodeString path;
  if (p) path += u'/';
  for (std::size_t i = ancestors.Size(); i-- > 0;) {
    path += ancestors[i]->NodePathStep(ALocalName, UnicodeString());
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

// --- parse notifications

const TVnDOMParseError &TVnDOMNode::GetOnParseWarning() const noexcept {
  return FRare ? FRare->Warning : NoEvent();
}

const TVnDOMParseError &TVnDOMNode::GetOnParseError() const noexcept {
  return FRare ? FRare->Error : NoEvent();
}

const TVnDOMParseError &TVnDOMNode::GetOnParseFatalError() const noexcept {
  return FRare ? FRare->FatalError : NoEvent();
}

void TVnDOMNode::SetOnParseWarning(TVnDOMParseError AEvent) {
  Rare().Warning = std::move(AEvent);
}

void TVnDOMNode::SetOnParseError(TVnDOMParseError AEvent) {
  Rare().Error = std::move(AEvent);
}

void TVnDOMNode::SetOnParseFatalError(TVnDOMParseError AEvent) {
  Rare().FatalError = std::move(AEvent);
}

void TVnDOMNode::DoDOMParseWarning(IVnSAXLocator *ALocator, const UnicodeString &AMessage,
                                   bool &AHandled) {
  if (FRare && FRare->Warning) FRare->Warning(ALocator, AMessage, AHandled);
}

void TVnDOMNode::DoDOMParseError(IVnSAXLocator *ALocator, const UnicodeString &AMessage,
                                 bool &AHandled) {
  if (FRare && FRare->Error) FRare->Error(ALocator, AMessage, AHandled);
}

void TVnDOMNode::DoDOMParseFatalError(IVnSAXLocator *ALocator, const UnicodeString &AMessage,
                                      bool &AHandled) {
  if (FRare && FRare->FatalError) FRare->FatalError(ALocator, AMessage, AHandled);
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
  // Every descendant in document order. The library's classes store it here; a node of an
  // application's class gets the virtual call, which passes it on to its own subtree.
  struct TFrame {
    TVnDOMNode *Node;
    std::size_t Index;
  };
  dom::TWalkStack<TFrame> frames;
  frames.Push({this, 0});
  while (!frames.Empty()) {
    TFrame &f = frames.Top();
    if (f.Index >= f.Node->FChildren.size()) {
      frames.Pop();
      continue;
    }
    TVnDOMNode *child = f.Node->FChildren[f.Index++];
    if (OwnClass(child)) {
      child->TVnDOMObject::SetDOMDocument(ADocument);
      if (!child->FChildren.empty()) frames.Push({child, 0});
    } else {
      child->SetDOMDocument(ADocument);
    }
  }
}

void TVnDOMNode::SetParentNode(TVnDOMObject *AParent) {
  TVnDOMObject::SetParentNode(AParent);
  if (FDestroying || !FDOMDocument) return;
  // While a document loads, only elements refresh as they are attached.
  if (FDOMDocument->GetLoadState() != lsLoading || FNodeType == ntElement) RefreshNamespaces();
}

void *TVnDOMNode::operator new(std::size_t ASize) {
  return TVnNodePages::Allocate(ASize);
}

void TVnDOMNode::operator delete(void *AObject, std::size_t ASize) noexcept {
  TVnNodePages::Release(AObject, ASize);
}

}  // namespace vn
