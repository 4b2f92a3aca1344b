// The document tree: ownership, the refusal of operations that do not fit a node's kind, the
// values of simple nodes, members, objects, arrays, the document and the handler that builds a
// tree from the reader's events.
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "vnxml/json/uVnJSON/Internal.h"
#include "vnxml/rtl/Owned.h"
#include "vnxml/xml/uVnXMLUtils.h"

namespace vn {

// ---------------------------------------------------------------------------------------------
// TVnJSONNodeList

TVnJSONBase *TVnJSONNodeList::GetItem(Integer AIndex) const {
  if (AIndex < 0 || AIndex >= Count()) throw EListError(u"List index out of bounds (%d)", {AIndex});
  return FItems[static_cast<std::size_t>(AIndex)];
}

Integer TVnJSONNodeList::Add(TVnJSONBase *ANode) {
  FItems.push_back(ANode);
  return Count() - 1;
}

void TVnJSONNodeList::Insert(Integer AIndex, TVnJSONBase *ANode) {
  if (AIndex < 0 || AIndex > Count()) throw EListError(u"List index out of bounds (%d)", {AIndex});
  FItems.insert(FItems.begin() + AIndex, ANode);
}

void TVnJSONNodeList::Delete(Integer AIndex) {
  GetItem(AIndex);
  FItems.erase(FItems.begin() + AIndex);
}

Integer TVnJSONNodeList::IndexOf(const TVnJSONBase *ANode) const {
  for (std::size_t i = 0; i < FItems.size(); ++i)
    if (FItems[i] == ANode) return static_cast<Integer>(i);
  return -1;
}

Integer TVnJSONNodeList::Remove(TVnJSONBase *ANode) {
  const Integer i = IndexOf(ANode);
  if (i >= 0) FItems.erase(FItems.begin() + i);
  return i;
}

void TVnJSONNodeList::Assign(const TVnJSONNodeList *ASource) {
  if (ASource == this) return;
  FItems = ASource ? ASource->FItems : std::vector<TVnJSONBase *>();
}

// ---------------------------------------------------------------------------------------------
// TVnJSONBase: the tree

namespace {

// The slots an array of ACount children has: none for none, then 3, 5, 9, 17 and so on (a power
// of two and one more), so that the many small objects and arrays of a document grow in few
// steps.
Integer Capacity(Integer ACount) noexcept {
  if (ACount == 0) return 0;
  if (ACount <= 3) return 3;
  return static_cast<Integer>(std::bit_ceil(static_cast<Cardinal>(ACount) - 1) + 1);
}
}  // namespace

TVnJSONBase::TVnJSONBase(TVnJSONBase *AOwner) {
  if (AOwner) {
    // A node in a tree belongs to the tree: interfaces never free it while it stays there.
    SetAutoDestroy(false);
    FOwner = AOwner;
    AOwner->InsertObject(this);
  }
}

TVnJSONBase::~TVnJSONBase() {
  DestroyObjects();
  ReleaseItems();
  FItems = nullptr;
  if (FOwner) {
    TVnJSONBase *owner = FOwner;
    FOwner = nullptr;
    owner->RemoveObject(this);
  }
}

void TVnJSONBase::OwnerRelease() {
  // An RAII owner of a node that stands in a tree leaves the node to the tree.
  if (FOwner) {
    --FRefCount;
    return;
  }
  TVnObject::OwnerRelease();
}

// A child array beyond the node's own slots is cut like a text (TVnNodePages::AllocateText: from
// the load's pages while a load runs, from the heap otherwise), with its capacity in the word in
// front of the slots: an array outgrown during a load costs no trip to the heap, and a tree freed
// as a whole counts its arrays off their pages with its nodes.
void TVnJSONBase::ReleaseItems() noexcept {
  if (FInlineItems || !FItems) return;
  std::size_t *block = reinterpret_cast<std::size_t *>(FItems) - 1;
  TVnNodePages::Release(block, (block[0] + 1) * sizeof(std::size_t));
}

void TVnJSONBase::GrowItems(Integer ACapacity) {
  static_assert(sizeof(std::size_t) == sizeof(TVnJSONBase *));
  const auto capacity = static_cast<std::size_t>(ACapacity);
  auto *block =
      static_cast<std::size_t *>(TVnNodePages::AllocateText((capacity + 1) * sizeof(std::size_t)));
  block[0] = capacity;
  auto **items = reinterpret_cast<TVnJSONBase **>(block + 1);
  if (FCount) std::memcpy(items, FItems, static_cast<std::size_t>(FCount) * sizeof(TVnJSONBase *));
  ReleaseItems();
  FItems = items;
  FInlineItems = false;
}

void TVnJSONBase::GrowForOneMore() {
  GrowItems(Capacity(FCount + 1));
}

void TVnJSONBase::InsertObject(TVnJSONBase *AObject) {
  AppendChild(AObject);
}

Integer TVnJSONBase::IndexOfObject(const TVnJSONBase *AObject) const noexcept {
  // From the end: children are taken out from the last to the first.
  for (Integer i = FCount - 1; i >= 0; --i)
    if (FItems[i] == AObject) return i;
  return -1;
}

void TVnJSONBase::RemoveObject(TVnJSONBase *AObject) {
  const Integer i = IndexOfObject(AObject);
  if (i < 0) return;
  std::memmove(FItems + i, FItems + i + 1,
               static_cast<std::size_t>(FCount - i - 1) * sizeof(TVnJSONBase *));
  --FCount;
}

void TVnJSONBase::DisposeTree(TVnJSONBase *ATop) {
  // Down to the last child, then back up, each node freed once it has no children left, so no
  // destructor nests into another. The way back up is the owner link of the nodes on the way
  // down, so the walk keeps no list of its own. Every node below ATop is on its way out, so its
  // last child is simply taken off the end of its list; a child that interfaces hold is detached
  // and left to them.
  TVnNodeReleaseBatch batch;
  TVnJSONBase *n = ATop;
  for (;;) {
    if (n->FCount > 0 && n->FDestroyChilds) {
      TVnJSONBase *child = n->FItems[--n->FCount];
      if (json::IsLatent(child)) {
        if (n->FMemberRecords)
          json::RecordFree(child, true);
        else
          json::LatentFree(child);
        continue;
      }
      // Memory is asked for ahead of the walk, so that a walk over a tree larger than the
      // caches does not wait for every node: the child before this one, next once this one's
      // subtree is gone, and the memory some nodes below this one. A load cuts its nodes from
      // its pages in the order of the text, and this walk frees them in exactly the reverse
      // order, so what lies below the node in hand is what the walk reaches next.
      if (n->FCount > 0) __builtin_prefetch(n->FItems[n->FCount - 1]);
      const std::uintptr_t at = reinterpret_cast<std::uintptr_t>(child);
      __builtin_prefetch(reinterpret_cast<const void *>(at - 512));
      __builtin_prefetch(reinterpret_cast<const void *>(at - 448));
      if (child->RefCount() > 0) {
        child->FOwner = nullptr;
        child->SetAutoDestroy(true);
      } else {
        child->FOwner = n;
        n = child;
      }
      continue;
    }
    TVnJSONBase *up = n == ATop ? nullptr : n->FOwner;
    n->FOwner = nullptr;
    if (!n->DropPlain()) n->Free();
    if (!up) return;
    n = up;
  }
}

bool TVnJSONBase::DropPlain() noexcept {
  // Only a node whose exact class is the library's: a derived class may do more in its
  // destructor. What the destructors of these classes would do is what follows: none of them
  // holds anything else.
  if (FCount != 0 || RefCount() != 0) return false;
  const TClass k = ClassType();
  if (k == TVnJSONSimpleType::StaticClass()) {
    auto *v = static_cast<TVnJSONSimpleType *>(this);
    v->ClearValue();
    ReleaseItems();
    TVnNodePages::Release(v, sizeof(TVnJSONSimpleType));
  } else if (k == TVnJSONMember::StaticClass()) {
    auto *m = static_cast<TVnJSONMember *>(this);
    json::TextFree(FTextInfo, m->FName);
    ReleaseItems();
    TVnNodePages::Release(m, sizeof(TVnJSONMember));
  } else if (k == TVnJSONObject::StaticClass()) {
    auto *o = static_cast<TVnJSONObject *>(this);
    ReleaseItems();
    TVnNodePages::Release(o, sizeof(TVnJSONObject));
  } else if (k == TVnJSONArray::StaticClass()) {
    auto *a = static_cast<TVnJSONArray *>(this);
    ReleaseItems();
    TVnNodePages::Release(a, sizeof(TVnJSONArray));
  } else {
    return false;
  }
  return true;
}

void TVnJSONBase::DestroyObjects() {
  if (FDestroyChilds) {
    while (FCount > 0) {
      TVnJSONBase *child = FItems[FCount - 1];
      if (json::IsLatent(child)) {
        --FCount;
        if (FMemberRecords)
          json::RecordFree(child, true);
        else
          json::LatentFree(child);
        continue;
      }
      RemoveObject(child);
      child->FOwner = nullptr;
      if (child->RefCount() > 0)
        child->SetAutoDestroy(true);
      else
        DisposeTree(child);
    }
  }
  FCount = 0;
}

TVnJSONBase *TVnJSONBase::MakeNode(Integer AIndex) {
  TVnJSONBase *slot = FItems[AIndex];
  if (FMemberRecords) {
    // The member takes the record's name and value as they are; its value stays compact in
    // the member's own slot until it is asked for.
    auto *m = new TVnJSONMember(nullptr);
    Byte info;
    const json::TMemberRecord *r = json::RecordOf(slot, info);
    m->FTextInfo = info;
    m->FName = r->Name;
    m->FValue = r->Value;
    m->FCount = 1;
    m->SetAutoDestroy(false);
    m->FOwner = this;
    FItems[AIndex] = m;
    json::RecordFree(slot, false);
    return m;
  }
  auto *v = new TVnJSONSimpleType(nullptr);
  json::TLatentText t;
  try {
    json::LatentTake(slot, t);
  } catch (...) {
    DisposeTree(v);
    throw;
  }
  // Nothing below can fail: the node takes the text's room as it is.
  v->FJSONType = t.Type;
  v->FClassByte = TVnJSONSimpleType::vkText;
  v->FTextInfo = t.Info;
  v->FData.Word = t.Word;
  v->SetAutoDestroy(false);
  v->FOwner = this;
  FItems[AIndex] = v;
  return v;
}

void TVnJSONBase::FreeObject() {
  if (FOwner) {
    TVnJSONBase *owner = FOwner;
    FOwner = nullptr;
    owner->RemoveObject(this);
  }
  if (RefCount() > 0)
    SetAutoDestroy(true);
  else
    DisposeTree(this);
}

TVnJSONDocument *TVnJSONBase::GetDocument() {
  TVnJSONBase *n = this;
  while (n->FOwner) n = n->FOwner;
  return As<TVnJSONDocument>(n);
}

UnicodeString TVnJSONBase::GetPath() {
  std::vector<TVnJSONMember *> members;
  for (TVnJSONBase *n = this; n; n = n->FOwner)
    if (n->Is<TVnJSONMember>()) members.push_back(static_cast<TVnJSONMember *>(n));
  UnicodeString r(u"#/");
  for (auto it = members.rbegin(); it != members.rend(); ++it) {
    if (it != members.rbegin()) r += u'/';
    r.append((*it)->GetName());
  }
  return r;
}

void TVnJSONBase::CheckIndex(Integer AIndex) const {
  if (AIndex < 0 || AIndex >= FCount) throw EListError(u"List index out of bounds (%d)", {AIndex});
}

void TVnJSONBase::Refuse(const char16_t *AWord) {
  throw EVnJSONException(_cVnJSONNotSupported, {ClassName(), UnicodeString(AWord)}, 9);
}

// ---------------------------------------------------------------------------------------------
// TVnJSONBase: the operations that fit no kind here

VnJSONString TVnJSONBase::GetName() {
  Refuse(u"GetName");
}
void TVnJSONBase::SetName(const VnJSONString &) {
  Refuse(u"SetName");
}
TVnJSONBase *TVnJSONBase::GetValueObj() {
  Refuse(u"GetValue");
}
void TVnJSONBase::SetValue(TVnJSONBase *) {
  Refuse(u"SetValue");
}
DelphiInterface<IVnJSONBase> TVnJSONBase::GetValue() {
  return DelphiInterface<IVnJSONBase>(GetValueObj());
}
bool TVnJSONBase::GetAsBoolean() {
  Refuse(u"GetAsBoolean");
}
Double TVnJSONBase::GetAsDouble() {
  Refuse(u"GetAsDouble");
}
Integer TVnJSONBase::GetAsInteger() {
  Refuse(u"GetAsInteger");
}
Int64 TVnJSONBase::GetAsLargeInt() {
  Refuse(u"GetAsLargeInt");
}
UnicodeString TVnJSONBase::GetAsString() {
  Refuse(u"GetAsString");
}
Variant TVnJSONBase::GetAsVariant() {
  Refuse(u"GetAsVariant");
}
TValue TVnJSONBase::GetAsValue() {
  Refuse(u"GetAsValue");
}
TVnJSONObject *TVnJSONBase::GetAsObject() {
  Refuse(u"GetAsObject");
}
TVnJSONArray *TVnJSONBase::GetAsArray() {
  Refuse(u"GetAsArray");
}
DelphiInterface<IVnJSONObject> TVnJSONBase::GetAsObjectIntf() {
  return DelphiInterface<IVnJSONObject>(GetAsObject());
}
DelphiInterface<IVnJSONArray> TVnJSONBase::GetAsArrayIntf() {
  return DelphiInterface<IVnJSONArray>(GetAsArray());
}
void TVnJSONBase::SetAsBoolean(bool) {
  Refuse(u"SetAsBoolean");
}
void TVnJSONBase::SetAsDouble(Double) {
  Refuse(u"SetAsDouble");
}
void TVnJSONBase::SetAsInteger(Integer) {
  Refuse(u"SetAsInteger");
}
void TVnJSONBase::SetAsString(const UnicodeString &) {
  Refuse(u"SetAsString");
}
void TVnJSONBase::SetAsLargeInt(Int64) {
  Refuse(u"SetAsLargeInt");
}
void TVnJSONBase::SetAsVariant(const Variant &) {
  Refuse(u"SetAsVariant");
}
void TVnJSONBase::SetAsValue(const TValue &) {
  Refuse(u"SetAsValue");
}
Integer TVnJSONBase::Count() {
  Refuse(u"Count");
}
TVnJSONBase *TVnJSONBase::Item(Integer) {
  Refuse(u"Item");
}
DelphiInterface<IVnJSONBase> TVnJSONBase::GetItem(Integer AIndex) {
  return DelphiInterface<IVnJSONBase>(Item(AIndex));
}
TVnJSONBase *TVnJSONBase::AddValue(TVnJSONDataType) {
  Refuse(u"AddValue");
}
TVnJSONBase *TVnJSONBase::AddValue(TVnJSONDataType, const VnJSONString &) {
  Refuse(u"AddValue");
}
TVnJSONBase *TVnJSONBase::AddValue(const Variant &) {
  Refuse(u"AddValue");
}
void TVnJSONBase::RemoveValue(TVnJSONBase *) {
  Refuse(u"RemoveValue");
}
void TVnJSONBase::DeleteValue(Integer) {
  Refuse(u"DeleteValue");
}
TVnJSONMember *TVnJSONBase::AddMember(const VnJSONString &) {
  Refuse(u"AddMember");
}
TVnJSONMember *TVnJSONBase::AddMember(const VnJSONString &, TVnJSONDataType) {
  Refuse(u"AddMember");
}
TVnJSONMember *TVnJSONBase::AddMember(const VnJSONString &, TVnJSONDataType, const VnJSONString &) {
  Refuse(u"AddMember");
}
TVnJSONMember *TVnJSONBase::AddMember(const VnJSONString &, const Variant &) {
  Refuse(u"AddMember");
}
void TVnJSONBase::DeleteMember(Integer) {
  Refuse(u"DeleteMember");
}
void TVnJSONBase::RemoveMember(TVnJSONMember *) {
  Refuse(u"RemoveMember");
}
TVnJSONMember *TVnJSONBase::FindMember(const VnJSONString &, bool) {
  Refuse(u"FindMember");
}
TVnJSONMember *TVnJSONBase::GetMember(const VnJSONString &, TVnJDOCSelectOptions) {
  Refuse(u"Member");
}

bool TVnJSONBase::HasMember(const VnJSONString &AName, bool ACaseInsensitive) {
  return FindMember(AName, ACaseInsensitive) != nullptr;
}

DelphiInterface<IVnJSONMember> TVnJSONBase::GetMemberEx(const VnJSONString &AName) {
  return DelphiInterface<IVnJSONMember>(GetMember(AName, TVnJDOCSelectOptions{jsoCreate}));
}

TVnJSONMember *TVnJSONBase::GetMemberEx1(const VnJSONString &AName) {
  return GetMember(AName, TVnJDOCSelectOptions{jsoCreate});
}

DelphiInterface<IVnJSONMember> TVnJSONBase::FindMemberIntf(const VnJSONString &AName,
                                                           bool ACaseInsensitive) {
  return DelphiInterface<IVnJSONMember>(FindMember(AName, ACaseInsensitive));
}

DelphiInterface<IVnJSONMember> TVnJSONBase::GetMemberIntf(const VnJSONString &AName,
                                                          TVnJDOCSelectOptions AOptions) {
  return DelphiInterface<IVnJSONMember>(GetMember(AName, AOptions));
}

// ---------------------------------------------------------------------------------------------
// Loading

void TVnJSONBase::LoadFromStream(TStream *AStream, Word ACodePage, bool AFormURLEncoded) {
  if (AStream->GetSize() == 0) {
    DestroyObjects();
    return;
  }
  // The nodes and texts of the load are cut from pages of their own.
  TVnNodePages pages;
  TVnJSONReader *reader = json::CreateReader(AFormURLEncoded);
  Owned<TVnJSONReader> readerOwner(reader);
  TVnJSONHandler *handler = New<TVnJSONHandler>(reader, this);
  handler->SetAutoDestroy(false);
  handler->FDeferNames = true;
  Owned<TVnJSONHandler> handlerOwner(handler);
  reader->SetContentHandler(handler);
  reader->SetErrorHandler(handler);
  struct TDetach {
    TVnJSONReader *R;
    ~TDetach() {
      R->SetContentHandler(nullptr);
      R->SetErrorHandler(nullptr);
    }
  } detach{reader};
  try {
    reader->ParseStream(AStream, ACodePage);
  } catch (...) {
    // What the events built stays in the tree.
    handler->FinishFailed();
    throw;
  }
}

void TVnJSONBase::SetAsJSON(const VnJSONString &AText) {
  if (AText.empty()) {
    DestroyObjects();
    return;
  }
  TPointerStream stream(AText.data(), static_cast<Int64>(AText.size() * sizeof(char16_t)));
  LoadFromStream(&stream, CP_UTF16, false);
}

void TVnJSONBase::SetAsJSON(std::string_view AText) {
  if (AText.starts_with(std::string_view(reinterpret_cast<const char *>(cVnUTF8), 3)))
    AText.remove_prefix(3);
  TPointerStream stream(AText.data(), static_cast<Int64>(AText.size()));
  LoadFromStream(&stream, CP_UTF8, false);
}

// ---------------------------------------------------------------------------------------------
// TVnJSONSimpleType

TVnJSONSimpleType::TVnJSONSimpleType(TVnJSONBase *AOwner) : TVnJSONBase(AOwner) {}

TVnJSONSimpleType::~TVnJSONSimpleType() {
  ClearValue();
}

void TVnJSONSimpleType::ClearValue() noexcept {
  if (Kind() == vkText)
    json::TextFree(FTextInfo, FData.Word);
  else if (Kind() == vkOther)
    delete FData.Other;
  FClassByte = vkNull;
  FTextInfo = 0;
  FData.Word = 0;
}

UnicodeString TVnJSONSimpleType::Text() const {
  return json::TextString(FTextInfo, FData.Word);
}

void TVnJSONSimpleType::SetText(UnicodeStringView AText, TVnJSONDataType ADataType) {
  // Null and Empty hold nothing, and the text setter frees an old text itself: only the other
  // kinds are cleared first (a new node is null).
  if (Kind() > vkText) ClearValue();
  json::TextSet(FTextInfo, FData.Word, AText);
  FClassByte = vkText;
  FJSONType = ADataType;
}

void TVnJSONSimpleType::SetTextAscii(const char *AData, std::size_t ALength,
                                     TVnJSONDataType ADataType) {
  if (Kind() > vkText) ClearValue();
  json::TextSetAscii(FTextInfo, FData.Word, AData, ALength);
  FClassByte = vkText;
  FJSONType = ADataType;
}

void TVnJSONSimpleType::StoreVariant(const Variant &AValue) {
  switch (AValue.VType()) {
    case varEmpty:
      ClearValue();
      FClassByte = vkEmpty;
      break;
    case varNull:
      ClearValue();
      break;
    case varUString: {
      const UnicodeString text = AValue.AsString();
      if (Kind() != vkText) ClearValue();
      json::TextSet(FTextInfo, FData.Word, text);
      FClassByte = vkText;
      break;
    }
    case varBoolean:
      ClearValue();
      FClassByte = vkBoolean;
      FData.Bool = AValue.AsBoolean();
      break;
    case varInteger:
      ClearValue();
      FClassByte = vkInteger;
      FData.Int = AValue.AsInteger();
      break;
    case varInt64:
      ClearValue();
      FClassByte = vkInt64;
      FData.Int = AValue.AsInt64();
      break;
    case varDouble:
      ClearValue();
      FClassByte = vkDouble;
      FData.Dbl = AValue.AsDouble();
      break;
    case varDate:
      ClearValue();
      FClassByte = vkDate;
      FData.Dbl = AValue.AsDateTime().Val;
      break;
    default: {
      auto *v = new Variant(AValue);
      ClearValue();
      FClassByte = vkOther;
      FData.Other = v;
      break;
    }
  }
}

Variant TVnJSONSimpleType::GetAsVariant() {
  switch (Kind()) {
    case vkNull:
      return Variant::Null();
    case vkEmpty:
      return Variant();
    case vkText:
      return Variant(Text());
    case vkBoolean:
      return Variant(FData.Bool);
    case vkInteger:
      return Variant(static_cast<Integer>(FData.Int));
    case vkInt64:
      return Variant(static_cast<long long>(FData.Int));
    case vkDouble:
      return Variant(FData.Dbl);
    case vkDate:
      return Variant(TDateTime(FData.Dbl));
    default:
      return *FData.Other;
  }
}

bool TVnJSONSimpleType::GetAsBoolean() {
  if (Kind() == vkBoolean) return FData.Bool;
  return VnVarToBool(GetAsVariant());
}

Double TVnJSONSimpleType::GetAsDouble() {
  if (Kind() == vkDouble) return FData.Dbl;
  return VnVarToDouble(GetAsVariant());
}

Integer TVnJSONSimpleType::GetAsInteger() {
  if (Kind() == vkInteger) return static_cast<Integer>(FData.Int);
  return VnVarToInt(GetAsVariant());
}

Int64 TVnJSONSimpleType::GetAsLargeInt() {
  if (Kind() == vkInteger || Kind() == vkInt64) return FData.Int;
  return VnVarToInt64(GetAsVariant());
}

UnicodeString TVnJSONSimpleType::GetVariantText() {
  return Kind() == vkText ? Text() : VnVarToStr(GetAsVariant());
}

UnicodeString TVnJSONSimpleType::GetAsString() {
  if (Kind() == vkText) return Text();
  switch (FJSONType) {
    case jdtNull:
      return {};
    case jdtString:
      return VnVarToStr(GetAsVariant());
    case jdtNumber:
      return VnVarToJSON(GetAsVariant());
    case jdtBoolean:
      return VnVarToBool(GetAsVariant()) ? u"true" : u"false";
    default:
      throw EVnJSONException(_cVnJSONUnexpectedType, 6);
  }
}

TValue TVnJSONSimpleType::GetAsValue() {
  return TValue::FromVariant(GetAsVariant());
}

void TVnJSONSimpleType::SetAsBoolean(bool AValue) {
  ClearValue();
  FClassByte = vkBoolean;
  FData.Bool = AValue;
  FJSONType = jdtBoolean;
}

void TVnJSONSimpleType::SetAsDouble(Double AValue) {
  ClearValue();
  FClassByte = vkDouble;
  FData.Dbl = AValue;
  FJSONType = jdtNumber;
}

void TVnJSONSimpleType::SetAsInteger(Integer AValue) {
  ClearValue();
  FClassByte = vkInteger;
  FData.Int = AValue;
  FJSONType = jdtNumber;
}

void TVnJSONSimpleType::SetAsLargeInt(Int64 AValue) {
  ClearValue();
  FClassByte = vkInt64;
  FData.Int = AValue;
  FJSONType = jdtNumber;
}

void TVnJSONSimpleType::SetAsString(const UnicodeString &AValue) {
  SetText(AValue, jdtString);
}

void TVnJSONSimpleType::SetAsVariant(const Variant &AValue) {
  StoreVariant(AValue);
  switch (TVnTypes::VarMainTypeKind(AValue)) {
    case mtkInteger:
    case mtkFloat:
      FJSONType = jdtNumber;
      break;
    case mtkString:
    case mtkDateTime:
      FJSONType = jdtString;
      break;
    case mtkBoolean:
      FJSONType = jdtBoolean;
      break;
    default:
      FJSONType = jdtNull;
      break;
  }
}

void TVnJSONSimpleType::SetAsValue(const TValue &AValue) {
  SetAsVariant(AValue.AsVariant());
}

// ---------------------------------------------------------------------------------------------
// TVnJSONMember

TVnJSONMember::TVnJSONMember(TVnJSONBase *AOwner) : TVnJSONBase(nullptr) {
  // The one child lives in the member's own slot; the owner is taken after that is set up.
  UseOwnSlots(&FValue, 1);
  if (AOwner) {
    SetAutoDestroy(false);
    FOwner = AOwner;
    AOwner->InsertObject(this);
  }
}

TVnJSONMember::~TVnJSONMember() {
  DestroyObjects();
  json::TextFree(FTextInfo, FName);
}

VnJSONString TVnJSONMember::GetName() {
  return json::TextString(FTextInfo, FName);
}

bool TVnJSONMember::NameIs(UnicodeStringView AName, bool ACaseInsensitive) const noexcept {
  return json::TextEquals(FTextInfo, FName, AName, ACaseInsensitive);
}

void TVnJSONMember::SetName(const VnJSONString &AName) {
  json::TextSet(FTextInfo, FName, AName);
}

void TVnJSONMember::SetValue(TVnJSONBase *AValue) {
  TVnJSONBase *old = GetValueObj();
  if (old == AValue) return;
  if (AValue) {
    // A node below the new value cannot take it in: that would make a cycle.
    for (TVnJSONBase *n = this; n; n = n->FOwner)
      if (n == AValue) throw EVnJSONException(u"A node cannot become a value below itself", 9);
  }
  if (old) old->FreeObject();
  if (!AValue) return;
  if (AValue->FOwner) {
    TVnJSONBase *owner = AValue->FOwner;
    AValue->FOwner = nullptr;
    owner->RemoveObject(AValue);
  }
  AValue->SetAutoDestroy(false);
  AValue->FOwner = this;
  InsertObject(AValue);
}

DelphiInterface<IVnJSONBase> TVnJSONMember::GetValue() {
  return DelphiInterface<IVnJSONBase>(GetValueObj());
}

TVnJSONBase *TVnJSONMember::CreateValue(TVnJSONDataType AType) {
  if (TVnJSONBase *old = GetValueObj()) old->FreeObject();
  switch (AType) {
    case jdtObject:
      return New<TVnJSONObject>(this);
    case jdtArray:
      return New<TVnJSONArray>(this);
    default:
      return New<TVnJSONSimpleType>(this);
  }
}

DelphiInterface<IVnJSONBase> TVnJSONMember::CreateValueIntf(TVnJSONDataType AType) {
  return DelphiInterface<IVnJSONBase>(CreateValue(AType));
}

TVnJSONSimpleType *TVnJSONMember::SimpleValue(const char16_t *AWord) {
  TVnJSONBase *v = GetValueObj();
  if (!v || !v->Is<TVnJSONSimpleType>()) Refuse(AWord);
  return static_cast<TVnJSONSimpleType *>(v);
}

TVnJSONSimpleType *TVnJSONMember::SimpleValueFor(TVnJSONDataType AType, const char16_t *AWord) {
  if (!GetValueObj()) CreateValue(AType);
  return SimpleValue(AWord);
}

bool TVnJSONMember::GetAsBoolean() {
  return SimpleValue(u"GetAsBoolean")->GetAsBoolean();
}
Double TVnJSONMember::GetAsDouble() {
  return SimpleValue(u"GetAsDouble")->GetAsDouble();
}
Integer TVnJSONMember::GetAsInteger() {
  return SimpleValue(u"GetAsInteger")->GetAsInteger();
}
Int64 TVnJSONMember::GetAsLargeInt() {
  return SimpleValue(u"GetAsLargeInt")->GetAsLargeInt();
}
UnicodeString TVnJSONMember::GetAsString() {
  return SimpleValue(u"GetAsString")->GetAsString();
}
Variant TVnJSONMember::GetAsVariant() {
  return SimpleValue(u"GetAsVariant")->GetAsVariant();
}
TValue TVnJSONMember::GetAsValue() {
  return SimpleValue(u"GetAsValue")->GetAsValue();
}

TVnJSONObject *TVnJSONMember::GetAsObject() {
  TVnJSONBase *v = GetValueObj();
  if (!v) v = CreateValue(jdtObject);
  if (!v->Is<TVnJSONObject>()) Refuse(u"GetAsObject");
  return static_cast<TVnJSONObject *>(v);
}

TVnJSONArray *TVnJSONMember::GetAsArray() {
  TVnJSONBase *v = GetValueObj();
  if (!v) v = CreateValue(jdtArray);
  if (!v->Is<TVnJSONArray>()) Refuse(u"GetAsArray");
  return static_cast<TVnJSONArray *>(v);
}

DelphiInterface<IVnJSONObject> TVnJSONMember::GetAsObjectIntf() {
  return DelphiInterface<IVnJSONObject>(GetAsObject());
}

DelphiInterface<IVnJSONArray> TVnJSONMember::GetAsArrayIntf() {
  return DelphiInterface<IVnJSONArray>(GetAsArray());
}

void TVnJSONMember::SetAsBoolean(bool AValue) {
  SimpleValueFor(jdtBoolean, u"SetAsBoolean")->SetAsBoolean(AValue);
}
void TVnJSONMember::SetAsDouble(Double AValue) {
  SimpleValueFor(jdtNumber, u"SetAsDouble")->SetAsDouble(AValue);
}
void TVnJSONMember::SetAsInteger(Integer AValue) {
  SimpleValueFor(jdtNumber, u"SetAsInteger")->SetAsInteger(AValue);
}
void TVnJSONMember::SetAsString(const UnicodeString &AValue) {
  SimpleValueFor(jdtString, u"SetAsString")->SetAsString(AValue);
}
void TVnJSONMember::SetAsLargeInt(Int64 AValue) {
  SimpleValueFor(jdtNumber, u"SetAsLargeInt")->SetAsLargeInt(AValue);
}
void TVnJSONMember::SetAsVariant(const Variant &AValue) {
  SimpleValueFor(VnVarTypeToJSONType(AValue), u"SetAsVariant")->SetAsVariant(AValue);
}
void TVnJSONMember::SetAsValue(const TValue &AValue) {
  const Variant v = AValue.AsVariant();
  SimpleValueFor(VnVarTypeToJSONType(v), u"SetAsValue")->SetAsVariant(v);
}

TVnJSONBase *TVnJSONMember::AddValue(TVnJSONDataType AType) {
  if (GetValueObj()) Refuse(u"AddValue");
  return CreateValue(AType);
}

// ---------------------------------------------------------------------------------------------
// TVnJSONObject

TVnJSONObject::TVnJSONObject(TVnJSONBase *AOwner) : TVnJSONBase(AOwner) {
  FJSONType = jdtObject;
  UseOwnSlots(FSlots, 3);
}

void TVnJSONObject::InsertObject(TVnJSONBase *AObject) {
  if (!AObject || !AObject->Is<TVnJSONMember>())
    throw EAssertionFailed(u"Assertion failure (" __FILE__ ")");
  TVnJSONBase::InsertObject(AObject);
}

VnJSONString TVnJSONObject::GetName() {
  return u"<object>";
}

DelphiInterface<IVnJSONObject> TVnJSONObject::GetAsObjectIntf() {
  return DelphiInterface<IVnJSONObject>(this);
}

TVnJSONBase *TVnJSONObject::Item(Integer AIndex) {
  CheckIndex(AIndex);
  return Objects(AIndex);
}

TVnJSONMember *TVnJSONObject::AddMember(const VnJSONString &AName) {
  TVnJSONMember *m = New<TVnJSONMember>(this);
  m->SetName(AName);
  return m;
}

TVnJSONMember *TVnJSONObject::AddMember(const VnJSONString &AName, TVnJSONDataType AType) {
  TVnJSONMember *m = AddMember(AName);
  m->CreateValue(AType);
  return m;
}

TVnJSONMember *TVnJSONObject::AddMember(const VnJSONString &AName, TVnJSONDataType AType,
                                        const VnJSONString &AText) {
  TVnJSONMember *m = AddMember(AName);
  static_cast<TVnJSONSimpleType *>(m->CreateValue(jdtString))->SetText(AText, AType);
  return m;
}

TVnJSONMember *TVnJSONObject::AddMember(const VnJSONString &AName, const Variant &AValue) {
  switch (TVnTypes::VarMainTypeKind(AValue)) {
    case mtkInteger:
      return AddMember(AName, jdtNumber, VnIntToXML(VnVarToInt(AValue)));
    case mtkFloat:
      return AddMember(AName, jdtNumber, VnDoubleToXML(VnVarToDouble(AValue)));
    case mtkString:
      return AddMember(AName, jdtString, VnVarToStr(AValue));
    case mtkBoolean:
      return AddMember(AName, jdtBoolean, VnBoolToXML(VnVarToBool(AValue)));
    case mtkDateTime:
      return AddMember(AName, jdtString, VnDateTimeToXML(VarToDateTime(AValue), tzfNone));
    case mtkArray: {
      TVnJSONMember *m = AddMember(AName, jdtArray);
      TVnJSONBase *a = m->GetValueObj();
      const Integer lo = VarArrayLowBound(AValue, 1), hi = VarArrayHighBound(AValue, 1);
      for (Integer i = lo; i <= hi; ++i) a->AddValue(VarArrayGet(AValue, i));
      return m;
    }
    default:
      return AddMember(AName, jdtNull, VnVarToStr(AValue));
  }
}

void TVnJSONObject::DeleteMember(Integer AIndex) {
  CheckIndex(AIndex);
  Objects(AIndex)->FreeObject();
}

void TVnJSONObject::RemoveMember(TVnJSONMember *AMember) {
  if (AMember && AMember->Owner() == this) AMember->FreeObject();
}

TVnJSONMember *TVnJSONObject::FindMember(const VnJSONString &AName, bool ACaseInsensitive) {
  for (Integer i = 0; i < FCount; ++i) {
    TVnJSONBase *slot = FItems[i];
    if (json::IsLatent(slot)) {
      // A member record: its name is compared where it stands; only the member found is made.
      Byte info;
      const json::TMemberRecord *r = json::RecordOf(slot, info);
      if (json::TextEquals(info, r->Name, AName, ACaseInsensitive))
        return static_cast<TVnJSONMember *>(Objects(i));
      continue;
    }
    auto *m = static_cast<TVnJSONMember *>(slot);
    if (m->NameIs(AName, ACaseInsensitive)) return m;
  }
  return nullptr;
}

TVnJSONMember *TVnJSONObject::GetMember(const VnJSONString &AName, TVnJDOCSelectOptions AOptions) {
  if (TVnJSONMember *m = FindMember(AName, AOptions.Contains(jsoCaseInsensitive))) return m;
  if (AOptions.Contains(jsoCreate)) return AddMember(AName);
  if (AOptions.Contains(jsoRaise)) throw EVnJSONException(_cVnJSONNoMember, {AName}, 5);
  return nullptr;
}

DelphiInterface<IVnJSONMember> TVnJSONObject::AddMemberIntf1(const VnJSONString &AName) {
  return DelphiInterface<IVnJSONMember>(AddMember(AName));
}
DelphiInterface<IVnJSONMember> TVnJSONObject::AddMemberIntf2(const VnJSONString &AName,
                                                             TVnJSONDataType AType) {
  return DelphiInterface<IVnJSONMember>(AddMember(AName, AType));
}
DelphiInterface<IVnJSONMember> TVnJSONObject::AddMemberIntf3(const VnJSONString &AName,
                                                             TVnJSONDataType AType,
                                                             const VnJSONString &AText) {
  return DelphiInterface<IVnJSONMember>(AddMember(AName, AType, AText));
}
DelphiInterface<IVnJSONMember> TVnJSONObject::AddMemberIntf4(const VnJSONString &AName,
                                                             const Variant &AValue) {
  return DelphiInterface<IVnJSONMember>(AddMember(AName, AValue));
}

void TVnJSONObject::RemoveMemberIntf(IVnJSONMember *AMember) {
  if (!AMember) return;
  TObject *o = AMember->Implementor();
  if (o && o->Is<TVnJSONMember>()) RemoveMember(static_cast<TVnJSONMember *>(o));
}

// ---------------------------------------------------------------------------------------------
// TVnJSONArray

TVnJSONArray::TVnJSONArray(TVnJSONBase *AOwner) : TVnJSONBase(AOwner) {
  FJSONType = jdtArray;
  UseOwnSlots(FSlots, 3);
  // Without an owner the array is a list of nodes of some tree: it frees none of them.
  FDestroyChilds = AOwner != nullptr;
}

DelphiInterface<IVnJSONArray> TVnJSONArray::GetAsArrayIntf() {
  return DelphiInterface<IVnJSONArray>(this);
}

TVnJSONBase *TVnJSONArray::Item(Integer AIndex) {
  CheckIndex(AIndex);
  return Objects(AIndex);
}

TVnJSONBase *TVnJSONArray::AddValue(TVnJSONDataType AType) {
  switch (AType) {
    case jdtObject:
      return New<TVnJSONObject>(this);
    case jdtArray:
      return New<TVnJSONArray>(this);
    default:
      return New<TVnJSONSimpleType>(this);
  }
}

TVnJSONBase *TVnJSONArray::AddValue(TVnJSONDataType AType, const VnJSONString &AText) {
  TVnJSONSimpleType *v = New<TVnJSONSimpleType>(this);
  v->SetText(AText, AType);
  return v;
}

TVnJSONBase *TVnJSONArray::AddValue(const Variant &AValue) {
  TVnJSONSimpleType *v = New<TVnJSONSimpleType>(this);
  v->SetAsVariant(AValue);
  return v;
}

void TVnJSONArray::AddReference(TVnJSONBase *ANode) {
  InsertObject(ANode);
}

void TVnJSONArray::RemoveValue(TVnJSONBase *AValue) {
  if (!AValue || IndexOfObject(AValue) < 0) return;
  if (FDestroyChilds)
    AValue->FreeObject();
  else
    RemoveObject(AValue);
}

void TVnJSONArray::DeleteValue(Integer AIndex) {
  CheckIndex(AIndex);
  RemoveValue(Objects(AIndex));
}

void TVnJSONArray::Exchange(Integer A, Integer B) {
  CheckIndex(A);
  CheckIndex(B);
  std::swap(FItems[A], FItems[B]);
}

DelphiInterface<IVnJSONBase> TVnJSONArray::AddValueIntf1(TVnJSONDataType AType) {
  return DelphiInterface<IVnJSONBase>(AddValue(AType));
}
DelphiInterface<IVnJSONBase> TVnJSONArray::AddValueIntf2(TVnJSONDataType AType,
                                                         const VnJSONString &AText) {
  return DelphiInterface<IVnJSONBase>(AddValue(AType, AText));
}
DelphiInterface<IVnJSONBase> TVnJSONArray::AddValueIntf3(const Variant &AValue) {
  return DelphiInterface<IVnJSONBase>(AddValue(AValue));
}

void TVnJSONArray::RemoveValueIntf(IVnJSONBase *AValue) {
  if (!AValue) return;
  TObject *o = AValue->Implementor();
  if (o && o->Is<TVnJSONBase>()) RemoveValue(static_cast<TVnJSONBase *>(o));
}

// ---------------------------------------------------------------------------------------------
// TVnJSONDocument

TVnJSONDocument::TVnJSONDocument() : TVnJSONBase(nullptr) {}

namespace {

// The loading constructors: the document is made first, and freed again when the load fails.
template <class F>
TVnJSONDocument *MakeLoaded(F &&ALoad) {
  Owned<TVnJSONDocument> doc(New<TVnJSONDocument>());
  ALoad(doc.get());
  return doc.release();
}

}  // namespace

TVnJSONDocument *TVnJSONDocument::CreateFromFile(const UnicodeString &AFileName, Word ACodePage) {
  return MakeLoaded([&](TVnJSONDocument *D) { D->LoadFromFile(AFileName, ACodePage); });
}

TVnJSONDocument *TVnJSONDocument::CreateFromJSON(const UnicodeString &AJSON) {
  return MakeLoaded([&](TVnJSONDocument *D) { D->SetAsJSON(AJSON); });
}

TVnJSONDocument *TVnJSONDocument::CreateFromJSON(const AnsiString &AJSON, Word ACodePage) {
  return MakeLoaded([&](TVnJSONDocument *D) {
    TPointerStream stream(AJSON.data(), static_cast<Int64>(AJSON.size()));
    D->LoadFromStream(&stream, ACodePage, false);
  });
}

TVnJSONDocument *TVnJSONDocument::CreateFromUTF8(std::string_view AJSON) {
  return MakeLoaded([&](TVnJSONDocument *D) { D->SetAsJSON(AJSON); });
}

TVnJSONDocument *TVnJSONDocument::CreateFromStream(TStream *AStream, Word ACodePage,
                                                   bool AFormURLEncoded) {
  return MakeLoaded(
      [&](TVnJSONDocument *D) { D->LoadFromStream(AStream, ACodePage, AFormURLEncoded); });
}

TVnJSONBase *TVnJSONDocument::GetRootValue() {
  return FCount == 1 ? Objects(0) : nullptr;
}

DelphiInterface<IVnJSONBase> TVnJSONDocument::GetRootValueIntf() {
  return DelphiInterface<IVnJSONBase>(GetRootValue());
}

TVnJSONBase *TVnJSONDocument::CreateRootValue(TVnJSONDataType AType) {
  DestroyObjects();
  switch (AType) {
    case jdtObject:
      return New<TVnJSONObject>(this);
    case jdtArray:
      return New<TVnJSONArray>(this);
    default:
      return New<TVnJSONSimpleType>(this);
  }
}

DelphiInterface<IVnJSONBase> TVnJSONDocument::CreateRootValueIntf(TVnJSONDataType AType) {
  return DelphiInterface<IVnJSONBase>(CreateRootValue(AType));
}

TVnJSONBase *TVnJSONDocument::RootOrRaise() {
  TVnJSONBase *r = GetRootValue();
  if (!r) throw EVnJSONParseError(_cVnJSONNoRoot, 10);
  return r;
}

Integer TVnJSONDocument::Count() {
  return RootOrRaise()->Count();
}

TVnJSONBase *TVnJSONDocument::Item(Integer AIndex) {
  return RootOrRaise()->Item(AIndex);
}

TVnJSONMember *TVnJSONDocument::FindMember(const VnJSONString &AName, bool ACaseInsensitive) {
  return RootOrRaise()->FindMember(AName, ACaseInsensitive);
}

TVnJSONMember *TVnJSONDocument::GetMember(const VnJSONString &AName,
                                          TVnJDOCSelectOptions AOptions) {
  return RootOrRaise()->GetMember(AName, AOptions);
}

void TVnJSONDocument::LoadFromStream(TStream *AStream, Word ACodePage, bool AFormURLEncoded) {
  TVnJSONBase::LoadFromStream(AStream, ACodePage, AFormURLEncoded);
}

void TVnJSONDocument::SetAsJSON(const VnJSONString &AText) {
  TVnJSONBase::SetAsJSON(AText);
}

void TVnJSONDocument::LoadFromFile(const UnicodeString &AFileName, Word ACodePage) {
  if (!FileExists(AFileName)) throw EReadError(_cVnJSONNoFile, {AFileName});
  Owned<TFileStream> stream(New<TFileStream>(AFileName, fmOpenRead | fmShareDenyWrite));
  const Word mark = VnGetCodePage(stream.get());
  LoadFromStream(stream.get(), mark ? mark : ACodePage, false);
}

// ---------------------------------------------------------------------------------------------
// TVnJSONHandler

TVnJSONHandler::TVnJSONHandler(TVnJSONReader *AReader, TVnJSONBase *ANode) : FReader(AReader) {
  SetCurrValue(ANode);
}

void TVnJSONHandler::SetCurrValue(TVnJSONBase *ANode) noexcept {
  FCurrValue = ANode;
  const TClass k = ANode ? ANode->ClassType() : nullptr;
  FCurrKind = k == TVnJSONObject::StaticClass()  ? ckObject
              : k == TVnJSONArray::StaticClass() ? ckArray
                                                 : ckOther;
}

TVnJSONHandler::~TVnJSONHandler() {
  json::TextFree(FNameInfo, FName);
}

void TVnJSONHandler::MakeNamedMember() {
  TVnJSONBase *owner = FNameOwner;
  FNameOwner = nullptr;
  // AddMember of the class, with the name that waits.
  TVnJSONMember *m;
  try {
    m = new TVnJSONMember(owner);
  } catch (...) {
    json::TextFree(FNameInfo, FName);
    throw;
  }
  m->FTextInfo = FNameInfo;
  m->FName = FName;
  FNameInfo = 0;
  FName = 0;
  FPendingMember = m;
}

void TVnJSONHandler::FinishFailed() {
  FlushName();
  if (FPendingMember && !FPendingMember->GetValueObj()) FPendingMember->CreateValue(jdtNull);
  FPendingMember = nullptr;
}

void TVnJSONHandler::Open(TVnJSONDataType AType) {
  FlushName();
  FPendingMember = nullptr;
  TVnJSONBase *n = NewOwnNode(AType);
  if (!n) {
    // Any other class at the cursor, through its virtual operations.
    TVnJSONBase *c = FCurrValue;
    if (c && c->Is<TVnJSONDocument>())
      n = static_cast<TVnJSONDocument *>(c)->CreateRootValue(AType);
    else if (c && c->Is<TVnJSONArray>())
      n = c->AddValue(AType);
    else if (c && c->Is<TVnJSONObject>()) {
      TVnJSONMember *m = static_cast<TVnJSONObject *>(c)->LastMember();
      if (!m) throw EVnJSONException(_cVnJSONOeps, 0);
      n = m->CreateValue(AType);
    } else if (c && c->Is<TVnJSONMember>())
      n = static_cast<TVnJSONMember *>(c)->CreateValue(AType);
    else
      throw EVnJSONException(_cVnJSONOeps, 0);
  }
  SetCurrValue(n);
}

void TVnJSONHandler::StartObject() {
  Open(jdtObject);
}

void TVnJSONHandler::StartArray() {
  Open(jdtArray);
}

void TVnJSONHandler::StartMember(const VnJSONString &AName) {
  FlushName();
  TVnJSONBase *c = FCurrValue;
  if (FCurrKind == ckObject && FDeferNames) {
    // The name waits for its value (see FNameOwner).
    FPendingMember = nullptr;
    json::TextSet(FNameInfo, FName, AName);
    FNameOwner = c;
    return;
  }
  if (!c || !c->Is<TVnJSONObject>()) throw Exception(_cVnJSONInvalidObjectType);
  // The member gets its value from the event that follows, which always comes in a parse that
  // succeeds; a parse that fails before it leaves the member with a null value (FinishFailed).
  FPendingMember = c->AddMember(AName);
}

namespace {

// A node of the library's own class for ADataType below AOwner. The constructors of these classes
// take no interface of the node, so the guard that New sets around a constructor has nothing to
// guard and AfterConstruction nothing to do: a plain new makes the same node without them.
TVnJSONBase *NewPlainNode(TVnJSONBase *AOwner, TVnJSONDataType ADataType) {
  switch (ADataType) {
    case jdtObject:
      return new TVnJSONObject(AOwner);
    case jdtArray:
      return new TVnJSONArray(AOwner);
    default:
      return new TVnJSONSimpleType(AOwner);
  }
}

}  // namespace

TVnJSONBase *TVnJSONHandler::NewOwnNode(TVnJSONDataType ADataType) {
  TVnJSONBase *c = FCurrValue;
  if (FCurrKind == ckObject) {
    TVnJSONMember *m = static_cast<TVnJSONObject *>(c)->LastMember();
    if (!m) throw EVnJSONException(_cVnJSONOeps, 0);
    // The member just read has no value yet; any other takes its class's way.
    if (m->ClassType() == TVnJSONMember::StaticClass() && m->FCount == 0)
      return NewPlainNode(m, ADataType);
    return m->CreateValue(ADataType);
  }
  if (FCurrKind == ckArray) return NewPlainNode(c, ADataType);
  return nullptr;
}

TVnJSONBase *TVnJSONHandler::LatentTarget() const noexcept {
  if (FNameOwner) return FNameOwner;
  TVnJSONBase *c = FCurrValue;
  if (FCurrKind == ckArray) return c;
  if (FCurrKind == ckObject && c->FCount > 0) {
    // The last member as it stands: a member record already has its value.
    TVnJSONBase *last = TVnJSONSlots::At(c, c->FCount - 1);
    if (json::IsLatent(last)) return nullptr;
    auto *m = static_cast<TVnJSONMember *>(last);
    if (m->ClassType() == TVnJSONMember::StaticClass() && m->FCount == 0) return m;
  }
  return nullptr;
}

bool TVnJSONHandler::AddLatent(TVnJSONBase *ATarget, TVnJSONBase *AValue) {
  if (!AValue) return false;
  const bool record = ATarget == FNameOwner;
  TVnJSONBase *child = AValue;
  try {
    if (record) child = json::RecordMake(FNameInfo, FName, AValue);
    ATarget->AppendChild(child);
  } catch (...) {
    // The name still waits; a failed parse makes its member with a null value (FinishFailed).
    if (child != AValue) json::RecordFree(child, false);
    json::LatentFree(AValue);
    throw;
  }
  if (record) {
    ATarget->FMemberRecords = true;
    FNameOwner = nullptr;
    FNameInfo = 0;
    FName = 0;
  }
  FPendingMember = nullptr;
  return true;
}

void TVnJSONHandler::Value(TVnJSONDataType ADataType, const VnJSONString &AValue) {
  // Text without escapes is stored as it came; the rest is decoded first.
  const bool plain = json::FindBackslashOrPercent(AValue, 0) == AValue.size();
  if (TVnJSONBase *target = LatentTarget()) {
    if (plain) {
      if (AddLatent(target, json::LatentMake(ADataType, UnicodeStringView(AValue)))) return;
    } else {
      UnicodeString text;
      try {
        text = VnJSONtoStr(AValue, ADataType);
      } catch (...) {
        // As with a node made before its text: the value stays, without its text.
        FlushName();
        FPendingMember = nullptr;
        NewOwnValue(ADataType);
        throw;
      }
      AddDecoded(target, ADataType, text);
      return;
    }
  }
  FlushName();
  FPendingMember = nullptr;
  TVnJSONBase *c = FCurrValue;
  // The library's own classes first, by an exact look at the class.
  TVnJSONSimpleType *v = NewOwnValue(ADataType);
  if (!v) {
    // A class derived from them, through its virtual operations.
    if (c && c->Is<TVnJSONObject>()) {
      TVnJSONMember *m = static_cast<TVnJSONObject *>(c)->LastMember();
      if (!m) throw EVnJSONException(_cVnJSONOeps, 0);
      v = As<TVnJSONSimpleType>(m->CreateValue(ADataType));
    } else if (c && c->Is<TVnJSONArray>()) {
      v = As<TVnJSONSimpleType>(c->AddValue(ADataType));
    } else {
      throw EVnJSONException(_cVnJSONOeps, 0);
    }
  }
  if (plain)
    v->SetText(AValue, ADataType);
  else
    v->SetText(VnJSONtoStr(AValue, ADataType), ADataType);
}

void TVnJSONHandler::AddDecoded(TVnJSONBase *ATarget, TVnJSONDataType ADataType,
                                UnicodeStringView AText) {
  if (AddLatent(ATarget, json::LatentMake(ADataType, AText))) return;
  FlushName();
  FPendingMember = nullptr;
  NewOwnValue(ADataType)->SetText(AText, ADataType);
}

bool TVnJSONHandler::ValueUTF8(const char *AData, std::size_t ALength) {
  TVnJSONBase *target = LatentTarget();
  if (!target) return false;
  // A unit a byte at most; the room only grows.
  if (FDecoded.size() < ALength) FDecoded.resize(std::max(ALength, FDecoded.size() * 2));
  std::size_t n;
  if (!json::DecodeStringUTF8(AData, ALength, FDecoded.data(), n)) return false;
  AddDecoded(target, jdtString, UnicodeStringView(FDecoded.data(), n));
  return true;
}

void TVnJSONHandler::ValueAscii(TVnJSONDataType ADataType, const char *AData, std::size_t ALength) {
  // ASCII without a backslash: nothing to decode but a "%" in a number.
  const bool percent = ADataType == jdtNumber && std::memchr(AData, '%', ALength);
  if (!percent)
    if (TVnJSONBase *target = LatentTarget())
      if (AddLatent(target, json::LatentMake(ADataType, std::string_view(AData, ALength)))) return;
  FlushName();
  TVnJSONSimpleType *v = NewOwnValue(ADataType);
  if (!v) {
    // Another class at the cursor takes the general way.
    UnicodeString text(ALength, u'\0');
    for (std::size_t i = 0; i < ALength; ++i) text[i] = static_cast<unsigned char>(AData[i]);
    Value(ADataType, text);
    return;
  }
  FPendingMember = nullptr;
  if (percent) {
    UnicodeString text(ALength, u'\0');
    for (std::size_t i = 0; i < ALength; ++i) text[i] = static_cast<unsigned char>(AData[i]);
    v->SetText(VnJSONtoStr(text, ADataType), ADataType);
    return;
  }
  v->SetTextAscii(AData, ALength, ADataType);
}

void TVnJSONHandler::ScannedNumber(const char *AData, std::size_t ALength) {
  if (TVnJSONBase *target = LatentTarget())
    if (AddLatent(target, json::LatentMake(jdtNumber, std::string_view(AData, ALength), true)))
      return;
  ValueAscii(jdtNumber, AData, ALength);
}

void TVnJSONHandler::StartMemberAscii(const char *AData, std::size_t ALength) {
  TVnJSONBase *c = FCurrValue;
  if (FCurrKind == ckObject) {
    FlushName();
    if (FDeferNames) {
      // The name waits for its value (see FNameOwner).
      FPendingMember = nullptr;
      json::TextSetAscii(FNameInfo, FName, AData, ALength);
      FNameOwner = c;
      return;
    }
    // AddMember of the class, with the name set from the bytes.
    auto *m = new TVnJSONMember(c);
    json::TextSetAscii(m->FTextInfo, m->FName, AData, ALength);
    FPendingMember = m;
    return;
  }
  UnicodeString name(ALength, u'\0');
  for (std::size_t i = 0; i < ALength; ++i) name[i] = static_cast<unsigned char>(AData[i]);
  StartMember(name);
}

void TVnJSONHandler::Close() {
  FlushName();
  TVnJSONBase *c = FCurrValue ? FCurrValue->Owner() : nullptr;
  while (c) {
    // The library's own classes by an exact look first: a member is passed, a container ends.
    const TClass k = c->ClassType();
    if (k == TVnJSONMember::StaticClass()) {
      c = c->Owner();
      continue;
    }
    if (k == TVnJSONObject::StaticClass() || k == TVnJSONArray::StaticClass() ||
        c->Is<TVnJSONObject>() || c->Is<TVnJSONArray>() || c->Is<TVnJSONDocument>())
      break;
    c = c->Owner();
  }
  SetCurrValue(c);
}

void TVnJSONHandler::EndArray() {
  Close();
}

void TVnJSONHandler::EndObject() {
  Close();
}

// ---------------------------------------------------------------------------------------------
// Start-up: the two document hooks of the support layer.

namespace {

DelphiInterface<IInterface> CreateJSONDocHook(const UnicodeString &AJSON) {
  DelphiInterface<IVnJSONDocument> doc(TVnJSONDocument::CreateFromJSON(AJSON));
  return DelphiInterface<IInterface>(doc.get());
}

Variant GetJSONDocValueHook(IInterface *ADocument, const UnicodeString &APath) {
  DelphiInterface<IVnJSONDocument> doc = IntfAs<IVnJSONDocument>(ADocument);
  DelphiInterface<IVnJSONArray> found = doc->SelectIntf(APath, {jsoCaseInsensitive});
  if (!found || found->Count() == 0) return Variant();
  return found->GetItem(0)->GetAsVariant();
}

struct TStartUp {
  TStartUp() noexcept {
    SetCreateJSONDoc(&CreateJSONDocHook);
    SetGetJSONDocValue(&GetJSONDocValueHook);
  }
  ~TStartUp() {
    SetCreateJSONDoc(nullptr);
    SetGetJSONDocValue(nullptr);
  }
} gStartUp;

}  // namespace

}  // namespace vn
