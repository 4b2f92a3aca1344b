#include "vnxml/common/uVnTypes.h"

#include <algorithm>
#include <deque>
#include <map>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>

#include "vnxml/rtl/Classes.h"

namespace vn {

const char16_t _SEncodingNotSupported[] = u"The specified encoding is not supported!";

Word VnGetCodePage(TStream *AStream) {
  Int64 start = AStream->GetPosition();
  Byte bom[3] = {0, 0, 0};
  Int64 n = 0;
  while (n < 3) {
    Int64 r = AStream->Read(bom + n, 3 - n);
    if (r <= 0) break;
    n += r;
  }
  Word page = 0;
  Int64 len = 0;
  if (n >= 3 && bom[0] == 0xEF && bom[1] == 0xBB && bom[2] == 0xBF) {
    page = CP_UTF8;
    len = 3;
  } else if (n >= 2 && bom[0] == 0xFF && bom[1] == 0xFE) {
    page = CP_UTF16;
    len = 2;
  } else if (n >= 2 && bom[0] == 0xFE && bom[1] == 0xFF) {
    // Big-endian UTF-16 is not a source form of the text source: refuse it plainly rather
    // than read it as bytes.
    AStream->SetPosition(start);
    throw EEncodingError(_SEncodingNotSupported);
  }
  AStream->SetPosition(start + len);
  return page;
}

Word VnCodePage(UnicodeStringView AName) {
  Word page = CodePageFromName(AName);
  if (page == 0 || !IsValidCodePage(page)) throw EEncodingError(_SEncodingNotSupported);
  return page;
}

UnicodeString VnCodePage(Word APage) {
  UnicodeString name = CodePageIANAName(APage);
  if (name.empty()) throw EEncodingError(_SEncodingNotSupported);
  return name;
}

RawByteString TVnEncoding::ConvertW(UnicodeStringView AText, Word ACodePage) {
  return UnicodeToCodePage(AText, ACodePage);
}

UnicodeString TVnEncoding::ConvertA(const AnsiString &AText) {
  return CodePageToUnicode(AText.data(), AText.size(), AText.CodePage());
}

UnicodeString TVnEncoding::ConvertA(const RawByteString &AText, Word ACodePage) {
  return CodePageToUnicode(AText.data(), AText.size(), ACodePage);
}

UnicodeString TVnEncoding::ConvertA(const Byte *ABuffer, Integer ASize, Word ACodePage) {
  if (ASize <= 0) return {};
  return CodePageToUnicode(reinterpret_cast<const char *>(ABuffer), static_cast<std::size_t>(ASize),
                           ACodePage);
}

// ---------------------------------------------------------------------------------------------
// The type registry.

const char16_t *const VnDataSerializationFormatType[2] = {u"JSON", u"XML"};

// The state of the registry: made on first use and kept for the life of the process, so that
// records stay valid in the destructors of static objects.
struct TVnTypesState {
  // Guards the creation and refreshing of records.
  std::recursive_mutex CreateLock;
  std::vector<std::unique_ptr<TVnTypeInfo>> Infos;
  // Guards the name tables, aliases and serializer pairs.
  std::shared_mutex Lock;
  UInt64 TablesGeneration = 0;
  bool TablesDirty = true;
  std::unordered_map<UnicodeString, std::vector<const TVnTypeInfo *>> Names[3];
  std::vector<std::pair<PTypeInfo, UnicodeString>> Aliases;
  std::deque<TVnSerializerPair> Pairs;
  std::unordered_map<PTypeInfo, const TVnSerializerPair *> ByType[2];
  const TVnSerializerPair *Defaults[2] = {nullptr, nullptr};

  static TVnTypesState &Get();

  static TVnTypeKind KindOf(const TRttiType *AType);
  void Fill(TVnTypeInfo &AInfo, TRttiType *AType);
  const TVnTypeInfo *InfoOf(PTypeInfo AType);
  const TVnTypeInfo *VirtualArrayOf(const TVnTypeInfo &AElement);
  void EnsureTables();
};

namespace {

void RegisterLibraryTypes(TVnTypesState &AState);

UnicodeString LowerKey(UnicodeStringView AName) {
  return LowerCase(AName);
}

UnicodeString UpperFirst(UnicodeString AText) {
  if (!AText.empty() && AText[0] >= u'a' && AText[0] <= u'z') AText[0] -= 32;
  return AText;
}

void CheckFormat(TVnDataSerializationFormatType AFormat) {
  if (AFormat != dsfJSON && AFormat != dsfXML)
    throw EArgumentOutOfRangeException(u"Argument out of range");
}

}  // namespace

TVnTypesState &TVnTypesState::Get() {
  static TVnTypesState *s = [] {
    auto *p = new TVnTypesState;
    RegisterLibraryTypes(*p);
    return p;
  }();
  return *s;
}

TVnTypeKind TVnTypesState::KindOf(const TRttiType *AType) {
  if (!AType->GetIsRegistered()) return vtkUnknown;
  PTypeInfo h = AType->GetHandle();
  switch (h->Kind) {
    case tkInteger:
      switch (h->OrdType()) {
        case otSByte:
          return vtkShortInt;
        case otUByte:
          return vtkByte;
        case otSWord:
          return vtkSmallInt;
        case otUWord:
          return vtkWord;
        case otSLong:
          return vtkLongInt;
        default:
          return vtkLongWord;
      }
    case tkInt64:
      return h->OrdType() == otUQWord ? vtkUInt64 : vtkInt64;
    case tkChar:
      return vtkAnsiChar;
    case tkWChar:
      return vtkWideChar;
    case tkString:
      return vtkShortString;
    case tkUString:
      return vtkString;
    case tkLString:
      return vtkAnsiString;
    case tkWString:
      return vtkWideString;
    case tkEnumeration:
      return static_cast<const TRttiEnumerationType *>(AType)->GetIsBoolean() ? vtkBoolean
                                                                              : vtkEnum;
    case tkSet:
      return vtkSet;
    case tkFloat:
      switch (h->FDateKind) {
        case dkDate:
          return vtkDate;
        case dkTime:
          return vtkTime;
        case dkDateTime:
          return vtkDateTime;
        default:
          break;
      }
      switch (h->FloatType()) {
        case ftSingle:
          return vtkSingle;
        case ftExtended:
          return vtkExtended;
        case ftComp:
          return vtkInt64;
        default:
          return vtkDouble;
      }
    case tkVariant:
      return vtkVariant;
    case tkArray:
      return vtkArray;
    case tkDynArray:
      return vtkDynArray;
    case tkRecord:
      return AType->GetIsCustomSimple() ? vtkCustomSimple : vtkRecord;
    case tkClass:
      return vtkClass;
    case tkInterface:
      return vtkInterface;
    case tkPointer:
      return vtkPointer;
    case tkMethod:
      return vtkMethod;
    case tkProcedure:
      return vtkProcedure;
    case tkClassRef:
      return vtkClassRef;
    default:
      return vtkUnknown;
  }
}

// Under CreateLock. A record that other threads may be reading is brought up to date in place:
// only what a registration changed is written, and the generation is published last.
void TVnTypesState::Fill(TVnTypeInfo &AInfo, TRttiType *AType) {
  const UInt64 gen = detail::RegistrationGeneration();
  if (AInfo.RttiType != AType) AInfo.RttiType = AType;
  if (AInfo.Handle != AType->GetHandle()) AInfo.Handle = AType->GetHandle();
  if (AInfo.Name != AType->GetName()) AInfo.Name = AType->GetName();
  if (AInfo.QualifiedName != AType->GetQualifiedName())
    AInfo.QualifiedName = AType->GetQualifiedName();
  if (AInfo.Kind != KindOf(AType)) AInfo.Kind = KindOf(AType);
  AInfo.FGeneration.store(gen, std::memory_order_release);
}

const TVnTypeInfo *TVnTypesState::InfoOf(PTypeInfo AType) {
  const UInt64 gen = detail::RegistrationGeneration();
  if (const void *p = AType->FRegistrySlot.load(std::memory_order_acquire)) {
    const auto *info = static_cast<const TVnTypeInfo *>(p);
    if (info->FGeneration.load(std::memory_order_acquire) == gen) return info;
  }
  TRttiType *t = AType->RttiType();
  std::lock_guard g(CreateLock);
  if (const void *p = AType->FRegistrySlot.load(std::memory_order_acquire)) {
    // A registration came after the record was made: bring it up to date.
    auto *info = const_cast<TVnTypeInfo *>(static_cast<const TVnTypeInfo *>(p));
    if (info->FGeneration.load(std::memory_order_relaxed) != gen) Fill(*info, t);
    return info;
  }
  auto info = std::make_unique<TVnTypeInfo>();
  Fill(*info, t);
  const TVnTypeInfo *r = info.get();
  Infos.push_back(std::move(info));
  AType->FRegistrySlot.store(r, std::memory_order_release);
  return r;
}

const TVnTypeInfo *TVnTypesState::VirtualArrayOf(const TVnTypeInfo &AElement) {
  if (const TVnTypeInfo *v = AElement.FVirtualArray.load(std::memory_order_acquire)) return v;
  std::lock_guard g(CreateLock);
  if (const TVnTypeInfo *v = AElement.FVirtualArray.load(std::memory_order_acquire)) return v;
  auto info = std::make_unique<TVnTypeInfo>();
  info->Name = u"TArray<" + AElement.QualifiedName + u">";
  info->QualifiedName = info->Name;
  info->Kind = vtkDynArray;
  info->FElement = &AElement;
  const TVnTypeInfo *r = info.get();
  Infos.push_back(std::move(info));
  AElement.FVirtualArray.store(r, std::memory_order_release);
  return r;
}

void TVnTypesState::EnsureTables() {
  {
    std::shared_lock g(Lock);
    if (!TablesDirty && TablesGeneration == detail::RegistrationGeneration()) return;
  }
  // Records first, outside the table lock: making them may describe types.
  const UInt64 gen = detail::RegistrationGeneration();
  std::vector<const TVnTypeInfo *> infos;
  for (PTypeInfo h : detail::RegisteredTypes()) infos.push_back(InfoOf(h));
  std::unique_lock g(Lock);
  for (auto &n : Names) n.clear();
  auto enter = [this](const TVnTypeInfo *AInfo, const UnicodeString &AName, int ASpace) {
    auto &list = Names[ASpace][LowerKey(AName)];
    if (std::find(list.begin(), list.end(), AInfo) == list.end()) list.push_back(AInfo);
  };
  for (const TVnTypeInfo *i : infos) {
    enter(i, i->Name, tntName);
    enter(i, i->QualifiedName, tntQualifiedName);
    enter(i, i->SchemaName(), tntSchemaName);
  }
  for (const auto &[h, alias] : Aliases) {
    const TVnTypeInfo *i = InfoOf(h);
    for (int space = 0; space < 3; ++space) enter(i, alias, space);
  }
  TablesGeneration = gen;
  TablesDirty = false;
}

// --- TVnTypeInfo

TTypeKind TVnTypeInfo::GetKind() const noexcept {
  return Handle ? Handle->Kind : (Kind == vtkDynArray ? tkDynArray : tkUnknown);
}

TVnMainTypeKind TVnTypeInfo::GetMainTypeKind() const noexcept {
  return TVnTypes::ToMainTypeKind(Kind);
}

bool TVnTypeInfo::GetIsSimpleType() const noexcept {
  return Kind <= vtkVariant || Kind == vtkCustomSimple;
}

UnicodeString TVnTypeInfo::SchemaName(UnicodeStringView APrefix) const {
  UnicodeString name;
  switch (Kind) {
    case vtkByte:
      name = u"unsignedByte";
      break;
    case vtkWord:
      name = u"unsignedShort";
      break;
    case vtkLongWord:
      name = u"unsignedInt";
      break;
    case vtkUInt64:
      name = u"unsignedLong";
      break;
    case vtkShortInt:
      name = u"byte";
      break;
    case vtkSmallInt:
      name = u"short";
      break;
    case vtkLongInt:
      name = u"int";
      break;
    case vtkInt64:
      name = u"long";
      break;
    case vtkSingle:
      name = u"float";
      break;
    case vtkDouble:
      name = u"double";
      break;
    case vtkExtended:
      name = u"decimal";
      break;
    case vtkWideChar:
    case vtkAnsiChar:
    case vtkShortString:
    case vtkString:
    case vtkAnsiString:
    case vtkWideString:
      name = u"string";
      break;
    case vtkBoolean:
      name = u"boolean";
      break;
    case vtkDate:
      name = u"date";
      break;
    case vtkTime:
      name = u"time";
      break;
    case vtkDateTime:
      name = u"dateTime";
      break;
    case vtkVariant:
      name = u"anyType";
      break;
    case vtkCustomSimple:
      name = RttiType && !RttiType->GetCustomSchemaName().empty() ? RttiType->GetCustomSchemaName()
                                                                  : Name;
      break;
    case vtkArray:
    case vtkDynArray: {
      const TVnTypeInfo *e = GetElementType();
      name = u"ArrayOf" + UpperFirst(e ? e->SchemaName() : UnicodeString(u"anyType"));
      break;
    }
    default:
      name = Name;
      break;
  }
  if (APrefix.empty()) return name;
  UnicodeString r(APrefix);
  r += u':';
  r += name;
  return r;
}

const TVnTypeInfo *TVnTypeInfo::VirtualType(TVnSchemaDataType ADataType) const {
  if (ADataType != sdtArray) throw EArgumentOutOfRangeException(u"Argument out of range");
  return TVnTypesState::Get().VirtualArrayOf(*this);
}

const TVnTypeInfo *TVnTypeInfo::GetElementType() const {
  if (FElement) return FElement;
  if (!RttiType) return nullptr;
  switch (RttiType->GetTypeKind()) {
    case tkArray:
      return TVnTypes::GetTypeInfo(static_cast<TRttiArrayType *>(RttiType)->GetElementType());
    case tkDynArray:
      return TVnTypes::GetTypeInfo(
          static_cast<TRttiDynamicArrayType *>(RttiType)->GetElementType());
    case tkSet:
      return TVnTypes::GetTypeInfo(static_cast<TRttiSetType *>(RttiType)->GetElementType());
    default:
      return nullptr;
  }
}

// --- TVnTypes

const TVnTypeInfo *TVnTypes::GetTypeInfo(PTypeInfo AType) {
  if (!AType) return nullptr;
  // A record in the handle's slot that is up to date is the answer (the slot is filled only
  // after the state exists).
  if (const void *p = AType->FRegistrySlot.load(std::memory_order_acquire)) {
    const auto *info = static_cast<const TVnTypeInfo *>(p);
    if (info->FGeneration.load(std::memory_order_acquire) == detail::RegistrationGeneration())
      return info;
  }
  return TVnTypesState::Get().InfoOf(AType);
}

const TVnTypeInfo *TVnTypes::GetTypeInfo(const TRttiType *AType) {
  return AType ? GetTypeInfo(AType->GetHandle()) : nullptr;
}

const TVnTypeInfo *TVnTypes::GetTypeInfo(TClass AClass) {
  return AClass ? GetTypeInfo(AClass->ClassInfo()) : nullptr;
}

const TVnTypeInfo *TVnTypes::GetTypeInfo(UnicodeStringView AName, TVnTypeNameType ANameType,
                                         bool ARaise, TVnMainTypeKind AMainKind) {
  // Documents name types with their prefix ("xsd:int"); schema names never hold a colon.
  if (ANameType == tntSchemaName) {
    std::size_t colon = AName.rfind(u':');
    if (colon != UnicodeStringView::npos) AName.remove_prefix(colon + 1);
  }
  TVnTypesState &s = TVnTypesState::Get();
  if (ANameType <= tntSchemaName) {
    s.EnsureTables();
    std::shared_lock g(s.Lock);
    auto it = s.Names[ANameType].find(LowerKey(AName));
    if (it != s.Names[ANameType].end()) {
      for (const TVnTypeInfo *i : it->second)
        if (AMainKind == mtkUnknown || i->GetMainTypeKind() == AMainKind) return i;
    }
  }
  // A class entered in the class table is known by its class name.
  if (ANameType <= tntSchemaName && (AMainKind == mtkUnknown || AMainKind == mtkComplex)) {
    if (TClass c = GetClass(AName)) return GetTypeInfo(c);
  }
  if (ANameType == tntSchemaName && AMainKind == mtkArray && AName.size() > 7 &&
      StartsText(u"ArrayOf", AName)) {
    const UnicodeStringView elem = AName.substr(7);
    const TVnTypeInfo *e = GetTypeInfo(elem, tntSchemaName, false,
                                       StartsText(u"ArrayOf", elem) ? mtkArray : mtkUnknown);
    if (e) return e->VirtualType(sdtArray);
  }
  if (ARaise) throw EVnException(u"The type \"" + UnicodeString(AName) + u"\" is unknown!", 0);
  return nullptr;
}

TVarType TVnTypes::GetVarType(UnicodeStringView AName, TVnTypeNameType ANameType,
                              TVarType ADefault) {
  const TVnTypeInfo *i = GetTypeInfo(AName, ANameType, false, mtkUnknown);
  if (!i) return ADefault;
  switch (i->Kind) {
    case vtkByte:
      return varByte;
    case vtkWord:
      return varWord;
    case vtkLongWord:
      return varLongWord;
    case vtkUInt64:
      return varUInt64;
    case vtkShortInt:
      return varShortInt;
    case vtkSmallInt:
      return varSmallint;
    case vtkLongInt:
    case vtkEnum:
    case vtkSet:
      return varInteger;
    case vtkInt64:
      return varInt64;
    case vtkSingle:
      return varSingle;
    case vtkDouble:
      return i->Handle && i->Handle->FloatType() == ftCurr ? varCurrency : varDouble;
    case vtkExtended:
      return varDouble;
    case vtkWideChar:
    case vtkString:
      return varUString;
    case vtkAnsiChar:
    case vtkShortString:
    case vtkAnsiString:
      return varString;
    case vtkWideString:
      return varOleStr;
    case vtkBoolean:
      return varBoolean;
    case vtkDate:
    case vtkTime:
    case vtkDateTime:
      return varDate;
    case vtkVariant:
      return varVariant;
    case vtkArray:
    case vtkDynArray:
      return varArray;
    case vtkRecord:
    case vtkCustomSimple:
      return varRecord;
    case vtkClass:
      return varObject;
    case vtkInterface:
      return varUnknown;
    default:
      return ADefault;
  }
}

namespace {
// The type of the values of a variant type code (without the array flag).
const TVnTypeInfo *InfoOfVarType(TVarType t) {
  switch (t) {
    case varSmallint:
      return TVnTypes::Of<SmallInt>();
    case varInteger:
      return TVnTypes::Of<Integer>();
    case varSingle:
      return TVnTypes::Of<Single>();
    case varDouble:
      return TVnTypes::Of<Double>();
    case varCurrency:
      return TVnTypes::Of<Currency>();
    case varDate:
      return TVnTypes::Of<TDateTime>();
    case varOleStr:
      return TVnTypes::Of<TWideStringAlias>();
    case varDispatch:
    case varUnknown:
      return TVnTypes::Of<IInterface>();
    case varBoolean:
      return TVnTypes::Of<bool>();
    case varShortInt:
      return TVnTypes::Of<ShortInt>();
    case varByte:
      return TVnTypes::Of<Byte>();
    case varWord:
      return TVnTypes::Of<Word>();
    case varLongWord:
      return TVnTypes::Of<Cardinal>();
    case varInt64:
    case varDecimal:
      return TVnTypes::Of<Int64>();
    case varUInt64:
      return TVnTypes::Of<UInt64>();
    case varString:
      return TVnTypes::Of<AnsiString>();
    case varUString:
      return TVnTypes::Of<UnicodeString>();
    default:
      return TVnTypes::Of<Variant>();
  }
}
}  // namespace

const TVnTypeInfo *TVnTypes::VarTypeInfo(const Variant &AValue) {
  const TVarType t = VarType(AValue);
  if (t & varArray) return InfoOfVarType(t & varTypeMask)->VirtualType(sdtArray);
  return InfoOfVarType(t);
}

TVnMainTypeKind TVnTypes::VarMainTypeKind(const Variant &AValue) {
  return ToMainTypeKind(VarTypeInfo(AValue)->Kind);
}

TVnMainTypeKind TVnTypes::ToMainTypeKind(TVnTypeKind AKind) noexcept {
  switch (AKind) {
    case vtkByte:
    case vtkWord:
    case vtkLongWord:
    case vtkUInt64:
    case vtkShortInt:
    case vtkSmallInt:
    case vtkLongInt:
    case vtkInt64:
    case vtkEnum:
    case vtkSet:
      return mtkInteger;
    case vtkSingle:
    case vtkDouble:
    case vtkExtended:
      return mtkFloat;
    case vtkWideChar:
    case vtkAnsiChar:
    case vtkShortString:
    case vtkString:
    case vtkAnsiString:
    case vtkWideString:
      return mtkString;
    case vtkBoolean:
      return mtkBoolean;
    case vtkDate:
    case vtkTime:
    case vtkDateTime:
      return mtkDateTime;
    case vtkArray:
    case vtkDynArray:
      return mtkArray;
    case vtkRecord:
    case vtkClass:
    case vtkInterface:
    case vtkCustomSimple:
      return mtkComplex;
    default:
      return mtkUnknown;
  }
}

void TVnTypes::RegisterTypeAlias(PTypeInfo AType, UnicodeStringView AAlias) {
  if (!AType) throw EArgumentNilException(u"Argument must not be nil");
  TVnTypesState &s = TVnTypesState::Get();
  std::unique_lock g(s.Lock);
  for (const auto &[h, alias] : s.Aliases)
    if (h == AType && SameText(alias, AAlias)) return;
  s.Aliases.emplace_back(AType, UnicodeString(AAlias));
  s.TablesDirty = true;
}

void TVnTypes::RegisterTypeSerializers(PTypeInfo AType, TVnDataSerializationFormatType AFormat,
                                       const TVnSerializerPair *APair) {
  CheckFormat(AFormat);
  if (!APair) throw EArgumentNilException(u"Argument must not be nil");
  TVnTypesState &s = TVnTypesState::Get();
  std::unique_lock g(s.Lock);
  if (!AType) {
    if (!s.Defaults[AFormat]) s.Defaults[AFormat] = &s.Pairs.emplace_back(*APair);
    return;
  }
  auto &table = s.ByType[AFormat];
  if (table.count(AType)) return;
  table.emplace(AType, &s.Pairs.emplace_back(*APair));
}

const TVnSerializerPair *TVnTypes::FindSerializers(const TVnTypeInfo *AType,
                                                   TVnDataSerializationFormatType AFormat) {
  CheckFormat(AFormat);
  TVnTypesState &s = TVnTypesState::Get();
  std::shared_lock g(s.Lock);
  const auto &table = s.ByType[AFormat];
  if (AType && AType->Handle) {
    auto it = table.find(AType->Handle);
    if (it != table.end()) return it->second;
    if (AType->Handle->Kind == tkClass) {
      for (TClass c = AType->Handle->FClass->ClassParent(); c; c = c->ClassParent()) {
        it = table.find(c->ClassInfo());
        if (it != table.end()) return it->second;
      }
    }
  }
  return s.Defaults[AFormat];
}

// ---------------------------------------------------------------------------------------------
// Variant helpers.

namespace {

template <class T, class F>
T VarConvert(const Variant &AValue, T ADefault, bool ARaise, F &&AConvert) {
  if (VarIsEmpty(AValue) || VarIsNull(AValue)) return ADefault;
  try {
    return AConvert(AValue);
  } catch (EConvertError &) {
    if (ARaise) throw;
  } catch (Exception &E) {
    if (ARaise) throw EConvertError(E.Message);
  }
  return ADefault;
}

}  // namespace

bool VnVarToBool(const Variant &AValue, bool ADefault, bool ARaise) {
  return VarConvert(AValue, ADefault, ARaise, [](const Variant &V) { return V.AsBoolean(); });
}

UnicodeString VnVarToStr(const Variant &AValue, const UnicodeString &ADefault, bool ARaise) {
  return VarConvert(AValue, ADefault, ARaise, [](const Variant &V) { return VarToStr(V); });
}

Extended VnVarToExtended(const Variant &AValue, Extended ADefault, bool ARaise) {
  return VarConvert(AValue, ADefault, ARaise, [](const Variant &V) { return V.AsDouble(); });
}

Double VnVarToDouble(const Variant &AValue, Double ADefault, bool ARaise) {
  return VarConvert(AValue, ADefault, ARaise, [](const Variant &V) { return V.AsDouble(); });
}

Int64 VnVarToInt64(const Variant &AValue, Int64 ADefault, bool ARaise) {
  return VarConvert(AValue, ADefault, ARaise, [](const Variant &V) { return V.AsInt64(); });
}

Integer VnVarToInt(const Variant &AValue, Integer ADefault, bool ARaise) {
  return VarConvert(AValue, ADefault, ARaise, [](const Variant &V) { return V.AsInteger(); });
}

Integer VnVarArrayCount(const Variant &AValue) {
  if (!VarIsArray(AValue)) return 0;
  return VarArrayHighBound(AValue) - VarArrayLowBound(AValue) + 1;
}

bool VnVarBool(const Variant &AValue, bool ADefault) {
  return VnVarToBool(AValue, ADefault, false);
}

bool VnVarIsEmpty(const Variant &AValue) {
  return VarIsClear(AValue) || VarIsNull(AValue) ||
         (VarIsArray(AValue) && VnVarArrayCount(AValue) == 0);
}

// ---------------------------------------------------------------------------------------------
// The registry's own types.

namespace {

void RegisterLibraryTypes(TVnTypesState &AState) {
  RegisterType<TVnXMLStringAlias>(u"uVnTypes");
  RegisterType<TVnJSONStringAlias>(u"uVnTypes");
  RegisterType<TVnUTCDate>(u"uVnDateTimeUtils",
                           [](TTypeBuilder<TVnUTCDate> &R) { R.Name(u"TVnUTCDate"); });
  RegisterType<TVnUTCTime>(u"uVnDateTimeUtils",
                           [](TTypeBuilder<TVnUTCTime> &R) { R.Name(u"TVnUTCTime"); });
  RegisterType<TVnUTCDateTime>(u"uVnDateTimeUtils",
                               [](TTypeBuilder<TVnUTCDateTime> &R) { R.Name(u"TVnUTCDateTime"); });
  RegisterType<TVnTypeKind>(u"uVnTypes", [](TTypeBuilder<TVnTypeKind> &R) {
    R.Names(
        {u"vtkUnknown",      u"vtkByte",       u"vtkWord",       u"vtkLongWord",  u"vtkUInt64",
         u"vtkShortInt",     u"vtkSmallInt",   u"vtkLongInt",    u"vtkInt64",     u"vtkSingle",
         u"vtkDouble",       u"vtkExtended",   u"vtkWideChar",   u"vtkAnsiChar",  u"vtkShortString",
         u"vtkString",       u"vtkAnsiString", u"vtkWideString", u"vtkBoolean",   u"vtkEnum",
         u"vtkSet",          u"vtkDate",       u"vtkTime",       u"vtkDateTime",  u"vtkVariant",
         u"vtkArray",        u"vtkDynArray",   u"vtkRecord",     u"vtkClass",     u"vtkInterface",
         u"vtkCustomSimple", u"vtkPointer",    u"vtkMethod",     u"vtkProcedure", u"vtkClassRef"});
  });
  RegisterType<TVnMainTypeKind>(u"uVnTypes", [](TTypeBuilder<TVnMainTypeKind> &R) {
    R.Names({u"mtkUnknown", u"mtkInteger", u"mtkFloat", u"mtkString", u"mtkBoolean", u"mtkDateTime",
             u"mtkArray", u"mtkComplex"});
  });
  RegisterType<TVnTypeNameType>(u"uVnTypes", [](TTypeBuilder<TVnTypeNameType> &R) {
    R.Names({u"tntName", u"tntQualifiedName", u"tntSchemaName"});
  });
  RegisterType<TVnDataSerializationFormatType>(u"uVnTypes",
                                               [](TTypeBuilder<TVnDataSerializationFormatType> &R) {
                                                 R.Names({u"dsfJSON", u"dsfXML"});
                                               });
  RegisterType<TVnSchemaDataType>(u"uVnTypes", [](TTypeBuilder<TVnSchemaDataType> &R) {
    R.Names({u"sdtSimple", u"sdtComplex", u"sdtArray"});
  });
  AState.Aliases.emplace_back(TypeInfo<TStringList>(), u"StringList");
}

// At start-up, so that the names of the kinds are there before the first lookup.
[[maybe_unused]] const bool gLibraryTypesRegistered = (TVnTypesState::Get(), true);

}  // namespace

}  // namespace vn
