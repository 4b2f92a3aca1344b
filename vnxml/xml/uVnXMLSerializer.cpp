// The XML notation of the serializer walk.
#include "vnxml/xml/uVnXMLSerializer.h"

#include <errno.h>

#include "vnxml/rtl/Owned.h"
#include "vnxml/xml/uVnSAX.h"
#include "vnxml/xml/uVnXMLUtils.h"
#include "vnxml/xml/uVnXSTypes.h"

namespace vn {

namespace {

const UnicodeString cExcludeNamespaces = u"excludenamespaces";
const UnicodeString cXSINamespaceParam = u"xsi-namespace";
const UnicodeString cXSIPrefixParam = u"xsi-prefix";
const UnicodeString cXSDNamespaceParam = u"xsd-namespace";
const UnicodeString cXSDPrefixParam = u"xsd-prefix";
const UnicodeString cXmlnsParam = u"xmlns";

const char16_t *const cBasicTypes =
    u"Basic types are only allowed on the Root level (For serialing basic values)";

// "urn:" and the file name of the running program without its extension.
const UnicodeString &DefaultNamespace() {
  static const UnicodeString ns = [] {
    UnicodeString name =
        UTF8ToString(program_invocation_short_name ? program_invocation_short_name : "");
    std::size_t dot = name.rfind(u'.');
    if (dot != UnicodeString::npos && dot > 0) name.resize(dot);
    if (name.empty()) name = u"vnxml";
    return u"urn:" + name;
  }();
  return ns;
}

bool IsFramed(TVnTypeKind AKind) {
  switch (AKind) {
    case vtkArray:
    case vtkDynArray:
    case vtkRecord:
    case vtkClass:
    case vtkInterface:
    case vtkPointer:
      return true;
    default:
      return false;
  }
}

TVnTypeKind KindOf(const TVnTypeInfo *AType) {
  return AType ? AType->Kind : vtkUnknown;
}

const TVnTypeInfo *TypeOf(const TValue &AValue) {
  return AValue.GetTypeInfo() ? TVnTypes::GetTypeInfo(AValue.GetTypeInfo()) : nullptr;
}

// The prefix hint of a type (or nil).
SerializerHint *PrefixHint(const TVnTypeInfo *AType) {
  SerializerHint *hint = nullptr;
  if (AType && AType->RttiType) GetSerializerHint(AType->RttiType, shoEnumPrefix, hint);
  return hint;
}

Int64 OrdinalOf(const TValue &AValue) {
  if (AValue.IsOrdinal()) return AValue.AsOrdinal();
  return VnVarToInt64(AValue.AsVariant());
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Text of enumerations and sets, shared with the JSON notation through these two routines.

UnicodeString VnEnumText(const TValue &AValue, const TVnTypeInfo *AType) {
  UnicodeString text;
  TTypeKind own = AValue.GetTypeKind();
  if (own == tkEnumeration) {
    text = AValue.ToString();
  } else if (own == tkVariant) {
    Integer i = VnVarToInt(AValue.AsVariant(), -1, false);
    if (i != -1 && AType && AType->Handle)
      text = TValue::FromOrdinal(AType->Handle, i).ToString();
    else
      text = VnVarToStr(AValue.AsVariant());
  } else if (AValue.MainTypeKind() == mtkInteger && AType && AType->Handle) {
    text = TValue::FromOrdinal(AType->Handle, AValue.AsOrdinal()).ToString();
  } else {
    text = AValue.ToString();
  }
  if (SerializerHint *hint = PrefixHint(AType))
    text.erase(0, std::min(text.size(), hint->Value().size()));
  return text;
}

void TVnXMLSerializer::SetParent(TVnCustomSerializer *AParent) {
  TVnSerializer::SetParent(AParent);
  if (!AParent) {
    if (GetParam(cExcludeNamespaces) != u"true") {
      SetParam(cExcludeNamespaces, u"false");
      if (!HasParam(cXSINamespaceParam)) SetParam(cXSINamespaceParam, cVnXSINamespaceURI);
      if (!HasParam(cXSIPrefixParam)) SetParam(cXSIPrefixParam, u"xsi");
      if (!HasParam(cXSDNamespaceParam)) SetParam(cXSDNamespaceParam, cVnXSDNamespaceURI);
      if (!HasParam(cXSDPrefixParam)) SetParam(cXSDPrefixParam, u"xsd");
      if (!HasParam(cXmlnsParam)) SetParam(cXmlnsParam, DefaultNamespace());
    } else {
      SetParam(cXSINamespaceParam, UnicodeString());
      SetParam(cXSIPrefixParam, UnicodeString());
      SetParam(cXSDNamespaceParam, UnicodeString());
      SetParam(cXSDPrefixParam, UnicodeString());
      SetParam(cXmlnsParam, UnicodeString());
    }
  }
  UInt64 generation = detail::SerializerParamGeneration();
  if (AParent && !Params() && AParent->InheritsFrom(TVnXMLSerializer::StaticClass())) {
    auto *parent = static_cast<TVnXMLSerializer *>(AParent);
    if (parent->FSettings && parent->FSettingsGeneration == generation) {
      FSettings = parent->FSettings;
      FSettingsGeneration = generation;
      return;
    }
  }
  auto settings = std::make_shared<TSettings>();
  settings->ExcludeNamespaces = GetParam(cExcludeNamespaces) == u"true";
  settings->XSINamespace = GetParam(cXSINamespaceParam);
  settings->XSIPrefix = GetParam(cXSIPrefixParam);
  settings->XSDNamespace = GetParam(cXSDNamespaceParam);
  settings->XSDPrefix = GetParam(cXSDPrefixParam);
  settings->DefaultNamespace = GetParam(cXmlnsParam);
  FSettings = std::move(settings);
  FSettingsGeneration = generation;
}

void TVnXMLSerializer::WriteTypeName(const TVnTypeInfo *AType) {
  const UnicodeString &prefix = FSettings->XSDPrefix;
  if (!prefix.empty()) {
    Write(prefix);
    Write(':');
  }
  if (AType) WriteSchemaName(AType);
}

void TVnXMLSerializer::Reuse(void *AInstance, PTypeInfo AType) {
  TVnSerializer::Reuse(AInstance, AType);
  FSettings.reset();
  FSettingsGeneration = 0;
}

UnicodeString TVnXMLSerializer::GetRootElementName(TVnTypeKind AKind) {
  switch (AKind) {
    case vtkRecord:
      return u"record";
    case vtkClass:
      return u"object";
    default:
      return u"array";
  }
}

bool TVnXMLSerializer::WriteRootAttributes(const UnicodeString &) {
  return true;
}

bool TVnXMLSerializer::WriteValueAttributes(const UnicodeString &, Integer) {
  return true;
}

void TVnXMLSerializer::SerializeName(const UnicodeString &, TVnSerializerMemberType, TVnTypeKind,
                                     TVnTypeKind) {}

void TVnXMLSerializer::SerializeStartType(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                                          Integer) {
  TVnTypeKind kind = KindOf(ATypeInfo);
  if (!IsFramed(kind)) {
    VN_ASSERT_MSG_AT(!FParent, cBasicTypes, __FILE__, __LINE__);
    return;
  }
  Write('<');
  if (!AName.empty()) {
    Write(AName);
    if (WriteRootAttributes(AName) && !FSettings->ExcludeNamespaces) {
      Write(' ');
      Write(FSettings->XSIPrefix);
      Write(std::string_view(":type=\""));
      WriteTypeName(ATypeInfo);
      Write('"');
    }
  } else {
    Write(GetRootElementName(kind));
    if (WriteRootAttributes(AName) && !FSettings->ExcludeNamespaces) {
      Write(std::string_view(" xmlns:"));
      Write(FSettings->XSIPrefix);
      Write(std::string_view("=\""));
      Write(FSettings->XSINamespace);
      Write(std::string_view("\" xmlns:"));
      Write(FSettings->XSDPrefix);
      Write(std::string_view("=\""));
      Write(FSettings->XSDNamespace);
      Write(std::string_view("\" "));
      Write(FSettings->XSIPrefix);
      Write(std::string_view(":type=\""));
      WriteTypeName(ATypeInfo);
      Write('"');
      if (!FSettings->DefaultNamespace.empty()) {
        Write(std::string_view(" xmlns=\""));
        Write(FSettings->DefaultNamespace);
        Write('"');
      }
    }
  }
  Write('>');
}

void TVnXMLSerializer::SerializeEndType(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                                        Integer) {
  TVnTypeKind kind = KindOf(ATypeInfo);
  if (kind < vtkArray || kind > vtkInterface) {
    // A pointer opened by SerializeStartType has no end tag; below the root it fails like a
    // simple type.
    VN_ASSERT_MSG_AT(!FParent, cBasicTypes, __FILE__, __LINE__);
    return;
  }
  Write(std::string_view("</"));
  Write(AName.empty() ? GetRootElementName(kind) : AName);
  Write('>');
}

void TVnXMLSerializer::SerializeValue(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                                      const TValue &AValue, Integer AIndex) {
  // The type that describes the content.
  const TVnTypeInfo *vt = ATypeInfo;
  switch (KindOf(ATypeInfo)) {
    case vtkVariant:
      vt = TypeOf(AValue);
      if (KindOf(vt) == vtkVariant && !AValue.IsNull())
        vt = TVnTypes::VarTypeInfo(AValue.AsVariant());
      if (!vt) vt = ATypeInfo;
      break;
    case vtkRecord:
    case vtkClass:
    case vtkInterface:
    case vtkPointer: {
      TVnMainTypeKind main = AValue.MainTypeKind();
      if (main == mtkInteger || main == mtkString) vt = TypeOf(AValue);
      break;
    }
    case vtkClassRef:
      vt = TVnTypes::Of<UnicodeString>();
      break;
    default:
      break;
  }
  bool null = AValue.IsNull();
  if (!AName.empty()) {
    Write('<');
    Write(AName);
    if (!WriteValueAttributes(AName, AIndex) || FSettings->ExcludeNamespaces) {
      if (null) {
        Write(std::string_view("/>"));
      } else {
        Write('>');
      }
    } else {
      Write(' ');
      Write(FSettings->XSIPrefix);
      Write(std::string_view(":type=\""));
      WriteTypeName(vt);
      Write('"');
      if (null) {
        Write(' ');
        Write(FSettings->XSIPrefix);
        Write(std::string_view(":nil=\"true\"/>"));
      } else {
        TVnTypeKind k = KindOf(ATypeInfo);
        if (k == vtkEnum || k == vtkSet) {
          Write(std::string_view(" value=\""));
          Write(IntToStr(OrdinalOf(AValue)));
          Write('"');
        }
        Write('>');
      }
    }
  }
  if (null) return;

  switch (KindOf(vt)) {
    case vtkByte:
    case vtkWord:
    case vtkLongWord:
    case vtkUInt64:
    case vtkShortInt:
    case vtkSmallInt:
    case vtkLongInt:
    case vtkInt64:
    case vtkSingle:
    case vtkDouble:
    case vtkExtended:
      Write(VnNumberToXML(vt->Kind, AValue));
      break;
    case vtkWideChar:
    case vtkAnsiChar:
    case vtkShortString:
    case vtkString:
    case vtkAnsiString:
    case vtkWideString: {
      // A class reference comes here under the string type: its text is the class's name.
      UnicodeString holder;
      UnicodeStringView text;
      if (AValue.GetTypeKind() == tkClassRef) {
        if (TClass c = AValue.AsClass()) holder = c->ClassName();
        text = holder;
      } else {
        text = TextOf(AValue, holder);
      }
      if (vt->Name == u"VnXMLString") {
        Write(text);
      } else {
        UnicodeString &escaped = Scratch();
        escaped.clear();
        VnAppendStrToXML(escaped, text, true, true);
        Write(escaped);
      }
      break;
    }
    case vtkBoolean:
      Write(AValue.ToBoolean() ? std::string_view("true") : std::string_view("false"));
      break;
    case vtkEnum:
      Write(VnEnumText(AValue, vt));
      break;
    case vtkSet: {
      UnicodeString text = AValue.ToString();
      const TVnTypeInfo *element = vt->GetElementType();
      if (SerializerHint *hint = PrefixHint(element)) {
        std::size_t open = text.find(u'['), close = text.rfind(u']');
        UnicodeString inner =
            open != UnicodeString::npos && close != UnicodeString::npos && close > open
                ? text.substr(open + 1, close - open - 1)
                : text;
        text = StringReplace(u"," + inner, u"," + hint->Value(), u",");
        text.erase(0, 1);
      }
      if (text.empty() || text.front() != u'[') Write('[');
      Write(text);
      if (text.empty() || text.back() != u']') Write(']');
      break;
    }
    case vtkDate:
    case vtkTime:
    case vtkDateTime: {
      if (AValue.MainTypeKind() == mtkString) {
        Write(AValue.ToString());
        break;
      }
      TDateTime d(AValue.ToDouble());
      UnicodeString text = vt->Kind == vtkDate   ? VnDateToXML(d, tzfNone)
                           : vt->Kind == vtkTime ? VnTimeToXML(d, tzfNone)
                                                 : VnDateTimeToXML(d, tzfNone);
      Write(text);
      const UnicodeString &n = ATypeInfo ? ATypeInfo->Name : UnicodeString();
      if (n == u"TVnUTCDate" || n == u"TVnUTCTime" || n == u"TVnUTCDateTime") Write('Z');
      break;
    }
    case vtkArray:
    case vtkDynArray:
      throw Exception(u"XML Arrays must be serialized by a ChildSerializer!");
    case vtkRecord:
    case vtkClass:
    case vtkInterface:
    case vtkPointer: {
      TVnMainTypeKind main = AValue.MainTypeKind();
      if (main != mtkInteger && main != mtkString)
        throw Exception(u"XML ComplexTypes must be serialized by a ChildSerializer!");
      Write(AValue.ToString());
      break;
    }
    case vtkClassRef:
      if (AValue.GetTypeKind() == tkClassRef && AValue.AsClass())
        Write(AValue.AsClass()->ClassName());
      break;
    default:
      throw EVnSerializeException(
          vn::Format(_SVnSerializeFailure, {Path()}) +
          vn::Format(u"The field \"%s\" of type \"%s\" cannot be serialized!",
                     {AName, ATypeInfo ? ATypeInfo->QualifiedName : UnicodeString()}));
  }
  if (!AName.empty()) {
    Write(std::string_view("</"));
    Write(AName);
    Write('>');
  }
}

UnicodeString VnNumberToXML(TVnTypeKind AKind, const TValue &AValue) {
  switch (AKind) {
    case vtkByte:
      return VnByteToXML(static_cast<Byte>(AValue.ToUInt64()));
    case vtkWord:
      return VnWordToXML(static_cast<Word>(AValue.ToUInt64()));
    case vtkLongWord:
      return VnLongWordToXML(static_cast<LongWord>(AValue.ToUInt64()));
    case vtkUInt64:
      return VnUInt64ToXML(AValue.ToUInt64());
    case vtkShortInt:
      return VnShortIntToXML(static_cast<ShortInt>(AValue.ToInt64()));
    case vtkSmallInt:
      return VnSmallIntToXML(static_cast<SmallInt>(AValue.ToInt64()));
    case vtkLongInt:
      return VnLongIntToXML(static_cast<LongInt>(AValue.ToInt64()));
    case vtkInt64:
      return VnInt64ToXML(AValue.ToInt64());
    case vtkSingle:
    case vtkDouble:
      return VnDoubleToXML(AValue.ToDouble());
    case vtkExtended:
      return VnExtToXML(AValue.ToExtended());
    default:
      throw EArgumentOutOfRangeException(u"Argument out of range");
  }
}

// ---------------------------------------------------------------------------------------------
// The XML Schema records

namespace {

// A numeric record: its value under the plain type (by default the type of its value).
template <class R, class TPlain = decltype(R().FValue)>
bool PlainNumber(PTypeInfo AType, const void *APtr, const TVnTypeInfo *&APlain, TValue &AValue) {
  if (AType != TypeInfo<R>()) return false;
  const R &r = *static_cast<const R *>(APtr);
  APlain = TVnTypes::Of<TPlain>();
  if (r.IsNull())
    AValue = TValue();
  else
    AValue = TValue::From<TPlain>(r.FValue);
  return true;
}

template <class R, class TPlain>
bool PlainDate(PTypeInfo AType, const void *APtr, const TVnTypeInfo *&APlain, TValue &AValue) {
  if (AType != TypeInfo<R>()) return false;
  const R &r = *static_cast<const R *>(APtr);
  APlain = TVnTypes::Of<TPlain>();
  if (r.IsNull())
    AValue = TValue();
  else
    AValue = TValue(r.ToString(true));
  return true;
}

}  // namespace

bool VnXsPlainValue(PTypeInfo AType, const void *APtr, const TVnTypeInfo *&APlain, TValue &AValue) {
  if (AType == TypeInfo<TValue>()) {
    APlain = TVnTypes::Of<Variant>();
    const TValue &v = *static_cast<const TValue *>(APtr);
    AValue = v.GetIsEmpty() ? TValue() : TValue(v.AsVariant());
    return true;
  }
  if (AType == TypeInfo<TXsBoolean>()) {
    const TXsBoolean &r = *static_cast<const TXsBoolean *>(APtr);
    APlain = TVnTypes::Of<bool>();
    AValue = r.IsNull() ? TValue() : TValue(static_cast<bool>(r));
    return true;
  }
  if (PlainNumber<TXsByte>(AType, APtr, APlain, AValue) ||
      PlainNumber<TXsShort>(AType, APtr, APlain, AValue) ||
      PlainNumber<TXsInt>(AType, APtr, APlain, AValue) ||
      PlainNumber<TXsLong>(AType, APtr, APlain, AValue) ||
      PlainNumber<TXsUnsignedByte>(AType, APtr, APlain, AValue) ||
      PlainNumber<TXsUnsignedShort>(AType, APtr, APlain, AValue) ||
      PlainNumber<TXsUnsignedInt>(AType, APtr, APlain, AValue) ||
      PlainNumber<TXsUnsignedLong>(AType, APtr, APlain, AValue) ||
      PlainNumber<TXsFloat, Single>(AType, APtr, APlain, AValue) ||
      PlainNumber<TXsDouble, Double>(AType, APtr, APlain, AValue) ||
      PlainNumber<TXsDecimal, TExtendedAlias>(AType, APtr, APlain, AValue) ||
      PlainDate<TXsDateTime, TDateTime>(AType, APtr, APlain, AValue) ||
      PlainDate<TXsDate, TDate>(AType, APtr, APlain, AValue) ||
      PlainDate<TXsTime, TTime>(AType, APtr, APlain, AValue))
    return true;
  if (AType == TypeInfo<TXsString>()) {
    const TXsString &r = *static_cast<const TXsString *>(APtr);
    APlain = TVnTypes::Of<UnicodeString>();
    AValue = r.IsNull() ? TValue() : TValue(r.ToString());
    return true;
  }
  if (AType == TypeInfo<TXsBase64Binary>() || AType == TypeInfo<TXsHexBinary>()) {
    bool null;
    RawByteString bytes;
    if (AType == TypeInfo<TXsBase64Binary>()) {
      const auto &r = *static_cast<const TXsBase64Binary *>(APtr);
      null = r.IsNull();
      bytes = static_cast<RawByteString>(r);
    } else {
      const auto &r = *static_cast<const TXsHexBinary *>(APtr);
      null = r.IsNull();
      bytes = static_cast<RawByteString>(r);
    }
    APlain = TVnTypes::Of<RawByteString>();
    AValue = null ? TValue() : TValue::From<RawByteString>(bytes);
    return true;
  }
  if (AType == TypeInfo<TXsDuration>()) {
    const TXsDuration &r = *static_cast<const TXsDuration *>(APtr);
    APlain = TVnTypes::Of<UnicodeString>();
    AValue = r.IsNull() ? TValue() : TValue(r.ToString());
    return true;
  }
  return false;
}

void TVnXMLXsSerializer::SerializeStartType(const UnicodeString &, const TVnTypeInfo *, Integer) {}
void TVnXMLXsSerializer::SerializeEndType(const UnicodeString &, const TVnTypeInfo *, Integer) {}

void TVnXMLXsSerializer::SerializeValue(const UnicodeString &AName, const TVnTypeInfo *,
                                        const TValue &, Integer AIndex) {
  const TVnTypeInfo *plain = nullptr;
  TValue value;
  if (!FInstanceTypeInfo || !FInstancePtr ||
      !VnXsPlainValue(FInstanceTypeInfo->Handle, FInstancePtr, plain, value))
    throw Exception(u"The type is not an XsType!");
  TVnXMLSerializer::SerializeValue(AName, plain, value, AIndex);
}

void TVnXMLStringsSerializer::DoSerialize(TVnSerializer *ASerializer, const UnicodeString &,
                                          const UnicodeString &) {
  auto *strings = static_cast<TStrings *>(FInstancePtr);
  if (!strings) return;
  const TVnTypeInfo *string = TVnTypes::Of<UnicodeString>();
  for (Integer i = 0; i < strings->Count(); ++i)
    ASerializer->SerializeValue(u"item", string, TValue(strings->Get(i)), i);
}

void TVnXMLComponentSerializer::DoSerialize(TVnSerializer *ASerializer, const UnicodeString &AName,
                                            const UnicodeString &APath) {
  auto *component = static_cast<TComponent *>(FInstancePtr);
  if (component && component->Owner() && !component->Owner()->Name().empty())
    ASerializer->SerializeValue(u"Owner", TVnTypes::GetTypeInfo(component->Owner()->ClassType()),
                                TValue(component->Owner()->Name()), -1);
  TVnXMLSerializer::DoSerialize(ASerializer, AName, APath);
}

// ---------------------------------------------------------------------------------------------
// Start-up

std::span<const PTypeInfo> VnXsRecordTypes() {
  static const PTypeInfo types[] = {
      TypeInfo<TXsBoolean>(),       TypeInfo<TXsByte>(),         TypeInfo<TXsShort>(),
      TypeInfo<TXsInt>(),           TypeInfo<TXsLong>(),         TypeInfo<TXsUnsignedByte>(),
      TypeInfo<TXsUnsignedShort>(), TypeInfo<TXsUnsignedInt>(),  TypeInfo<TXsUnsignedLong>(),
      TypeInfo<TXsFloat>(),         TypeInfo<TXsDouble>(),       TypeInfo<TXsDecimal>(),
      TypeInfo<TXsString>(),        TypeInfo<TXsBase64Binary>(), TypeInfo<TXsHexBinary>(),
      TypeInfo<TXsDateTime>(),      TypeInfo<TXsDate>(),         TypeInfo<TXsTime>(),
      TypeInfo<TXsDuration>()};
  return types;
}

bool VnXMLSerializerStartUp() {
  static const bool done = [] {
    TVnSerializerClass plain = VnReusableSerializerClass<TVnXMLSerializer>();
    TVnSerializerClass xs = VnSerializerClass<TVnXMLXsSerializer>();
    TVnDeserializerClass xsReader = VnDeserializerClass<TVnXMLXsDeserializer>();
    VnRegisterSerializer(dsfXML, static_cast<PTypeInfo>(nullptr), plain,
                         VnDeserializerClass<TVnXMLDeserializer>());
    VnRegisterSerializer(dsfXML, TStrings::StaticClass(),
                         VnSerializerClass<TVnXMLStringsSerializer>(),
                         VnDeserializerClass<TVnXMLStringsDeserializer>());
    VnRegisterSerializer(dsfXML, TComponent::StaticClass(),
                         VnSerializerClass<TVnXMLComponentSerializer>(),
                         VnDeserializerClass<TVnXMLComponentDeserializer>());
    VnRegisterSerializer(dsfXML, TypeInfo<TValue>(), plain,
                         VnDeserializerClass<TVnXMLValueDeserializer>());
    for (PTypeInfo t : VnXsRecordTypes()) VnRegisterSerializer(dsfXML, t, xs, xsReader);
    return true;
  }();
  return done;
}

}  // namespace vn
