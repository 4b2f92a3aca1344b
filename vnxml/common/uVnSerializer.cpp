// The serializer registries, hints, helpers, the serializable bases, and the walk.
#include "vnxml/common/uVnSerializer.h"

#include <unicode/uchar.h>
#include <unicode/ustring.h>

#include <cstring>

#include "vnxml/common/uVnSerializer/Internal.h"
#include "vnxml/rtl/Owned.h"
#include "vnxml/rtl/SysUtils.h"

namespace vn {

const char16_t _SVnNoSerializer[] = u"There is no registered serializer for \"%s\"!";
const char16_t _SVnNoFormatSerializer[] = u"There is no \"%s\" registered serializer for %s!";
const char16_t _SVnSerializeFailure[] = u"Serialization failure at \"%s\"\r\n";

namespace {

const UnicodeString cExcludeRoot = u"excluderoot";
const UnicodeString cExcludeChildren = u"excludechildren";
const UnicodeString cTrue = u"true";

[[noreturn]] void RaiseFailure(const UnicodeString &APath, const UnicodeString &AText,
                               std::initializer_list<TVarRec> AArgs) {
  UnicodeString text = Format(AText, AArgs);
  throw EVnSerializeException(Format(_SVnSerializeFailure, {APath}) + text);
}

UnicodeString KindName(Integer AOrdinal) {
  return GetEnumName(TypeInfo<TVnTypeKind>(), AOrdinal);
}

using serializer_detail::ClassOf;

}  // namespace

// ---------------------------------------------------------------------------------------------
// Hints

namespace {

TClass HelperClassOf(const UnicodeString &AName, TClass ABase, const char16_t *AMessage) {
  const TVnTypeInfo *t = TVnTypes::GetTypeInfo(AName, tntQualifiedName, true, mtkUnknown);
  TClass c = ClassOf(t);
  VN_ASSERT_MSG_AT(c != nullptr,
                   u"Check if you registered the helperclass and/or used the QualifiedName in the "
                   u"hint?",
                   __FILE__, __LINE__);
  if (!c->InheritsFrom(ABase)) throw Exception(AMessage);
  return c;
}

}  // namespace

TClass SerializerHint::GetSerializerHelperClass() const {
  return HelperClassOf(FValue, TVnSerializerHelper::StaticClass(),
                       u"The specified helperclass is not a descendant of TVnSerializerHelper!");
}

TClass SerializerHint::GetDeserializerHelperClass() const {
  return HelperClassOf(FValue, TVnDeserializerHelper::StaticClass(),
                       u"The specified helperclass is not a descendant of TVnDeserializerHelper!");
}

bool GetSerializerHint(std::span<TCustomAttribute *const> AAttributes,
                       TSerializerHintOption AOption, SerializerHint *&AHint) {
  AHint = nullptr;
  for (TCustomAttribute *a : AAttributes) {
    if (!a->InheritsFrom(SerializerHint::StaticClass())) continue;
    auto *h = static_cast<SerializerHint *>(a);
    if (h->Option() == AOption) {
      AHint = h;
      return true;
    }
  }
  return false;
}

bool GetSerializerHint(const TRttiObject *AObject, TSerializerHintOption AOption,
                       SerializerHint *&AHint) {
  if (!AObject) {
    AHint = nullptr;
    return false;
  }
  return GetSerializerHint(AObject->GetAttributes(), AOption, AHint);
}

// ---------------------------------------------------------------------------------------------
// Helpers and their registry

void TVnSerializerHelper::Serialize(TVnSerializer *, const UnicodeString &, const TVnTypeInfo *,
                                    const TValue &, bool &AHandled) {
  AHandled = true;
}

TVnCanDeserialize TVnDeserializerHelper::CanDeserialize(TVnDeserializer *, UnicodeString &,
                                                        UnicodeString &, UnicodeString &) {
  return desNo;
}
void TVnDeserializerHelper::DeserializeStartType(TVnDeserializer *) {}
void TVnDeserializerHelper::DeserializeValue(TVnDeserializer *, const UnicodeString &,
                                             const UnicodeString &, const UnicodeString &,
                                             const UnicodeString &, bool &) {}
void TVnDeserializerHelper::DeserializeEndType(TVnDeserializer *) {}

namespace {

// The list is written at start-up only and read afterwards without a lock.
struct THelperRegistry {
  TVnSerializerHelperReg *Head = nullptr;
  ~THelperRegistry() {
    while (Head) {
      TVnSerializerHelperReg *n = Head->Next;
      delete Head;
      Head = n;
    }
  }
};

THelperRegistry &Helpers() {
  static THelperRegistry r;
  return r;
}

bool IsPersistent(TClass AClass) {
  return AClass && AClass->InheritsFrom(TPersistent::StaticClass());
}

TObject *NewHelper(TClass AClass) {
  return AClass ? AClass->Create() : nullptr;
}

}  // namespace

void VnRegisterSerializerHelper(TClass AClass, TVnSerializerHelperClass ASerializer,
                                TVnDeserializerHelperClass ADeserializer) {
  if (IsPersistent(AClass)) RegisterClass(AClass);
  auto *entry = new TVnSerializerHelperReg;
  entry->ValueType = AClass ? TVnTypes::GetTypeInfo(AClass) : nullptr;
  entry->ValueClass = AClass;
  entry->ValueTypeName = entry->ValueType ? entry->ValueType->QualifiedName : UnicodeString();
  entry->SerializerHelperClass = ASerializer;
  entry->DeserializerHelperClass = ADeserializer;
  TVnSerializerHelperReg *&head = Helpers().Head;
  if (!head) {
    head = entry;
    return;
  }
  TVnSerializerHelperReg **link = &head;
  for (TVnSerializerHelperReg *e = head; e; link = &e->Next, e = e->Next) {
    if (e->ValueClass == AClass && e->SerializerHelperClass == ASerializer) {
      if (e->DeserializerHelperClass && e->DeserializerHelperClass != ADeserializer) {
        delete entry;
        AssertFailed(u"Invalid Serializer/Deserializer combination!", __FILE__, __LINE__);
      }
      e->DeserializerHelperClass = ADeserializer;
      delete entry;
      return;
    }
    if ((AClass && e->ValueClass && AClass->InheritsFrom(e->ValueClass)) || !e->ValueClass) {
      entry->Next = e;
      *link = entry;
      return;
    }
  }
  entry->Next = head;
  head = entry;
}

void VnRegisterSerializerHelper(const UnicodeString &ATypeName,
                                TVnSerializerHelperClass ASerializer,
                                TVnDeserializerHelperClass ADeserializer) {
  auto *entry = new TVnSerializerHelperReg;
  entry->ValueTypeName = ATypeName;
  entry->SerializerHelperClass = ASerializer;
  entry->DeserializerHelperClass = ADeserializer;
  entry->Next = Helpers().Head;
  Helpers().Head = entry;
}

const TVnSerializerHelperReg *VnSerializerHelpers() {
  return Helpers().Head;
}

UnicodeString VnGenericTypeName(UnicodeStringView AName) {
  std::size_t open = AName.find(u'<');
  if (open == UnicodeStringView::npos) return UnicodeString(AName);
  UnicodeString result(AName.substr(0, open + 1));
  result += u'T';
  // The arguments may be generic themselves: only commas at the first level separate them.
  Integer depth = 0;
  std::size_t i = open + 1;
  for (; i < AName.size(); ++i) {
    char16_t c = AName[i];
    if (c == u'<') {
      ++depth;
    } else if (c == u'>') {
      if (depth == 0) break;
      --depth;
    } else if (c == u',' && depth == 0) {
      result += u",T";
    }
  }
  result += AName.substr(i);
  return result;
}

TVnSerializerHelper *FindSerializerHelper(TClass AClass) {
  if (!AClass) return nullptr;
  const TVnTypeInfo *info = TVnTypes::GetTypeInfo(AClass);
  UnicodeStringView name = info ? UnicodeStringView(info->QualifiedName) : UnicodeStringView();
  if (name.find(u'<') != UnicodeStringView::npos) {
    UnicodeString generic = VnGenericTypeName(name);
    // The registry's names may carry a unit ("System.Generics.Collections.TObjectList<T>"); the
    // class's qualified name carries the same unit, so the two compare as they stand.
    for (TVnSerializerHelperReg *e = Helpers().Head; e; e = e->Next) {
      if (CompareText(e->ValueTypeName, generic) != 0 &&
          CompareText(e->ValueTypeName, VnGenericTypeName(info->Name)) != 0)
        continue;
      return static_cast<TVnSerializerHelper *>(NewHelper(e->SerializerHelperClass));
    }
  }
  for (TVnSerializerHelperReg *e = Helpers().Head; e; e = e->Next)
    if (e->ValueClass && AClass->InheritsFrom(e->ValueClass))
      return static_cast<TVnSerializerHelper *>(NewHelper(e->SerializerHelperClass));
  return nullptr;
}

TVnDeserializerHelper *FindDeserializerHelper(TClass AClass) {
  if (!AClass) return nullptr;
  for (TVnSerializerHelperReg *e = Helpers().Head; e; e = e->Next)
    if (e->ValueClass && AClass->InheritsFrom(e->ValueClass))
      return static_cast<TVnDeserializerHelper *>(NewHelper(e->DeserializerHelperClass));
  return nullptr;
}

// ---------------------------------------------------------------------------------------------
// The serializable bases

struct TVnSerializableLock {
  template <class T>
  static void Enter(T &AObject, bool &AFlag) {
    AObject.FCritSection.lock();
    AObject.FHolder.store(std::this_thread::get_id(), std::memory_order_relaxed);
    ++AObject.FHolds;
    AFlag = true;
  }
  template <class T>
  static void Leave(T &AObject, bool &AFlag) {
    // Only a thread that holds the section leaves it: AfterSerialize also runs when the walk
    // fails, and then BeforeSerialize may have failed before entering.
    if (AObject.FHolds == 0 ||
        AObject.FHolder.load(std::memory_order_relaxed) != std::this_thread::get_id())
      return;
    if (--AObject.FHolds == 0) {
      AFlag = false;
      AObject.FHolder.store(std::thread::id(), std::memory_order_relaxed);
    }
    AObject.FCritSection.unlock();
  }
};

#define VN_SERIALIZABLE_OPERATIONS(Class)                                                       \
  bool Class::CanSerializeChild(TVnSerializer *, TObject *, TClass, UnicodeString &) {          \
    return true;                                                                                \
  }                                                                                             \
  void Class::BeforeSerialize(TVnSerializer *, bool &) {                                        \
    TVnSerializableLock::Enter(*this, FSerializing);                                            \
  }                                                                                             \
  void Class::AfterSerialize(TVnSerializer *) {                                                 \
    TVnSerializableLock::Leave(*this, FSerializing);                                            \
  }                                                                                             \
  void Class::BeforeDeserialize(TVnDeserializer *) {                                            \
    TVnSerializableLock::Enter(*this, FDeserializing);                                          \
  }                                                                                             \
  void Class::AfterDeserialize(TVnDeserializer *) {                                             \
    TVnSerializableLock::Leave(*this, FDeserializing);                                          \
  }                                                                                             \
  TVnCanDeserialize Class::CanDeserialize(TVnDeserializer *, UnicodeString &, UnicodeString &,  \
                                          UnicodeString &) {                                    \
    return desNo;                                                                               \
  }                                                                                             \
  void Class::DeserializeValue(TVnDeserializer *, const UnicodeString &, const UnicodeString &, \
                               const UnicodeString &, const UnicodeString &, bool &) {}

VN_SERIALIZABLE_OPERATIONS(TVnSerializableObject)
VN_SERIALIZABLE_OPERATIONS(TVnSerializableComponent)
#undef VN_SERIALIZABLE_OPERATIONS

// ---------------------------------------------------------------------------------------------
// TVnCustomSerializer

namespace {
std::atomic<UInt64> gParamGeneration{1};
}  // namespace

UInt64 detail::SerializerParamGeneration() noexcept {
  return gParamGeneration.load(std::memory_order_relaxed);
}

void detail::SerializerParamsChanged() noexcept {
  gParamGeneration.fetch_add(1, std::memory_order_relaxed);
}

TVnCustomSerializer::TVnCustomSerializer(const TValue &AValue) : FValue(AValue) {
  void *ptr = nullptr;
  switch (FValue.GetTypeKind()) {
    case tkClass:
      ptr = FValue.AsObject();
      break;
    case tkInteger:
    case tkEnumeration:
    case tkFloat:
    case tkSet:
    case tkVariant:
    case tkArray:
    case tkRecord:
    case tkInt64:
    case tkDynArray:
      ptr = FValue.GetReferenceToRawData();
      break;
    case tkMethod:
    case tkInterface:
    case tkClassRef:
    case tkPointer:
    case tkProcedure:
      throw Exception(u"Values of type \"%s\" cannot be serialized!",
                      {KindName(FValue.GetTypeKind())});
    default:
      break;
  }
  InitFromPointer(ptr, FValue.GetTypeInfo());
}

TVnCustomSerializer::TVnCustomSerializer(void *AInstance, PTypeInfo AType) {
  InitFromPointer(AInstance, AType);
}

void TVnCustomSerializer::InitFromPointer(void *AInstance, PTypeInfo AType) {
  FInstancePtr = AInstance;
  FInstanceTypeInfo = AType ? TVnTypes::GetTypeInfo(AType) : nullptr;
  if (!FValue.GetTypeInfo() && AType) {
    switch (AType->Kind) {
      case tkInteger:
      case tkChar:
      case tkEnumeration:
      case tkFloat:
      case tkString:
      case tkSet:
      case tkWChar:
      case tkLString:
      case tkWString:
      case tkVariant:
      case tkInt64:
      case tkUString:
        TValue::Make(AInstance, AType, FValue);
        if (AType->Kind == tkSet) FInstancePtr = FValue.GetReferenceToRawData();
        break;
      default:
        break;
    }
  }
}

TVnCustomSerializer::~TVnCustomSerializer() {
  delete FParams;
}

void TVnCustomSerializer::ResetTo(void *AInstance, PTypeInfo AType) {
  FParent = nullptr;
  FStream = nullptr;
  delete FParams;
  FParams = nullptr;
  FName.clear();
  FValue = TValue();
  FDepth = 0;
  InitFromPointer(AInstance, AType);
}

TObject *TVnCustomSerializer::GetObjParam(const UnicodeString &AName) {
  for (TVnCustomSerializer *s = this; s; s = s->FParent) {
    if (s->FParams) {
      Integer i = s->FParams->IndexOf(AName);
      if (i >= 0) return s->FParams->Objects(i);
    }
    if (s->FParent == s) break;
  }
  return nullptr;
}

UnicodeString TVnCustomSerializer::GetParam(const UnicodeString &AName) {
  for (TVnCustomSerializer *s = this; s; s = s->FParent) {
    if (s->FParams) {
      Integer i = s->FParams->IndexOfName(AName);
      if (i >= 0) return s->FParams->ValueFromIndex(i);
    }
    if (s->FParent == s) break;
  }
  return UnicodeString();
}

bool TVnCustomSerializer::HasParam(const UnicodeString &AName) {
  for (TVnCustomSerializer *s = this; s; s = s->FParent) {
    if (s->FParams && s->FParams->IndexOfName(AName) >= 0) return true;
    if (s->FParent == s) break;
  }
  return false;
}

void TVnCustomSerializer::SetParam(const UnicodeString &AName, const UnicodeString &AValue) {
  if (!FParams) {
    if (AValue.empty()) return;
    FParams = new TStringList;
  }
  FParams->SetValue(AName, AValue);
  detail::SerializerParamsChanged();
}

void TVnCustomSerializer::SetObjParam(const UnicodeString &AName, TObject *AObject) {
  if (!FParams) FParams = new TStringList;
  Integer i = FParams->IndexOfName(AName);
  if (i >= 0)
    FParams->PutObject(i, AObject);
  else
    FParams->AddObject(AName, AObject);
  detail::SerializerParamsChanged();
}

void TVnCustomSerializer::SetParams(TStrings *AList) {
  if (!AList) return;
  if (!FParams) FParams = new TStringList;
  for (Integer i = 0; i < AList->Count(); ++i) FParams->AddObject(AList->Get(i), AList->Objects(i));
  detail::SerializerParamsChanged();
}

void TVnCustomSerializer::SetParent(TVnCustomSerializer *AParent) {
  FParent = AParent;
  FDepth = AParent ? AParent->FDepth + 1 : 0;
}

// ---------------------------------------------------------------------------------------------
// TVnSerializer

TVnSerializer::TVnSerializer(const TValue &AValue) : TVnCustomSerializer(AValue) {
  QueryHelper();
}

TVnSerializer::TVnSerializer(void *AInstance, PTypeInfo AType)
    : TVnCustomSerializer(AInstance, AType) {
  QueryHelper();
}

TVnSerializer::~TVnSerializer() {
  for (TVnSerializer *kept : FOwnKept) kept->Free();
}

void TVnSerializer::QueryHelper() {
  if (FInstanceTypeInfo && FInstanceTypeInfo->Kind == vtkClass && FInstancePtr)
    Supports(static_cast<TObject *>(FInstancePtr), FHelper);
}

void TVnSerializer::Reuse(void *AInstance, PTypeInfo AType) {
  FHelper = nullptr;
  ResetTo(AInstance, AType);
  FMemberName.clear();
  FPath.clear();
  FPathParent = nullptr;
  FPathMade = true;
  FOut = nullptr;
  FScratch = nullptr;
  FKept = nullptr;
  FFlagsGeneration = 0;
  QueryHelper();
}

TVnSerializer *TVnSerializer::AcquireChild(void *APtr, const TVnTypeInfo *ATypeInfo) {
  TVnSerializerClass cls = VnFindSerializerClassEx(Format(), ATypeInfo);
  if (cls && cls->Reusable && FKept) {
    for (std::size_t i = FKept->size(); i-- > 0;) {
      TVnSerializer *kept = (*FKept)[i];
      if (kept->ClassType() != cls->Class) continue;
      FKept->erase(FKept->begin() + static_cast<std::ptrdiff_t>(i));
      try {
        kept->Reuse(APtr, ATypeInfo ? ATypeInfo->Handle : nullptr);
      } catch (...) {
        kept->Free();
        throw;
      }
      kept->FReusable = true;
      kept->SetParent(this);
      return kept;
    }
  }
  TVnSerializer *child = CreateChildSerializer(APtr, ATypeInfo);
  child->FReusable = cls && cls->Reusable && child->ClassType() == cls->Class;
  return child;
}

void TVnSerializer::ReleaseChild(TVnSerializer *AChild) noexcept {
  if (AChild->RefCount() != 0) {
    // Interfaces hold the worker: the last of them frees it. Its path is made while the
    // workers above still stand.
    try {
      AChild->Path();
    } catch (...) {
      AChild->FPath.clear();
    }
    AChild->FPathParent = nullptr;
    AChild->FPathMade = true;
    AChild->SetAutoDestroy(true);
    return;
  }
  if (AChild->FReusable && FKept) {
    // What the worker holds on the instance goes now, as it would with the worker.
    AChild->FHelper = nullptr;
    AChild->FValue = TValue();
    try {
      FKept->push_back(AChild);
      return;
    } catch (...) {
    }
  }
  AChild->Free();
}

void TVnSerializer::SetParent(TVnCustomSerializer *AParent) {
  if (AParent) {
    FStream = AParent->Stream();
    if (AParent->InheritsFrom(TVnSerializer::StaticClass())) {
      auto *parent = static_cast<TVnSerializer *>(AParent);
      FOut = parent->FOut;
      FScratch = &parent->Scratch();
      FKept = parent->FKept;
      // The parent's flags stand for this worker too as long as it has no parameters itself.
      if (!FParams && parent->FFlagsGeneration == detail::SerializerParamGeneration()) {
        FFlagsGeneration = parent->FFlagsGeneration;
        FExcludeChildren = parent->FExcludeChildren;
        FExcludeRoot = parent->FExcludeRoot;
      } else {
        FFlagsGeneration = 0;
      }
    }
  } else {
    FFlagsGeneration = 0;
  }
  TVnCustomSerializer::SetParent(AParent);
}

bool TVnSerializer::ParamIsTrue(const UnicodeString &AName) {
  return GetParam(AName) == cTrue;
}

void TVnSerializer::ReadFlags() {
  FFlagsGeneration = detail::SerializerParamGeneration();
  FExcludeChildren = ParamIsTrue(cExcludeChildren);
  FExcludeRoot = ParamIsTrue(cExcludeRoot);
}

// The bytes are made in a small block on the stack and appended a block at a time.
void TVnSerializer::AppendUTF8(std::string &AOut, UnicodeStringView AText) {
  char block[512];
  std::size_t n = 0;
  const char16_t *p = AText.data(), *e = p + AText.size();
  while (p < e) {
    if (n > sizeof block - 4) {
      AOut.append(block, n);
      n = 0;
    }
    char32_t c = *p++;
    if (c < 0x80) {
      block[n++] = static_cast<char>(c);
      continue;
    }
    if (c >= 0xD800 && c <= 0xDBFF && p < e && *p >= 0xDC00 && *p <= 0xDFFF) {
      c = 0x10000 + ((c - 0xD800) << 10) + (*p++ - 0xDC00);
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      c = 0xFFFD;
    }
    if (c < 0x800) {
      block[n++] = static_cast<char>(0xC0 | (c >> 6));
      block[n++] = static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      block[n++] = static_cast<char>(0xE0 | (c >> 12));
      block[n++] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      block[n++] = static_cast<char>(0x80 | (c & 0x3F));
    } else {
      block[n++] = static_cast<char>(0xF0 | (c >> 18));
      block[n++] = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
      block[n++] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      block[n++] = static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  AOut.append(block, n);
}

void TVnSerializer::Write(std::string_view ABytes) {
  if (!FOut) {
    if (FStream) FStream->WriteBuffer(ABytes.data(), static_cast<Int64>(ABytes.size()));
    return;
  }
  FOut->append(ABytes);
  if (FOut->size() >= 65536 && FStream) Flush();
}

void TVnSerializer::Write(UnicodeStringView AText) {
  if (!FOut) {
    Write(std::string_view(UTF8Encode(AText)));
    return;
  }
  AppendUTF8(*FOut, AText);
  if (FOut->size() >= 65536 && FStream) Flush();
}

UnicodeStringView TVnSerializer::TextOf(const TValue &AValue, UnicodeString &AHolder) {
  if (AValue.GetTypeInfo() == TypeInfo<UnicodeString>())
    return *static_cast<const UnicodeString *>(AValue.GetReferenceToRawData());
  AHolder = AValue.ToString();
  return AHolder;
}

void TVnSerializer::WriteSchemaName(const TVnTypeInfo *AType) {
  // Type records live as long as the process, so their address keys the cache; each thread
  // keeps its own.
  struct TEntry {
    const TVnTypeInfo *Type = nullptr;
    std::string Name;
  };
  thread_local TEntry cache[256];
  TEntry &e = cache[(reinterpret_cast<std::uintptr_t>(AType) >> 4) & 255];
  if (e.Type != AType) {
    e.Name.clear();
    AppendUTF8(e.Name, AType->SchemaName());
    e.Type = AType;
  }
  Write(std::string_view(e.Name));
}

void TVnSerializer::Write(char AByte) {
  if (!FOut) {
    Write(std::string_view(&AByte, 1));
    return;
  }
  FOut->push_back(AByte);
}

void TVnSerializer::Flush() {
  // Without a stream the buffer is the result (Serialize()).
  if (!FOut || FOut->empty() || !FStream) return;
  FStream->WriteBuffer(FOut->data(), static_cast<Int64>(FOut->size()));
  FOut->clear();
}

void TVnSerializer::SerializeStartType(const UnicodeString &, const TVnTypeInfo *, Integer) {}
void TVnSerializer::SerializeEndType(const UnicodeString &, const TVnTypeInfo *, Integer) {}
void TVnSerializer::SerializeName(const UnicodeString &, TVnSerializerMemberType, TVnTypeKind,
                                  TVnTypeKind) {}
void TVnSerializer::SerializeValue(const UnicodeString &, const TVnTypeInfo *, const TValue &,
                                   Integer) {}

RawByteString TVnSerializer::Serialize() {
  // The run writes into its own buffer, which becomes the result: no stream in between.
  RunRoot(nullptr, [this] { RunBody(); });
  RawByteString result = std::move(FOwnBuffer);
  FOwnBuffer = std::string();
  return result;
}

void TVnSerializer::RunRoot(TStream *AStream, const std::function<void()> &ABody) {
  SetAutoDestroy(GetAutoDestroy());
  FStream = AStream;
  SetParent(nullptr);
  FOwnBuffer.clear();
  FOut = &FOwnBuffer;
  FKept = &FOwnKept;
  try {
    ABody();
  } catch (...) {
    // What was written stays in the stream.
    try {
      Flush();
    } catch (...) {
    }
    FOut = nullptr;
    throw;
  }
  Flush();
  FOut = nullptr;
}

void TVnSerializer::Serialize(TStream *AStream) {
  RunRoot(AStream, [this] { RunBody(); });
}

void TVnSerializer::RunBody() {
  {
    bool skip = false;
    bool frame = !ExcludeRoot() && FInstanceTypeInfo && !FInstanceTypeInfo->GetIsSimpleType();
    if (frame) SerializeStartType(UnicodeString(), FInstanceTypeInfo, -1);
    try {
      if (FHelper) FHelper->BeforeSerialize(this, skip);
      if (!skip && FInstanceTypeInfo && FInstanceTypeInfo->Kind == vtkClass && FInstancePtr) {
        auto *object = static_cast<TObject *>(FInstancePtr);
        if (TVnSerializerHelper *helper = FindSerializerHelper(object->ClassType())) {
          Owned<TVnSerializerHelper> own(helper);
          helper->Serialize(this, UnicodeString(), FInstanceTypeInfo, TValue(object), skip);
        }
      }
      if (!skip) DoSerialize(this, UnicodeString(), UnicodeString());
    } catch (...) {
      if (FHelper) FHelper->AfterSerialize(this);
      throw;
    }
    if (FHelper) FHelper->AfterSerialize(this);
    if (frame) SerializeEndType(UnicodeString(), FInstanceTypeInfo, -1);
  }
}

void TVnSerializer::Serialize(TStream *AStream, const TRttiInvokableType *AInvokable,
                              const UnicodeString &, std::span<const TValue> AArgs, Integer AHigh) {
  auto params = AInvokable->GetParameters();
  if (static_cast<Integer>(params.size()) != AHigh + 1)
    throw Exception(
        u"Failed to trigger the event!\r\nThe paramatercount does not match the count of the "
        u"prototype.");
  RunRoot(AStream, [&] {
    FInstanceTypeInfo = TVnTypes::GetTypeInfo(AInvokable);
    SerializeStartType(FName, FInstanceTypeInfo, -1);
    for (std::size_t i = 0; i < params.size(); ++i) {
      const TVnTypeInfo *t = TVnTypes::GetTypeInfo(params[i]->GetParamTypeHandle());
      SerializeFieldOrProp(params[i]->GetName(), t, i < AArgs.size() ? AArgs[i] : TValue(),
                           params[i]->GetAttributes());
    }
    SerializeEndType(UnicodeString(), FInstanceTypeInfo, -1);
  });
}

bool TVnSerializer::IsAncestorInstance(const void *AObject) const {
  for (const TVnCustomSerializer *s = this; s; s = s->Parent())
    if (s->InstancePtr() == AObject) return true;
  return false;
}

namespace {

// A member's value, with a TValue held in a TValue taken out of it.
void Unwrap(TValue &AValue, const TVnTypeInfo *&AInfo) {
  if (AValue.GetTypeKind() == tkRecord && AInfo && AInfo->QualifiedName == u"System.Rtti.TValue") {
    TValue inner = AValue.AsType<TValue>();
    AValue = std::move(inner);
    AInfo = AValue.GetTypeInfo() ? TVnTypes::GetTypeInfo(AValue.GetTypeInfo()) : nullptr;
  }
}

// Member names compared as a case-insensitive string list compares them: ASCII directly, other
// text by full case folding.
bool SameMemberName(const UnicodeString &A, const UnicodeString &B) {
  bool ascii = true;
  if (A.size() == B.size()) {
    for (std::size_t i = 0; i < A.size(); ++i) {
      char16_t a = A[i], b = B[i];
      if ((a | b) >= 0x80) {
        ascii = false;
        break;
      }
      if (a == b) continue;
      if (a >= u'A' && a <= u'Z') a = static_cast<char16_t>(a + 32);
      if (b >= u'A' && b <= u'Z') b = static_cast<char16_t>(b + 32);
      if (a != b) return false;
    }
    if (ascii) return true;
  } else {
    for (char16_t c : A) ascii = ascii && c < 0x80;
    for (char16_t c : B) ascii = ascii && c < 0x80;
    if (ascii) return false;
  }
  UErrorCode err = U_ZERO_ERROR;
  return u_strCaseCompare(reinterpret_cast<const UChar *>(A.data()), static_cast<int32_t>(A.size()),
                          reinterpret_cast<const UChar *>(B.data()), static_cast<int32_t>(B.size()),
                          U_FOLD_CASE_DEFAULT, &err) == 0;
}

// Whether the walk reads a member of this type in place when its description allows: records
// and arrays, which it only looks at through their address, but not a TValue held in a member,
// which it takes out first.
bool InPlace(const TVnTypeInfo *AInfo) {
  if (!AInfo) return false;
  TTypeKind kind = AInfo->GetKind();
  if (kind == tkArray || kind == tkDynArray) return true;
  return kind == tkRecord && AInfo->QualifiedName != u"System.Rtti.TValue";
}

// Whether two members of the type have the same name without regard to case, so that the walk
// must leave out the later ones. Few types have such names; the answer is kept per type and
// thread for the registry's generation, so that the others skip the comparisons.
bool NamesClash(const TRttiType *AType) {
  struct TEntry {
    const TRttiType *Type;
    UInt64 Generation;
    bool Clash;
  };
  thread_local TEntry cache[64] = {};
  const UInt64 generation = detail::RegistrationGeneration();
  TEntry &e = cache[(reinterpret_cast<std::uintptr_t>(AType) >> 4) & 63];
  if (e.Type == AType && e.Generation == generation) return e.Clash;
  std::vector<const UnicodeString *> seen;
  bool clash = false;
  auto meet = [&](const UnicodeString &AName) {
    for (const UnicodeString *n : seen)
      if (SameMemberName(*n, AName)) {
        clash = true;
        return;
      }
    seen.push_back(&AName);
  };
  for (TRttiProperty *p : AType->GetProperties()) meet(p->GetName());
  for (TRttiField *f : AType->GetFields()) meet(f->GetName());
  e = {AType, generation, clash};
  return clash;
}

bool IsStructured(TVnTypeKind AKind) {
  return AKind == vtkRecord || AKind == vtkClass || AKind == vtkInterface;
}

// The kind of a type description that may be missing.
TVnTypeKind KindOf(const TVnTypeInfo *AType) {
  return AType ? AType->Kind : vtkUnknown;
}

}  // namespace

void TVnSerializer::DoSerialize(TVnSerializer *ASerializer, const UnicodeString &AName,
                                const UnicodeString &APath) {
  FMemberName = AName;
  FPathParent = nullptr;
  FPathMade = true;
  if (AName.empty()) {
    FPath.clear();
  } else if (&APath == &ParentPath() && ASerializer && ASerializer != this) {
    // Made when a message needs it: most runs never ask.
    FPathParent = ASerializer;
    FPathMade = false;
  } else if (!APath.empty()) {
    FPath = APath + u"." + AName;
  } else {
    FPath = AName;
  }
  TVnTypeKind kind = KindOf(FInstanceTypeInfo);
  switch (kind) {
    case vtkRecord:
    case vtkClass:
      WalkMembers();
      break;
    case vtkArray:
    case vtkDynArray:
      WalkArray(ASerializer, AName);
      break;
    case vtkPointer:
      break;
    default:
      SerializeValue(AName, FInstanceTypeInfo, FValue, -1);
      break;
  }
}

namespace {
const UnicodeString cParentPath;
}  // namespace

const UnicodeString &TVnSerializer::ParentPath() noexcept {
  return cParentPath;
}

const UnicodeString &TVnSerializer::Path() const {
  if (FPathMade) return FPath;
  // The names of the workers up to the first whose path is made, then joined from the top.
  std::vector<const UnicodeString *> names;
  const TVnSerializer *s = this;
  for (; !s->FPathMade; s = s->FPathParent) names.push_back(&s->FMemberName);
  UnicodeString path = s->FPath;
  for (std::size_t i = names.size(); i-- > 0;) {
    if (!path.empty()) path += u'.';
    path += *names[i];
  }
  FPath = std::move(path);
  FPathMade = true;
  return FPath;
}

void TVnSerializer::WalkMembers() {
  TRttiType *type = FInstanceTypeInfo->RttiType;
  if (!type) return;
  // The names met so far, compared without regard to case; a type has few members, so they
  // stay on the stack unless there are many.
  const UnicodeString *first[24];
  std::size_t count = 0;
  std::vector<const UnicodeString *> more;
  const bool clash = NamesClash(type);
  auto isSeen = [&](const UnicodeString &AName) {
    if (!clash) return false;
    for (std::size_t i = 0; i < count; ++i)
      if (SameMemberName(*first[i], AName)) return true;
    for (const UnicodeString *n : more)
      if (SameMemberName(*n, AName)) return true;
    if (count < std::size(first))
      first[count++] = &AName;
    else
      more.push_back(&AName);
    return false;
  };
  SerializerHint *hint = nullptr;

  for (TRttiProperty *prop : type->GetProperties()) {
    if (isSeen(prop->GetName())) continue;
    const TVnTypeInfo *info = TVnTypes::GetTypeInfo(prop->GetDataTypeHandle());
    // Most members carry no attributes, and then no hints.
    const bool attributed = !prop->GetAttributes().empty();
    bool write =
        attributed && GetSerializerHint(prop, shoDoNotSerialize, hint) ? false : prop->IsReadable();
    SerializerHint *nameHint = nullptr;
    bool named = attributed && GetSerializerHint(prop, shoName, nameHint);
    if (write) {
      switch (prop->GetVisibility()) {
        case mvPublished:
          write = !named || !nameHint->Value().empty();
          break;
        case mvPublic:
          write = named && !nameHint->Value().empty();
          break;
        default:
          write = false;
          break;
      }
    }
    TValue value;
    const void *at = nullptr;
    if (write) {
      if (InPlace(info) && !(attributed && GetSerializerHint(prop, shoSerializerHelper, hint)))
        at = prop->GetDataAddress(FInstancePtr);
      if (!at) {
        value = prop->GetValue(FInstancePtr);
        Unwrap(value, info);
      }
      TVnTypeKind k = KindOf(info);
      if (k == vtkUnknown || k == vtkPointer || k == vtkMethod || k == vtkClassRef) write = false;
    }
    if (write && IsStructured(info->Kind)) write = !ExcludeChildren();
    if (write && info->Kind == vtkClass && value.GetTypeKind() == tkClass && value.AsObject() &&
        IsAncestorInstance(value.AsObject()))
      write = false;
    if (!write) continue;

    const UnicodeString &name = named ? nameHint->Value() : prop->GetName();
    TVnSerializerHelper *helper = nullptr;
    if (attributed && GetSerializerHint(prop, shoSerializerHelper, hint)) {
      helper = static_cast<TVnSerializerHelper *>(hint->GetSerializerHelperClass()->Create());
    } else if (info->Kind == vtkClass) {
      TObject *object = value.GetTypeKind() == tkClass ? value.AsObject() : nullptr;
      helper = FindSerializerHelper(object ? object->ClassType() : ClassOf(info));
    }
    if (helper) {
      Owned<TVnSerializerHelper> own(helper);
      bool handled = true;
      helper->Serialize(this, name, info, value, handled);
      if (handled) continue;
    }
    SerializeMember(name, info, value, at ? at : value.GetReferenceToRawData());
  }

  for (TRttiField *field : type->GetFields()) {
    if (isSeen(field->GetName())) continue;
    const bool attributed = !field->GetAttributes().empty();
    bool write = attributed && GetSerializerHint(field, shoDoNotSerialize, hint)
                     ? false
                     : field->GetVisibility() >= mvPublic;
    if (attributed && GetSerializerHint(field, shoName, hint)) write = !hint->Value().empty();
    if (!write) continue;
    const TVnTypeInfo *info = TVnTypes::GetTypeInfo(field->GetDataTypeHandle());
    const void *at = InPlace(info) ? field->GetDataAddress(FInstancePtr) : nullptr;
    TValue value;
    if (!at) {
      value = field->GetValue(FInstancePtr);
      Unwrap(value, info);
    }
    if (KindOf(info) == vtkClass && value.GetTypeKind() == tkClass && value.AsObject() &&
        IsAncestorInstance(value.AsObject()))
      continue;
    if (IsStructured(KindOf(info)) && ExcludeChildren()) continue;
    SerializeMember(field->GetName(), info, value, at ? at : value.GetReferenceToRawData());
  }
}

void TVnSerializer::WalkArray(TVnSerializer *ASerializer, const UnicodeString &AName) {
  TValue array;
  // The array in place when the member allows it, else a copy in array.
  PTypeInfo arrayType = nullptr;
  const void *data = nullptr;
  if (!AName.empty()) {
    const TVnTypeInfo *owner = ASerializer->FInstanceTypeInfo;
    TRttiType *type = owner ? owner->RttiType : nullptr;
    TRttiDataMember *member = nullptr;
    if (type) {
      member = type->GetField(AName);
      if (!member) member = type->GetProperty(AName);
    }
    if (!member)
      RaiseFailure(Path(),
                   u"Arrays are only supported as a field or property of another "
                   u"object/record!",
                   {});
    data = member->GetDataAddress(ASerializer->FInstancePtr);
    if (data)
      arrayType = member->GetDataTypeHandle();
    else
      array = member->GetValue(ASerializer->FInstancePtr);
  } else {
    if (FValue.GetTypeKind() != FInstanceTypeInfo->GetKind())
      RaiseFailure(Path(), u"The type of the value does not match the type of the instanceinfo!",
                   {});
    array = FValue;
  }
  const TVnTypeInfo *element = FInstanceTypeInfo->GetElementType();
  if (!element) return;
  UnicodeString item = element->SchemaName();
  if (!data) {
    arrayType = array.GetTypeInfo();
    data = array.GetReferenceToRawData();
  }
  Integer count = GetArrayLength(arrayType, data);
  TTypeKind elementKind = element->GetKind();
  // Records and arrays are written from where they lie; the other elements as values.
  const TVnTypeInfo *inPlaceType = nullptr;
  if ((elementKind == tkRecord || elementKind == tkArray || elementKind == tkDynArray) &&
      count > 0 && GetArrayElementAddress(arrayType, data, 0))
    inPlaceType = TVnTypes::GetTypeInfo(GetArrayElementType(arrayType));
  for (Integer i = 0; i < count; ++i) {
    if (inPlaceType) {
      void *at = const_cast<void *>(GetArrayElementAddress(arrayType, data, i));
      if (elementKind == tkRecord)
        SerializeRecord(item, element, at, inPlaceType, i);
      else
        SerializeArray(item, element, at, inPlaceType, i);
      continue;
    }
    TValue e;
    GetArrayElement(arrayType, data, i, e);
    switch (elementKind) {
      case tkClass:
        SerializeClass(item, ClassOf(element), e.GetTypeKind() == tkClass ? e.AsObject() : nullptr,
                       i);
        break;
      case tkArray:
      case tkDynArray:
        SerializeArray(item, element, e.GetReferenceToRawData(),
                       TVnTypes::GetTypeInfo(e.GetTypeInfo()), i);
        break;
      case tkRecord:
        SerializeRecord(item, element, e.GetReferenceToRawData(),
                        TVnTypes::GetTypeInfo(e.GetTypeInfo()), i);
        break;
      default:
        SerializeValue(item, element, e, i);
        break;
    }
  }
}

void TVnSerializer::SerializeFieldOrProp(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                                         const TValue &AValue, std::span<TCustomAttribute *const>) {
  SerializeMember(AName, ATypeInfo, AValue, AValue.GetReferenceToRawData());
}

void TVnSerializer::SerializeMember(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                                    const TValue &AValue, const void *AData) {
  SerializeName(AName, smtField, KindOf(FInstanceTypeInfo), KindOf(ATypeInfo));
  switch (ATypeInfo ? ATypeInfo->GetKind() : tkUnknown) {
    case tkInterface: {
      DelphiInterface<IInterface> intf = AValue.GetTypeKind() == tkInterface
                                             ? AValue.AsInterface()
                                             : DelphiInterface<IInterface>();
      DelphiInterface<IVnSerializable> serializable;
      DelphiInterface<IVnObject> object;
      if (intf && Supports(intf.get(), serializable)) {
        SerializeInterface(AName, ATypeInfo, intf.get(), -1);
      } else if (intf && Supports(intf.get(), object)) {
        TObject *o = object->Implementor();
        SerializeClass(AName, o->ClassType(), o, -1);
      } else if (intf) {
        RaiseFailure(Path(), u"The field \"%s\" of type \"%s\" cannot be serialized!",
                     {AName, ATypeInfo->QualifiedName});
      } else {
        SerializeInterface(AName, ATypeInfo, nullptr, -1);
      }
      break;
    }
    case tkClass:
      SerializeClass(AName, ClassOf(ATypeInfo),
                     AValue.GetTypeKind() == tkClass ? AValue.AsObject() : nullptr, -1);
      break;
    case tkRecord:
      if (ATypeInfo->QualifiedName != u"System.Rtti.TValue") {
        SerializeRecord(AName, ATypeInfo, const_cast<void *>(AData), ATypeInfo, -1);
      } else if (AValue.GetTypeKind() == tkRecord) {
        TValue inner = AValue.AsType<TValue>();
        if (!inner.GetIsEmpty())
          SerializeValue(AName, TVnTypes::GetTypeInfo(inner.GetTypeInfo()), inner, -1);
      }
      break;
    case tkArray:
    case tkDynArray:
      SerializeArray(AName, ATypeInfo, const_cast<void *>(AData), ATypeInfo, -1);
      break;
    case tkPointer: {
      const void *raw = AValue.GetReferenceToRawData();
      void *p = nullptr;
      if (raw) std::memcpy(&p, raw, sizeof p);
      SerializeValue(AName, ATypeInfo, TValue(static_cast<Int64>(reinterpret_cast<intptr_t>(p))),
                     -1);
      break;
    }
    default:
      SerializeValue(AName, ATypeInfo, AValue, -1);
      break;
  }
}

void TVnSerializer::SerializeClass(const UnicodeString &AName, TClass AClass, TObject *AInstance,
                                   Integer AIndex) {
  const TVnTypeInfo *info = TVnTypes::GetTypeInfo(AInstance ? AInstance->ClassType() : AClass);
  TClass cls = AInstance ? AInstance->ClassType() : AClass;
  bool component = cls && cls->InheritsFrom(TComponent::StaticClass());
  bool write;
  if (ExcludeChildren()) {
    write = false;
  } else if (component) {
    write = AInstance && (static_cast<TComponent *>(AInstance)->Owner() == FInstancePtr ||
                          !static_cast<TComponent *>(AInstance)->Owner());
  } else {
    write = true;
  }
  UnicodeString name = AName;
  if (write && FHelper) write = FHelper->CanSerializeChild(this, AInstance, AClass, name);
  if (write) {
    if (AInstance)
      SerializeChild(name, info->Name, AInstance, info, AIndex);
    else
      SerializeValue(name, info, TValue(), AIndex);
  } else if (component && AInstance) {
    SerializeValue(name, info, TValue(static_cast<TComponent *>(AInstance)->Name()), AIndex);
  } else {
    SerializeValue(name, info, TValue(UnicodeString()), AIndex);
  }
}

void TVnSerializer::SerializeRecord(const UnicodeString &AName, const TVnTypeInfo *, void *APtr,
                                    const TVnTypeInfo *AInstanceTypeInfo, Integer AIndex) {
  if (!ExcludeChildren())
    SerializeChild(AName, UnicodeString(), APtr, AInstanceTypeInfo, AIndex);
  else
    SerializeValue(AName, AInstanceTypeInfo, TValue(), AIndex);
}

void TVnSerializer::SerializeArray(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                                   void *APtr, const TVnTypeInfo *AInstanceTypeInfo,
                                   Integer AIndex) {
  SerializeChild(AName, ATypeInfo->Name, APtr, AInstanceTypeInfo, AIndex);
}

void TVnSerializer::SerializeChild(const UnicodeString &AName, const UnicodeString &, void *APtr,
                                   const TVnTypeInfo *ATypeInfo, Integer AIndex) {
  if (FDepth >= cVnSerializerMaxDepth)
    RaiseFailure(Path(), u"The value is nested deeper than %d levels!", {cVnSerializerMaxDepth});
  struct TChild {
    TVnSerializer *Parent;
    TVnSerializer *Worker;
    ~TChild() { Parent->ReleaseChild(Worker); }
  } child{this, AcquireChild(APtr, ATypeInfo)};
  TVnSerializer *worker = child.Worker;
  worker->SerializeStartType(AName, ATypeInfo, AIndex);
  bool skip = false;
  IVnSerializerHelper *helper = worker->FHelper.get();
  try {
    if (helper) helper->BeforeSerialize(worker, skip);
    if (!skip) worker->DoSerialize(this, AName, ParentPath());
  } catch (...) {
    if (helper) helper->AfterSerialize(worker);
    throw;
  }
  if (helper) helper->AfterSerialize(worker);
  worker->SerializeEndType(AName, ATypeInfo, AIndex);
}

void TVnSerializer::SerializeInterface(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                                       IInterface *AIntf, Integer AIndex) {
  if (!AIntf || ExcludeChildren()) {
    SerializeValue(AName, ATypeInfo, TValue(), AIndex);
    return;
  }
  DelphiInterface<IVnSerializable> serializable;
  if (Supports(AIntf, serializable)) {
    Owned<TVnSerializer> child(CreateChildSerializer(AIntf, ATypeInfo));
    bool bare = KindOf(FInstanceTypeInfo) != vtkRecord && ExcludeRoot();
    if (!bare) child->SerializeStartType(AName, ATypeInfo, AIndex);
    if (!FParams) FParams = new TStringList;
    RawByteString text = serializable->Serialize(Format(), FParams);
    Write(std::string_view(text));
    if (!bare) child->SerializeEndType(AName, ATypeInfo, AIndex);
    return;
  }
  // There is no automation interface on this platform to walk the object by.
  RaiseFailure(Path(), u"The field \"%s\" of type \"%s\" cannot be serialized (Record)!",
               {AName, KindName(KindOf(ATypeInfo))});
}

TVnSerializer *TVnSerializer::CreateChildSerializer(void *APtr, const TVnTypeInfo *ATypeInfo) {
  TVnSerializer *child = VnCreateSerializerEx(Format(), APtr, ATypeInfo);
  child->SetParent(this);
  return child;
}

// ---------------------------------------------------------------------------------------------
// Registration and lookup

void VnRegisterType(PTypeInfo AType) {
  if (AType && AType->Kind == tkClass) {
    TClass c = ClassOf(TVnTypes::GetTypeInfo(AType));
    if (IsPersistent(c)) RegisterClass(c);
  }
}

void VnRegisterType(TClass AClass) {
  if (AClass) VnRegisterType(AClass->ClassInfo());
}

namespace {

// Counts the registrations, so that the lookup caches of the threads know when to forget.
std::atomic<UInt64> gRegistrations{1};

void RegisterPair(TVnDataSerializationFormatType AFormat, PTypeInfo AType,
                  TVnSerializerClass ASerializer, TVnDeserializerClass ADeserializer) {
  gRegistrations.fetch_add(1, std::memory_order_release);
  TVnSerializerPair pair;
  pair.Serializer = ASerializer ? ASerializer->Class : nullptr;
  pair.Deserializer = ADeserializer ? ADeserializer->Class : nullptr;
  pair.SerializerRef = ASerializer;
  pair.DeserializerRef = ADeserializer;
  TVnTypes::RegisterTypeSerializers(AType, AFormat, &pair);
}

}  // namespace

void VnRegisterSerializer(TVnDataSerializationFormatType AFormat, TClass AClass,
                          TVnSerializerClass ASerializer, TVnDeserializerClass ADeserializer) {
  if (IsPersistent(AClass)) RegisterClass(AClass);
  const TVnTypeInfo *info = AClass ? TVnTypes::GetTypeInfo(AClass) : nullptr;
  VN_ASSERT_MSG_AT(info && info->RttiType,
                   u"The ClassInfo of the class " +
                       (AClass ? AClass->ClassName() : UnicodeString()) + u" is unknown!",
                   __FILE__, __LINE__);
  RegisterPair(AFormat, AClass->ClassInfo(), ASerializer, ADeserializer);
}

void VnRegisterSerializer(TVnDataSerializationFormatType AFormat, PTypeInfo AType,
                          TVnSerializerClass ASerializer, TVnDeserializerClass ADeserializer) {
  RegisterPair(AFormat, AType, ASerializer, ADeserializer);
}

namespace {

// The pairs found per type and format, kept per thread: every child worker of a walk asks for
// its class, and the registry's lookup takes a lock. Pairs are never freed.
const TVnSerializerPair *FindPair(TVnDataSerializationFormatType AFormat,
                                  const TVnTypeInfo *AType) {
  struct TEntry {
    const TVnTypeInfo *Type = nullptr;
    const TVnSerializerPair *Pair = nullptr;
    UInt64 Generation = 0;
  };
  thread_local TEntry cache[2][128];
  if (AFormat > dsfXML) return TVnTypes::FindSerializers(AType, AFormat);
  UInt64 generation = gRegistrations.load(std::memory_order_acquire);
  TEntry &e = cache[AFormat][(reinterpret_cast<std::uintptr_t>(AType) >> 4) & 127];
  if (e.Type != AType || e.Generation != generation || !AType) {
    e.Pair = TVnTypes::FindSerializers(AType, AFormat);
    e.Type = AType;
    e.Generation = generation;
  }
  return e.Pair;
}

}  // namespace

TVnSerializerClass VnFindSerializerClassEx(TVnDataSerializationFormatType AFormat,
                                           const TVnTypeInfo *AType) {
  const TVnSerializerPair *pair = FindPair(AFormat, AType);
  return pair ? pair->SerializerRef : nullptr;
}

TVnSerializerClass VnFindSerializerClass(TVnDataSerializationFormatType AFormat, PTypeInfo AType) {
  return VnFindSerializerClassEx(AFormat, AType ? TVnTypes::GetTypeInfo(AType) : nullptr);
}

TVnDeserializerClass VnFindDeserializerClassEx(TVnDataSerializationFormatType AFormat,
                                               const TVnTypeInfo *AType) {
  const TVnSerializerPair *pair = FindPair(AFormat, AType);
  return pair ? pair->DeserializerRef : nullptr;
}

TVnDeserializerClass VnFindDeserializerClass(TVnDataSerializationFormatType AFormat,
                                             PTypeInfo AType) {
  return VnFindDeserializerClassEx(AFormat, AType ? TVnTypes::GetTypeInfo(AType) : nullptr);
}

namespace {

TVnSerializer *AsSerializer(TObject *AObject) {
  if (AObject && !AObject->InheritsFrom(TVnSerializer::StaticClass())) {
    AObject->Free();
    throw EInvalidCast(u"Invalid class typecast");
  }
  return static_cast<TVnSerializer *>(AObject);
}

}  // namespace

TVnSerializer *VnCreateSerializer(TVnDataSerializationFormatType AFormat, const TValue &AValue) {
  PTypeInfo type = AValue.GetTypeInfo();
  TVnSerializerClass cls =
      VnFindSerializerClassEx(AFormat, type ? TVnTypes::GetTypeInfo(type) : nullptr);
  if (!cls) throw Exception(_SVnNoSerializer, {VnDataSerializationFormatType[AFormat]});
  return AsSerializer(cls->NewFromValue(AValue));
}

TVnSerializer *VnCreateSerializer(TVnDataSerializationFormatType AFormat, void *AInstance,
                                  PTypeInfo AType) {
  const TVnTypeInfo *info = AType ? TVnTypes::GetTypeInfo(AType) : nullptr;
  TVnSerializerClass cls = VnFindSerializerClassEx(AFormat, info);
  if (!cls)
    throw Exception(_SVnNoFormatSerializer,
                    {VnDataSerializationFormatType[AFormat], info ? info->Name : UnicodeString()});
  return AsSerializer(cls->NewFromPointer(AInstance, AType));
}

TVnSerializer *VnCreateSerializerEx(TVnDataSerializationFormatType AFormat, void *AInstance,
                                    const TVnTypeInfo *AType) {
  TVnSerializerClass cls = VnFindSerializerClassEx(AFormat, AType);
  if (!cls)
    throw Exception(_SVnNoFormatSerializer, {VnDataSerializationFormatType[AFormat],
                                             AType ? AType->QualifiedName : UnicodeString()});
  return AsSerializer(cls->NewFromPointer(AInstance, AType ? AType->Handle : nullptr));
}

RawByteString VnSerialize(TVnDataSerializationFormatType AFormat, const TValue &AValue) {
  Owned<TVnSerializer> s(VnCreateSerializer(AFormat, AValue));
  return s->Serialize();
}

RawByteString VnSerialize(TVnDataSerializationFormatType AFormat, void *AInstance,
                          PTypeInfo AType) {
  Owned<TVnSerializer> s(VnCreateSerializer(AFormat, AInstance, AType));
  return s->Serialize();
}

RawByteString VnSerializeEx(TVnDataSerializationFormatType AFormat, void *AInstance,
                            const TVnTypeInfo *AType) {
  Owned<TVnSerializer> s(VnCreateSerializerEx(AFormat, AInstance, AType));
  return s->Serialize();
}

void VnSerialize(TVnDataSerializationFormatType AFormat, const TValue &AValue, TStream *AStream) {
  Owned<TVnSerializer> s(VnCreateSerializer(AFormat, AValue));
  s->Serialize(AStream);
}

void VnSerialize(TVnDataSerializationFormatType AFormat, void *AInstance, PTypeInfo AType,
                 TStream *AStream) {
  Owned<TVnSerializer> s(VnCreateSerializer(AFormat, AInstance, AType));
  s->Serialize(AStream);
}

void VnSerializeEx(TVnDataSerializationFormatType AFormat, void *AInstance,
                   const TVnTypeInfo *AType, TStream *AStream) {
  Owned<TVnSerializer> s(VnCreateSerializerEx(AFormat, AInstance, AType));
  s->Serialize(AStream);
}

// ---------------------------------------------------------------------------------------------
// The operations on every object

RawByteString TVnSerializerClassHelper::Serialize(TVnDataSerializationFormatType AFormat) const {
  return VnSerialize(AFormat, TValue(FSelf));
}

RawByteString TVnSerializerClassHelper::AsJSON() const {
  return VnSerialize(dsfJSON, TValue(FSelf));
}

RawByteString TVnSerializerClassHelper::AsXML(const UnicodeString &ANamespace,
                                              bool AExcludeNamespaces) const {
  Owned<TVnSerializer> s(VnCreateSerializer(dsfXML, TValue(FSelf)));
  if (AExcludeNamespaces)
    s->SetParam(u"excludenamespaces", u"true");
  else if (!ANamespace.empty())
    s->SetParam(u"xmlns", ANamespace);
  return s->Serialize();
}

UnicodeString VnCharCase(UnicodeStringView AText, Integer AMode, char16_t ASeparator) {
  if (AMode != 0 && AMode != 6 && AMode != 7)
    throw EArgumentOutOfRangeException(u"Argument out of range");
  UnicodeString result(AText);
  if (AMode == 0) return result;
  bool first = true, wordStart = true;
  for (char16_t &c : result) {
    if (c == ASeparator) {
      wordStart = true;
      continue;
    }
    if (wordStart) {
      // Letters of the basic plane; a surrogate stays as it is.
      bool lower = AMode == 7 && first;
      if (c < 0xD800 || c > 0xDFFF) c = static_cast<char16_t>(lower ? u_tolower(c) : u_toupper(c));
      first = false;
      wordStart = false;
    }
  }
  return result;
}

}  // namespace vn
