// TVnDeserializer: the reader's machine that every notation shares, and the entry functions of
// reading.

#include "vnxml/common/uVnSerializer.h"
#include "vnxml/common/uVnSerializer/Internal.h"
#include "vnxml/rtl/Owned.h"
#include "vnxml/rtl/SysUtils.h"

namespace vn {

const char16_t _SVnNoDeserializer[] = u"There is no registered deserializer for \"%s\"!";
const char16_t _SVnNoFormatDeserializer[] = u"There is no registered %s deserializer for %s!";

namespace {

const char16_t cNotSupportedValue[] = u"The value \"%s\" of type \"%s\" is not supported!";

UnicodeString HostKindName(const TVnTypeInfo *AType) {
  return GetEnumName(TypeInfo<TTypeKind>(), AType ? AType->GetKind() : tkUnknown);
}

// The member names that a document may carry without the class having them.
bool IsReservedName(const UnicodeString &AName) {
  return SameText(AName, u"className") || SameText(AName, u"parent") || SameText(AName, u"owner") ||
         SameText(AName, u"type");
}

bool StartsWithDigit(const UnicodeString &AText) {
  return !AText.empty() && AText[0] >= u'0' && AText[0] <= u'9';
}

// ADest := AValue as a value of the type AType (objects converted by class), moved when it has
// the type already.
void SetAsTypeOf(TValue &ADest, TValue &&AValue, const TVnTypeInfo *AType) {
  if (!AType || !AType->Handle || AValue.GetTypeInfo() == AType->Handle)
    ADest = std::move(AValue);
  else
    ADest = AValue.Cast(AType->Handle);
}

// AValue as a value of the type AType without a copy when it has the type already; a converted
// value is kept in AHolder.
const TValue &OfTypeOf(const TValue &AValue, const TVnTypeInfo *AType, TValue &AHolder) {
  if (!AType || !AType->Handle || AValue.GetTypeInfo() == AType->Handle) return AValue;
  AHolder = AValue.Cast(AType->Handle);
  return AHolder;
}

// Moves the value in AValue to ADest, where a value of the type AType lies: what assigning a
// copy would leave there, without the copy. False (and nothing done) when there is no place,
// the value is of another type or the type has no life-cycle operations; AValue keeps a value
// of its type that is valid but unspecified.
bool MoveValueTo(TValue &AValue, void *ADest, PTypeInfo AType) noexcept {
  if (!ADest || !AType || AValue.GetTypeInfo() != AType || AType->FTrivial) return false;
  const TTypeOps *ops = AType->FOps;
  if (!ops || !ops->Move || !ops->Destroy) return false;
  ops->Destroy(ADest);
  ops->Move(ADest, AValue.GetReferenceToRawData());
  return true;
}

// Stores AValue as element AIndex of the array AArray: with AMove by a move when the element
// lies in place and the value has the element's type, else by assignment (converted).
void StoreElement(TValue &AArray, Integer AIndex, TValue &AValue, const TVnTypeInfo *AElement,
                  bool AMove) {
  if (AMove && AElement && AArray.GetTypeInfo()) {
    const void *at =
        GetArrayElementAddress(AArray.GetTypeInfo(), AArray.GetReferenceToRawData(), AIndex);
    if (MoveValueTo(AValue, const_cast<void *>(at), AElement->Handle)) return;
  }
  TValue converted;
  AArray.SetArrayElement(AIndex, OfTypeOf(AValue, AElement, converted));
}

// Writes the member value of AWorker into the member in hand, taking its content over instead
// of copying it. The machine does not look at the member value again; only a helper or a
// worker class of someone else's could (MemberValue), so with AOwnClass false or a helper
// attached nothing is done. False when nothing was written.
bool TakeIntoMember(TVnDeserializer *AWorker, bool AOwnClass) {
  if (!AOwnClass || AWorker->ClassHelper() || AWorker->InstanceHelper()) return false;
  TRttiDataMember *member = AWorker->MemberField();
  if (!member) member = AWorker->MemberProp();
  if (!member) return false;
  member->TakeValue(AWorker->InstancePtr(), AWorker->MemberValue());
  return true;
}

// The shoEnumPrefix hint of an enumeration type, or of a set's element type.
UnicodeString EnumPrefixOf(const TVnTypeInfo *AType) {
  if (!AType || !AType->RttiType) return UnicodeString();
  SerializerHint *hint = nullptr;
  if (GetSerializerHint(AType->RttiType, shoEnumPrefix, hint)) return hint->Value();
  return UnicodeString();
}

TVnDeserializer *AsDeserializer(TObject *AObject) {
  if (AObject && !AObject->InheritsFrom(TVnDeserializer::StaticClass())) {
    AObject->Free();
    throw EInvalidCast(u"Invalid class typecast");
  }
  return static_cast<TVnDeserializer *>(AObject);
}

// The number of nested runs on this thread: a value that holds a whole document starts a run
// inside a run.
thread_local Integer gNestedRuns = 0;

// The field or property of a type by a name as documents spell it, kept per thread: every
// member of every object of a document is looked up, and the type's own lookup compares the
// name with each member in turn. With AProperties (a class), a property that is not public is
// not taken by its own name, and a name that names no field or public property is looked for
// among the public properties' shoName hints. Members and hints, once registered, live as long
// as the process; a name that finds nothing (the "className" of every object) is kept too, but
// only until the next registration, which could give the type what it lacks.
struct TMemberLookup {
  TRttiField *Field = nullptr;
  TRttiProperty *Property = nullptr;
  // The registry's record of the member's declared type.
  const TVnTypeInfo *Type = nullptr;
};
TMemberLookup FindMember(TRttiType *AType, const UnicodeString &AName, bool AProperties) {
  struct TEntry {
    const TRttiType *Type = nullptr;
    UnicodeString Name;
    TMemberLookup Found;
    // For a name that found nothing: the registration generation it was looked up in.
    UInt64 MissGeneration = 0;
  };
  thread_local TEntry cache[512];
  std::size_t n = AName.size();
  std::size_t h = (reinterpret_cast<std::uintptr_t>(AType) >> 4) * 31 + n * 7 +
                  (n ? AName[0] * 13 + AName[n - 1] * 17 + AName[n / 2] : 0);
  TEntry &e = cache[h & 511];
  const UInt64 generation = detail::RegistrationGeneration();
  if (e.Type == AType && SameStr(e.Name, AName) &&
      (e.MissGeneration == 0 || e.MissGeneration == generation))
    return e.Found;
  TMemberLookup found;
  found.Field = AType->GetField(AName);
  if (!found.Field && AProperties) {
    found.Property = AType->GetProperty(AName);
    if (found.Property && found.Property->GetVisibility() < mvPublic) found.Property = nullptr;
    if (!found.Property) {
      for (TRttiProperty *p : AType->GetProperties()) {
        if (p->GetVisibility() < mvPublic) continue;
        SerializerHint *hint = nullptr;
        if (GetSerializerHint(p, shoName, hint) && SameText(hint->Value(), AName)) {
          found.Property = p;
          break;
        }
      }
    }
  }
  if (found.Field) found.Type = TVnTypes::GetTypeInfo(found.Field->GetDataTypeHandle());
  if (found.Property) found.Type = TVnTypes::GetTypeInfo(found.Property->GetDataTypeHandle());
  e.Type = AType;
  e.Name = AName;
  e.Found = found;
  e.MissGeneration = found.Field || found.Property ? 0 : generation;
  return found;
}

// The type that a class name in a document names: every object of a document names its class.
const TVnTypeInfo *TypeOfClassName(const UnicodeString &AName) {
  return serializer_detail::CachedTypeInfo<tntSchemaName, 64>(AName);
}

}  // namespace

TValue VnOrdinalValue(PTypeInfo AType, Int64 AOrdinal) {
  if (AType && AType->Kind == tkEnumeration) {
    if (auto *e = static_cast<TRttiOrdinalType *>(AType->RttiType());
        e && (AOrdinal < e->GetMinValue() || AOrdinal > e->GetMaxValue()))
      throw EConvertError(
          vn::Format(u"The ordinal %d is out of the range of %s!", {AOrdinal, e->GetName()}));
  }
  return TValue::FromOrdinal(AType, AOrdinal);
}

// ---------------------------------------------------------------------------------------------
// Construction

TVnDeserializer::TVnDeserializer(const TValue &AValue) : TVnCustomSerializer(AValue) {
  Init();
  FMemberValue = AValue;
}

TVnDeserializer::TVnDeserializer(void *AInstance, PTypeInfo AType)
    : TVnCustomSerializer(AInstance, AType) {
  Init();
}

void TVnDeserializer::Init() {
  // The created-objects list is made when it is first needed: a child takes its parent's.
  if (FInstanceTypeInfo && FInstanceTypeInfo->Kind == vtkClass && FInstancePtr)
    Supports(static_cast<TObject *>(FInstancePtr), FIHelper);
}

TVnDeserializer::~TVnDeserializer() {
  FreeRetired();
  FreeKept();
  if (FCHelper) FCHelper->Free();
  FIHelper = nullptr;
  if (FCreatedObjs && FCreatedObjs->InheritsFrom(TVnDeserializerObjectList::StaticClass()) &&
      static_cast<TVnDeserializerObjectList *>(FCreatedObjs)->Owner() == this) {
    FCreatedObjs->Clear();
    FCreatedObjs->Free();
  }
}

void TVnDeserializer::SetCreatedObjects(TObjectList *AList) {
  if (AList == FCreatedObjs && AList) return;
  if (FCreatedObjs && FCreatedObjs->InheritsFrom(TVnDeserializerObjectList::StaticClass()) &&
      static_cast<TVnDeserializerObjectList *>(FCreatedObjs)->Owner() == this) {
    FCreatedObjs->Clear();
    FCreatedObjs->Free();
  }
  FCreatedObjs = AList ? AList : New<TVnDeserializerObjectList>(this, false);
}

void TVnDeserializer::SetParent(TVnCustomSerializer *AParent) {
  TVnCustomSerializer::SetParent(AParent);
  FParentDes = nullptr;
  FRoot = nullptr;
  if (!AParent) return;
  FStream = AParent->Stream();
  if (AParent->InheritsFrom(TVnDeserializer::StaticClass())) {
    FParentDes = static_cast<TVnDeserializer *>(AParent);
    FRoot = FParentDes->FRoot;
    SetCreatedObjects(FParentDes->FCreatedObjs);
  }
  if (FDepth > cVnSerializerMaxDepth)
    throw EVnSerializeException(
        vn::Format(u"The document is nested deeper than %d levels at \"%s\"!",
                   {cVnSerializerMaxDepth, FName}));
}

// ---------------------------------------------------------------------------------------------
// The run's chain of workers

void TVnDeserializer::BeginRun() {
  FRoot = this;
  FCurrent = this;
}

void TVnDeserializer::TakeEvents() {
  if (FRoot) FRoot->FCurrent = this;
}

void TVnDeserializer::HandBack() {
  if (!FParentDes || !FRoot || FHandedBack) return;
  FHandedBack = true;
  if (FRoot == this) {
    // The run's own worker (made below the caller's root) has read its value: what the text
    // holds behind it is not read. Whoever made the worker frees it.
    FCurrent = nullptr;
    return;
  }
  FRoot->FCurrent = FParentDes;
  FRoot->FRetired.push_back(this);
}

void TVnDeserializer::FreeRetiredNow() noexcept {
  while (!FRetired.empty()) {
    TVnDeserializer *w = FRetired.back();
    FRetired.pop_back();
    if (!Keep(w)) w->Free();
  }
}

// Reading makes a worker for every object, record and array of the document; a run keeps those
// that are done and makes them as new for the next child instead of freeing one and making
// another. Only the run's root keeps them, and only workers of the class that resets all it has.
bool TVnDeserializer::Keep(TVnDeserializer *AWorker) noexcept {
  if (FRoot != this || AWorker->RefCount() != 0 || !AWorker->ReusableClass() ||
      !AWorker->IsReusableClass())
    return false;
  // What the worker holds on the instance and its helpers goes now, as it would with the worker.
  AWorker->FIHelper = nullptr;
  if (AWorker->FCHelper) {
    AWorker->FCHelper->Free();
    AWorker->FCHelper = nullptr;
  }
  AWorker->FMemberValue = TValue();
  try {
    FKept.push_back(AWorker);
  } catch (...) {
    return false;
  }
  return true;
}

TVnDeserializer *TVnDeserializer::TakeKept(TClass AClass, void *AInstance, PTypeInfo AType) {
  for (std::size_t i = FKept.size(); i-- > 0;) {
    TVnDeserializer *w = FKept[i];
    if (w->ClassType() != AClass) continue;
    FKept.erase(FKept.begin() + static_cast<std::ptrdiff_t>(i));
    try {
      w->Reuse(AInstance, AType);
    } catch (...) {
      w->Free();
      throw;
    }
    return w;
  }
  return nullptr;
}

void TVnDeserializer::FreeKept() noexcept {
  while (!FKept.empty()) {
    TVnDeserializer *w = FKept.back();
    FKept.pop_back();
    w->Free();
  }
}

void TVnDeserializer::Reuse(void *AInstance, PTypeInfo AType) {
  FreeRetired();
  FIHelper = nullptr;
  if (FCHelper) {
    FCHelper->Free();
    FCHelper = nullptr;
  }
  if (FCreatedObjs && FCreatedObjs->InheritsFrom(TVnDeserializerObjectList::StaticClass()) &&
      static_cast<TVnDeserializerObjectList *>(FCreatedObjs)->Owner() == this) {
    FCreatedObjs->Clear();
    FCreatedObjs->Free();
  }
  FCreatedObjs = nullptr;
  FArrIdx = -1;
  FMemberField = nullptr;
  FMemberProp = nullptr;
  FMemberTypeInfo = nullptr;
  FMemberValue = TValue();
  FParentDes = nullptr;
  FRoot = nullptr;
  FCurrent = nullptr;
  FCreatedRoot = nullptr;
  FHandedBack = false;
  FStarted = false;
  FEnded = false;
  ResetTo(AInstance, AType);
  Init();
}

void TVnDeserializer::EndRun(bool) noexcept {
  FreeRetired();
  {
    // The workers that still take part in the run (after a failure, or at the end of a text
    // that stops before its types are closed), from the deepest up: each is told the end (so
    // that an instance's lock is left), then freed.
    TVnDeserializer *w = FCurrent;
    while (w && w != this && w->FRoot == this) {
      TVnDeserializer *parent = w->FParentDes;
      if (w->FStarted && w->FIHelper) {
        try {
          w->FIHelper->AfterDeserialize(w);
        } catch (...) {
        }
      }
      if (!w->FHandedBack) w->Free();
      w = parent;
    }
    FreeRetired();
  }
  FreeKept();
  FCurrent = this;
}

// ---------------------------------------------------------------------------------------------
// Running

void TVnDeserializer::Deserialize(const RawByteString &AData) {
  // The readers read the caller's bytes where they are.
  TPointerStream stream(AData.data(), static_cast<Int64>(AData.size()));
  Deserialize(&stream);
}

TObjectList *TVnDeserializer::GetCreatedObjects() {
  if (!FCreatedObjs) FCreatedObjs = New<TVnDeserializerObjectList>(this, true);
  return FCreatedObjs;
}

void TVnDeserializer::Deserialize(TStream *AStream) {
  VN_ASSERT_MSG_AT(!FParent, u"The \"Deserialize\" method may only be called on the root!",
                   __FILE__, __LINE__);
  if (!FCreatedObjs) FCreatedObjs = New<TVnDeserializerObjectList>(this, true);
  if (gNestedRuns >= cVnSerializerMaxDepth)
    throw EVnSerializeException(
        vn::Format(u"The document is nested deeper than %d levels at \"%s\"!",
                   {cVnSerializerMaxDepth, FName}));
  struct TNest {
    TNest() { ++gNestedRuns; }
    ~TNest() { --gNestedRuns; }
  } nest;
  FStream = AStream;
  TVnDeserializer *worker = CheckInstance();
  struct TWorker {
    TVnDeserializer *Self, *W;
    ~TWorker() {
      if (W != Self) W->Free();
    }
  } own{this, worker};
  DelphiInterface<IVnDeserializable> self;
  if (FInstancePtr && FInstanceTypeInfo && FInstanceTypeInfo->Kind == vtkClass) {
    auto *object = static_cast<TObject *>(FInstancePtr);
    Supports(object, self);
    Supports(object, FIHelper);
  }
  if (self && self->CanDeserialize(Format())) {
    RawByteString data;
    Int64 size = AStream->GetSize() - AStream->GetPosition();
    if (size > 0) {
      data.resize(static_cast<std::size_t>(size));
      AStream->ReadBuffer(data.data(), size);
    }
    self->Deserialize(Format(), data, FParams);
    return;
  }
  if (FInstancePtr) worker->DeserializeStartType();
  try {
    worker->DoDeserialize();
  } catch (...) {
    if (FInstancePtr && worker->FStarted && worker->FIHelper) {
      try {
        worker->FIHelper->AfterDeserialize(worker);
      } catch (...) {
      }
    }
    throw;
  }
  if (FInstancePtr && !worker->FEnded) worker->DeserializeEndType();
}

TVnDeserializer *TVnDeserializer::CheckInstance() {
  if (FInstancePtr) {
    if (!FInstanceTypeInfo) throw Exception(u"No TypeInfo available!");
    if (!FParent &&
        (FInstanceTypeInfo->Kind == vtkArray || FInstanceTypeInfo->Kind == vtkDynArray)) {
      // An array worker keeps its array in its parent's member: this object is that parent.
      TVnDeserializer *child = VnCreateDeserializerEx(Format(), FInstancePtr, FInstanceTypeInfo);
      child->SetName(u"subroot");
      try {
        child->SetParent(this);
      } catch (...) {
        child->Free();
        throw;
      }
      FMemberTypeInfo = FInstanceTypeInfo;
      PTypeInfo valueType = FMemberValue.GetTypeInfo();
      const char16_t *failure = nullptr;
      if (!valueType)
        failure = u"The MemberValueType is NIL!";
      else if (!FInstanceTypeInfo->Handle)
        failure = u"The InstanceTypeInfo is NIL!";
      if (failure) {
        child->Free();
        throw Exception(failure);
      }
      const TVnTypeInfo *vt = TVnTypes::GetTypeInfo(valueType);
      if (vt->QualifiedName != FInstanceTypeInfo->QualifiedName) {
        child->Free();
        throw Exception(u"The MemberValueType (%s) is different than the InstanceTypeInfo (%s)!",
                        {vt->QualifiedName, FInstanceTypeInfo->QualifiedName});
      }
      return child;
    }
    return this;
  }
  if (FInstanceTypeInfo) {
    TObject *object = CreateInstance(FInstanceTypeInfo);
    if (!object) throw Exception(u"Failed to create an instance of the requested object!");
    FInstancePtr = object;
    FCreatedRoot = object;
    return this;
  }
  // Neither instance nor type: the document names its class at its start.
  if (!FStream) throw Exception(u"Failed to read the ClassName from the stream!");
  Int64 position = FStream->GetPosition();
  UnicodeString name;
  {
    Owned<TVnTextParser> parser(New<TVnTextParser>(FStream, false, static_cast<Word>(65001)));
    name = ReadClassName(parser.get());
  }
  if (name.empty()) throw Exception(u"Failed to read the ClassName from the stream!");
  FStream->SetPosition(position);
  FInstanceTypeInfo = TVnTypes::GetTypeInfo(name, tntSchemaName, true, mtkUnknown);
  // The worker registered for the type makes the instance: a class whose reader cannot make one
  // (a DOM element) says so.
  TVnDeserializer *worker = VnCreateDeserializerEx(Format(), nullptr, FInstanceTypeInfo);
  try {
    worker->SetName(u"subroot");
    // Attached first: the worker finds the run's parameters ("Owner", "Parent") through it.
    worker->SetParent(this);
    TObject *object = worker->CreateInstance(FInstanceTypeInfo);
    if (!object) throw Exception(u"Failed to create an instance of the requested object!");
    FInstancePtr = object;
    FCreatedRoot = object;
    worker->FInstancePtr = object;
    Supports(object, FIHelper);
    Supports(object, worker->FIHelper);
  } catch (...) {
    worker->Free();
    throw;
  }
  return worker;
}

TObject *TVnDeserializer::CreateInstance(const TVnTypeInfo *&ATypeInfo) {
  TClass cls = serializer_detail::ClassOf(ATypeInfo);
  if (!cls && ATypeInfo) cls = GetClass(ATypeInfo->Name);
  if (!cls)
    throw Exception(u"Failed to retrieve the Class of type \"%s\"!",
                    {ATypeInfo ? ATypeInfo->Name : UnicodeString()});
  TObject *object = nullptr;
  if (cls->InheritsFrom(TComponent::StaticClass()) && cls->FCreateOwned) {
    TObject *owner = GetObjParam(u"Owner");
    auto *component = owner && owner->InheritsFrom(TComponent::StaticClass())
                          ? static_cast<TComponent *>(owner)
                          : nullptr;
    object = cls->CreateOwned(component);
    if (object->InheritsFrom(TVnComponent::StaticClass()))
      static_cast<TVnComponent *>(object)->SetAutoDestroy(false);
  } else if (cls->FCreate) {
    object = cls->Create();
    // The reader and the caller hold the object by pointer: interfaces taken on it must not
    // destroy it.
    if (object->InheritsFrom(TVnObject::StaticClass()))
      static_cast<TVnObject *>(object)->SetAutoDestroy(false);
  } else {
    // No constructor without arguments: nothing can be made.
    return nullptr;
  }
  // The run's "Parent" first: without it the class registry is not asked.
  if (TObject *parent = GetObjParam(u"Parent")) {
    if (TClass control = GetClass(u"TControl"); control && cls->InheritsFrom(control)) {
      if (TRttiType *type = ATypeInfo ? ATypeInfo->RttiType : nullptr) {
        if (TRttiProperty *p = type->GetProperty(u"Parent")) {
          try {
            p->SetValue(object, TValue(parent));
          } catch (...) {
            object->Free();
            throw;
          }
        }
      }
    }
  }
  return object;
}

bool TVnDeserializer::ReadClassName(UnicodeString &) {
  return false;
}

// ---------------------------------------------------------------------------------------------
// Members

void TVnDeserializer::ClearMember() {
  FMemberField = nullptr;
  FMemberProp = nullptr;
  FMemberTypeInfo = nullptr;
  // A nil object, made once: its type is TObject's for the whole process.
  static const TValue cNilObject(static_cast<TObject *>(nullptr));
  FMemberValue = cNilObject;
}

TVnCanDeserialize TVnDeserializer::CanDeserialize(UnicodeString &AUri, UnicodeString &AName,
                                                  UnicodeString &ADataType, bool ARaiseIfUnknown) {
  if (FCHelper) return FCHelper->CanDeserialize(this, AUri, AName, ADataType);
  TVnCanDeserialize result =
      FIHelper ? FIHelper->CanDeserialize(this, AUri, AName, ADataType) : desNo;
  if (result == desNo) {
    FMemberField = nullptr;
    FMemberProp = nullptr;
    FMemberTypeInfo = nullptr;
    const TVnTypeInfo *type = FInstanceTypeInfo;
    const bool isClass = type && type->Kind == vtkClass;
    // The member value is read straight into the worker's value; only a member not found (or a
    // getter that fails) leaves the nil object of ClearMember there.
    if (type && (isClass || type->Kind == vtkRecord) && type->RttiType && FInstancePtr) {
      TMemberLookup member = FindMember(type->RttiType, AName, isClass);
      try {
        if (TRttiField *f = member.Field) {
          FMemberField = f;
          FMemberValue = f->GetValue(FInstancePtr);
          FMemberTypeInfo = member.Type;
        } else if (TRttiProperty *p = member.Property) {
          FMemberProp = p;
          FMemberValue = p->GetValue(FInstancePtr);
          FMemberTypeInfo = member.Type;
        }
      } catch (...) {
        ClearMember();
        throw;
      }
    }
    if (FMemberTypeInfo) {
      if (ADataType.empty()) ADataType = FMemberTypeInfo->QualifiedName;
      result = desYes;
    } else {
      ClearMember();
    }
    if (result == desNo && ARaiseIfUnknown && !IsReservedName(AName)) {
      VN_ASSERT_AT(type, __FILE__, __LINE__);
      throw EVnSerializeException(
          vn::Format(u"Failed to find a property or field with the name %s.%s!",
                     {type->QualifiedName, AName}));
    }
  }
  if (result == desYes) CreateChildDeserializerIfNeeded(AName);
  return result;
}

bool TVnDeserializer::IsArrayWorker(TVnTypeKind *AKind) {
  VN_ASSERT_MSG_AT(
      FMemberTypeInfo,
      u"The FMemberTypeInfo should have been calculated in the \"DeserializeStartType\"!", __FILE__,
      __LINE__);
  if (AKind) *AKind = FMemberTypeInfo->Kind;
  return true;
}

TVnDeserializer *TVnDeserializer::CreateChildDeserializerIfNeeded(const UnicodeString &) {
  if (!FMemberTypeInfo) return nullptr;
  static const UnicodeString cArrayElementName = u"ArrayElm";
  const UnicodeString *childName;
  SerializerHint *hint = nullptr;
  if (IsArraySerializer()) {
    childName = &cArrayElementName;
  } else if (FMemberField) {
    childName = &FMemberField->GetName();
  } else if (FMemberProp) {
    childName = &FMemberProp->GetName();
    GetSerializerHint(FMemberProp, shoDeserializerHelper, hint);
  } else {
    throw Exception(u"Unknown Serializer Name");
  }
  switch (FMemberTypeInfo->GetKind()) {
    case tkArray:
    case tkRecord:
    case tkDynArray:
      return CreateChildDeserializer(*childName, FMemberValue.GetReferenceToRawData(),
                                     FMemberTypeInfo, hint);
    case tkClass:
      break;
    default:
      return nullptr;
  }
  TObject *object = FMemberValue.IsObject() ? FMemberValue.AsObject() : nullptr;
  if (!object && FCreatedObjs) {
    UnicodeString name;
    const TVnTypeInfo *info;
    if (!ReadClassName(name))
      info = FMemberTypeInfo;
    else
      info = name.empty() ? nullptr : TypeOfClassName(name);
    TClass cls = info && info->Kind == vtkClass ? serializer_detail::ClassOf(info) : nullptr;
    if (cls && cls->FCreate) {
      // A class that the member cannot hold is refused before anything is made.
      TClass declared = serializer_detail::ClassOf(FMemberTypeInfo);
      if (declared && !cls->InheritsFrom(declared)) throw EInvalidCast(u"Invalid class typecast");
      object = CreateInstance(info);
      if (object) {
        Integer at = -1;
        try {
          at = FCreatedObjs->Add(object);
          SetAsTypeOf(FMemberValue, TValue(object), FMemberTypeInfo);
          StoreMemberValue();
        } catch (...) {
          // Not attached: the object goes now, whoever the list belongs to.
          if (at >= 0) FCreatedObjs->Extract(object);
          object->Free();
          throw;
        }
      }
    }
    if (!object && !name.empty())
      throw ENotSupportedException(vn::Format(u"Failed to create an instance of %s!", {name}));
  }
  if (!object) return nullptr;
  if (object->InheritsFrom(TComponent::StaticClass()) &&
      static_cast<TComponent *>(object)->Owner() != FInstancePtr)
    return nullptr;
  return CreateChildDeserializer(*childName, object, TVnTypes::GetTypeInfo(object->ClassType()),
                                 hint);
}

TVnDeserializer *TVnDeserializer::CreateChildDeserializer(const UnicodeString &AName,
                                                          const TValue &AValue,
                                                          SerializerHint *AHint) {
  void *ptr = AValue.IsObject() ? static_cast<void *>(AValue.AsObject())
                                : const_cast<void *>(AValue.GetReferenceToRawData());
  const TVnTypeInfo *type =
      AValue.GetTypeInfo() ? TVnTypes::GetTypeInfo(AValue.GetTypeInfo()) : nullptr;
  TVnDeserializer *child = CreateChildDeserializer(AName, ptr, type, AHint);
  child->FMemberValue = AValue;
  return child;
}

TVnDeserializer *TVnDeserializer::CreateChildDeserializer(const UnicodeString &AName, void *APtr,
                                                          const TVnTypeInfo *ATypeInfo,
                                                          TVnDeserializerClass AClass,
                                                          SerializerHint *AHint) {
  VN_ASSERT_AT(AClass, __FILE__, __LINE__);
  TVnDeserializer *child =
      AsDeserializer(AClass->NewFromPointer(APtr, ATypeInfo ? ATypeInfo->Handle : nullptr));
  return AttachChild(child, AName, ATypeInfo, AHint);
}

TVnDeserializer *TVnDeserializer::CreateChildDeserializer(const UnicodeString &AName, void *APtr,
                                                          const TVnTypeInfo *ATypeInfo,
                                                          SerializerHint *AHint) {
  TVnDeserializerClass cls = VnFindDeserializerClassEx(Format(), ATypeInfo);
  if (!cls)
    return AttachChild(VnCreateDeserializerEx(Format(), APtr, ATypeInfo), AName, ATypeInfo, AHint);
  PTypeInfo handle = ATypeInfo ? ATypeInfo->Handle : nullptr;
  TVnDeserializer *child = FRoot ? FRoot->TakeKept(cls->Class, APtr, handle) : nullptr;
  if (!child) child = AsDeserializer(cls->NewFromPointer(APtr, handle));
  return AttachChild(child, AName, ATypeInfo, AHint);
}

TVnDeserializer *TVnDeserializer::AttachChild(TVnDeserializer *AChild, const UnicodeString &AName,
                                              const TVnTypeInfo *ATypeInfo, SerializerHint *AHint) {
  try {
    AChild->FName = AName;
    if (AHint) {
      TClass helper = AHint->GetDeserializerHelperClass();
      AChild->FCHelper = static_cast<TVnDeserializerHelper *>(helper->Create());
    } else if (ATypeInfo && ATypeInfo->Kind == vtkClass) {
      if (TClass cls = serializer_detail::ClassOf(ATypeInfo))
        AChild->FCHelper = FindDeserializerHelper(cls);
    }
    AChild->SetParent(this);
    AChild->DeserializeStartType();
    // A worker outside a run (one that a caller drives by hand) keeps its children until it
    // goes: no run frees them.
    if (!FRoot) FRetired.push_back(AChild);
  } catch (...) {
    if (FRoot && FRoot->FCurrent == AChild) FRoot->FCurrent = this;
    AChild->Free();
    throw;
  }
  return AChild;
}

TValue *TVnDeserializer::InitializeArrayElement(const UnicodeString &, const UnicodeString &AName) {
  if (!IsArraySerializer()) return nullptr;
  TVnDeserializer *parent = FParentDes;
  FArrIdx = parent->FArrIdx + 1;
  FMemberField = parent->FMemberField;
  FMemberProp = parent->FMemberProp;
  FMemberTypeInfo = parent->FMemberTypeInfo->GetElementType();
  if (parent->FMemberTypeInfo->GetKind() == tkDynArray)
    parent->FMemberValue.SetArrayLength(FArrIdx + 1);
  parent->FArrIdx = FArrIdx;
  // The working copy of the element: the element before left its room (its content moved into
  // the array), which takes the copy of this one without being made anew.
  TValue &array = parent->FMemberValue;
  PTypeInfo element = array.GetTypeInfo() ? GetArrayElementType(array.GetTypeInfo()) : nullptr;
  const void *at = nullptr;
  if (element && FMemberValue.GetTypeInfo() == element && !element->FTrivial && element->FOps &&
      element->FOps->Assign)
    at = GetArrayElementAddress(array.GetTypeInfo(), array.GetReferenceToRawData(), FArrIdx);
  if (at)
    element->FOps->Assign(FMemberValue.GetReferenceToRawData(), at);
  else
    FMemberValue = array.GetArrayElement(FArrIdx);
  CreateChildDeserializerIfNeeded(AName);
  return &FMemberValue;
}

void *TVnDeserializer::DeserializeNested(void *AInstance, const TVnTypeInfo *AType,
                                         const RawByteString &AData) {
  Owned<TVnDeserializer> worker(AType || AInstance
                                    ? VnCreateDeserializerEx(Format(), AInstance, AType)
                                    : VnCreateDeserializer(Format(), nullptr, nullptr));
  worker->SetCreatedObjects(GetCreatedObjects());
  try {
    worker->Deserialize(AData);
  } catch (...) {
    worker->FreeCreatedRoot();
    throw;
  }
  return worker->InstancePtr();
}

void TVnDeserializer::TakeEventsBack(TVnDeserializer *ATo) noexcept {
  if (!FRoot) return;
  // The workers that took the events since (from the deepest up) are done.
  for (TVnDeserializer *w = FRoot->FCurrent; w && w != ATo && w->FRoot == FRoot;) {
    TVnDeserializer *parent = w->FParentDes;
    if (!w->FHandedBack) {
      if (w->FStarted && w->FIHelper) {
        w->FStarted = false;
        try {
          w->FIHelper->AfterDeserialize(w);
        } catch (...) {
        }
      }
      w->FHandedBack = true;
      FRoot->FRetired.push_back(w);
    }
    w = parent;
  }
  FRoot->FCurrent = ATo;
}

void TVnDeserializer::StoreInto(TVnDeserializer *AWorker, const TValue &AValue) {
  if (AWorker->FMemberField)
    AWorker->FMemberField->SetValue(AWorker->FInstancePtr, AValue);
  else if (AWorker->FMemberProp)
    AWorker->FMemberProp->SetValue(AWorker->FInstancePtr, AValue);
}

void TVnDeserializer::StoreMemberValue() {
  if (IsArraySerializer()) {
    TValue &array = FParentDes->FMemberValue;
    const TVnTypeInfo *element =
        FParentDes->FMemberTypeInfo ? FParentDes->FMemberTypeInfo->GetElementType() : nullptr;
    TValue converted;
    array.SetArrayElement(FArrIdx, OfTypeOf(FMemberValue, element, converted));
    return;
  }
  StoreInto(this, FMemberValue);
}

// ---------------------------------------------------------------------------------------------
// Types and values

void TVnDeserializer::DeserializeStartType() {
  if (FCHelper) FCHelper->DeserializeStartType(this);
  if (FIHelper) FIHelper->BeforeDeserialize(this);
  FStarted = true;
  VN_ASSERT_AT(FInstanceTypeInfo, __FILE__, __LINE__);
  if (FInstanceTypeInfo->Kind == vtkArray || FInstanceTypeInfo->Kind == vtkDynArray) {
    VN_ASSERT_MSG_AT(FParentDes, u"The parent is the array field", __FILE__, __LINE__);
    VN_ASSERT_MSG_AT(FParentDes->FMemberTypeInfo, u"The FMemberTypeInfo of the parent is not set!!",
                     __FILE__, __LINE__);
    FParentDes->FArrIdx = -1;
    FMemberTypeInfo = FParentDes->FMemberTypeInfo->GetElementType();
  }
}

void TVnDeserializer::DeserializeValue(const UnicodeString &AUri, const UnicodeString &AName,
                                       const UnicodeString &AValue,
                                       const UnicodeString &ADataType) {
  bool handled = false;
  if (FCHelper) FCHelper->DeserializeValue(this, AUri, AName, AValue, ADataType, handled);
  if (FIHelper) FIHelper->DeserializeValue(this, AUri, AName, AValue, ADataType, handled);
  if (handled) return;
  const TVnTypeInfo *type = FMemberTypeInfo;
  if (!type) {
    // A whole document for the instance: a value may carry a nested serialized object.
    if (FInstancePtr && FInstanceTypeInfo && AUri.empty() && AName.empty() &&
        (FInstanceTypeInfo->Kind == vtkArray || FInstanceTypeInfo->Kind == vtkDynArray ||
         FInstanceTypeInfo->Kind == vtkRecord || FInstanceTypeInfo->Kind == vtkClass))
      DeserializeNested(FInstancePtr, FInstanceTypeInfo, UTF8Encode(AValue));
    return;
  }
  // The value is made in the worker's member value: its old content goes when the new one is
  // there, as a conversion that fails leaves it.
  TValue &value = FMemberValue;
  switch (type->GetKind()) {
    case tkClass:
      if (!AValue.empty()) throw Exception(cNotSupportedValue, {AValue, HostKindName(type)});
      value = TValue::Make(nullptr, type->Handle);
      break;
    case tkString:
    case tkUString:
    case tkLString:
    case tkWString:
      SetAsTypeOf(value, TValue(ValueToStr(AValue)), type);
      break;
    case tkChar:
    case tkWChar: {
      UnicodeString text = AValue.empty() ? UnicodeString() : ValueToStr(AValue);
      value = TValue::FromOrdinal(type->Handle, text.empty() ? 0 : text[0]);
      break;
    }
    case tkSet: {
      if (StartsWithDigit(AValue)) {
        value = TValue::FromOrdinal(type->Handle, StrToInt64(AValue));
        break;
      }
      UnicodeString prefix = EnumPrefixOf(type->GetElementType());
      UnicodeString list;
      UnicodeString text = ValueToStr(AValue);
      std::size_t i = 0;
      while (i < text.size()) {
        while (i < text.size() &&
               (text[i] == u',' || text[i] == u' ' || text[i] == u'[' || text[i] == u']'))
          ++i;
        std::size_t start = i;
        while (i < text.size() && text[i] != u',' && text[i] != u' ' && text[i] != u'[' &&
               text[i] != u']')
          ++i;
        if (i == start) continue;
        if (!list.empty()) list += u',';
        // A name that is already whole (written with its prefix) is taken as it stands.
        UnicodeString token = text.substr(start, i - start);
        PTypeInfo element = type->GetElementType() ? type->GetElementType()->Handle : nullptr;
        if (!prefix.empty() && element && GetEnumValue(element, prefix + token) < 0 &&
            GetEnumValue(element, token) >= 0)
          list += token;
        else
          list += prefix + token;
      }
      value =
          TValue::FromOrdinal(type->Handle, static_cast<Int64>(StringToSet(type->Handle, list)));
      break;
    }
    case tkFloat:
      switch (type->Kind) {
        case vtkDate:
          SetAsTypeOf(value, TValue(ValueToDate(AValue)), type);
          break;
        case vtkTime:
          SetAsTypeOf(value, TValue(ValueToTime(AValue)), type);
          break;
        case vtkDateTime:
          SetAsTypeOf(value, TValue(ValueToDateTime(AValue)), type);
          break;
        default:
          SetAsTypeOf(value, TValue(static_cast<double>(ValueToFloat(AValue))), type);
          break;
      }
      break;
    case tkInteger:
      // An unsigned 32-bit member goes beyond the integer conversion's range.
      value = TValue::FromOrdinal(type->Handle, type->Kind == vtkLongWord
                                                    ? ValueToInt64(AValue)
                                                    : static_cast<Int64>(ValueToInt(AValue)));
      break;
    case tkInt64:
      // An unsigned 64-bit member is written as the signed reading of its bits, and read so.
      value = TValue::FromOrdinal(type->Handle, ValueToInt64(AValue));
      break;
    case tkEnumeration: {
      if (type->Kind == vtkBoolean) {
        SetAsTypeOf(value, TValue(ValueToBool(AValue)), type);
        break;
      }
      Int64 ordinal;
      UnicodeString text;
      if (StartsWithDigit(AValue)) {
        ordinal = StrToInt64(AValue);
      } else {
        text = ValueToStr(AValue);
        ordinal = text.empty() ? 0 : GetEnumValue(type->Handle, EnumPrefixOf(type) + text);
      }
      // An ordinal outside the enumeration has no value of the type.
      bool inRange = ordinal >= 0;
      if (inRange && type->RttiType && type->RttiType->GetTypeKind() == tkEnumeration) {
        auto *e = static_cast<TRttiOrdinalType *>(type->RttiType);
        inRange = ordinal >= e->GetMinValue() && ordinal <= e->GetMaxValue();
      }
      VN_ASSERT_MSG_AT(inRange,
                       u"Failed to get the EnumValue for " + (text.empty() ? AValue : text),
                       __FILE__, __LINE__);
      value = TValue::FromOrdinal(type->Handle, ordinal);
      break;
    }
    case tkVariant:
      value = TValue(ValueToVar(AValue, ADataType));
      break;
    default:
      throw Exception(cNotSupportedValue, {AValue, HostKindName(type)});
  }
  // The value read goes to the member, and the worker's copy is not looked at again: the member
  // takes it over.
  if (IsArraySerializer() || !TakeIntoMember(this, IsReusableClass())) StoreMemberValue();
}

void TVnDeserializer::DeserializeEndType() {
  FEnded = true;
  FStarted = false;
  if (FCHelper) FCHelper->DeserializeEndType(this);
  if (FIHelper) FIHelper->AfterDeserialize(this);
  TVnDeserializer *parent = FParentDes;
  if (!parent) return;
  TVnTypeKind elementKind = vtkUnknown;
  if (parent->IsArraySerializer(&elementKind)) {
    if (elementKind == vtkArray || elementKind == vtkDynArray || elementKind == vtkRecord) {
      // The element was read into the array worker's copy, which the next element replaces:
      // it moves into the array (unless the worker is of a class that may look at it).
      TVnDeserializer *grand = parent->FParentDes;
      StoreElement(grand->FMemberValue, grand->FArrIdx, parent->FMemberValue,
                   grand->FMemberTypeInfo ? grand->FMemberTypeInfo->GetElementType() : nullptr,
                   parent->IsReusableClass());
    } else if (elementKind != vtkClass) {
      parent->FMemberValue.SetArrayElement(FArrIdx, FMemberValue);
    }
    return;
  }
  if (parent->FMemberTypeInfo) {
    switch (parent->FMemberTypeInfo->GetKind()) {
      case tkArray:
      case tkRecord:
      case tkDynArray:
        if (parent->IsArraySerializer()) break;
        if (!TakeIntoMember(parent, parent->IsReusableClass()))
          StoreInto(parent, parent->FMemberValue);
        break;
      default:
        break;
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Creation and the entry functions

TVnDeserializer *VnCreateDeserializer(TVnDataSerializationFormatType AFormat,
                                      const TValue &AValue) {
  PTypeInfo type = AValue.GetTypeInfo();
  TVnDeserializerClass cls =
      VnFindDeserializerClassEx(AFormat, type ? TVnTypes::GetTypeInfo(type) : nullptr);
  if (!cls) throw Exception(_SVnNoDeserializer, {VnDataSerializationFormatType[AFormat]});
  return AsDeserializer(cls->NewFromValue(AValue));
}

TVnDeserializer *VnCreateDeserializer(TVnDataSerializationFormatType AFormat, void *AInstance,
                                      PTypeInfo AType) {
  return VnCreateDeserializerEx(AFormat, AInstance, AType ? TVnTypes::GetTypeInfo(AType) : nullptr);
}

TVnDeserializer *VnCreateDeserializerEx(TVnDataSerializationFormatType AFormat, void *AInstance,
                                        const TVnTypeInfo *AType) {
  TVnDeserializerClass cls = VnFindDeserializerClassEx(AFormat, AType);
  if (!cls) {
    VN_ASSERT_AT(AType, __FILE__, __LINE__);
    throw Exception(_SVnNoFormatDeserializer,
                    {VnDataSerializationFormatType[AFormat], AType->QualifiedName});
  }
  return AsDeserializer(cls->NewFromPointer(AInstance, AType ? AType->Handle : nullptr));
}

namespace {

// Runs a worker made for the call and frees it; an instance that the run made for itself is
// freed too when the run fails.
void *Run(TVnDeserializer *AWorker, TStream *AStream) {
  Owned<TVnDeserializer> worker(AWorker);
  worker->SetAutoDestroy(false);
  try {
    worker->Deserialize(AStream);
  } catch (...) {
    worker->FreeCreatedRoot();
    throw;
  }
  return worker->InstancePtr();
}

void *RunData(TVnDeserializer *AWorker, const RawByteString &AData) {
  TPointerStream stream(AData.data(), static_cast<Int64>(AData.size()));
  return Run(AWorker, &stream);
}

TVnDeserializer *WithList(TVnDeserializer *AWorker, TObjectList *AList) {
  try {
    AWorker->SetCreatedObjects(AList);
  } catch (...) {
    AWorker->Free();
    throw;
  }
  return AWorker;
}

}  // namespace

void TVnDeserializer::FreeCreatedRoot() noexcept {
  if (!FCreatedRoot) return;
  TObject *object = FCreatedRoot;
  FCreatedRoot = nullptr;
  FIHelper = nullptr;
  if (FInstancePtr == object) FInstancePtr = nullptr;
  object->Free();
}

void *VnDeserialize(TVnDataSerializationFormatType AFormat, const TValue &AValue,
                    const RawByteString &AData) {
  return RunData(VnCreateDeserializer(AFormat, AValue), AData);
}

void *VnDeserialize(TVnDataSerializationFormatType AFormat, const TValue &AValue,
                    const RawByteString &AData, TObjectList *AList) {
  return RunData(WithList(VnCreateDeserializer(AFormat, AValue), AList), AData);
}

void *VnDeserialize(TVnDataSerializationFormatType AFormat, void *AInstance, PTypeInfo AType,
                    const RawByteString &AData) {
  return RunData(VnCreateDeserializer(AFormat, AInstance, AType), AData);
}

void *VnDeserializeEx(TVnDataSerializationFormatType AFormat, void *AInstance,
                      const TVnTypeInfo *AType, const RawByteString &AData) {
  return RunData(VnCreateDeserializerEx(AFormat, AInstance, AType), AData);
}

void *VnDeserialize(TVnDataSerializationFormatType AFormat, const TValue &AValue,
                    TStream *AStream) {
  return Run(VnCreateDeserializer(AFormat, AValue), AStream);
}

void *VnDeserialize(TVnDataSerializationFormatType AFormat, const TValue &AValue, TStream *AStream,
                    TObjectList *AList) {
  return Run(WithList(VnCreateDeserializer(AFormat, AValue), AList), AStream);
}

void *VnDeserialize(TVnDataSerializationFormatType AFormat, void *AInstance, PTypeInfo AType,
                    TStream *AStream) {
  return Run(VnCreateDeserializer(AFormat, AInstance, AType), AStream);
}

void *VnDeserializeEx(TVnDataSerializationFormatType AFormat, void *AInstance,
                      const TVnTypeInfo *AType, TStream *AStream) {
  return Run(VnCreateDeserializerEx(AFormat, AInstance, AType), AStream);
}

namespace {

TObject *CreateFrom(TVnDataSerializationFormatType AFormat, TComponent *AOwner, TObject *AParent,
                    bool AWithParams, const RawByteString &AData) {
  TVnDeserializer *worker = VnCreateDeserializer(AFormat, nullptr, nullptr);
  if (AWithParams) {
    try {
      worker->SetObjParam(u"Owner", AOwner);
      if (AParent) worker->SetObjParam(u"Parent", AParent);
    } catch (...) {
      worker->Free();
      throw;
    }
  }
  return static_cast<TObject *>(RunData(worker, AData));
}

}  // namespace

TObject *VnCreateFrom(TVnDataSerializationFormatType AFormat, const RawByteString &AData) {
  return CreateFrom(AFormat, nullptr, nullptr, false, AData);
}

TObject *VnCreateFrom(TVnDataSerializationFormatType AFormat, TComponent *AOwner,
                      const RawByteString &AData) {
  return CreateFrom(AFormat, AOwner, nullptr, true, AData);
}

TObject *VnCreateFrom(TVnDataSerializationFormatType AFormat, TComponent *AOwner, TObject *AParent,
                      const RawByteString &AData) {
  return CreateFrom(AFormat, AOwner, AParent, true, AData);
}

void TVnSerializerClassHelper::Deserialize(TVnDataSerializationFormatType AFormat,
                                           const RawByteString &AData) const {
  VnDeserialize(AFormat, TValue(FSelf), AData, nullptr);
}

}  // namespace vn
